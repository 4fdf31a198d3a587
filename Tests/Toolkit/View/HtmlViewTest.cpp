// What the html file of a document holds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

#include "Tests/Support/TestPictures.h"
#include "Tests/Toolkit/View/ViewFields.h"
#include "Toolkit/Pictures/PictureFile.h"
#include "Toolkit/Pictures/Png/PngData.h"
#include "Toolkit/View/Contents.h"
#include "Toolkit/View/Html/Sha256.h"
#include "Toolkit/View/PageRenderer.h"

namespace kz::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string TextOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// The html file of all pages of a document, and of which page what was told.
struct View {
  std::string html;
  std::vector<std::string> told;
};
View ViewOf(const std::string& path, const RenderOptions& options = {}) {
  const TemporaryFolder folder;
  View view;
  Document document(path);
  Outcome outcome = document.Open();
  std::vector<int> pages;
  for (int page = 1; page <= document.Pages(); ++page) pages.push_back(page);
  if (outcome.Ok()) {
    outcome = PageRenderer(document, options)
                  .Write(pages, RenderFormat::kHtml, folder / "view.html",
                         [&view](int page, const Outcome& told) {
                           for (const std::string& warning : told.warnings) {
                             view.told.push_back(std::to_string(page) + " " + warning);
                           }
                         });
  }
  EXPECT_TRUE(outcome.Ok()) << outcome.what;
  view.html = TextOf(folder / "view.html");
  return view;
}
View ViewOf(const Bytes& file, const RenderOptions& options = {}) {
  const TemporaryFolder folder;
  return ViewOf(folder.File("file", file), options);
}

std::vector<std::string> All(const std::string& text, const char* pattern) {
  const std::regex expression(pattern);
  std::vector<std::string> found;
  for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
       ++match) {
    found.push_back((*match)[match->size() - 1]);
  }
  return found;
}
// What elements of pictures say of themselves.
std::vector<std::string> Pictures(const View& view) {
  return All(view.html, R"(id="picture-(\d+" [^>]*)>)");
}
std::string ElementOf(const View& view, const std::string& id) {
  const size_t at = view.html.find(" id=\"" + id + "\"");
  if (at == std::string::npos) return "";
  const size_t from = view.html.find('>', at) + 1;
  return view.html.substr(from, view.html.find("</script>", from) - from);
}

Bytes DataOf(const std::string& base64) {
  const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  Bytes data;
  unsigned bits = 0;
  int count = 0;
  for (const char digit : base64) {
    if (digit == '=') break;
    bits = bits << 6 | static_cast<unsigned>(digits.find(digit));
    count += 6;
    if (count < 8) continue;
    count -= 8;
    data.push_back(static_cast<unsigned char>(bits >> count & 0xFF));
  }
  return data;
}

// Two pages show the same resource, a third a picture of its own with the same pixels, and the
// first one with others.
TEST(HtmlView, EachPictureIsStoredOnce) {
  const Bytes area = AreaDescriptor(100, 100);
  const Bytes same = ImageObject(16, 16, area), other = ImageObject(16, 8, area);
  const View view = ViewOf(ViewDocument(ViewPage(IncludeSegment("ONCE", 0, 0) + other) +
                                            ViewPage(IncludeSegment("ONCE", 5, 5)) + ViewPage(same),
                                        PageSegment("ONCE", Field(0xA85F) + same + Field(0xA95F))));
  EXPECT_THAT(Pictures(view), ElementsAre("0\" data-type=\"image/png\"",
                                          "1\" data-type=\"image/png\"", "2\" data-same=\"0\""));
  EXPECT_THAT(ElementOf(view, "page-0"), HasSubstr("[2,0,"));
  EXPECT_THAT(ElementOf(view, "page-1"), HasSubstr("[2,0,"));
  EXPECT_THAT(ElementOf(view, "page-2"), HasSubstr("[2,2,"));
}

// What is stored is what LoadPicture loads.
TEST(HtmlView, PicturesAreWhatTheDocumentHas) {
  const TemporaryFolder folder;
  for (const char* name : {"foreign/fs11_rgb24_none.afp", "foreign/fs11_gray8_none.afp",
                           "foreign/packbits.afp", "foreign/fs45_cmyk_none_bands.afp"}) {
    const std::string path = Sample(name);
    const View view = ViewOf(path);
    PictureReader reader;
    Bitmap shown, loaded;
    Outcome outcome = reader.Open(folder.File("picture.png", DataOf(ElementOf(view, "picture-0"))));
    if (outcome.Ok()) outcome = reader.Read(1, shown);
    if (outcome.Ok()) outcome = LoadPicture(path, 1, {}, loaded);
    EXPECT_TRUE(outcome.Ok()) << name << ": " << outcome.what;
    EXPECT_EQ(LargestDifference(shown, loaded), 0) << name;
  }
}

TEST(HtmlView, JpegDataGoAsTheyAre) {
  const std::string path = Sample("foreign/oc_jpeg.afp");
  const View view = ViewOf(path);
  EXPECT_THAT(Pictures(view), ElementsAre("0\" data-type=\"image/jpeg\""));
  Document document(path);
  PictureData data;
  bool passes = false;
  Outcome outcome = document.Open();
  if (outcome.Ok()) outcome = document.ReadPictureData(1, {}, true, data, passes);
  ASSERT_TRUE(outcome.Ok() && passes) << outcome.what;
  EXPECT_TRUE(DataOf(ElementOf(view, "picture-0")) == data.data);
}

// The white of bilevel pictures, and only that, is clear.
TEST(HtmlView, WhiteOfBilevelPicturesIsClear) {
  for (const Colors colors : {Colors::kNone, Colors::kBlackWhite, Colors::kColored}) {
    const Bitmap bitmap = RandomBitmap(40, 30, 1, colors);
    std::vector<unsigned char> png, opaque;
    ASSERT_TRUE(EncodePng(bitmap, true, png).Ok());
    ASSERT_TRUE(EncodePng(bitmap, false, opaque).Ok());
    const std::string text(png.begin(), png.end());
    EXPECT_THAT(text, HasSubstr("tRNS"));
    EXPECT_EQ(std::string(opaque.begin(), opaque.end()).find("tRNS"), std::string::npos);
    // Who reads it puts it on white, and sees what was there.
    const TemporaryFolder folder;
    PictureReader reader;
    Bitmap shown;
    Outcome outcome = reader.Open(folder.File("clear.png", png));
    if (outcome.Ok()) outcome = reader.Read(1, shown);
    ASSERT_TRUE(outcome.Ok()) << outcome.what;
    EXPECT_EQ(LargestDifference(shown, bitmap), 0) << static_cast<int>(colors);
  }
}

TEST(HtmlView, PicturesThatCantBeShownAreNamedWithAWarning) {
  RenderOptions options;
  options.load.maxPixels = 100;
  const Bytes image = ImageObject(16, 16, AreaDescriptor(100, 100));
  const View view = ViewOf(ViewDocument(ViewPage({}) + ViewPage(image)), options);
  EXPECT_THAT(Pictures(view).at(0), HasSubstr("data-failed=\"picture 1\""));
  EXPECT_THAT(ElementOf(view, "told"), HasSubstr("[0,\"picture 1: "));
  ASSERT_FALSE(view.told.empty());
  EXPECT_THAT(view.told[0], HasSubstr("2 picture 1: "));
}

// The policy lets this style and this script be used and nothing else.
TEST(HtmlView, PolicyNamesItsOwnStyleAndScript) {
  const View view = ViewOf(ViewDocument(ViewPage({})), {.title = "<b>\"'&\x01"});
  const std::string policy = All(view.html, R"rx(Security-Policy" content="([^"]*)")rx").at(0);
  const size_t style = view.html.find("<style>") + 7, script = view.html.find("<script>") + 8;
  EXPECT_EQ(policy, "default-src 'none'; img-src data: blob:; style-src " +
                        PolicyHash(std::string_view(view.html).substr(
                            style, view.html.find("</style>") - style)) +
                        "; script-src " +
                        PolicyHash(std::string_view(view.html).substr(
                            script, view.html.find("</script>", script) - script)) +
                        "; base-uri 'none'; form-action 'none'");
  EXPECT_THAT(view.html, HasSubstr("<title>&lt;b&gt;&quot;&#39;&amp; </title>"));
  EXPECT_THAT(view.html, HasSubstr("{\"title\":\"\\u003cb\\u003e\\\"'\\u0026 \""));
  EXPECT_THAT(All(view.html, "((?:src|href)=\"(?!#|data:,)[^\"]*)"), IsEmpty());
}

TEST(HtmlView, LayoutIsAllThatStandsOnThePage) {
  const Bytes box =
      Field(0xA8BB) + AreaDescriptor(300, 200) + AreaPosition({.x = 100, .y = 600}) + Field(0xA9BB);
  const Bytes image =
      ImageObject(200, 100,
                  AreaDescriptor(400, 200) + AreaPosition({.x = 500, .y = 800, .rotation = 90}) +
                      MapImage(0x60));
  const Bytes text =
      TextObject(Inline(100) + Baseline(300) + Said("AB") + Inline(100) + Baseline(500) +
                 Control(0x74, {0, 2}) + Control(0xE4, Big16(400) + Big16(20)));
  const Bytes file = ViewDocument(ViewPage(box + image + text + IncludeSegment("GONE", 0, 0)));
  const std::string styles = R"({"styles":[[2,0,10,-1,0,"#000000"]],"items":[)";
  const std::string shown = ElementOf(ViewOf(file), "page-0");
  EXPECT_EQ(shown, styles + R"([3,10,60,30,20,"graphics"],)"
                            R"([2,0,50,80,90,40,20,0,0,0,40,20,0],)"
                            R"([0,10,30,0,12,0,"AB"],[1,10,50,40,2,"#ff0000"]],)"
                            R"("warnings":["there is no page segment GONE"]})");
  const View invisible = ViewOf(file, {.text = RenderedText::kInvisible});
  EXPECT_EQ(ElementOf(invisible, "page-0"), shown);
  EXPECT_THAT(ElementOf(invisible, "index"), HasSubstr("\"textIsInvisible\":true"));
  const std::string without = ElementOf(ViewOf(file, {.text = RenderedText::kNone}), "page-0");
  EXPECT_EQ(without.find("AB"), std::string::npos);
  EXPECT_THAT(without, HasSubstr("[1,10,50"));
}

// Groups with their tags, and those of their pages; only what leads to the pages asked for.
TEST(HtmlView, ContentsAreGroupsAndTags) {
  const auto tag = [](const std::string& name, const std::string& value) {
    return Field(0xA090,
                 Bytes{12, 0x02, 0x0B, 0} + Name(name) + Bytes{12, 0x36, 0, 0} + Name(value));
  };
  const auto group = [](const std::string& name, const Bytes& content) {
    return Field(0xA8AD, Name(name)) + content + Field(0xA9AD);
  };
  const Bytes plain = ViewPage({});
  const TemporaryFolder folder;
  const PageIndex index = Indexed(folder.File(
      "file", ViewDocument(plain +
                           group("OUTER", tag("CUSTOMER", "ADA12345") + plain +
                                              group("INNER", ViewPage(tag("PAGEKIND", "READINGS")) +
                                                                 plain)) +
                           group("LAST", tag("CUSTOMER", "LIND6789") + plain))));
  const struct {
    std::vector<int> pages;
    const char* contents;
  } cases[] = {
      {{1, 2, 3, 4, 5},
       "0 OUTER 1|1 CUSTOMER: ADA12345 1|1 INNER 2|2 PAGEKIND: READINGS 2|0 LAST 4|1 CUSTOMER: "
       "LIND6789 4|"},
      {{4, 5}, "0 OUTER 0|1 CUSTOMER: ADA12345 0|1 INNER 0|0 LAST 1|1 CUSTOMER: LIND6789 1|"},
      {{1}, ""},
      {{5, 1}, "0 LAST 0|1 CUSTOMER: LIND6789 0|"},
  };
  for (const auto& one : cases) {
    std::string contents;
    for (const ContentsEntry& entry : ContentsOf(index, one.pages)) {
      contents +=
          std::to_string(entry.level) + ' ' + entry.name + ' ' + std::to_string(entry.page) + '|';
    }
    EXPECT_EQ(contents, one.contents);
  }
}

}  // namespace
}  // namespace kz::test
