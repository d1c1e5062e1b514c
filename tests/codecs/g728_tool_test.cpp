// The zinsc tool with the g728 codec: the Appendix I sequences through its
// ITU format, and a clear error with a non-zero exit for a malformed stream.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "test_util.h"

#ifdef ZINSC_TOOL

namespace {

namespace fs = std::filesystem;

// A scratch directory of this process; each test removes it at its end.
fs::path dir() {
    const fs::path p = fs::temp_directory_path() / ("zinsc_g728_tool_" + std::to_string(::getpid()));
    fs::create_directories(p);
    return p;
}

struct Cleanup {
    ~Cleanup() {
        std::error_code ec;
        fs::remove_all(fs::temp_directory_path() / ("zinsc_g728_tool_" + std::to_string(::getpid())), ec);
    }
};

int run(const std::string& args, std::string* err = nullptr) {
    const fs::path e = dir() / "stderr";
    const int rc = std::system((std::string(ZINSC_TOOL) + " " + args + " >/dev/null 2>" + e.string()).c_str());
    if (err) {
        err->clear();
        if (FILE* f = std::fopen(e.c_str(), "rb")) {
            int c;
            while ((c = std::fgetc(f)) != EOF) *err += static_cast<char>(c);
            std::fclose(f);
        }
    }
    return WIFEXITED(rc) ? WEXITSTATUS(rc) : -1;
}

std::vector<int16_t> read_wav16(const fs::path& p) {
    SF_INFO info{};
    SNDFILE* f = sf_open(p.c_str(), SFM_READ, &info);
    std::vector<int16_t> v(f ? static_cast<std::size_t>(info.frames) : 0);
    if (f) {
        sf_read_short(f, v.data(), static_cast<sf_count_t>(v.size()));
        sf_close(f);
    }
    return v;
}

TEST(G728Tool, AppendixIThroughTheItuFormat) {
    if (!fs::is_directory(zt::vector_path("g728"))) GTEST_SKIP() << "conformance sequences not found";
    const Cleanup cleanup;
    const auto in = zt::read_words(zt::vector_path("g728/in2.bin"));
    const fs::path wav = dir() / "in2.wav", cw = dir() / "in2.cw", out = dir() / "out.wav";
    SF_INFO info{};
    info.samplerate = 8000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(wav.c_str(), SFM_WRITE, &info);
    ASSERT_NE(f, nullptr);
    sf_write_short(f, in.data(), static_cast<sf_count_t>(in.size()));
    sf_close(f);
    ASSERT_EQ(run("encode -c g728 -f itu " + wav.string() + " " + cw.string()), 0);
    std::vector<int16_t> got;
    for (int16_t w : zt::read_words(cw.string())) got.push_back(w);
    EXPECT_EQ(got, zt::read_words(zt::vector_path("g728/incw2g.bin")));
    ASSERT_EQ(run("decode -c g728 -f itu --no-postfilter " + zt::vector_path("g728/cw2.bin") + " " + out.string()), 0);
    EXPECT_EQ(read_wav16(out), zt::read_words(zt::vector_path("g728/outa2g.bin")));
}

TEST(G728Tool, MalformedStreamsFail) {
    const Cleanup cleanup;
    const fs::path odd = dir() / "odd.bin", out = dir() / "x.wav", mask = dir() / "mask";
    if (FILE* f = std::fopen(odd.c_str(), "wb")) {
        std::fputs("abc", f);
        std::fclose(f);
    }
    std::string err;
    EXPECT_NE(run("decode -c g728 -f itu " + odd.string() + " " + out.string(), &err), 0);
    EXPECT_NE(err.find("bit 9"), std::string::npos) << err;
    EXPECT_NE(run("decode -c g728 " + odd.string() + " " + out.string(), &err), 0);  // 3 octets: no group of 5
    EXPECT_NE(err.find("multiple of 5"), std::string::npos) << err;
    if (FILE* f = std::fopen(mask.c_str(), "wb")) {
        std::fputs("0012\n", f);
        std::fclose(f);
    }
    EXPECT_NE(run("decode -c g728 --erasures " + mask.string() + " " + odd.string() + " " + out.string(), &err), 0);
    EXPECT_NE(err.find("mask"), std::string::npos) << err;
}

}  // namespace

#endif
