#include "imaging/kernels.h"

namespace orv {

const ImagingKernels& ImagingKernelsFor(CpuLevel level) {
  static constexpr LeveledKernel<const ImagingKernels*> kKernels[] = {
    {CpuLevel::kPlain, &kPlainKernels},
#if defined(__x86_64__)
    {CpuLevel::kSse41, &kSse41Kernels},
    {CpuLevel::kAvx2, &kAvx2Kernels},
#endif
  };
  return *KernelFor(level, kKernels);
}

const ImagingKernels& ActiveImagingKernels() {
  static const ImagingKernels& kernels = ImagingKernelsFor(ActiveCpuLevel());
  return kernels;
}

}  // namespace orv
