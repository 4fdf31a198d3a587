// Pages that ask for more than anybody has: they are laid out and drawn in bounded time.
#include <gtest/gtest.h>

#include <chrono>

#include "Tests/Toolkit/View/ViewFields.h"
#include "Toolkit/View/PageRenderer.h"

namespace kz::test {
namespace {

// Many times the same, of which each doubling is a copy.
Bytes Times(const Bytes& bytes, int doublings) {
  Bytes all = bytes;
  for (int i = 0; i < doublings; ++i) all = all + Bytes(all);
  return all;
}

// A field that maps font 1, as large as this in twentieths of points.
Bytes MappedFont(unsigned size) {
  const Bytes group = Bytes{12, 2, 0x86, 0} + Name("CZH200") + Bytes{4, 0x24, 5, 1} +
                      Bytes{9, 0x1F, 5, 5} + Big16(size) + Big16(0) + Bytes{0};
  return Field(0xAB8A, Big16(static_cast<unsigned>(group.size()) + 2) + group);
}

std::string FanOut(int level) { return "LEVEL" + std::to_string(level); }

TEST(HostileLayoutTest, WorkIsBounded) {
  const Bytes area = AreaDescriptor(0x7FFFFF, 0x7FFFFF, 1);
  const Bytes far = AreaPosition({.x = 0x7FFFFF, .y = -0x7FFFFF});
  const Bytes text = TextObject(Inline(100) + Baseline(100) + Said("WORD"));
  Bytes fan = Overlay(FanOut(0), ImageObject(200, 100));
  for (int level = 1; level <= 7; ++level) {
    fan = fan + Overlay(FanOut(level), Times(IncludeOverlay(FanOut(level - 1), 1, 1), 5));
  }
  const Bytes moves = Field(0xEE9B, Times(Number(0xC8, 32767) + Number(0xD4, 32767), 11));
  const Bytes words = Field(0xEE9B, Times(Inline(10) + Said("W"), 10));
  const Bytes repeats = Field(0xEE9B, Times(Control(0xEE, Big16(0x7FFF) + Bytes{0xC1}), 9));
  const Bytes tile = AreaDescriptor(10'000, 20'000) + MapImage(0x50);
  const Bytes large = ImageObject(4000, 4000, AreaDescriptor(1000, 2000) + MapImage(0x60));
  const Bytes many = Overlay("MANY", Times(Field(0xEEEE, Bytes(32000, 0)), 6));
  struct Case {
    const char* name;
    Bytes content;
    Bytes resources;
    const char* warning;  // a part of it; empty: none is due
  };
  const Case cases[] = {
      {"millions of moves", Field(0xA89B) + Times(moves, 9) + Field(0xA99B), {}, ""},
      {"many words", Field(0xA89B) + Times(words, 6) + Field(0xA99B), {}, "items"},
      {"repeated strings", Field(0xA89B) + Times(repeats, 4) + Field(0xA99B), {}, ""},
      {"long text",
       Field(0xA89B) + Times(Field(0xEE9B, Times(Said(std::string(240, 'A')), 7)), 6) +
           Field(0xA99B),
       {},
       "bytes of text"},
      {"many fields", Times(Field(0xEEEE), 18), {}, "fields"},
      {"an overlay that includes itself", IncludeOverlay("SELF", 0, 0),
       Overlay("SELF", text + IncludeOverlay("SELF", 10, 10)), "includes itself"},
      {"overlays that include each other", IncludeOverlay("ONE", 0, 0),
       Overlay("ONE", IncludeOverlay("TWO", 0, 0)) + Overlay("TWO", IncludeOverlay("ONE", 0, 0)),
       "includes itself"},
      {"overlays that include overlays, each 32 times", IncludeOverlay(FanOut(7), 0, 0), fan,
       "left out"},
      {"areas of thousands of miles",
       ImageObject(200, 100, area + MapImage(0x60)) + ImageObject(200, 100, area + MapImage(0x50)) +
           ImageObject(200, 100, area + far),
       {},
       ""},
      {"a tile that fills the page, very often",
       Times(ImageObject(7, 7, tile), 10),
       {},
       "too often"},
      {"a large picture, very often", Times(IncludeSegment("LARGE", 0, 0), 14),
       PageSegment("LARGE", large), "too often"},
      {"letters larger than the page",
       TextObject(Control(0xF0, {1}) + Times(Inline(10) + Baseline(1900) + Said("WORD"), 9),
                  MappedFont(10'000)),
       {},
       ""},
      {"megabytes included very often", Times(IncludeOverlay("MANY", 0, 0), 10), many,
       "bytes make up"},
      {"areas of next to nothing",
       ImageObject(200, 100, AreaDescriptor(1, 1, 65535) + MapImage(0x60)),
       {},
       ""},
      {"rules of thousands of miles",
       TextObject(Times(Control(0xE4, Big16(0x7FFF) + Big16(0x7FFF)), 8)),
       {},
       ""},
  };
  for (const Case& one : cases) {
    const TemporaryFolder folder;
    const auto begin = std::chrono::steady_clock::now();
    Document document(folder.File("file", ViewDocument(ViewPage(one.content), one.resources)));
    ASSERT_EQ(document.Open().what, "");
    PageRenderer renderer(document, {.dpi = 72});
    std::string warnings;
    const Outcome outcome =
        renderer.Write({1}, RenderFormat::kPng, folder / "out.png", [&](int, const Outcome& told) {
          for (const std::string& warning : told.warnings) warnings += warning + "\n";
        });
    EXPECT_EQ(outcome.what, "") << one.name;
    EXPECT_NE(warnings.find(one.warning), std::string::npos) << one.name << ": " << warnings;
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    EXPECT_LT(taken.count(), 60) << one.name;
    RecordProperty(std::string("seconds of ") + one.name, std::to_string(taken.count()));
  }
}

TEST(HostileLayoutTest, PagesOfAnySizeGiveAViewOrAnError) {
  const Bytes image = ImageObject(200, 100, AreaDescriptor(200, 100));
  for (const int size : {0, 1, 0x7FFFFF}) {
    for (const unsigned units : {1u, 7200u, 65535u}) {
      const TemporaryFolder folder;
      Document document(folder.File(
          "file",
          ViewDocument(Field(0xA8AF) + PageDescriptor(size, size, units) + image + Field(0xA9AF))));
      ASSERT_EQ(document.Open().what, "");
      PageRenderer renderer(document, {.dpi = 10});
      for (const RenderFormatRow& row : kRenderFormats) {
        const Outcome outcome =
            renderer.Write({1}, row.format, folder / (std::string("out.") + row.ending), {});
        EXPECT_EQ(outcome.what, "") << size << " of " << units << " in " << row.ending;
      }
    }
  }
}

}  // namespace
}  // namespace kz::test
