// The page index, and documents made from what it finds, alone and together with a
// document that has 0x5A before its fields and resources that its pages include:
// each page asked for must be a page of the new document.
#include "API/Filters/Ica/Common/Ica.h"
#include "Format/FieldBuilder.h"
#include "Fuzz/MemoryDisk.h"
#include "Fuzz/MemoryPath.h"
#include "Toolkit/Editing/Assemble.h"

namespace {

// With data of one byte, repeated.
std::string Field(uint16_t code, char byte = 0, size_t count = 0) {
  return kz::FieldBuilder(code, true).PutBytes(std::string(count, byte)).Finish();
}

std::string IncludeObject(char name) {
  std::string field = Field(0xAFC3, name, 27);
  field[9 + 9] = '\xFB';  // an IOCA image
  return field;
}

// One page includes an image, which can be put into it, the other an overlay, so
// that it needs the resource group.
std::string OtherDocument() {
  constexpr char name = '\xC1';
  constexpr char overlay = '\xC2';
  return Field(0xA8C6) + Field(0xA8CE, name, 8) + Field(kz::sf::kBeginImageObject, name, 8) +
         Field(kz::sf::kObjectAreaDescriptor) + Field(kz::sf::kObjectAreaPosition, 0, 24) +
         Field(kz::sf::kImagePictureData, 0x70, 1) + Field(kz::sf::kEndImageObject) + Field(0xA9CE) +
         Field(0xA8CE, overlay, 8) + Field(0xA8DF) + Field(0xA9DF) + Field(0xA9CE) + Field(0xA9C6) +
         Field(kz::sf::kBeginDocument) + Field(kz::sf::kBeginPage) + IncludeObject(name) +
         Field(kz::sf::kEndPage) + Field(kz::sf::kBeginPage) + Field(0xAFD8, overlay, 8) +
         Field(kz::sf::kEndPage) + Field(kz::sf::kEndDocument);
}

const kz::PageIndex& OtherIndex() {
  static const std::string bytes = OtherDocument();
  static const MemoryPath file(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  static const kz::PageIndex index = [] {
    kz::PageIndex made;
    Require(kz::IndexPages(file.Path(), made).Ok(), "the other document is one");
    return made;
  }();
  return index;
}

// Whether that could be done.
bool Assemble(const std::vector<kz::PagePick>& picks) {
  const MemoryPath out(nullptr, 0);
  if (!kz::WriteDocument(kz::AssembleDocument(picks), out.Descriptor()).Ok()) return false;
  kz::PageIndex made;
  Require(kz::IndexPages(out.Path(), made).Ok(), "what was assembled can be indexed");
  Require(made.pages.size() == picks.size(), "every page that was asked for is there");
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  const kz::PageIndex& other = OtherIndex();
  Require(Assemble({{&other, 1}, {&other, 2}}) && Assemble({{&other, 2}, {&other, 1}}),
          "the other document's pages can be assembled");
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const MemoryPath file(data, size);
  kz::PageIndex index;
  if (!file.Complete() || !kz::IndexPages(file.Path(), index).Ok()) return 0;
  Require(index.pages.size() <= size, "a page takes bytes");
  int64_t end = 0;
  for (const kz::IndexedPage& page : index.pages) {
    Require(page.bytes.begin >= end && page.bytes.end > page.bytes.begin, "pages are in order");
    end = page.bytes.end;
  }
  Require(end <= static_cast<int64_t>(size), "pages lie in the file");
  if (index.pages.empty() || index.pages.size() > 64) return 0;

  // In reverse, one of them twice.
  const int count = static_cast<int>(index.pages.size());
  std::vector<kz::PagePick> picks{{&index, count}};
  for (int page = count; page >= 1; --page) picks.push_back({&index, page});
  Assemble(picks);

  // All, which keeps the document as it is, between others, and after one.
  const kz::PagePick other{&OtherIndex(), 1 + static_cast<int>(size % 2)};
  picks.clear();
  for (int page = 1; page <= count; ++page) picks.push_back({&index, page});
  picks.push_back(other);
  Assemble(picks);
  picks.insert(picks.begin(), other);
  Assemble(picks);
  return 0;
}
