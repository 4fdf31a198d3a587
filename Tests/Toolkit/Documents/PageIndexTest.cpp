#include "Format/StructuredField.h"
#include "Tests/Support/EditedDocuments.h"
#include "Toolkit/Documents/PageRange.h"

namespace kz::test {
namespace {

TEST(PageRange, NamesPagesInOrder) {
  const struct {
    const char* text;
    int pages;
    std::vector<int> expected;
  } cases[] = {
      {"2", 9, {2}},         {"1,3-5,9-", 10, {1, 3, 4, 5, 9, 10}},
      {"z", 7, {7}},         {"z-1", 3, {3, 2, 1}},
      {"5-3", 5, {5, 4, 3}}, {"3-z", 4, {3, 4}},
      {"9-", 9, {9}},        {"1,1,z,1", 2, {1, 1, 2, 1}},
  };
  for (const auto& c : cases) {
    PageRange range;
    std::vector<int> numbers;
    EXPECT_TRUE(range.Parse(c.text).Ok() && range.Resolve(c.pages, numbers).Ok()) << c.text;
    EXPECT_EQ(numbers, c.expected) << c.text;
  }
  for (const char* text : {"", "0", "1-0", "-3", "--", ",1", "1,", "1,,2", "1--2", "1-2-3", "1 ",
                           " 1", "1 2", "+1", "x", "zz", "1z", "99999999999"}) {
    const Outcome outcome = PageRange().Parse(text);
    EXPECT_TRUE(!outcome.Ok() && !outcome.what.empty()) << text;
  }
}

TEST(PageIndex, KnowsWhereImagesAndPagesDiffer) {
  const TemporaryFolder folder;
  const Bytes empty = Field(0xA8AF) + Field(0xA9AF);
  const Bytes image = Field(0xA8FB) + PictureDataFields(NumberedSegment(1)) + Field(0xA9FB);
  const Bytes two = Field(0xA8AF) + image + image + Field(0xA9AF);
  const Bytes group =
      Field(0xA8C6) + Field(0xA8CE, Name("RES1")) + image + Field(0xA9CE) + Field(0xA9C6);
  const struct {
    Bytes file;
    const char* note;
    std::vector<std::vector<int>> pictures;
  } cases[] = {
      {Begin("A") + NumberedPage(1) + NumberedPage(2) + End("A"), "one", {{1}, {2}}},
      {Begin("A") + NumberedPage(1) + empty + End("A"), "empty", {{1}, {}}},
      {Begin("A") + two + NumberedPage(2) + End("A"), "two", {{1, 2}, {3}}},
      {group + Begin("A") + NumberedPage(1) + End("A"), "resource", {{2}}},
  };
  for (const auto& c : cases) {
    const PageIndex index = Indexed(folder.File("document", c.file));
    ASSERT_EQ(index.pages.size(), c.pictures.size()) << c.note;
    for (size_t i = 0; i < c.pictures.size(); ++i) {
      EXPECT_EQ(index.PicturesOf(static_cast<int>(i) + 1), c.pictures[i]) << c.note;
    }
  }
}

TEST(PageIndex, NoticesWhatMattersAmongOtherFields) {
  const TemporaryFolder folder;
  const Bytes plain = Field(0xA66B, Bytes(20)) + Field(0xABFB);
  const Bytes prefixed = Bytes{0x5A} + Field(0xA66B);
  const auto indexed = [&](const Bytes& inPage) {
    const Bytes page = Field(0xA8AF) + plain + inPage + plain + Field(0xA9AF);
    return Indexed(folder.File("document", Begin("A") + page + NumberedPage(2) + End("A")));
  };
  int named = 0;
  for (int code = 0; code < 0x10000; ++code) {
    const auto field = static_cast<uint16_t>(code);
    if (FindStructuredField(field) == nullptr || TypeOf(field) == FieldType::Begin ||
        TypeOf(field) == FieldType::End) {
      continue;
    }
    named += RefersToResource(field) ? 1 : 0;
    EXPECT_EQ(indexed(Field(field)).pages[0].refersToResources, RefersToResource(field)) << code;
  }
  EXPECT_GT(named, 10);
  // A 0x5A before some fields only, wherever they stand.
  for (const Bytes& some : {prefixed, prefixed + plain, plain + prefixed}) {
    const PageIndex index = indexed(some);
    EXPECT_EQ(index.pages[0].prefix, FieldPrefix::Some);
    EXPECT_EQ(index.pages[1].prefix, FieldPrefix::None);
  }
  // A field longer than the window holds, and damage next to plain fields.
  Bytes many;
  for (int i = 0; i < 20; ++i) many = many + Field(0xA66B, Bytes(30000));
  EXPECT_EQ(indexed(many).pages[0].bytes.Size(),
            static_cast<int64_t>(8 + 2 * plain.size() + many.size() + 8));
  PageIndex index;
  ASSERT_TRUE(IndexFile(folder.File("damaged", Begin("A") + Field(0xA8AF) + plain + Bytes(5, 0xFF) +
                                                   plain + Field(0xA9AF) + End("A")),
                        index)
                  .Ok());
  ASSERT_EQ(index.skipped.size(), 1u);
  EXPECT_EQ(index.skipped[0].offset, static_cast<int64_t>(16 + 8 + plain.size()));
  EXPECT_EQ(index.skipped[0].length, 5);
}

TEST(PageIndex, SaysWhereADocumentIsWrong) {
  const TemporaryFolder folder;
  const Bytes page = NumberedPage(1);
  const Bytes begin = Begin("A");
  const Bytes end = End("A");
  const std::string behindPage = std::to_string(begin.size() + page.size());
  const Bytes noEnd = Slice(page, 0, page.size() - 16);
  const struct {
    Bytes file;
    int status;
    std::string words;
  } cases[] = {
      {{}, -7, "the file is empty"},
      {{'G', 'I', 'F', '8', '9', 'a', 0, 0, 0}, -9, "neither an IOCA image nor a MO:DCA document"},
      {page + end, -9, "Begin Page (BPG) outside of a document at byte 0"},
      {begin + page, -7, "ends without an End Document field"},
      {begin + noEnd, -7, "page 1, which begins at byte 16, has no End Page field before the file"},
      {begin + noEnd + page + end, -9, "has no End Page field before Begin Page (BPG) at byte"},
      {begin + noEnd + end, -9, "has no End Page field before End Document (EDT) at byte"},
      {begin + page + Field(0xA9AF) + end, -9,
       "End Page (EPG) without Begin Page at byte " + behindPage},
      {begin + begin + page + end, -9, "Begin Document (BDT) within a document at byte 16"},
      {end, -9, "End Document (EDT) without Begin Document at byte 0"},
      {Field(0xEEEE), -9, "the file has no Begin Document field"},
      {begin + page + Slice(end, 0, 12), -7,
       "the file ends within the structured field at byte " + behindPage},
      {begin + page + Bytes{0, 7, 0xD3, 0xA9, 0xA8, 0, 0, 0} + end, -9,
       "no valid structured field at byte " + behindPage},
      {Field(0xA8C6) + begin + page + end, -9, "no end of the resource group at byte 0"},
  };
  for (const auto& c : cases) {
    PageIndex index;
    const Outcome outcome = IndexPages(folder.File("document", c.file), index);
    EXPECT_EQ(outcome.status, c.status) << c.words;
    EXPECT_THAT(outcome.what, testing::HasSubstr(c.words));
    EXPECT_TRUE(index.file.empty());
  }
  PageIndex index;
  EXPECT_EQ(IndexPages(folder / "none", index).status, -10);
  EXPECT_EQ(IndexPages(folder / ".", index).status, -10);
  // Padding after the document is no fault.
  const PageIndex padded = Indexed(folder.File("padded", begin + page + end + Bytes(5, 0)));
  EXPECT_EQ(padded.Tail().Size(), 16 + 5);
}

}  // namespace
}  // namespace kz::test
