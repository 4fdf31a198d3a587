#include "Host/Kernel/DllLoader.h"

#include <dlfcn.h>

#include <algorithm>
#include <new>

#include "Host/Kernel/Status.h"

namespace {

const char* FileName(KV_LIBID id) { return id == KV_LIBID_ABIC ? "KZABI.so" : nullptr; }

// The folder of the kernel library with a slash at its end; empty when unknown.
std::string KernelFolder() {
  Dl_info info;
  if (dladdr(reinterpret_cast<const void*>(&FileName), &info) == 0 || info.dli_fname == nullptr) {
    return {};
  }
  const std::string path = info.dli_fname;
  const size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

}  // namespace

K_DllLoader::K_DllLoader() = default;

K_DllLoader::~K_DllLoader() { Unload(); }

int K_DllLoader::LoadLib(KV_LIBID id, int, const void*) try {
  if (m_pLibrary != nullptr) return K_SUCCESS;
  const char* name = FileName(id);
  if (name == nullptr) return 0;
  const std::string folder = KernelFolder();
  if (!folder.empty()) m_pLibrary = dlopen((folder + name).c_str(), RTLD_NOW | RTLD_LOCAL);
  if (m_pLibrary == nullptr) m_pLibrary = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  return m_pLibrary != nullptr ? K_SUCCESS : 0;
} catch (const std::bad_alloc&) {
  return 0;
}

int K_DllLoader::AddFunction(const char* pszName) try {
  if (m_pLibrary == nullptr || pszName == nullptr) return 0;
  void* address = dlsym(m_pLibrary, pszName);
  if (Find(pszName) == nullptr) m_aFunctions.push_back({pszName, address});
  return address != nullptr ? 1 : 0;
} catch (const std::bad_alloc&) {
  return 0;
}

int K_DllLoader::IsLoaded() const { return m_pLibrary != nullptr ? 1 : 0; }

int K_DllLoader::IsFunctionOk(const char* pszName) const {
  return GetFunction(pszName) != nullptr ? 1 : 0;
}

void* K_DllLoader::GetFunction(const char* pszName) const {
  const Function* function = Find(pszName);
  return function != nullptr ? function->address : nullptr;
}

const K_DllLoader::Function* K_DllLoader::Find(const char* pszName) const {
  const auto found =
      std::find_if(m_aFunctions.begin(), m_aFunctions.end(),
                   [&](const Function& function) { return function.name == pszName; });
  return found != m_aFunctions.end() ? &*found : nullptr;
}

void K_DllLoader::Unload() {
  if (m_pLibrary == nullptr) return;
  m_aFunctions.clear();
  dlclose(m_pLibrary);
  m_pLibrary = nullptr;
}
