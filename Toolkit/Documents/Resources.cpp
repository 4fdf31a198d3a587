#include "Toolkit/Documents/Resources.h"

#include <algorithm>
#include <cstring>

#include "Format/Triplet.h"

namespace kz {

namespace {

// Names are padded with blanks, in EBCDIC 0x40, and sometimes with zeros.
std::string_view Trimmed(std::string_view name) {
  while (!name.empty() && (name.back() == '\x40' || name.back() == '\0')) name.remove_suffix(1);
  return name;
}

}  // namespace

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
  add(data.substr(0, kFieldNameLength));
  const size_t named = std::min<size_t>(data.size(), TripletsOffset(code));
  Triplets triplets(data.substr(named));
  for (Triplet triplet; triplets.Next(triplet);) add(QualifiedName(triplet));
}

void ResourceCatalogue::Note(FileWindow& file, const ScannedField& field, int depth) {
  const uint16_t code = field.code;
  Resource& resource = m_resources.back();
  resource.hasPages |= code == sf::kBeginDocument || code == sf::kEndDocument ||
                       code == sf::kBeginPage || code == sf::kEndPage;
  if (TypeOf(code) == FieldType::Begin && depth <= 1) {
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
      const FieldType type = TypeOf(field.code);
      if (type == FieldType::Begin && depth == 0) m_resources.emplace_back();
      if (depth > 0 || type == FieldType::Begin) Note(file, field, depth);
      if (type == FieldType::Begin) ++depth;
      if (type == FieldType::End && depth > 0) --depth;
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
    if (rest.size() >= kFieldNameLength && Knows(rest.substr(0, kFieldNameLength))) return true;
    Triplet triplet;
    Triplets(rest).Next(triplet);
    if (Knows(QualifiedName(triplet))) return true;
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
