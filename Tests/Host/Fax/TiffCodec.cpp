#include "Tests/Host/Fax/TiffCodec.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

struct MemoryFile {
  Bytes* pBytes;
  size_t nPosition = 0;
};

tmsize_t Read(thandle_t handle, void* pBuffer, tmsize_t nCount) {
  auto& file = *static_cast<MemoryFile*>(handle);
  const size_t nLeft =
      file.nPosition < file.pBytes->size() ? file.pBytes->size() - file.nPosition : 0;
  const size_t nRead = std::min(nLeft, static_cast<size_t>(nCount));
  if (nRead > 0) std::memcpy(pBuffer, file.pBytes->data() + file.nPosition, nRead);
  file.nPosition += nRead;
  return static_cast<tmsize_t>(nRead);
}

tmsize_t Write(thandle_t handle, void* pBuffer, tmsize_t nCount) {
  auto& file = *static_cast<MemoryFile*>(handle);
  const size_t nEnd = file.nPosition + static_cast<size_t>(nCount);
  if (file.pBytes->size() < nEnd) file.pBytes->resize(nEnd);
  std::memcpy(file.pBytes->data() + file.nPosition, pBuffer, static_cast<size_t>(nCount));
  file.nPosition = nEnd;
  return nCount;
}

toff_t Seek(thandle_t handle, toff_t nOffset, int nOrigin) {
  auto& file = *static_cast<MemoryFile*>(handle);
  const size_t nBase = nOrigin == SEEK_CUR   ? file.nPosition
                       : nOrigin == SEEK_END ? file.pBytes->size()
                                             : 0;
  return file.nPosition = nBase + nOffset;
}

toff_t Size(thandle_t handle) { return static_cast<MemoryFile*>(handle)->pBytes->size(); }
int Close(thandle_t) { return 0; }

TIFF* Open(MemoryFile& file, const char* pszMode) {
  TIFFSetErrorHandler(nullptr);
  TIFFSetWarningHandler(nullptr);
  TIFF* const pTiff =
      TIFFClientOpen("memory", pszMode, &file, Read, Write, Seek, Close, Size, nullptr, nullptr);
  if (pTiff == nullptr) std::abort();
  return pTiff;
}

void SetTags(TIFF* pTiff, int nWidth, int nHeight, int nCode, bool bFill) {
  TIFFSetField(pTiff, TIFFTAG_IMAGEWIDTH, nWidth);
  TIFFSetField(pTiff, TIFFTAG_IMAGELENGTH, nHeight);
  TIFFSetField(pTiff, TIFFTAG_BITSPERSAMPLE, 1);
  TIFFSetField(pTiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(pTiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
  TIFFSetField(pTiff, TIFFTAG_FILLORDER, FILLORDER_MSB2LSB);
  TIFFSetField(pTiff, TIFFTAG_ROWSPERSTRIP, nHeight);
  // libtiff takes K = 4 from the resolution.
  TIFFSetField(pTiff, TIFFTAG_YRESOLUTION, 200.0);
  TIFFSetField(pTiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
  TIFFSetField(pTiff, TIFFTAG_COMPRESSION,
               nCode == K_FAX_G4 ? COMPRESSION_CCITTFAX4 : COMPRESSION_CCITTFAX3);
  if (nCode != K_FAX_G4)
    TIFFSetField(pTiff, TIFFTAG_GROUP3OPTIONS,
                 static_cast<uint32_t>((nCode == K_FAX_G3_2D ? GROUP3OPT_2DENCODING : 0) |
                                       (bFill ? GROUP3OPT_FILLBITS : 0)));
}

}  // namespace

Bytes WriteTiff(Picture& picture, int nCode, bool bFill) {
  Bytes bytes;
  MemoryFile output{&bytes};
  TIFF* const pTiff = Open(output, "w");
  SetTags(pTiff, picture.nWidth, picture.nHeight, nCode, bFill);
  if (TIFFWriteEncodedStrip(pTiff, 0, picture.rows.data(),
                            static_cast<tmsize_t>(picture.rows.size())) < 0)
    std::abort();
  TIFFClose(pTiff);
  return bytes;
}

Bytes EncodeWithTiff(Picture& picture, int nCode, bool bFill) {
  Bytes bytes = WriteTiff(picture, nCode, bFill);
  MemoryFile input{&bytes};
  TIFF* const pTiff = Open(input, "r");
  Bytes data(static_cast<size_t>(TIFFRawStripSize(pTiff, 0)));
  if (TIFFReadRawStrip(pTiff, 0, data.data(), static_cast<tmsize_t>(data.size())) < 0) std::abort();
  TIFFClose(pTiff);
  return data;
}

RawTiff::RawTiff(const Bytes& data, int nWidth, int nHeight, int nCode)
    : m_nWidth(nWidth), m_nHeight(nHeight) {
  MemoryFile output{&m_file};
  TIFF* const pTiff = Open(output, "w");
  SetTags(pTiff, nWidth, nHeight, nCode, false);
  Bytes copy = data;
  if (TIFFWriteRawStrip(pTiff, 0, copy.data(), static_cast<tmsize_t>(copy.size())) < 0)
    std::abort();
  TIFFClose(pTiff);
}

Picture RawTiff::Decode() const {
  MemoryFile input{const_cast<Bytes*>(&m_file)};
  TIFF* const pTiff = Open(input, "r");
  Picture picture(m_nWidth, m_nHeight);
  const auto nSize = static_cast<tmsize_t>(picture.rows.size());
  if (TIFFReadEncodedStrip(pTiff, 0, picture.rows.data(), nSize) != nSize) picture = {};
  TIFFClose(pTiff);
  return picture;
}
