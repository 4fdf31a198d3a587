// Views in a real browser: what they show, how they are used, and that nothing of a document
// is run. All of it in one start of the browser; view.py has the steps.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Tests/Browser/ViewedDocuments.h"
#include "Toolkit/View/Comparison/Visual/VisualComparison.h"
#include "Toolkit/View/PageRenderer.h"

namespace kz::test {
namespace {

void Render(const TemporaryFolder& folder, const std::string& name, const Bytes& file,
            const RenderOptions& options = {}) {
  Document document(folder.File(name + ".afp", file));
  Outcome outcome = document.Open();
  ASSERT_TRUE(outcome.Ok()) << outcome.what;
  std::vector<int> pages;
  for (int page = 1; page <= document.Pages(); ++page) pages.push_back(page);
  RenderOptions given = options;
  if (given.title.empty()) given.title = name + ".afp";
  outcome = PageRenderer(document, given)
                .Write(pages, RenderFormat::kHtml, folder / (name + ".html"), nullptr);
  ASSERT_TRUE(outcome.Ok()) << outcome.what;
}

// A document as one picture for each page.
void Draw(const TemporaryFolder& folder, const std::string& name, const Bytes& file) {
  Document document(folder.File(name + ".afp", file));
  Outcome outcome = document.Open();
  PageRenderer renderer(document, {});
  for (int page = 1; outcome.Ok() && page <= document.Pages(); ++page) {
    const std::string out = folder / (name + "-" + std::to_string(page) + ".svg");
    outcome = renderer.Write({page}, RenderFormat::kSvg, out, nullptr);
  }
  ASSERT_TRUE(outcome.Ok()) << outcome.what;
}

void Compare(const TemporaryFolder& folder, const std::string& name, const Bytes& a,
             const Bytes& b) {
  Document first(folder.File("a.afp", a)), second(folder.File("b.afp", b));
  ASSERT_TRUE(first.Open().Ok() && second.Open().Ok());
  VisualComparison visual(first, second, {.nameA = HostileTexts()[0], .nameB = HostileTexts()[1]});
  CompareSummary summary;
  Outcome outcome = CompareDocuments(
      first, second, {},
      [&](const ComparedPages& pages) {
        visual.Add(pages);
        return true;
      },
      summary);
  if (outcome.Ok()) outcome = visual.Write(folder / (name + ".html"), summary);
  ASSERT_TRUE(outcome.Ok()) << outcome.what;
}

// With KZ_VIEW_PICTURE, a picture of the view is written there too.
TEST(Browser, ViewsShowDocumentsAndRunNothingOfThem) {
  const TemporaryFolder folder;
  Render(folder, "statements", Statements());
  Render(folder, "invisible", Statements(), {.text = RenderedText::kInvisible});
  Render(folder, "hostile", HostileDocument(), {.title = HostileTexts()[0]});
  Render(folder, "long", LongDocument(2000));
  Draw(folder, "hostile", HostileDocument());
  Compare(folder, "differences", HostileDocument(), Statements());
  const char* picture = std::getenv("KZ_VIEW_PICTURE");
  std::string command = "/usr/bin/python3 '" KZ_BROWSER_STEPS "' '";
  command.append(folder / "").append("'");
  if (picture != nullptr) command.append(" '").append(picture).append("'");
  EXPECT_EQ(std::system(command.c_str()), 0);
}

}  // namespace
}  // namespace kz::test
