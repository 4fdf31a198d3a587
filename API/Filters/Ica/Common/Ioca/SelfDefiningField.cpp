#include "API/Filters/Ica/Common/Ioca/SelfDefiningField.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "API/Filters/Ica/Common/Ioca/BigEndian.h"
#include "API/Filters/Ica/Common/Ioca/FormatCodes.h"
#include "API/Filters/Ica/Common/Ioca/ImageDataReader.h"
#include "API/Filters/Ica/Common/Thread.h"

namespace {

// What of a field's parameters is a multi-byte number.
enum class Numbers { None, SegmentName, ImageSize };

constexpr unsigned Length(unsigned length) { return 1u << length; }

bool AnyValue(const _ICA_SDF&) { return true; }

bool IsImageContent(const _ICA_SDF& field) { return field.abParam[0] == 0xFF; }

bool IsImageSize(const _ICA_SDF& field) {
  return field.bUnitBase <= UNIT_BASE_LOGICAL && field.wHSize <= MAX_IMAGE_SIDE &&
         field.wVSize <= MAX_IMAGE_SIDE;
}

bool IsImageEncoding(const _ICA_SDF& field) {
  constexpr unsigned char compressions[] = {
      ICA_COMPRESSION_IBM_MMR, ICA_COMPRESSION_NONE,       ICA_COMPRESSION_RL4,
      ICA_COMPRESSION_ABIC,    ICA_COMPRESSION_UNASSIGNED, ICA_COMPRESSION_CONCATENATED_ABIC,
      ICA_COMPRESSION_G3_MH,   ICA_COMPRESSION_G3_MR,      ICA_COMPRESSION_G4_MMR,
      ICA_COMPRESSION_JPEG};
  constexpr unsigned char recordings[] = {RECORDING_RIDIC, RECORDING_BOTTOM_TO_TOP,
                                          RECORDING_UNPADDED_RIDIC, 0xFE};
  const auto holds = [](const auto& values, unsigned char value) {
    return std::find(std::begin(values), std::end(values), value) != std::end(values);
  };
  // The bit order stands last and is 0 where it is left out.
  return holds(compressions, field.abParam[0]) && holds(recordings, field.abParam[1]) &&
         field.abParam[2] <= 1;
}

struct FieldRow {
  uint16_t id;
  unsigned lengths;  // bit n: length n is allowed
  Numbers numbers;
  bool (*allowed)(const _ICA_SDF&);
};

// A segment that holds any other field can't be read.
constexpr FieldRow kFields[] = {
    {SDF_BEGIN_SEGMENT, Length(0) | Length(4), Numbers::SegmentName, AnyValue},
    {SDF_BEGIN_IMAGE_CONTENT, Length(1), Numbers::None, IsImageContent},
    {SDF_IMAGE_SIZE, Length(9), Numbers::ImageSize, IsImageSize},
    {SDF_IMAGE_ENCODING, Length(2) | Length(3), Numbers::None, IsImageEncoding},
    {SDF_IDE_SIZE, Length(1), Numbers::None, AnyValue},
    {SDF_IMAGE_LUT_ID, Length(1), Numbers::None, AnyValue},
    {SDF_IDE_STRUCTURE, Length(6) | Length(7) | Length(8), Numbers::None, AnyValue},
    {SDF_END_IMAGE_CONTENT, Length(0), Numbers::None, AnyValue},
    {SDF_END_SEGMENT, Length(0), Numbers::None, AnyValue},
};

const FieldRow* FindField(uint16_t id) {
  const auto row = std::find_if(std::begin(kFields), std::end(kFields),
                                [id](const FieldRow& candidate) { return candidate.id == id; });
  return row != std::end(kFields) ? row : nullptr;
}

bool IsExtended(uint16_t id) { return id >> 8 == SDF_EXTENDED; }

void NumbersToNative(Numbers numbers, _ICA_SDF* field) {
  const unsigned char* bytes = field->abParam;
  if (numbers == Numbers::SegmentName) {
    field->dwSegmentName = GetBig32(bytes);
  } else if (numbers == Numbers::ImageSize) {
    field->wHResolution = GetBig16(bytes + 1);
    field->wVResolution = GetBig16(bytes + 3);
    field->wHSize = GetBig16(bytes + 5);
    field->wVSize = GetBig16(bytes + 7);
  }
}

void NumbersToFile(Numbers numbers, const _ICA_SDF& field, unsigned char* bytes) {
  if (numbers == Numbers::SegmentName) {
    PutBig32(bytes, field.dwSegmentName);
  } else if (numbers == Numbers::ImageSize) {
    PutBig16(bytes + 1, field.wHResolution);
    PutBig16(bytes + 3, field.wVResolution);
    PutBig16(bytes + 5, field.wHSize);
    PutBig16(bytes + 7, field.wVSize);
  }
}

bool ReadSegment(tagHANDLE* handle, unsigned char* buffer, unsigned count) {
  return ReadIPD(handle, buffer, count) == static_cast<int>(count);
}

}  // namespace

int ReadICA_SDF(tagHANDLE* handle, _ICA_SDF* field) {
  *field = {};
  unsigned char header[2];
  if (!ReadSegment(handle, header, 2)) return K_ERROR_READ;
  if (header[0] == SDF_EXTENDED) {
    field->wId = static_cast<uint16_t>(SDF_EXTENDED << 8 | header[1]);
    if (!ReadSegment(handle, header, 2)) return K_ERROR_READ;
    field->wLength = GetBig16(header);
    return field->wId == SDF_IMAGE_DATA ? K_SUCCESS : K_ERROR_INVALID_FORMAT;
  }
  field->wId = header[0];
  field->wLength = header[1];

  const FieldRow* row = FindField(field->wId);
  if (row == nullptr || field->wLength > sizeof(field->abParam) ||
      (row->lengths & Length(field->wLength)) == 0) {
    return K_ERROR_INVALID_FORMAT;
  }
  if (field->wLength > 0) {
    if (!ReadSegment(handle, field->abParam, field->wLength)) return K_ERROR_READ;
    NumbersToNative(row->numbers, field);
  }
  return row->allowed(*field) ? K_SUCCESS : K_ERROR_INVALID_FORMAT;
}

int WriteICA_SDF(tagHANDLE* handle, _ICA_SDF* field) {
  unsigned char bytes[SDF_IMAGE_DATA_HEADER + sizeof(field->abParam)] = {};
  unsigned count;
  if (IsExtended(field->wId)) {
    bytes[0] = SDF_EXTENDED;
    bytes[1] = static_cast<unsigned char>(field->wId);
    PutBig16(bytes + 2, field->wLength);
    count = SDF_IMAGE_DATA_HEADER;
  } else {
    const unsigned length = std::min<unsigned>(field->wLength, sizeof(field->abParam));
    bytes[0] = static_cast<unsigned char>(field->wId);
    bytes[1] = static_cast<unsigned char>(length);
    std::memcpy(bytes + 2, field->abParam, sizeof(field->abParam));
    const FieldRow* row = FindField(field->wId);
    if (row != nullptr) NumbersToFile(row->numbers, *field, bytes + 2);
    count = 2 + length;
  }
  return WriteBound(ThreadState(), handle, bytes, count) ? K_SUCCESS : K_ERROR_WRITE;
}
