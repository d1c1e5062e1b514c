// The exported entries. Each one takes its slot from the table and jumps
// through it with its arguments untouched: compiled with optimisation, an
// entry is a single indirect jump. The definitions must agree with the
// prototypes of zinsc.h, or the C linkage makes them conflict.
#include "registry.h"

#define ZINS_EXPORT(name, ret, params, args) \
    extern "C" ZINSC_API ret name params { return zin::slot_table.name args; }
#include "exports.def"
#undef ZINS_EXPORT
