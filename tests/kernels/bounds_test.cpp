// Every correlation, convolution and LP filter export on buffers of exactly
// the size that its arguments name, each in its own heap block: under the
// address sanitizer a vector path that reads or writes one element too far
// (after the end, or before the history it was given) stops the test.
#include <gtest/gtest.h>

#include <vector>

#include "test_util.h"
#include "zinsc.h"

namespace {

template <typename T>
std::vector<T> exact(int n) {
    std::vector<T> v(static_cast<std::size_t>(n));
    for (auto& x : v) x = static_cast<T>(zt::random16(1)[0]);
    return v;
}

TEST(Bounds, EveryExportStaysInsideItsBuffers) {
    std::vector<int> lens;
    for (int i = 1; i <= 50; ++i) lens.push_back(i);
    for (int i : {64, 80, 160, 240}) lens.push_back(i);
    int32_t mx = 0;
    int lag = 0, norm = 0;
    for (int len : lens) {
        for (int lags : {1, 3, 4, 5, 11, 40}) {
            auto s1 = exact<int16_t>(len), s2 = exact<int16_t>(len + lags - 1);
            auto d32 = exact<int32_t>(lags);
            auto d16 = exact<int16_t>(lags);
            for (auto& x : s1) x = static_cast<int16_t>(x / 8);
            ASSERT_GE(zinsAutoCorr_16s32s(s1.data(), len, d32.data(), lags), 0);
            ASSERT_GE(zinsAutoCorr_NormE_16s32s(s1.data(), len, d32.data(), lags, &norm), 0);
            ASSERT_GE(zinsAutoCorr_NormE_NR_16s(s1.data(), len, d16.data(), lags, &norm), 0);
            ASSERT_GE(zinsCrossCorr_NR_16s32s(s1.data(), s2.data(), len, d32.data(), lags), 0);
            ASSERT_GE(zinsCrossCorr_NR_16s_Sfs(s1.data(), s2.data(), len, d16.data(), lags, 3), 0);
            ASSERT_GE(zinsCrossCorr_NR_16s(s1.data(), s2.data(), len, d16.data(), lags), 0);
            ASSERT_GE(zinsCrossCorrLagMax_16s(s1.data(), s2.data(), len, lags - 1, &mx, &lag), 0);
            auto f1 = exact<float>(len), f2 = exact<float>(len + lags - 1);
            double dm = 0;
            ASSERT_GE(zinsCrossCorrLagMax_32f64f(f1.data(), f2.data(), len, lags - 1, &dm, &lag), 0);

            // Lag searches over lo..hi read hi samples after the frame (forward)
            // or before it (inverse).
            const int lo = lags / 2, hi = lags;
            auto fw = exact<int16_t>(len + hi);
            ASSERT_GE(zinsAutoCorrLagMax_Fwd_16s(fw.data(), len, lo, hi, &mx, &lag), 0);
            ASSERT_GE(zinsAutoCorrLagMax_Inv_16s(fw.data() + hi, len, lo, hi, &mx, &lag), 0);
            auto ff = exact<float>(len + hi);
            float fm = 0;
            ASSERT_GE(zinsAutoCorrLagMax_32f(ff.data(), len, lo, hi, &fm, &lag), 0);
        }
        auto a = exact<int16_t>(len), b = exact<int16_t>(len), d16 = exact<int16_t>(len);
        auto d32 = exact<int32_t>(len);
        ASSERT_GE(zinsCrossCorr_16s32s_Sfs(a.data(), b.data(), len, d32.data(), 2), 0);
        ASSERT_GE(zinsCrossCorr_NormM_16s(a.data(), b.data(), len, d16.data()), 0);
        ASSERT_GE(zinsConvPartial_16s32s(a.data(), b.data(), d32.data(), len), 0);
        ASSERT_GE(zinsConvPartial_16s_Sfs(a.data(), b.data(), d16.data(), len, 4), 0);
        ASSERT_GE(zinsConvPartial_NR_16s(a.data(), b.data(), d16.data(), len), 0);
        ASSERT_GE(zinsConvPartial_NR_Low_16s(a.data(), b.data(), d16.data(), len), 0);

        const int16_t lpc[11] = {4096, -3000, 500, -200, 100, -50, 25, -12, 6, -3, 1};
        auto mem = exact<int16_t>(10), io = exact<int16_t>(len);
        ASSERT_GE(zinsSynthesisFilter_NR_16s_Sfs(lpc, a.data(), d16.data(), len, 12, mem.data()), 0);
        ASSERT_GE(zinsSynthesisFilter_NR_16s_ISfs(lpc, io.data(), len, 13, nullptr), 0);
        ASSERT_GE(zinsSynthesisFilterLow_NR_16s_ISfs(lpc, io.data(), len, 12, mem.data()), 0);
        ASSERT_GE(zinsSynthesisFilterZeroStateResponse_NR_16s(lpc, d16.data(), len, 12), 0);
        for (int order = 1; order <= len && order <= 17; ++order) {
            auto x = exact<int16_t>(len + order), c = exact<int16_t>(order + 1);
            ASSERT_GE(zinsResidualFilter_Low_16s_Sfs(x.data() + order, order, c.data(), d16.data(), len, 12), 0);
        }
        for (int l : {-2, 0, 3, 8, 40}) {
            const int before = l > 0 ? l : 0, after = l < 0 ? -l : 0;
            auto h = exact<int16_t>(before + len + after);
            ASSERT_GE(zinsHarmonicFilter_16s_I(9000, l, h.data() + before, len), 0);
            ASSERT_GE(zinsHarmonicFilter_NR_16s(9000, l, h.data() + before, d16.data(), len), 0);
            auto hf = exact<float>(before + len + after);
            ASSERT_GE(zinsHarmonicFilter_32f_I(0.3f, l, hf.data() + before, len), 0);
        }
        auto pf = exact<float>(len);
        float pm = 0;
        ASSERT_GE(zinsPreemphasize_32f_I(0.68f, pf.data(), len, &pm), 0);
    }
}

}  // namespace
