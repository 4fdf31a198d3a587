#include "Fuzz/FieldKinds.h"

#include <algorithm>
#include <iterator>

#include "API/Filters/Ica/Common/Ioca/FormatCodes.h"

namespace {

template <typename Values>
auto OneOf(const Values& values, Random& random) {
  return values[random() % std::size(values)];
}

void Put16(Bytes& bytes, size_t at, size_t value) {
  bytes[at] = static_cast<uint8_t>(value >> 8);
  bytes[at + 1] = static_cast<uint8_t>(value);
}

void Append16(Bytes& bytes, size_t value) {
  bytes.resize(bytes.size() + 2);
  Put16(bytes, bytes.size() - 2, value);
}

void Shorten(Bytes& field, size_t longest) { field.resize(std::min(field.size(), longest)); }

const FieldKind* Nothing(const Bytes&) { return nullptr; }

// --- Structured fields

constexpr uint16_t kStructuredCodes[] = {
    SF_BEGIN_DOCUMENT,
    SF_END_DOCUMENT,
    SF_BEGIN_PAGE,
    SF_END_PAGE,
    SF_BEGIN_IMAGE_OBJECT,
    SF_END_IMAGE_OBJECT,
    SF_IMAGE_PICTURE_DATA,
    SF_IMAGE_PICTURE_DATA,
    SF_PRESENTATION_TEXT,
    SF_PAGE_DESCRIPTOR,
    SF_IMAGE_DATA_DESCRIPTOR,
    SF_BEGIN_OBJECT_ENVIRONMENT,
    SF_END_OBJECT_ENVIRONMENT,
    SF_OBJECT_AREA_DESCRIPTOR,
    SF_OBJECT_AREA_POSITION,
    0xA8C6,  // Begin Resource Group
    0xA9C6,  // End Resource Group
    0xA8CE,  // Begin Resource
    0xA9CE,  // End Resource
    0xAFC3,  // Include Object
    0xABFB,  // Map Image Object
    0xAFD8,  // Include Page Overlay
    0xA8AD,  // Begin Named Page Group
    0xA9AD,  // End Named Page Group
    0xEEEE,  // No Operation
};

size_t Prefix(const uint8_t* field) { return field[0] == CARRIAGE_CONTROL ? 1 : 0; }

size_t Code(const Bytes& field) {
  const size_t at = Prefix(field.data()) + 3;
  return size_t{field[at]} << 8 | field[at + 1];
}

size_t StructuredHead(const uint8_t* field) { return Prefix(field) + SF_INTRODUCER_LENGTH; }

size_t StructuredLength(const uint8_t* at, size_t left) {
  if (left < SF_INTRODUCER_LENGTH + 1 && (left < SF_INTRODUCER_LENGTH || Prefix(at) == 1)) return 0;
  const size_t prefix = Prefix(at);
  const size_t length = size_t{at[prefix]} << 8 | at[prefix + 1];
  const bool whole = length >= SF_INTRODUCER_LENGTH && prefix + length <= left;
  return whole && at[prefix + 2] == SF_CLASS ? prefix + length : 0;
}

void PutStructuredLength(Bytes& field) {
  Put16(field, Prefix(field.data()), field.size() - Prefix(field.data()));
}

void RenameStructured(Bytes& field, Random& random) {
  const size_t prefix = Prefix(field.data());
  switch (random() % 6) {
    case 0:  // with and without 0x5A
      if (prefix == 1) {
        field.erase(field.begin());
      } else {
        field.insert(field.begin(), CARRIAGE_CONTROL);
      }
      break;
    case 1: {  // with an extension, whose length counts itself
      const size_t length = 1 + random() % 4;
      field[prefix + 5] |= SF_FLAG_EXTENSION;
      const Bytes extension(length, static_cast<uint8_t>(length));
      field.insert(field.begin() + static_cast<ptrdiff_t>(prefix + SF_INTRODUCER_LENGTH),
                   extension.begin(), extension.end());
      PutStructuredLength(field);
      break;
    }
    case 2:
      field[prefix + 5] = static_cast<uint8_t>(random());
      break;
    default:
      Put16(field, prefix + 3, OneOf(kStructuredCodes, random));
      break;
  }
}

const FieldKind* WithinStructured(const Bytes& field) {
  if (Code(field) == SF_IMAGE_PICTURE_DATA) return &kSelfDefiningFields;
  return Code(field) == SF_PRESENTATION_TEXT ? &kControlSequences : nullptr;
}

// Names that fields refer to each other by, and what stands behind them.
bool FillStructured(const Bytes& field, Bytes& data, Random& random) {
  constexpr uint8_t letters[] = {0xC1, 0xC2, 0x40, 0xFF};
  constexpr uint8_t triplets[] = {0x4B, 0x4C, 0x04};
  const size_t code = Code(field);
  const bool named = code >> 8 == 0xA8 || code >> 8 == 0xA9 || code >> 8 == 0xAF;
  if (!named) return false;
  const uint8_t letter = OneOf(letters, random);
  data.assign(8, letter);
  if (code == 0xAFC3) {
    data.resize(27 + random() % 2 * 6, static_cast<uint8_t>(random() % 2 * 0xFF));
    data[9] = 0xFB;
    if (data.size() > 27) {
      data[27] = 6;
      data[28] = OneOf(triplets, random);
    }
  } else if (random() % 3 == 0) {
    data.insert(data.end(), {0, 0, 8, 2, 1, 0, letter, letter, letter, letter});
  }
  return true;
}

Bytes NewStructured(Random& random) {
  Bytes field(SF_INTRODUCER_LENGTH);
  field[2] = SF_CLASS;
  Put16(field, 3, OneOf(kStructuredCodes, random));
  PutStructuredLength(field);
  return field;
}

// --- Self-defining fields

constexpr uint8_t kSelfDefiningIds[] = {
    SDF_BEGIN_SEGMENT,  SDF_END_SEGMENT, SDF_BEGIN_IMAGE_CONTENT, SDF_END_IMAGE_CONTENT,
    SDF_IMAGE_SIZE,     SDF_IDE_SIZE,    SDF_IMAGE_LUT_ID,        SDF_IDE_STRUCTURE,
    SDF_IMAGE_ENCODING, SDF_EXTENDED,
};
constexpr uint8_t kImageDataCode = SDF_IMAGE_DATA & 0xFF;

size_t SelfDefiningHead(const uint8_t* field) {
  return field[0] == SDF_EXTENDED ? SDF_IMAGE_DATA_HEADER : 2;
}

size_t SelfDefiningLength(const uint8_t* at, size_t left) {
  if (left < 2 || left < SelfDefiningHead(at)) return 0;
  const size_t length =
      SelfDefiningHead(at) + (at[0] == SDF_EXTENDED ? size_t{at[2]} << 8 | at[3] : at[1]);
  return length <= left ? length : 0;
}

void PutSelfDefiningLength(Bytes& field) {
  if (field[0] == SDF_EXTENDED) {
    Put16(field, 2, field.size() - SDF_IMAGE_DATA_HEADER);
    return;
  }
  Shorten(field, 2 + 255);
  field[1] = static_cast<uint8_t>(field.size() - 2);
}

Bytes SelfDefiningOf(uint8_t id, const Bytes& data) {
  Bytes field{id, 0};
  if (id == SDF_EXTENDED) field = {SDF_EXTENDED, kImageDataCode, 0, 0};
  field.insert(field.end(), data.begin(), data.end());
  PutSelfDefiningLength(field);
  return field;
}

void RenameSelfDefining(Bytes& field, Random& random) {
  const auto head = static_cast<ptrdiff_t>(SelfDefiningHead(field.data()));
  field = SelfDefiningOf(OneOf(kSelfDefiningIds, random), {field.begin() + head, field.end()});
}

bool FillSelfDefining(const Bytes& field, Bytes& data, Random& random) {
  constexpr uint16_t sides[] = {0, 1, 7, 8, 9, 31, 33, 64, 200, 1728, MAX_IMAGE_SIDE, 0x8000};
  constexpr uint16_t resolutions[] = {0, 1, 9, 2400, 3000, 0x7FFF, 0x8000, 0xFFFF};
  constexpr uint8_t compressions[] = {ICA_COMPRESSION_IBM_MMR, ICA_COMPRESSION_NONE,
                                      ICA_COMPRESSION_RL4,     ICA_COMPRESSION_ABIC,
                                      ICA_COMPRESSION_G3_MH,   ICA_COMPRESSION_G3_MR,
                                      ICA_COMPRESSION_G4_MMR,  ICA_COMPRESSION_CONCATENATED_ABIC,
                                      ICA_COMPRESSION_JPEG,    ICA_COMPRESSION_UNASSIGNED};
  constexpr uint8_t recordings[] = {RECORDING_RIDIC, RECORDING_BOTTOM_TO_TOP,
                                    RECORDING_UNPADDED_RIDIC, 0xFE};
  constexpr uint8_t depths[] = {1, 4, 8, 24};
  const auto byte = [&random](unsigned limit) { return static_cast<uint8_t>(random() % limit); };
  switch (field[0]) {
    case SDF_BEGIN_SEGMENT:
      data.assign(random() % 2 * 4, byte(256));
      return true;
    case SDF_END_SEGMENT:
    case SDF_END_IMAGE_CONTENT:
      data.clear();
      return true;
    case SDF_BEGIN_IMAGE_CONTENT:
      data = {0xFF};
      return true;
    case SDF_IMAGE_SIZE:
      data = {byte(3)};
      for (int axis = 0; axis < 2; ++axis) Append16(data, OneOf(resolutions, random));
      for (int axis = 0; axis < 2; ++axis) Append16(data, OneOf(sides, random));
      return true;
    case SDF_IMAGE_ENCODING:
      data = {OneOf(compressions, random), OneOf(recordings, random)};
      if (random() % 2 == 0) data.push_back(byte(2));
      return true;
    case SDF_IDE_SIZE:
    case SDF_IMAGE_LUT_ID:
      data = {OneOf(depths, random)};
      return true;
    case SDF_IDE_STRUCTURE:
      data.assign(6 + random() % 3, 8);
      data[0] = byte(2);
      data[1] = byte(5);
      return true;
    default:
      return false;
  }
}

Bytes NewSelfDefining(Random& random) {
  return SelfDefiningOf(OneOf(kSelfDefiningIds, random), {});
}

// --- Control sequences, those that aren't chained to the one before

constexpr uint8_t kSequenceTypes[] = {0xDA, 0xDB, 0xC6, 0xC7, 0xD2, 0xD3, 0xD8, 0xD9, 0xEE,
                                      0xF0, 0xF6, 0xF8, 0x74, 0x80, 0x81, 0xC8, 0xD4, 0xE4};
// Prefix, class, length from itself on, type.
constexpr size_t kSequenceHead = 4;

size_t SequenceLength(const uint8_t* at, size_t left) {
  if (left < kSequenceHead || at[0] != 0x2B || at[1] != 0xD3 || at[2] < 2) return 0;
  const size_t length = 2 + size_t{at[2]};
  return length <= left ? length : 0;
}

size_t SequenceHead(const uint8_t*) { return kSequenceHead; }

void PutSequenceLength(Bytes& field) {
  Shorten(field, 2 + 255);
  field[2] = static_cast<uint8_t>(field.size() - 2);
}

void RenameSequence(Bytes& field, Random& random) { field[3] = OneOf(kSequenceTypes, random); }

bool FillSequence(const Bytes&, Bytes& data, Random& random) {
  data.assign(random() % 6, static_cast<uint8_t>(random()));
  return random() % 2 == 0;
}

Bytes NewSequence(Random& random) { return {0x2B, 0xD3, 2, OneOf(kSequenceTypes, random)}; }

}  // namespace

std::vector<Span> FieldKind::Split(const Bytes& bytes) const {
  std::vector<Span> fields;
  size_t at = 0;
  while (at < bytes.size()) {
    const size_t length = Length(bytes.data() + at, bytes.size() - at);
    if (length == 0) break;
    fields.push_back({at, length});
    at += length;
  }
  return fields;
}

const FieldKind kStructuredFields = {StructuredLength, StructuredHead,   PutStructuredLength,
                                     RenameStructured, WithinStructured, FillStructured,
                                     NewStructured};
const FieldKind kSelfDefiningFields = {SelfDefiningLength, SelfDefiningHead, PutSelfDefiningLength,
                                       RenameSelfDefining, Nothing,          FillSelfDefining,
                                       NewSelfDefining};
const FieldKind kControlSequences = {SequenceLength, SequenceHead, PutSequenceLength,
                                     RenameSequence, Nothing,      FillSequence,
                                     NewSequence};
