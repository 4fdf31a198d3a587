#include "Host/Toolkit/Assemble.h"

#include <algorithm>
#include <memory>

#include "Host/Toolkit/AtomicFile.h"
#include "Host/Toolkit/FieldScan.h"
#include "Host/Toolkit/ImagePage.h"
#include "Host/Toolkit/IncludedImage.h"
#include "Host/Toolkit/Pieces.h"
#include "Host/Toolkit/Resources.h"

namespace kz {

namespace {

// A file that pages are taken from.
struct Source {
  const PageIndex* index = nullptr;
  int file = 0;
  ResourceCatalogue resources;
  bool needsGroup = false;      // for more than images
  bool includesImages = false;  // that can be put into the page
  bool stays = false;           // its pages are the document's own
  PageEnvelope envelope;        // of a bare image

  bool PutsImagesIntoPages() const { return includesImages && !needsGroup && !stays; }
};

PieceForm FormIn(FieldPrefix document, FieldPrefix part) {
  if (document == FieldPrefix::Some || document == part) return PieceForm::AsIs;
  return document == FieldPrefix::All ? PieceForm::AddPrefix : PieceForm::RemovePrefix;
}

Outcome NoSuchPage(const PageIndex& index, int page) {
  return Failure(K_ERROR_INVALID_FORMAT, "there is no page " + std::to_string(page) +
                                             ", the last is page " +
                                             std::to_string(index.pages.size()));
}

bool HasPage(const PageIndex& index, int page) {
  return page >= 1 && static_cast<size_t>(page) <= index.pages.size();
}

const IndexedPage& PageOf(const PagePick& pick) {
  return pick.source->pages[static_cast<size_t>(pick.page) - 1];
}

class Assembly {
 public:
  // `home` is the document that gives what isn't a page; null for a new document.
  // With `homeStays` all of its pages are where they were.
  Outcome Begin(const PageIndex* home, bool homeStays, const std::vector<PagePick>& picks) {
    m_prefix = home != nullptr ? home->prefix : FieldPrefix::None;
    if (home != nullptr) {
      Outcome outcome = AddSource(*home, homeStays, m_home);
      if (!outcome.Ok()) return outcome;
    }
    for (const PagePick& pick : picks) {
      Outcome outcome = Look(pick);
      if (!outcome.Ok()) return outcome;
    }
    return ChooseGroup();
  }

  // Adds what the document begins with, up to `end` in the home document.
  void AddHead(int64_t end) {
    if (m_home == nullptr) {
      m_pieces.Add(MakeBeginDocument());
      return;
    }
    const PageIndex& home = *m_home->index;
    int64_t from = 0;
    if (m_leavesGroup) {
      for (const ByteRange& group : home.resourceGroups) {
        if (group.begin >= end) break;
        AddHome({from, group.begin});
        from = group.end;
      }
    }
    if (m_groupFrom != nullptr) {
      AddHome({from, home.beginDocument.begin});
      from = std::max(from, home.beginDocument.begin);
      const PageIndex& giver = *m_groupFrom->index;
      for (const ByteRange& group : giver.resourceGroups) {
        m_pieces.Add(m_groupFrom->file, group, FormIn(m_prefix, giver.prefix));
      }
    }
    AddHome({from, end});
  }

  // Adds a part of the home document as it is.
  void AddHome(ByteRange range) { m_pieces.Add(m_home->file, range); }

  void AddPages(const std::vector<PagePick>& picks) {
    for (size_t i = 0; i < picks.size() && !m_pieces.TooLarge(); ++i) {
      AddPage(picks[i]);
      if (i + 1 < picks.size()) AddGap(picks[i], picks[i + 1]);
    }
  }

  void AddTail(ByteRange tail) {
    if (m_home != nullptr) {
      AddHome(tail);
    } else {
      m_pieces.Add(MakeEndDocument());
    }
  }

  Outcome Write(const std::string& out) {
    AtomicFile file;
    Outcome outcome = file.Open(out);
    if (outcome.Ok()) outcome = m_pieces.Write(file.Descriptor());
    if (outcome.Ok()) outcome = file.Commit();
    return outcome;
  }
  Outcome Write(int descriptor) { return m_pieces.Write(descriptor); }

 private:
  Outcome AddSource(const PageIndex& index, bool stays, Source*& source) {
    auto added = std::make_unique<Source>();
    added->index = &index;
    added->stays = stays;
    Outcome outcome = m_pieces.Open(index, added->file);
    if (outcome.Ok() && index.bare) {
      outcome = MakePageEnvelope(index.file, m_prefix == FieldPrefix::All, added->envelope);
    } else if (outcome.Ok()) {
      outcome = added->resources.Read(m_pieces.File(added->file), index);
    }
    if (!outcome.Ok()) {
      if (index.bare) outcome.what = index.file + ": " + outcome.what;
      return outcome;
    }
    source = added.get();
    m_sources.push_back(std::move(added));
    return {};
  }

  Outcome SourceOf(const PageIndex& index, Source*& source) {
    for (const auto& known : m_sources) {
      source = known.get();
      if (known->index == &index || known->index->file == index.file) return {};
    }
    return AddSource(index, false, source);
  }

  // Finds out what the page needs besides itself.
  Outcome Look(const PagePick& pick) {
    if (!HasPage(*pick.source, pick.page)) {
      const Outcome none = NoSuchPage(*pick.source, pick.page);
      return Failure(none.status, pick.source->file + ": " + none.what);
    }
    Source* source = nullptr;
    Outcome outcome = SourceOf(*pick.source, source);
    if (!outcome.Ok()) return outcome;
    const IndexedPage& page = PageOf(pick);
    if (!page.refersToResources || pick.source->resourceGroups.empty()) return {};
    FileWindow& file = m_pieces.File(source->file);
    for (int64_t at = page.bytes.begin; at < page.bytes.end;) {
      const ScannedField field = ScanField(file, at);
      if (field.fault != FieldFault::None) return Failure(K_ERROR_READ);
      at = field.End();
      if (!RefersToResource(field.Code())) continue;
      const std::string data = FieldData(file, field);
      if (IncludedImage(*source, field, data) != nullptr) {
        source->includesImages = true;
      } else if (source->resources.NamedIn(data)) {
        source->needsGroup = true;
      }
    }
    return {};
  }

  // The image that the field includes and that can stand in the page; else null.
  static const ByteRange* IncludedImage(const Source& source, const ScannedField& field,
                                        const std::string& data) {
    if (field.Code() != kIncludeObject) return nullptr;
    const std::string_view name = IncludedImageName(data);
    return name.empty() ? nullptr : source.resources.FindImage(name);
  }

  Outcome ChooseGroup() {
    const Source* present = nullptr;
    if (m_home != nullptr && !m_home->index->resourceGroups.empty()) {
      // A group of nothing but images that are now in their pages has no use any more.
      m_leavesGroup = m_home->PutsImagesIntoPages() && m_home->resources.OnlyImages();
      if (!m_leavesGroup) {
        m_home->needsGroup = true;
        present = m_home;
      }
    }
    for (const auto& source : m_sources) {
      if (!source->needsGroup || source.get() == present) continue;
      if (present == nullptr) {
        m_groupFrom = present = source.get();
        continue;
      }
      if (!SameResourceGroups(m_pieces.File(present->file), *present->index,
                              m_pieces.File(source->file), *source->index)) {
        return Failure(K_ERROR_INVALID_FORMAT,
                       "the pages of " + source->index->file +
                           " need their resource group, but the one of " + present->index->file +
                           " is in its place, and a document can have only one");
      }
    }
    return {};
  }

  void AddPage(const PagePick& pick) {
    Source* source = nullptr;
    // Known since Look.
    if (!SourceOf(*pick.source, source).Ok()) return;
    const ByteRange bytes = PageOf(pick).bytes;
    if (pick.source->bare) {
      AddBareImage(*source, bytes);
      return;
    }
    const PieceForm form = FormIn(m_prefix, PageOf(pick).prefix);
    int64_t copied = bytes.begin;
    if (source->PutsImagesIntoPages() && PageOf(pick).refersToResources) {
      AddPageWithImages(*source, bytes, form, copied);
    }
    m_pieces.Add(source->file, {copied, bytes.end}, form);
  }

  void AddPageWithImages(Source& source, ByteRange page, PieceForm form, int64_t& copied) {
    FileWindow& file = m_pieces.File(source.file);
    const FieldPrefix own = source.index->prefix;
    const bool prefixed =
        m_prefix == FieldPrefix::All || (m_prefix == FieldPrefix::Some && own == FieldPrefix::All);
    for (int64_t at = page.begin; at < page.end && !m_pieces.TooLarge();) {
      const ScannedField field = ScanField(file, at);
      if (field.fault != FieldFault::None) return;
      at = field.End();
      if (field.Code() != kIncludeObject) continue;
      const std::string data = FieldData(file, field);
      const ByteRange* image = IncludedImage(source, field, data);
      if (image == nullptr) continue;
      m_pieces.Add(source.file, {copied, field.offset}, form);
      AddIncludedImage(m_pieces, source.file, *image, data, FormIn(m_prefix, own), prefixed);
      copied = at;
    }
  }

  void AddBareImage(const Source& source, ByteRange segment) {
    // The parameter fields get an Image Picture Data field of their own, so that
    // Image Data fields that fit into one begin with it.
    FileWindow& file = m_pieces.File(source.file);
    int64_t parameters = segment.begin;
    for (;;) {
      const unsigned char* field = file.At(parameters, 2);
      if (field == nullptr || field[0] == SDF_EXTENDED) break;
      parameters += 2 + field[1];
    }
    const bool prefixed = m_prefix == FieldPrefix::All;
    const PieceForm form = prefixed ? PieceForm::WrapPrefixed : PieceForm::Wrap;
    m_pieces.Add(source.envelope.before);
    m_pieces.Add(source.file, {segment.begin, parameters}, form);
    m_pieces.Add(source.file, {parameters, segment.end}, form);
    m_pieces.Add(source.envelope.after);
  }

  // Adds what stands between two pages that stay neighbours.
  void AddGap(const PagePick& pick, const PagePick& next) {
    const PageIndex& index = *pick.source;
    if (next.source != pick.source || next.page != pick.page + 1 || index.divided) return;
    Source* source = nullptr;
    if (!SourceOf(index, source).Ok()) return;
    m_pieces.Add(source->file, {PageOf(pick).bytes.end, PageOf(next).bytes.begin},
                 FormIn(m_prefix, index.prefix));
  }

  PieceList m_pieces;
  FieldPrefix m_prefix = FieldPrefix::None;
  std::vector<std::unique_ptr<Source>> m_sources;
  Source* m_home = nullptr;
  bool m_leavesGroup = false;           // the home document's
  const Source* m_groupFrom = nullptr;  // whose group comes along
};

Outcome RefuseBare(const PageIndex& target) {
  if (!target.bare) return {};
  return Failure(K_ERROR_INVALID_FORMAT,
                 "a bare IOCA file is a single image; a document can be assembled from it");
}

// The document with the pages in the place of a range of its bytes.
Outcome Splice(const PageIndex& target, ByteRange replaced, const std::vector<PagePick>& pages,
               const std::string& out) {
  if (pages.empty()) return Failure(K_ERROR_INVALID_FORMAT, "there are no pages to put in");
  Assembly assembly;
  Outcome outcome = assembly.Begin(&target, true, pages);
  if (!outcome.Ok()) return outcome;
  assembly.AddHead(replaced.begin);
  assembly.AddPages(pages);
  assembly.AddTail({replaced.end, target.Size()});
  return assembly.Write(out);
}

// Whether the first picks are all pages of the document in their order.
bool BeginsWithAllOf(const PageIndex& index, const std::vector<PagePick>& pages) {
  if (pages.size() < index.pages.size()) return false;
  for (size_t i = 0; i < index.pages.size(); ++i) {
    if (pages[i].source != &index || pages[i].page != static_cast<int>(i) + 1) return false;
  }
  return true;
}

}  // namespace

Outcome InsertPages(const PageIndex& target, int after, const std::vector<PagePick>& pages,
                    const std::string& out) {
  Outcome outcome = RefuseBare(target);
  if (!outcome.Ok()) return outcome;
  if (after != 0 && !HasPage(target, after)) return NoSuchPage(target, after);
  const int64_t place =
      after == 0 ? target.Head().end : target.pages[static_cast<size_t>(after) - 1].bytes.end;
  return Splice(target, {place, place}, pages, out);
}

Outcome ReplacePage(const PageIndex& target, int page, const std::vector<PagePick>& pages,
                    const std::string& out) {
  Outcome outcome = RefuseBare(target);
  if (!outcome.Ok()) return outcome;
  if (!HasPage(target, page)) return NoSuchPage(target, page);
  return Splice(target, target.pages[static_cast<size_t>(page) - 1].bytes, pages, out);
}

Outcome DeletePages(const PageIndex& target, const std::vector<int>& pages,
                    const std::string& out) {
  Outcome outcome = RefuseBare(target);
  if (!outcome.Ok()) return outcome;
  std::vector<int> sorted = pages;
  std::sort(sorted.begin(), sorted.end());
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  for (const int page : sorted) {
    if (!HasPage(target, page)) return NoSuchPage(target, page);
  }
  if (sorted.size() == target.pages.size()) {
    return Failure(K_ERROR_INVALID_FORMAT, "the last page of a document can't be removed");
  }
  Assembly assembly;
  outcome = assembly.Begin(&target, true, {});
  if (!outcome.Ok()) return outcome;
  int64_t kept = 0;
  for (const int page : sorted) {
    const ByteRange removed = target.pages[static_cast<size_t>(page) - 1].bytes;
    assembly.AddHome({kept, removed.begin});
    kept = removed.end;
  }
  assembly.AddTail({kept, target.Size()});
  return assembly.Write(out);
}

Outcome DeleteSecondPage(const PageIndex& target) {
  if (!HasPage(target, 2)) return NoSuchPage(target, 2);
  AtomicFile copy;
  Outcome outcome = copy.Open(target.file);
  if (outcome.Ok()) outcome = CopyFile(target.file, copy.Path());
  if (!outcome.Ok()) return outcome;
  _DELETEDISPATCH dispatch = {copy.Path().c_str()};
  const int status = fltDeletePage(&dispatch);
  return status == K_SUCCESS ? copy.Commit() : Failure(status);
}

namespace {

Outcome Assemble(const std::vector<PagePick>& pages, Assembly& assembly) {
  if (pages.empty()) return Failure(K_ERROR_INVALID_FORMAT, "a document needs at least one page");
  const auto document = std::find_if(pages.begin(), pages.end(),
                                     [](const PagePick& pick) { return !pick.source->bare; });
  const PageIndex* home = document != pages.end() ? document->source : nullptr;
  if (home != nullptr && BeginsWithAllOf(*home, pages)) {
    const auto own = static_cast<std::ptrdiff_t>(home->pages.size());
    const std::vector<PagePick> others(pages.begin() + own, pages.end());
    Outcome outcome = assembly.Begin(home, true, others);
    if (!outcome.Ok()) return outcome;
    assembly.AddHead(home->Tail().begin);
    assembly.AddPages(others);
    assembly.AddTail(home->Tail());
    return {};
  }
  Outcome outcome = assembly.Begin(home, false, pages);
  if (!outcome.Ok()) return outcome;
  assembly.AddHead(home == nullptr ? 0 : home->divided ? home->plainHeadEnd : home->Head().end);
  assembly.AddPages(pages);
  assembly.AddTail(home == nullptr ? ByteRange{}
                   : home->divided ? home->endDocument
                                   : home->Tail());
  return {};
}

}  // namespace

Outcome AssembleDocument(const std::vector<PagePick>& pages, const std::string& out) {
  Assembly assembly;
  const Outcome outcome = Assemble(pages, assembly);
  return outcome.Ok() ? assembly.Write(out) : outcome;
}

Outcome AssembleDocument(const std::vector<PagePick>& pages, int descriptor) {
  Assembly assembly;
  const Outcome outcome = Assemble(pages, assembly);
  return outcome.Ok() ? assembly.Write(descriptor) : outcome;
}

Outcome SplitPage(const PageIndex& index, int page, const std::string& out) {
  if (!index.bare) return AssembleDocument({{&index, page}}, out);
  if (!HasPage(index, page)) return NoSuchPage(index, page);
  PieceList pieces;
  int file = 0;
  Outcome outcome = pieces.Open(index, file);
  if (!outcome.Ok()) return outcome;
  pieces.Add(file, index.pages[0].bytes);
  AtomicFile result;
  outcome = result.Open(out);
  if (outcome.Ok()) outcome = pieces.Write(result.Descriptor());
  if (outcome.Ok()) outcome = result.Commit();
  return outcome;
}

}  // namespace kz
