// The comment of a document: which text, from which page on, in how much room.
#include <gtest/gtest.h>

#include "API/Filters/Ica/Common/Ioca/Comment.h"
#include "Tests/Support/FileBuilder.h"

namespace {

Bytes Text(const std::string& text) { return Bytes(text.begin(), text.end()); }

// A Transparent Data sequence; its length byte counts itself and the type.
Bytes Transparent(const std::string& text, int length = -1) {
  const auto stated =
      static_cast<unsigned char>(length < 0 ? static_cast<int>(text.size()) + 2 : length);
  return Bytes{0x2B, 0xD3, stated, 0xDA} + Text(text);
}
Bytes Ptx(const Bytes& data, const Style& style = {}) { return Field(0xEE9B, data, style); }
Bytes Page(const Bytes& fields) { return Field(0xA8AF, Bytes(8, 0xC1)) + fields + Field(0xA9AF); }
Bytes Document(const Bytes& pages) { return Field(0xA8A8) + pages + Field(0xA9A8); }

struct Comment {
  int status;
  Bytes text;  // what was stored; nothing may be stored past the size
  int page;    // as it was written back
};

Comment Read(const std::string& path, int page, uint32_t pages, size_t size) {
  constexpr unsigned char kUntouched = 0xEE;
  Bytes buffer(size + 8, kUntouched);
  _LOADOPTIONS options = {};
  options.nPageNumber = page;
  _IMAGEFILEINFO info = {};
  info.nTotalPages = pages;
  _COMMENTDISPATCH dispatch = {path.c_str(), buffer.data(), static_cast<uint32_t>(size), &options,
                               &info};
  Comment comment = {fltComment(&dispatch), {}, 0};
  comment.page = options.nPageNumber;
  EXPECT_EQ(Slice(buffer, size, 8), Bytes(8, kUntouched));
  while (!buffer.empty() && buffer.back() == kUntouched) buffer.pop_back();
  comment.text = buffer;
  return comment;
}

TEST(Comment, TextIsTakenFromTransparentDataOnly) {
  const Bytes other = {0x2B, 0xD3, 0x04, 0xD9, 0x00, 0x01};
  struct Case {
    const char* what;
    Bytes fields;
    const char* text;
  };
  const Case cases[] = {
      {"two sequences and none", Ptx(Transparent("x") + other + Transparent("y")) + Ptx({}),
       "xy\r\n\r\n"},
      {"length below 2", Ptx(Transparent("ab", 0) + Transparent("cd", 1)), "\r\n"},
      {"length past the end", Ptx(Transparent("abc", 255)), "abc\r\n"},
      {"length short of the text", Ptx(Transparent("abcdef", 5)), "abc\r\n"},
      {"chained", Ptx({0x2B, 0xD3, 4, 0xDB, 'a', 'b'}), "\r\n"},
      {"0x5A and an extension", Ptx(Transparent("ext"), {true, {1, 2, 3}, true}), "ext\r\n"},
      {"a sequence in the text",
       Ptx(Transparent(std::string("a\x2B\xD3\x03\xDA"
                                   "b"))),
       "a\x2B\xD3\x03\xDA"
       "bb\r\n"},
  };
  const TemporaryFolder folder;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path =
        folder.File("f", Document(Page(Field(0xA8C9, Transparent("no")) + c.fields)));
    const Comment comment = Read(path, 1, 1, 100);
    EXPECT_EQ(comment.status, 1);
    EXPECT_EQ(comment.text, Text(c.text));
  }
}

TEST(Comment, TextRunsFromThePageWantedToTheEnd) {
  const Bytes front = Ptx(Transparent("front"));
  const Bytes pages = front + Page(Ptx(Transparent("one"))) + Ptx(Transparent("between")) +
                      Page(Ptx(Transparent("two"))) + Page({});
  const Bytes whole = Document(pages) + Page(Ptx(Transparent("behind")));
  const Bytes endless = Field(0xA8A8) + pages;
  struct Case {
    const char* what;
    Bytes document;
    int page;
    uint32_t pages;
    int status;
    const char* text;
    int pageAfter;
  };
  const Case cases[] = {
      {"page 1", whole, 1, 3, 1, "one\r\nbetween\r\ntwo\r\n", 1},
      {"page 2", whole, 2, 3, 1, "two\r\n", 2},
      {"page 9 of 3", whole, 9, 3, 1, "", 3},
      {"no pages", whole, 2, 0, 1, "front\r\none\r\nbetween\r\ntwo\r\n", 0},
      {"no pages, no Begin Document", Page(front) + Field(0xA9A8), 2, 0, -7, "", 0},
      {"more pages than there are", Document(pages), 4, 9, -7, "", 4},
      {"no End Document", endless, 1, 3, -7, "one\r\nbetween\r\ntwo\r\n", 1},
      {"cut in the text", Slice(endless, 0, 55), 1, 3, -7, "", 1},
      {"not a document", Pattern(50), 1, 1, -9, "", 1},
  };
  const TemporaryFolder folder;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const Comment comment = Read(folder.File("f", c.document), c.page, c.pages, 200);
    EXPECT_EQ(comment.status, c.status);
    EXPECT_EQ(comment.text, Text(c.text));
    EXPECT_EQ(comment.page, c.pageAfter);
  }
}

TEST(Comment, ABufferOfAnySizeIsFilledAndNoMore) {
  const TemporaryFolder folder;
  const std::string path = folder.File(
      "f", Document(Page(Ptx({}) + Ptx(Transparent("hello") + Transparent("you")) + Ptx({}))));
  const Bytes all = Text("\r\nhelloyou\r\n\r\n");
  for (size_t size = 1; size <= all.size() + 2; ++size) {
    const Comment comment = Read(path, 1, 1, size);
    EXPECT_EQ(comment.status, 1);
    EXPECT_EQ(comment.text, Slice(all, 0, size)) << size;
  }
  EXPECT_EQ(Read(path, -1, 1, 0).status, K_ERROR_NO_BUFFER);
  EXPECT_EQ(Read(path, -1, 1, 0).page, 1);
  EXPECT_EQ(Read(folder / "missing", 1, 1, 5).status, K_ERROR_OPEN_READ);

  _LOADOPTIONS options = {};
  _IMAGEFILEINFO info = {};
  _COMMENTDISPATCH dispatch = {path.c_str(), nullptr, 9, &options, &info};
  EXPECT_EQ(fltComment(&dispatch), K_ERROR_NO_BUFFER);
  dispatch.pszFileName = nullptr;
  EXPECT_EQ(fltComment(&dispatch), K_ERROR_NO_FILE_NAME);
}

}  // namespace
