// Loading pages through the toolkit: what the filter leaves to the host.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Host/Kernel/KernelTesting.h"
#include "Host/Toolkit/Document.h"
#include "Host/Toolkit/RowConversion.h"
#include "Host/Toolkit/SavePage.h"
#include "Tests/Filter/FileBuilder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr unsigned char kUncompressed = 0x03;
constexpr unsigned char kGroup3 = 0x80;
constexpr unsigned char kGroup4 = 0x82;
constexpr unsigned char kJpeg = 0x83;

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
  explicit Loaded(const Bytes& file, int64_t maxPixels = kz::kDefaultMaxPixels) {
    const TemporaryFolder folder;
    const size_t blocks = K_LiveBlocks();
    kz::Bitmap bitmap;
    outcome = kz::LoadPage(folder.File("file", file), 1, {maxPixels}, bitmap);
    width = bitmap.Width();
    height = bitmap.Height();
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
  int width, height, bitsPerPixel;
  Bytes picture;
  std::vector<std::string> warnings;
};

Bytes Uncompressed(unsigned width, unsigned height, const Bytes& data, unsigned char recording = 1,
                   unsigned char bitOrder = 0) {
  return Segment(ImageSize(width, height) + Parameter(0x95, {kUncompressed, recording, bitOrder}),
                 data);
}

TEST(PageLoad, UncompressedRowsComeOutRight) {
  const struct {
    const char* what;
    Bytes file;
    Bytes picture;
    size_t warnings;
  } cases[] = {
      {"as they are", Uncompressed(12, 2, {0x12, 0x30, 0x45, 0x60}), {0x12, 0x30, 0x45, 0x60}, 0},
      {"bits behind the width",
       Uncompressed(12, 2, {0x12, 0x3F, 0x45, 0x6F}),
       {0x12, 0x30, 0x45, 0x60},
       0},
      {"bottom up", Uncompressed(12, 2, {0x12, 0x30, 0x45, 0x60}, 3), {0x45, 0x60, 0x12, 0x30}, 0},
      {"reversed bits",
       Uncompressed(12, 2, {0x12, 0xFC, 0x45, 0xF6}, 1, 1),
       {0x48, 0x30, 0xA2, 0x60},
       0},
      {"rows padded to four bytes",
       Uncompressed(12, 2, {0x12, 0x30, 1, 2, 0x45, 0x60, 3, 4}),
       {0x12, 0x30, 0x45, 0x60},
       0},
      {"a byte behind the data",
       Uncompressed(12, 2, {0x12, 0x30, 0x45, 0x60, 0xFF}),
       {0x12, 0x30, 0x45, 0x60},
       1},
      {"unpadded", Uncompressed(12, 2, {0x12, 0x34, 0x56}, 4), {0x12, 0x30, 0x45, 0x60}, 0},
      {"unpadded, reversed bits",
       Uncompressed(12, 2, {0x48, 0x2C, 0x6A}, 4, 1),
       {0x12, 0x30, 0x45, 0x60},
       0},
      {"unpadded, many rows",
       Uncompressed(3, 9, {0x29, 0xCB, 0xB8, 0x88}, 4),
       {0x20, 0x40, 0x60, 0x80, 0xA0, 0xC0, 0xE0, 0x00, 0x80},
       0},
      {"called unpadded, but padded",
       Uncompressed(12, 2, {0x12, 0x30, 0x45, 0x60}, 4),
       {0x12, 0x30, 0x45, 0x60},
       0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const Loaded load(c.file);
    EXPECT_TRUE(load.outcome.Ok()) << load.outcome.what;
    EXPECT_EQ(load.picture, c.picture);
    EXPECT_EQ(load.warnings.size(), c.warnings);
    EXPECT_EQ(Loaded(Document({c.file}, {3})).picture, c.picture);
    // A second page is found without an index, too.
    const TemporaryFolder folder;
    const std::string two = folder.File("two", Document({Uncompressed(8, 1, {1}), c.file}, {3}));
    kz::Bitmap second;
    EXPECT_TRUE(kz::LoadPage(two, 2, {}, second).Ok());
    EXPECT_EQ(PackedRows(second), c.picture);
  }
}

TEST(PageLoad, UncompressedDataThatEndTooEarlyFail) {
  for (const size_t size : {size_t{0}, size_t{1}, size_t{3}}) {
    const Loaded load(Uncompressed(12, 2, Bytes(size, 0xFF)));
    EXPECT_EQ(load.outcome.status, K_ERROR_READ) << size;
    EXPECT_THAT(load.outcome.what, HasSubstr("of 4 bytes"));
    const Loaded unpadded(Uncompressed(12, 2, Bytes(size - size / 3, 0xFF), 4));
    EXPECT_EQ(unpadded.outcome.status, K_ERROR_READ) << size;
    EXPECT_THAT(unpadded.outcome.what, HasSubstr("of 3 bytes"));
  }
}

// The page of a picture that was saved, cut into its image data.
Bytes StoredData(kz::Bitmap& bitmap, kz::Compression compression) {
  const TemporaryFolder folder;
  kz::SaveRequest request;
  request.compression = compression;
  const kz::Outcome saved = kz::SavePage(folder / "page", bitmap, request);
  EXPECT_TRUE(saved.Ok()) << saved.what;
  Bytes data;
  EXPECT_TRUE(kz::ReadImageData(folder / "page", 1, data).Ok());
  return data;
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

TEST(PageLoad, Group4DataCodedInWholeBytesLoad) {
  kz::Bitmap wide = Picture(32, 5, 1);
  const Bytes data = StoredData(wide, kz::Compression::kGroup4);
  const Bytes parameters = ImageSize(29, 5) + Encoding(kGroup4);
  for (const Bytes& file : {Segment(parameters, data), Document({Segment(parameters, data, 3)})}) {
    const Loaded load(file);
    ASSERT_TRUE(load.outcome.Ok()) << load.outcome.what;
    EXPECT_EQ(load.width, 29);
    for (int y = 0; y < 5; ++y) {
      for (int x = 0; x < 4; ++x) {
        const int expected = wide.TopDownRow(y)[x] & (x == 3 ? 0xF8 : 0xFF);
        EXPECT_EQ(load.picture[static_cast<size_t>(y * 4 + x)], expected) << y << " " << x;
      }
    }
  }
}

TEST(PageLoad, DamagedGroup3LinesAreAWarning) {
  kz::Bitmap bitmap = Picture(64, 40, 1);
  Bytes data = StoredData(bitmap, kz::Compression::kGroup3);
  const Bytes parameters = ImageSize(64, 40) + Encoding(kGroup3);
  EXPECT_THAT(Loaded(Segment(parameters, data)).warnings, IsEmpty());
  for (size_t i = 0; i < 3; ++i) data[data.size() / 2 + i] ^= 0x55;
  const Loaded load(Segment(parameters, data));
  EXPECT_TRUE(load.outcome.Ok()) << load.outcome.what;
  EXPECT_THAT(load.warnings, ElementsAre(HasSubstr("damaged lines")));
}

TEST(PageLoad, JpegWithoutDepthAndWithAnotherSizeIsWhatItsDataSay) {
  const struct {
    int bitsPerPixel;
    unsigned width;
    size_t warnings;
  } cases[] = {{24, 16, 0}, {8, 16, 0}, {24, 20, 1}, {24, 9, 1}};
  for (const auto& c : cases) {
    kz::Bitmap bitmap = Picture(16, 8, c.bitsPerPixel);
    const Bytes data = StoredData(bitmap, kz::Compression::kJpeg);
    const Bytes file = Document({Segment(ImageSize(c.width, 8) + Encoding(kJpeg), data)}, {100});
    const Loaded load(file);
    ASSERT_TRUE(load.outcome.Ok()) << load.outcome.what;
    EXPECT_EQ(load.width, 16);
    EXPECT_EQ(load.bitsPerPixel, c.bitsPerPixel);
    EXPECT_EQ(load.warnings.size(), c.warnings);

    const TemporaryFolder folder;
    kz::PageInfo info;
    ASSERT_TRUE(kz::DescribePage(folder.File("file", file), 1, true, info).Ok());
    EXPECT_EQ(info.bitsPerPixel, c.bitsPerPixel);
    EXPECT_EQ(info.bytes, c.width * 8u * static_cast<unsigned>(c.bitsPerPixel) / 8u);
    EXPECT_EQ(info.container, Container::Modca);
  }
}

TEST(PageLoad, TheContainerOfAJpegPageIsFound) {
  const Bytes segment = Segment(ImageSize(8, 8) + Encoding(kJpeg), {0xFF, 0xD8});
  const TemporaryFolder folder;
  for (const auto& [file, container] :
       {std::pair{segment, Container::Ioca},
        {Document({segment}), Container::Modca},
        {Document({segment}, {4000}, {true, {}}), Container::ModcaCarriageControl}}) {
    kz::PageInfo info;
    EXPECT_TRUE(kz::DescribePage(folder.File("file", file), 1, false, info).Ok());
    EXPECT_EQ(info.container, container);
  }
}

TEST(PageLoad, DeclaredPicturesHaveALimit) {
  // JPEG data that declare more than the page does, and pages that do.
  const Bytes frame = {0xFF, 0xD8, 0xFF, 0xC0, 0, 17,   8, 0x7F, 0xFF, 0x7F, 0xFF,
                       3,    1,    0x11, 0,    2, 0x11, 0, 3,    0x11, 0};
  for (const Bytes& file : {Segment(ImageSize(8, 8) + Encoding(kJpeg), frame),
                            Segment(ImageSize(0x7FFF, 0x7FFF) + Encoding(kGroup4), {0}),
                            Uncompressed(0x7FFF, 0x7FFF, {0})}) {
    const Loaded load(file, 1000000);
    EXPECT_EQ(load.outcome.status, K_ERROR_INVALID_FORMAT);
    EXPECT_THAT(load.outcome.what, HasSubstr("32767 x 32767 pixels is above the limit of 1000000"));
  }
}

TEST(PageLoad, EveryAllocationThatFailsIsReportedAndFreesAll) {
  kz::Bitmap bitmap = Picture(64, 40, 1);
  const TemporaryFolder folder;
  for (const kz::Compression compression : {kz::Compression::kGroup4, kz::Compression::kAbic,
                                            kz::Compression::kNone, kz::Compression::kJpeg}) {
    kz::SaveRequest request;
    request.compression = compression;
    const std::string file = folder / "page";
    ASSERT_TRUE(kz::SavePage(file, bitmap, request).Ok());
    kz::Bitmap loaded;
    ASSERT_TRUE(kz::LoadPage(file, 1, {}, loaded).Ok());
    loaded.Reset();
    const size_t blocks = K_LiveBlocks();
    bool failed = true;
    int nth = 0;
    while (failed) {
      ASSERT_LT(++nth, 100);
      K_FailAllocation(nth);
      failed = !kz::LoadPage(file, 1, {}, loaded).Ok();
      K_FailAllocation(0);
      EXPECT_EQ(loaded.Empty(), failed);
      loaded.Reset();
      EXPECT_EQ(K_LiveBlocks(), blocks);
      EXPECT_EQ(K_OpenFiles(), 0u);
    }
    EXPECT_GT(nth, 1);
  }
}

TEST(Document, PagesFoundByTheIndexAreTheSamePages) {
  const TemporaryFolder folder;
  std::vector<std::string> files;
  for (const char* name : {"letter-g4.ica", "report-g4.mda", "report-mixed.afp", "formatter.afp",
                           "letter-scattered.afp"}) {
    files.push_back(std::string(KZ_SAMPLES "/") + name);
  }
  Bytes cut = FileBytes(KZ_SAMPLES "/report-g4.mda");
  cut.resize(cut.size() - 1000);
  files.push_back(folder.File("cut", cut));
  // The kind of container shows late, and page 2 is no image that can be described.
  const Bytes segment = Uncompressed(12, 2, {0x12, 0x30, 0x45, 0x60});
  const Bytes late = Document({segment, {0x70, 0x00, 0x92}, segment}) + Field(0xA8AF, {}, {true}) +
                     PictureData(segment) + Field(0xA9AF);
  files.push_back(folder.File("late", late));
  // Lengths that begin like a 0x5A before a field.
  const Bytes large = Uncompressed(320, 800, Pattern(32000));
  files.push_back(folder.File("0x5A", Document({large, large}, {0x5A00 - 8}, {true, {}, false})));
  for (const std::string& file : files) {
    SCOPED_TRACE(file);
    kz::Document document(file);
    ASSERT_TRUE(document.Index().Ok());
    kz::PageInfo counted;
    ASSERT_TRUE(kz::DescribePage(file, 1, true, counted).Ok());
    ASSERT_EQ(document.Pages(), counted.pages);
    EXPECT_EQ(document.Structure().what, counted.structure.what);
    for (int page = 0; page <= counted.pages + 1; ++page) {
      SCOPED_TRACE(page);
      kz::PageInfo direct, indexed;
      EXPECT_EQ(document.DescribePage(page, indexed).what,
                kz::DescribePage(file, page, false, direct).what);
      EXPECT_EQ(indexed.page, direct.page);
      EXPECT_EQ(indexed.format, direct.format);
      EXPECT_EQ(indexed.container, direct.container);
      kz::Bitmap expected, loaded;
      EXPECT_EQ(document.LoadPage(page, {}, loaded).what,
                kz::LoadPage(file, page, {}, expected).what);
      EXPECT_TRUE(PackedRows(loaded) == PackedRows(expected));
      Bytes data, same;
      EXPECT_EQ(kz::ReadImageData(file, page, data).what, document.ReadImageData(page, same).what);
      EXPECT_TRUE(data == same);
    }
  }
  EXPECT_EQ(K_OpenFiles(), 0u);
}

TEST(Document, PagesAreReadFromTheFileThatWasIndexed) {
  const TemporaryFolder folder;
  const Bytes report = FileBytes(KZ_SAMPLES "/report-g4.mda");
  const std::string file = folder.File("file", report);
  kz::Document document(file);
  ASSERT_TRUE(document.Index().Ok());
  folder.File("new", FileBytes(KZ_SAMPLES "/report-mixed.afp"));
  std::filesystem::rename(folder / "new", file);
  kz::Bitmap expected, loaded;
  ASSERT_TRUE(kz::LoadPage(KZ_SAMPLES "/report-g4.mda", 3, {}, expected).Ok());
  ASSERT_TRUE(document.LoadPage(3, {}, loaded).Ok());
  EXPECT_TRUE(PackedRows(loaded) == PackedRows(expected));

  kz::Document written(file);
  ASSERT_TRUE(written.Index().Ok());
  std::ofstream(file, std::ios::app) << "x";
  EXPECT_EQ(written.LoadPage(1, {}, loaded).what, "the file has changed meanwhile");
}

}  // namespace
