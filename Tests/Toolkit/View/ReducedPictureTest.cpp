// Pictures that are drawn much smaller than they are.
#include <gtest/gtest.h>

#include "Tests/Support/TestPictures.h"
#include "Tests/Toolkit/View/ViewFields.h"
#include "Toolkit/Pictures/PictureFile.h"
#include "Toolkit/View/PageRenderer.h"

namespace kz::test {
namespace {

// A page of 100 by 200 points, as many pixels.
Bitmap Drawn(const Bytes& page) {
  const TemporaryFolder folder;
  Document document(folder.File("file", ViewDocument(page)));
  Outcome outcome = document.Open();
  PageRenderer renderer(document, {.dpi = 72});
  if (outcome.Ok()) outcome = renderer.Write({1}, RenderFormat::kPng, folder / "out.png", {});
  PictureReader reader;
  if (outcome.Ok()) outcome = reader.Open(folder / "out.png");
  Bitmap bitmap;
  if (outcome.Ok()) outcome = reader.Read(1, bitmap);
  EXPECT_EQ(outcome.what, "");
  return bitmap;
}

// Of which many pixels become one: the mean of all of them, at every place of the picture and
// of each copy of one that repeats.
TEST(ReducedPictureTest, SmallPicturesAreMeansOfTheirPixels) {
  struct Case {
    const char* name;
    unsigned width, height;
    Bytes area;
    unsigned char pattern;
    int gray;
  };
  const Bytes whole = AreaDescriptor(1000, 2000) + MapImage(0x60);
  const Bytes copies = AreaDescriptor(1000, 2000) + MapImage(0x50);
  const Case cases[] = {
      {"half of the pixels", 4000, 8000, whole, 0x55, 128},
      {"a quarter of them", 4000, 8000, whole, 0x11, 191},
      {"all", 4000, 8000, whole, 0xFF, 0},
      {"not so many in the last", 3207, 3211, whole, 0xFF, 0},
      {"copies", 8, 8, copies, 0x55, 128},
      {"large copies", 1600, 40, copies, 0xFF, 0},
  };
  for (const Case& one : cases) {
    Bytes rows((one.width + 7) / 8 * one.height, one.pattern);
    const Bitmap bitmap = Drawn(ViewPage(ImageObject(one.width, one.height, one.area, rows)));
    ASSERT_EQ(bitmap.Height(), 200) << one.name;
    for (const int y : {0, 1, 77, 199}) {
      for (const int x : {0, 1, 50, 99}) {
        EXPECT_NEAR(ColorAt(bitmap, x, y)[0], one.gray, 3) << one.name << " " << x << "," << y;
      }
    }
  }
}

}  // namespace
}  // namespace kz::test
