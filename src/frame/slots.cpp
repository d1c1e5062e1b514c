// The slot table: filled at link time, never written at run time.
#include <string_view>

#include "registry.h"

namespace zin {
namespace {

constexpr std::string_view kNames[] = {
#define ZINS_EXPORT(name, ret, params, args) #name,
#include "exports.def"
#undef ZINS_EXPORT
};

// Byte order: std::string_view compares its characters as unsigned char.
constexpr bool sorted_in_byte_order() {
    for (std::size_t i = 1; i < std::size(kNames); ++i)
        if (!(kNames[i - 1] < kNames[i])) return false;
    return true;
}
static_assert(sorted_in_byte_order(), "exports.def must list the exports in byte order of their names");
static_assert(std::size(kNames) == static_cast<std::size_t>(kExportCount));

}  // namespace

extern const SlotTable slot_table = {
#define ZINS_EXPORT(name, ret, params, args) &body::name,
#include "exports.def"
#undef ZINS_EXPORT
};

}  // namespace zin
