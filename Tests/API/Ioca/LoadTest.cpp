// fltLoad on its paths: what the row callback gets, what stops a load, and that
// every end of it gives back what it took.
#include <gtest/gtest.h>

#include <cstring>

#include "API/Filters/Ica/Common/Ioca/Coders/CodecLoader.h"
#include "Tests/API/FailingFiles.h"
#include "Tests/API/LoadPaths.h"
#include "Tests/API/LoadRequest.h"

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
  const Case cases[] = {{1, 2, 2}, {3, 1000, 334}, {4, 10, 3},        {4, 5, 2},
                        {5, 1, 1}, {2, 0, 0},      {3, 200000, 66667}};
  for (const Case& c : cases) {
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
      EXPECT_TRUE(load.fromTarget);
      EXPECT_EQ(load.bitmap.nViewPerspective, 1);
      ASSERT_EQ(load.bitmap.nColors, 2);
      EXPECT_EQ(std::memcmp(load.bitmap.pPalette, "\xFF\xFF\xFF\0\0\0\0\0", 8), 0);
    }
  }
}

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
  for (const Path& path : Paths()) {
    folder.File("file", path.segment);
    const std::string name = path.name;
    const bool jpeg = name.ends_with("JPEG");
    if (!jpeg && name != "uncompressed" && !name.ends_with("ABIC")) continue;
    for (const auto& [width, height] : {std::pair{0, 6}, {-1, 6}, {16, 0}, {16, -1}, {0, 0}}) {
      SCOPED_TRACE(testing::Message() << name << ", " << width << " x " << height);
      LoadRequest load(path.width, path.height, path.depth);
      load.bitmap.nWidth = width;
      load.bitmap.nHeight = height;
      const bool loads = jpeg || (height > 0 && name == "uncompressed");
      EXPECT_EQ(load(folder / "file") == 1, loads);
      EXPECT_EQ(load.Picture(path.bytesPerRow), loads ? path.picture : Bytes{});
    }
  }
}

TEST(Load, EveryPathGivesThePictureFromEveryContainer) {
  const Bytes other = Uncompressed(2, Pattern(4));
  for (size_t i = 0; i < 4 * Paths().size(); ++i) {
    const Path& path = Paths()[i / 4];
    SCOPED_TRACE(testing::Message() << path.name << ", container " << i % 4);
    const std::vector<Bytes> pages = {other, path.segment};
    const std::pair<Bytes, int> containers[] = {
        {path.segment, 1},
        {Document(pages), 2},
        {Document(pages, {1}, {true, {}, false}), 2},
        {Document(pages, {5, 0, 33}, {true, {1, 2}, true}), 9},
    };
    const auto& [bytes, page] = containers[i % 4];
    FailingFiles files;
    const TemporaryFolder folder;
    folder.File("file", bytes);
    LoadRequest load(path.width, path.height, path.depth);
    ASSERT_EQ(load(folder / "file", page), 1);
    ASSERT_EQ(load.rows.size(), static_cast<size_t>(path.height));
    EXPECT_EQ(load.Picture(path.bytesPerRow), path.picture);
    EXPECT_EQ(load.fromTarget, path.fromTarget);
    EXPECT_EQ(load.rows[0].flags, 7u);
    EXPECT_EQ(load.rows[1].flags, 3u);
    EXPECT_EQ(load.rows.back().flags, 11u);
    if (std::strstr(path.name, "ABIC") != nullptr) {
      ASSERT_EQ(load.bitmap.nColors, path.depth == 1 ? 2 : 16);
      EXPECT_EQ(load.bitmap.pPalette[4], path.depth == 1 ? 0 : 17);
      EXPECT_EQ(load.bitmap.nViewPerspective, 1);
    }
    EXPECT_EQ(EmbeddedLoaders::g_aLoaders.IsLoaded(), 0);
  }
}

// 105 is also what asks the filter's own loop for more rows: it ends the load only as
// the answer to the last.
TEST(Load, TheCallbackEndsEveryPathAtAnyRow) {
  const size_t blocks = K_LiveBlocks();
  for (const Path& path : Paths()) {
    const TemporaryFolder folder;
    folder.File("file", Document({path.segment}, {40}, {true, {}, false}));
    for (const int result : {0, -5, 2, 105}) {
      const auto last = static_cast<size_t>(path.height);
      for (size_t row = result == 105 ? last : 1; row <= last; ++row) {
        FailingFiles files;
        LoadRequest load(path.width, path.height, path.depth);
        load.stopAt = row;
        load.stopResult = result;
        EXPECT_EQ(load(folder / "file"), result) << path.name << ", row " << row;
        EXPECT_EQ(load.calls, row) << "no row after the callback's refusal";
      }
    }
  }
  EXPECT_EQ(K_LiveBlocks(), blocks);
  EXPECT_EQ(EmbeddedLoaders::g_aLoaders.IsLoaded(), 0);
}

TEST(Load, FilesThatCanNotBeLoaded) {
  FailingFiles files;
  const TemporaryFolder folder;
  const auto segment = [](unsigned char compression, const Bytes& data) {
    return Segment(ImageSize(16, 6) + Encoding(compression), data);
  };
  std::vector<std::pair<Bytes, int>> cases = {
      {{}, -9},
      {Bytes(100, 'x'), -9},
      {Document({}), -9},
      {segment(0x06, Pattern(12)), -9},
      {segment(0x83, Pattern(12)), -14},
      {Segment(ImageSize(32, 6) + Encoding(0x82), {0x00, 0x40, 0x55}), -9}};
  for (const unsigned char compression : Bytes{0x03, 0x08, 0x83}) {
    const Bytes start = kPrologue + ImageSize(16, 6) + Encoding(compression);
    cases.push_back({start + Bytes{0xFE, 0x92, 0, 9, 1, 2}, -7});
    cases.push_back({start + ImageData({1, 2}) + Bytes{0x98, 0}, -9});
  }
  LoadRequest load(32, 6);
  EXPECT_EQ(load(folder / "missing"), -10);
  for (const auto& [bytes, status] : cases) {
    EXPECT_EQ(load(folder.File("f", bytes)), status) << testing::PrintToString(bytes);
    EXPECT_TRUE(files.InForce());
  }
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
  // For fax data it reads with the host's own routine.
  static bool inForce;
  static FailingFiles* installed;
  installed = &files;
  folder.File("fax", Paths()[1].segment);
  LoadRequest fax(29, 6);
  fax.dispatch.pfnLoadMemory = [](unsigned char*, _BITMAPHANDLE*, uint32_t, int, int, uint64_t,
                                  void*, _IMAGEFILEINFO*) {
    inForce = installed->InForce();
    return -9;
  };
  EXPECT_EQ(fax(folder / "fax"), -14);
  EXPECT_TRUE(inForce);
}

}  // namespace
