// The G.723.1 sequences through the zinsc tool alone.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "g723_streams.h"

#ifdef ZINSC_TOOL
namespace {

namespace fs = std::filesystem;

int run(const std::string& args) { return std::system((std::string(ZINSC_TOOL) + " " + args + " >/dev/null 2>&1").c_str()); }

// The samples of a WAV written by the tool, as 16-bit words after the header.
std::vector<uint8_t> samples_of(const std::string& wav) {
    const auto b = g723t::read_bytes(wav);
    return b.size() > 44 ? std::vector<uint8_t>(b.begin() + 44, b.end()) : std::vector<uint8_t>{};
}

class G723Tool : public ::testing::Test {
protected:
    void SetUp() override {
        if (!fs::exists(zt::vector_path("g7231/g7231_in.wav"))) GTEST_SKIP() << "G.723.1 sequences not found";
        dir_ = fs::temp_directory_path() / ("zinsc_g723_" + std::to_string(::getpid()));
        fs::create_directories(dir_);
    }
    void TearDown() override {
        std::error_code ec;
        fs::remove_all(dir_, ec);
    }
    std::string v(const std::string& name) { return zt::vector_path("g7231/" + name); }
    std::string t(const std::string& name) { return (dir_ / name).string(); }
    fs::path dir_;
};

TEST_F(G723Tool, EncoderStream63) {
    ASSERT_EQ(run("encode -c g7231-63 " + v("g7231_in.wav") + " " + t("o.bit")), 0);
    EXPECT_EQ(g723t::read_bytes(t("o.bit")), g723t::read_bytes(v("g7231_enc_63.bit")));
}

TEST_F(G723Tool, DecoderOutputsOfEveryStream) {
    for (const char* s : {"63", "53", "63v", "53v"}) {
        const std::string in = v(std::string("g7231_enc_") + s + ".bit");
        const std::string base = std::string("g7231_dec_") + s;
        ASSERT_EQ(run("decode -c g7231-63 " + in + " " + t("a.wav")), 0);
        EXPECT_EQ(samples_of(t("a.wav")), g723t::read_bytes(v(base + ".pcm"))) << s;
        ASSERT_EQ(run("decode -c g7231-63 --no-postfilter " + in + " " + t("b.wav")), 0);
        EXPECT_EQ(samples_of(t("b.wav")), g723t::read_bytes(v(base + "_nopf.pcm"))) << s;
        ASSERT_EQ(run("decode -c g7231-53 --erasures " + v("g7231_erasures.txt") + " " + in + " " + t("c.wav")), 0);
        EXPECT_EQ(samples_of(t("c.wav")), g723t::read_bytes(v(base + "_fe.pcm"))) << s;
    }
}

TEST_F(G723Tool, StreamCutInsideAFrameFails) {
    auto b = g723t::read_bytes(v("g7231_enc_63.bit"));
    b.resize(100);
    FILE* f = std::fopen(t("cut.bit").c_str(), "wb");
    std::fwrite(b.data(), 1, b.size(), f);
    std::fclose(f);
    EXPECT_NE(run("decode -c g7231-63 " + t("cut.bit") + " " + t("x.wav")), 0);
}

}  // namespace
#endif
