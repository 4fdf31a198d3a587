#include <atomic>
#include <mutex>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"

namespace {

std::atomic<bool> g_available{true};

// The filter's own mutex arrives as a copy, and a copy orders nothing: two
// threads that meet here for the first time would both make a key.
std::mutex& KeyCreation() {
  static std::mutex mutex;
  return mutex;
}

// A platform key that is not 0, since 0 says "none yet"; 0 when there is none.
pthread_key_t CreateNonZeroKey(void (*destroy)(void*)) {
  pthread_key_t key = 0;
  if (pthread_key_create(&key, destroy) != 0) return 0;
  if (key != 0) return key;
  // Keeping key 0 taken makes the platform hand out another one, and ends the
  // matter for the whole process.
  pthread_key_t other = 0;
  if (pthread_key_create(&other, destroy) != 0) return 0;
  return other;
}

}  // namespace

void* K_MyGetThreadData(uint32_t* puKey, void* (*pfnCreate)(), void (*pfnDestroy)(void*),
                        // NOLINTNEXTLINE(cert-fio38-c): the copy is never locked
                        pthread_mutex_t) {
  if (!g_available.load(std::memory_order_relaxed)) return nullptr;
  std::atomic_ref<uint32_t> shared(*puKey);
  uint32_t key = shared.load(std::memory_order_acquire);
  if (key == 0) {
    const std::lock_guard lock(KeyCreation());
    key = shared.load(std::memory_order_relaxed);
    if (key == 0) {
      key = CreateNonZeroKey(pfnDestroy);
      if (key == 0) return nullptr;
      shared.store(key, std::memory_order_release);
    }
  }
  void* record = pthread_getspecific(key);
  if (record != nullptr) return record;
  record = pfnCreate();
  if (record == nullptr) return nullptr;
  if (pthread_setspecific(key, record) != 0) {
    pfnDestroy(record);
    return nullptr;
  }
  return record;
}

void K_SetThreadDataAvailable(int bAvailable) { g_available = bAvailable != 0; }
