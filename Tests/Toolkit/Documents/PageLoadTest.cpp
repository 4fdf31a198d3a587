// Loading pages through the toolkit: what the filter leaves to the host.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "API/Filters/Ica/Common/Ica.h"
#include "Host/Kernel/KernelTesting.h"
#include "Tests/Support/FileBuilder.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Editing/SavePage.h"
#include "Toolkit/Imaging/RowConversion.h"

namespace {

using testing::HasSubstr;

// Top row first.
Bytes PackedRows(kz::Bitmap& bitmap) {
  Bytes rows;
  for (int y = 0; y < bitmap.Height(); ++y) {
    const unsigned char* row = bitmap.TopDownRow(y);
    rows.insert(rows.end(), row, row + (bitmap.Width() * bitmap.BitsPerPixel() + 7) / 8);
  }
  return rows;
}

// What the picture of a file's first page is.
struct Loaded {
  explicit Loaded(const Bytes& file) {
    const TemporaryFolder folder;
    const size_t blocks = K_LiveBlocks();
    kz::Bitmap bitmap;
    outcome = kz::LoadPicture(folder.File("file", file), 1, {}, bitmap);
    width = bitmap.Width();
    bitsPerPixel = bitmap.BitsPerPixel();
    warnings = outcome.warnings;
    picture = PackedRows(bitmap);
    EXPECT_EQ(bitmap.Empty(), !outcome.Ok());
    bitmap.Reset();
    // The thread's record of the filter stays.
    EXPECT_LE(K_LiveBlocks(), blocks + 1);
    EXPECT_EQ(K_OpenFiles(), 0u);
  }
  kz::Outcome outcome;
  int width, bitsPerPixel;
  Bytes picture;
  std::vector<std::string> warnings;
};

Bytes Uncompressed(unsigned width, unsigned height, const Bytes& data, unsigned char recording = 1,
                   unsigned char bitOrder = 0) {
  return Segment(ImageSize(width, height) + Parameter(0x95, {0x03, recording, bitOrder}), data);
}

TEST(PageLoad, UncompressedRowsComeOutRight) {
  const Bytes plain = {0x12, 0x30, 0x45, 0x60};
  const struct {
    const char* what;
    Bytes data;
    unsigned char recording, bitOrder;
    Bytes picture;
  } cases[] = {
      {"bits behind the width", {0x12, 0x3F, 0x45, 0x6F}, 1, 0, plain},
      {"bottom up", plain, 3, 0, {0x45, 0x60, 0x12, 0x30}},
      {"reversed bits", {0x12, 0xFC, 0x45, 0xF6}, 1, 1, {0x48, 0x30, 0xA2, 0x60}},
      {"rows padded to four bytes", {0x12, 0x30, 1, 2, 0x45, 0x60, 3, 4}, 1, 0, plain},
      {"a byte behind the data", {0x12, 0x30, 0x45, 0x60, 0xFF}, 1, 0, plain},
      {"unpadded", {0x12, 0x34, 0x56}, 4, 0, plain},
      {"unpadded, reversed bits", {0x48, 0x2C, 0x6A}, 4, 1, plain},
      {"called unpadded, but padded", plain, 4, 0, plain},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Bytes file = Uncompressed(12, 2, c.data, c.recording, c.bitOrder);
    const Loaded load(file);
    EXPECT_TRUE(load.outcome.Ok()) << load.outcome.what;
    EXPECT_EQ(load.picture, c.picture);
    EXPECT_EQ(load.warnings.size(), c.data.size() == 5 ? 1u : 0u);
    // A second page is found without an index, too.
    const TemporaryFolder folder;
    const std::string two = folder.File("two", Document({Uncompressed(8, 1, {1}), file}, {3}));
    kz::Bitmap second;
    EXPECT_TRUE(kz::LoadPicture(two, 2, {}, second).Ok());
    EXPECT_EQ(PackedRows(second), c.picture);
  }
  EXPECT_EQ(Loaded(Uncompressed(3, 9, {0x29, 0xCB, 0xB8, 0x88}, 4)).picture,
            (Bytes{0x20, 0x40, 0x60, 0x80, 0xA0, 0xC0, 0xE0, 0x00, 0x80}));
  for (const unsigned char recording : Bytes{1, 4}) {
    // Cut off, the rows that are there count, unless all or nothing is asked for.
    const Bytes cut = Uncompressed(12, 2, {0xFF, 0xFF}, recording);
    const Loaded early(cut);
    EXPECT_EQ(early.outcome.status, K_SUCCESS);
    EXPECT_EQ(early.picture, Bytes({0xFF, 0xF0, 0, 0}));
    EXPECT_EQ(early.warnings.size(), 1u);
    const TemporaryFolder folder;
    kz::Bitmap bitmap;
    kz::LoadOptions strict;
    strict.strict = true;
    EXPECT_EQ(kz::LoadPicture(folder.File("cut", cut), 1, strict, bitmap).status, K_ERROR_READ);
  }
}

kz::Bitmap Picture(int width, int height, int bitsPerPixel) {
  kz::Bitmap bitmap;
  EXPECT_EQ(bitmap.Create(width, height, bitsPerPixel), K_SUCCESS);
  bitmap.SetResolution(200, 100);
  for (int y = 0; y < height; ++y) {
    const Bytes row = Pattern(static_cast<size_t>(bitmap.BytesPerLine()), static_cast<unsigned>(y));
    for (int x = 0; x < width * bitsPerPixel / 8; ++x) {
      bitmap.TopDownRow(y)[x] = static_cast<unsigned char>(row[static_cast<size_t>(x)] & 0xF0);
    }
  }
  return bitmap;
}

TEST(PageLoad, JpegWithoutDepthAndWithAnotherSizeIsWhatItsDataSay) {
  const TemporaryFolder folder;
  kz::SaveRequest request;
  request.compression = kz::Compression::Jpeg;
  for (const auto& [depth, width] : {std::pair{24, 16u}, {8, 16u}, {24, 20u}, {24, 9u}}) {
    kz::Bitmap bitmap = Picture(16, 8, depth);
    Bytes data;
    ASSERT_TRUE(kz::SavePage(folder / "saved", bitmap, request).Ok());
    ASSERT_TRUE(kz::ReadImageData(folder / "saved", 1, data).Ok());
    const Bytes file = Document({Segment(ImageSize(width, 8) + Encoding(0x83), data)}, {100});
    const Loaded load(file);
    ASSERT_TRUE(load.outcome.Ok()) << load.outcome.what;
    EXPECT_EQ(load.width, 16);
    EXPECT_EQ(load.bitsPerPixel, depth);
    EXPECT_EQ(load.warnings.size(), width == 16 ? 0u : 1u);
    kz::PictureInfo info;
    ASSERT_TRUE(kz::DescribePicture(folder.File("file", file), 1, info).Ok());
    EXPECT_EQ(info.bitsPerPixel, depth);
    EXPECT_EQ(info.bytes, width * static_cast<unsigned>(depth));
  }
}

TEST(PageLoad, EveryAllocationThatFailsIsReportedAndFreesAll) {
  kz::Bitmap bitmap = Picture(64, 40, 1), loaded;
  const TemporaryFolder folder;
  for (const kz::Compression compression : {kz::Compression::Group4, kz::Compression::Abic,
                                            kz::Compression::None, kz::Compression::Jpeg}) {
    kz::SaveRequest request;
    request.compression = compression;
    const std::string file = folder / "page";
    ASSERT_TRUE(kz::SavePage(file, bitmap, request).Ok());
    ASSERT_TRUE(kz::LoadPicture(file, 1, {}, loaded).Ok());
    loaded.Reset();
    const size_t blocks = K_LiveBlocks();
    int failures = 0;
    constexpr int more = 40;  // than any of them allocates
    for (int nth = 1; nth <= more; ++nth) {
      K_FailAllocation(nth);
      const bool failed = !kz::LoadPicture(file, 1, {}, loaded).Ok();
      K_FailAllocation(0);
      failures += failed ? 1 : 0;
      EXPECT_EQ(loaded.Empty(), failed);
      loaded.Reset();
      EXPECT_EQ(K_LiveBlocks(), blocks);
      EXPECT_EQ(K_OpenFiles(), 0u);
    }
    EXPECT_GT(failures, 0);
    EXPECT_LT(failures, more);
  }
}

// What the filter says of a picture, which it finds by itself.
struct Filtered {
  int status;
  _IMAGEFILEINFO info;
};

Filtered Filter(const std::string& file, int picture) {
  Filtered result{};
  result.info.uStructSize = sizeof(result.info);
  _INFOOPTIONS options = {K_INFO_TOTAL_PAGES};
  _LOADOPTIONS load = {sizeof(load), 0, 0, 0, picture};
  tagHANDLE* handle = K_RedirectedOpen(file.c_str(), K_OPEN_READ, 0);
  _INFODISPATCH dispatch = {handle, &result.info, &options, &load};
  result.status = fltInfo(&dispatch);
  K_RedirectedClose(handle);
  return result;
}

TEST(Document, PagesFoundByTheIndexAreTheSamePages) {
  const TemporaryFolder folder;
  std::vector<std::string> files = {KZ_SAMPLES "/letter-g4.ica", KZ_SAMPLES "/report-mixed.afp",
                                    KZ_SAMPLES "/formatter.afp",
                                    KZ_SAMPLES "/letter-scattered.afp"};
  Bytes cut = FileBytes(KZ_SAMPLES "/report-g4.mda");
  cut.erase(cut.end() - 1000, cut.end());
  files.push_back(folder.File("cut", cut));
  // The kind of container shows late, and page 2 is no image that can be described.
  const Bytes segment = Uncompressed(12, 2, {0x12, 0x30, 0x45, 0x60});
  const Bytes late = Document({segment, {0x70, 0x00, 0x92}, segment}) + Field(0xA8AF, {}, {true}) +
                     PictureDataFields(segment) + Field(0xA9AF);
  files.push_back(folder.File("late", late));
  // Lengths that begin like a 0x5A before a field.
  const Bytes large = Uncompressed(320, 800, Pattern(32000));
  files.push_back(folder.File("0x5A", Document({large, large}, {0x5A00 - 8}, {true, {}, false})));
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    kz::Document document(file);
    ASSERT_TRUE(document.Open().Ok());
    const Filtered first = Filter(file, 1);
    ASSERT_EQ(document.Pictures(), static_cast<int>(first.info.nTotalPages));
    for (int picture = 1; picture <= document.Pictures(); ++picture) {
      SCOPED_TRACE(picture);
      kz::PictureInfo info;
      const Filtered expected = Filter(file, picture);
      EXPECT_EQ(document.DescribePicture(picture, info).status, expected.status);
      EXPECT_EQ(info.width, static_cast<int>(expected.info.nWidth));
      EXPECT_EQ(info.height, static_cast<int>(expected.info.nHeight));
      EXPECT_EQ(info.compression, expected.info.szCompression);
    }
  }
  EXPECT_EQ(K_OpenFiles(), 0u);
}

TEST(Document, PicturesAreDescribedAsLargeAsTheirDescriptorLetsThemBe) {
  const TemporaryFolder folder;
  const struct {
    unsigned width, height;  // of the descriptor
    int seenWidth, seenHeight;
  } cases[] = {{5, 2, 5, 2}, {5, 40, 5, 3}, {20, 2, 11, 2}, {20, 20, 11, 3}, {0, 2, 11, 3}};
  const struct {
    unsigned char compression;  // that the filter takes, or not
    Bytes data;
  } readers[] = {{0x03, Bytes(6, 0xFF)}, {0x0C, {0xFB, 0xFF}}};
  for (const auto& c : cases) {
    const Bytes descriptor = {0, 9, 96, 9, 96};
    for (const auto& reader : readers) {
      SCOPED_TRACE(testing::Message()
                   << c.width << " x " << c.height << ", " << +reader.compression);
      const Bytes segment = Segment(ImageSize(11, 3) + Encoding(reader.compression), reader.data);
      const std::string file = folder.File(
          "file", Field(0xA8A8) + Field(0xA8AF) + Field(0xA8FB) +
                      Field(0xA6FB, descriptor + Big16(c.width) + Big16(c.height)) +
                      PictureDataFields(segment) + Field(0xA9FB) + Field(0xA9AF) + Field(0xA9A8));
      kz::Bitmap bitmap;
      kz::PictureInfo described, loaded;
      EXPECT_TRUE(kz::DescribePicture(file, 1, described).Ok());
      EXPECT_TRUE(kz::LoadPicture(file, 1, {}, bitmap, &loaded).Ok());
      EXPECT_EQ(bitmap.Width(), c.seenWidth);
      EXPECT_EQ(bitmap.Height(), c.seenHeight);
      for (const kz::PictureInfo& info : {described, loaded}) {
        EXPECT_EQ(info.width, c.seenWidth);
        EXPECT_EQ(info.height, c.seenHeight);
        EXPECT_EQ(info.bytes, static_cast<uint64_t>((c.seenWidth + 7) / 8 * c.seenHeight));
      }
    }
  }
}

TEST(Document, PagesAreReadFromTheFileThatWasIndexed) {
  const TemporaryFolder folder;
  const Bytes report = FileBytes(KZ_SAMPLES "/report-g4.mda");
  const std::string file = folder.File("file", report);
  kz::Document document(file);
  ASSERT_TRUE(document.Open().Ok());
  folder.File("new", FileBytes(KZ_SAMPLES "/report-mixed.afp"));
  std::filesystem::rename(folder / "new", file);
  kz::Bitmap expected, loaded;
  ASSERT_TRUE(kz::LoadPicture(KZ_SAMPLES "/report-g4.mda", 3, {}, expected).Ok());
  ASSERT_TRUE(document.LoadPicture(3, {}, loaded).Ok());
  EXPECT_TRUE(PackedRows(loaded) == PackedRows(expected));

  kz::Document written(file);
  ASSERT_TRUE(written.Open().Ok());
  std::ofstream(file, std::ios::app) << "x";
  EXPECT_EQ(written.LoadPicture(1, {}, loaded).what, "the file has changed meanwhile");
}

}  // namespace
