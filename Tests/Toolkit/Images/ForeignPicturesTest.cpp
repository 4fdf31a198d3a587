// The image contents of files of other producers, against pictures that independent
// decoders made of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "Tests/Support/TestPictures.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Documents/UnframedFile.h"
#include "Toolkit/Files/FileWindow.h"
#include "Toolkit/Images/AnyPicture.h"
#include "Toolkit/Images/DecodeImage.h"
#include "Toolkit/Images/ImageContent.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace kz::test {

namespace {

namespace fs = std::filesystem;

struct Expected {
  std::string file;
  std::string picture;
  int number;
};
void PrintTo(const Expected& expected, std::ostream* to) {
  *to << fs::path(expected.picture).filename().string();
}

// NAME.expected.png is the first picture of NAME.afp, NAME.expected_2.png the second.
std::vector<Expected> FindExpected() {
  const std::string mark = ".expected";
  std::vector<Expected> found;
  for (const auto& entry : fs::directory_iterator(std::string(KZ_SAMPLES) + "/foreign")) {
    const std::string name = entry.path().stem().string();
    const size_t at = name.rfind(mark);
    if (entry.path().extension() != ".png" || at == std::string::npos) continue;
    const std::string number = name.substr(at + mark.size());
    for (const char* ending : {".afp", ".ica"}) {
      const fs::path file = entry.path().parent_path() / (name.substr(0, at) + ending);
      if (!fs::exists(file)) continue;
      found.push_back(
          {file.string(), entry.path().string(), number.empty() ? 1 : std::stoi(number.substr(1))});
    }
  }
  std::sort(found.begin(), found.end(),
            [](const Expected& a, const Expected& b) { return a.picture < b.picture; });
  return found;
}

constexpr int kJpegLevels = 8;

// Decoders differ in how they round JPEG data, inks, and luma and chroma.
int Tolerance(const ImageContent& content) {
  constexpr uint8_t kJpeg = 0x83;
  constexpr uint8_t kInks = 0x04;
  const auto levels = [](const CodedImage& image) {
    const ImageParameters& parameters = image.parameters;
    if (parameters.compression == kJpeg) return kJpegLevels;
    if (parameters.colorSpace == kInks) return 3;
    return parameters.bitsPerPixel == 24 && parameters.colorSpace == 0x12 ? 1 : 0;
  };
  int most = levels(content.image);
  for (const ImageTile& tile : content.tiles) most = std::max(most, levels(tile.image));
  return most;
}

class ForeignPictures : public testing::TestWithParam<Expected> {};

TEST_P(ForeignPictures, AreWhatOthersSee) {
  const Expected& expected = GetParam();
  UnframedFile unframed;
  ASSERT_TRUE(unframed.Open(expected.file).Ok());
  Document document(unframed.Path());
  ASSERT_TRUE(document.Open().Ok());
  ASSERT_GE(document.Pictures(), expected.number);
  const PicturePlace& place = document.Index().pictures[static_cast<size_t>(expected.number - 1)];
  PictureReader reader;
  Bitmap seen;
  ASSERT_TRUE(reader.Open(expected.picture).Ok());
  ASSERT_TRUE(reader.Read(1, seen).Ok());

  int tolerance = kJpegLevels;
  if (place.kind == PictureKind::Ioca) {
    FileWindow file;
    ASSERT_TRUE(file.Open(unframed.Path()).Ok());
    ImageContent content;
    Outcome outcome = ReadImageContent(file, place, content);
    ASSERT_TRUE(outcome.Ok()) << outcome.what;
    tolerance = Tolerance(content);
    const ImageDescriptor descriptor = ReadImageDescriptor(file, place);
    const ImageShape shape = ShapeOf(content, descriptor);
    EXPECT_EQ(Unsupported(content), "");
    DecodedImage image;
    bool damaged = true;
    outcome = DecodeImage(content, descriptor, {}, image, damaged);
    ASSERT_TRUE(outcome.Ok()) << outcome.what;
    EXPECT_FALSE(damaged);
    EXPECT_EQ(std::min(shape.bitsPerPixel, 24), image.bitmap.BitsPerPixel());
    EXPECT_GT(image.bitmap.XResolution(), 0);
    EXPECT_LE(LargestDifference(image.bitmap, seen), tolerance)
        << image.bitmap.Width() << " x " << image.bitmap.Height();
  } else if (place.kind == PictureKind::Im1) {
    tolerance = 0;
  }

  // The same by way of the filter, where it takes the picture.
  PictureInfo info;
  Bitmap bitmap;
  ASSERT_TRUE(document.DescribePicture(expected.number, info).Ok());
  const Outcome outcome = document.LoadPicture(expected.number, {}, bitmap);
  ASSERT_TRUE(outcome.Ok()) << outcome.what;
  EXPECT_TRUE(outcome.warnings.empty()) << outcome.warnings[0];
  EXPECT_LE(LargestDifference(bitmap, seen), tolerance);
  EXPECT_EQ(info.width, seen.Width());
  EXPECT_EQ(info.height, seen.Height());
}

INSTANTIATE_TEST_SUITE_P(Samples, ForeignPictures, testing::ValuesIn(FindExpected()),
                         [](const auto& test) {
                           std::string name = fs::path(test.param.picture).stem().string();
                           std::replace(name.begin(), name.end(), '.', '_');
                           return name;
                         });

// Its bytes are dealt over the bands of a tile, and the last ones are lost; nobody else
// reads it. The same picture stands uncompressed in a file of another configuration.
TEST(DealtJpegData, AreThePictureThatTheyWere) {
  const std::string folder = std::string(KZ_SAMPLES) + "/foreign/";
  Bitmap dealt;
  Bitmap plain;
  ASSERT_TRUE(LoadPicture(folder + "fop_cmyk_jpeg.afp", 1, {}, dealt).Ok());
  ASSERT_TRUE(LoadPicture(folder + "fop_color_jpeg.afp", 1, {}, plain).Ok());
  ASSERT_EQ(dealt.Width(), plain.Width());
  ASSERT_EQ(dealt.Height(), plain.Height());
  // Inside the discs and the strip, away from edges.
  for (const auto& [x, y] : {std::pair{55, 55},
                             {115, 85},
                             {175, 65},
                             {35, 145},
                             {95, 145},
                             {155, 145},
                             {200, 145},
                             {225, 145},
                             {3, 170}}) {
    const Color seen = ColorAt(dealt, x, y);
    const Color wanted = ColorAt(plain, x, y);
    for (size_t c = 0; c < 3; ++c) EXPECT_NEAR(seen[c], wanted[c], 16) << x << ", " << y;
  }
}

// Of every picture of our samples that the filter describes.
TEST(BothReaders, GiveTheSamePicture) {
  int compared = 0;
  for (const auto& entry : fs::directory_iterator(KZ_SAMPLES)) {
    const std::string name = entry.path().string();
    Document document(name);
    if (!entry.is_regular_file() || !document.Open().Ok()) continue;
    for (int picture = 1; picture <= document.Pictures(); ++picture) {
      SCOPED_TRACE(name + ", picture " + std::to_string(picture));
      PictureInfo info;
      Bitmap filters;
      LoadOptions strict;
      strict.strict = true;
      if (!document.LoadPicture(picture, strict, filters, &info).Ok() || info.format == 0) continue;
      FileWindow file;
      ASSERT_TRUE(file.Open(name).Ok());
      const PicturePlace& place = document.Index().pictures[static_cast<size_t>(picture) - 1];
      DecodedImage image;
      bool damaged = true;
      const Outcome outcome = LoadAnyPicture(file, place, strict, image, info, damaged);
      ASSERT_TRUE(outcome.Ok()) << outcome.what;
      EXPECT_EQ(LargestDifference(image.bitmap, filters), 0);
      EXPECT_EQ(image.bitmap.XResolution(), filters.XResolution());
      ++compared;
    }
  }
  EXPECT_GT(compared, 10);
}

}  // namespace

}  // namespace kz::test
