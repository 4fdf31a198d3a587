#include "Tests/Fax/RawFax.h"

#include <algorithm>
#include <cstring>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"

namespace {

struct Transfers {
  const Bytes* pInput = nullptr;
  Bytes output;
  size_t nPosition = 0;
  int nTransfers = 0;
  int nFailing = 0;
  int nLargest = 0;
};

int ReadMemory(tagHANDLE*, unsigned char* pBuffer, unsigned int nCount, void* pUserData) {
  auto& transfers = *static_cast<Transfers*>(pUserData);
  if (++transfers.nTransfers == transfers.nFailing) return -1;
  transfers.nLargest = std::max(transfers.nLargest, static_cast<int>(nCount));
  const size_t nRead = std::min(transfers.pInput->size() - transfers.nPosition, size_t{nCount});
  std::copy_n(transfers.pInput->data() + transfers.nPosition, nRead, pBuffer);
  transfers.nPosition += nRead;
  return static_cast<int>(nRead);
}

// Installs the routines above for its lifetime.
class Redirection {
 public:
  explicit Redirection(Transfers& transfers) {
    K_FilterIO(nullptr, &m_pfnRead, nullptr, nullptr, nullptr, nullptr, &transfers, nullptr,
               nullptr, nullptr);
  }
  ~Redirection() {
    K_FilterIO(nullptr, &m_pfnRead, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
               nullptr);
  }

 private:
  K_ReadRoutine m_pfnRead = ReadMemory;
};

struct Target {
  RawFaxLoad* pLoad;
  const RawFaxOptions* pOptions;
  _BITMAPHANDLE bitmap;
  int nContext = 0;
};

int TakeRow(void* pContext, _BITMAPHANDLE* pBitmap, unsigned char* pRows, uint32_t uFlags, int nRow,
            int nRows, void* pUserData) {
  auto& target = *static_cast<Target*>(pUserData);
  RawFaxLoad& load = *target.pLoad;
  Picture& picture = load.picture;
  const uint32_t uExpected =
      K_ROW_ALWAYS | (nRow == 0 ? K_ROW_FIRST : 0) | (nRow == picture.nHeight - 1 ? K_ROW_LAST : 0);
  const size_t nBytes = picture.RowBytes();
  unsigned char* const pEnd =
      pRows + std::max(nBytes, static_cast<size_t>(std::max(pBitmap->nBytesPerLine, 0)));
  const int nPadding = static_cast<int>(nBytes) * 8 - picture.nWidth;
  load.bRowsAsPromised =
      load.bRowsAsPromised && pContext == &target.nContext && pBitmap == &target.bitmap &&
      uFlags == uExpected && nRow == load.nRows && nRows == 1 &&
      (pRows[nBytes - 1] & ((1 << nPadding) - 1)) == 0 &&
      std::all_of(pRows + nBytes, pEnd, [](unsigned char byte) { return byte == 0; });
  std::memcpy(picture.Row(nRow), pRows, nBytes);
  std::memset(pRows, 0xA5,
              static_cast<size_t>(pEnd - pRows));  // the row is the callback's to spoil
  ++load.nRows;
  return nRow == target.pOptions->nStopAtRow ? target.pOptions->nStopResult : K_SUCCESS;
}

}  // namespace

RawFaxLoad LoadRaw(const Bytes& data, int nWidth, int nHeight, int nCode,
                   const RawFaxOptions& options) {
  RawFaxLoad load;
  load.picture = Picture(nWidth, nHeight);
  Target target{&load, &options, {}};
  target.bitmap.nBytesPerLine = options.nBytesPerLine;
  _LOADDISPATCH dispatch{};
  _LOADINFO info{};
  info.nFormat = static_cast<uint32_t>(nCode);
  info.nWidth = static_cast<uint32_t>(nWidth);
  info.nHeight = static_cast<uint32_t>(nHeight);
  info.nBitsPerPixel = 1;
  info.uFlags = options.bReversedBits ? K_RAW_REVERSED_BITS : 0;

  Transfers transfers;
  transfers.pInput = &data;
  transfers.nFailing = options.nFailingTransfer;
  const Redirection redirection(transfers);
  K_FailAllocation(options.nFailingAllocation);
  load.nResult = K_LoadRawFax(&dispatch, nullptr, &info, &target.nContext, &target.bitmap, TakeRow,
                              options.nBitsPerPixel, &target);
  K_FailAllocation(0);
  load.nLoadError = dispatch.nLoadError;
  load.nLargestRead = transfers.nLargest;
  return load;
}
