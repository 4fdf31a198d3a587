#include "Toolkit/View/Sheets/ContactSheet.h"

#include <gtest/gtest.h>

#include <numeric>
#include <optional>

#include "Tests/Support/TestPictures.h"
#include "Tests/Toolkit/View/ViewFields.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz::test {
namespace {

// A page of 100 by 140 points, black but for a margin of 10 points; others are white.
Bytes BlackPage() {
  return ViewPage(
      ImageObject(800, 1200,
                  AreaDescriptor(800, 1200) + AreaPosition({.x = 100, .y = 100}) + MapImage(0x20)),
      1000, 1400);
}
Bytes WhitePage() { return ViewPage({}, 1000, 1400); }

class Sheet {
 public:
  explicit Sheet(const Bytes& file) : m_document(m_folder.File("file", file)) {
    EXPECT_TRUE(m_document.Open().Ok());
  }

  Outcome Write(const std::string& name, std::vector<int> pages, SheetOptions options = {}) {
    ContactSheet sheet(std::move(options));
    const bool pdf = name.ends_with(".pdf");
    Outcome outcome = sheet.Open(m_folder / name, pdf ? SheetFormat::kPdf : SheetFormat::kPng);
    std::vector<SheetPage> wanted;
    for (const int page : pages) wanted.push_back({&m_document, page});
    std::vector<std::string> warnings;
    if (outcome.Ok()) {
      outcome = sheet.Add(wanted, [&](const SheetPage&, const Outcome& told) {
        warnings.insert(warnings.end(), told.warnings.begin(), told.warnings.end());
      });
    }
    if (outcome.Ok()) outcome = sheet.Commit();
    m_sheets = sheet.Sheets();
    outcome.warnings = std::move(warnings);
    return outcome;
  }
  Bitmap Picture(const std::string& name) const {
    PictureReader reader;
    Bitmap bitmap;
    Outcome outcome = reader.Open(m_folder / name);
    if (outcome.Ok()) outcome = reader.Read(1, bitmap);
    EXPECT_TRUE(outcome.Ok()) << outcome.what;
    return bitmap;
  }
  std::vector<std::string> Names() const { return m_folder.Names(); }
  int Sheets() const { return m_sheets; }

 private:
  TemporaryFolder m_folder;
  Document m_document;
  int m_sheets = 0;
};

int Brightness(const Bitmap& bitmap, int x, int y) {
  const Color color = ColorAt(bitmap, x, y);
  return (color[0] + color[1] + color[2]) / 3;
}

// Frames of 100 pixels, 10 between them, 15 around.
TEST(ContactSheetTest, ThumbnailsStandAtTheirPlaces) {
  Sheet sheet(ViewDocument(BlackPage() + WhitePage()));
  ASSERT_EQ(sheet.Write("sheet.png", {1, 2, 2, 1}, {.columns = 3, .size = 100}).what, "");
  const Bitmap picture = sheet.Picture("sheet.png");
  EXPECT_EQ(picture.Width(), 15 + 3 * 100 + 2 * 10 + 15);
  const int rowHeight = (picture.Height() - 2 * 15 - 10) / 2;
  EXPECT_GT(rowHeight, 140);
  const bool black[] = {true, false, false, true};
  for (int i = 0; i < 4; ++i) {
    const int left = 15 + i % 3 * 110, top = 15 + i / 3 * (rowHeight + 10);
    const int inside = black[i] ? 0 : 255;
    for (const auto& [x, y] : {std::pair(11, 11), {88, 11}, {11, 128}, {88, 128}}) {
      EXPECT_EQ(Brightness(picture, left + x, top + y), inside) << i << " at " << x << "," << y;
    }
    for (const auto& [x, y] : {std::pair(0, 0), {99, 0}, {0, 139}, {99, 139}, {8, 70}, {91, 70}}) {
      EXPECT_EQ(Brightness(picture, left + x, top + y), 255) << i << " at " << x << "," << y;
    }
    // The frame, and the sheet around it.
    EXPECT_LT(Brightness(picture, left - 1, top + 70), 230);
    EXPECT_LT(Brightness(picture, left - 3, top + 70), 250);
  }
  // There is none at the fifth place.
  EXPECT_LT(Brightness(picture, 15 + 110 + 50, 15 + rowHeight + 10 + 70), 250);
}

TEST(ContactSheetTest, PagesOfAnyShapeStayWithinTheirFrames) {
  const std::pair<int, int> sizes[] = {
      {1000, 1400}, {1400, 1000}, {10, 30000}, {30000, 10}, {1, 1}};
  Bytes pages;
  for (const auto& [width, height] : sizes) pages = pages + ViewPage({}, width, height);
  Sheet sheet(ViewDocument(pages));
  ASSERT_EQ(sheet.Write("sheet.png", {1, 2, 3, 4, 5}, {.columns = 5, .size = 50}).what, "");
  const Bitmap picture = sheet.Picture("sheet.png");
  for (int cell = 0; cell < 5; ++cell) {
    // The frame ends with the row of thumbnails: 71 pixels.
    int white = 0;
    for (int y = 0; y < picture.Height(); ++y) {
      for (int x = 0; x < picture.Width(); ++x) {
        if (Brightness(picture, x, y) < 255) continue;
        EXPECT_LE(y, 12 + 71);
        const bool here = x >= 9 + cell * 56 && x < 9 + cell * 56 + 50;
        white += here ? 1 : 0;
      }
    }
    EXPECT_GT(white, 0) << cell;
  }
}

TEST(ContactSheetTest, APageThatCantBeDrawnLeavesAMarkAndAWarning) {
  Sheet sheet(ViewDocument(WhitePage()));
  const Outcome outcome = sheet.Write("sheet.png", {1, 7, 1}, {.columns = 3, .size = 100});
  EXPECT_EQ(outcome.what, "");
  EXPECT_EQ(outcome.warnings, std::vector<std::string>{"it can't be drawn: there is no page 7"});
  const Bitmap picture = sheet.Picture("sheet.png");
  // Crossed lines meet in the middle of the second frame.
  const Color middle = ColorAt(picture, 15 + 110 + 50, 15 + 71);
  EXPECT_GT(middle[0], middle[2] + 40);
  EXPECT_EQ(Brightness(picture, 15 + 50, 15 + 71), 255);
}

TEST(ContactSheetTest, SheetsAreAsManyAsTheNameTakes) {
  Sheet sheet(ViewDocument(BlackPage()));
  std::vector<int> pages(30, 1);
  ASSERT_EQ(sheet.Write("n%02d.png", pages, {.columns = 3, .size = 60}).what, "");
  // Rows of about 100 pixels on sheets of about 300.
  EXPECT_EQ(sheet.Sheets(), 5);
  EXPECT_EQ(sheet.Names(), (std::vector<std::string>{"file", "n01.png", "n02.png", "n03.png",
                                                     "n04.png", "n05.png"}));
  ASSERT_EQ(sheet.Write("all.pdf", pages, {.columns = 4}).what, "");
  EXPECT_EQ(sheet.Sheets(), 2);
  EXPECT_EQ(sheet.Write("none.png", {}).status, K_ERROR_INVALID_FORMAT);
  pages.assign(60, 1);
  const Outcome tooLarge = sheet.Write("large.png", pages, {.columns = 2, .size = 2000});
  EXPECT_EQ(tooLarge.status, K_ERROR_INVALID_FORMAT);
  EXPECT_NE(tooLarge.what.find("%d"), std::string::npos) << tooLarge.what;
  EXPECT_EQ(sheet.Names().size(), 7U);
}

}  // namespace
}  // namespace kz::test
