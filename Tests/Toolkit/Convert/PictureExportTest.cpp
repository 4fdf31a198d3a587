// Data that go into other formats as they are: which do, and that they show what is loaded.
#include "Toolkit/Convert/PictureExport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/TestPictures.h"
#include "Tests/Toolkit/Pictures/JpegPatches.h"
#include "Toolkit/Documents/UnframedFile.h"
#include "Toolkit/Imaging/JpegCodec.h"

namespace kz::test {

namespace {

namespace fs = std::filesystem;

bool SamePixels(const Bitmap& left, const Bitmap& right) {
  if (left.Width() != right.Width() || left.Height() != right.Height()) return false;
  for (int y = 0; y < left.Height(); ++y) {
    for (int x = 0; x < left.Width(); ++x) {
      if (ColorAt(left, x, y) != ColorAt(right, x, y)) return false;
    }
  }
  return true;
}

// What libtiff and libjpeg make of the data, seen upright.
Bitmap DecodedByOthers(const TemporaryFolder& folder, const PictureData& data) {
  Bitmap bitmap;
  if (data.coding == PictureCoding::kJpeg) {
    EXPECT_EQ(DecodeJpeg(data.data.data(), data.data.size(), 0, K_ORDER_RGB, bitmap).status, 1);
    EXPECT_EQ(data.components == 1 ? 8 : 24, bitmap.BitsPerPixel());
    if (data.bottomUp) bitmap.Handle()->nViewPerspective = K_VIEW_BOTTOM_UP;
    return bitmap;
  }
  PictureWriter writer;
  EXPECT_TRUE(writer.Open(folder / "data.tif").Ok());
  EXPECT_TRUE(writer.AddData(data).Ok());
  EXPECT_TRUE(writer.Commit().Ok());
  PictureReader reader;
  EXPECT_TRUE(reader.Open(folder / "data.tif").Ok());
  EXPECT_TRUE(reader.Read(1, bitmap).Ok());
  return bitmap;
}

// The pictures of a file that pass, each with "!" when it has another look than the one that
// is loaded.
std::string Passing(const std::string& file, bool check) {
  const TemporaryFolder folder;
  UnframedFile unframed;
  Document document(unframed.Open(file).Ok() ? unframed.Path() : file);
  std::string passing;
  if (!document.Open().Ok()) return "unopened";
  for (int picture = 1; picture <= document.Pictures(); ++picture) {
    PictureData data;
    bool passes = false;
    const Outcome read = document.ReadPictureData(picture, {}, check, data, passes);
    EXPECT_EQ(passes, !data.data.empty());
    if (!passes) continue;
    if (!passing.empty()) passing += ' ';
    passing += std::to_string(picture);
    Bitmap bitmap;
    const Outcome loaded = document.LoadPicture(picture, {}, bitmap);
    const bool same = loaded.Ok() && SamePixels(DecodedByOthers(folder, data), bitmap) &&
                      data.xResolution == bitmap.XResolution() &&
                      data.yResolution == bitmap.YResolution() && read.warnings == loaded.warnings;
    if (!same) passing += "!";
  }
  return passing;
}

TEST(PassedData, OfTheSamplesAreThePicturesThatAreLoaded) {
  const std::pair<const char*, const char*> files[] = {
      {"letter-g4.ica", "1"},
      {"report-g4.mda", "1 2 3"},
      {"report-mixed.afp", "1 2 3"},  // MMR and uncompressed ones don't
      {"letter-scattered.afp", "1"},
      {"records-crlf.afp", "1"},
      {"damaged-truncated.mda", ""},
      {"foreign/bare_two.ica", "1 2"},
      {"foreign/fop_bw8_native.afp", "2 4"},
      {"foreign/fop_cmyk_jpeg.afp", ""},
      {"foreign/fop_color_jpeg.afp", "2 4"},
      {"foreign/fs10_g4_vsize0.afp", ""},  // nothing says how many rows
      {"foreign/fs11_bilevel_band.afp", "1"},
      {"foreign/fs11_jpeg_recfe_9f.afp", "1"},
      {"foreign/fs11_jpeg_subsampling_le.afp", "1"},
      {"foreign/fs40_g4_tiles_defaults.afp", ""},
      {"foreign/fs42_cmyk1_g4_bands.afp", ""},
      {"foreign/g3_frame_padded.afp", ""},
      {"foreign/idd_color_f6_red.afp", ""},
      {"foreign/idd_smaller.afp", ""},
      {"foreign/mixed_first_unsupported.afp", "2 4"},
      {"foreign/multi_content.afp", "1"},
      {"foreign/oc_jpeg.afp", "1"},
      {"foreign/size_res0.afp", "1"},
  };
  for (const auto& [file, passing] : files) {
    EXPECT_EQ(Passing(KZ_SAMPLES "/" + std::string(file), true), passing) << file;
    // A cut one can't be told without decoding it, but its other half isn't there.
    EXPECT_EQ(Passing(KZ_SAMPLES "/" + std::string(file), false), passing) << file;
  }
}

Bytes JpegSegment(const Bytes& jpeg, int size, unsigned char depth, const Bytes& more = {},
                  unsigned char recording = 1) {
  const auto side = static_cast<unsigned>(size);
  return Segment(
      ImageSize(side, side) + Encoding(0x83, recording) + Parameter(0x96, {depth}) + more, jpeg);
}

struct JpegCase {
  const char* name;
  Bytes segment;
  const char* passing;
  bool unchecked = false;  // passes with trust only
};

TEST(PassedData, OfJpegPicturesSayTheirColours) {
  const int size = 48;
  const Bytes gray = EncodePatches(JpegKind::Gray, size);
  const Bytes color = EncodePatches(JpegKind::YCbCr, size);
  const Bytes rgb = EncodePatches(JpegKind::PlainRgb, size);
  const Bytes inks = EncodePatches(JpegKind::Inks, size);
  const Bytes adobe = EncodePatches(JpegKind::AdobeInks, size);
  const Bytes ycck = EncodePatches(JpegKind::AdobeYcck, size);
  Bytes arithmetic = color;
  for (size_t i = 2; i + 1 < arithmetic.size(); ++i) {
    if (arithmetic[i] == 0xFF && arithmetic[i + 1] == 0xC0) arithmetic[i + 1] = 0xC9;
  }
  const Bytes subtractive = Parameter(0x9B, {0x80, 0x01, 0, 0, 0, 8});
  const Bytes fourInks = Parameter(0x9B, {0, 0x04, 0, 0, 0, 8, 8, 8, 8});
  const JpegCase cases[] = {
      {"gray", JpegSegment(gray, size, 8), "1"},
      {"gray in colours", JpegSegment(gray, size, 24), ""},
      {"colour", JpegSegment(color, size, 24), "1"},
      {"colour made gray", JpegSegment(color, size, 8), ""},
      {"colour of another size", JpegSegment(color, size + 1, 24), "1"},
      {"RGB", JpegSegment(rgb, size, 24), "1"},
      {"bottom up", JpegSegment(color, size, 24, {}, 3), "1"},
      {"inks", JpegSegment(inks, size, 32, fourInks), "1"},
      {"inks of Adobe", JpegSegment(adobe, size, 32, fourInks), "1"},
      {"luma and inks", JpegSegment(ycck, size, 32, fourInks, 3), "1"},
      {"arithmetic codes", JpegSegment(arithmetic, size, 24), ""},
      {"subtractive", JpegSegment(gray, size, 8, subtractive, 0xFE), ""},
      {"cut", JpegSegment(Slice(color, 0, color.size() - 200), size, 24), "", true},
      {"no JPEG", JpegSegment(Bytes(500, 0x55), size, 24), ""},
  };
  const TemporaryFolder folder;
  for (const JpegCase& tested : cases) {
    const std::string file = folder.File("picture.mda", ::Document({tested.segment}));
    EXPECT_EQ(Passing(file, true), tested.passing) << tested.name;
    kz::Document document(file);
    ASSERT_TRUE(document.Open().Ok());
    PictureData data;
    bool passes = false;
    (void)document.ReadPictureData(1, {}, false, data, passes);
    EXPECT_EQ(passes, tested.unchecked || tested.passing[0] != 0) << tested.name;
    LoadOptions small;
    small.maxPixels = size * size - 1;
    (void)document.ReadPictureData(1, small, true, data, passes);
    EXPECT_FALSE(passes) << tested.name;
  }
}

TEST(PassedData, SayWhereAdobesInksAreInvertedAndKeepProfilesColours) {
  const TemporaryFolder folder;
  const Bytes fourInks = Parameter(0x9B, {0, 0x04, 0, 0, 0, 8, 8, 8, 8});
  for (const bool adobe : {false, true}) {
    const Bytes jpeg = EncodePatches(adobe ? JpegKind::AdobeInks : JpegKind::Inks, 16);
    kz::Document document(folder.File("i.mda", ::Document({JpegSegment(jpeg, 16, 32, fourInks)})));
    ASSERT_TRUE(document.Open().Ok());
    PictureData data;
    bool passes = false;
    ASSERT_TRUE(document.ReadPictureData(1, {}, true, data, passes).Ok());
    EXPECT_TRUE(passes);
    EXPECT_EQ(data.components, 4);
    EXPECT_EQ(data.invertedInks, adobe);
    LoadOptions colors;
    colors.profile = std::make_shared<const Bytes>(Bytes{1, 2, 3});
    ASSERT_TRUE(document.ReadPictureData(1, colors, true, data, passes).Ok());
    EXPECT_FALSE(passes);
    EXPECT_EQ(document.ReadPictureData(2, {}, true, data, passes).status, K_ERROR_INVALID_FORMAT);
  }
}

// A letter of many pages of several kinds, some of them damaged.
TEST(ExportPictures, KeepsTheOrderAndTheRest) {
  const TemporaryFolder folder;
  kz::Document whole(KZ_SAMPLES "/report-mixed.afp");
  kz::Document cut(KZ_SAMPLES "/damaged-truncated.mda");
  kz::Document color(KZ_SAMPLES "/foreign/fop_color_jpeg.afp");
  for (kz::Document* document : {&whole, &cut, &color}) ASSERT_TRUE(document->Open().Ok());
  std::vector<ShownPicture> pictures;
  for (int i = 0; i < 5; ++i) {
    for (int picture = 1; picture <= 6; ++picture) pictures.push_back({&whole, picture});
    pictures.push_back({&cut, 1});
    pictures.push_back({&color, 2});
    pictures.push_back({&color, 9});  // isn't there
  }
  for (const unsigned threads : {1U, 4U}) {
    for (const bool dither : {false, true}) {
      SCOPED_TRACE(threads);
      ExportOptions options;
      options.dither = dither;
      Workers workers(threads);
      PictureWriter writer;
      ASSERT_TRUE(writer.Open(folder / "all.pdf").Ok());
      std::vector<int> told;
      ExportCounts counts;
      const auto tell = [&](const ShownPicture& shown, const Outcome& outcome) {
        told.push_back(outcome.Ok() == (shown.picture != 9) ? shown.picture : -1);
      };
      ASSERT_TRUE(ExportPictures(pictures, options, workers, writer, tell, counts).Ok());
      ASSERT_TRUE(writer.Commit().Ok());
      std::vector<int> expected;
      for (const ShownPicture& shown : pictures) expected.push_back(shown.picture);
      EXPECT_EQ(told, expected);
      EXPECT_EQ(counts.written, 40U);
      EXPECT_EQ(counts.failed, 5U);
      EXPECT_EQ(counts.damaged, 5U);
      EXPECT_EQ(counts.passed, dither ? 15U : 20U);
    }
  }
  // The same file, whatever the number of threads.
  Bytes files[2];
  for (const unsigned threads : {1U, 4U}) {
    Workers workers(threads);
    PictureWriter writer;
    ASSERT_TRUE(writer.Open(folder / "all.tif").Ok());
    ExportCounts counts;
    ASSERT_TRUE(ExportPictures(pictures, {}, workers, writer, {}, counts).Ok());
    ASSERT_TRUE(writer.Commit().Ok());
    files[threads / 4] = FileBytes(folder / "all.tif");
  }
  EXPECT_TRUE(files[0] == files[1]);
}

// Others still prepare pages when the writer fails.
TEST(ExportPictures, EndsWhenTheWriterFails) {
  kz::Document document(KZ_SAMPLES "/report-mixed.afp");
  ASSERT_TRUE(document.Open().Ok());
  const std::vector<ShownPicture> pictures(40, {&document, 5});
  Workers workers(4);
  PictureWriter writer;
  const TemporaryFolder folder;
  ASSERT_TRUE(writer.Open(folder / "one.png").Ok());
  ExportCounts counts;
  const Outcome outcome = ExportPictures(pictures, {}, workers, writer, {}, counts);
  EXPECT_EQ(outcome.status, K_ERROR_SAVE_FORMAT);
  EXPECT_EQ(counts.written, 1U);

  // A tif that would pass 4 GiB: pages go to the end of what is there.
  const TemporaryFolder tifs;
  ASSERT_TRUE(writer.Open(tifs / "large.tif").Ok());
  ASSERT_TRUE(writer.AddPage(RandomBitmap(9, 9, 1)).Ok());
  fs::resize_file(tifs / tifs.Names().at(0), (uintmax_t{1} << 32) - 17000);
  counts = {};
  const std::vector<ShownPicture> large(40, {&document, 1});
  EXPECT_EQ(ExportPictures(large, {}, workers, writer, {}, counts).status, K_ERROR_WRITE);
  EXPECT_EQ(counts.written, 0U);
  EXPECT_TRUE(tifs.Names().empty());
}

}  // namespace

}  // namespace kz::test
