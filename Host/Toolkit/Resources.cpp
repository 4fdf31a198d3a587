#include "Host/Toolkit/Resources.h"

#include <algorithm>
#include <cstring>

namespace kz {

namespace {

// Names are padded with blanks, in EBCDIC 0x40, and sometimes with zeros.
std::string_view Trimmed(std::string_view name) {
  while (!name.empty() && (name.back() == '\x40' || name.back() == '\0')) name.remove_suffix(1);
  return name;
}

constexpr size_t kNameLength = 8;

}  // namespace

bool RefersToResource(uint16_t code) {
  switch (code) {
    case 0xAFD8:  // Include Page Overlay
    case 0xAF5F:  // Include Page Segment
    case kIncludeObject:
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

void ResourceCatalogue::AddNames(uint16_t code, std::string_view data, Resource& resource) const {
  const auto add = [&resource](std::string_view name) {
    name = Trimmed(name);
    if (!name.empty()) resource.names.emplace_back(name);
  };
  add(data.substr(0, kNameLength));
  // Fully qualified names follow as triplets: length, 02, type, format, name.
  size_t at = code == kBeginResource ? kNameLength + 2 : kNameLength;
  while (at + 2 <= data.size()) {
    const auto length = static_cast<unsigned char>(data[at]);
    if (length < 2) break;
    if (data[at + 1] == 0x02 && length > 4) add(data.substr(at).substr(4, length - 4u));
    at += length;
  }
}

Outcome ResourceCatalogue::Read(FileWindow& file, const PageIndex& index) {
  m_resources.clear();
  for (const ByteRange& group : index.resourceGroups) {
    int depth = 0;
    for (int64_t at = group.begin; at < group.end;) {
      const ScannedField field = ScanField(file, at);
      if (field.fault != FieldFault::None) return Failure(K_ERROR_READ);
      at = field.End();
      const uint16_t code = field.Code();
      const unsigned type = code >> 8;
      if (code == kBeginResourceGroup || code == kEndResourceGroup) continue;
      if (type == 0xA8) {
        if (depth == 0) m_resources.emplace_back();
        // A resource is named by Begin Resource and by the Begin field within.
        if (depth <= 1) AddNames(code, FieldData(file, field), m_resources.back());
        if (depth <= 1 && code == SF_BEGIN_IMAGE_OBJECT) {
          m_resources.back().image.begin = field.offset;
        }
        ++depth;
      } else if (type == 0xA9 && depth > 0) {
        --depth;
        if (depth <= 1 && code == SF_END_IMAGE_OBJECT) m_resources.back().image.end = at;
      }
    }
  }
  return {};
}

const ByteRange* ResourceCatalogue::FindImage(std::string_view name) const {
  name = Trimmed(name);
  for (const Resource& resource : m_resources) {
    const bool named =
        std::find(resource.names.begin(), resource.names.end(), name) != resource.names.end();
    if (named && resource.image.Size() > 0) return &resource.image;
  }
  return nullptr;
}

bool ResourceCatalogue::OnlyImages() const {
  return std::all_of(m_resources.begin(), m_resources.end(),
                     [](const Resource& resource) { return resource.image.Size() > 0; });
}

bool ResourceCatalogue::NamedIn(std::string_view data) const {
  for (const Resource& resource : m_resources) {
    for (const std::string& name : resource.names) {
      if (data.find(name) != std::string_view::npos) return true;
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
