#include "Tests/Host/Fax/RawFax.h"

#include <algorithm>
#include <cstring>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"

namespace {

struct Transfers {
  const Bytes* pInput = nullptr;
  Bytes output;
  size_t nPosition = 0;
};

int ReadMemory(tagHANDLE*, unsigned char* pBuffer, unsigned int nCount, void* pUserData) {
  auto& transfers = *static_cast<Transfers*>(pUserData);
  const size_t nRead = std::min(transfers.pInput->size() - transfers.nPosition, size_t{nCount});
  std::copy_n(transfers.pInput->data() + transfers.nPosition, nRead, pBuffer);
  transfers.nPosition += nRead;
  return static_cast<int>(nRead);
}

int WriteMemory(tagHANDLE*, unsigned char* pBuffer, unsigned int nCount, void* pUserData) {
  auto& transfers = *static_cast<Transfers*>(pUserData);
  transfers.output.insert(transfers.output.end(), pBuffer, pBuffer + nCount);
  return static_cast<int>(nCount);
}

// Installs the routines above for its lifetime.
class Redirection {
 public:
  explicit Redirection(Transfers& transfers) {
    K_FilterIO(nullptr, &m_pfnRead, &m_pfnWrite, nullptr, nullptr, nullptr, &transfers, &transfers,
               nullptr, nullptr);
  }
  ~Redirection() {
    K_FilterIO(nullptr, &m_pfnRead, &m_pfnWrite, nullptr, nullptr, nullptr, nullptr, nullptr,
               nullptr, nullptr);
  }

 private:
  K_ReadRoutine m_pfnRead = ReadMemory;
  K_WriteRoutine m_pfnWrite = WriteMemory;
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

// What the row routines work on; they find it at the bitmap's rows.
struct Source {
  Picture* pPicture;
  bool bZeroIsBlack;
  int nConversions;
  Bytes row;
  Bytes colorTable;
};

Source& SourceOf(_BITMAPHANDLE* pBitmap) { return *reinterpret_cast<Source*>(pBitmap->pRows); }

int BeginRows(_BITMAPHANDLE* pBitmap, void** ppContext, int nBitsPerPixel, uint32_t*,
              unsigned char** ppRow, int, void*, void*, unsigned char** ppColorTable) {
  Source& source = SourceOf(pBitmap);
  ++source.nConversions;
  if (nBitsPerPixel != 1) return 1;
  source.row.resize(source.pPicture->RowBytes());
  source.colorTable.resize(16, source.bZeroIsBlack ? 0x00 : 0xFF);
  *ppContext = &source;
  *ppRow = source.row.data();
  *ppColorTable = source.colorTable.data();
  return 2;
}

int GetRow(_BITMAPHANDLE* pBitmap, void* pContext, unsigned char* pRow, int nRow, int, uint32_t,
           void*, void*, unsigned char*) {
  Source& source = SourceOf(pBitmap);
  if (pContext != &source) return -1;
  Picture& picture = *source.pPicture;
  const unsigned char uInvert = source.bZeroIsBlack ? 0xFF : 0x00;
  std::transform(picture.Row(nRow), picture.Row(nRow) + picture.RowBytes(), pRow,
                 [&](unsigned char byte) { return static_cast<unsigned char>(byte ^ uInvert); });
  const int nPadding = static_cast<int>(picture.RowBytes()) * 8 - picture.nWidth;
  pRow[picture.RowBytes() - 1] |= static_cast<unsigned char>((1 << nPadding) - 1);
  return 1;
}

int EndRows(_BITMAPHANDLE* pBitmap, void** ppContext, uint32_t*, unsigned char** ppRow,
            unsigned char** ppColorTable) {
  --SourceOf(pBitmap).nConversions;
  *ppContext = nullptr;
  *ppRow = *ppColorTable = nullptr;
  return 1;
}

}  // namespace

std::string Times(int n, const std::string& bits) {
  std::string all;
  for (; n > 0; --n) all += bits;
  return all;
}

Bytes Pack(const std::string& bits) {
  Bytes bytes;
  int nBits = 0;
  for (const char bit : bits) {
    if (bit != '0' && bit != '1') continue;
    if (nBits % 8 == 0) bytes.push_back(0);
    if (bit == '1') bytes.back() |= static_cast<unsigned char>(0x80 >> nBits % 8);
    ++nBits;
  }
  return bytes;
}

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
  const Redirection redirection(transfers);
  load.nResult = K_LoadRawFax(&dispatch, nullptr, &info, &target.nContext, &target.bitmap, TakeRow,
                              options.nBitsPerPixel, &target);
  load.nLoadError = dispatch.nLoadError;
  return load;
}

RawFaxSave SaveRaw(Picture& picture, int nCode, const RawFaxOptions& options, bool bZeroIsBlack) {
  RawFaxSave save;
  Source source{&picture, bZeroIsBlack, 0, {}, {}};
  _BITMAPHANDLE bitmap{};
  bitmap.nWidth = picture.nWidth;
  bitmap.nHeight = picture.nHeight;
  bitmap.pRows = reinterpret_cast<unsigned char*>(&source);
  _SAVEDISPATCH dispatch{};
  dispatch.pfnBeginRows = BeginRows;
  dispatch.pfnGetRow = GetRow;
  dispatch.pfnEndRows = EndRows;

  Transfers transfers;
  const Redirection redirection(transfers);
  save.nResult = K_SaveRawFax(&dispatch, nullptr, &bitmap, options.nBitsPerPixel, nCode, 0, nullptr,
                              nullptr, nullptr, 0, nullptr, nullptr);
  save.data = transfers.output;
  save.nConversions = source.nConversions;
  return save;
}
