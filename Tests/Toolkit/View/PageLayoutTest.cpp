#include "Toolkit/View/Layout/PageLayout.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "Tests/Toolkit/View/ViewFields.h"

namespace kz::test {
namespace {

// What a page of 100 by 200 points has on it.
std::string PageWith(const Bytes& content, const Bytes& resources = {}) {
  return InWords(LayoutOf(ViewDocument(ViewPage(content), resources)));
}

TEST(PageLayoutTest, PicturesFillTheirAreasAsTheyAreMapped) {
  struct Case {
    const char* name;
    Bytes area;
    const char* expected;
  };
  const Bytes size = AreaDescriptor(600, 400);
  const Bytes position = AreaPosition({.x = 100, .y = 200});
  // The picture is 20 by 10 points.
  const Case cases[] = {
      {"nothing is said", {}, "picture 1 in 0,0 20x10: 0,0 20x10"},
      {"only a position", position, "picture 1 in 10,20 20x10: 0,0 20x10"},
      {"no mapping", size + position, "picture 1 in 10,20 60x40: 0,5 60x30"},
      {"scale to fit", size + position + MapImage(0x20), "picture 1 in 10,20 60x40: 0,5 60x30"},
      {"scale to fill", size + position + MapImage(0x60), "picture 1 in 10,20 60x40: 0,0 60x40"},
      {"centre", size + position + MapImage(0x30), "picture 1 in 10,20 60x40: 20,15 20x10"},
      {"position and trim", size + AreaPosition({.contentX = 50, .contentY = -20}) + MapImage(0x10),
       "picture 1 in 0,0 60x40: 5,-2 20x10"},
      {"position", size + AreaPosition({.contentX = 50}) + MapImage(0x00),
       "picture 1 in 0,0 60x40: 5,0 20x10"},
      {"the content's place counts for positions only",
       size + AreaPosition({.contentX = 50}) + MapImage(0x60), "picture 1 in 0,0 60x40: 0,0 60x40"},
      {"replicate", size + MapImage(0x50), "picture 1 in 0,0 60x40: 0,0 20x10 replicated"},
      {"a dot for a dot", size + MapImage(0x41), "picture 1 in 0,0 60x40: 0,0 20x10"},
      {"two dots for a dot", size + MapImage(0x42), "picture 1 in 0,0 60x40: 0,0 40x20"},
      {"another unit", AreaDescriptor(600, 400, 14400) + MapImage(0x60),
       "picture 1 in 0,0 30x20: 0,0 30x20"},
      {"turned area", size + AreaPosition({.x = 900, .y = 100, .rotation = 90}) + MapImage(0x60),
       "picture 1 in 90,10 turned 90 60x40: 0,0 60x40"},
      {"turned content",
       size + AreaPosition({.contentX = 30, .contentRotation = 90}) + MapImage(0x10),
       "picture 1 in 0,0 60x40: 3,0 turned 90 20x10"},
      {"turned content that fits", size + AreaPosition({.contentRotation = 270}) + MapImage(0x20),
       "picture 1 in 0,0 60x40: 20,40 turned 270 40x20"},
      {"content upside down that fills",
       size + AreaPosition({.contentRotation = 180}) + MapImage(0x60),
       "picture 1 in 0,0 60x40: 60,40 turned 180 60x40"},
      {"turned content that fills", size + AreaPosition({.contentRotation = 90}) + MapImage(0x60),
       "picture 1 in 0,0 60x40: 60,0 turned 90 40x60"},
      {"an area without a size", AreaDescriptor(0, 0) + position + MapImage(0x60),
       "picture 1 in 10,20 20x10: 0,0 20x10"},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(PageWith(ImageObject(200, 100, one.area)), std::string(one.expected) + "\n")
        << one.name;
  }
}

TEST(PageLayoutTest, IncludedThingsStandWhereTheyAreIncluded) {
  const Bytes size = AreaDescriptor(200, 100);
  const Bytes image = ImageObject(200, 100, size + AreaPosition({.x = 30, .y = 40, .system = 0}));
  const Bytes onPage = ImageObject(200, 100, size + AreaPosition({.x = 30, .y = 40}));
  const Bytes described = PageDescriptor(500, 500, 14400);
  const Bytes resources =
      Resource("IMG", image) + Resource("PLAIN", ImageObject(200, 100)) +
      Resource("MOVED", ImageObject(200, 100,
                                    size + AreaPosition({.contentX = 50, .contentY = -20}) +
                                        MapImage(0x10))) +
      PageSegment("SEG", image) + PageSegment("SEGPAGE", onPage) +
      Overlay("OVL", Field(0xA8C9) + described + Field(0xA9C9) + onPage) +
      Overlay("OUTER", IncludeOverlay("OVL", 50, 0) + IncludeSegment("SEG", 10, 10));
  const Bytes asItIs = Big24(-1) + Big24(-1) + Big16(0xFFFF) + Big16(0xFFFF);
  struct Case {
    const char* name;
    Bytes content;
    const char* expected;
  };
  const Case cases[] = {
      {"segment", IncludeSegment("SEG", 100, 200), "picture 4 in 13,24 20x10: 0,0 20x10\n"},
      {"object of a segment that counts from the page", IncludeSegment("SEGPAGE", 100, 200),
       "picture 5 in 3,4 20x10: 0,0 20x10\n"},
      {"overlay with units of its own", IncludeOverlay("OVL", 100, 200),
       "picture 6 in 11.5,22 20x10: 0,0 20x10\n"},
      {"turned overlay", IncludeOverlay("OVL", 100, 200, 90),
       "picture 6 in 8,21.5 turned 90 20x10: 0,0 20x10\n"},
      {"overlay in an overlay", IncludeOverlay("OUTER", 100, 200, 180),
       "picture 6 in 3.5,18 turned 180 20x10: 0,0 20x10\n"
       "picture 4 in 6,15 turned 180 20x10: 0,0 20x10\n"},
      {"object as it says itself", IncludeObject("IMG", asItIs),
       "picture 1 in 3,4 20x10: 0,0 20x10\n"},
      {"object in another place",
       IncludeObject("IMG", Big24(100) + Big24(-200) + Degrees(90) + Degrees(180),
                     Bytes{8, 0x4B} + Units(14400) + Bytes{9, 0x4C, 2} + Big24(400) + Big24(400) +
                         Bytes{3, 4, 0x60}),
       "picture 1 in 10,-20 turned 90 20x20: 0,0 20x20\n"},
      {"object whose content is in another place, in other units",
       IncludeObject("IMG", asItIs, Bytes{3, 4, 0x10} + Bytes{8, 0x4B} + Units(14400),
                     Big24(40) + Big24(60)),
       "picture 1 in 3,4 20x10: 2,3 20x10\n"},
      {"object of a size in other units, whose content stays where it says",
       IncludeObject("MOVED", asItIs,
                     Bytes{8, 0x4B} + Units(14400) + Bytes{9, 0x4C, 2} + Big24(400) + Big24(400)),
       "picture 3 in 0,0 20x20: 5,-2 20x10\n"},
      {"object that says nothing, nor is it said", IncludeObject("PLAIN", asItIs),
       "picture 2 in 0,0 100x200: 0,75 100x50\n"},
      {"segment as an object",
       IncludeObject("SEG", Big24(100) + Big24(200) + Degrees(0) + Degrees(90)),
       "picture 4 in 10,20 20x10: 0,0 20x10\n"},
      {"twice, and what isn't there",
       IncludeSegment("SEG", 0, 0) + IncludeSegment("NONE", 0, 0) + IncludeSegment("SEG", 10, 0),
       "picture 4 in 3,4 20x10: 0,0 20x10\npicture 4 in 4,4 20x10: 0,0 20x10\n"
       "! there is no page segment NONE\n"},
  };
  for (const Case& one : cases)
    EXPECT_EQ(PageWith(one.content, resources), one.expected) << one.name;
}

TEST(PageLayoutTest, ImImagesStandWhereTheirOwnFieldsSay) {
  const auto image = [](unsigned map, int rotation) {
    const Bytes control = Big24(100) + Big24(50) + Degrees(rotation) + Degrees(rotation + 90) +
                          Bytes(8, 0) + Big16(map) + Big16(map) + Bytes{0xFF, 0xFF};
    const Bytes descriptor = Bytes(12, 0) + Bytes{0, 0} + Big16(2400) + Big16(2400) + Big16(48) +
                             Big16(24) + Bytes(12, 0) + Big16(0xFFFF);
    return Field(0xA87B) + Field(0xA77B, control) + Field(0xA67B, descriptor) +
           Field(0xEE7B, Bytes(6 * 24, 0xFF)) + Field(0xA97B, Name("IM"));
  };
  // 240 dots per inch.
  EXPECT_EQ(PageWith(image(1000, 0)), "picture 1 in 30,15 14.4x7.2: 0,0 14.4x7.2\n");
  EXPECT_EQ(PageWith(image(1000, 90)), "picture 1 in 30,15 turned 90 14.4x7.2: 0,0 14.4x7.2\n");
  EXPECT_EQ(
      PageWith(IncludeSegment("SEG", 100, 0) + IncludeSegment("SEG", 0, 0),
               PageSegment("SEG", image(1000, 0))),
      "picture 1 in 40,15 14.4x7.2: 0,0 14.4x7.2\npicture 1 in 30,15 14.4x7.2: 0,0 14.4x7.2\n");
}

TEST(PageLayoutTest, GraphicsAndBarCodesAreBoxes) {
  const Bytes area = Field(0xA8C7) + AreaDescriptor(300, 100) +
                     AreaPosition({.x = 500, .y = 100, .rotation = 90}) + Field(0xA9C7);
  EXPECT_EQ(PageWith(Field(0xA8BB) + area + Field(0xEEBB, {0x70}) + Field(0xA9BB) + Field(0xA8EB) +
                     area + Field(0xEEEB) + Field(0xA9EB)),
            "box 40,10 10x30 graphics\nbox 40,10 10x30 bar code\n");
}

TEST(PageLayoutTest, PagesHaveTheSizeThatTheySayOrThatOfWhatIsOnThem) {
  struct Case {
    const char* name;
    Bytes file;
    double width, height;
  };
  const Bytes noDescriptor =
      Field(0xA8AF) + ImageObject(200, 100, AreaPosition({.x = 50, .y = 60})) + Field(0xA9AF);
  const Case cases[] = {
      {"its own", ViewDocument(ViewPage({})), 100, 200},
      {"of what is on it, in the usual units", ViewDocument(noDescriptor), 22.5, 13},
      {"nothing", ViewDocument(Field(0xA8AF) + Field(0xA9AF)), 612, 792},
      {"size 0", ViewDocument(ViewPage(ImageObject(200, 100), 0, 0)), 20, 10},
      {"far too large", ViewDocument(ViewPage({}, 0x7FFFFF, 0x7FFFFF)), 14400, 14400},
      {"a bare image", Segment(ImageSize(200, 100, 0, 7200, 7200) + Encoding(3), Bytes(2500, 0)),
       20, 10},
  };
  for (const Case& one : cases) {
    const PageLayout layout = LayoutOf(one.file);
    EXPECT_NEAR(layout.width, one.width, 0.01) << one.name << "\n" << InWords(layout);
    EXPECT_NEAR(layout.height, one.height, 0.01) << one.name;
  }
  EXPECT_EQ(InWords(LayoutOf(ViewDocument(ViewPage({})), 2)), "! FAILED: there is no page 2\n");
}

// Documents of Apache FOP: the sizes of A4 pages, the places of pictures and of their text.
TEST(PageLayoutTest, DocumentsOfAnotherProducerAreLaidOut) {
  const auto read = [](const std::string& name) {
    std::ifstream file(KZ_SAMPLES "/foreign/" + name, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), {});
  };
  const std::string text = "'Page with images' 42.6,52.8 sans 12\n";
  const PageLayout included = LayoutOf(read("fop_default.afp"));
  EXPECT_NEAR(included.width, 595.2, 0.01);
  EXPECT_NEAR(included.height, 841.8, 0.01);
  const std::string expected = text + "picture 1 in 42.6,58.5 113.4x81.6: 0,0.1 113.4x81.4\n" +
                               "picture 2 in 42.6,157.2 113.4x81.6: 0,0.1 113.4x81.4\n" +
                               "picture 3 in 42.6,255.6 113.4x81.6: 0,0.1 113.4x81.4\n" +
                               "picture 4 in 42.6,354 113.4x81.6: 0,0.1 113.4x81.4\n" +
                               "picture 5 in 42.6,452.7 170.1x76.8: 0,0.09 170.1x76.62\n";
  EXPECT_EQ(InWords(included), expected);
  EXPECT_EQ(InWords(LayoutOf(read("pseg_included.afp"), 2)).substr(0, 9), "picture 1");
}

}  // namespace
}  // namespace kz::test
