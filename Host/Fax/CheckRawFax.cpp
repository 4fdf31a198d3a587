#include <algorithm>
#include <cstring>
#include <optional>

#include "Host/Fax/Decoding/PageDecoder.h"
#include "Host/Fax/Fax.h"
#include "Host/Fax/FaxMemory.h"
#include "Host/Kernel/Kernel.h"

namespace {

struct MemoryFile {
  const unsigned char* pData;
  size_t nLeft;
};

int ReadMemory(void* pContext, unsigned char* pBuffer, unsigned int nCount) {
  auto& file = *static_cast<MemoryFile*>(pContext);
  const size_t nRead = std::min(file.nLeft, size_t{nCount});
  if (nRead > 0) std::memcpy(pBuffer, file.pData, nRead);
  file.pData += nRead;
  file.nLeft -= nRead;
  return static_cast<int>(nRead);
}

}  // namespace

int K_CheckRawFax(const unsigned char* pData, size_t nSize, const _LOADINFO* pInfo,
                  FaxCheck* pCheck) {
  FaxCheck& check = *pCheck;
  check = {};
  const std::optional<fax::Coding> coding = fax::CodingOf(static_cast<int>(pInfo->nFormat));
  if (!coding || !fax::IsPageSize(pInfo->nWidth, pInfo->nHeight)) return K_ERROR_INVALID_FORMAT;
  const int nWidth = static_cast<int>(pInfo->nWidth);
  const int nHeight = static_cast<int>(pInfo->nHeight);
  const fax::DecoderMemory memory(nWidth);
  if (!memory) return K_ERROR_NO_MEMORY;

  MemoryFile file{pData, nSize};
  fax::PieceSource source{memory.piece.As<unsigned char>(), ReadMemory, &file,
                          (pInfo->uFlags & K_RAW_REVERSED_BITS) != 0};
  fax::PageDecoder decoder(*coding, nWidth, nHeight, source, memory.line.As<uint16_t>(),
                           memory.reference.As<uint16_t>(), memory.pixels.As<uint64_t>());
  fax::LineStatus status = fax::LineStatus::Decoded;
  while (check.nRows < nHeight) {
    status = decoder.NextLine();
    if (status != fax::LineStatus::Decoded && status != fax::LineStatus::Replaced) break;
    check.nReplaced += static_cast<int>(status == fax::LineStatus::Replaced);
    ++check.nRows;
  }
  const fax::PageLayout& layout = decoder.Layout();
  check.nDamagedEndOfLines = layout.nDamagedEndOfLines;
  if (status == fax::LineStatus::EndOfData) return K_ERROR_READ;
  if (status == fax::LineStatus::BadCode) return K_ERROR_INVALID_FORMAT;

  check.bEndOfLines = check.nRows > 0 && layout.nEndOfLines == check.nRows;
  check.bAlignedEndOfLines = check.bEndOfLines && layout.nAlignedEndOfLines == check.nRows;
  check.bEndMarker = status == fax::LineStatus::EndOfPage || decoder.TakeEndMarker();
  check.nAfterMarker = nHeight - check.nRows;
  check.nRows = nHeight;
  return K_SUCCESS;
}
