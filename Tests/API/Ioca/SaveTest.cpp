// Saving: what is refused, new files, appended, inserted, replaced and deleted pages. The
// results are compared as whole files.
#include <gtest/gtest.h>

#include <array>

#include "Tests/API/FailingFiles.h"
#include "Tests/API/SaveRequest.h"
#include "Tests/Support/WrittenFile.h"

namespace {

const Bytes kEndDocument = Hex("0010D3A9A8000000 0000000000000000");
constexpr uint32_t kInsert = K_SAVE_INSERT_PAGE;
constexpr uint32_t kReplace = K_SAVE_REPLACE_PAGE;

// The bytes of the page alone that a save into a document writes.
Bytes PageOf(SaveRequest& request, int format) {
  const TemporaryFolder folder;
  EXPECT_EQ(request(folder / "page", format), 1);
  const Bytes document = FileBytes(folder / "page");
  EXPECT_EQ(Slice(document, document.size() - 16, 16), kEndDocument);
  const size_t begin = document[0] == 0x5A ? 65 : 64;
  return Slice(document, begin, document.size() - 16 - begin);
}

// Pages of another producer, which end in a name or don't.
Bytes OtherPage(unsigned char content, const Bytes& name = {}, const Style& style = {}) {
  return Field(0xA8AF, name, style) + Field(0xEE9B, Bytes(content, content), style) +
         Field(0xA9AF, name, style);
}

const Bytes kBang = Hex("404040404040405A");  // a name that ends in an exclamation mark

// The End Page fields of a document that can be read to its end.
long EndPages(const Bytes& document) {
  const std::vector<WalkedField> fields = Walk(document);
  return std::count_if(fields.begin(), fields.end(),
                       [](const WalkedField& field) { return field.code == 0xA9AF; });
}

// A file that must come out of a refused save as it was.
class Untouched {
 public:
  explicit Untouched(const Bytes& content)
      : m_content(content), m_path(m_folder.File("f", content)) {
    std::filesystem::last_write_time(m_path, kLongAgo);
    ThreadState()->bWriteCC = 77;
    ThreadState()->nMaxSegmentData = 78;
  }
  ~Untouched() {
    EXPECT_EQ(FileBytes(m_path), m_content);
    EXPECT_EQ(std::filesystem::last_write_time(m_path), kLongAgo);
  }
  const std::string& path() const { return m_path; }
  static bool StateKept() {
    return ThreadState()->bWriteCC == 77 && ThreadState()->nMaxSegmentData == 78;
  }

 private:
  static inline const std::filesystem::file_time_type kLongAgo =
      std::filesystem::file_time_type::clock::now() - std::chrono::hours(1000);
  Bytes m_content;
  TemporaryFolder m_folder;
  std::string m_path;
};

const Bytes kTwoPages = Field(0xA8A8) + OtherPage(1) + OtherPage(2) + kEndDocument;

TEST(Save, EveryDepthThatACompressionCantCarryIsRefused) {
  const struct {
    std::vector<int> formats, depths;
    bool ofBitmap = false;  // only that of the bitmap
  } kinds[] = {{{71, 72, 73, 77, 78, 79, 117, 118, 309, 310, 311, 313}, {1}},
               {{184, 190, 191}, {1, 4}, true},
               {{253, 254, 312}, {1, 4, 8, 24}},
               {{377, 378, 379}, {8, 24}},
               {{0, 1, -1, 10, 21, 66, 68, 70, 185, 376, 380}, {}}};
  for (const auto& kind : kinds) {
    for (const int format : kind.formats) {
      for (size_t i = 0; i < 36; ++i) {
        const int bitmapDepth = std::array{1, 4, 8, 24}[i / 9];
        const int depth = std::array{-1, 0, 1, 2, 4, 8, 16, 24, 32}[i % 9];
        SCOPED_TRACE(testing::Message() << format << " of " << bitmapDepth << " at " << depth);
        const bool carried = std::count(kind.depths.begin(), kind.depths.end(), depth) > 0;
        if (carried && (!kind.ofBitmap || depth == bitmapDepth)) continue;
        const bool possible = depth == 1 || depth == 4 || depth == 8 || depth == 24;
        const Untouched file(kTwoPages);
        SaveRequest request(9, 2, bitmapDepth);
        request.save.nBitsPerPixel = depth;
        for (const uint32_t flags : {0u, kInsert}) {
          EXPECT_EQ(request(file.path(), format, 1, flags),
                    possible && kind.depths.empty() ? K_ERROR_SAVE_FORMAT : K_ERROR_BITS_PER_PIXEL);
        }
        EXPECT_EQ(request.save.nFormat, format);
        EXPECT_EQ(request.begun, 0);
        EXPECT_TRUE(Untouched::StateKept());
      }
    }
  }
}

TEST(Save, PicturesThatTheFormatCantHoldAreRefused) {
  struct Case {
    int width, height, xResolution, yResolution;
    int status;
  };
  const Case cases[] = {
      {0, 5, 0, 0, -9},      {5, 0, 0, 0, -9},     {-1, 5, 0, 0, -9},    {0x8000, 1, 0, 0, -9},
      {1, 0x8000, 0, 0, -9}, {5, 5, 3277, 1, -9},  {5, 5, 1, 3277, -9},  {5, 5, -1, 1, -9},
      {5, 5, 3276, 3276, 1}, {0x7FFF, 1, 0, 0, 1}, {1, 0x7FFF, 0, 0, 1},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << " by " << c.height << " at " << c.xResolution);
    SaveRequest request(std::clamp(c.width, 1, 0x7FFF), std::clamp(c.height, 1, 0x7FFF));
    request.bitmap.nWidth = c.width;
    request.bitmap.nHeight = c.height;
    request.bitmap.nXResolution = c.xResolution;
    request.bitmap.nYResolution = c.yResolution;
    if (c.status == 1) {
      const TemporaryFolder folder;
      EXPECT_EQ(request(folder / "new", 253), 1);
      // From 0x8000 on the numbers mean that there is no resolution.
      const Bytes size = WrittenPages(FileBytes(folder / "new"))[0].size;
      EXPECT_EQ(Slice(size, 1, 2), Big16(static_cast<unsigned>(request.bitmap.nXResolution) * 10));
      EXPECT_LT(size[1], 0x80);
      continue;
    }
    const Untouched file(kTwoPages);
    for (const uint32_t flags : {0u, kInsert, kReplace}) {
      EXPECT_EQ(request(file.path(), 253, 1, flags), c.status);
    }
    EXPECT_EQ(request.bitmap.nXResolution, c.xResolution);
    EXPECT_TRUE(Untouched::StateKept());
  }
}

TEST(Save, FilesThatCantTakeThePageComeBackUntouched) {
  SaveRequest bare(9, 2);
  const TemporaryFolder folder;
  ASSERT_EQ(bare(folder / "bare", 254), 1);
  const Bytes bareFile = FileBytes(folder / "bare");
  struct Case {
    const char* what;
    Bytes content;
    int format;
    uint32_t flags;
    int status;
  };
  const Case cases[] = {
      {"insert a bare image", kTwoPages, 254, kInsert, K_ERROR_SAVE_FORMAT},
      {"replace by a bare image", kTwoPages, 184, kReplace, K_ERROR_SAVE_FORMAT},
      {"insert into a bare file", bareFile, 253, kInsert, -9},
      {"replace in a bare file", bareFile, 312, kReplace, -9},
      {"insert, no pages", Field(0xA8A8) + kEndDocument, 253, kInsert, -9},
      {"insert, page without end", Field(0xA8A8) + Field(0xA8AF) + kEndDocument, 253, kInsert, -9},
      {"insert, page after the end", Field(0xA8A8) + kEndDocument + OtherPage(1), 253, kInsert, -9},
      {"insert into nothing", {}, 253, kInsert, -9},
      {"insert into text", Pattern(100), 253, kReplace, -9},
      {"append to text", Pattern(100), 253, 0, -9},
      {"append to a byte", {0x5A}, 253, 0, -9},
      {"append, byte behind the end", kTwoPages + Bytes{0}, 253, 0, -9},
      {"append, no end", Slice(kTwoPages, 0, kTwoPages.size() - 16), 253, 0, -9},
      {"append, end of another length", Field(0xA8A8) + Field(0xA9A8, Bytes(3)), 253, 0, -9},
      {"append, end of another thing", Field(0xA8A8) + Field(0xA9AD, Bytes(8)), 253, 0, -9},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const Untouched file(c.content);
    SaveRequest request(9, 2);
    EXPECT_EQ(request(file.path(), c.format, 2, c.flags), c.status);
    EXPECT_EQ(request.begun, 0);
  }
  SaveRequest request(9, 2);
  EXPECT_EQ(request(folder / "missing", 253, 1, kInsert), K_ERROR_OPEN_WRITE);
  EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
  EXPECT_EQ(request(folder / "no/such", 253, 2), K_ERROR_OPEN_WRITE);
}

TEST(Save, NewFilesHoldJustWhatWasWritten) {
  const TemporaryFolder folder;
  for (const int format : {253, 312, 254, 377}) {
    SaveRequest request(60, 9, 8);
    ASSERT_EQ(request(folder / ("first" + std::to_string(format)), format, 2), 1);
    const Bytes expected = FileBytes(folder / ("first" + std::to_string(format)));
    if (format != 254) {
      for (const WalkedField& field : Walk(expected)) {
        EXPECT_EQ(field.prefixed, format == 312 && field.code != 0xA9A8);
      }
    }
    for (const size_t size : {size_t{0}, size_t{1}, expected.size() - 1, size_t{50000}}) {
      for (const int page : {1, 2, -1}) {
        if (page != 1 && format != 254 && size != 0) continue;  // appends
        SCOPED_TRACE(testing::Message() << format << " over " << size << ", page " << page);
        const std::string path = folder.File("f", Pattern(size));
        EXPECT_EQ(request(path, format, page), 1);
        EXPECT_EQ(FileBytes(path), expected);
      }
    }
  }
}

TEST(Save, APageIsAppendedOverTheEndOfAnyProducersDocument) {
  struct Case {
    const char* what;
    Bytes kept;  // without a 0x5A of End Document
    bool prefixed = false;
    Bytes name = {};  // of End Document
  };
  const Style cc = {true, {}, false};
  const Bytes name(8, 0xC1);
  const Bytes begin = Field(0xA8A8);
  const Bytes two = begin + OtherPage(1) + OtherPage(2);
  const Bytes tag = Hex("0702 0B00 C1C2 0536 0000 5A");
  const Case cases[] = {
      {"no pages", begin, false, name},
      {"0x5A but at the end", Bytes{0x5A} + begin + OtherPage(9, {}, cc), false, Bytes(8)},
      {"0x5A everywhere", Bytes{0x5A} + begin + OtherPage(9, {}, cc), true, name},
      {"0x5A, no name", begin + OtherPage(1, name), true},
      {"name that ends in 0x5A", begin + OtherPage(1, kBang), false, kBang},
      {"0x5A, no name behind one", begin + OtherPage(1, kBang, cc), true},
      {"nothing but 0x5A in the data", two + Field(0xEEEE, Bytes(400, 0x5A)), false, Bytes(8)},
      {"a tag's value ends in 0x5A", two + Field(0xA090, tag), false, Bytes(8)},
      {"a triplet does", two + Field(0xA8AF) + Field(0xA9AF, name + tag), false, name},
      {"a resource behind the page", two + Field(0xA9C6, kBang), true, name},
  };
  for (const Case& c : cases) {
    for (const int format : {253, 312}) {
      SCOPED_TRACE(testing::Message() << c.what << ", " << format);
      SaveRequest request(30, 5, 1, 7);
      const Bytes page = PageOf(request, format);
      const TemporaryFolder folder;
      const Bytes kept = c.prefixed ? c.kept + Bytes{0x5A} : c.kept;
      const std::string path = folder.File("f", kept + Field(0xA9A8, c.name));
      // A 0x5A at the end is the page's own when it begins with one, whosever it was.
      const bool shared = page[0] == 0x5A && kept.back() == 0x5A;
      const Bytes one = kept + Slice(page, shared ? 1 : 0, page.size());
      EXPECT_EQ(request(path, format, 2), 1);
      EXPECT_EQ(FileBytes(path), one + kEndDocument);
      EXPECT_EQ(request(path, format, 0), 1);
      EXPECT_EQ(FileBytes(path), one + page + kEndDocument);
      EXPECT_EQ(EndPages(FileBytes(path)), EndPages(kept + Field(0xA9A8)) + 2);
    }
  }
}

TEST(Save, PagesGoBehindTheFirstAndTakeThePlaceOfTheSecond) {
  const Bytes name(8, 0xC1);
  const Style cc = {true, {}, false};
  const Style extended = {false, {1, 2, 3}, true};
  // A page shorter than the new one, one longer, and one in between.
  for (const auto& [pageName, style] :
       {std::pair{Bytes{}, Style{}}, {name, cc}, {kBang, Style{}}, {name, extended}}) {
    const Bytes pages[] = {OtherPage(1, pageName, style), OtherPage(255, pageName, style),
                           OtherPage(3, pageName, style)};
    for (const unsigned char second : Bytes{5, 253}) {
      for (size_t count = 1; count <= 3; ++count) {
        Bytes rest[3];  // of the document, from page 1, 2 and 3 on
        const Bytes end = Field(0xA9A8, pageName, style);
        rest[2] = (count > 2 ? pages[2] : Bytes{}) + end;
        rest[1] = (count > 1 ? OtherPage(second, pageName, style) : Bytes{}) + rest[2];
        const Bytes head = Field(0xA8A8, {}, style) + pages[0];
        for (const uint32_t flags : {kInsert, kReplace, kInsert | kReplace}) {
          for (const int page : {1, 5}) {
            SCOPED_TRACE(testing::Message() << count << " pages, second " << int{second}
                                            << ", flags " << flags << ", name " << pageName.size());
            SaveRequest request(9, 2);
            const Bytes added = PageOf(request, 253);
            const TemporaryFolder folder;
            const std::string path = folder.File("f", head + rest[1]);
            EXPECT_EQ(request(path, 253, page, flags), 1);
            EXPECT_EQ(FileBytes(path), head + added + rest[flags == kReplace ? 2 : 1]);
          }
        }
      }
    }
  }
}

// Between the writing of the new page and the cutting of the file every failure
// leaves a document that can be read to its end and written on.
TEST(Save, AReplacementThatCantCutTheFileLeavesAWholeDocument) {
  std::vector<size_t> gaps = {255, 256, 0x3FFF, 0x4000, 0x4001, 0x4008, 0x4009, 0x5A10, 40000};
  for (size_t gap = 1; gap <= 20; ++gap) gaps.push_back(gap);
  for (const int format : {253, 312}) {
    const Style style = {format == 312, {}, false};
    SaveRequest request(9, 2);
    const Bytes page = PageOf(request, format);
    const Bytes head = Field(0xA8A8, {}, style) + OtherPage(1, {}, style);
    const Bytes tail = OtherPage(3, {}, style) + kEndDocument;
    for (const size_t gap : gaps) {
      // An old page that is so much longer than the new one.
      Bytes old = Field(0xA9AF, {}, style);
      for (size_t left = page.size() + gap - old.size(); left > 0;) {
        const size_t part = left > 20000 ? 10000 : left;
        old = Field(0xEE9B, Bytes(part - (style.carriageControl ? 9 : 8)), style) + old;
        left -= part;
      }
      const Bytes before = head + old + tail;
      const TemporaryFolder folder;
      const std::string path = folder.File("f", before);
      FailingFiles good;
      ASSERT_EQ(request(path, format, 1, kReplace), 1);
      ASSERT_EQ(FileBytes(path), head + page + tail);
      using Operation = FailingFiles::Operation;
      const std::pair<Operation, int> faults[] = {
          {Operation::kOpen, 2},
          {Operation::kClose, 1},
          {Operation::kRead, good.Count(Operation::kRead)},
          {Operation::kWrite, good.Count(Operation::kWrite)},
          {Operation::kWrite, good.Count(Operation::kWrite) - 1}};
      for (const auto& [operation, nth] : faults) {
        SCOPED_TRACE(testing::Message() << format << ", gap " << gap << ", " << operation);
        folder.File("f", before);
        good.Fail(operation, nth);
        EXPECT_LT(request(path, format, 1, kReplace), 0);
        const Bytes left = FileBytes(path);
        const size_t whole = head.size() + page.size() - 8;
        EXPECT_EQ(Slice(left, 0, whole), Slice(head + page, 0, whole));
        EXPECT_EQ(Slice(left, left.size() - tail.size(), tail.size()), tail);
        EXPECT_EQ(EndPages(left), 3);
        EXPECT_EQ(request(path, format, 2), 1);
        EXPECT_EQ(EndPages(FileBytes(path)), 4);
        // The next replacement takes what was left over with it.
        EXPECT_EQ(request(path, format, 1, kReplace), 1);
        EXPECT_EQ(FileBytes(path),
                  head + page + Slice(tail, 0, tail.size() - 16) + page + kEndDocument);
      }
    }
  }
}

int Delete(const std::string& file) {
  // Other members of a host's record have no say.
  struct {
    _DELETEDISPATCH dispatch;
    int page = 1;
  } request{{file.c_str()}};
  return fltDeletePage(&request.dispatch);
}

TEST(DeletePage, TheSecondPageGoesAndAllElseStays) {
  const Bytes name(8, 0xC1);
  for (const auto& [pageName, style] : {std::pair{Bytes{}, Style{}},
                                        {name, {true, {}, false}},
                                        {kBang, {}},
                                        {kBang, {false, {1, 2}, true}}}) {
    SCOPED_TRACE(testing::Message() << "0x5A " << style.carriageControl << ", extended "
                                    << style.extended << ", name " << pageName.size());
    const Bytes one = Field(0xA8A8, {}, style) + OtherPage(1, pageName, style);
    const Bytes two = OtherPage(250, pageName, style);
    const Bytes three = OtherPage(3, pageName, style);
    const Bytes end = Field(0xA9A8, pageName, style);
    const Bytes behind = end + OtherPage(4, pageName, style);
    struct Case {
      const char* what;
      Bytes before, after;
    };
    const Case cases[] = {
        {"three pages", one + two + three + end, one + three + end},
        {"two pages", one + two + end, one + end},
        {"four pages", one + three + two + three + end, one + two + three + end},
        {"one page", one + end, one + end},
        {"one in the document", one + behind, one + behind},
        {"no pages", Field(0xA8A8) + end, Field(0xA8A8) + end},
        {"no End Document", one + two, one},
        {"one page, no End Document", one, one},
        {"cut short behind page 1", one + Slice(two, 0, 7), one + Slice(two, 0, 7)},
        {"no document behind page 1", one + Pattern(50), one + Pattern(50)},
        {"bare image", Segment(ImageSize(8, 1), Pattern(40)), {}},
        {"a few bytes", {0x70, 0x00}, {}},
        {"nothing", {}, {}},
    };
    for (const Case& c : cases) {
      SCOPED_TRACE(c.what);
      const TemporaryFolder folder;
      const std::string path = folder.File("f", c.before);
      EXPECT_EQ(Delete(path), 1);
      EXPECT_EQ(FileBytes(path), c.after.empty() ? c.before : c.after);
    }
  }
  const TemporaryFolder folder;
  EXPECT_EQ(Delete(folder / "missing"), K_ERROR_OPEN_WRITE);
  EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
}

}  // namespace
