// Declarations generated from exports.def: the hidden bodies and the slot
// table that the exported entries jump through.
#pragma once

#include "zinsc.h"

namespace zin::body {
#define ZINS_EXPORT(name, ret, params, args) ret name params;
#include "exports.def"
#undef ZINS_EXPORT
}  // namespace zin::body

namespace zin {

// One 8-byte slot per export, in the byte order of the exported names.
struct SlotTable {
#define ZINS_EXPORT(name, ret, params, args) ret(*name) params;
#include "exports.def"
#undef ZINS_EXPORT
};

inline constexpr int kExportCount = 0
#define ZINS_EXPORT(name, ret, params, args) +1
#include "exports.def"
#undef ZINS_EXPORT
    ;

static_assert(sizeof(SlotTable) == 8 * kExportCount, "one 8-byte slot per export");

// The table is defined in its own translation unit, so that an entry sees
// only this declaration and jumps through the slot.
extern const SlotTable slot_table;

}  // namespace zin
