#include "Toolkit/Documents/Selection.h"

#include "Tests/Support/EditedDocuments.h"

namespace kz::test {
namespace {

Bytes Tag(const std::string& name, const std::string& value) {
  Bytes triplets = Bytes{12, 0x02, 0x0B, 0} + Name(name);
  return Field(0xA090, triplets + Bytes{12, 0x36, 0, 0} + Name(value));
}

TEST(Selection, NamesPagesByNumberGroupAndTag) {
  const Bytes endGroup = Field(0xA9AD);
  const auto group = [](const std::string& name) { return Field(0xA8AD, Name(name)); };
  const TemporaryFolder folder;
  const PageIndex index = Indexed(folder.File(
      "document", Begin("D") + NumberedPage(1) + group("OUTER") + Tag("ID", "1") + NumberedPage(2) +
                      group("INNER") + Tag("ID", "2") + NumberedPage(3) + NumberedPage(4) +
                      endGroup + NumberedPage(5, {}, Tag("KIND", "A")) + endGroup + group("INNER") +
                      NumberedPage(6) + endGroup + group("EMPTY") + Tag("ID", "3") + endGroup +
                      NumberedPage(7) + End("D")));
  const struct {
    const char* pages;
    std::vector<std::string> groups;
    std::vector<std::string> tags;
    std::vector<int> expected;
    const char* words;  // of the failure, if nothing is expected
  } cases[] = {
      {"", {}, {}, {1, 2, 3, 4, 5, 6, 7}, ""},
      {"z,1,1", {}, {}, {7, 1, 1}, ""},
      {"", {"OUTER"}, {}, {2, 3, 4, 5}, ""},
      {"", {"INNER"}, {}, {3, 4, 6}, ""},
      {"", {"INNER", "OUTER"}, {"KIND=A"}, {2, 3, 4, 5, 6}, ""},
      {"", {}, {"ID=2", "KIND=A"}, {3, 4, 5}, ""},
      {"z-3", {"INNER"}, {"ID=2"}, {6, 4, 3}, ""},
      {"9", {"INNER"}, {}, {}, "there is no page 9, the last is page 7"},
      {"", {"INNER", "inner"}, {}, {}, "there is no group inner"},
      {"", {"EMPTY"}, {}, {}, "the group EMPTY has no pages"},
      {"", {"OUTER"}, {"ID=3"}, {}, "no page has the tag ID=3"},
      {"1", {"INNER"}, {}, {}, "none of the pages"},
  };
  for (const auto& c : cases) {
    Selection selection;
    if (*c.pages != '\0') {
      EXPECT_TRUE(selection.SetPages(c.pages).Ok());
    }
    for (const std::string& name : c.groups) selection.AddGroup(name);
    for (const std::string& tag : c.tags) EXPECT_TRUE(selection.AddTag(tag).Ok());
    std::vector<int> pages;
    const Outcome outcome = selection.Resolve(index, pages);
    EXPECT_EQ(outcome.status == -9, c.expected.empty()) << outcome.what;
    EXPECT_THAT(outcome.what, testing::HasSubstr(c.words));
    EXPECT_EQ(pages, c.expected) << testing::PrintToString(c.tags);
  }
  EXPECT_EQ(Selection().AddTag("ID").status, -9);
}

}  // namespace
}  // namespace kz::test
