#include "Toolkit/Editing/DocumentEdit.h"

#include <algorithm>
#include <memory>
#include <unordered_map>

#include "Format/FieldScan.h"
#include "Format/SelfDefiningField.h"
#include "Toolkit/Documents/Resources.h"
#include "Toolkit/Editing/ImagePage.h"
#include "Toolkit/Editing/IncludedImage.h"
#include "Toolkit/Editing/Pieces.h"
#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/FileVersion.h"

namespace kz {

namespace {

// A file that pages are taken from, and what those pages need.
struct Source {
  const PageIndex* index = nullptr;
  int file = 0;
  bool stays = false;           // its pages are the document's own
  bool read = false;            // its resources are known
  bool needsGroup = false;      // for more than images
  bool includesImages = false;  // that can be put into the page
  ResourceCatalogue resources;
  PageEnvelope envelope;  // of a bare image

  bool PutsImagesIntoPages() const { return includesImages && !needsGroup && !stays; }
};

// All that the pieces of a document depend on.
struct Work {
  PieceList pieces;
  FieldPrefix prefix = FieldPrefix::None;
  std::vector<std::unique_ptr<Source>> sources;  // the home document first, if there is one
  std::unordered_map<const PageIndex*, Source*> byIndex;
  Source* home = nullptr;
  bool leavesGroup = false;           // the home document's
  const Source* groupFrom = nullptr;  // whose group comes along
  int64_t includedBytes = 0;          // of images that were put into pages
};

PieceForm FormIn(FieldPrefix document, FieldPrefix part) {
  if (document == FieldPrefix::Some || document == part) return PieceForm::AsIs;
  return document == FieldPrefix::All ? PieceForm::AddPrefix : PieceForm::RemovePrefix;
}

const IndexedPage& PageOf(const EditPart& part) {
  return part.source->pages[static_cast<size_t>(part.page) - 1];
}

Outcome OpenSource(Work& work, const PageIndex& index, Source*& source) {
  const auto [entry, added] = work.byIndex.try_emplace(&index);
  if (added) {
    work.sources.push_back(std::make_unique<Source>());
    entry->second = work.sources.back().get();
    entry->second->index = &index;
  }
  source = entry->second;
  return added ? work.pieces.Open(index, source->file) : Outcome{};
}

// The image that the field includes and that can stand in the page; else null.
const ByteRange* ImageOf(const Source& source, const ScannedField& field, const std::string& data) {
  if (field.code != sf::kIncludeObject) return nullptr;
  const std::string_view name = IncludedImageName(data);
  return name.empty() ? nullptr : source.resources.FindImage(name);
}

Outcome NoteNeeds(Work& work, Source& source, ByteRange page) {
  FileWindow& file = work.pieces.File(source.file);
  if (!source.read) {
    Outcome outcome = source.resources.Read(file, *source.index);
    if (!outcome.Ok()) return outcome;
    source.read = true;
  }
  while (page.Size() > 0) {
    const ScannedField field = ScanField(file, page.begin);
    if (field.fault != FieldFault::None) return Failure(K_ERROR_READ);
    page.begin = field.End();
    if (!RefersToResource(field.code)) continue;
    const std::string data = FieldData(file, field);
    if (ImageOf(source, field, data) != nullptr) {
      source.includesImages = true;
    } else if (source.resources.NamedIn(data)) {
      source.needsGroup = true;
    }
  }
  return {};
}

// Opens what the part is of and finds out what it needs besides itself.
Outcome Look(Work& work, const EditPart& part) {
  Source* source = nullptr;
  Outcome outcome = OpenSource(work, *part.source, source);
  if (!outcome.Ok() || part.page == 0) return outcome;
  if (part.source->bare) {
    if (!source->envelope.before.empty()) return {};
    outcome =
        MakePageEnvelope(part.source->file, work.prefix == FieldPrefix::All, source->envelope);
  } else if (PageOf(part).refersToResources && !part.source->resourceGroups.empty()) {
    outcome = NoteNeeds(work, *source, PageOf(part).bytes);
  }
  if (!outcome.Ok()) outcome.what = part.source->file + ": " + outcome.what;
  return outcome;
}

// A document has room for the resource groups of one source.
Outcome ChooseGroup(Work& work) {
  const Source* present = nullptr;
  if (work.home != nullptr && !work.home->index->resourceGroups.empty()) {
    // A group of nothing but images that are now in their pages has no use any more.
    work.leavesGroup = work.home->PutsImagesIntoPages() && work.home->resources.OnlyImages();
    if (!work.leavesGroup) {
      work.home->needsGroup = true;
      present = work.home;
    }
  }
  for (const auto& source : work.sources) {
    if (!source->needsGroup || source.get() == present) continue;
    if (present == nullptr) {
      work.groupFrom = present = source.get();
      continue;
    }
    if (!SameResourceGroups(work.pieces.File(present->file), *present->index,
                            work.pieces.File(source->file), *source->index)) {
      return Failure(K_ERROR_INVALID_FORMAT,
                     "the pages of " + source->index->file +
                         " need their resource group, but the one of " + present->index->file +
                         " is in its place, and a document can have only one");
    }
  }
  return {};
}

// Adds bytes of the home document but for groups that it leaves, with the group that
// comes along before Begin Document.
void AddHome(Work& work, ByteRange range) {
  const PageIndex& home = *work.home->index;
  const auto upTo = [&](int64_t end) {
    work.pieces.Add(work.home->file, {range.begin, std::min(end, range.end)});
    range.begin = std::max(range.begin, end);
  };
  const auto leaveGroupsBefore = [&](int64_t end) {
    if (!work.leavesGroup) return;
    auto group = std::lower_bound(
        home.resourceGroups.begin(), home.resourceGroups.end(), range.begin,
        [](const ByteRange& candidate, int64_t begin) { return candidate.begin < begin; });
    for (; group != home.resourceGroups.end() && group->begin < end; ++group) {
      upTo(group->begin);
      range.begin = std::max(range.begin, group->end);
    }
  };
  const int64_t begin = home.beginDocument.begin;
  if (work.groupFrom != nullptr && range.begin <= begin && begin < range.end) {
    leaveGroupsBefore(begin);
    upTo(begin);
    const PageIndex& giver = *work.groupFrom->index;
    for (const ByteRange& group : giver.resourceGroups) {
      work.pieces.Add(work.groupFrom->file, group, FormIn(work.prefix, giver.prefix));
    }
  }
  leaveGroupsBefore(range.end);
  upTo(range.end);
}

void AddBareImage(Work& work, const Source& source, ByteRange segment) {
  // The parameter fields get an Image Picture Data field of their own, so that
  // Image Data fields that fit into one begin with it.
  FileWindow& file = work.pieces.File(source.file);
  int64_t parameters = segment.begin;
  for (;;) {
    const unsigned char* field = file.At(parameters, 2);
    if (field == nullptr || field[0] == kExtendedField) break;
    parameters += 2 + field[1];
  }
  const bool prefixed = work.prefix == FieldPrefix::All;
  const PieceForm form = prefixed ? PieceForm::WrapPrefixed : PieceForm::Wrap;
  work.pieces.Add(source.envelope.before);
  work.pieces.Add(source.file, {segment.begin, parameters}, form);
  work.pieces.Add(source.file, {parameters, segment.end}, form);
  work.pieces.Add(source.envelope.after);
}

// Adds a page with the images in it that it includes.
Outcome AddPageWithImages(Work& work, const Source& source, ByteRange page, PieceForm form) {
  FileWindow& file = work.pieces.File(source.file);
  const FieldPrefix own = source.index->prefix;
  const bool prefixed = work.prefix == FieldPrefix::All ||
                        (work.prefix == FieldPrefix::Some && own == FieldPrefix::All);
  int64_t copied = page.begin;
  for (int64_t at = page.begin; at < page.end;) {
    const ScannedField field = ScanField(file, at);
    if (field.fault != FieldFault::None) return Failure(K_ERROR_READ);
    at = field.End();
    if (field.code != sf::kIncludeObject) continue;
    const std::string data = FieldData(file, field);
    const ByteRange* image = ImageOf(source, field, data);
    if (image == nullptr) continue;
    // A few bytes of a page include all of an image.
    work.includedBytes += image->Size();
    if (work.includedBytes > INT32_MAX) {
      return Failure(K_ERROR_SEEK, "the images that pages include come to more than 2 GiB");
    }
    work.pieces.Add(source.file, {copied, field.offset}, form);
    Outcome outcome = AddIncludedImage(work.pieces, source.file, *image, data,
                                       FormIn(work.prefix, own), prefixed);
    if (!outcome.Ok()) return outcome;
    copied = at;
  }
  work.pieces.Add(source.file, {copied, page.end}, form);
  return {};
}

Outcome AddPart(Work& work, const EditPart& part) {
  const Source& source = *work.byIndex.at(part.source);
  if (part.page == 0) {
    if (&source == work.home) {
      AddHome(work, part.kept);
    } else {
      work.pieces.Add(source.file, part.kept, FormIn(work.prefix, source.index->prefix));
    }
    return {};
  }
  const IndexedPage& page = PageOf(part);
  const PieceForm form = FormIn(work.prefix, page.prefix);
  if (source.index->bare) {
    AddBareImage(work, source, page.bytes);
  } else if (source.PutsImagesIntoPages() && page.refersToResources) {
    Outcome outcome = AddPageWithImages(work, source, page.bytes, form);
    if (!outcome.Ok()) outcome.what = source.index->file + ": " + outcome.what;
    return outcome;
  } else {
    work.pieces.Add(source.file, page.bytes, form);
  }
  return {};
}

// Finds out everything before the first byte is written.
Outcome Prepare(Work& work, const DocumentEdit& edit) {
  if (!edit.refusal.Ok()) return edit.refusal;
  Outcome outcome;
  if (edit.home != nullptr) {
    work.prefix = edit.home->prefix;
    outcome = OpenSource(work, *edit.home, work.home);
    work.home->stays = edit.pagesStay;
  }
  for (size_t i = 0; i < edit.parts.size() && outcome.Ok(); ++i) {
    outcome = Look(work, edit.parts[i]);
  }
  if (outcome.Ok()) outcome = ChooseGroup(work);
  if (edit.home == nullptr) work.pieces.Add(MakeBeginDocument());
  for (size_t i = 0; i < edit.parts.size() && outcome.Ok(); ++i) {
    outcome = AddPart(work, edit.parts[i]);
  }
  if (edit.home == nullptr) work.pieces.Add(MakeEndDocument());
  return outcome;
}

// Whether both names lead to one file now, however they are spelt.
bool IsSameName(const std::string& a, const std::string& b) {
  struct stat first, second;
  return a == b || (::stat(a.c_str(), &first) == 0 && ::stat(b.c_str(), &second) == 0 &&
                    IsSameFile(first, second));
}

}  // namespace

Outcome WriteDocument(const DocumentEdit& edit, const std::string& out, FileBatch* batch) {
  Work work;
  AtomicFile file;
  Outcome outcome = Prepare(work, edit);
  if (outcome.Ok()) outcome = file.Open(out, batch);
  for (const auto& source : work.sources) {
    if (outcome.Ok() && IsSameName(source->index->file, out)) file.MadeFrom(source->index->found);
  }
  if (outcome.Ok()) outcome = work.pieces.Write(file.Descriptor());
  if (outcome.Ok()) outcome = file.Commit();
  return outcome;
}

Outcome WriteDocument(const DocumentEdit& edit, int descriptor) {
  Work work;
  const Outcome outcome = Prepare(work, edit);
  return outcome.Ok() ? work.pieces.Write(descriptor) : outcome;
}

Outcome CheckDocument(const DocumentEdit& edit) {
  Work work;
  return Prepare(work, edit);
}

}  // namespace kz
