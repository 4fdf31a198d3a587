#include "API/Filters/Ica/Common/Ioca/Page.h"

#include <cstring>
#include <initializer_list>

#include "API/Filters/Ica/Common/Ioca/BigEndian.h"
#include "API/Filters/Ica/Common/Ioca/Document.h"
#include "API/Filters/Ica/Common/Ioca/ImageDataWriter.h"
#include "API/Filters/Ica/Common/Ioca/StructuredField.h"

namespace {

constexpr int kDefaultResolution = 96;
// Page measures are in units of 1/1440 inch, ten inches being the base.
constexpr double kUnitsPerInch = 1440.0;
constexpr uint16_t kUnitsPerBase = 14400;

// A side of the page in units. Three bytes stand for it in the file, of which the
// first is always 0.
uint32_t PageUnits(int pixels, int resolution) {
  return static_cast<uint32_t>(static_cast<int64_t>(pixels * kUnitsPerInch / resolution));
}

struct PageSize {
  uint32_t width;
  uint32_t height;
};

PageSize MeasurePage(_BITMAPHANDLE* bitmap) {
  if (bitmap->nXResolution == 0) bitmap->nXResolution = kDefaultResolution;
  if (bitmap->nYResolution == 0) bitmap->nYResolution = kDefaultResolution;
  return {PageUnits(bitmap->nWidth, bitmap->nXResolution),
          PageUnits(bitmap->nHeight, bitmap->nYResolution)};
}

int WritePageDescriptor(tagHANDLE* handle, const PageSize& size) {
  _MODCA_SDF sdf = {};
  sdf.wCode = SF_PAGE_DESCRIPTOR;
  sdf.wCount = 23;
  sdf.wLength = 23;
  sdf.bClass = SF_CLASS;
  sdf.wTypeCategory = SF_PAGE_DESCRIPTOR;
  // Unit bases X and Y stay 0: ten inches.
  std::memcpy(sdf.abData + 2, &kUnitsPerBase, sizeof(kUnitsPerBase));
  std::memcpy(sdf.abData + 4, &kUnitsPerBase, sizeof(kUnitsPerBase));
  PutBig16(sdf.abData + 7, size.width);
  PutBig16(sdf.abData + 10, size.height);
  return WriteMODCA_SDF(handle, &sdf);
}

int WriteObjectAreaDescriptor(tagHANDLE* handle, const PageSize& size) {
  unsigned char field[] = {
      // clang-format off
      0x00, 0x1C, 0xD3, 0xA6, 0x6B, 0x00, 0x00, 0x00,
      0x03, 0x43, 0x01,                                // descriptor position 1
      0x08, 0x4B, 0x00, 0x00, 0x38, 0x40, 0x38, 0x40,  // 14400 units in ten inches
      0x09, 0x4C, 0x02, 0, 0, 0, 0, 0, 0,              // object area size
      // clang-format on
  };
  PutBig16(field + 23, size.width);
  PutBig16(field + 26, size.height);
  return WriteStructuredField(handle, field, sizeof(field));
}

int WriteObjectAreaPosition(tagHANDLE* handle) {
  constexpr unsigned char field[] = {
      // clang-format off
      0x00, 0x20, 0xD3, 0xAC, 0x6B, 0x00, 0x00, 0x00,
      0x01, 0x17,                          // position 1, a group of 23 bytes
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // origin of the area
      0x00, 0x00, 0x2D, 0x00, 0x00,        // axes at 0 and 90 degrees
      0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  // origin of the content
      0x00, 0x00, 0x2D, 0x00,              // axes at 0 and 90 degrees
      0x01,                                // reference coordinate system
      // clang-format on
  };
  return WriteStructuredField(handle, field, sizeof(field));
}

}  // namespace

int WriteMODCAStartPage(_SAVEDISPATCH* pSave, tagHANDLE* handle) {
  int status = WriteEmptyField(handle, SF_BEGIN_PAGE);
  if (status == K_SUCCESS) status = WriteEmptyField(handle, SF_BEGIN_ACTIVE_ENVIRONMENT);
  if (status != K_SUCCESS) return status;
  const PageSize size = MeasurePage(pSave->pBitmap);
  status = WritePageDescriptor(handle, size);
  for (const uint16_t code :
       {SF_END_ACTIVE_ENVIRONMENT, SF_BEGIN_IMAGE_OBJECT, SF_BEGIN_OBJECT_ENVIRONMENT}) {
    if (status == K_SUCCESS) status = WriteEmptyField(handle, code);
  }
  if (status == K_SUCCESS) status = WriteObjectAreaDescriptor(handle, size);
  if (status == K_SUCCESS) status = WriteObjectAreaPosition(handle);
  if (status == K_SUCCESS) status = WriteIDD(handle, pSave->pBitmap);
  if (status == K_SUCCESS) status = WriteEmptyField(handle, SF_END_OBJECT_ENVIRONMENT);
  return status;
}

int WriteMODCAEndPage(tagHANDLE* handle) {
  const int status = WriteEmptyField(handle, SF_END_IMAGE_OBJECT);
  return status == K_SUCCESS ? WriteEmptyField(handle, SF_END_PAGE) : status;
}
