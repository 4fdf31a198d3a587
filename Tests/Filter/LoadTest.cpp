// fltLoad on its roads: what the row callback gets, what stops a load, and that
// every end of it gives back what it took.
#include <gtest/gtest.h>

#include <cstring>

#include "API/Filters/Ica/Common/Ioca/Coders/CodecLoader.h"
#include "Tests/Filter/FailingFiles.h"
#include "Tests/Filter/LoadRequest.h"
#include "Tests/Filter/LoadRoads.h"

namespace {

Bytes Uncompressed(unsigned height, const Bytes& data, const Bytes& encoding = Encoding(0x03)) {
  return Segment(ImageSize(16, height) + encoding, data, 400);
}

TEST(Load, UncompressedRowsAreTheDataDividedByTheHeight) {
  struct Case {
    unsigned height;
    size_t data;
    size_t row;
  };
  for (const Case& c : {Case{1, 2, 2},
                        {3, 1000, 334},
                        {4, 10, 3},
                        {4, 5, 2},
                        {5, 1, 1},
                        {2, 0, 0},
                        {3, 200000, 66667}}) {
    // Recording order and bit order are for the host; the rows go out as stored.
    for (const Bytes& encoding : {Encoding(0x03), Bytes{0x95, 3, 0x03, 3, 1}}) {
      SCOPED_TRACE(testing::Message() << c.data << " bytes, " << c.height << " rows");
      FailingFiles files;
      const TemporaryFolder folder;
      Bytes data = Pattern(c.data);
      folder.File("file", Document({Uncompressed(c.height, data, encoding)}, {90, 0, 7}));
      LoadRequest load(16, static_cast<int>(c.height));
      EXPECT_EQ(load(folder / "file"), 1);
      ASSERT_EQ(load.rows.size(), c.height);
      EXPECT_EQ(load.bitmap.nBytesPerLine, static_cast<int>(c.row));
      data.resize(c.row * c.height, 0);
      EXPECT_EQ(load.Picture(c.row), data);
      for (unsigned i = 0; i < c.height; ++i) {
        const unsigned flags = 3u | (i == 0 ? 4u : 0u) | (i + 1 == c.height ? 8u : 0u);
        EXPECT_EQ(load.rows[i].flags, flags) << i;
      }
      EXPECT_TRUE(load.fromTarget);
      EXPECT_EQ(load.bitmap.nViewPerspective, 1);
      ASSERT_EQ(load.bitmap.nColors, 2);
      EXPECT_EQ(std::memcmp(load.bitmap.pPalette, "\xFF\xFF\xFF\0\0\0\0\0", 8), 0);
    }
  }
}

class LoadRoad : public testing::TestWithParam<size_t> {
 protected:
  const Road& road = Roads()[GetParam()];
};

// After a 0x5A they are like any others; without it no reader can know them.
TEST(Load, PicturesInFieldsWhoseLengthBeginsWith0x5A) {
  for (const size_t length : {0x59FFu, 0x5A00u, 0x5A10u, 0x5AFFu, 0x5B00u}) {
    for (const bool prefixed : {true, false}) {
      const Style style = {prefixed, {}, false};
      std::vector<Bytes> segments;
      for (unsigned page = 1; page <= 3; ++page) {
        segments.push_back(Uncompressed(page, Pattern(60000, page)));
      }
      const Bytes text = Field(0xEE9B, Bytes(length - 8, 0x5A), style);
      FailingFiles files;
      const TemporaryFolder folder;
      folder.File("file", text + Document(segments, {length - 8}, style) + text);
      const bool readable = prefixed || length >> 8 != 0x5A;
      for (unsigned page = 1; page <= 3; ++page) {
        SCOPED_TRACE(testing::Message() << length << ", page " << page << ", 0x5A " << prefixed);
        LoadRequest load(16, static_cast<int>(page));
        ASSERT_EQ(load(folder / "file", static_cast<int>(page)), readable ? 1 : -9);
        EXPECT_EQ(load.Picture(60000 / page), readable ? Pattern(60000, page) : Bytes{});
      }
    }
  }
}

// A size of the target that nothing depends on is the host's own affair.
TEST(Load, TargetsOfNoSizeAreRefusedWhereTheirRowsAreCounted) {
  FailingFiles files;
  const TemporaryFolder folder;
  for (const Road& road : Roads()) {
    folder.File("file", road.segment);
    const std::string name = road.name;
    const bool jpeg = name.ends_with("JPEG");
    if (!jpeg && name != "uncompressed" && !name.ends_with("ABIC")) continue;
    for (const auto& [width, height] : {std::pair{0, 6}, {-1, 6}, {16, 0}, {16, -1}, {0, 0}}) {
      SCOPED_TRACE(testing::Message() << name << ", " << width << " x " << height);
      LoadRequest load(road.width, road.height, road.depth);
      load.bitmap.nWidth = width;
      load.bitmap.nHeight = height;
      const bool loads = jpeg || (height > 0 && name == "uncompressed");
      EXPECT_EQ(load(folder / "file") == 1, loads);
      EXPECT_EQ(load.Picture(road.bytesPerRow), loads ? road.picture : Bytes{});
    }
  }
}

TEST_P(LoadRoad, GivesThePictureFromEveryContainer) {
  const Bytes other = Uncompressed(2, Pattern(4));
  const std::pair<Bytes, int> containers[] = {
      {road.segment, 1},
      {Document({other, road.segment}), 2},
      {Document({other, road.segment}, {1}, {true, {}, false}), 2},
      {Document({other, road.segment}, {5, 0, 33}, {true, {1, 2}, true}), 9},
  };
  for (const auto& [bytes, page] : containers) {
    FailingFiles files;
    const TemporaryFolder folder;
    folder.File("file", bytes);
    LoadRequest load(road.width, road.height, road.depth);
    ASSERT_EQ(load(folder / "file", page), 1);
    ASSERT_EQ(load.rows.size(), static_cast<size_t>(road.height));
    EXPECT_EQ(load.Picture(road.bytesPerRow), road.picture);
    EXPECT_EQ(load.fromTarget, road.fromTarget);
    EXPECT_EQ(load.rows[0].flags, 7u);
    EXPECT_EQ(load.rows[1].flags, 3u);
    EXPECT_EQ(load.rows.back().flags, 11u);
    if (std::strstr(road.name, "ABIC") != nullptr) {
      ASSERT_EQ(load.bitmap.nColors, road.depth == 1 ? 2 : 16);
      EXPECT_EQ(load.bitmap.pPalette[4], road.depth == 1 ? 0 : 17);
      EXPECT_EQ(load.bitmap.nViewPerspective, 1);
    }
    EXPECT_EQ(EmbeddedLoaders::g_aLoaders.IsLoaded(), 0);
  }
}

// 105 is also what asks the filter's own loop for more rows: it ends the load only as
// the answer to the last.
TEST_P(LoadRoad, TheCallbackEndsTheLoadAtAnyRow) {
  const TemporaryFolder folder;
  folder.File("file", Document({road.segment}, {40}, {true, {}, false}));
  const size_t blocks = K_LiveBlocks();
  for (const int result : {0, -5, 2, 105}) {
    const auto last = static_cast<size_t>(road.height);
    for (size_t row = result == 105 ? last : 1; row <= last; ++row) {
      FailingFiles files;
      LoadRequest load(road.width, road.height, road.depth);
      load.stopAt = row;
      load.stopResult = result;
      EXPECT_EQ(load(folder / "file"), result) << row;
      EXPECT_EQ(load.calls, row) << "no row after the callback's refusal";
    }
  }
  EXPECT_EQ(K_LiveBlocks(), blocks);
  EXPECT_EQ(EmbeddedLoaders::g_aLoaders.IsLoaded(), 0);
}

INSTANTIATE_TEST_SUITE_P(All, LoadRoad, testing::Range(size_t{0}, kRoads), [](const auto& param) {
  std::string name = Roads()[param.param].name;
  std::erase(name, ' ');
  return name;
});

TEST(Load, FilesThatCanNotBeLoaded) {
  FailingFiles files;
  const TemporaryFolder folder;
  folder.File("empty", {});
  folder.File("text", Bytes(100, 'x'));
  folder.File("no image", Document({}));
  folder.File("rl4", Segment(ImageSize(16, 6) + Encoding(0x06), Pattern(12)));
  folder.File("jpeg", Segment(ImageSize(16, 6) + Encoding(0x83), Pattern(12)));
  folder.File("g4", Segment(ImageSize(32, 6) + Encoding(0x82), {0x00, 0x40, 0x55}));
  for (const unsigned char compression : Bytes{0x03, 0x08, 0x83}) {
    const Bytes start = kPrologue + ImageSize(16, 6) + Encoding(compression);
    folder.File("cut" + std::to_string(compression), start + Bytes{0xFE, 0x92, 0, 9, 1, 2});
    folder.File("odd" + std::to_string(compression), start + ImageData({1, 2}) + Bytes{0x98, 0});
  }
  struct Case {
    const char* file;
    int status;
  };
  for (const Case& c : {Case{"missing", -10},
                        {"empty", -9},
                        {"text", -9},
                        {"no image", -9},
                        {"rl4", -9},
                        {"jpeg", -14},
                        {"g4", -9},
                        {"cut3", -7},
                        {"cut8", -7},
                        {"cut131", -7},
                        {"odd3", -9},
                        {"odd8", -9},
                        {"odd131", -9}}) {
    LoadRequest load(32, 6);
    EXPECT_EQ(load(folder / c.file), c.status) << c.file;
    EXPECT_TRUE(files.InForce());
  }
}

const Bytes& LetterFile() {
  static const Bytes file = FileBytes(KZ_SAMPLES "/letter-g4.ica");
  return file;
}
// The image data of a bare file's segment.
Bytes BareImageData(const Bytes& file) {
  Bytes data;
  size_t at = 5;
  while (file[at] != 0xFE) at += 2u + file[at + 1];
  while (file[at] == 0xFE) {
    const size_t length = file[at + 2] * 256u + file[at + 3];
    data = data + Slice(file, at + 4, length);
    at += 4 + length;
  }
  return data;
}
Bytes Letter(unsigned width, const Bytes& data, size_t piece = 65535) {
  return Segment(ImageSize(width, 2200) + Encoding(0x82), data, piece);
}

// A fax machine's 1728 pixels in a file that says 1727.
TEST(Load, Group4CodedWiderThanDeclaredTakesTheSecondRoad) {
  const Bytes data = BareImageData(LetterFile());
  FailingFiles files;
  const TemporaryFolder folder;
  folder.File("letter", Letter(1728, data));
  LoadRequest letter(1728, 2200);
  ASSERT_EQ(letter(folder / "letter"), 1);
  for (const unsigned width : {1721u, 1727u}) {
    for (const Bytes& bytes :
         {Letter(width, data), Letter(width, data, 1000), Document({Letter(width, data)}),
          Document({Letter(width, data, 999)}, {1500, 0, 3}, {true, {1}, true})}) {
      folder.File("file", bytes);
      LoadRequest load(static_cast<int>(width), 2200);
      ASSERT_EQ(load(folder / "file"), 1);
      EXPECT_EQ(load.rowWidth, 1728);
      EXPECT_FALSE(load.fromTarget);
      EXPECT_EQ(load.Picture(216), letter.Picture(216));
      EXPECT_TRUE(files.InForce());
      // The host's own loader reads with the host's own routine.
      LoadRequest stopped(static_cast<int>(width), 2200);
      static bool inForce;
      static FailingFiles* installed;
      installed = &files;
      stopped.dispatch.pfnLoadMemory = [](unsigned char*, _BITMAPHANDLE*, uint32_t, int, int,
                                          uint64_t, void*, _IMAGEFILEINFO*) {
        inForce = installed->InForce();
        return -9;
      };
      EXPECT_EQ(stopped(folder / "file"), -14);
      EXPECT_TRUE(inForce);
    }
  }
  // Of whole bytes, bad data have no second chance of being something else.
  folder.File("bad",
              Letter(1728, Slice(data, 0, 20000) + Bytes(9, 0) + Slice(data, 20000, 100000)));
  LoadRequest bad(1728, 2200);
  EXPECT_EQ(bad(folder / "bad"), -9);
}

TEST(Load, MemoryLoaderIsToldWhatTheJpegDataAre) {
  static _IMAGEFILEINFO told;
  static uint64_t size;
  static int asked[2];
  FailingFiles files;
  const TemporaryFolder folder;
  folder.File("file", Segment(ImageSize(16, 6) + Encoding(0x83), Pattern(150000), 9999));
  LoadRequest load(16, 6, 8);
  load.dispatch.pfnLoadMemory = [](unsigned char* data, _BITMAPHANDLE*, uint32_t, int bits,
                                   int order, uint64_t bytes, void*, _IMAGEFILEINFO* info) {
    told = *info;
    size = bytes;
    asked[0] = bits;
    asked[1] = order;
    return Bytes(data, data + bytes) == Pattern(150000) ? -77 : -78;
  };
  EXPECT_EQ(load(folder / "file"), -14);
  EXPECT_EQ(told.uStructSize, sizeof told);
  EXPECT_EQ(told.nFormat, 10u);
  EXPECT_EQ(told.uFlags, 0x1000u);
  EXPECT_EQ(told.nWidth, 0u);
  EXPECT_EQ(size, 150000u);
  EXPECT_EQ(asked[0], 8);
  EXPECT_EQ(asked[1], K_ORDER_BGR);
}

}  // namespace
