// The version record and the load hook.
#include <cstdint>

#include "platform.h"
#include "registry.h"

namespace zin {
namespace {

constexpr ZinLibraryVersion kVersion = {
    8, 1, 1, 42291, {'e', '9', 0, 0}, "zinSC AVX (e9)", "8.1.1 (r42291)", "Apr 10 2014",
};

// Set once by the load hook: whether the processor reports both of the
// features that the AVX build wants. Nothing reads it; a load never fails.
unsigned char g_avx_ready = 0;

__attribute__((constructor)) void on_process_attach() {
    platform::read_at_load();
    const std::uint64_t features = platform::enabled_cpu_features();
    g_avx_ready = (features & platform::kCpuAvx) && (features & platform::kCpuOsYmm) ? 1 : 0;
}

}  // namespace

const ZinLibraryVersion* body::zinscGetLibVersion() { return &kVersion; }

}  // namespace zin
