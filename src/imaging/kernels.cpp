#include "imaging/kernels.h"

namespace orv {

const ImagingKernels& ImagingKernelsFor(CpuLevel level) {
#if defined(__x86_64__)
  if (level >= CpuLevel::kAvx2) return kAvx2Kernels;
  if (level == CpuLevel::kSse41) return kSse41Kernels;
#endif
  (void)level;
  return kPlainKernels;
}

const ImagingKernels& ActiveImagingKernels() {
  static const ImagingKernels& kernels = ImagingKernelsFor(ActiveCpuLevel());
  return kernels;
}

}  // namespace orv
