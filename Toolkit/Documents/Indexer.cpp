#include "Toolkit/Documents/Indexer.h"

#include <algorithm>

#include "Toolkit/Base/Room.h"

namespace kz {

namespace {

Outcome At(int64_t offset, std::string what, int status = K_ERROR_INVALID_FORMAT) {
  return Failure(status, std::move(what) + " at byte " + std::to_string(offset));
}

bool MayReferToResource(FieldType type) {
  return type == FieldType::Include || type == FieldType::Map || type == FieldType::Migration ||
         type == FieldType::Process;
}

bool IsInclude(uint16_t code) {
  return code == sf::kIncludePageSegment || code == sf::kIncludePageOverlay ||
         code == sf::kIncludeObject;
}

}  // namespace

Indexer::Indexer(FileWindow& file, PageIndex& index)
    : m_file(file), m_index(index), m_pictures(file, index.pictures), m_search(file) {}

void Indexer::Run() {
  if (m_index.container == Container::Ioca) return IndexBareFile();
  int64_t at = 0;
  while (at < m_file.Size() && !m_file.Failed()) {
    const ScannedField field = ScanField(m_file, at);
    if (field.prefixed) m_container = Container::ModcaCarriageControl;
    if (field.fault != FieldFault::None) {
      at = PassDamage(field, at);
      continue;
    }
    Take(field);
    m_last = {field.offset, field.DataOffset(), field.code};
    at = field.End();
    if (m_inPage && m_pictures.IsIdle()) at = PassPlain(at);
  }
  Finish();
}

void Indexer::IndexBareFile() {
  m_index.bare = true;
  m_pictures.TakeBareFile();
  for (size_t i = 0; i < m_index.pictures.size(); ++i) {
    m_index.pages.push_back(
        {.bytes = m_index.pictures[i].bytes, .firstShown = m_index.shown.size()});
    m_index.pictures[i].page = static_cast<int>(i) + 1;
    m_index.shown.push_back(static_cast<uint32_t>(i));
  }
  if (m_index.pages.size() == 1) {
    m_index.pages.front().bytes = {0, m_file.Size()};
  } else {
    m_index.structure = Failure(K_ERROR_INVALID_FORMAT,
                                "the file has more than one image, and no document around them");
  }
}

int64_t Indexer::PassDamage(const ScannedField& field, int64_t at) {
  const bool cut = field.fault == FieldFault::Cut || field.fault == FieldFault::CutData;
  const bool afterDocument = !InDocument() && !InResources() && m_index.endDocument.end > 0;
  // The field before may have the wrong length, so that others begin in its data.
  const int64_t from = std::max(m_last.dataOffset == 0 ? at + 1 : m_last.dataOffset, m_searched);
  const int64_t next = m_search.Find(from);
  m_searched = next + 1;
  if (next == m_file.Size() && afterDocument) return next;  // files are padded at their end
  Fault(cut ? At(at, "the file ends within the structured field", K_ERROR_READ)
            : At(at, "there is no valid structured field"));
  if (next > at) TakeDamaged(field, next);
  if (next < at) EndLastAt(next);
  m_pictures.Damage(next);
  const int64_t begin = next < at ? m_last.offset : at;
  m_index.skipped.push_back({begin, next - begin});
  m_damaged = true;
  return next;
}

// The last field was shorter than its length says, and so was what it ended.
void Indexer::EndLastAt(int64_t end) {
  const auto shorten = [&](ByteRange& bytes) { bytes.end = std::min(bytes.end, end); };
  if (!m_index.pages.empty()) shorten(m_index.pages.back().bytes);
  if (m_endedGroup != kNoIndex) shorten(m_index.groups[m_endedGroup].bytes);
  if (m_group != kNoIndex) shorten(m_index.groups[m_group].bytes);
  if (!m_index.resources.empty()) shorten(m_index.resources.back().bytes);
  if (!m_index.resourceGroups.empty()) shorten(m_index.resourceGroups.back());
  shorten(m_index.beginDocument);
  shorten(m_index.endDocument);
}

// A field of which only the length is wrong goes up to the next; of one that the file's
// end cuts off, only the picture counts.
void Indexer::TakeDamaged(ScannedField field, int64_t next) {
  const bool cut = field.fault == FieldFault::CutData;
  if (!cut && field.fault != FieldFault::Length) return;
  if (FindStructuredField(field.code) == nullptr) return;
  const int64_t length =
      std::min<int64_t>(next - field.offset - (field.prefixed ? 1 : 0), kMaxFieldLength);
  if (length < kIntroducerLength + field.extension) return;
  field.length = static_cast<unsigned>(length);
  field.fault = FieldFault::None;
  if (!cut || next < m_file.Size()) return Take(field);
  const size_t pictures = m_index.pictures.size();
  m_pictures.Take(field, m_container);
  AddPictures(pictures);
}

void Indexer::Take(const ScannedField& field) {
  const bool inPage = m_inPage;
  if (field.code != sf::kEndDocument) {
    m_prefix.Add(field.prefixed);
    if (inPage) m_pagePrefix.Add(field.prefixed);
  }
  const size_t pictures = m_index.pictures.size();
  m_pictures.Take(field, m_container);
  if (m_index.pictures.size() > pictures) AddPictures(pictures);
  if (InResources()) {
    TakeInResource(field);
  } else if (inPage) {
    TakeInPage(field);
  } else {
    TakeBetweenPages(field);
  }
}

void Indexer::AddPictures(size_t from) {
  for (size_t i = from; i < m_index.pictures.size(); ++i) {
    IndexedPicture& picture = m_index.pictures[i];
    picture.page = m_inPage ? static_cast<int>(m_index.pages.size()) : 0;
    picture.resource = m_inPage ? kNoIndex : m_resource;
    Show(static_cast<uint32_t>(i));
  }
  MakeRoom(m_index.pictures, m_last.offset, m_file.Size());
}

void Indexer::Show(uint32_t what) {
  if (m_inPage) {
    MakeRoom(m_index.shown, m_index.pages.back().bytes.begin, m_file.Size());
    m_index.shown.push_back(what);
  } else if (m_resource != kNoIndex) {
    m_index.resources[m_resource].shown.push_back(what);
  }
}

void Indexer::TakeBetweenPages(const ScannedField& field) {
  const ByteRange bytes = {field.offset, field.End()};
  switch (field.code) {
    case sf::kBeginDocument:
      if (InDocument()) return Misplaced(field, "within a document");
      Open(Bracket::Document, field);
      m_document = m_open.size();
      m_documentSincePage = true;
      if (m_index.beginDocument.Size() == 0) m_index.beginDocument = bytes;
      return;
    case sf::kEndDocument:
      return EndDocument(field);
    case sf::kBeginPage:
      if (!InDocument()) Misplaced(field, "outside of a document");
      return BeginPage(field);
    case sf::kEndPage:
      return Misplaced(field, "without Begin Page");
    case sf::kBeginResourceGroup:
      Open(Bracket::ResourceGroup, field);
      ++m_resources;
      m_resourceDepth = 0;
      m_index.resourceGroups.push_back(bytes);
      return;
    case sf::kBeginResource:
    case sf::kBeginPageSegment:
    case sf::kBeginOverlay:
    case sf::kBeginFormMap:
      ++m_resources;
      BeginResource(field);
      m_resourceDepth = 1;
      return;
    case sf::kBeginPageGroup:
      return BeginGroup(field);
    case sf::kEndPageGroup:
      if (Within(Bracket::PageGroup)) EndGroup(field.End(), true);
      return;
    case sf::kTagLogicalElement:
      return AddTag(field);
    default:
      if (IsInclude(field.code)) AddInclude(field);
      return;
  }
}

void Indexer::TakeInPage(const ScannedField& field) {
  IndexedPage& page = m_index.pages.back();
  switch (field.code) {
    case sf::kBeginDocument:
      Misplaced(field, "within " + PageText() + " instead of outside");
      if (!m_damaged) return;
      EndPage(field.offset);
      return TakeBetweenPages(field);
    case sf::kBeginPage:
    case sf::kBeginPageGroup:
    case sf::kEndPageGroup:
    case sf::kEndDocument:
      Fault(
          At(field.offset, PageText() + " has no End Page field before " + FieldWords(field.code)));
      EndPage(field.offset);
      return TakeBetweenPages(field);
    case sf::kEndPage:
      return EndPage(field.End());
    case sf::kTagLogicalElement:
      return AddTag(field);
    case sf::kPresentationText:
      page.hasText = true;
      return;
    case sf::kGraphicsData:
    case sf::kBarCodeData:
      page.hasDrawings = true;
      return;
    default:
      // Asked for only where it may be so: this is every field of a page.
      if (MayReferToResource(TypeOf(field.code))) {
        page.refersToResources |= RefersToResource(field.code);
        if (IsInclude(field.code)) AddInclude(field);
      }
      return;
  }
}

// Whether a field shows that the end of the resources is missing. A resource may be a
// document of its own, and nothing else then.
bool Indexer::EndsResources(uint16_t code) const {
  switch (code) {
    case sf::kBeginDocument:
      return m_damaged || m_last.code != sf::kBeginResource;
    case sf::kEndDocument:
    case sf::kBeginPage:
    case sf::kEndPage:
    case sf::kBeginPageGroup:
    case sf::kEndPageGroup:
      return !m_ownDocument;
    default:
      return false;
  }
}

void Indexer::LeaveResources(int64_t end) {
  if (Within(Bracket::Resource)) {
    const int64_t begin = m_open.back().begin;
    EndResource(end);
    if (!Within(Bracket::ResourceGroup)) Fault(At(begin, "there is no end of the resource"));
  }
  if (!Within(Bracket::ResourceGroup)) return;
  Fault(At(m_open.back().begin, "there is no end of the resource group"));
  m_index.resourceGroups.back().end = end;
  Close();
  --m_resources;
}

void Indexer::TakeInResource(const ScannedField& field) {
  const FieldType type = TypeOf(field.code);
  if (EndsResources(field.code)) {
    LeaveResources(field.offset);
    return TakeBetweenPages(field);
  }
  if (field.code == sf::kBeginDocument) m_ownDocument = true;
  const bool inGroup = Within(Bracket::ResourceGroup) || m_open.size() > 1;
  if (field.code == sf::kBeginResourceGroup && inGroup) {
    return Misplaced(field, "within a resource group");
  }
  if (field.code == sf::kEndResourceGroup) {
    if (Within(Bracket::Resource)) EndResource(field.offset);
    if (Within(Bracket::ResourceGroup)) {
      m_index.resourceGroups.back().end = field.End();
      Close();
      --m_resources;
    }
    return;
  }
  const bool another = field.code == sf::kBeginResource || field.code == m_resourceCode;
  if (another && Within(Bracket::Resource)) {
    EndResource(field.offset);
    if (!InResources()) return TakeBetweenPages(field);
  }
  if (type == FieldType::Begin) {
    if (m_resourceDepth == 0) {
      BeginResource(field);
    } else if (m_resourceDepth == 1) {
      NameResource(field);
    }
    ++m_resourceDepth;
  } else if (type == FieldType::End && Within(Bracket::Resource)) {
    if (field.code == PartnerOf(m_resourceCode)) {
      EndResource(field.End());
    } else if (m_resourceDepth > 1) {
      --m_resourceDepth;
    }
  } else if (field.code == sf::kMapMediumOverlay) {
    AddMediumOverlays(field);
  } else if (IsInclude(field.code)) {
    AddInclude(field);
  }
}

void Indexer::BeginPage(const ScannedField& field) {
  if (m_index.pages.empty()) {
    const bool grouped = m_open.size() > m_document;
    m_index.plainHeadEnd = grouped ? m_open[m_document].begin : field.offset;
  } else if (m_documentSincePage) {
    m_index.laterDocuments.push_back(static_cast<int>(m_index.pages.size()) + 1);
  }
  m_documentSincePage = false;
  PassInGroup({field.offset, 0});
  Open(Bracket::Page, field);
  m_inPage = true;
  MakeRoom(m_index.pages, field.offset, m_file.Size());
  m_index.pages.push_back(
      {.bytes = {field.offset, field.End()}, .firstShown = m_index.shown.size()});
  m_index.pages.back().group = m_group;
  m_pagePrefix = {};
  m_pagePrefix.Add(field.prefixed);
}

void Indexer::EndPage(int64_t end) {
  m_index.pages.back().bytes.end = end;
  m_index.pages.back().prefix = m_pagePrefix.Result();
  m_inPage = false;
  PassInGroup(m_index.pages.back().bytes);
  Close();
}

void Indexer::EndDocument(const ScannedField& field) {
  if (!InDocument()) return Misplaced(field, "without Begin Document");
  // It ends the page groups, too, that nothing else has ended.
  while (m_open.size() > m_document && Within(Bracket::PageGroup)) EndGroup(field.offset);
  m_open.resize(m_document - 1);
  m_document = 0;
  m_documentSincePage = true;
  if (m_index.endDocument.Size() == 0) m_index.endDocument = {field.offset, field.End()};
  m_index.appendAt = field.offset;
}

void Indexer::BeginGroup(const ScannedField& field) {
  Open(Bracket::PageGroup, field, m_group);
  PassInGroup({field.offset, 0});
  IndexedGroup group;
  group.name = NameOf(Data(field), sf::kBeginPageGroup);
  group.bytes = {field.offset, field.End()};
  group.firstPage = static_cast<int>(m_index.pages.size()) + 1;
  group.parent = m_group;
  m_group = static_cast<uint32_t>(m_index.groups.size());
  m_index.groups.push_back(std::move(group));
}

void Indexer::EndGroup(int64_t end, bool whole) {
  IndexedGroup& group = m_index.groups[m_group];
  group.bytes.end = end;
  group.pages = static_cast<int>(m_index.pages.size()) + 1 - group.firstPage;
  m_endedGroup = m_group;
  group.whole = whole && InDocument();
  m_group = m_open.back().outer;
  PassInGroup(group.bytes);
  Close();
}

void Indexer::PassInGroup(ByteRange inner) {
  if (m_group == kNoIndex) return;
  IndexedGroup& group = m_index.groups[m_group];
  if (group.headEnd == 0) group.headEnd = inner.begin;
  group.tailBegin = inner.end;
}

void Indexer::Finish() {
  const size_t pictures = m_index.pictures.size();
  m_pictures.Finish();
  AddPictures(pictures);
  m_index.prefix = m_prefix.Result();
  ResolveIncludes();
  if (m_inPage) {
    Fault(Failure(K_ERROR_READ, PageText() + " has no End Page field before the file ends"));
    EndPage(m_file.Size());
  }
  if (Within(Bracket::Resource)) EndResource(m_file.Size());
  if (Within(Bracket::ResourceGroup)) {
    Fault(At(m_open.back().begin, "there is no end of the resource group"));
    m_index.resourceGroups.back().end = m_file.Size();
    Close();
  }
  while (!m_open.empty()) {
    if (Within(Bracket::PageGroup)) {
      EndGroup(m_file.Size());
    } else {
      Close();
    }
  }
  if (InDocument()) Fault(Failure(K_ERROR_READ, "the file ends without an End Document field"));
  if (m_index.beginDocument.Size() == 0) {
    Fault(Failure(K_ERROR_INVALID_FORMAT, "the file has no Begin Document field"));
  }
  if (m_index.pages.empty()) m_index.plainHeadEnd = m_index.endDocument.begin;
}

void Indexer::Open(Bracket kind, const ScannedField& field, uint32_t outer) {
  m_open.push_back({kind, field.offset, outer});
}

void Indexer::Close() { m_open.pop_back(); }

void Indexer::Fault(Outcome fault) {
  if (m_index.structure.Ok()) m_index.structure = std::move(fault);
}

void Indexer::Misplaced(const ScannedField& field, const std::string& where) {
  Fault(At(field.offset, FieldWords(field.code) + " " + where));
}

std::string Indexer::PageText() const {
  return "page " + std::to_string(m_index.pages.size()) + ", which begins at byte " +
         std::to_string(m_index.pages.back().bytes.begin) + ",";
}

}  // namespace kz
