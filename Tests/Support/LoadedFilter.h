// The filter as a host has it that isn't linked with it: loaded, called by the names
// of its entry points, and unloaded.
#pragma once

#include <dlfcn.h>

#include "API/Filters/Ica/Common/Ica.h"

class LoadedFilter {
 public:
  LoadedFilter() : m_library(dlopen(KZ_FILTER, RTLD_NOW | RTLD_LOCAL)) {}
  ~LoadedFilter() { Unload(); }
  LoadedFilter(const LoadedFilter&) = delete;
  LoadedFilter& operator=(const LoadedFilter&) = delete;

  // The entry point's result; 0 when there is no filter.
  template <typename Dispatch>
  int Call(const char* entryPoint, Dispatch* dispatch) const {
    const auto entry = reinterpret_cast<int (*)(Dispatch*)>(dlsym(m_library, entryPoint));
    return entry != nullptr ? entry(dispatch) : 0;
  }
  // Whether it has really gone.
  bool Unload() {
    if (m_library != nullptr) dlclose(m_library);
    m_library = nullptr;
    return dlopen(KZ_FILTER, RTLD_NOW | RTLD_NOLOAD) == nullptr;
  }

 private:
  void* m_library;
};
