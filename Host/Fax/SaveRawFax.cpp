#include "Host/Fax/Encoding/PageEncoder.h"
#include "Host/Fax/Fax.h"
#include "Host/Fax/FaxMemory.h"
#include "Host/Kernel/Kernel.h"

namespace {

bool WritePiece(void* pFile, const unsigned char* pBytes, unsigned int nCount) {
  return K_RedirectedWrite(static_cast<tagHANDLE*>(pFile), pBytes, nCount) ==
         static_cast<int>(nCount);
}

// The conversion of a bitmap's rows by the host, ended with the record's life.
class RowConversion {
 public:
  RowConversion(_SAVEDISPATCH* pDispatch, _BITMAPHANDLE* pBitmap, uint32_t uHostFlags,
                void* pfnHostCallback, void* pHostUserData)
      : m_pDispatch(pDispatch),
        m_pBitmap(pBitmap),
        m_uHostFlags(uHostFlags),
        m_pfnHostCallback(pfnHostCallback),
        m_pHostUserData(pHostUserData) {}
  ~RowConversion() {
    m_pDispatch->pfnEndRows(m_pBitmap, &m_pContext, &m_uHostFlags, &m_pRow, &m_pColorTable);
  }
  RowConversion(const RowConversion&) = delete;
  RowConversion& operator=(const RowConversion&) = delete;

  // Both return a status, above 0 on success.
  int Begin() {
    return m_pDispatch->pfnBeginRows(m_pBitmap, &m_pContext, 1, &m_uHostFlags, &m_pRow, 1,
                                     m_pfnHostCallback, m_pHostUserData, &m_pColorTable);
  }
  int GetRow(int nRow) {
    return m_pDispatch->pfnGetRow(m_pBitmap, m_pContext, m_pRow, nRow, 1, m_uHostFlags,
                                  m_pfnHostCallback, m_pHostUserData, m_pColorTable);
  }
  const unsigned char* Row() const { return m_pRow; }
  // Whether a 0 bit is black: the blue of entry 0 says so.
  bool IsZeroBlack() const { return m_pColorTable != nullptr && m_pColorTable[10] < 0x7F; }

 private:
  _SAVEDISPATCH* const m_pDispatch;
  _BITMAPHANDLE* const m_pBitmap;
  uint32_t m_uHostFlags;
  void* const m_pfnHostCallback;
  void* const m_pHostUserData;
  void* m_pContext = nullptr;
  unsigned char* m_pRow = nullptr;
  unsigned char* m_pColorTable = nullptr;
};

}  // namespace

int K_SaveRawFax(_SAVEDISPATCH* pDispatch, tagHANDLE* hFile, _BITMAPHANDLE* pBitmap,
                 int nBitsPerPixel, int nEncoderCode, uint32_t uHostFlags, void* pfnHostCallback,
                 void* pHostUserData, void*, int, void*, void*) {
  if (nBitsPerPixel != 1) return K_ERROR_BITS_PER_PIXEL;
  const std::optional<fax::Coding> coding = fax::CodingOf(nEncoderCode);
  const int nWidth = pBitmap->nWidth;
  const int nHeight = pBitmap->nHeight;
  if (!coding || !fax::IsPageSize(nWidth, nHeight)) return K_ERROR_INVALID_FORMAT;

  const LocalBlock line(fax::LineMemory(nWidth) * sizeof(uint16_t), __LINE__, fax::kSource);
  const LocalBlock reference(fax::LineMemory(nWidth) * sizeof(uint16_t), __LINE__, fax::kSource);
  const LocalBlock memory(fax::PageEncoderMemory(nWidth), __LINE__, fax::kSource);
  if (!line || !reference || !memory) return K_ERROR_NO_MEMORY;

  RowConversion rows(pDispatch, pBitmap, uHostFlags, pfnHostCallback, pHostUserData);
  int nStatus = rows.Begin();
  if (nStatus <= 0) return nStatus;
  const uint64_t uInvert = rows.IsZeroBlack() ? ~uint64_t{0} : 0;
  fax::PageEncoder encoder(*coding, nWidth, memory.As<unsigned char>(), line.As<uint16_t>(),
                           reference.As<uint16_t>(), WritePiece, hFile);
  for (int nRow = 0; nRow < nHeight; ++nRow) {
    nStatus = rows.GetRow(nRow);
    if (nStatus <= 0) return nStatus;
    if (!encoder.EncodeLine(rows.Row(), uInvert)) return K_ERROR_WRITE;
  }
  return encoder.Finish() ? K_SUCCESS : K_ERROR_WRITE;
}
