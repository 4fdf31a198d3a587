// A codec library that has no encoder, and whose decoder does what the first byte
// of the data says. "p" is for planes: the next bytes fill a row each.
#include <cstring>

#include "Host/Abic/Abic.h"
#include "Host/Kernel/Kernel.h"

int K_DecodeABIC(const unsigned char* pData, unsigned int nSize, unsigned char** ppRows, int nAlign,
                 int nWidth, int nHeight, int bBilevel) {
  if (nSize == 0 || nAlign != 4) return -2;
  const int depth = bBilevel != 0 ? 1 : 4;
  const int longer = pData[0] == 'l' ? 2 : 1;
  const auto size = static_cast<size_t>((nWidth * depth + 31) / 32 * 4 * nHeight * longer);
  const bool whole = pData[0] != 's';
  if (pData[0] != 'n') {
    *ppRows =
        static_cast<unsigned char*>(WinGlobalLock(WinGlobalAlloc(0, whole ? size : size - 1)));
    std::memset(*ppRows, 0xC3, whole ? size : size - 1);
  }
  if (pData[0] == 'p' && nSize > static_cast<unsigned>(nHeight)) {
    const auto row = static_cast<size_t>((nWidth * depth + 31) / 32 * 4);
    for (int y = 0; y < nHeight; ++y) {
      std::memset(*ppRows + static_cast<size_t>(y) * row, pData[1 + y], row);
    }
  }
  return pData[0] == 'f' ? -55 : 1;
}
