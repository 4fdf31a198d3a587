#include "Toolkit/View/Comparison/Visual/VisualComparison.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Tests/Support/TestPictures.h"
#include "Tests/Toolkit/View/ViewFields.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz::test {
namespace {

using testing::HasSubstr;
using testing::Not;

Bytes FromBase64(std::string_view text) {
  constexpr std::string_view digits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  Bytes bytes;
  unsigned bits = 0, count = 0;
  for (const char c : text) {
    const size_t digit = digits.find(c);
    if (digit == std::string_view::npos) break;
    bits = bits << 6 | static_cast<unsigned>(digit);
    if ((count += 6) < 8) continue;
    count -= 8;
    bytes.push_back(static_cast<unsigned char>(bits >> count));
  }
  return bytes;
}

struct View {
  std::string html;
  std::vector<Bitmap> pictures;  // in their order
};

View Visual(const Bytes& a, const Bytes& b, VisualOptions options = {}) {
  const TemporaryFolder folder;
  Document first(folder.File("a", a)), second(folder.File("b", b));
  EXPECT_TRUE(first.Open().Ok() && second.Open().Ok());
  options.dpi = 72;
  VisualComparison visual(first, second, options);
  CompareSummary summary;
  Outcome outcome = CompareDocuments(
      first, second, {},
      [&](const ComparedPages& pages) {
        visual.Add(pages);
        return true;
      },
      summary);
  if (outcome.Ok()) outcome = visual.Write(folder / "out.html", summary);
  EXPECT_TRUE(outcome.Ok()) << outcome.what;
  const Bytes file = FileBytes(folder / "out.html");
  View view;
  view.html.assign(file.begin(), file.end());
  constexpr std::string_view begin = "data:image/png;base64,";
  for (size_t at = 0; (at = view.html.find(begin, at)) != std::string::npos;) {
    at += begin.size();
    PictureReader reader;
    Outcome read = reader.Open(folder.File("picture.png", FromBase64(view.html.substr(at))));
    if (read.Ok()) read = reader.Read(1, view.pictures.emplace_back());
    EXPECT_TRUE(read.Ok()) << read.what;
  }
  return view;
}

// Black squares of 10 points from these places on.
Bytes Squares(const std::vector<std::pair<int, int>>& places) {
  Bytes content;
  for (const auto& [x, y] : places) {
    content =
        content +
        ImageObject(100, 100, AreaDescriptor(100, 100) + AreaPosition({.x = x * 10, .y = y * 10}));
  }
  return ViewPage(content, 1000, 1000);
}

TEST(VisualComparisonTest, WhatWasRemovedAddedAndKeptHasItsColour) {
  const View view = Visual(ViewDocument(Squares({{10, 10}, {50, 50}})),
                           ViewDocument(Squares({{10, 10}, {70, 50}})));
  ASSERT_EQ(view.pictures.size(), 3U);
  const auto at = [&](size_t picture, int x, int y) {
    return ColorAt(view.pictures[picture], x, y);
  };
  EXPECT_EQ(at(0, 55, 55), (Color{0, 0, 0}));
  EXPECT_EQ(at(1, 55, 55), (Color{255, 255, 255}));
  EXPECT_EQ(at(1, 75, 55), (Color{0, 0, 0}));
  const Color common = at(2, 15, 15), removed = at(2, 55, 55), added = at(2, 75, 55);
  EXPECT_TRUE(common[0] == common[1] && common[1] == common[2] && common[0] > 100 &&
              common[0] < 230);
  EXPECT_GT(removed[0], removed[2] + 100);
  EXPECT_GT(added[2], added[0] + 100);
  EXPECT_EQ(at(2, 30, 90), (Color{255, 255, 255}));
}

TEST(VisualComparisonTest, OnlyPagesThatDifferAreShownUnlessAllAre) {
  const Bytes a = ViewDocument(Squares({}) + Squares({{1, 1}}) + Squares({{2, 2}}));
  const Bytes b = ViewDocument(Squares({}) + Squares({{1, 1}}));
  const View some = Visual(a, b);
  EXPECT_EQ(some.pictures.size(), 1U);
  EXPECT_THAT(some.html, HasSubstr("not in this file"));
  EXPECT_THAT(some.html, Not(HasSubstr("Page 1<")));
  VisualOptions all;
  all.all = true;
  EXPECT_EQ(Visual(a, b, all).pictures.size(), 7U);
}

// Nothing of the documents or of the names of files becomes markup.
TEST(VisualComparisonTest, HostileNamesAndTextsAreText) {
  const std::string hostile = "\"'><script>alert(1)</script><img src=x onerror=alert(2)>\x01\xFF";
  VisualOptions options;
  options.nameA = options.nameB = hostile;
  const auto said = [](const Bytes& text) {
    return ViewDocument(ViewPage(TextObject(Inline(10) + Baseline(100) + Control(0xDA, text))));
  };
  // <b> and &amp; in EBCDIC.
  const View view = Visual(said({0x4C, 0x82, 0x6E}), said({0x50, 0x81, 0x94, 0x97, 0x5E}), options);
  EXPECT_THAT(view.html, HasSubstr("&lt;script&gt;"));
  EXPECT_THAT(view.html, HasSubstr("&lt;b&gt;"));
  EXPECT_THAT(view.html, HasSubstr("&amp;amp;"));
  for (const char* const markup :
       {"<script", "<img src=x", "<b>", "\x01", "\xFF", "http:", "https:"}) {
    EXPECT_THAT(view.html, Not(HasSubstr(markup)));
  }
  EXPECT_THAT(view.html, HasSubstr("Content-Security-Policy\" content=\"default-src 'none'; "
                                   "img-src data:; style-src 'sha256-"));
}

}  // namespace
}  // namespace kz::test
