// The ABIC codec library, loaded while at least one call codes ABIC.
#pragma once

#include "API/Filters/Ica/Common/Ica.h"
#include "Host/Kernel/DllLoader.h"

namespace EmbeddedLoaders {
// The one loader of the process.
K_EXPORT extern K_DllLoader g_aLoaders;
}  // namespace EmbeddedLoaders

// The functions of the codec library that the filter calls, and the alignment of
// rows in bytes that it gives them.
using DecodeAbicRoutine = int (*)(const unsigned char* pData, unsigned int nSize,
                                  unsigned char** ppRows, int nAlign, int nWidth, int nHeight,
                                  int bBilevel);
using EncodeAbicRoutine = int (*)(const unsigned char* pRows, int nAlign, int nWidth, int nHeight,
                                  unsigned char** ppData, uint64_t* pnSize, int bBilevel);
constexpr int CODEC_ROW_ALIGNMENT = 4;

// Loads the codec library for one more user and resolves its functions. Returns 1
// when it is available; other results are no use that would have to be ended.
K_EXPORT int LoadCodecLibrary();
// Ends one use; the last one unloads the library.
K_EXPORT void UnloadCodecLibrary();

// One use of the codec library, for the lifetime of the object.
class CodecUse {
 public:
  CodecUse() : m_available(LoadCodecLibrary() == K_SUCCESS) {}
  ~CodecUse() {
    if (m_available) UnloadCodecLibrary();
  }
  CodecUse(const CodecUse&) = delete;
  CodecUse& operator=(const CodecUse&) = delete;

  // The function of that name, null when the library or the function is missing.
  template <typename Routine>
  Routine Find(const char* pszName) const {
    const K_DllLoader& loader = EmbeddedLoaders::g_aLoaders;
    if (!m_available || loader.IsFunctionOk(pszName) == 0) return nullptr;
    return reinterpret_cast<Routine>(loader.GetFunction(pszName));
  }

 private:
  bool m_available;
};
