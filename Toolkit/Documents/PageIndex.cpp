#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Files/FileWindow.h"

#include <algorithm>

#include "Format/FieldScan.h"
#include "Toolkit/Documents/Resources.h"

namespace kz {

namespace {

class PrefixCount {
 public:
  void Add(bool prefixed) { ++(prefixed ? m_with : m_without); }
  FieldPrefix Result() const {
    if (m_with == 0) return FieldPrefix::None;
    return m_without == 0 ? FieldPrefix::All : FieldPrefix::Some;
  }

 private:
  int64_t m_with = 0;
  int64_t m_without = 0;
};

Outcome At(int64_t offset, std::string what, int status = K_ERROR_INVALID_FORMAT) {
  return Failure(status, std::move(what) + " at byte " + std::to_string(offset));
}

// What fields begin and others end.
enum class Bracket { Document, Page, PageGroup, ResourceGroup };

class Indexer {
 public:
  explicit Indexer(PageIndex& index) : m_index(index) {}

  Outcome Run(FileWindow& file) {
    for (int64_t at = 0; at < file.Size();) {
      const ScannedField field = ScanField(file, at);
      // Files are padded after their document.
      if (field.fault != FieldFault::None && Outside() && m_index.endDocument.end > 0) break;
      if (field.fault == FieldFault::Cut || field.fault == FieldFault::CutData) {
        return At(at, "the file ends within the structured field", K_ERROR_READ);
      }
      if (field.fault != FieldFault::None) return At(at, "there is no valid structured field");
      Outcome outcome = Take(field);
      if (!outcome.Ok()) return outcome;
      at = field.End();
    }
    return Finish();
  }

 private:
  struct OpenBracket {
    Bracket kind;
    int64_t begin;
  };

  bool Within(Bracket kind) const { return !m_open.empty() && m_open.back().kind == kind; }
  bool InDocument() const { return m_document > 0; }
  bool Outside() const { return !InDocument() && !Within(Bracket::ResourceGroup); }
  void Open(Bracket kind, const ScannedField& field) { m_open.push_back({kind, field.offset}); }

  std::string PageWords() const {
    return "page " + std::to_string(m_index.pages.size()) + ", which begins at byte " +
           std::to_string(m_index.pages.back().bytes.begin) + ",";
  }

  static Outcome Misplaced(const ScannedField& field, const std::string& where) {
    return At(field.offset, FieldWords(field.code) + " " + where);
  }

  Outcome Take(const ScannedField& field) {
    const bool inPage = Within(Bracket::Page);
    if (field.code != sf::kEndDocument) {
      m_prefix.Add(field.prefixed);
      if (inPage) m_pagePrefix.Add(field.prefixed);
    }
    CountImages(field.code, inPage);
    if (Within(Bracket::ResourceGroup)) return TakeInResourceGroup(field);
    return inPage ? TakeInPage(field) : TakeBetweenPages(field);
  }

  void CountImages(uint16_t code, bool inPage) {
    const bool pictureData = code == sf::kImagePictureData;
    if (pictureData && !m_inImage) {
      ++m_index.imageObjects;
      if (inPage) {
        IndexedPage& page = m_index.pages.back();
        if (page.imageObjects++ == 0) page.firstImage = m_index.imageObjects;
      }
    }
    m_inImage = pictureData;
  }

  // What else stands in there, documents and pages too, is the resource's own.
  Outcome TakeInResourceGroup(const ScannedField& field) {
    if (field.code == sf::kBeginResourceGroup) return Misplaced(field, "within a resource group");
    if (field.code == sf::kEndResourceGroup) {
      m_index.resourceGroups.back().end = field.End();
      m_open.pop_back();
    }
    return {};
  }

  Outcome TakeInPage(const ScannedField& field) {
    IndexedPage& page = m_index.pages.back();
    switch (field.code) {
      case sf::kBeginDocument:
        return Misplaced(field, "within " + PageWords() + " instead of outside");
      case sf::kBeginPage:
      case sf::kEndDocument:
        return At(field.offset,
                  PageWords() + " has no End Page field before " + FieldWords(field.code));
      case sf::kEndPage:
        page.bytes.end = field.End();
        page.prefix = m_pagePrefix.Result();
        m_open.pop_back();
        m_dividedSincePage = false;
        return {};
      default:
        page.refersToResources |= RefersToResource(field.code);
        return {};
    }
  }

  Outcome TakeBetweenPages(const ScannedField& field) {
    const ByteRange bytes = {field.offset, field.End()};
    switch (field.code) {
      case sf::kBeginDocument:
        if (InDocument()) return Misplaced(field, "within a document");
        Open(Bracket::Document, field);
        m_document = m_open.size();
        m_dividedSincePage = true;
        if (m_index.beginDocument.Size() == 0) m_index.beginDocument = bytes;
        return {};
      case sf::kEndDocument:
        if (!InDocument()) return Misplaced(field, "without Begin Document");
        // It ends the page groups, too, that nothing else has ended.
        m_open.resize(m_document - 1);
        m_document = 0;
        m_dividedSincePage = true;
        if (m_index.endDocument.Size() == 0) m_index.endDocument = bytes;
        m_index.appendAt = bytes.begin;
        return {};
      case sf::kBeginPage:
        if (!InDocument()) return Misplaced(field, "outside of a document");
        BeginPage(field);
        return {};
      case sf::kEndPage:
        return Misplaced(field, "without Begin Page");
      case sf::kBeginResourceGroup:
        Open(Bracket::ResourceGroup, field);
        m_index.resourceGroups.push_back(bytes);
        return {};
      case sf::kBeginPageGroup:
        Open(Bracket::PageGroup, field);
        m_dividedSincePage = true;
        return {};
      case sf::kEndPageGroup:
        if (Within(Bracket::PageGroup)) m_open.pop_back();
        m_dividedSincePage = true;
        return {};
      default:
        return {};
    }
  }

  void BeginPage(const ScannedField& field) {
    if (m_index.pages.empty()) {
      const bool grouped = m_open.size() > m_document;
      m_index.plainHeadEnd = grouped ? m_open[m_document].begin : field.offset;
    } else {
      m_index.divided |= m_dividedSincePage;
    }
    Open(Bracket::Page, field);
    m_index.pages.push_back({{field.offset, field.End()}, 0, 0, FieldPrefix::None, false});
    m_pagePrefix = {};
    m_pagePrefix.Add(field.prefixed);
  }

  Outcome Finish() {
    m_index.prefix = m_prefix.Result();
    if (Within(Bracket::Page)) {
      return Failure(K_ERROR_READ, PageWords() + " has no End Page field before the file ends");
    }
    if (Within(Bracket::ResourceGroup)) {
      return At(m_open.back().begin, "there is no end of the resource group");
    }
    if (InDocument()) {
      return Failure(K_ERROR_READ, "the file ends without an End Document field");
    }
    if (m_index.beginDocument.Size() == 0) {
      return Failure(K_ERROR_INVALID_FORMAT, "the file has no Begin Document field");
    }
    if (m_index.pages.empty()) m_index.plainHeadEnd = m_index.endDocument.begin;
    return {};
  }

  PageIndex& m_index;
  std::vector<OpenBracket> m_open;
  size_t m_document = 0;  // depth at which the open document stands; 0: none is open
  bool m_inImage = false;
  bool m_dividedSincePage = false;
  PrefixCount m_prefix;
  PrefixCount m_pagePrefix;
};

Outcome FindContainer(FileWindow& file, Container& container) {
  if (file.Size() == 0) return Failure(K_ERROR_READ, "the file is empty");
  const auto count = static_cast<size_t>(std::min<int64_t>(file.Size(), kIntroducerRoom));
  const unsigned char* bytes = file.At(0, count);
  const ByteSpan start(bytes, bytes != nullptr ? count : 0);
  if (StartsBareImage(start)) {
    container = Container::Ioca;
  } else if (!StartsStructuredField(start)) {
    return Failure(K_ERROR_INVALID_FORMAT, "this is neither an IOCA image nor a MO:DCA document");
  } else {
    container = start[0] == kCarriageControl ? Container::ModcaCarriageControl : Container::Modca;
  }
  return {};
}

void IndexBareFile(PageIndex& index) {
  index.bare = true;
  index.imageObjects = 1;
  index.pages.push_back({{0, index.Size()}, 1, 1, FieldPrefix::None, false});
  index.plainHeadEnd = 0;
}

Outcome Index(PageIndex& index) {
  FileWindow file;
  Outcome outcome = file.Open(index.file);
  if (!outcome.Ok()) return outcome;
  index.found = file.Found();
  outcome = FindContainer(file, index.container);
  if (!outcome.Ok()) return outcome;
  if (index.container == Container::Ioca) {
    IndexBareFile(index);
    return {};
  }
  outcome = Indexer(index).Run(file);
  return file.Failed() ? Failure(K_ERROR_READ) : outcome;
}

}  // namespace

ByteRange PageIndex::Head() const {
  return {0, pages.empty() ? plainHeadEnd : pages.front().bytes.begin};
}

ByteRange PageIndex::Tail() const {
  return {pages.empty() ? plainHeadEnd : pages.back().bytes.end, Size()};
}

bool PageIndex::PagesAreImages() const { return NumberingNote().empty(); }

std::string PageIndex::NumberingNote() const {
  int inPages = 0;
  for (size_t i = 0; i < pages.size(); ++i) {
    const int images = pages[i].imageObjects;
    inPages += images;
    if (images == 1) continue;
    const std::string page = "page " + std::to_string(i + 1) + " has ";
    return page + (images == 0 ? "no image of its own" : std::to_string(images) + " images");
  }
  if (inPages == imageObjects) return {};
  const int outside = imageObjects - inPages;
  return std::to_string(outside) + (outside == 1 ? " image stands" : " images stand") +
         " outside of the pages";
}

Outcome FindContainer(const std::string& file, Container& container) {
  FileWindow window;
  const Outcome outcome = window.Open(file);
  return outcome.Ok() ? FindContainer(window, container) : outcome;
}

Outcome IndexPages(const std::string& file, PageIndex& index) {
  PageIndex result;
  result.file = file;
  Outcome outcome = Index(result);
  if (outcome.Ok()) index = std::move(result);
  return outcome;
}

}  // namespace kz
