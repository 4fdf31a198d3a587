#include "Toolkit/Images/ContentParser.h"

#include <algorithm>
#include <utility>

#include "Toolkit/Images/ImageFields.h"

namespace kz {

namespace {

// What few bytes of a hostile file make must stay small: tiles take some hundred bytes each.
constexpr size_t kMaxTiles = size_t{1} << 18;
constexpr size_t kMaxWarnings = 32;
// With more unknown fields than these the rest isn't understood.
constexpr int kMaxUnknown = 8;
constexpr size_t kLongestField = 255;
constexpr uint32_t kMaxTileSide = 0x7FFFFFFF;

std::string AtByte(std::string what, int64_t at) {
  return std::move(what) + " at byte " + std::to_string(at);
}

std::string FieldName(unsigned id) {
  const SelfDefiningFieldRow* row = FindSelfDefiningField(id);
  return std::string("the ") + (row != nullptr ? row->name : "unknown") + " field";
}

Outcome Invalid(std::string what, int64_t at) {
  return Failure(K_ERROR_INVALID_FORMAT, AtByte(std::move(what), at));
}

}  // namespace

ContentParser::ContentParser(FileWindow& file, const PicturePlace& picture, bool data,
                             const DataRoom& room, ImageContent& content)
    : m_reader(file, picture), m_content(content), m_keepData(data), m_makeRoom(room) {
  m_content.image.at = m_reader.At();
}

void ContentParser::Warn(std::string what, int64_t at) {
  if (m_content.warnings.size() >= kMaxWarnings) return;
  m_content.warnings.push_back(AtByte(std::move(what), at));
}

Outcome ContentParser::Cut(const Header& header) const {
  return Failure(K_ERROR_READ, AtByte("the data end too early: " + FieldName(header.id) +
                                          " is not whole, it begins",
                                      header.at));
}

Outcome ContentParser::Run() {
  Outcome outcome = TakeFields();
  if (m_inTile) EndTile();
  Complete(m_content.image);
  // Tiles may leave all of the picture white.
  if (outcome.Ok() && (m_hasData || m_content.tiled)) return {};
  if (!m_hasData) return outcome.Ok() ? Failure(K_ERROR_READ, "the image has no data") : outcome;
  m_content.fault = outcome.status;
  m_content.warnings.push_back(std::move(outcome.what));
  return {};
}

ContentParser::Step ContentParser::NextHeader(Header& header) {
  if (!m_reader.More()) return Step::End;
  header.at = m_reader.At();
  unsigned char bytes[kMaxSelfDefiningHeader];
  constexpr size_t shortest = 2;
  if (m_reader.Read(bytes, shortest) < shortest) return Step::Cut;
  const bool swapped = bytes[0] == kSwappedSubsampling && bytes[1] == kExtendedField;
  const size_t length = swapped ? kMaxSelfDefiningHeader : HeaderLengthFrom(bytes[0]);
  const size_t rest = length - shortest;
  if (m_reader.Read(bytes + shortest, rest) < rest) return Step::Cut;
  if (swapped) {
    header.id = sdf::kImageSubsampling;
    header.length = bytes[2] | bytes[3] << 8;
  } else {
    const SelfDefiningHeader parsed = *ParseSelfDefiningHeader({bytes, length});
    header.id = parsed.id;
    header.length = parsed.length;
  }
  return Step::Read;
}

Outcome ContentParser::TakeFields() {
  for (bool ended = false; !ended;) {
    Header header;
    switch (NextHeader(header)) {
      case Step::End:
        return Failure(K_ERROR_READ,
                       AtByte("the data end too early: the image has no end", m_reader.At()));
      case Step::Cut:
        return Failure(K_ERROR_READ,
                       AtByte("the data end too early: within a self-defining field", header.at));
      case Step::Read:
        break;
    }
    Outcome outcome = TakeField(header, ended);
    if (!outcome.Ok()) return outcome;
  }
  return {};
}

Outcome ContentParser::TakeField(const Header& header, bool& ended) {
  bool taken = false;
  Outcome outcome = TakeBrackets(header, ended, taken);
  if (!outcome.Ok() || taken) return outcome;
  if (header.id == sdf::kImageData) return TakeData(header);
  if (header.id == sdf::kBandImageData) return TakeBandData(header);
  if (FindSelfDefiningField(header.id) == nullptr) return PassUnknown(header);
  return IsExtended(header.id) ? TakeExtended(header) : TakeParameters(header);
}

Outcome ContentParser::TakeBrackets(const Header& header, bool& ended, bool& taken) {
  switch (header.id) {
    case sdf::kBeginSegment:
    case sdf::kBeginImageContent:
      // The next image begins where this one has no end.
      if (m_begun) ended = true;
      m_begun = header.id == sdf::kBeginImageContent;
      break;
    case sdf::kEndImageContent:
    case sdf::kEndSegment:
      ended = true;
      break;
    case sdf::kBeginTile:
      BeginTile(header);
      break;
    case sdf::kEndTile:
      EndTile();
      break;
    case sdf::kBeginMask:
      m_inMask = true;
      m_ignore = m_inTile || m_content.mask;
      if (m_ignore) {
        m_ignored = {};
        Warn("a transparency mask of a tile, or a second one, is left out", header.at);
      } else {
        m_content.mask.emplace().at = header.at;
      }
      break;
    case sdf::kEndMask:
      m_inMask = false;
      break;
    default:
      return {};
  }
  taken = true;
  return ended ? Outcome{} : Pass(header);
}

Outcome ContentParser::Pass(const Header& header) {
  return m_reader.Append(nullptr, header.length) == header.length ? Outcome{} : Cut(header);
}

Outcome ContentParser::PassUnknown(const Header& header) {
  if (++m_unknown > kMaxUnknown || header.length > m_reader.MostLeft()) {
    return Invalid("the image isn't understood from an unknown self-defining field on", header.at);
  }
  Warn("an unknown self-defining field is left out", header.at);
  return Pass(header);
}

Outcome ContentParser::TakeExtended(const Header& header) {
  constexpr int64_t tocReserved = 2;
  constexpr int64_t tocEntry = 26;
  if (header.id == sdf::kTileToc) {
    m_content.tiled = true;
    if (header.length > 0 && (header.length - tocReserved) % tocEntry != 0) {
      Warn("the Tile TOC field has a wrong length", header.at);
    }
  } else if (header.id == sdf::kIncludeTile) {
    Warn("a tile that is a resource is not supported and left out", header.at);
  }
  return Pass(header);
}

Outcome ContentParser::TakeParameters(const Header& header) {
  unsigned char bytes[kLongestField];
  const auto length = static_cast<size_t>(header.length);
  if (m_reader.Read(bytes, length) < length) return Cut(header);
  const ByteSpan field(bytes, length);
  CodedImage& image = m_inMask && m_ignore ? m_ignored
                      : m_inMask           ? *m_content.mask
                      : m_inTile           ? m_tile.image
                                           : m_content.image;
  switch (ApplyField(header.id, field, image.parameters)) {
    case Applied::Damaged:
      return Invalid(FieldName(header.id) + " is damaged", header.at);
    case Applied::Done:
      if (header.id == sdf::kImageEncoding) image.at = header.at;
      return {};
    case Applied::OtherField:
      break;
  }
  if (header.id == sdf::kImageLutId && !field.empty() && field[0] != 0) {
    Warn("the look-up table " + std::to_string(field[0]) + " is left out", header.at);
  }
  return TakeTileField(header, field);
}

Outcome ContentParser::TakeTileField(const Header& header, ByteSpan field) {
  constexpr size_t pair = 8;
  constexpr size_t sizesOffset = 4;
  const bool position = header.id == sdf::kTilePosition;
  const bool color = header.id == sdf::kTileSetColor;
  if (!position && !color && header.id != sdf::kTileSize) return {};
  if (!m_inTile) {
    Warn(FieldName(header.id) + " outside of tiles is left out", header.at);
    return {};
  }
  if (color) {
    if (field.size() >= sizesOffset) m_tile.color = ColorOf(field[0], field.subspan(sizesOffset));
    return field.size() >= pair ? Outcome{}
                                : Invalid(FieldName(header.id) + " is damaged", header.at);
  }
  if (field.size() < pair) return Invalid(FieldName(header.id) + " is damaged", header.at);
  const uint32_t first = GetBig32(field.data());
  const uint32_t second = GetBig32(field.data() + 4);
  if (position) {
    m_tile.x = first;
    m_tile.y = second;
    return {};
  }
  const unsigned scale = field.size() > pair ? field[pair] : 1;
  if (first > kMaxTileSide || second > kMaxTileSide || scale < 1 || scale > 2) {
    return Invalid(FieldName(header.id) + " is damaged", header.at);
  }
  m_tile.image.parameters.width = static_cast<int>(first);
  m_tile.image.parameters.height = static_cast<int>(second);
  m_tile.scale = static_cast<int>(scale);
  return {};
}

Outcome ContentParser::TakeData(const Header& header) {
  if (header.length > 0) return AppendData(header, 0, header.length);
  const bool raw = !m_reader.Bare() && m_reader.LeftInPart() == 0;
  if (raw) TakeRawData();
  return {};
}

void ContentParser::TakeRawData() {
  while (m_reader.NextPart()) {
    const int64_t count = m_reader.LeftInPart();
    if (count == 0) continue;
    if (EndsRawData(m_reader.Peek(kRawDataEnd))) return;
    std::vector<unsigned char>* band = Band(0, count);
    m_reader.Append(band, count);
  }
}

Outcome ContentParser::TakeBandData(const Header& header) {
  unsigned char bytes[3];  // the band, and two that are reserved
  if (header.length < int64_t{sizeof(bytes)}) {
    return Invalid(FieldName(header.id) + " is damaged", header.at);
  }
  if (m_reader.Read(bytes, sizeof(bytes)) < sizeof(bytes)) return Cut(header);
  if (bytes[0] < 1 || bytes[0] > kMaxComponents) {
    return Invalid(FieldName(header.id) + " has a band that can't be", header.at);
  }
  return AppendData(header, bytes[0] - 1u, header.length - int64_t{sizeof(bytes)});
}

Outcome ContentParser::AppendData(const Header& header, size_t band, int64_t count) {
  if (!m_inTile && !m_inMask && m_content.tiled) {
    Warn("image data outside of tiles are left out", header.at);
    return Pass({header.id, count, header.at});
  }
  if (header.id == sdf::kImageData && HasRoom()) {
    m_hasData |= count > 0;
    const auto wanted = std::min(static_cast<size_t>(count), m_room.size());
    const size_t got = m_reader.Read(m_room.data(), wanted);
    m_content.inRoom += static_cast<int64_t>(got);
    m_room = m_room.subspan(got);
    if (got < wanted) return Cut(header);
    // What is beyond the picture doesn't count.
    return Pass({header.id, count - static_cast<int64_t>(got), header.at});
  }
  const int64_t got = m_reader.Append(Band(band, count), count);
  return got == count ? Outcome{} : Cut(header);
}

bool ContentParser::HasRoom() {
  if (m_inTile || m_inMask || !m_makeRoom) return false;
  if (m_content.inRoom == 0 && m_content.image.bands.empty() && m_room.empty()) {
    m_room = m_makeRoom(m_content.image.parameters, m_reader.MostLeft());
  }
  return m_content.inRoom > 0 || !m_room.empty();
}

// Where `count` bytes of data of the band go to; null when they are passed over.
std::vector<unsigned char>* ContentParser::Band(size_t band, int64_t count) {
  if (m_inMask && m_ignore) return nullptr;
  if (!m_inMask) (m_inTile ? m_tileData : m_hasData) |= count > 0;
  if (!m_keepData) return nullptr;
  CodedImage& image = m_inMask ? *m_content.mask : m_inTile ? m_tile.image : m_content.image;
  if (image.bands.size() <= band) image.bands.resize(band + 1);
  std::vector<unsigned char>& bytes = image.bands[band];
  if (bytes.capacity() == 0) {
    // All the rest may belong to a picture in one piece; a tile or a band grows.
    const bool one = !m_inTile && !m_inMask && image.parameters.bandBits.empty();
    const int64_t most = one ? m_reader.MostLeft() : std::min(count, m_reader.MostLeft());
    bytes.reserve(static_cast<size_t>(most));
  }
  return &bytes;
}

void ContentParser::BeginTile(const Header& header) {
  if (m_inTile) EndTile();
  m_inTile = true;
  m_inMask = false;
  m_tileData = false;
  m_content.tiled = true;
  m_tile = {};
  m_tile.image.parameters = m_content.image.parameters;
  m_tile.image.parameters.width = 0;
  m_tile.image.parameters.height = 0;
  m_tile.image.at = m_content.image.at;
  if (m_content.tiles.size() >= kMaxTiles && !std::exchange(m_tooMany, true)) {
    Warn("the tiles after the first " + std::to_string(kMaxTiles) + " are left out", header.at);
  }
}

// A tile that shows nothing is dropped.
void ContentParser::EndTile() {
  if (!std::exchange(m_inTile, false)) return;
  m_inMask = false;
  const ImageParameters& parameters = m_tile.image.parameters;
  const bool filled = parameters.compression == kSolidFill;
  if ((!m_tileData && !filled) || m_tooMany) return;
  if (parameters.width == 0 || parameters.height == 0) {
    Warn("a tile without a size is left out, its encoding stands", m_tile.image.at);
    return;
  }
  m_hasData = true;
  Complete(m_tile.image);
  m_content.tiles.push_back(std::move(m_tile));
}

// Bands whose data are missing are empty.
void ContentParser::Complete(CodedImage& image) {
  const size_t bands = image.parameters.bandBits.size();
  if (!image.bands.empty() && image.bands.size() < bands) image.bands.resize(bands);
}

}  // namespace kz
