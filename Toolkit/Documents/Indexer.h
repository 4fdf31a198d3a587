// The one pass over a file that finds what PageIndex holds.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Format/FieldScan.h"
#include "Toolkit/Base/Tested.h"
#include "Toolkit/Documents/FieldSearch.h"
#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Documents/PictureScan.h"

#include "Toolkit/Files/FileWindow.h"

namespace kz {

// Which of some fields have a 0x5A.
class PrefixUse {
 public:
  void Add(bool prefixed) { (prefixed ? m_with : m_without) = true; }
  FieldPrefix Result() const {
    if (!m_with) return FieldPrefix::None;
    return m_without ? FieldPrefix::Some : FieldPrefix::All;
  }

 private:
  bool m_with = false;
  bool m_without = false;
};

class Indexer {
 public:
  // The index knows its container.
  Indexer(FileWindow& file, PageIndex& index);
  void Run();

 private:
  // What fields begin and others end.
  enum class Bracket : uint8_t { Document, Page, PageGroup, ResourceGroup, Resource };
  struct OpenBracket {
    Bracket kind;
    int64_t begin;
    uint32_t outer;  // of a page group the one around it
  };

  void IndexBareFile();
  // Passes over fields of the page that only count as being there, as far as the window
  // holds them; to where.
  int64_t PassPlain(int64_t at);
  // Goes on after bytes that are no field; where.
  int64_t PassDamage(const ScannedField& field, int64_t at);
  void EndLastAt(int64_t end);
  void TakeDamaged(ScannedField field, int64_t next);
  void Take(const ScannedField& field);
  void TakeBetweenPages(const ScannedField& field);
  void TakeInPage(const ScannedField& field);
  void TakeInResource(const ScannedField& field);
  void BeginPage(const ScannedField& field);
  void EndPage(int64_t end);
  void EndDocument(const ScannedField& field);
  void BeginGroup(const ScannedField& field);
  // `whole`: by an End field of its own.
  void EndGroup(int64_t end, bool whole = false);
  // Notes in the open group, if any, that a page or group in it begins or has ended.
  void PassInGroup(ByteRange inner);
  void BeginResource(const ScannedField& field);
  void NameResource(const ScannedField& field);
  void EndResource(int64_t end);
  bool EndsResources(uint16_t code) const;
  void LeaveResources(int64_t end);
  void AddPictures(size_t from);
  void AddTag(const ScannedField& field);
  void AddInclude(const ScannedField& field);
  void AddMediumOverlays(const ScannedField& field);
  // kNoIndex when there are too many.
  uint32_t IncludeOf(std::string_view name, std::string_view qualified, uint16_t code);
  void Show(uint32_t what);
  void ResolveIncludes();
  void Finish();

  bool Within(Bracket kind) const { return !m_open.empty() && m_open.back().kind == kind; }
  bool InDocument() const { return m_document > 0; }
  bool InResources() const { return m_resources > 0; }
  void Open(Bracket kind, const ScannedField& field, uint32_t outer = kNoIndex);
  void Close();
  // The first fault of the structure counts.
  void Fault(Outcome fault);
  void Misplaced(const ScannedField& field, const std::string& where);
  std::string PageText() const;
  std::string Text(std::string_view bytes);
  std::string NameOf(std::string_view data, uint16_t code);
  std::string_view Data(const ScannedField& field);

  FileWindow& m_file;
  PageIndex& m_index;
  PictureScan m_pictures;
  FieldSearch m_search;
  std::vector<OpenBracket> m_open;
  size_t m_document = 0;             // depth at which the open document stands; 0: none is open
  int m_resources = 0;               // open resource groups and resources
  int m_resourceDepth = 0;           // Begin fields open in the resource
  uint16_t m_resourceCode = 0;       // of its first Begin field
  bool m_ownDocument = false;        // a document began in it
  uint32_t m_group = kNoIndex;       // the innermost that is open
  uint32_t m_endedGroup = kNoIndex;  // the one that ended last
  uint32_t m_resource = kNoIndex;    // the same
  bool m_inPage = false;
  bool m_documentSincePage = false;
  Container m_container = Container::Modca;
  // The last sound field; without one all are 0.
  struct {
    int64_t offset = 0;
    int64_t dataOffset = 0;
    uint16_t code = 0;
  } m_last;
  int64_t m_searched = 0;  // no field is sought before that any more
  bool m_damaged = false;  // there was damage before
  PrefixUse m_prefix;
  PrefixUse m_pagePrefix;
  std::unordered_map<std::string, uint32_t> m_includes;  // by names: plain, 8 bytes, and qualified
  std::unordered_map<std::string, uint32_t> m_resourcesByName;
};

// Names are padded with blanks, in EBCDIC 0x40, and sometimes with zeros.
KZ_TESTED std::string_view TrimmedName(std::string_view name);

// The same as IndexFile for a file that is open; `name` is noted as its name.
Outcome IndexFile(FileWindow& window, const std::string& name, PageIndex& index);

}  // namespace kz
