#include "imaging/kernels.h"
#include "imaging/vector_kernels.h"

namespace orv {

const ImagingKernels kSse41Kernels = kVectorKernels;

}  // namespace orv
