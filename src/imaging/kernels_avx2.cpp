#include "imaging/kernels.h"
#include "imaging/vector_kernels.h"

namespace orv {

const ImagingKernels kAvx2Kernels = kVectorKernels;

}  // namespace orv
