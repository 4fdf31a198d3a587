// Insertions, appends, replacements, deletions and splits of one document, its pages
// and another document's: what stays is kept byte for byte, and what comes out has the
// pages that were asked for. The first byte chooses the pages.
#include <algorithm>

#include "API/Filters/Ica/Common/Ica.h"
#include "Format/FieldBuilder.h"
#include "Fuzz/MemoryDisk.h"
#include "Fuzz/MemoryPath.h"
#include "Toolkit/Editing/Assemble.h"

namespace {

std::vector<uint8_t> BytesOf(int descriptor) {
  std::vector<uint8_t> bytes(static_cast<size_t>(lseek(descriptor, 0, SEEK_END)));
  Require(pread(descriptor, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
          "a file in memory can be read");
  return bytes;
}

// One page each, without and with 0x5A before its fields.
std::string OtherDocument(bool prefixed) {
  std::string document;
  for (const uint16_t code :
       {kz::sf::kBeginDocument, kz::sf::kBeginPage, kz::sf::kEndPage, kz::sf::kEndDocument}) {
    document += kz::FieldBuilder(code, prefixed).Finish();
  }
  return document;
}

// A document and what its pages are.
struct Document {
  Document(const uint8_t* data, size_t size) : file(data, size), bytes(data, data + size) {}
  bool Index() { return file.Complete() && kz::IndexPages(file.Path(), index).Ok(); }
  MemoryPath file;
  std::vector<uint8_t> bytes;
  kz::PageIndex index;
};

// Stays for ever.
const kz::PageIndex& Other(bool prefixed) {
  const std::string bytes = OtherDocument(prefixed);
  auto* other = new Document(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  Require(other->Index(), "the other document is one");
  return other->index;
}

// What came of an edit that nothing stands against.
std::vector<uint8_t> Result(const kz::DocumentEdit& edit, size_t pages) {
  const MemoryPath out(nullptr, 0);
  const kz::Outcome outcome = kz::WriteDocument(edit, out.Descriptor());
  Require(outcome.Ok(), "the edit can be done");
  kz::PageIndex made;
  Require(kz::IndexPages(out.Path(), made).Ok(), "what was edited can be indexed");
  Require(made.pages.size() == pages, "as many pages as there must be");
  return BytesOf(out.Descriptor());
}

// The result is the document but for a range.
void RequireSplice(const Document& document, kz::ByteRange range, const std::vector<uint8_t>& out) {
  const auto begin = static_cast<size_t>(range.begin);
  const size_t tail = document.bytes.size() - static_cast<size_t>(range.end);
  Require(out.size() >= begin + tail, "what stays is there");
  Require(std::equal(out.begin(), out.begin() + range.begin, document.bytes.begin()) &&
              std::equal(out.end() - static_cast<std::ptrdiff_t>(tail), out.end(),
                         document.bytes.begin() + range.end),
          "what stays is kept byte for byte");
}

void Edit(const Document& document, const kz::PageIndex& other, int page) {
  const kz::PageIndex& index = document.index;
  const std::vector<kz::PagePick> picks = {{&other, 1}};
  const size_t pages = index.pages.size();
  const int64_t place =
      page == 0 ? index.Head().end : index.pages[static_cast<size_t>(page) - 1].bytes.end;
  RequireSplice(document, {place, place}, Result(InsertPages(index, page, picks), pages + 1));
  RequireSplice(document, {index.appendAt, index.appendAt},
                Result(AppendPages(index, picks), pages + 1));
  if (page == 0) return;
  const kz::ByteRange range = index.pages[static_cast<size_t>(page) - 1].bytes;
  RequireSplice(document, range, Result(ReplacePage(index, page, picks), pages));
  if (pages > 1) {
    const std::vector<uint8_t> left = Result(DeletePages(index, {page}), pages - 1);
    RequireSplice(document, range, left);
    Require(left.size() == document.bytes.size() - static_cast<size_t>(range.Size()),
            "nothing but the page goes");
  }
}

// A page of its own; pages whose images come along aren't what they were.
void Split(const Document& document, int page) {
  const MemoryPath out(nullptr, 0);
  if (!WriteDocument(SplitPage(document.index, page), out.Descriptor()).Ok()) return;
  kz::PageIndex made;
  Require(kz::IndexPages(out.Path(), made).Ok() && made.pages.size() == 1, "a file of one page");
  const kz::IndexedPage& old = document.index.pages[static_cast<size_t>(page) - 1];
  if (old.refersToResources) return;
  const std::vector<uint8_t> bytes = BytesOf(out.Descriptor());
  const kz::ByteRange range = made.pages[0].bytes;
  Require(
      std::equal(bytes.begin() + range.begin, bytes.begin() + range.end,
                 document.bytes.begin() + old.bytes.begin, document.bytes.begin() + old.bytes.end),
      "the page is kept byte for byte");
}

// Where the end can be found from the back, the pages go where a copy has them.
void AppendInPlace(const Document& document, const kz::PageIndex& other) {
  const MemoryPath file(document.bytes.data(), document.bytes.size());
  const kz::Outcome outcome = kz::AppendInPlace(file.Path(), other);
  const std::vector<uint8_t> after = BytesOf(file.Descriptor());
  if (!outcome.Ok()) {
    Require(after == document.bytes, "a refusal changes nothing");
    return;
  }
  const std::vector<kz::PagePick> picks = kz::AllPages(other);
  const size_t pages = document.index.pages.size() + 1;
  Require(after.size() == Result(AppendPages(document.index, picks), pages).size(),
          "as long as a copy");
  // A shorter or longer end may be taken for one of 16 bytes that are partly data.
  if (static_cast<int64_t>(document.bytes.size()) - document.index.appendAt != 16) return;
  kz::PageIndex made;
  Require(kz::IndexPages(file.Path(), made).Ok() && made.pages.size() == pages,
          "the page is the document's");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const kz::PageIndex &plain = Other(false), &prefixed = Other(true);
  if (size == 0) return 0;
  const uint8_t selector = *data;
  Document document(data + 1, size - 1);
  if (!document.Index() || document.index.bare || document.index.pages.size() > 64) return 0;
  const kz::PageIndex& other = document.index.prefix == kz::FieldPrefix::All ? prefixed : plain;
  const int count = static_cast<int>(document.index.pages.size());
  Edit(document, other, selector % (count + 1));
  if (count > 0) Split(document, 1 + selector % count);
  AppendInPlace(document, other);
  return 0;
}
