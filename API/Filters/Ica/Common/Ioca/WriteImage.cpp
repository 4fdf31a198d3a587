#include "API/Filters/Ica/Common/Ioca/WriteImage.h"

#include "API/Filters/Ica/Common/Ioca/Coders/Coders.h"
#include "API/Filters/Ica/Common/Ioca/Coders/ExportedCoders.h"
#include "API/Filters/Ica/Common/Ioca/Document/Envelope.h"
#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataWriter.h"
#include "API/Filters/Ica/Common/Ioca/Segment/PictureData.h"
#include "API/Filters/Ica/Common/Ioca/Segment/SegmentField.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/Compression.h"
#include "Format/SelfDefiningField.h"

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
  field.wId = kz::sdf::kImageSize;
  field.wLength = 9;
  field.bUnitBase = kz::kBaseTenInches;
  field.wHResolution = static_cast<uint16_t>(bitmap->nXResolution * 10);
  field.wVResolution = static_cast<uint16_t>(bitmap->nYResolution * 10);
  field.wHSize = static_cast<uint16_t>(bitmap->nWidth);
  field.wVSize = static_cast<uint16_t>(bitmap->nHeight);
  return WriteICA_SDF(handle, &field);
}

int WriteParameters(_SAVEDISPATCH* pSave, tagHANDLE* handle, const kz::CompressionRow* row,
                    int withIPD) {
  int status = withIPD != 0 ? WriteIPD(handle, kParameterBytes) : K_SUCCESS;
  if (status == K_SUCCESS) status = WriteField(handle, kz::sdf::kBeginSegment);
  if (status == K_SUCCESS) status = WriteField(handle, kz::sdf::kBeginImageContent, 1, 0xFF);
  if (status == K_SUCCESS) status = WriteImageSize(handle, pSave->pBitmap);
  if (status == K_SUCCESS) {
    pSave->nFormat = row->raw;
    const unsigned id = kz::CompressionIdAt(*row, pSave->pBitmap->nBitsPerPixel);
    status = WriteField(handle, kz::sdf::kImageEncoding, 2, static_cast<unsigned char>(id),
                        kz::kRecordingRidic);
  }
  if (status == K_SUCCESS) {
    status =
        WriteField(handle, kz::sdf::kIdeSize, 1, static_cast<unsigned char>(pSave->nBitsPerPixel));
  }
  return status;
}

// Whatever the encoder writes through the host lands in WriteIMG.
int WriteData(_SAVEDISPATCH* pSave, tagHANDLE* handle, const kz::CompressionRow* row, int withIPD) {
  FilterThreadState* state = ThreadState();
  const InstalledWriteRoutine routine(state, WriteIMG);
  state->nSegmentRoom = 0;
  state->bWriteIPD = static_cast<uint32_t>(withIPD);
  switch (row->coding) {
    case kz::Coding::Fax:
      return SaveFax(pSave, handle);
    case kz::Coding::Abic:
    case kz::Coding::Uncompressed:
    case kz::Coding::Jpeg:
      return K_InitEncoder(pSave, handle);
    case kz::Coding::Unknown:
      break;
  }
  return K_ERROR_SAVE_FORMAT;
}

}  // namespace

int WriteImage(_SAVEDISPATCH* pSave, tagHANDLE* handle, int withIPD) {
  const kz::CompressionRow* row = kz::FindFormatCode(static_cast<uint32_t>(pSave->nFormat)).row;
  if (row == nullptr) return K_ERROR_SAVE_FORMAT;
  int status = WriteParameters(pSave, handle, row, withIPD);
  if (status == K_SUCCESS) status = WriteData(pSave, handle, row, withIPD);
  if (status == K_SUCCESS && withIPD != 0) status = WriteIPD(handle, kClosingBytes);
  if (status == K_SUCCESS) status = WriteField(handle, kz::sdf::kEndImageContent);
  if (status == K_SUCCESS) status = WriteField(handle, kz::sdf::kEndSegment);
  if (status == K_SUCCESS) status = FinishImageData(handle);
  return status;
}

int AppendPage(_SAVEDISPATCH* pSave, tagHANDLE* handle, int overEnd) {
  int status = overEnd != 0 ? SeekEndDocument(handle) : K_SUCCESS;
  if (status == K_SUCCESS) status = WriteMODCAStartPage(pSave, handle);
  if (status == K_SUCCESS) status = WriteImage(pSave, handle, 1);
  if (status == K_SUCCESS) status = WriteMODCAEndPage(handle);
  return status;
}

int K_InitEncoder(_SAVEDISPATCH* pSave, tagHANDLE* handle) {
  _BITMAPHANDLE* bitmap = pSave->pBitmap;
  if (bitmap->nViewPerspective != K_VIEW_TOP_DOWN) {
    K_ChangeBitmapViewPerspective(nullptr, bitmap, bitmap->uStructSize, K_VIEW_TOP_DOWN);
  }
  const kz::CompressionRow* row = kz::FindRawCode(static_cast<uint32_t>(pSave->nFormat));
  int status = K_ERROR_SAVE_FORMAT;
  switch (row != nullptr ? row->coding : kz::Coding::Unknown) {
    case kz::Coding::Abic:
      status = K_ABICInitEncoder(pSave, handle);
      break;
    case kz::Coding::Uncompressed:
      status = SaveUncompressed(pSave, handle);
      break;
    case kz::Coding::Jpeg:
      status = K_JPEGInitEncoder(pSave, handle);
      break;
    case kz::Coding::Fax:
    case kz::Coding::Unknown:
      break;
  }
  return status > 0 ? K_SUCCESS : status;
}
