// The version record and the load hook.
#include "frame/frame.h"

namespace {

constexpr QlmLibVersion kVersion = {
    7, 1, 0, 36264, {'l', '9', 0, 0}, "qlmJP AVX2 (l9)", "7.1.0 (r36264)", "Jul 23 2012"};
static_assert(sizeof(QlmLibVersion) == 48);

// Nothing reads the flag: this build holds AVX2 code only and refuses no processor. Volatile keeps the store.
volatile int32_t cpuFlag;

[[gnu::constructor]] void ownOnLoad() {
  constexpr uint64_t wanted = qlmCpuAvx2 | qlmCpuAvx2Kit;
  cpuFlag = (qlmGetEnabledCpuFeatures() & wanted) == wanted ? 1 : 0;
}

}  // namespace

extern "C" decltype(qlmjGetLibVersion) own_qlmjGetLibVersion;
extern "C" const QlmLibVersion* own_qlmjGetLibVersion() { return &kVersion; }
