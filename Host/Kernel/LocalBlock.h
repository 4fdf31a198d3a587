// The guard of a block of the host's memory.
#pragma once

#include <cstddef>

#include "Host/Kernel/Kernel.h"

// A block from K_LocalAlloc, freed at the end of the guard's lifetime.
class LocalBlock {
 public:
  // No block yet. The tag goes with every call for the block.
  explicit LocalBlock(const char* pszSource) : m_source(pszSource) {}
  // nSize bytes; none when out of memory.
  LocalBlock(size_t nSize, int nLine, const char* pszSource) : m_source(pszSource) {
    Grow(nSize, nLine);
  }
  ~LocalBlock() { Reset(); }
  LocalBlock(const LocalBlock&) = delete;
  LocalBlock& operator=(const LocalBlock&) = delete;

  explicit operator bool() const { return m_block != nullptr; }
  unsigned char* get() const { return As<unsigned char>(); }
  template <typename T>
  T* As() const {
    return static_cast<T*>(m_block);
  }
  // Whether the block could begin with, or grow to, nSize bytes; if not it stays as
  // it was.
  bool Grow(size_t nSize, int nLine) {
    // Not every host has null for no block yet, or a block of no bytes.
    const size_t size = nSize != 0 ? nSize : 1;
    void* grown = m_block == nullptr ? K_LocalAlloc(size, 1, nLine, m_source)
                                     : K_LocalRealloc(m_block, size, nLine, m_source);
    if (grown != nullptr) m_block = grown;
    return grown != nullptr;
  }
  void Reset() {
    if (m_block != nullptr) K_LocalFree(m_block, __LINE__, m_source);
    m_block = nullptr;
  }

 private:
  const char* m_source;
  void* m_block = nullptr;
};
