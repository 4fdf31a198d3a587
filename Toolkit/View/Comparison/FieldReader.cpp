#include "Toolkit/View/Comparison/FieldReader.h"

#include <algorithm>

#include "Format/FieldScan.h"

namespace kz {

namespace {

// The data of a field that count. Names of what stands on pages don't.
std::string_view Counting(FileWindow& file, const ScannedField& field, bool inPage) {
  const FieldType type = TypeOf(field.code);
  if (type == FieldType::End) return {};
  const unsigned padding = PaddingOf(file, field);
  std::string_view data = AsText(DataOf(file, field));
  data.remove_suffix(std::min<size_t>(padding, data.size()));
  if (inPage && type == FieldType::Begin) {
    data.remove_prefix(std::min<size_t>(kFieldNameLength, data.size()));
  }
  return data;
}

bool IsTagOrGroup(uint16_t code) {
  return code == sf::kTagLogicalElement || code == sf::kBeginPageGroup || code == sf::kEndPageGroup;
}

ContentHash HashOf(uint16_t code, std::string_view data) {
  ContentHasher hasher;
  hasher.AddNumber(code);
  hasher.Add(data);
  return hasher.Value();
}

}  // namespace

ContentHash FieldReader::HashPage(int page) {
  const PageIndex& index = m_document.Index();
  ContentHasher hasher;
  if (index.bare) {
    for (const int picture : index.PicturesOf(page)) hasher.AddHash(HashPicture(picture));
    return hasher.Value();
  }
  const ByteRange bytes = index.pages[static_cast<size_t>(page) - 1].bytes;
  FieldWalk walk(m_file, bytes.begin, bytes.end);
  uint16_t last = 0;
  ScannedField field;
  while (walk.Next(field)) {
    // However the data are divided into fields.
    const bool goesOn = field.code == sf::kImagePictureData && last == field.code;
    if (!goesOn) hasher.AddNumber(field.code);
    const std::string_view data = Counting(m_file, field, true);
    if (field.code != sf::kImagePictureData) hasher.AddNumber(data.size());
    hasher.Add(data);
    last = field.code;
  }
  AddBytes({walk.At(), bytes.end}, hasher);
  return hasher.Value();
}

ptrdiff_t FieldReader::PictureAt(int64_t offset) const {
  const std::vector<IndexedPicture>& pictures = m_document.Index().pictures;
  const auto after = std::partition_point(
      pictures.begin(), pictures.end(),
      [&](const IndexedPicture& picture) { return picture.bytes.begin <= offset; });
  if (after == pictures.begin()) return -1;
  const auto picture = std::prev(after);
  return offset < picture->bytes.end ? picture - pictures.begin() : -1;
}

void FieldReader::AddBytes(ByteRange bytes, ContentHasher& hasher) {
  while (bytes.begin < bytes.end) {
    const auto count = static_cast<size_t>(std::min<int64_t>(bytes.Size(), FileWindow::kMaxBytes));
    const unsigned char* at = m_file.At(bytes.begin, count);
    if (at == nullptr) return;
    hasher.Add(at, count);
    bytes.begin += static_cast<int64_t>(count);
  }
}

void FieldReader::AddRest(ByteRange bytes, std::vector<FieldToken>& tokens) {
  if (bytes.Size() <= 0) return;
  ContentHasher hasher;
  AddBytes(bytes, hasher);
  tokens.push_back({hasher.Value(), bytes.begin, 0});
}

void FieldReader::Walk(ByteRange bytes, bool inPage, std::vector<FieldToken>& tokens) {
  FieldWalk walk(m_file, bytes.begin, bytes.end);
  ScannedField field;
  int64_t payload = -1;  // where the picture begins whose data the last field was of
  while (tokens.size() < kMostTokens && walk.Next(field)) {
    if (IsTagOrGroup(field.code)) continue;
    const ptrdiff_t picture = PictureAt(field.offset);
    if (picture >= 0) {
      const IndexedPicture& at = m_document.Index().pictures[static_cast<size_t>(picture)];
      if (at.bytes.begin == payload) continue;
      payload = at.bytes.begin;
      tokens.push_back({HashOf(sf::kImagePictureData, {}), field.offset, field.code});
      continue;
    }
    payload = -1;
    if (inPage && field.code == sf::kPresentationText) {
      const bool goesOn = !tokens.empty() && tokens.back().code == field.code;
      if (!goesOn) tokens.push_back({HashOf(field.code, {}), field.offset, field.code});
      continue;
    }
    tokens.push_back(
        {HashOf(field.code, Counting(m_file, field, inPage)), field.offset, field.code});
  }
  AddRest({walk.At(), bytes.end}, tokens);
}

std::vector<FieldToken> FieldReader::ReadPage(int page) {
  std::vector<FieldToken> tokens;
  const PageIndex& index = m_document.Index();
  if (!index.bare) Walk(index.pages[static_cast<size_t>(page) - 1].bytes, true, tokens);
  return tokens;
}

std::vector<FieldToken> FieldReader::ReadOutside() {
  std::vector<FieldToken> tokens;
  const PageIndex& index = m_document.Index();
  if (index.bare) return tokens;
  int64_t at = 0;
  for (const IndexedPage& page : index.pages) {
    Walk({at, page.bytes.begin}, false, tokens);
    at = page.bytes.end;
  }
  Walk({at, index.Size()}, false, tokens);
  return tokens;
}

ContentHash FieldReader::HashPicture(int picture) {
  const PageIndex& index = m_document.Index();
  const IndexedPicture& at = index.pictures[static_cast<size_t>(picture) - 1];
  ContentHasher hasher;
  hasher.AddNumber(static_cast<uint64_t>(at.kind));
  hasher.AddNumber(static_cast<uint64_t>(at.content));
  if (index.bare) {
    AddBytes(at.bytes, hasher);
    return hasher.Value();
  }
  FieldWalk walk(m_file, at.bytes.begin, at.bytes.end);
  ScannedField field;
  while (walk.Next(field)) {
    if (at.kind != PictureKind::Ioca) hasher.AddNumber(field.code);
    hasher.Add(Counting(m_file, field, true));
  }
  AddBytes({walk.At(), at.bytes.end}, hasher);
  if (at.descriptor > 0) {
    const ScannedField descriptor = ScanField(m_file, at.descriptor);
    if (descriptor.fault == FieldFault::None) hasher.Add(AsText(DataOf(m_file, descriptor)));
  }
  return hasher.Value();
}

}  // namespace kz
