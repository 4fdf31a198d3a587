// Pictures that are no IOCA images: IM images, and files in object containers.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/TestPictures.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Images/AnyPicture.h"
#include "Toolkit/Pictures/PictureFile.h"

namespace {

struct Cell {
  unsigned x, y;
  unsigned width, height;          // 0xFFFF: the default
  unsigned fillWidth, fillHeight;  // 0xFFFF: the cell's
  Bytes rows;
};

struct ImImage {
  unsigned width = 0, height = 0;
  std::vector<Cell> cells = {};
  Bytes raster = {};  // without cells
  unsigned defaultWidth = 0, defaultHeight = 0;
  unsigned color = 0xFFFF;
  unsigned map = 0x03E8;
};

Bytes ImObject(const ImImage& image) {
  Bytes fields = Field(0xA87B, Bytes(8, 0x40)) +
                 Field(0xA77B, Bytes(18, 0) + Big16(image.map) + Big16(image.map) + Big16(0xFFFF)) +
                 Field(0xA67B, Bytes(14, 0) + Big16(2400) + Big16(2400) + Big16(image.width) +
                                   Big16(image.height) + Bytes(4, 0) + Big16(0x2D00) +
                                   Big16(image.defaultWidth) + Big16(image.defaultHeight) +
                                   Big16(1) + Big16(image.color));
  for (const Cell& cell : image.cells) {
    fields = fields +
             Field(0xAC7B, Big16(cell.x) + Big16(cell.y) + Big16(cell.width) + Big16(cell.height) +
                               Big16(cell.fillWidth) + Big16(cell.fillHeight));
    if (!cell.rows.empty()) fields = fields + Field(0xEE7B, cell.rows);
  }
  if (!image.raster.empty()) fields = fields + Field(0xEE7B, image.raster);
  return fields + Field(0xA97B, Bytes(8, 0x40));
}

class OtherKinds : public testing::Test {
 protected:
  kz::Outcome Load(const Bytes& object, bool strict = false) {
    const std::string file =
        m_folder.File("file.afp", Field(0xA8A8, Bytes(8, 0x40)) + Field(0xA8AF, Bytes(8, 0x40)) +
                                      object + Field(0xA9AF) + Field(0xA9A8));
    m_bitmap.Reset();
    kz::LoadOptions options;
    options.strict = strict;
    return kz::LoadPicture(file, 1, options, m_bitmap, &m_info);
  }

  // Rows as text, '#' for black.
  std::string Rows() const {
    std::string rows;
    for (int y = 0; y < m_bitmap.Height(); ++y) {
      const unsigned char* row = m_bitmap.TopDownRow(y);
      for (int x = 0; x < m_bitmap.Width(); ++x)
        rows += (row[x / 8] >> (7 - x % 8) & 1) ? '#' : '.';
      rows += '\n';
    }
    return rows;
  }

  TemporaryFolder m_folder;
  kz::Bitmap m_bitmap;
  kz::PictureInfo m_info;
};

TEST_F(OtherKinds, ImImagesHaveTheirRowsAndCells) {
  constexpr unsigned d = 0xFFFF;
  const struct {
    const char* name;
    ImImage image;
    const char* rows;
  } cases[] = {
      {"simple",
       {.width = 11, .height = 2, .raster = {0xF0, 0x20, 0x0F, 0xC0}},
       "####......#\n....######.\n"},
      {"two cells, the second from within a byte",
       {.width = 8,
        .height = 2,
        .cells = {{0, 0, 3, 2, d, d, {0xA0, 0x40}}, {3, 0, 5, 2, d, d, {0xF8, 0x88}}}},
       "#.######\n.#.#...#\n"},
      {"a cell that fills a rectangle and is cut at its end",
       {.width = 10, .height = 3, .cells = {{1, 0, 2, 2, 7, 3, {0x80, 0x40}}}},
       ".#.#.#.#..\n..#.#.#...\n.#.#.#.#..\n"},
      {"default sizes of cells",
       {.width = 6,
        .height = 1,
        .cells = {{2, 0, d, d, d, d, {0xC0}}},
        .defaultWidth = 2,
        .defaultHeight = 1},
       "..##..\n"},
      {"cells beyond the image",
       {.width = 4, .height = 2, .cells = {{3, 1, 8, 8, d, d, Bytes(8, 0xFF)}}},
       "....\n...#\n"},
      {"overlapping cells",
       {.width = 4, .height = 1, .cells = {{0, 0, 4, 1, d, d, {0xC0}}, {0, 0, 4, 1, d, d, {0x10}}}},
       "##.#\n"},
      {"no size but that of the cells", {.cells = {{1, 1, 2, 1, d, d, {0xC0}}}}, "...\n.##\n"},
  };
  for (const auto& item : cases) {
    SCOPED_TRACE(item.name);
    const kz::Outcome outcome = Load(ImObject(item.image), true);
    EXPECT_TRUE(outcome.Ok()) << outcome.what;
    EXPECT_EQ(Rows(), item.rows);
    EXPECT_EQ(m_bitmap.XResolution(), 240);
  }
}

TEST_F(OtherKinds, ImImagesHaveTheirColorAndDots) {
  ImImage image = {.width = 8, .height = 1, .raster = {0xF0}, .color = 0x0002, .map = 0x07D0};
  ASSERT_TRUE(Load(ImObject(image)).Ok());
  ASSERT_EQ(m_bitmap.BitsPerPixel(), 24);
  EXPECT_EQ(m_bitmap.XResolution(), 120);
  const unsigned char* row = m_bitmap.TopDownRow(0);
  const bool rgb = m_bitmap.ColorOrder() == K_ORDER_RGB;
  EXPECT_EQ(Bytes(row, row + 3), rgb ? Bytes({255, 0, 0}) : Bytes({0, 0, 255}));
  EXPECT_EQ(Bytes(row + 21, row + 24), Bytes(3, 255));
}

TEST_F(OtherKinds, ImImagesThatEndTooEarlyGiveTheirRows) {
  const Bytes object = ImObject({.width = 8, .height = 3, .raster = {0xFF, 0x81}});
  const kz::Outcome outcome = Load(object);
  EXPECT_TRUE(outcome.Ok()) << outcome.what;
  EXPECT_EQ(outcome.warnings.size(), 1u);
  EXPECT_EQ(Rows(), "########\n#......#\n........\n");
  EXPECT_EQ(Load(object, true).status, K_ERROR_READ);
  EXPECT_TRUE(m_bitmap.Empty());
}

TEST_F(OtherKinds, HostileImImagesAreRefused) {
  const Cell all = {0, 0, 1, 1, 32767, 32767, {0x80}};
  const struct {
    const char* name;
    Bytes object;
  } cases[] = {
      {"no descriptor", Field(0xA87B) + Field(0xEE7B, Bytes(10, 0xFF)) + Field(0xA97B)},
      {"a short descriptor",
       Field(0xA87B) + Field(0xA67B, Bytes(20)) + Field(0xEE7B, {1}) + Field(0xA97B)},
      {"no size", ImObject({.raster = {1}})},
      {"many cells that fill all of it",
       ImObject({.width = 32767, .height = 32767, .cells = std::vector<Cell>(40, all)})},
  };
  for (const auto& item : cases) {
    SCOPED_TRACE(item.name);
    EXPECT_EQ(Load(item.object).status, K_ERROR_INVALID_FORMAT);
    EXPECT_TRUE(m_bitmap.Empty());
  }
}

TEST_F(OtherKinds, CellsWithoutASizeShowNothing) {
  const kz::Outcome outcome =
      Load(ImObject({.width = 2, .height = 1, .cells = {{0, 0, 0, 0, 2, 1, {0xFF}}}}));
  EXPECT_TRUE(outcome.Ok()) << outcome.what;
  EXPECT_EQ(Rows(), "..\n");
}

TEST_F(OtherKinds, ContainersThatHoldNoPictureSaySo) {
  const Bytes jpeg = Bytes{0xFF, 0xD8, 0xFF, 0xE0};
  for (const Bytes& data : {jpeg, Bytes{'I', 'I', '*', 0, 8, 0, 0, 0}, Bytes{'M', 'M', 0, '*'}}) {
    const kz::Outcome outcome =
        Load(Field(0xA892, Bytes(8, 0x40)) + Field(0xEE92, data) + Field(0xA992));
    EXPECT_FALSE(outcome.Ok());
    EXPECT_FALSE(outcome.what.empty());
    EXPECT_TRUE(m_bitmap.Empty());
  }
}

// The file as an object container, with so many bytes of it in a field.
Bytes Container(const Bytes& data, size_t piece) {
  Bytes fields = Field(0xA892, Bytes(8, 0x40)) + Field(0xEE92);
  for (size_t at = 0; at < data.size(); at += piece) {
    fields = fields + Field(0xEE92, Slice(data, at, piece));
  }
  return fields + Field(0xA992);
}

TEST_F(OtherKinds, FilesInContainersAreDescribedAsTheyAreLoaded) {
  const kz::Bitmap picture = kz::test::SmoothBitmap(70, 20, 24);
  for (const kz::PictureFormat format : {kz::PictureFormat::kJpeg, kz::PictureFormat::kTiff}) {
    const std::string stored = m_folder / "picture";
    kz::PictureWriter writer;
    ASSERT_TRUE(writer.Open(stored, format).Ok());
    ASSERT_TRUE(writer.AddPage(picture).Ok() && writer.Commit().Ok());
    for (const size_t piece : {1U, 100U, 30000U}) {
      SCOPED_TRACE(std::to_string(static_cast<int>(format)) + " by " + std::to_string(piece));
      kz::FileWindow file;
      ASSERT_TRUE(file.Open(m_folder.File("file.afp", Container(FileBytes(stored), piece))).Ok());
      kz::PicturePlace place;
      place.bytes.end = file.Size();
      place.kind = kz::PictureKind::Tiff;
      kz::PictureInfo described, loaded;
      EXPECT_TRUE(kz::DescribeAnyPicture(file, place, described).Ok());
      kz::DecodedImage image;
      bool damaged = true;
      EXPECT_TRUE(kz::LoadAnyPicture(file, place, {}, image, loaded, damaged).Ok());
      EXPECT_FALSE(damaged);
      EXPECT_LE(kz::test::LargestDifference(image.bitmap, picture), 12);
      for (const kz::PictureInfo& info : {described, loaded}) {
        EXPECT_EQ(info.width, 70);
        EXPECT_EQ(info.height, 20);
        EXPECT_EQ(info.bitsPerPixel, 24);
        EXPECT_EQ(info.bytes, 70u * 20 * 3);
        EXPECT_EQ(info.storedAs, format);
        EXPECT_EQ(info.compression, format == kz::PictureFormat::kJpeg ? "JPEG" : "TIFF file");
      }
    }
  }
}

TEST_F(OtherKinds, JpegFilesInContainersAreReadToTheirFrameToBeDescribed) {
  const Bytes frame = {0xFF, 0xD8, 0xFF, 0xC0, 0, 11, 8, 0, 3, 0, 5, 1, 1, 0x11, 0};
  kz::FileWindow file;
  const Bytes container = Container(frame + Bytes(1 << 20), 30000);
  ASSERT_TRUE(file.Open(m_folder.File("file.afp", container)).Ok());
  kz::PicturePlace place;
  place.bytes.end = file.Size();
  place.kind = kz::PictureKind::Jpeg;
  kz::PictureInfo info;
  EXPECT_TRUE(kz::DescribeAnyPicture(file, place, info).Ok());
  EXPECT_EQ(info.width, 5);
  EXPECT_EQ(info.height, 3);
  EXPECT_FALSE(file.Held(0).empty());
  EXPECT_TRUE(file.Held(file.Size() / 2).empty());
}

}  // namespace
