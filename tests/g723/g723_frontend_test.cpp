// G.723.1 front end on the reference's streams: DC removal, LPC analysis,
// LSP conversion, quantisation and decoding must give the LSP indices of
// every frame of the 6.3 and 5.3 kbit/s encoder streams.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <vector>

#include "g723_streams.h"
#include "test_util.h"
#include "zinsc.h"

namespace {

constexpr Zin16s kLspDc[10] = {3131, 4721, 7690, 10806, 13872, 16495, 19752, 22260, 25484, 27718};

// The LSP indices of each frame, from the input speech alone.
std::vector<Zin32s> front_end_indices(const std::vector<Zin16s>& pcm) {
    std::vector<Zin32s> out;
    Zin32s hp[2] = {0, 0};
    Zin16s prev_lsp[10];
    std::memcpy(prev_lsp, kLspDc, sizeof(prev_lsp));
    std::vector<Zin16s> buf(120 + 240, 0);  // two subframes of history and the frame
    Zin16s sine = 0;
    for (std::size_t f = 0; f + 240 <= pcm.size(); f += 240) {
        EXPECT_EQ(zinsHighPassFilter_G723_16s(&pcm[f], &buf[120], hp), zinStsNoErr);
        Zin16s lpc[4][10];
        for (int k = 0; k < 4; ++k) {
            Zin16s r[11], exp = 0, energy = 0;
            zinsAutoCorr_G723_16s(&buf[60 * k], &exp, r);
            zinsLevinsonDurbin_G723_16s(r, &sine, &energy, lpc[k]);
        }
        Zin16s lsp[10], qlsp[10];
        zinsLPCToLSF_G723_16s(lpc[3], prev_lsp, lsp);
        Zin32s index = 0;
        zinsLSFQuant_G723_16s32s(lsp, prev_lsp, &index);
        out.push_back(index);
        const Zin16s bands[3] = {Zin16s(index >> 16), Zin16s((index >> 8) & 255), Zin16s(index & 255)};
        if (zinsLSFDecode_G723_16s(bands, prev_lsp, 0, qlsp) != zinStsNoErr) std::memcpy(qlsp, prev_lsp, sizeof(qlsp));
        std::memcpy(prev_lsp, qlsp, sizeof(prev_lsp));
        std::memmove(&buf[0], &buf[240], 120 * sizeof(Zin16s));
    }
    return out;
}

class G723FrontEnd : public ::testing::TestWithParam<const char*> {};

TEST_P(G723FrontEnd, LspIndicesOfEveryFrame) {
    const auto pcm = g723t::read_input();
    const auto frames = g723t::read_stream(GetParam());
    if (pcm.empty() || frames.empty()) GTEST_SKIP() << "G.723.1 sequences not found under " << ZINSC_VECTORS;
    const auto idx = front_end_indices(pcm);
    ASSERT_EQ(idx.size(), frames.size());
    int checked = 0;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const auto& fr = frames[i];
        if (fr.size() < 4) continue;  // SID and untransmitted frames carry no speech LSPs
        const Zin32u w = fr[0] | fr[1] << 8 | fr[2] << 16 | Zin32u(fr[3]) << 24;
        const Zin32s want = Zin32s(((w >> 18) & 255) << 16 | ((w >> 10) & 255) << 8 | ((w >> 2) & 255));
        ASSERT_EQ(idx[i], want) << "frame " << i;
        ++checked;
    }
    EXPECT_EQ(checked, int(frames.size()));
}

INSTANTIATE_TEST_SUITE_P(Streams, G723FrontEnd, ::testing::Values("g7231_enc_63.bit", "g7231_enc_53.bit"));

}  // namespace
