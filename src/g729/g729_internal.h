// Private workers of the G.729 front end, shared by its exports.
#pragma once

#include "zinsc.h"

namespace zin::g729 {

// The 24-byte high-pass filter record, in this field order.
struct HighPassState {
    Zin32s y1;        // previous output at 32-bit precision
    Zin32s y2;        // the one before
    Zin16s x1, x2;    // the two previous inputs
    Zin16s coef[6];   // a0 (kept, never read), a1, a2, b0, b1, b2
};
static_assert(sizeof(HighPassState) == 24);

void high_pass(HighPassState& s, Zin16s* x, int len, int sfs);
void lag_window(Zin32s* r, int len);
// The double-precision recursion; false (nothing written) when it breaks down.
bool levinson(const Zin32s* r, int order, Zin16s* lpc, Zin16s* rc, Zin16s* err);
void lpc_to_lsp(const Zin16s* a, const Zin16s* prev, Zin16s* lsp, const Zin16s* grid, int points, int bisections);
void lsp_to_lpc(const Zin16s* lsp, Zin16s* a);
void lsp_to_lsf(const Zin16s* lsp, Zin16s* lsf);
void lsp_to_lsf_norm(const Zin16s* lsp, Zin16s* lsf);
// False at a negative frequency, with the LSPs before it written.
bool lsf_to_lsp(const Zin16s* lsf, Zin16s* lsp);

}  // namespace zin::g729
