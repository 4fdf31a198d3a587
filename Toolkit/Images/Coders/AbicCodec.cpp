#include "Toolkit/Images/Coders/AbicCodec.h"

#include <mutex>

#include "Host/Kernel/DllLoader.h"

namespace kz {

void* FindAbicFunction(const char* name) {
  static std::mutex mutex;
  static K_DllLoader loader;
  const std::lock_guard lock(mutex);
  if (loader.IsLoaded() == 0 && loader.LoadLib(KV_LIBID_ABIC, 0, nullptr) == 0) return nullptr;
  if (loader.IsFunctionOk(name) == 0) loader.AddFunction(name);
  return loader.GetFunction(name);
}

}  // namespace kz
