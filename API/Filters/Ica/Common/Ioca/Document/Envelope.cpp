#include "API/Filters/Ica/Common/Ioca/Document/Envelope.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <initializer_list>

#include "API/Filters/Ica/Common/Ioca/Document/FieldStream.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Format/FieldBuilder.h"
#include "Format/SelfDefiningField.h"
#include "Format/Triplet.h"

namespace {

constexpr int kDefaultResolution = 96;
// Page measures are in units of 1/1440 inch, ten inches being the base.
constexpr double kUnitsPerInch = 1440.0;
constexpr uint16_t kUnitsPerBase = 14400;

// Room for every field of a page.
using PageField = kz::FixedFieldBuilder<32>;

int WriteEmptyFields(tagHANDLE* handle, std::initializer_list<uint16_t> codes) {
  for (const uint16_t code : codes) {
    const int status = WriteStructuredField(handle, PageField(code).Finish());
    if (status != K_SUCCESS) return status;
  }
  return K_SUCCESS;
}

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

// The unit bases, X and Y, and the units in them.
void PutUnits(PageField* field) {
  field->Put8(kz::kBaseTenInches).Put8(kz::kBaseTenInches);
  field->Put16(kUnitsPerBase).Put16(kUnitsPerBase);
}

void PutSize(PageField* field, const PageSize& size) {
  field->Put8(0).Put16(size.width).Put8(0).Put16(size.height);
}

int WritePageDescriptor(tagHANDLE* handle, const PageSize& size) {
  PageField field(kz::sf::kPageDescriptor);
  PutUnits(&field);
  PutSize(&field, size);
  return WriteStructuredField(handle, field.Put24(0).Finish());
}

int WriteObjectAreaDescriptor(tagHANDLE* handle, const PageSize& size) {
  PageField field(kz::sf::kObjectAreaDescriptor);
  field.BeginTriplet(kz::triplet::kDescriptorPosition).Put8(1).EndTriplet();
  field.BeginTriplet(kz::triplet::kMeasurementUnits);
  PutUnits(&field);
  field.EndTriplet().BeginTriplet(kz::triplet::kObjectAreaSize).Put8(2);
  PutSize(&field, size);
  return WriteStructuredField(handle, field.EndTriplet().Finish());
}

int WriteObjectAreaPosition(tagHANDLE* handle) {
  constexpr uint32_t uprightAxes = 0x00002D00;  // X at 0 degrees, Y at 90
  PageField field(kz::sf::kObjectAreaPosition);
  field.Put8(1).Put8(23);                                       // position 1, a group of 23 bytes
  field.Put24(0).Put24(0).Put32(uprightAxes);                   // origin and axes of the area
  field.Put8(0);                                                // reserved
  field.Put24(0).Put24(0).Put32(uprightAxes);                   // origin and axes of the content
  return WriteStructuredField(handle, field.Put8(1).Finish());  // the page's coordinate system
}

}  // namespace

int WriteMODCA_SDF(tagHANDLE* handle, _MODCA_SDF* sdf) {
  _MODCA_SDF copy = *sdf;
  auto* field = reinterpret_cast<unsigned char*>(&copy) + offsetof(_MODCA_SDF, wLength);
  kz::PutBig16(field, sdf->wLength);
  kz::PutBig16(field + 3, sdf->wTypeCategory);
  if (sdf->wCode == kz::sf::kPageDescriptor) {
    // Units per unit base, X and Y.
    for (unsigned char* number : {copy.abData + 2, copy.abData + 4}) {
      uint16_t value;
      std::memcpy(&value, number, sizeof(value));
      kz::PutBig16(number, value);
    }
  }
  constexpr size_t room = sizeof(copy) - offsetof(_MODCA_SDF, wLength);
  return WriteStructuredField(handle, {field, std::min<size_t>(sdf->wCount, room)});
}

int WriteMODCAStartDoc(tagHANDLE* handle) {
  kz::FixedFieldBuilder<64> field(kz::sf::kBeginDocument);
  field.PutName("").Put16(0);
  // Character set 697, code page 500.
  field.BeginTriplet(kz::triplet::kCharacterSet).Put16(697).Put16(500).EndTriplet();
  // Presentation interchange set.
  field.BeginTriplet(kz::triplet::kInterchangeSet).Put8(1).Put16(0x0C00).EndTriplet();
  field.BeginTriplet(kz::triplet::kQualifiedName).Put16(0x0100);
  field.PutText("B001116.B25632.M291091D.FODM01.").EndTriplet();
  return WriteStructuredField(handle, field.Finish());
}

int WriteMODCAEndDoc(tagHANDLE* handle) {
  K_RedirectedSeek(handle, 0, K_SEEK_END);
  const auto field =
      kz::FixedFieldBuilder<END_DOCUMENT_LENGTH>(kz::sf::kEndDocument).Put32(0).Put32(0).Finish();
  return WriteBound(ThreadState(), handle, field.data(), END_DOCUMENT_LENGTH) ? K_SUCCESS
                                                                              : K_ERROR_WRITE;
}

int SeekEndDocument(tagHANDLE* handle) {
  const int size = K_RedirectedSeek(handle, 0, K_SEEK_END);
  if (size < 0) return K_ERROR_SEEK;
  unsigned char last[1 + END_DOCUMENT_LENGTH];  // the last field and the byte before it
  const auto count = std::min(static_cast<unsigned>(size), unsigned{sizeof(last)});
  if (K_RedirectedSeek(handle, -static_cast<int>(count), K_SEEK_END) < 0) return K_ERROR_SEEK;
  const FilterThreadState* state = ThreadState();
  if (!ReadBound(state, handle, last, count)) return K_ERROR_READ;

  for (const unsigned length : {END_DOCUMENT_LENGTH, kz::kIntroducerLength}) {
    if (length > count) continue;
    const unsigned before = count - length;
    const kz::Introducer field = kz::ParseIntroducer({last + before, length});
    if (field.length != length || field.classCode != kz::kFieldClass ||
        field.code != kz::sf::kEndDocument) {
      continue;
    }
    // A 0x5A before it may be its own, as other producers write it, or a data byte of
    // what stands before: it stays, and where the page begins with one it is the same.
    const bool shared =
        state->bWriteCC != 0 && before > 0 && last[before - 1] == kz::kCarriageControl;
    const int start = size - static_cast<int>(length) - (shared ? 1 : 0);
    return K_RedirectedSeek(handle, start, K_SEEK_START) < 0 ? K_ERROR_SEEK : K_SUCCESS;
  }
  return K_ERROR_INVALID_FORMAT;
}

int WriteMODCAStartPage(_SAVEDISPATCH* pSave, tagHANDLE* handle) {
  using namespace kz::sf;
  int status = WriteEmptyFields(handle, {kBeginPage, kBeginActiveEnvironment});
  if (status != K_SUCCESS) return status;
  const PageSize size = MeasurePage(pSave->pBitmap);
  status = WritePageDescriptor(handle, size);
  if (status == K_SUCCESS) {
    status = WriteEmptyFields(handle,
                              {kEndActiveEnvironment, kBeginImageObject, kBeginObjectEnvironment});
  }
  if (status == K_SUCCESS) status = WriteObjectAreaDescriptor(handle, size);
  if (status == K_SUCCESS) status = WriteObjectAreaPosition(handle);
  if (status == K_SUCCESS) status = WriteIDD(handle, pSave->pBitmap);
  if (status == K_SUCCESS) status = WriteEmptyFields(handle, {kEndObjectEnvironment});
  return status;
}

int WriteIDD(tagHANDLE* handle, _BITMAPHANDLE* pBitmap) {
  PageField field(kz::sf::kImageDataDescriptor);
  field.Put8(kz::kBaseTenInches);
  field.Put16(static_cast<uint32_t>(pBitmap->nXResolution) * 10);
  field.Put16(static_cast<uint32_t>(pBitmap->nYResolution) * 10);
  field.Put16(static_cast<uint32_t>(pBitmap->nWidth));
  field.Put16(static_cast<uint32_t>(pBitmap->nHeight));
  return WriteStructuredField(handle, field.Finish());
}

int WriteMODCAEndPage(tagHANDLE* handle) {
  return WriteEmptyFields(handle, {kz::sf::kEndImageObject, kz::sf::kEndPage});
}
