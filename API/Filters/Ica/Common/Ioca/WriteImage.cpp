#include "API/Filters/Ica/Common/Ioca/WriteImage.h"

#include "API/Filters/Ica/Common/Ioca/Encoders.h"
#include "API/Filters/Ica/Common/Ioca/FormatCodes.h"
#include "API/Filters/Ica/Common/Ioca/ImageDataWriter.h"
#include "API/Filters/Ica/Common/Ioca/SelfDefiningField.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Host/Fax/Fax.h"

namespace {

// Bytes of the five parameter fields, and of the two that close the segment.
constexpr unsigned kParameterBytes = 23;
constexpr unsigned kClosingBytes = 4;

int WriteField(tagHANDLE* handle, uint16_t id, uint16_t length = 0, unsigned char first = 0,
               unsigned char second = 0) {
  _ICA_SDF field = {};
  field.wId = id;
  field.wLength = length;
  field.abParam[0] = first;
  field.abParam[1] = second;
  return WriteICA_SDF(handle, &field);
}

int WriteImageSize(tagHANDLE* handle, const _BITMAPHANDLE* bitmap) {
  _ICA_SDF field = {};
  field.wId = SDF_IMAGE_SIZE;
  field.wLength = 9;
  field.bUnitBase = UNIT_BASE_TEN_INCHES;
  field.wHResolution = static_cast<uint16_t>(bitmap->nXResolution * 10);
  field.wVResolution = static_cast<uint16_t>(bitmap->nYResolution * 10);
  field.wHSize = static_cast<uint16_t>(bitmap->nWidth);
  field.wVSize = static_cast<uint16_t>(bitmap->nHeight);
  return WriteICA_SDF(handle, &field);
}

unsigned char CompressionOf(const FormatRow* row, const _BITMAPHANDLE* bitmap) {
  if (row->coding != Coding::Abic) return row->compression;
  switch (bitmap->nBitsPerPixel) {
    case 1:
      return ICA_COMPRESSION_ABIC;
    case 4:
      return ICA_COMPRESSION_CONCATENATED_ABIC;
    default:
      return 0x00;
  }
}

int WriteParameters(_SAVEDISPATCH* pSave, tagHANDLE* handle, const FormatRow* row, int withIPD) {
  int status = withIPD != 0 ? WriteIPD(handle, kParameterBytes) : K_SUCCESS;
  if (status == K_SUCCESS) status = WriteField(handle, SDF_BEGIN_SEGMENT);
  if (status == K_SUCCESS) status = WriteField(handle, SDF_BEGIN_IMAGE_CONTENT, 1, 0xFF);
  if (status == K_SUCCESS) status = WriteImageSize(handle, pSave->pBitmap);
  if (status == K_SUCCESS) {
    pSave->nFormat = static_cast<int32_t>(row->raw);
    status = WriteField(handle, SDF_IMAGE_ENCODING, 2, CompressionOf(row, pSave->pBitmap),
                        RECORDING_RIDIC);
  }
  if (status == K_SUCCESS) {
    status = WriteField(handle, SDF_IDE_SIZE, 1, static_cast<unsigned char>(pSave->nBitsPerPixel));
  }
  return status;
}

// Whatever the encoder writes through the host lands in WriteIMG.
int WriteData(_SAVEDISPATCH* pSave, tagHANDLE* handle, const FormatRow* row, int withIPD) {
  FilterThreadState* state = ThreadState();
  const InstalledWriteRoutine routine(state, WriteIMG);
  state->nSegmentRoom = 0;
  state->bWriteIPD = static_cast<uint32_t>(withIPD);
  if (row->coding != Coding::Fax) return K_InitEncoder(pSave, handle);
  return K_SaveRawFax(pSave, handle, pSave->pBitmap, pSave->nBitsPerPixel, pSave->nFormat,
                      pSave->uHostFlags, pSave->pfnHostCallback, pSave->pHostUserData, nullptr, 0,
                      nullptr, nullptr);
}

}  // namespace

int WriteImage(_SAVEDISPATCH* pSave, tagHANDLE* handle, int withIPD) {
  const FormatRow* row = FindFormatCode(static_cast<uint32_t>(pSave->nFormat)).row;
  if (row == nullptr) return K_ERROR_SAVE_FORMAT;
  int status = WriteParameters(pSave, handle, row, withIPD);
  if (status == K_SUCCESS) status = WriteData(pSave, handle, row, withIPD);
  if (status == K_SUCCESS && withIPD != 0) status = WriteIPD(handle, kClosingBytes);
  if (status == K_SUCCESS) status = WriteField(handle, SDF_END_IMAGE_CONTENT);
  if (status == K_SUCCESS) status = WriteField(handle, SDF_END_SEGMENT);
  if (status == K_SUCCESS) status = FinishImageData(handle);
  return status;
}
