#include "API/Filters/Ica/Common/Ioca/Coders/CodecLoader.h"

#include <mutex>

namespace EmbeddedLoaders {
K_DllLoader g_aLoaders;
}

const FilterLibrary aFilters[1] = {{"KZABI.so", K_ERROR_NO_ABIC_DECODER}};

namespace {

// Orders loading and unloading and guards the count. The functions are looked up
// without it: while there are users the loader does not change.
std::mutex g_codecLock;
int g_codecUsers = 0;

}  // namespace

int LoadCodecLibrary() {
  const std::lock_guard lock(g_codecLock);
  K_DllLoader& loader = EmbeddedLoaders::g_aLoaders;
  if (g_codecUsers == 0) {
    const int status = loader.LoadLib(KV_LIBID_ABIC, 0, nullptr);
    if (status == 0) return 0;
    for (const char* name : {"fltLoad", "fltSave", "K_DecodeABIC", "K_EncodeABIC"}) {
      loader.AddFunction(name);
    }
    if (status != K_SUCCESS) return status;
  }
  ++g_codecUsers;
  return K_SUCCESS;
}

void UnloadCodecLibrary() {
  const std::lock_guard lock(g_codecLock);
  if (g_codecUsers > 0) --g_codecUsers;
  K_DllLoader& loader = EmbeddedLoaders::g_aLoaders;
  if (g_codecUsers == 0 && loader.IsLoaded() != 0) loader.Unload();
}
