// ctest runs each case in a process of its own. The main thread's record, which the
// first call of the filter makes and which stays, is made before any case begins, so
// that it is none of the blocks that a case has left behind.
#include "API/Filters/Ica/Common/Thread.h"

namespace {

[[maybe_unused]] const void* const kRecord =
    K_MyGetThreadData(&g_kzicaTls, kzicaAllocateThreadData, kzicaFreeThreadData, g_kzicaMutex);

}  // namespace
