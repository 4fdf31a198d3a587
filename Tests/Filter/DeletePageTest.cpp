// Deleting the second page of a document.
#include <gtest/gtest.h>

#include "API/Filters/Ica/Common/Ica.h"
#include "Tests/Filter/FileBuilder.h"

namespace {

Bytes Page(unsigned char content, const Bytes& name, const Style& style) {
  return Field(0xA8AF, name, style) + Field(0xEE9B, Bytes(size_t{content} * 100, content), style) +
         Field(0xA9AF, name, style);
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
  const Bytes bang = Bytes(7, 0x40) + Bytes{0x5A};
  const Style styles[] = {{}, {true, {}, false}, {false, {1, 2}, true}};
  for (const Style& style : styles) {
    for (const Bytes& pageName : {Bytes{}, name, bang}) {
      SCOPED_TRACE(testing::Message() << "0x5A " << style.carriageControl << ", extended "
                                      << style.extended << ", name " << pageName.size());
      const Bytes one = Field(0xA8A8, {}, style) + Page(1, pageName, style);
      const Bytes two = Page(90, pageName, style);
      const Bytes three = Page(3, pageName, style);
      const Bytes end = Field(0xA9A8, pageName, style);
      const Bytes behind = end + Page(4, pageName, style);
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
  }
  const TemporaryFolder folder;
  EXPECT_EQ(Delete(folder / "missing"), K_ERROR_OPEN_WRITE);
  EXPECT_FALSE(std::filesystem::exists(folder / "missing"));
}

}  // namespace
