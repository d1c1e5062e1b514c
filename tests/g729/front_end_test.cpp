// The G.729 front end on the caller's side, run on the ITU-T sequences: the LSP
// indices of every frame must be those of the reference bit streams. Along
// the same frames the LSF route, the decoder, the Annex E quantiser and the
// Annex B Levinson-Durbin form must agree, and the float forms stay close.
#include <cmath>
#include <cstring>
#include <memory>

#include "test_util.h"
#include "zinsc.h"

namespace {

constexpr Zin16s kPreCoef[6] = {4096, 7807, -3733, 1899, -3798, 1899};
constexpr Zin16s kLspStart[10] = {30000, 26000, 21000, 15000, 8000, 0, -8000, -15000, -21000, -26000};
constexpr Zin16s kFreqStart[10] = {2339, 4679, 7018, 9358, 11698, 14037, 16377, 18717, 21056, 23396};

enum class Search { G729, G729A };

// The first 18 bits of each frame of an ITU serial stream: (L0<<7|L1, L2<<5|L3).
std::vector<std::pair<int, int>> stream_codes(const std::vector<int16_t>& w) {
    std::vector<std::pair<int, int>> out;
    for (std::size_t i = 0; i + 2 <= w.size();) {
        const int n = w[i + 1];
        if (i + 2 + n > w.size()) break;
        int v = 0;
        for (int b = 0; b < 18; ++b) v = v << 1 | (w[i + 2 + b] == 0x0081);
        out.emplace_back(v >> 10, v & 1023);
        i += 2 + n;
    }
    return out;
}

struct Tally {
    int frames = 0, floatQuantSame = 0;
    double maxLspErr = 0, maxLpcErr = 0, maxDecErr = 0;
};

// One encoder's front end with the checks that ride along.
class FrontEnd {
public:
    explicit FrontEnd(Search s) : search_(s) {
        int size = 0;
        zinsHighPassFilterSize_G729(&size);
        hp_.reset(new unsigned char[size]);
        zinsHighPassFilterInit_G729(kPreCoef, state());
        std::memcpy(prevLsp_, kLspStart, sizeof prevLsp_);
        for (int k = 0; k < 4; ++k) {
            std::memcpy(freq_ + 10 * k, kFreqStart, sizeof kFreqStart);
            std::memcpy(freqLsf_ + 10 * k, kFreqStart, sizeof kFreqStart);
            std::memcpy(freqDec_ + 10 * k, kFreqStart, sizeof kFreqStart);
            std::memcpy(freqE_ + 10 * k, kFreqStart, sizeof kFreqStart);
            for (int j = 0; j < 10; ++j) freqF_[10 * k + j] = kFreqStart[j] / 8192.0f;
        }
        prevLpc_[0] = 4096;
    }

    // Runs one frame of 80 samples; returns the two LSP code words.
    std::pair<int, int> frame(const int16_t* x, std::pair<int, int> expect, Tally& t) {
        std::memcpy(buf_ + 160, x, 80 * sizeof(Zin16s));
        EXPECT_EQ(zinsHighPassFilter_G729_16s_ISfs(buf_ + 160, 80, 12, state()), zinStsNoErr);
        Zin16s norm;
        Zin32s r[13];
        EXPECT_EQ(zinsAutoCorr_G729B(buf_, &norm, r), zinStsNoErr);
        EXPECT_EQ(zinsLagWindow_G729_32s_I(r + 1, 10), zinStsNoErr);
        Zin16s lpc[11], rc[10], err, lpcB[11], rcB[2], errB;
        if (zinsLevinsonDurbin_G729_32s16s(r, 10, lpc, rc, &err) == zinStsNoErr) {
            std::memcpy(prevLpc_, lpc, sizeof lpc);
            EXPECT_EQ(zinsLevinsonDurbin_G729B(r, lpcB, rcB, &errB), zinStsNoErr);
            EXPECT_EQ(0, std::memcmp(lpcB, lpc, sizeof lpc));
            EXPECT_TRUE(rcB[0] == rc[0] && rcB[1] == rc[1] && errB == err);
        }
        Zin16s lsp[10], qlsp[10], code[2];
        if (search_ == Search::G729)
            zinsLPCToLSP_G729_16s(prevLpc_, prevLsp_, lsp);
        else
            zinsLPCToLSP_G729A_16s(prevLpc_, prevLsp_, lsp);
        floats(lsp, t);
        std::memcpy(prevLsp_, lsp, sizeof lsp);

        // Annex E's quantiser sees the memory before the main one shifts it.
        Zin16s freqRow[10], qlspE[10], codeE[2];
        EXPECT_EQ(zinsLSPQuant_G729E_16s(lsp, freqE_, freqRow, qlspE, codeE), zinStsNoErr);
        float lspF[10], freqF[10], qlspF[10];
        Zin32s codeF[2];
        for (int j = 0; j < 10; ++j) lspF[j] = lsp[j] / 32768.0f;
        float memF[40];
        for (int j = 0; j < 40; ++j) memF[j] = freqE_[j] / 8192.0f;
        zinsLSPQuant_G729E_32f(lspF, memF, freqF, qlspF, codeF);

        EXPECT_EQ(zinsLSPQuant_G729_16s(lsp, freq_, qlsp, code), zinStsNoErr);
        EXPECT_EQ(codeE[0], code[0]);
        EXPECT_EQ(codeE[1], code[1]);
        EXPECT_EQ(0, std::memcmp(qlspE, qlsp, sizeof qlsp));
        std::memmove(freqE_ + 10, freqE_, 30 * sizeof(Zin16s));
        std::memcpy(freqE_, freqRow, sizeof freqRow);
        EXPECT_EQ(0, std::memcmp(freqE_, freq_, sizeof freq_));
        t.floatQuantSame += codeF[0] == code[0] && codeF[1] == code[1];

        // The LSF route gives the same indices and quantised LSPs.
        Zin16s lsf[10], qlsf[10], idx[4], qlspL[10];
        zinsLSPToLSF_G729_16s(lsp, lsf);
        const ZinStatus st = zinsLSFQuant_G729_16s(lsf, freqLsf_, qlsf, idx);
        EXPECT_TRUE(st == zinStsNoErr || st >= zinStsLsfLowWarn);
        EXPECT_EQ(idx[0] << 7 | idx[1], code[0]);
        EXPECT_EQ(idx[2] << 5 | idx[3], code[1]);
        EXPECT_EQ(zinsLSFToLSP_G729_16s(qlsf, qlspL), zinStsNoErr);
        EXPECT_EQ(0, std::memcmp(qlspL, qlsp, sizeof qlsp));

        // The decoder on the stream's indices: same LSFs, same memory.
        const Zin16s sidx[4] = {static_cast<Zin16s>(expect.first >> 7), static_cast<Zin16s>(expect.first & 127),
                                static_cast<Zin16s>(expect.second >> 5), static_cast<Zin16s>(expect.second & 31)};
        Zin16s dlsf[10];
        EXPECT_EQ(zinsLSFDecode_G729_16s(sidx, freqDec_, dlsf), st);
        EXPECT_EQ(0, std::memcmp(dlsf, qlsf, sizeof qlsf));
        EXPECT_EQ(0, std::memcmp(freqDec_, freq_, sizeof freq_));
        const Zin32s fidx[4] = {sidx[0], sidx[1], sidx[2], sidx[3]};
        float flsf[10];
        zinsLSFDecode_G729_32f(fidx, freqF_, flsf);
        for (int j = 0; j < 10; ++j) t.maxDecErr = std::max(t.maxDecErr, std::fabs(flsf[j] - qlsf[j] / 8192.0));

        std::memmove(buf_, buf_ + 80, 160 * sizeof(Zin16s));
        ++t.frames;
        return {code[0], code[1]};
    }

private:
    ZinHighPassFilterState_G729* state() { return reinterpret_cast<ZinHighPassFilterState_G729*>(hp_.get()); }

    // Float LP-to-LSP and LSP-to-LP on the same frame.
    void floats(const Zin16s* lsp, Tally& t) {
        float a[11], prev[10], l[10];
        for (int i = 0; i < 11; ++i) a[i] = prevLpc_[i] / 4096.0f;
        for (int i = 0; i < 10; ++i) prev[i] = prevLsp_[i] / 32768.0f;
        if (search_ == Search::G729)
            zinsLPCToLSP_G729_32f(a, prev, l);
        else
            zinsLPCToLSP_G729A_32f(a, prev, l);
        for (int i = 0; i < 10; ++i) t.maxLspErr = std::max(t.maxLspErr, std::fabs(l[i] - lsp[i] / 32768.0));
        Zin16s aq[11];
        float af[11], lf[10];
        for (int i = 0; i < 10; ++i) lf[i] = lsp[i] / 32768.0f;
        zinsLSPToLPC_G729_16s(lsp, aq);
        zinsLSPToLPC_G729_32f(lf, af);
        for (int i = 0; i < 11; ++i) t.maxLpcErr = std::max(t.maxLpcErr, std::fabs(af[i] - aq[i] / 4096.0));
    }

    Search search_;
    std::unique_ptr<unsigned char[]> hp_;
    Zin16s buf_[240] = {};
    Zin16s prevLpc_[11] = {};
    Zin16s prevLsp_[10];
    Zin16s freq_[40], freqLsf_[40], freqDec_[40], freqE_[40];
    float freqF_[40];
};

// Runs a whole sequence; returns the number of frames whose codes differ.
int run(const std::string& in, const std::string& bit, Search s, Tally& t) {
    const auto x = zt::read_words(zt::vector_path(in));
    const auto codes = stream_codes(zt::read_words(zt::vector_path(bit)));
    EXPECT_FALSE(x.empty()) << in;
    EXPECT_EQ(codes.size(), x.size() / 80) << bit;
    FrontEnd fe(s);
    int bad = 0;
    for (std::size_t f = 0; f < codes.size() && (f + 1) * 80 <= x.size(); ++f) {
        const auto got = fe.frame(x.data() + 80 * f, codes[f], t);
        if (got != codes[f]) {
            if (bad < 3) ADD_FAILURE() << bit << " frame " << f << ": " << got.first << "," << got.second
                                       << " expected " << codes[f].first << "," << codes[f].second;
            ++bad;
        }
    }
    return bad;
}

void check_floats(const Tally& t) {
    EXPECT_LT(t.maxLspErr, 0.01);
    EXPECT_LT(t.maxLpcErr, 0.02);
    EXPECT_LT(t.maxDecErr, 0.002);
    EXPECT_GT(t.floatQuantSame, t.frames * 9 / 10);
    std::printf("  %d frames; float: LSP %.5f, LP %.5f, LSF decode %.5f rad, same indices %d\n", t.frames,
                t.maxLspErr, t.maxLpcErr, t.maxDecErr, t.floatQuantSame);
}

const char* const kMain[] = {"ALGTHM", "FIXED", "LSP", "PITCH", "SPEECH", "TAME"};

TEST(G729FrontEnd, MainBodySequences) {
    ZT_REQUIRE_VECTORS("g729/g729");
    Tally t;
    for (const char* n : kMain)
        EXPECT_EQ(run(std::string("g729/g729/") + n + ".IN", std::string("g729/g729/") + n + ".BIT", Search::G729, t), 0)
            << n;
    check_floats(t);
}

TEST(G729FrontEnd, AnnexASequences) {
    ZT_REQUIRE_VECTORS("g729/g729AnnexA");
    Tally t;
    for (const char* n : kMain)
        EXPECT_EQ(run(std::string("g729/g729AnnexA/") + n + ".IN", std::string("g729/g729AnnexA/") + n + ".BIT",
                      Search::G729A, t),
                  0)
            << n;
    EXPECT_EQ(run("g729/g729AnnexA/TEST.IN", "g729/g729AnnexA/TEST.BIT", Search::G729A, t), 0);
    check_floats(t);
}

TEST(G729FrontEnd, AnnexDSequencesShareTheMainBodyFrontEnd) {
    ZT_REQUIRE_VECTORS("g729/g729AnnexD");
    Tally t;
    for (const char* n : {"testmid.1", "testmid.2", "testmid.3"})
        EXPECT_EQ(run("g729/g729AnnexD/testfile.raw", std::string("g729/g729AnnexD/") + n, Search::G729, t), 0) << n;
    check_floats(t);
}

}  // namespace
