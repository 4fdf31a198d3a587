#include "Toolkit/Documents/Resources.h"

#include <algorithm>
#include <cstring>

namespace kz {

namespace {

// Names are padded with blanks, in EBCDIC 0x40, and sometimes with zeros.
std::string_view Trimmed(std::string_view name) {
  while (!name.empty() && (name.back() == '\x40' || name.back() == '\0')) name.remove_suffix(1);
  return name;
}

constexpr unsigned kBegin = 0xA8;
constexpr unsigned kEnd = 0xA9;
constexpr size_t kNameLength = 8;
constexpr char kQualifiedNameTriplet = 0x02;
// Bytes of the triplet before the name.
constexpr size_t kQualifiedName = 4;

}  // namespace

bool RefersToResource(uint16_t code) {
  switch (code) {
    case 0xAFD8:  // Include Page Overlay
    case 0xAF5F:  // Include Page Segment
    case sf::kIncludeObject:
    case 0xAFAF:  // Include Page
    case 0xADC3:  // Preprocess Presentation Object
    case 0xAB8A:  // Map Coded Font
    case 0xB18A:  // Map Coded Font, format 1
    case 0xABC3:  // Map Data Resource
    case 0xABD8:  // Map Page Overlay
    case 0xB15F:  // Map Page Segment
    case 0xAB77:  // Map Color Attribute Table
    case 0xABCC:  // Invoke Medium Map
      return true;
    default:
      return false;
  }
}

std::string FieldData(FileWindow& file, const ScannedField& field) {
  const unsigned length = field.DataLength();
  const unsigned char* bytes = file.At(field.DataOffset(), length);
  return bytes != nullptr ? std::string(reinterpret_cast<const char*>(bytes), length)
                          : std::string();
}

void ResourceCatalogue::AddNames(uint16_t code, std::string_view data) {
  const size_t resource = m_resources.size() - 1;
  const auto add = [&](std::string_view name) {
    name = Trimmed(name);
    if (!name.empty()) m_names.emplace(name, resource);
  };
  add(data.substr(0, kNameLength));
  // Fully qualified names follow as triplets: length, 02, type, format, name.
  size_t at = code == sf::kBeginResource ? kNameLength + 2 : kNameLength;
  while (at + kQualifiedName < data.size()) {
    const auto length = static_cast<unsigned char>(data[at]);
    if (length < 2) break;
    if (data[at + 1] == kQualifiedNameTriplet && length > kQualifiedName) {
      add(data.substr(at + kQualifiedName, length - kQualifiedName));
    }
    at += length;
  }
}

void ResourceCatalogue::Note(FileWindow& file, const ScannedField& field, int depth) {
  const uint16_t code = field.code;
  Resource& resource = m_resources.back();
  resource.hasPages |= code == sf::kBeginDocument || code == sf::kEndDocument ||
                       code == sf::kBeginPage || code == sf::kEndPage;
  if (code >> 8 == kBegin && depth <= 1) {
    // A resource is named by Begin Resource and by the Begin field within.
    AddNames(code, FieldData(file, field));
    if (code == sf::kBeginImageObject) resource.image = {field.offset, field.offset};
  } else if (code == sf::kEndImageObject && depth <= 2) {
    // One that wasn't begun ends nothing: no resource begins at the file's start.
    if (resource.image.begin > 0) resource.image.end = field.End();
  } else if (code == sf::kObjectAreaDescriptor) {
    resource.hasArea = true;
  } else if (code == sf::kObjectAreaPosition) {
    resource.hasPosition = field.DataLength() >= kObjectAreaPositionLength;
  }
}

Outcome ResourceCatalogue::Read(FileWindow& file, const PageIndex& index) {
  m_resources.clear();
  m_names.clear();
  for (const ByteRange& group : index.resourceGroups) {
    int depth = 0;
    for (int64_t at = group.begin; at < group.end;) {
      const ScannedField field = ScanField(file, at);
      if (field.fault != FieldFault::None) return Failure(K_ERROR_READ);
      at = field.End();
      if (field.code == sf::kBeginResourceGroup || field.code == sf::kEndResourceGroup) continue;
      const unsigned type = field.code >> 8;
      if (type == kBegin && depth == 0) m_resources.emplace_back();
      if (depth > 0 || type == kBegin) Note(file, field, depth);
      if (type == kBegin) ++depth;
      if (type == kEnd && depth > 0) --depth;
    }
  }
  return {};
}

const ByteRange* ResourceCatalogue::FindImage(std::string_view name) const {
  const auto found = m_names.find(std::string(Trimmed(name)));
  if (found == m_names.end()) return nullptr;
  const Resource& resource = m_resources[found->second];
  return resource.IsPlacedImage() ? &resource.image : nullptr;
}

bool ResourceCatalogue::OnlyImages() const {
  return std::all_of(m_resources.begin(), m_resources.end(),
                     [](const Resource& resource) { return resource.IsPlacedImage(); });
}

bool ResourceCatalogue::Knows(std::string_view name) const {
  return m_names.contains(std::string(Trimmed(name)));
}

bool ResourceCatalogue::NamedIn(std::string_view data) const {
  for (size_t at = 0; at < data.size(); ++at) {
    const std::string_view rest = data.substr(at);
    if (rest.size() >= kNameLength && Knows(rest.substr(0, kNameLength))) return true;
    if (rest.size() <= kQualifiedName || rest[1] != kQualifiedNameTriplet) continue;
    const auto length = static_cast<unsigned char>(rest[0]);
    if (length > kQualifiedName && Knows(rest.substr(kQualifiedName, length - kQualifiedName))) {
      return true;
    }
  }
  return false;
}

namespace {

bool SameFields(FileWindow& a, ByteRange rangeA, FileWindow& b, ByteRange rangeB) {
  while (rangeA.Size() > 0 && rangeB.Size() > 0) {
    const ScannedField fieldA = ScanField(a, rangeA.begin);
    const ScannedField fieldB = ScanField(b, rangeB.begin);
    if (fieldA.fault != FieldFault::None || fieldB.fault != FieldFault::None) return false;
    if (fieldA.length != fieldB.length) return false;
    rangeA.begin = fieldA.End();
    rangeB.begin = fieldB.End();
    const unsigned char* bytesA = a.At(rangeA.begin - fieldA.length, fieldA.length);
    const unsigned char* bytesB = b.At(rangeB.begin - fieldB.length, fieldB.length);
    if (bytesA == nullptr || bytesB == nullptr) return false;
    if (std::memcmp(bytesA, bytesB, fieldA.length) != 0) return false;
  }
  return rangeA.Size() == rangeB.Size();
}

}  // namespace

bool SameResourceGroups(FileWindow& a, const PageIndex& indexA, FileWindow& b,
                        const PageIndex& indexB) {
  if (indexA.resourceGroups.size() != indexB.resourceGroups.size()) return false;
  for (size_t i = 0; i < indexA.resourceGroups.size(); ++i) {
    if (!SameFields(a, indexA.resourceGroups[i], b, indexB.resourceGroups[i])) return false;
  }
  return true;
}

}  // namespace kz
