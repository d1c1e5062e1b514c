// The library frame: the version record, and exports called from many
// threads at once giving the single-threaded results.
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "test_util.h"
#include "zinsc.h"

namespace {

TEST(Frame, VersionRecord) {
    const ZinLibraryVersion* v = zinscGetLibVersion();
    ASSERT_NE(v, nullptr);
    EXPECT_EQ(v, zinscGetLibVersion()) << "the same constant record at each call";
    EXPECT_EQ(v->major, 8);
    EXPECT_EQ(v->minor, 1);
    EXPECT_EQ(v->majorBuild, 1);
    EXPECT_EQ(v->build, 42291);
    EXPECT_EQ(std::memcmp(v->targetCpu, "e9\0\0", 4), 0);
    EXPECT_STREQ(v->Name, "zinSC AVX (e9)");
    EXPECT_STREQ(v->Version, "8.1.1 (r42291)");
    EXPECT_STREQ(v->BuildDate, "Apr 10 2014");
}

TEST(Frame, StatusValuesAreTheTable) {
    EXPECT_EQ(zinStsFilterLenErr, -119);
    EXPECT_EQ(zinStsLpcCalcErr, -117);
    EXPECT_EQ(zinStsShiftErr, -32);
    EXPECT_EQ(zinStsContextMatchErr, -17);
    EXPECT_EQ(zinStsScaleRangeErr, -13);
    EXPECT_EQ(zinStsMemAllocErr, -9);
    EXPECT_EQ(zinStsNullPtrErr, -8);
    EXPECT_EQ(zinStsRangeErr, -7);
    EXPECT_EQ(zinStsSizeErr, -6);
    EXPECT_EQ(zinStsOverflow, 12);
    EXPECT_EQ(zinStsZeroCorrelation, 17);
    EXPECT_EQ(sizeof(ZinLibraryVersion), 48u);
    EXPECT_EQ(zinSpchBr16000, 17);
    EXPECT_EQ(zinSpchBr40000, 24);
}

// Every thread runs the same mixed workload on its own buffers; all must
// agree with the result computed before the threads started.
std::vector<int16_t> workload(const std::vector<int16_t>& input) {
    std::vector<int16_t> a = input, b(input.size());
    int scale = 2;
    zinsAutoScale_16s(a.data(), b.data(), static_cast<int>(a.size()), &scale);
    zinsMulC_NR_16s_ISfs(12345, b.data(), static_cast<int>(b.size()), 13);
    zinsMul_NR_16s_Sfs(a.data(), b.data(), a.data(), static_cast<int>(a.size()), 15);
    zinsMulPowerC_NR_16s_Sfs(a.data(), 31000, b.data(), 11, 15);
    int32_t dp = 0;
    int sf = 0;
    zinsDotProdAutoScale_16s32s_Sfs(a.data(), b.data(), static_cast<int>(a.size()), &dp, &sf);
    b.push_back(static_cast<int16_t>(dp));
    b.push_back(static_cast<int16_t>(dp >> 16));
    b.push_back(static_cast<int16_t>(sf + scale));
    return b;
}

TEST(Frame, ManyThreadsGetTheSingleThreadedResults) {
    const auto input = zt::random16(1000);
    const auto want = workload(input);
    constexpr int kThreads = 16;
    std::vector<int> mismatches(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 200; ++round)
                if (workload(input) != want) ++mismatches[t];
        });
    }
    for (auto& th : threads) th.join();
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(mismatches[t], 0) << "thread " << t;
}

}  // namespace
