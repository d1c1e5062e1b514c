// The G.722 sub-band ADPCM state object and the band adaptation shared by
// the encoder, the decoder and the loss helpers.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zinsc.h"

namespace zin::g722 {

// The 128 bytes of fields of the shared encoder/decoder object; they hang
// from the caller's pointer advanced to the next 16-byte boundary.
struct State {
    Zin16s poles[4];      // AL1, AL2, AH1, AH2
    Zin16s zerosLow[6];   // BL1..BL6
    Zin16s zerosHigh[6];  // BH1..BH6
    Zin16s detLow;        // DETL
    Zin16s detHigh;       // DETH
    Zin16s nblLow;        // NBL
    Zin16s nbhHigh;       // NBH
    Zin32s dltLow[6];     // DLT1..DLT6, sign-extended
    Zin32s dltHigh[6];    // DH1..DH6
    Zin16s work[4];       // PLT0, RLT0 of the low band, PH0, RH0 of the high band
    Zin16s pltLow[2];     // PLT1, PLT2
    Zin16s pltHigh[2];    // PH1, PH2
    Zin16s rltLow[2];     // RLT1, RLT2
    Zin16s rltHigh[2];    // RH1, RH2
    Zin16s dLow, dHigh;   // DLT0, DH0
    Zin16s szLow, szHigh;
    Zin16s spLow, spHigh;
    Zin16s sLow, sHigh;
};
static_assert(sizeof(State) == 128, "128 bytes of fields");
static_assert(offsetof(State, dltLow) == 40 && offsetof(State, work) == 88 && offsetof(State, sLow) == 124);

inline constexpr int kStateSize = 144;  // fields and 16 bytes of alignment slack

inline State* state_of(void* p) {
    auto a = reinterpret_cast<std::uintptr_t>(p);
    return reinterpret_cast<State*>(a + ((0 - a) & 15));
}
inline const State* state_of(const void* p) { return state_of(const_cast<void*>(p)); }

void init_state(State* s);

}  // namespace zin::g722
