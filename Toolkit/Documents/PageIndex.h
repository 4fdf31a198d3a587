// What a file holds: its pages, pictures, page groups and resources, found in one pass
// over the introducers of its fields. Damage ends nothing: the pass goes on at the next
// plausible field.
//
// A page is what stands between Begin Page and End Page, both included, outside of
// resource groups. A picture is an image content of an image object, an IM image, or a
// JPEG or TIFF file in an object container, wherever it stands. Both are counted from 1.
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Images/PicturePlace.h"

namespace kz {

class FileWindow;

// How many structured fields have the carriage-control byte 0x5A before them.
enum class FieldPrefix : uint8_t { None, Some, All };

// An index that leads nowhere.
constexpr uint32_t kNoIndex = UINT32_MAX;

// "IOCA image", "IM1 image", "JPEG file", "TIFF file".
K_EXPORT const char* PictureKindName(PictureKind kind);

struct IndexedPicture : PicturePlace {
  int page = 0;                  // in which it stands; 0: in none
  uint32_t resource = kNoIndex;  // that it stands in
};

struct IndexedPage {
  ByteRange bytes;        // Begin Page, with its 0x5A, to the end of End Page
  size_t firstShown = 0;  // in PageIndex::shown, up to that of the next page
  FieldPrefix prefix = FieldPrefix::None;
  bool refersToResources = false;  // has Include or Map fields
  bool hasText = false;
  bool hasDrawings = false;   // graphics or bar codes
  uint32_t group = kNoIndex;  // the innermost that is open where it begins
};

// A tag of Tag Logical Element fields.
struct IndexedTag {
  std::string name;
  std::string value;
  int page = 0;               // that it belongs to; 0: to its group
  uint32_t group = kNoIndex;  // the innermost that is open there
};

struct IndexedGroup {
  std::string name;
  ByteRange bytes;
  int firstPage = 0;           // the page that follows its beginning
  int pages = 0;               // also those of groups in it
  uint32_t parent = kNoIndex;  // the group that it stands in
  // Up to its first page, or the first group in it; 0 without either.
  int64_t headEnd = 0;
  // From behind its last page, or the last group in it; 0 without either.
  int64_t tailBegin = 0;
  bool whole = false;  // within one document, with an End field of its own
};

// Something that pages include by its name: an overlay, a page segment, an object.
struct IndexedResource {
  std::string name;
  uint16_t code = 0;  // of the Begin field that says what it is
  ByteRange bytes;
  std::vector<uint32_t> shown;  // as PageIndex::shown
};

// What a resource with that Begin field is: "page segment", "overlay", "IM image".
K_EXPORT std::string ResourceKindName(uint16_t code);

// What Include fields name, and a form map of its medium overlays.
struct IncludedName {
  std::string name;
  uint16_t code = 0;             // of the first such field
  int page = 0;                  // where that stands; 0: in none
  int64_t count = 0;             // of such fields
  uint32_t resource = kNoIndex;  // that it leads to; kNoIndex: the file doesn't hold it
};

// Bytes in which no fields could be found.
struct SkippedBytes {
  int64_t offset = 0;
  int64_t length = 0;
};

struct K_EXPORT PageIndex {
  std::string file;
  struct stat found = {};  // of the file when it was indexed
  // A bare IOCA file: image segments and nothing else. Each image content is a page.
  bool bare = false;
  Container container = Container::Modca;  // by its first field
  std::vector<IndexedPage> pages;
  std::vector<IndexedPicture> pictures;
  std::vector<IndexedGroup> groups;
  std::vector<IndexedTag> tags;
  std::vector<IndexedResource> resources;
  std::vector<IncludedName> includes;
  std::vector<SkippedBytes> skipped;
  // What pages show, one page after the other: pictures by their index, or, with
  // kInclude, names in `includes`.
  std::vector<uint32_t> shown;
  static constexpr uint32_t kInclude = 0x80000000;

  // Why the pages can't be edited: a field that is damaged, missing or misplaced, with
  // the place; also whether anything else is wrong with the file's structure.
  Outcome structure;
  // Of the document's fields. End Document doesn't count, since whoever appends
  // pages finds it more easily without.
  FieldPrefix prefix = FieldPrefix::None;
  ByteRange beginDocument;                // of the first document
  ByteRange endDocument;                  // of the first document
  std::vector<ByteRange> resourceGroups;  // that stand outside of pages
  // The pages but the first that are the first of a document.
  std::vector<int> laterDocuments;
  // Where the first page group begins that encloses the first page, or that page,
  // or End Document without any.
  int64_t plainHeadEnd = 0;
  // Where pages after all others go: before the last End Document.
  int64_t appendAt = 0;

  int64_t Size() const { return found.st_size; }
  // What stands before the first page: resource groups, Begin Document and so on.
  // Without a page, all that stands before End Document.
  ByteRange Head() const;
  // What stands after the last page.
  ByteRange Tail() const;
  // The pictures that a page shows, in their order, included ones too, as numbers
  // counted from 1; at most kMostShown, however often resources include each other.
  std::vector<int> PicturesOf(int page) const;
  // The same as indexes of pictures, and, with kInclude, of those in `includes` that the
  // file doesn't hold.
  std::vector<uint32_t> ShownOn(int page) const;
  static constexpr size_t kMostShown = 10000;
  // The pictures that a resource shows, in the same way.
  std::vector<int> PicturesOfResource(uint32_t resource) const;
  // The pages that show a picture: the one that it stands in, or those that include it;
  // of files that include pictures some ten million times, not all.
  std::vector<std::vector<int>> PagesOfPictures() const;
  static constexpr size_t kMostShownInAll = 10'000'000;
  // The same for one of them.
  std::vector<int> PagesShowing(int picture) const;
  // The resources that are asked for and not in the file, each once, in the order of
  // the first place.
  std::vector<IncludedName> Missing() const;
  // Whether it is a document, as opposed to bare images or resources by themselves.
  bool IsDocument() const { return beginDocument.Size() > 0 || (!bare && !pages.empty()); }
  // Whether bytes of the file are lost: it ends too early, or some are no fields.
  // Without, `structure` may still name fields that stand where they mustn't.
  bool IsDamaged() const { return structure.status == K_ERROR_READ || !skipped.empty(); }
  // What is on a page, for people: "text, 2 pictures", "nothing".
  std::string PageWords(int page) const;
  // The same for several: what is on any of them, and how many pictures in all.
  std::string PageWords(const std::vector<int>& of) const;
  // What follows "no picture" when pages have none: ": text", or ", nor anything else".
  std::string InsteadOfPictures(const std::vector<int>& of) const;
  // The numbers of all pages.
  std::vector<int> AllPages() const;
};

// Tells a bare image from a document, with or without 0x5A before its first field, by
// the first bytes of a file. Fails with -10 for a file that can't be opened, -7 for an
// empty one, -9 for what is neither.
K_EXPORT Outcome FindContainer(const std::string& file, Container& container);

// Indexes a file of any size, also a document whose beginning is damaged. Fails like
// FindContainer for what has no structured fields in its first 8 MiB; `index` is
// untouched then.
K_EXPORT Outcome IndexFile(const std::string& file, PageIndex& index);
// The same for who edits: fails, too, with the index's `structure`.
K_EXPORT Outcome IndexPages(const std::string& file, PageIndex& index);

}  // namespace kz
