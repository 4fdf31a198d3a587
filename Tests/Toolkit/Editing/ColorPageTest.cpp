// Pages of function set 11, read by a reader that shares no code with the writer.
#include <cstdio>
#include <utility>

#include <jpeglib.h>

#include <gmock/gmock.h>

#include "Tests/Support/TestPictures.h"
#include "Tests/Support/WrittenFile.h"
#include "Toolkit/Editing/SavePage.h"
#include "Toolkit/Imaging/MemorySaver.h"

namespace {

using kz::Bitmap;
using kz::Compression;
using kz::Container;
using kz::test::Color;
using kz::test::ColorAt;
using kz::test::RandomBitmap;
using kz::test::SmoothBitmap;

// A page taken apart.
struct ReadPage {
  Bytes descriptor;           // Image Data Descriptor; empty in a bare file
  std::vector<Bytes> fields;  // those of the segment before the data, whole
  Bytes data;
  bool prefixed = false;
};

// The segment: one-byte fields, Image Data, End Image Content and End Segment.
void ReadSegment(const Bytes& segment, ReadPage& page) {
  size_t at = 0;
  while (at + 2 <= segment.size() && segment[at] != 0xFE) {
    page.fields.push_back(Slice(segment, at, 2u + segment[at + 1]));
    at += page.fields.back().size();
  }
  while (at + 4 <= segment.size() && segment[at] == 0xFE) {
    ASSERT_EQ(segment[at + 1], 0x92);
    const size_t length = segment[at + 2] * 256u + segment[at + 3];
    ASSERT_GT(length, 0u);
    ASSERT_LE(at + 4 + length, segment.size());
    page.data = page.data + Slice(segment, at + 4, length);
    at += 4 + length;
  }
  EXPECT_EQ(Slice(segment, at, segment.size()), Hex("9300 7100"));
}

std::vector<ReadPage> ReadPages(const std::string& file) {
  const Bytes bytes = FileBytes(file);
  std::vector<ReadPage> pages;
  if (bytes.at(0) == 0x70) {
    ReadSegment(bytes, pages.emplace_back());
    return pages;
  }
  const std::vector<WalkedField> fields = Walk(bytes);
  EXPECT_EQ(fields.front().code, 0xA8A8u);
  EXPECT_EQ(fields.back().code, 0xA9A8u);
  EXPECT_FALSE(fields.back().prefixed);
  Bytes segment;
  for (size_t i = 1; i + 1 < fields.size(); ++i) {
    EXPECT_EQ(fields[i].prefixed, fields[0].prefixed);
    if (fields[i].code == 0xA8AF) pages.emplace_back().prefixed = fields[i].prefixed;
    if (fields[i].code == 0xA6FB) pages.back().descriptor = fields[i].Data();
    if (fields[i].code == 0xEEFB) segment = segment + fields[i].Data();
    if (fields[i].code == 0xA9AF) ReadSegment(std::exchange(segment, {}), pages.back());
  }
  return pages;
}

// The colour of a pixel of uncompressed data.
Color ColorIn(const Bytes& data, int width, int bits, int x, int y) {
  const auto rowBytes = (static_cast<size_t>(width) * static_cast<size_t>(bits) + 7) / 8;
  const size_t row = static_cast<size_t>(y) * rowBytes;
  const auto column = static_cast<size_t>(x);
  if (bits == 24) {
    const unsigned char* pixel = &data.at(row + 3 * column);
    return {pixel[0], pixel[1], pixel[2]};
  }
  const size_t bit = column * static_cast<size_t>(bits);
  const int value =
      data.at(row + bit / 8) >> (8 - static_cast<size_t>(bits) - bit % 8) & ((1 << bits) - 1);
  const int gray = bits == 1 ? 255 * (1 - value) : value * 255 / ((1 << bits) - 1);
  return {gray, gray, gray};
}

// What libjpeg makes of data: components, width, height and the pixels.
struct Decoded {
  int components = 0, width = 0, height = 0;
  Bytes rows;
};

Decoded Decode(const Bytes& data) {
  jpeg_decompress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg.err = jpeg_std_error(&errors);  // ends the test program at an error
  jpeg_create_decompress(&jpeg);
  jpeg_mem_src(&jpeg, data.data(), data.size());
  jpeg_read_header(&jpeg, TRUE);
  jpeg_start_decompress(&jpeg);
  Decoded decoded{jpeg.output_components, static_cast<int>(jpeg.output_width),
                  static_cast<int>(jpeg.output_height),
                  Bytes(size_t{jpeg.output_width} * jpeg.output_height *
                        static_cast<size_t>(jpeg.output_components))};
  while (jpeg.output_scanline < jpeg.output_height) {
    JSAMPROW row = &decoded.rows[decoded.rows.size() / jpeg.output_height * jpeg.output_scanline];
    jpeg_read_scanlines(&jpeg, &row, 1);
  }
  jpeg_finish_decompress(&jpeg);
  jpeg_destroy_decompress(&jpeg);
  return decoded;
}

kz::SaveRequest Request(Compression compression, Container container, int bits = 0) {
  kz::SaveRequest request;
  request.compression = compression;
  request.container = container;
  request.bitsPerPixel = bits;
  return request;
}

constexpr Container kContainers[] = {Container::Modca, Container::ModcaCarriageControl,
                                     Container::Ioca};

// 200 x 100 dpi in tenths over ten inches: 07D0 03E8.
TEST(ColorPage, IsLaidOutAsFunctionSet11Asks) {
  const TemporaryFolder folder;
  const struct {
    Compression compression;
    int pictureBits, bits;  // 0: the default
    const char* encoding;
    const char* depth;
    const char* structure;
  } cases[] = {
      {Compression::None, 8, 0, "95020301", "960108", "9B06 0012000000 08"},
      {Compression::None, 24, 0, "95020301", "960118", "9B08 0001000000 080808"},
      {Compression::None, 24, 4, "95020301", "960104", "9B06 0012000000 04"},
      {Compression::Jpeg, 8, 0, "95028301", "960108", "9B06 0012000000 08"},
      {Compression::Jpeg, 24, 0, "95028301", "960118", "9B08 0001000000 080808"},
      {Compression::Jpeg420, 24, 8, "95028301", "960108", "9B06 0012000000 08"},
  };
  for (const auto& c : cases) {
    for (const Container container : kContainers) {
      const std::string file = folder / "page";
      Bitmap bitmap = RandomBitmap(33, 300, c.pictureBits);
      ASSERT_TRUE(kz::SavePage(file, bitmap, Request(c.compression, container, c.bits)).Ok());
      const std::vector<ReadPage> pages = ReadPages(file);
      ASSERT_EQ(pages.size(), 1u);
      const ReadPage& page = pages[0];
      EXPECT_THAT(page.fields, testing::ElementsAre(
                                   Hex("7000"), Hex("9101FF"), Hex("9409 00 07D0 03E8 0021 012C"),
                                   Hex(c.encoding), Hex(c.depth), Hex(c.structure)));
      if (container != Container::Ioca) {
        EXPECT_EQ(page.descriptor, Hex("00 07D0 03E8 0021 012C F702010B"));
      }
      EXPECT_EQ(page.prefixed, container == Container::ModcaCarriageControl);
    }
  }
}

TEST(ColorPage, HoldsTheUncompressedPicture) {
  const TemporaryFolder folder;
  const std::string file = folder / "page";
  for (const int pictureBits : {1, 4, 8, 24}) {
    for (const int order : {K_ORDER_RGB, K_ORDER_BGR}) {
      for (const int perspective : {K_VIEW_TOP_DOWN, K_VIEW_BOTTOM_UP}) {
        Bitmap bitmap =
            RandomBitmap(177, 61, pictureBits, kz::test::Colors::kNone, perspective, order);
        kz::SaveRequest request = Request(Compression::None, Container::Modca, pictureBits);
        request.functionSet = 11;
        ASSERT_TRUE(kz::SavePage(file, bitmap, request).Ok());
        const Bytes data = ReadPages(file).at(0).data;
        ASSERT_EQ(data.size(), (177u * static_cast<unsigned>(pictureBits) + 7) / 8 * 61);
        for (int y = 0; y < 61; ++y) {
          for (int x = 0; x < 177; ++x) {
            ASSERT_EQ(ColorIn(data, 177, pictureBits, x, y), ColorAt(bitmap, x, y))
                << pictureBits << " bits at " << x << ", " << y;
          }
        }
      }
    }
  }
}

TEST(ColorPage, HoldsJpegDataThatOthersDecode) {
  const TemporaryFolder folder;
  const std::string file = folder / "page";
  for (const int bits : {8, 24}) {
    Bitmap bitmap = SmoothBitmap(200, 150, bits);
    kz::SaveRequest request = Request(Compression::Jpeg, Container::ModcaCarriageControl);
    request.quality = 100;
    ASSERT_TRUE(kz::SavePage(file, bitmap, request).Ok());
    const Decoded decoded = Decode(ReadPages(file).at(0).data);
    EXPECT_EQ(decoded.components, bits / 8);
    ASSERT_EQ(decoded.width, 200);
    ASSERT_EQ(decoded.height, 150);
    for (int y = 0; y < 150; y += 7) {
      for (int x = 0; x < 200; x += 7) {
        const Color expected = ColorAt(bitmap, x, y);
        const Color found = ColorIn(decoded.rows, 200, bits, x, y);
        for (size_t i = 0; i < 3; ++i) ASSERT_NEAR(found[i], expected[i], 4) << x << ", " << y;
      }
    }
  }
}

// A picture's own data stay what they are, unless the page is to have others.
TEST(ColorPage, TakesJpegDataAsTheyAre) {
  const TemporaryFolder folder;
  const std::string file = folder / "page";
  const Bytes own = Hex("FFD8FF 00 112233");  // nobody looks into them here
  const struct {
    Compression compression;
    int bits, functionSet;
    bool stored;
  } cases[] = {{Compression::Jpeg, 0, 0, true},     {Compression::Jpeg, 24, 11, true},
               {Compression::Jpeg, 8, 0, false},    {Compression::Jpeg, 0, 10, false},
               {Compression::Jpeg420, 0, 0, false}, {Compression::None, 0, 0, false}};
  for (const auto& c : cases) {
    Bitmap bitmap = SmoothBitmap(20, 10, 24);
    kz::SaveRequest request = Request(c.compression, Container::Modca, c.bits);
    request.functionSet = c.functionSet;
    request.jpeg = &own;
    EXPECT_EQ(kz::StoresJpeg(request, bitmap), c.stored);
    ASSERT_TRUE(kz::SavePage(file, bitmap, request).Ok());
    EXPECT_EQ(ReadPages(file).at(0).data == own, c.stored);
  }
}

// What the filter codes is the same in either layout.
TEST(ColorPage, WrapsWhatTheFilterCodes) {
  const TemporaryFolder folder;
  const struct {
    Compression compression;
    int bits;
    const char* encoding;
  } cases[] = {{Compression::Group4, 1, "95028201"},
               {Compression::IbmMmr, 1, "95020101"},
               {Compression::Abic, 1, "95020801"},
               {Compression::Abic, 4, "95020A01"}};
  for (const auto& c : cases) {
    Bitmap bitmap = RandomBitmap(500, 400, c.bits);
    kz::SaveRequest request = Request(c.compression, Container::Modca);
    ASSERT_TRUE(kz::SavePage(folder / "ten", bitmap, request).Ok());
    request.functionSet = 11;
    ASSERT_TRUE(kz::SavePage(folder / "eleven", bitmap, request).Ok());
    const WrittenImage ten = WrittenPages(FileBytes(folder / "ten")).at(0);
    const ReadPage eleven = ReadPages(folder / "eleven").at(0);
    EXPECT_EQ(eleven.data, ten.data);
    ASSERT_EQ(eleven.fields.size(), 6u);
    EXPECT_EQ(eleven.fields[3], Hex(c.encoding));
    const auto bits = static_cast<unsigned char>(c.bits);
    EXPECT_EQ(eleven.fields[5], Hex("9B06 0012000000") + Bytes{bits});
  }
}

// Pages of both layouts follow one another in one document.
TEST(ColorPage, FollowsPagesOfTheFilter) {
  const TemporaryFolder folder;
  for (const Container container : {Container::Modca, Container::ModcaCarriageControl}) {
    const std::string file = folder / "document";
    Bitmap gray = RandomBitmap(30, 20, 8);
    Bitmap black = RandomBitmap(30, 20, 1);
    const bool carriageControl = container == Container::ModcaCarriageControl;
    for (int page = 0; page < 4; ++page) {
      kz::SaveRequest request = Request(Compression::None, container);
      request.mode = page == 0 ? kz::SaveMode::NewFile : kz::SaveMode::Append;
      ASSERT_TRUE(kz::SavePage(file, page % 2 == 0 ? gray : black, request).Ok());
    }
    const std::vector<ReadPage> pages = ReadPages(file);
    ASSERT_EQ(pages.size(), 4u);
    for (size_t page = 0; page < 4; ++page) {
      EXPECT_EQ(pages[page].data.size(), page % 2 == 0 ? 600u : 80u);
      EXPECT_EQ(pages[page].fields.size(), page % 2 == 0 ? 6u : 5u);
      EXPECT_EQ(pages[page].prefixed, carriageControl);
    }
  }
}

TEST(ColorPage, RefusesWhatItCantHold) {
  const TemporaryFolder folder;
  const std::string file = folder / "page";
  const struct {
    Compression compression;
    int bits, functionSet, status;
  } cases[] = {{Compression::Group3, 1, 11, K_ERROR_SAVE_FORMAT},
               {Compression::Group3TwoDimensional, 1, 11, K_ERROR_SAVE_FORMAT},
               {Compression::Group4, 8, 11, K_ERROR_BITS_PER_PIXEL},
               {Compression::Jpeg, 1, 11, K_ERROR_BITS_PER_PIXEL},
               {Compression::None, 24, 10, K_ERROR_BITS_PER_PIXEL}};
  Bitmap bitmap = RandomBitmap(8, 8, 24);
  for (const auto& c : cases) {
    kz::SaveRequest request = Request(c.compression, Container::Modca, c.bits);
    request.functionSet = c.functionSet;
    EXPECT_EQ(kz::SavePage(file, bitmap, request).status, c.status);
    EXPECT_EQ(kz::CheckPicture(bitmap, request).status, c.status);
  }
  folder.File("page", Hex("0010 D3A8A8 000000 0000000000000000"));
  kz::SaveRequest request = Request(Compression::None, Container::Modca);
  request.mode = kz::SaveMode::Append;
  EXPECT_EQ(kz::SavePage(file, bitmap, request).status, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(FileBytes(file).size(), 16u);
}

}  // namespace
