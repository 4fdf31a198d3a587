#include "Fuzz/FieldKinds.h"

#include <algorithm>
#include <iterator>

#include "Format/SelfDefiningField.h"
#include "Format/StructuredField.h"

namespace {

namespace sf = kz::sf;
namespace sdf = kz::sdf;

template <typename Values>
auto OneOf(const Values& values, Random& random) {
  return values[random() % std::size(values)];
}

void Put16(Bytes& bytes, size_t at, size_t value) {
  kz::PutBig16(bytes.data() + at, static_cast<unsigned>(value));
}

void Shorten(Bytes& field, size_t longest) { field.resize(std::min(field.size(), longest)); }

const FieldKind* Nothing(const Bytes&) { return nullptr; }

// --- Structured fields

// Those that code asks for, image data twice as often.
constexpr uint16_t kStructuredCodes[] = {
    // clang-format off
    sf::kBeginDocument, sf::kEndDocument, sf::kBeginPage, sf::kEndPage, sf::kBeginImageObject,
    sf::kEndImageObject, sf::kImagePictureData, sf::kImagePictureData, sf::kPresentationText,
    sf::kPageDescriptor, sf::kImageDataDescriptor, sf::kBeginObjectEnvironment,
    sf::kEndObjectEnvironment, sf::kObjectAreaDescriptor, sf::kObjectAreaPosition,
    sf::kBeginResourceGroup, sf::kEndResourceGroup, sf::kBeginResource, sf::kEndResource,
    sf::kIncludeObject, sf::kMapImageObject, sf::kIncludePageOverlay, sf::kBeginPageGroup,
    sf::kEndPageGroup, sf::kNoOperation, sf::kBeginText, sf::kEndText, sf::kTextDescriptor,
    sf::kIncludePageSegment, sf::kMapCodedFont, sf::kBeginObjectContainer,
    sf::kObjectContainerData,
    // clang-format on
};

size_t Prefix(const uint8_t* field) { return field[0] == kz::kCarriageControl ? 1 : 0; }

uint16_t Code(const Bytes& field) { return kz::GetBig16(field.data() + Prefix(field.data()) + 3); }

size_t StructuredHead(const uint8_t* field) { return Prefix(field) + kz::kIntroducerLength; }

size_t StructuredLength(const uint8_t* at, size_t left) {
  const kz::Introducer field = kz::ParseField({at, left});
  const size_t length = (field.prefixed ? 1 : 0) + size_t{field.length};
  const bool read = field.fault == kz::FieldFault::None || field.fault == kz::FieldFault::Extension;
  return read && length <= left ? length : 0;
}

void PutStructuredLength(Bytes& field) {
  Put16(field, Prefix(field.data()), field.size() - Prefix(field.data()));
}

void RenameStructured(Bytes& field, Random& random) {
  const size_t prefix = Prefix(field.data());
  switch (random() % 6) {
    case 0:  // with and without 0x5A
      if (prefix == 0) field.insert(field.begin(), kz::kCarriageControl);
      if (prefix == 1) field.erase(field.begin());
      break;
    case 1: {  // with an extension, whose length counts itself
      const size_t length = 1 + random() % 4;
      field[prefix + 5] |= kz::kFlagExtension;
      const Bytes extension(length, static_cast<uint8_t>(length));
      field.insert(field.begin() + static_cast<ptrdiff_t>(prefix + kz::kIntroducerLength),
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
  if (Code(field) == sf::kImagePictureData) return &kSelfDefiningFields;
  return Code(field) == sf::kPresentationText ? &kControlSequences : nullptr;
}

// Names that fields refer to each other by, and what comes after them.
bool FillStructured(const Bytes& field, Bytes& data, Random& random) {
  constexpr uint8_t letters[] = {0xC1, 0xC2, 0x40, 0xFF};
  constexpr uint8_t triplets[] = {0x4B, 0x4C, 0x04};
  const uint16_t code = Code(field);
  if (!kz::CarriesName(code)) return false;
  const uint8_t letter = OneOf(letters, random);
  data.assign(8, letter);
  if (code == sf::kIncludeObject) {
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
  Bytes field(kz::kIntroducerLength);
  kz::PutIntroducer(field.data(), kz::kIntroducerLength, OneOf(kStructuredCodes, random));
  return field;
}

// --- Self-defining fields

constexpr uint16_t kSelfDefiningIds[] = {
    // clang-format off
    sdf::kBeginSegment, sdf::kEndSegment, sdf::kBeginImageContent, sdf::kEndImageContent,
    sdf::kImageSize, sdf::kIdeSize, sdf::kImageLutId, sdf::kIdeStructure, sdf::kImageEncoding,
    sdf::kImageData, sdf::kBandImageData, sdf::kBeginTile, sdf::kEndTile, sdf::kTilePosition,
    sdf::kTileSize, sdf::kTileSetColor, sdf::kBandImage, sdf::kBeginMask, sdf::kEndMask,
    // clang-format on
};

size_t SelfDefiningHead(const uint8_t* field) { return kz::HeaderLengthFrom(field[0]); }

size_t SelfDefiningLength(const uint8_t* at, size_t left) {
  const auto header = kz::ParseSelfDefiningHeader({at, left});
  const size_t length = header ? SelfDefiningHead(at) + header->length : 0;
  return length <= left ? length : 0;
}

void PutSelfDefiningLength(Bytes& field) {
  const size_t head = SelfDefiningHead(field.data());
  if (head == 2) Shorten(field, head + 255);
  const uint16_t id = head == 2 ? field[0] : kz::GetBig16(field.data());
  kz::PutSelfDefiningHeader(field.data(), {id, static_cast<uint16_t>(field.size() - head)});
}

Bytes SelfDefiningOf(uint16_t id, const Bytes& data) {
  Bytes field(kz::SelfDefiningHeaderLength(id));
  kz::PutSelfDefiningHeader(field.data(), {id, 0});
  field.insert(field.end(), data.begin(), data.end());
  PutSelfDefiningLength(field);
  return field;
}

void RenameSelfDefining(Bytes& field, Random& random) {
  const auto head = static_cast<ptrdiff_t>(SelfDefiningHead(field.data()));
  field = SelfDefiningOf(OneOf(kSelfDefiningIds, random), {field.begin() + head, field.end()});
}

// A value that a parameter may have, or nearly so.
uint32_t ValueOf(const kz::SelfDefiningParameter& parameter, Random& random) {
  // Sides and resolutions.
  constexpr uint16_t numbers[] = {0,   1,    7,    8,    9,      31,     33,    64,
                                  200, 1728, 2400, 3000, 0x7FFF, 0x8000, 0xFFFF};
  constexpr uint8_t depths[] = {1, 4, 8, 24};
  switch (parameter.kind) {
    case kz::ValueKind::Named: {
      const uint32_t value = OneOf(parameter.names, random).value;
      return value == kz::kOtherValue ? 0 : value;
    }
    case kz::ValueKind::Number:
      return parameter.width == 1 ? OneOf(depths, random) : OneOf(numbers, random);
    case kz::ValueKind::Hex:
      return random() % 2;
    case kz::ValueKind::Numbers:
      return 8;
    default:
      return parameter.least;
  }
}

bool FillSelfDefining(const Bytes& field, Bytes& data, Random& random) {
  const kz::SelfDefiningFieldRow* row = kz::FindSelfDefiningField(field[0]);
  std::vector<unsigned> lengths;
  for (unsigned length = 0; row != nullptr && length < 16; ++length) {
    if (kz::TakesLength(*row, length)) lengths.push_back(length);
  }
  if (lengths.empty()) return false;
  data.assign(OneOf(lengths, random), 8);
  for (const kz::SelfDefiningParameter& parameter : row->parameters) {
    if (parameter.offset + size_t{parameter.width} > data.size()) continue;
    const uint32_t value = ValueOf(parameter, random);
    for (unsigned i = 0; i < parameter.width; ++i) {
      data[parameter.offset + i] = static_cast<uint8_t>(value >> 8 * (parameter.width - 1 - i));
    }
  }
  return true;
}

Bytes NewSelfDefining(Random& random) {
  return SelfDefiningOf(OneOf(kSelfDefiningIds, random), {});
}

// --- Control sequences, those that aren't chained to the one before

constexpr uint8_t kSequenceTypes[] = {0xDA, 0xDB, 0xC6, 0xC7, 0xD2, 0xD3, 0xD8, 0xD9, 0xEE,
                                      0xF0, 0xF6, 0xF8, 0x74, 0x80, 0x81, 0xC8, 0xD4, 0xE4,
                                      0xE6, 0xC0, 0xC2, 0xC4, 0xD0, 0x76, 0x78, 0x6A};
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
