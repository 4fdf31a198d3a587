// The index of any file, and its repair: ranges lie in the file in their order, indexes
// lead somewhere, and what repair makes is sound.
#include "Fuzz/FilterCalls.h"
#include "Fuzz/MemoryDisk.h"
#include "Fuzz/MemoryPath.h"
#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Editing/Repair.h"

namespace {

using kz::ByteRange;

constexpr int64_t kMaxPixels = 1 << 18;

void RequireWithin(ByteRange range, int64_t from, int64_t to) {
  Require(range.begin >= from && range.begin <= range.end && range.end <= to,
          "a range lies where it belongs");
}

void RequireShown(const kz::PageIndex& index, const std::vector<uint32_t>& shown) {
  for (const uint32_t what : shown) {
    const bool include = (what & kz::PageIndex::kInclude) != 0;
    const size_t at = what & ~kz::PageIndex::kInclude;
    Require(at < (include ? index.includes.size() : index.pictures.size()),
            "what is shown is there");
  }
}

void RequirePages(const kz::PageIndex& index) {
  int64_t from = 0;
  size_t shown = 0;
  for (const kz::IndexedPage& page : index.pages) {
    RequireWithin(page.bytes, from, index.Size());
    Require(page.firstShown >= shown && page.firstShown <= index.shown.size(),
            "pages show one after the other");
    from = index.bare ? 0 : page.bytes.end;
    shown = page.firstShown;
  }
  for (int page = 0; page <= static_cast<int>(index.pages.size()) + 1; ++page) {
    const std::vector<int> pictures = index.PicturesOf(page);
    Require(pictures.size() <= kz::PageIndex::kMostShown, "a page shows only so much");
    for (const int picture : pictures) {
      Require(picture >= 1 && static_cast<size_t>(picture) <= index.pictures.size(),
              "the pictures are there");
    }
  }
}

void RequireRest(const kz::PageIndex& index) {
  int64_t from = 0;
  const int pages = static_cast<int>(index.pages.size());
  for (const kz::IndexedPicture& picture : index.pictures) {
    RequireWithin(picture.bytes, from, index.Size());
    from = picture.bytes.begin;
    Require(picture.page >= 0 && picture.page <= pages, "the picture's page is there");
    Require(picture.resource == kz::kNoIndex || picture.resource < index.resources.size(),
            "the picture's resource is there");
  }
  from = 0;
  for (const kz::SkippedBytes& skipped : index.skipped) {
    Require(skipped.length > 0, "something is skipped");
    RequireWithin({skipped.offset, skipped.offset + skipped.length}, from, index.Size());
    from = skipped.offset + skipped.length;
  }
  for (size_t i = 0; i < index.groups.size(); ++i) {
    const kz::IndexedGroup& group = index.groups[i];
    RequireWithin(group.bytes, 0, index.Size());
    Require(group.firstPage >= 1 && group.pages >= 0 && group.firstPage - 1 + group.pages <= pages,
            "the group's pages are there");
    Require(group.parent == kz::kNoIndex || group.parent < i, "groups stand in earlier ones");
  }
  from = 0;
  for (const kz::IndexedResource& resource : index.resources) {
    RequireWithin(resource.bytes, from, index.Size());
    from = resource.bytes.end;
    RequireShown(index, resource.shown);
  }
  for (const kz::IndexedTag& tag : index.tags) {
    Require(tag.page >= 0 && tag.page <= pages, "the tag's page is there");
    Require(tag.group == kz::kNoIndex || tag.group < index.groups.size(), "so is its group");
  }
  for (const kz::IncludedName& include : index.includes) {
    Require(include.resource == kz::kNoIndex || include.resource < index.resources.size(),
            "the include leads to a resource");
  }
  for (const ByteRange& group : index.resourceGroups) RequireWithin(group, 0, index.Size());
  RequireShown(index, index.shown);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  PinCodecLibrary();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const MemoryPath file(data, size);
  kz::PageIndex index;
  if (!file.Complete() || !kz::IndexFile(file.Path(), index).Ok()) return 0;
  RequirePages(index);
  RequireRest(index);
  Require(index.PagesOfPictures().size() == index.pictures.size(), "a list for each picture");
  if (index.bare) return 0;

  const MemoryPath out(nullptr, 0);
  kz::Repair repair;
  Require(repair.Plan(index, kMaxPixels).Ok() && repair.Write(out.Descriptor()).Ok(),
          "a repair can be done");
  kz::PageIndex made;
  Require(kz::IndexPages(out.Path(), made).Ok(), "what was repaired is sound");
  Require(static_cast<int>(made.pages.size()) == repair.Pages(), "with as many pages as it says");
  Require(made.pages.size() == index.pages.size(), "all pages are there");
  return 0;
}
