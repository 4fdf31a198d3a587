#include "Toolkit/Editing/RepairPlan.h"

#include <algorithm>

#include "Format/FieldBuilder.h"

namespace kz {

namespace {

// What stands between pages and has no end of its own: Invoke Medium Map and Link
// Logical Element besides those that have names.
bool StandsBetweenPages(uint16_t code) {
  constexpr uint16_t invokeMediumMap = 0xABCC;
  constexpr uint16_t linkLogicalElement = 0xB490;
  return code == sf::kNoOperation || code == sf::kTagLogicalElement || code == invokeMediumMap ||
         code == linkLogicalElement;
}

// Fields that a resource or a page can't hold without being taken for the document's.
bool IsStructure(uint16_t code) {
  switch (code & ~0x0100) {
    case sf::kBeginDocument:
    case sf::kBeginPageGroup:
    case sf::kBeginPage:
    case sf::kBeginResourceGroup:
      return true;
    default:
      return false;
  }
}

}  // namespace

RepairPlan::RepairPlan(const PageIndex& index, PieceList& pieces, int source,
                       std::vector<ByteRange> lost, std::vector<LeftOutBytes>& leftOut)
    : m_index(index),
      m_pieces(pieces),
      m_source(source),
      m_lostData(std::move(lost)),
      m_leftOut(leftOut),
      m_prefixed(index.prefix == FieldPrefix::All ||
                 (index.prefix == FieldPrefix::Some &&
                  index.container == Container::ModcaCarriageControl)) {}

void RepairPlan::Run() {
  size_t page = 0, group = 0;
  while (m_at < m_index.Size()) {
    const int64_t at = m_at;
    const auto next = [&](const auto& list, size_t& i, auto begin) {
      while (i < list.size() && begin(list[i]) < at) ++i;
      return i < list.size() ? begin(list[i]) : m_index.Size();
    };
    const int64_t nextPage = next(m_index.pages, page, [](auto& p) { return p.bytes.begin; });
    const int64_t nextGroup = next(m_index.resourceGroups, group, [](auto& g) { return g.begin; });
    const int64_t nextResource =
        next(m_index.resources, m_resource, [](auto& r) { return r.bytes.begin; });
    if (at == nextPage) {
      m_page = static_cast<int>(page) + 1;
      TakePage(m_index.pages[page].bytes);
      m_page = 0;
    } else if (at == nextGroup) {
      TakeGroup(m_index.resourceGroups[group]);
    } else if (at == nextResource) {
      TakeResource(m_index.resources[m_resource].bytes);
    } else if (PassSkipped(m_index.Size())) {
      m_lost = true;
    } else {
      const ScannedField field = Field();
      const int64_t end = std::min({nextPage, nextGroup, nextResource});
      if (field.fault == FieldFault::None && field.End() <= end) {
        TakeField(field);
      } else {
        LeaveOut(end);  // padding
      }
    }
    if (m_at <= at) LeaveOut(m_index.Size());
  }
  if (!m_begun) EnsureDocument();
  CloseTo(0);
}

void RepairPlan::TakeField(const ScannedField& field) {
  size_t depth = kNone;
  switch (field.code) {
    case sf::kBeginDocument:
      return BeginDocument(field);
    case sf::kBeginPageGroup:
      // There are groups around documents.
      if (m_index.beginDocument.Size() == 0 || m_index.beginDocument.begin < m_at) {
        EnsureDocument();
      }
      m_lost = false;
      m_open.push_back(field.code);
      return Keep(field.End());
    case sf::kEndPageGroup:
    case sf::kEndDocument:
      m_lost = false;
      depth = DepthOf(PartnerOf(field.code));
      if (depth == kNone) return LeaveOut(field.End());
      CloseTo(depth + 1);
      m_open.pop_back();
      return Keep(field.End());
    default:
      // Of a page whose beginning is missing.
      if (field.code == sf::kEndPage || IsStructure(field.code)) m_lost = false;
      if (IsStructure(field.code) || (m_lost && !StandsBetweenPages(field.code))) {
        return LeaveOut(field.End());
      }
      return Keep(field.End());
  }
}

void RepairPlan::BeginDocument(const ScannedField& field) {
  m_lost = false;
  const size_t depth = DepthOf(field.code);
  if (depth != kNone) CloseTo(depth);
  m_begun = true;
  m_open.push_back(field.code);
  Keep(field.End());
}

void RepairPlan::EnsureDocument() {
  if (DepthOf(sf::kBeginDocument) != kNone) return;
  m_begun = true;
  Put(sf::kBeginDocument);
  m_open.push_back(sf::kBeginDocument);
}

bool RepairPlan::IsSoundPage(ByteRange page) {
  if (IsSkipped(page)) return false;
  FieldWalk walk(m_pieces.File(m_source), page.begin, page.end);
  uint16_t last = 0;
  for (ScannedField field; walk.Next(field); last = field.code) {
    const bool first = field.offset == page.begin;
    if (first ? field.code != sf::kBeginPage : last == sf::kEndPage) return false;
    if (field.code == sf::kBeginDocument) return false;
  }
  return walk.At() == page.end && last == sf::kEndPage;
}

void RepairPlan::TakePage(ByteRange page) {
  m_lost = false;
  EnsureDocument();
  if (IsSoundPage(page)) return Keep(page.end);
  TakeDamaged(page, sf::kBeginPage);
}

void RepairPlan::TakeDamaged(ByteRange range, uint16_t begin) {
  const size_t depth = m_open.size();
  m_open.push_back(begin);
  const ScannedField first = Field();
  const bool skipped = IsSkipped({m_at, m_at + 1});
  if (!skipped && first.fault == FieldFault::None && first.code == begin) {
    Keep(first.End());
  } else {
    Put(begin);
  }
  while (m_at < range.end && m_open.size() > depth) {
    if (PassSkipped(range.end)) continue;
    const ScannedField field = Field();
    if (field.fault != FieldFault::None || field.End() > range.end) break;
    TakeFieldWithin(field, depth);
  }
  CloseTo(depth);
  if (m_at < range.end) LeaveOut(range.end);
}

bool RepairPlan::IsLost(const ScannedField& field) const {
  const auto lost =
      std::upper_bound(m_lostData.begin(), m_lostData.end(), field.offset,
                       [](int64_t offset, const ByteRange& data) { return offset < data.begin; });
  return lost != m_lostData.begin() && field.offset < std::prev(lost)->end;
}

void RepairPlan::TakeFieldWithin(const ScannedField& field, size_t depth) {
  const FieldType type = TypeOf(field.code);
  if (IsStructure(field.code) && field.code != sf::kEndPage) return LeaveOut(field.End());
  if (field.code == sf::kImagePictureData && IsLost(field)) return LeaveOut(field.End());
  const size_t same = DepthOf(type == FieldType::End ? PartnerOf(field.code) : field.code);
  const bool open = same != kNone && same >= depth;
  if (type == FieldType::Begin) {
    // Nothing stands in its own kind: an end is missing.
    if (open && same > depth) CloseTo(same);
    m_open.push_back(field.code);
  } else if (type == FieldType::End) {
    if (!open) return LeaveOut(field.End());
    CloseTo(same + 1);
    m_open.pop_back();
  }
  Keep(field.End());
}

bool RepairPlan::IsWholeGroup(ByteRange group) {
  if (IsSkipped(group)) return false;
  FieldWalk walk(m_pieces.File(m_source), group.begin, group.end);
  uint16_t last = 0;
  for (ScannedField field; walk.Next(field); last = field.code) {
    const bool first = field.offset == group.begin;
    if (first != (field.code == sf::kBeginResourceGroup)) return false;
    if (last == sf::kEndResourceGroup) return false;
  }
  return walk.At() == group.end && last == sf::kEndResourceGroup;
}

bool RepairPlan::IsWholeResource(ByteRange resource) {
  if (IsSkipped(resource)) return false;
  FieldWalk walk(m_pieces.File(m_source), resource.begin, resource.end);
  ScannedField field;
  if (!walk.Next(field)) return false;
  const uint16_t begin = field.code;
  uint16_t last = begin;
  while (walk.Next(field)) {
    const bool ended = last == PartnerOf(begin);
    if (ended || field.code == begin || IsStructure(field.code)) return false;
    last = field.code;
  }
  return walk.At() == resource.end && last == PartnerOf(begin);
}

void RepairPlan::TakeGroup(ByteRange group) {
  m_lost = false;
  if (IsWholeGroup(group)) return Keep(group.end);
  const ScannedField first = Field();
  if (!IsSkipped({m_at, m_at + 1}) && first.fault == FieldFault::None &&
      first.code == sf::kBeginResourceGroup) {
    Keep(first.End());
  } else {
    Put(sf::kBeginResourceGroup);
  }
  while (m_at < group.end) {
    const std::vector<IndexedResource>& resources = m_index.resources;
    while (m_resource < resources.size() && resources[m_resource].bytes.begin < m_at) ++m_resource;
    if (m_resource < resources.size() && resources[m_resource].bytes.begin == m_at) {
      TakeResource(resources[m_resource].bytes);
      continue;
    }
    if (PassSkipped(group.end)) continue;
    const ScannedField field = Field();
    if (field.fault != FieldFault::None || field.End() > group.end) break;
    if (field.code == sf::kNoOperation) {
      Keep(field.End());
    } else if (field.code == sf::kEndResourceGroup && field.End() == group.end) {
      return Keep(field.End());
    } else {
      LeaveOut(field.End());
    }
  }
  if (m_at < group.end) LeaveOut(group.end);
  Put(sf::kEndResourceGroup);
}

void RepairPlan::TakeResource(ByteRange resource) {
  m_lost = false;
  const ScannedField first = Field();
  if (IsWholeResource(resource)) return Keep(resource.end);
  // Part of a resource would be shown as if it were all.
  const bool sound = !IsSkipped(resource) && first.fault == FieldFault::None;
  if (!sound || TypeOf(first.code) != FieldType::Begin) return LeaveOut(resource.end);
  TakeDamaged(resource, first.code);
}

bool RepairPlan::IsSkipped(ByteRange range) {
  const std::vector<SkippedBytes>& skipped = m_index.skipped;
  while (m_skipped < skipped.size() &&
         skipped[m_skipped].offset + skipped[m_skipped].length <= m_at) {
    ++m_skipped;
  }
  return m_skipped < skipped.size() && skipped[m_skipped].offset < range.end;
}

bool RepairPlan::PassSkipped(int64_t end) {
  if (!IsSkipped({m_at, m_at + 1})) return false;
  const SkippedBytes& skipped = m_index.skipped[m_skipped];
  LeaveOut(std::min(end, skipped.offset + skipped.length));
  return true;
}

void RepairPlan::Keep(int64_t end) {
  m_pieces.Add(m_source, {m_at, end});
  m_at = end;
}

void RepairPlan::LeaveOut(int64_t end) {
  if (end <= m_at) return;
  if (!m_leftOut.empty()) {
    LeftOutBytes& last = m_leftOut.back();
    if (last.offset + last.length == m_at && last.page == m_page) {
      last.length += end - m_at;
      m_at = end;
      return;
    }
  }
  m_leftOut.push_back({m_at, end - m_at, m_page});
  m_at = end;
}

void RepairPlan::Put(uint16_t code) { m_pieces.Add(FieldBuilder(code, m_prefixed).Finish()); }

void RepairPlan::CloseTo(size_t depth) {
  while (m_open.size() > depth) {
    Put(PartnerOf(m_open.back()));
    m_open.pop_back();
  }
}

size_t RepairPlan::DepthOf(uint16_t begin) const {
  const auto found = std::find(m_open.rbegin(), m_open.rend(), begin);
  return found == m_open.rend() ? kNone : static_cast<size_t>(m_open.rend() - found) - 1;
}

}  // namespace kz
