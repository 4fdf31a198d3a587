#include "Host/Toolkit/PageIndex.h"

#include <cerrno>
#include <cstring>

#include "API/Filters/Ica/Common/Ioca/StructuredField.h"
#include "API/Filters/Ica/Common/Thread.h"
#include "Host/Toolkit/Resources.h"
#include "Host/Toolkit/StructuredFieldNames.h"

namespace kz {

namespace {

constexpr uint16_t kBeginPageGroup = 0xA8AD;
constexpr uint16_t kEndPageGroup = 0xA9AD;

// Begin Segment without a name, Begin Image Content.
constexpr unsigned char kBareStart[] = {0x70, 0x00, 0x91, 0x01, 0xFF};

class OpenDocument {
 public:
  explicit OpenDocument(const char* name)
      : m_handle(K_RedirectedOpen(name, K_OPEN_READ, K_MODE_READABLE)) {}
  ~OpenDocument() {
    if (*this) K_RedirectedClose(m_handle);
  }
  OpenDocument(const OpenDocument&) = delete;
  OpenDocument& operator=(const OpenDocument&) = delete;
  explicit operator bool() const { return m_handle != K_InvalidHandle(); }
  tagHANDLE* get() const { return m_handle; }

 private:
  tagHANDLE* m_handle;
};

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

struct Field {
  ByteRange bytes;
  uint16_t code;
  bool prefixed;
};

class Indexer {
 public:
  explicit Indexer(PageIndex& index) : m_index(index) {}

  Outcome Run(tagHANDLE* file) {
    int64_t at = 0;
    while (at < m_index.Size()) {
      _SFI introducer;
      const int status = ReadSFI(file, &introducer);
      // Files are padded behind their document.
      if (status != K_SUCCESS && Outside() && m_index.endDocument.end > 0) break;
      if (status == K_ERROR_READ) return CutAt(at);
      if (status != K_SUCCESS) return At(at, "there is no valid structured field", status);
      const int64_t data = K_RedirectedSeek(file, 0, K_SEEK_CURRENT);
      const Field field{{at, data + SFDataLength(introducer)},
                        introducer.wTypeCategory,
                        data - at > int64_t{SF_INTRODUCER_LENGTH} + introducer.bExtLength};
      if (field.bytes.end > m_index.Size()) return CutAt(at);
      if (SkipSFData(file, &introducer) != K_SUCCESS) return CutAt(at);
      Outcome outcome = Take(field);
      if (!outcome.Ok()) return outcome;
      at = field.bytes.end;
    }
    return Finish();
  }

 private:
  enum class Place { Outside, Document, Page };

  bool Outside() const { return m_place == Place::Outside && !m_inGroup; }
  static Outcome CutAt(int64_t offset) {
    return At(offset, "the file ends within the structured field", K_ERROR_READ);
  }
  std::string PageWords() const {
    return "page " + std::to_string(m_index.pages.size()) + ", which begins at byte " +
           std::to_string(m_index.pages.back().bytes.begin) + ",";
  }

  Outcome Misplaced(const Field& field, const char* where) const {
    return At(field.bytes.begin, FieldWords(field.code) + " " + where);
  }

  Outcome Take(const Field& field) {
    if (field.code != SF_END_DOCUMENT) {
      m_prefix.Add(field.prefixed);
      if (m_place == Place::Page) m_pagePrefix.Add(field.prefixed);
    }
    CountImages(field.code);
    if (m_inGroup) {
      if (field.code == kBeginResourceGroup) return Misplaced(field, "within a resource group");
      if (field.code == kEndResourceGroup) {
        m_inGroup = false;
        m_index.resourceGroups.back().end = field.bytes.end;
      }
      return {};
    }
    if (m_place == Place::Page) return TakeInPage(field);
    return TakeBetweenPages(field);
  }

  void CountImages(uint16_t code) {
    const bool pictureData = code == SF_IMAGE_PICTURE_DATA;
    if (pictureData && !m_inImage) {
      ++m_index.imageObjects;
      if (m_place == Place::Page) {
        IndexedPage& page = m_index.pages.back();
        if (page.imageObjects++ == 0) page.firstImage = m_index.imageObjects;
      }
    }
    m_inImage = pictureData;
  }

  Outcome TakeInPage(const Field& field) {
    IndexedPage& page = m_index.pages.back();
    switch (field.code) {
      case SF_BEGIN_DOCUMENT:
        return Misplaced(field, ("within " + PageWords() + " instead of outside").c_str());
      case SF_BEGIN_PAGE:
      case SF_END_DOCUMENT:
        return At(field.bytes.begin,
                  PageWords() + " has no End Page field before " + FieldWords(field.code));
      case SF_END_PAGE:
        page.bytes.end = field.bytes.end;
        page.prefix = m_pagePrefix.Result();
        m_place = Place::Document;
        m_dividedSincePage = false;
        return {};
      default:
        page.refersToResources |= RefersToResource(field.code);
        return {};
    }
  }

  Outcome TakeBetweenPages(const Field& field) {
    const bool outside = m_place == Place::Outside;
    switch (field.code) {
      case SF_BEGIN_DOCUMENT:
        if (!outside) return Misplaced(field, "within a document");
        m_place = Place::Document;
        m_dividedSincePage = true;
        m_openGroups = 0;  // those outside of it aren't its own
        if (m_index.beginDocument.Size() == 0) m_index.beginDocument = field.bytes;
        return {};
      case SF_END_DOCUMENT:
        if (outside) return Misplaced(field, "without Begin Document");
        m_place = Place::Outside;
        m_dividedSincePage = true;
        if (m_index.endDocument.Size() == 0) m_index.endDocument = field.bytes;
        return {};
      case SF_BEGIN_PAGE:
        if (outside) return Misplaced(field, "outside of a document");
        BeginPage(field);
        return {};
      case SF_END_PAGE:
        return Misplaced(field, "without Begin Page");
      case kBeginResourceGroup:
        m_inGroup = true;
        m_index.resourceGroups.push_back(field.bytes);
        return {};
      case kBeginPageGroup:
        if (m_index.pages.empty() && m_openGroups++ == 0) m_firstGroup = field.bytes.begin;
        m_dividedSincePage = true;
        return {};
      case kEndPageGroup:
        if (m_index.pages.empty() && m_openGroups > 0) --m_openGroups;
        m_dividedSincePage = true;
        return {};
      default:
        return {};
    }
  }

  void BeginPage(const Field& field) {
    if (m_index.pages.empty()) {
      m_index.plainHeadEnd = m_openGroups > 0 ? m_firstGroup : field.bytes.begin;
    } else {
      m_index.divided |= m_dividedSincePage;
    }
    m_index.pages.push_back({field.bytes, 0, 0, FieldPrefix::None, false});
    m_place = Place::Page;
    m_pagePrefix = {};
    m_pagePrefix.Add(field.prefixed);
  }

  Outcome Finish() {
    m_index.prefix = m_prefix.Result();
    if (m_place == Place::Page) {
      return Failure(K_ERROR_READ, PageWords() + " has no End Page field before the file ends");
    }
    if (m_inGroup) {
      return At(m_index.resourceGroups.back().begin, "there is no end of the resource group");
    }
    if (m_place == Place::Document) {
      return Failure(K_ERROR_READ, "the file ends without an End Document field");
    }
    if (m_index.beginDocument.Size() == 0) {
      return Failure(K_ERROR_INVALID_FORMAT, "the file has no Begin Document field");
    }
    if (m_index.pages.empty()) m_index.plainHeadEnd = m_index.endDocument.begin;
    return {};
  }

  PageIndex& m_index;
  Place m_place = Place::Outside;
  bool m_inGroup = false;
  bool m_inImage = false;
  bool m_dividedSincePage = false;
  int m_openGroups = 0;  // page groups, before the first page
  int64_t m_firstGroup = 0;
  PrefixCount m_prefix;
  PrefixCount m_pagePrefix;
};

void IndexBareFile(PageIndex& index) {
  index.bare = true;
  index.imageObjects = 1;
  index.pages.push_back({{0, index.Size()}, 1, 1, FieldPrefix::None, false});
  index.plainHeadEnd = 0;
}

Outcome Index(PageIndex& index) {
  if (::stat(index.file.c_str(), &index.found) != 0) {
    return SystemFailure(K_ERROR_OPEN_READ, errno);
  }
  if (S_ISDIR(index.found.st_mode)) return SystemFailure(K_ERROR_OPEN_READ, EISDIR);
  if (!S_ISREG(index.found.st_mode)) {
    return Failure(K_ERROR_OPEN_READ, "only regular files can be read");
  }
  if (index.Size() > INT32_MAX) {
    return Failure(K_ERROR_SEEK, "the file is larger than 2 GiB, positions don't reach farther");
  }
  errno = 0;
  const OpenDocument file(index.file.c_str());
  if (!file) return SystemFailure(K_ERROR_OPEN_READ, errno != 0 ? errno : EIO);
  if (index.Size() == 0) return Failure(K_ERROR_READ, "the file is empty");

  unsigned char start[sizeof(kBareStart)] = {};
  const int read = K_RedirectedRead(file.get(), start, sizeof(start));
  if (read == sizeof(start) && std::memcmp(start, kBareStart, sizeof(start)) == 0) {
    IndexBareFile(index);
    return {};
  }
  const int classAt = start[0] == CARRIAGE_CONTROL ? 3 : 2;
  if (read <= classAt || start[classAt] != SF_CLASS) {
    return Failure(K_ERROR_INVALID_FORMAT, "this is neither an IOCA image nor a MO:DCA document");
  }
  if (K_RedirectedSeek(file.get(), 0, K_SEEK_START) < 0) return Failure(K_ERROR_READ);
  BindRead(ThreadState());
  return Indexer(index).Run(file.get());
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

Outcome IndexPages(const std::string& file, PageIndex& index) {
  PageIndex result;
  result.file = file;
  Outcome outcome = Index(result);
  if (outcome.Ok()) index = std::move(result);
  return outcome;
}

}  // namespace kz
