// G.723.1 ACELP at 5.3 kbit/s (clause 2.16): the correlation matrix of the
// impulse response over the four pulse tracks.
#include "../frame/registry.h"
#include "../kernels/fixed_point.h"
#include "g723_ops.h"

namespace zin {
namespace {

using namespace g723;

// Track t holds positions 2t + 8j, j = 0..7, of a 64-sample span whose last
// four positions lie past the subframe. Entry (p, q) is the correlation of h
// with itself at distance |p - q| over what lies inside the subframe:
// extract_h of the saturating L_mac sum of h[m] h[m + d], m = 0..59 - max(p, q),
// on h scaled for precision by its doubled saturating energy.
void toeplitz(const Zin16s* h_in, Zin32s* rr) {
    i32 e = 0;
    for (int i = 0; i < kSubFrame; ++i) e = fx::mac32(e, h_in[i], h_in[i]);
    i16 h[kSubFrame];
    if (fx::high16(e) > 32000) {
        for (int i = 0; i < kSubFrame; ++i) h[i] = fx::shr16(h_in[i], 1);
    } else {
        const i16 k = static_cast<i16>(fx::norm32(e) >> 1);
        for (int i = 0; i < kSubFrame; ++i) h[i] = fx::shl16(h_in[i], k);
    }
    auto entry = [&](int p, int q) -> i32 {
        const int d = p > q ? p - q : q - p, top = kSubFrame - 1 - (p > q ? p : q);
        i32 acc = 0;
        for (int m = 0; m <= top; ++m) acc = fx::mac32(acc, h[m], h[m + d]);
        return fx::high16(acc);
    };
    int n = 0;
    for (int t = 0; t < 4; ++t)
        for (int j = 0; j < 8; ++j) rr[n++] = entry(2 * t + 8 * j, 2 * t + 8 * j);
    for (int a = 0; a < 4; ++a)
        for (int b = a + 1; b < 4; ++b)
            for (int ja = 0; ja < 8; ++ja)
                for (int jb = 0; jb < 8; ++jb) rr[n++] = entry(2 * a + 8 * ja, 2 * b + 8 * jb);
}

}  // namespace

ZinStatus body::zinsToeplizMatrix_G723_16s32s(const Zin16s* pSrcImp, Zin32s* pDstRr) {
    if (!pSrcImp || !pDstRr) return zinStsNullPtrErr;
    toeplitz(pSrcImp, pDstRr);
    return zinStsNoErr;
}

ZinStatus body::zinsToeplizMatrix_G723_16s(const Zin16s* pSrcImp, Zin16s* pDstRr) {
    if (!pSrcImp || !pDstRr) return zinStsNullPtrErr;
    Zin32s rr[416];
    toeplitz(pSrcImp, rr);
    for (int i = 0; i < 416; ++i) pDstRr[i] = static_cast<Zin16s>(rr[i]);
    return zinStsNoErr;
}

}  // namespace zin
