#include "API/Filters/Ica/Common/Thread.h"

namespace {
constexpr const char* kThreadSource = "API/Filters/Ica/Common/Thread";
}

uint32_t g_kzicaTls = 0;
pthread_mutex_t g_kzicaMutex = PTHREAD_MUTEX_INITIALIZER;
FilterThreadState g_kzicaThreadData = {};

void* kzicaAllocateThreadData() {
  return K_LocalAllocInit(sizeof(FilterThreadState), 1, __LINE__, kThreadSource);
}

void kzicaFreeThreadData(void* record) {
  if (record != nullptr) K_LocalFree(record, __LINE__, kThreadSource);
}
