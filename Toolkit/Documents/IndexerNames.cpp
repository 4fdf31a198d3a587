// What fields of a document name: resources, tags, and what pages include.
#include <algorithm>
#include <optional>

#include "Format/CodePage.h"
#include "Format/Triplet.h"
#include "Toolkit/Documents/Indexer.h"
#include "Toolkit/Fields/TextDecoder.h"

namespace kz {

namespace {

// The type of the qualified name that is an attribute's.
constexpr char kAttributeName = 0x0B;
// Names that are told apart: so many take 100 MiB.
constexpr size_t kMostNames = 1'000'000;

}  // namespace

std::string_view TrimmedName(std::string_view name) {
  while (!name.empty() && (name.back() == '\x40' || name.back() == '\0')) name.remove_suffix(1);
  return name;
}

void Indexer::BeginResource(const ScannedField& field) {
  Open(Bracket::Resource, field);
  m_resource = static_cast<uint32_t>(m_index.resources.size());
  m_resourceCode = field.code;
  m_ownDocument = false;
  IndexedResource resource;
  resource.code = field.code;
  resource.bytes = {field.offset, field.End()};
  m_index.resources.push_back(std::move(resource));
  NameResource(field);
}

void Indexer::NameResource(const ScannedField& field) {
  IndexedResource& resource = m_index.resources[m_resource];
  // A resource is named by Begin Resource and by the Begin field within.
  if (resource.code == sf::kBeginResource) resource.code = field.code;
  const std::string_view data = Data(field);
  const auto add = [&](std::string_view name) {
    name = TrimmedName(name);
    if (name.empty()) return;
    if (resource.name.empty()) resource.name = Text(name);
    if (m_resourcesByName.size() < kMostNames) m_resourcesByName.emplace(name, m_resource);
  };
  add(data.substr(0, kFieldNameLength));
  Triplets triplets(data.substr(std::min<size_t>(data.size(), TripletsOffset(field.code))));
  for (Triplet triplet; triplets.Next(triplet);) add(QualifiedName(triplet));
}

void Indexer::EndResource(int64_t end) {
  m_index.resources[m_resource].bytes.end = end;
  m_resource = kNoIndex;
  m_resourceDepth = 0;
  m_ownDocument = false;
  Close();
  // One that stands by itself.
  if (!Within(Bracket::ResourceGroup)) --m_resources;
}

void Indexer::AddTag(const ScannedField& field) {
  IndexedTag tag;
  Triplets triplets(Data(field));
  for (Triplet triplet; triplets.Next(triplet);) {
    constexpr size_t reserved = 2;
    if (triplet.id == triplet::kQualifiedName && triplet.contents.starts_with(kAttributeName)) {
      tag.name = Text(QualifiedName(triplet));
    } else if (triplet.id == triplet::kAttributeValue && triplet.contents.size() > reserved) {
      tag.value = Text(triplet.contents.substr(reserved));
    }
  }
  tag.page = m_inPage ? static_cast<int>(m_index.pages.size()) : 0;
  tag.group = m_group;
  m_index.tags.push_back(std::move(tag));
}

void Indexer::AddInclude(const ScannedField& field) {
  const std::string_view data = Data(field);
  if (data.size() < kFieldNameLength) return;
  std::string_view qualified;
  if (field.code == sf::kIncludeObject && data.size() > TripletsOffset(field.code)) {
    // Others name what the object needs.
    qualified = ReplacingName(data.substr(TripletsOffset(field.code)));
  }
  const uint32_t include = IncludeOf(data.substr(0, kFieldNameLength), qualified, field.code);
  if (include != kNoIndex) Show(PageIndex::kInclude | include);
}

// Repeating groups follow the length of each, and three bytes.
void Indexer::AddMediumOverlays(const ScannedField& field) {
  constexpr size_t head = 4;
  constexpr size_t nameOffset = 4;  // after the local identifier and flags
  const std::string_view data = Data(field);
  if (data.size() < head) return;
  const auto length = static_cast<unsigned char>(data[0]);
  if (length < nameOffset + kFieldNameLength) return;
  for (size_t at = head; at + length <= data.size(); at += length) {
    IncludeOf(data.substr(at + nameOffset, kFieldNameLength), {}, field.code);
  }
}

uint32_t Indexer::IncludeOf(std::string_view name, std::string_view qualified, uint16_t code) {
  name = TrimmedName(name);
  qualified = TrimmedName(qualified);
  std::string key(name);
  key.resize(kFieldNameLength);
  key.append(qualified);
  if (m_index.includes.size() == kMostNames && !m_includes.contains(key)) return kNoIndex;
  const auto [place, added] =
      m_includes.emplace(std::move(key), static_cast<uint32_t>(m_index.includes.size()));
  if (added) {
    IncludedName include;
    include.name = Text(qualified.empty() ? name : qualified);
    include.code = code;
    include.page = m_inPage ? static_cast<int>(m_index.pages.size()) : 0;
    m_index.includes.push_back(std::move(include));
  }
  ++m_index.includes[place->second].count;
  return place->second;
}

// Resources may follow the pages that include them.
void Indexer::ResolveIncludes() {
  for (const auto& [key, include] : m_includes) {
    const std::string_view names = key;
    for (const std::string_view name :
         {names.substr(0, kFieldNameLength), names.substr(kFieldNameLength)}) {
      const auto resource = m_resourcesByName.find(std::string(TrimmedName(name)));
      if (resource != m_resourcesByName.end())
        m_index.includes[include].resource = resource->second;
    }
  }
}

std::string Indexer::Text(std::string_view bytes) {
  // Opening one loads a library: a thread does that once for all its files.
  thread_local std::optional<TextDecoder> decoder;
  if (!decoder && !decoder.emplace().Open(kDefaultEncoding).Ok()) {
    decoder.reset();
    m_index.structure = Failure(K_ERROR_NO_MEMORY);
  }
  return decoder ? decoder->Decode(bytes) : std::string();
}

std::string_view Indexer::Data(const ScannedField& field) { return AsText(DataOf(m_file, field)); }

// A qualified name is the full one.
std::string Indexer::NameOf(std::string_view data, uint16_t code) {
  const std::string_view triplets =
      data.substr(std::min<size_t>(data.size(), TripletsOffset(code)));
  const std::string_view qualified =
      TrimmedName(QualifiedName(FindTriplet(triplets, triplet::kQualifiedName)));
  return Text(qualified.empty() ? TrimmedName(data.substr(0, kFieldNameLength)) : qualified);
}

}  // namespace kz
