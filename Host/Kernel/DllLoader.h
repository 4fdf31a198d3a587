// Loads a library of the toolkit by its id and finds functions in it.
#pragma once

#include <string>
#include <vector>

#include "Host/Kernel/Export.h"

// Ids of the toolkit's libraries.
enum KV_LIBID : int {
  KV_LIBID_ABIC = 84,  // KZABI.so
};

// Holds at most one loaded library. Not thread-safe: users serialise calls.
class K_EXPORT K_DllLoader {
 public:
  K_DllLoader();
  ~K_DllLoader();
  K_DllLoader(const K_DllLoader&) = delete;
  K_DllLoader& operator=(const K_DllLoader&) = delete;

  // Loads the library of the id: first beside the kernel library, then on the
  // loader's path. Returns 1, also when it is loaded already; 0 when there is none.
  int LoadLib(KV_LIBID id, int nReserved, const void* pReserved);
  // Registers a function name, resolved at once when a library is loaded. Returns
  // whether it was resolved.
  int AddFunction(const char* pszName);
  int IsLoaded() const;
  // Nonzero when the name was registered and resolved.
  int IsFunctionOk(const char* pszName) const;
  // Address of a resolved function, else null.
  void* GetFunction(const char* pszName) const;
  // Unloads the library and forgets all names; nothing to do when none is loaded.
  void Unload();

 private:
  struct Function {
    std::string name;
    void* address;
  };
  const Function* Find(const char* pszName) const;

  void* m_pLibrary = nullptr;
  std::vector<Function> m_aFunctions;
};
