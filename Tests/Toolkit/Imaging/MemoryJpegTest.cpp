// JPEG data in memory, which the saver makes and the loader takes, and data that only a
// callback can describe.
// Before MemorySaver.h, whose constants have the names of its enumerators.
#include "Toolkit/Editing/SavePage.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <thread>

#include <jpeglib.h>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"
#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/TestPictures.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Imaging/MemoryLoader.h"
#include "Toolkit/Imaging/MemorySaver.h"

namespace kz::test {

namespace {

Bytes Save(Bitmap& bitmap, int format, int bits, int qFactor) {
  HGLOBAL block = nullptr;
  uint64_t size = 0;
  EXPECT_EQ(SaveToMemory(&block, bitmap.Handle(), format, bits, qFactor, &size, nullptr),
            K_SUCCESS);
  EXPECT_EQ(WinGlobalSize(block), size);
  const auto* bytes = static_cast<const unsigned char*>(WinGlobalLock(block));
  Bytes data(bytes, bytes + size);
  WinGlobalUnlock(block);
  WinGlobalFree(block);
  return data;
}

// Loads a copy that ends where the data end, so that a sanitizer sees overruns.
int Load(const Bytes& data, int bits, Bitmap& bitmap, int order = K_ORDER_BGR) {
  Bytes copy(data);
  copy.shrink_to_fit();
  _BITMAPHANDLE record{};
  record.nWidth = 77;  // must not survive
  const int status =
      LoadMemory(copy.data(), &record, sizeof(record), bits, order, copy.size(), nullptr, nullptr);
  if (status != K_SUCCESS) {
    EXPECT_EQ(record.pRows, nullptr);
    EXPECT_EQ(record.nWidth, 0);
  }
  bitmap = Adopt(record);
  return status;
}

// The sampling factors of the components.
Bytes Sampling(const Bytes& data) {
  size_t frame = 2;  // at SOF0
  while (data.at(frame + 1) != 0xC0) frame += 2u + data.at(frame + 2) * 256u + data.at(frame + 3);
  Bytes factors;
  for (size_t i = 0; i < data.at(frame + 9); ++i) factors.push_back(data.at(frame + 11 + 3 * i));
  return factors;
}

// Encodes one flat ink colour with libjpeg-turbo.
Bytes PlainEncode(const std::vector<int>& color, J_COLOR_SPACE space, bool progressive,
                  unsigned height = 10) {
  jpeg_compress_struct jpeg;
  jpeg_error_mgr errors;
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_compress(&jpeg);
  unsigned char* out = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&jpeg, &out, &size);
  jpeg.image_width = 20;
  jpeg.image_height = height;
  jpeg.input_components = static_cast<int>(color.size());
  jpeg.in_color_space = space;
  jpeg_set_defaults(&jpeg);
  jpeg_set_quality(&jpeg, 100, TRUE);
  if (progressive) jpeg_simple_progression(&jpeg);
  jpeg_start_compress(&jpeg, TRUE);
  Bytes row;
  for (int x = 0; x < 20; ++x) row.insert(row.end(), color.begin(), color.end());
  unsigned char* pointer = row.data();
  while (jpeg.next_scanline < jpeg.image_height) jpeg_write_scanlines(&jpeg, &pointer, 1);
  jpeg_finish_compress(&jpeg);
  jpeg_destroy_compress(&jpeg);
  Bytes data(out, out + size);
  free(out);
  return data;
}

TEST(MemorySaver, FormatsDifferInTheirChromaSampling) {
  for (const auto& [factor, quality] :
       {std::pair{2, 100}, {255, 1}, {-5, 100}, {1000, 1}, {128, 51}, {129, 50}}) {
    EXPECT_EQ(JpegQuality(factor), quality) << factor;
  }
  const struct {
    int format, depth, bits;
    Bytes sampling;
  } cases[] = {
      {kJpeg444, 24, 24, {0x11, 0x11, 0x11}},
      {kJpeg420, 24, 24, {0x22, 0x11, 0x11}},
      {kJpeg422, 24, 24, {0x21, 0x11, 0x11}},
      {kJpeg420, 8, 8, {0x11}},
      {kJpeg420, 24, 8, {0x11}},
      {kJpeg422, 8, 24, {0x21, 0x11, 0x11}},
      {kJpeg444, 8, 0, {0x11}},
      {kJpeg444, 24, 0, {0x11, 0x11, 0x11}},
  };
  for (const auto& c : cases) {
    for (const int order : {K_ORDER_RGB, K_ORDER_BGR}) {
      SCOPED_TRACE(testing::Message() << c.format << " from " << c.depth << " at " << c.bits);
      Bitmap bitmap = SmoothBitmap(67, 45, c.depth, order);
      const Bytes data = Save(bitmap, c.format, c.bits, 2);
      EXPECT_EQ(Sampling(data), c.sampling);
      Bitmap loaded;
      ASSERT_EQ(Load(data, 0, loaded, order), K_SUCCESS);
      EXPECT_EQ(loaded.BitsPerPixel(), c.sampling.size() == 1 ? 8 : 24);
      EXPECT_EQ(loaded.XResolution(), 300);
      EXPECT_EQ(LastMemoryLoadDamage(), K_SUCCESS);
      if (c.depth == 8 || c.bits != 8) {
        EXPECT_LE(LargestDifference(bitmap, loaded), 6);
      }
    }
  }
}

TEST(FlipJpeg, PicturesOfWholeBlocksAreTurnedWithoutLoss) {
  const struct {
    int format, bits, height;
    bool progressive, flips;
  } cases[] = {{kJpeg444, 24, 48, false, true},  {kJpeg444, 24, 56, false, true},
               {kJpeg444, 24, 50, false, false}, {kJpeg420, 24, 48, false, true},
               {kJpeg420, 24, 56, false, false}, {kJpeg422, 24, 56, false, true},
               {kJpeg444, 8, 8, false, true},    {kJpeg444, 8, 45, false, false},
               {kJpeg444, 8, 8, true, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.format << " " << c.bits << " bits, height " << c.height);
    Bitmap bitmap = SmoothBitmap(67, c.height, c.bits);
    Bytes data = c.progressive ? PlainEncode({100}, JCS_GRAYSCALE, true, 16)
                               : Save(bitmap, c.format, c.bits, 20);
    const Bytes comment = {0xFF, 0xFE, 0, 6, 'n', 'o', 't', 'e'};
    data.insert(data.begin() + 2, comment.begin(), comment.end());
    const Bytes original = data;
    bool flipped = !c.flips;
    ASSERT_TRUE(FlipJpeg(data, kDefaultMaxPixels, flipped).Ok());
    EXPECT_EQ(flipped, c.flips);
    Bytes limited = original;
    EXPECT_EQ(FlipJpeg(limited, 8, flipped).status, K_ERROR_INVALID_FORMAT);
    if (!c.flips) {
      EXPECT_EQ(data, original);
      continue;
    }
    EXPECT_NE(std::search(data.begin(), data.end(), comment.begin(), comment.end()), data.end());
    Bitmap before, after;
    ASSERT_EQ(Load(original, 0, before), K_SUCCESS);
    ASSERT_EQ(Load(data, 0, after), K_SUCCESS);
    EXPECT_EQ(after.XResolution(), before.XResolution());
    before.Handle()->nViewPerspective = K_VIEW_BOTTOM_UP;
    // Only rounding differs, and where chroma is spread over pixels.
    EXPECT_LE(LargestDifference(before, after), c.format == kJpeg420 ? 3 : 1);
    // Twice turned is not turned at all.
    ASSERT_TRUE(FlipJpeg(data, kDefaultMaxPixels, flipped).Ok());
    Bitmap again;
    ASSERT_EQ(Load(data, 0, again), K_SUCCESS);
    before.Handle()->nViewPerspective = K_VIEW_TOP_DOWN;
    EXPECT_EQ(LargestDifference(before, again), 0);
  }
}

TEST(MemoryLoader, InksBecomeColours) {
  // As libjpeg-turbo writes them, with an Adobe marker: 255 = no ink.
  const struct {
    std::vector<int> inks;
    Color color;
  } cases[] = {{{255, 255, 255, 255}, {255, 255, 255}},
               {{0, 255, 255, 255}, {0, 255, 255}},
               {{255, 255, 255, 0}, {0, 0, 0}},
               {{255, 128, 0, 128}, {128, 64, 0}}};
  for (const auto& c : cases) {
    for (const int order : {K_ORDER_RGB, K_ORDER_BGR}) {
      Bitmap loaded;
      ASSERT_EQ(Load(PlainEncode(c.inks, JCS_CMYK, false), 0, loaded, order), K_SUCCESS);
      const Color color = ColorAt(loaded, 7, 7);
      for (size_t i = 0; i < 3; ++i) EXPECT_NEAR(color[i], c.color[i], 2);
    }
    Bitmap gray;
    EXPECT_EQ(Load(PlainEncode(c.inks, JCS_CMYK, false), 8, gray), K_SUCCESS);
    EXPECT_EQ(gray.BitsPerPixel(), 8);
  }
}

TEST(MemoryLoader, DataThatEndTooEarlyFail) {
  Bitmap bitmap = RandomBitmap(40, 40, 24);
  for (const bool progressive : {false, true}) {
    const Bytes data =
        progressive ? PlainEncode({10, 200, 90}, JCS_RGB, true) : Save(bitmap, kJpeg420, 24, 20);
    Bitmap loaded;
    // The end marker alone may be missing.
    EXPECT_EQ(Load(Bytes(data.begin(), data.end() - 2), 24, loaded), K_SUCCESS);
    EXPECT_EQ(LastMemoryLoadDamage(), K_SUCCESS);
    const size_t before = K_LiveBlocks() - 1;
    for (size_t size = 3; size < data.size() - (progressive ? 300 : 10); size += 1 + size / 60) {
      const int status =
          Load(Bytes(data.begin(), data.begin() + static_cast<ptrdiff_t>(size)), 24, loaded);
      EXPECT_EQ(status, K_ERROR_READ) << size;
      EXPECT_EQ(K_LiveBlocks(), before);
    }
  }
}

TEST(MemoryLoader, DamageThatLeavesAPictureIsReported) {
  Bitmap bitmap = RandomBitmap(40, 40, 24);
  const Bytes data = Save(bitmap, kJpeg420, 24, 20);
  int reported = 0;
  for (size_t at = data.size() / 2; at < data.size() - 10; ++at) {
    Bytes damaged = data;
    damaged[at] ^= 0x55;
    Bitmap loaded;
    reported +=
        Load(damaged, 24, loaded) == K_SUCCESS && LastMemoryLoadDamage() == K_ERROR_INVALID_FORMAT;
  }
  EXPECT_GT(reported, 0);
}

TEST(MemoryLoader, SizesThatTheDataCannotFillAreRefused) {
  Bitmap bitmap = SmoothBitmap(16, 16, 24), loaded;
  Bytes data = Save(bitmap, kJpeg420, 24, 2);
  const Bytes marker = {0xFF, 0xC0};
  const auto frame = std::search(data.begin(), data.end(), marker.begin(), marker.end());
  frame[5] = frame[7] = 0x3F;  // 16128 pixels wide and high
  EXPECT_EQ(Load(data, 24, loaded), K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(Load(data, 2, loaded), K_ERROR_BITS_PER_PIXEL);
}

TEST(MemoryLoader, AMultitudeOfScansIsRefused) {
  Bytes data = PlainEncode({100}, JCS_GRAYSCALE, true);
  // The last scan again and again.
  const Bytes marker = {0xFF, 0xDA};
  const Bytes scan(std::find_end(data.begin(), data.end(), marker.begin(), marker.end()),
                   data.end() - 2);
  data.erase(data.end() - 2, data.end());
  for (int i = 0; i < 500; ++i) data.insert(data.end(), scan.begin(), scan.end());
  Bitmap loaded;
  EXPECT_EQ(Load(data, 8, loaded), K_ERROR_INVALID_FORMAT);
}

constexpr int kWidth = 70;
constexpr int kHeight = 40;

// The picture's Group 4 data.
Bytes Group4Data(Bitmap& bitmap) {
  const TemporaryFolder folder;
  Bytes data;
  EXPECT_TRUE(SavePage(folder / "page", bitmap, {}).Ok());
  EXPECT_TRUE(ReadImageData(folder / "page", 1, data).Ok());
  return data;
}

_LOADINFO Group4Info() {
  _LOADINFO info{};
  info.nFormat = 68;
  info.nWidth = kWidth;
  info.nHeight = kHeight;
  info.nBitsPerPixel = 1;
  info.nXResolution = info.nYResolution = 150;
  info.uFlags = K_RAW_TOP_DOWN;
  return info;
}

int GiveInfo(int, _LOADINFO* info, void* userData) {
  *info = *static_cast<_LOADINFO*>(userData);
  return K_SUCCESS;
}

int GiveNothing(int, _LOADINFO*, void*) { return 0; }

class DescribedData : public testing::Test {
 protected:
  int Load(int bits = 1) { return test::Load(data, bits, loaded); }
  void SetUp() override { SetLoadInfoCallback(GiveInfo, &info); }
  void TearDown() override { SetLoadInfoCallback(nullptr, nullptr); }

  Bitmap picture = RandomBitmap(kWidth, kHeight, 1);
  Bytes data = Group4Data(picture);
  _LOADINFO info = Group4Info();
  Bitmap loaded;
};

TEST_F(DescribedData, FaxDataBecomeTheirPicture) {
  for (const int bits : {1, 0, 8, 24}) {
    ASSERT_EQ(Load(bits), K_SUCCESS) << bits;
    EXPECT_EQ(loaded.BitsPerPixel(), bits == 0 ? 1 : bits);
    EXPECT_EQ(LargestDifference(loaded, picture), 0);
    EXPECT_EQ(loaded.XResolution(), 150);
  }
  // The data may begin after something else.
  data.insert(data.begin(), {1, 2, 3});
  info.nDataOffset = 3;
  ASSERT_EQ(Load(), K_SUCCESS);
  EXPECT_EQ(LargestDifference(loaded, picture), 0);
}

TEST_F(DescribedData, FlagsGivePerspectiveAndPalette) {
  const uint32_t flags[] = {0x1, 0x200, 0x80, 0x40, 0x100, 0x10, 0x400, 0x20};
  for (int perspective = 1; perspective <= 8; ++perspective) {
    info.uFlags = flags[perspective - 1];
    ASSERT_EQ(Load(), K_SUCCESS);
    EXPECT_EQ(loaded.Handle()->nViewPerspective, perspective);
    EXPECT_EQ(loaded.Palette(), nullptr);
    // Rows stand in the order in which they are coded.
    EXPECT_EQ(loaded.Handle()->pRows[0], picture.Handle()->pRows[0]);
  }
  info.uFlags = 0x1041;
  info.aPalette[1][0] = info.aPalette[1][1] = info.aPalette[1][2] = 128;
  ASSERT_EQ(Load(), K_SUCCESS);
  ASSERT_EQ(loaded.Colors(), 2);
  EXPECT_EQ(Bytes(loaded.Palette(), loaded.Palette() + 8), (Bytes{0, 0, 0, 0, 128, 128, 128, 0}));
}

TEST_F(DescribedData, WhatCannotBeDecodedLeavesNoBitmap) {
  const size_t before = K_LiveBlocks();
  const struct {
    const char* what;
    void (*change)(_LOADINFO&, Bytes&);
    int status;
  } cases[] = {
      {"unknown format", [](_LOADINFO& i, Bytes&) { i.nFormat = 185; }, -9},
      {"depth", [](_LOADINFO& i, Bytes&) { i.nBitsPerPixel = 8; }, -9},
      {"no width", [](_LOADINFO& i, Bytes&) { i.nWidth = 0; }, -9},
      {"huge", [](_LOADINFO& i, Bytes&) { i.nWidth = i.nHeight = 0xFFFFFFFF; }, -9},
      {"offset", [](_LOADINFO& i, Bytes& d) { i.nDataOffset = d.size() + 1; }, -9},
      {"short", [](_LOADINFO&, Bytes& d) { d.resize(d.size() / 2); }, -7},
      {"damaged", [](_LOADINFO&, Bytes& d) { std::fill(d.begin(), d.end(), 0x01); }, -9},
      {"no description", [](_LOADINFO&, Bytes&) { SetLoadInfoCallback(GiveNothing, nullptr); }, -9},
      {"no callback", [](_LOADINFO&, Bytes&) { SetLoadInfoCallback(nullptr, nullptr); }, -9},
  };
  const Bytes goodData = data;
  for (const auto& c : cases) {
    info = Group4Info();
    data = goodData;
    SetLoadInfoCallback(GiveInfo, &info);
    c.change(info, data);
    EXPECT_EQ(Load(), c.status) << c.what;
    EXPECT_EQ(K_LiveBlocks(), before) << c.what;
  }
}

TEST_F(DescribedData, CallbacksAreTheThreadsOwnAndComeBackWithTheirData) {
  // A caller puts its own callback in force for a while and the former one back
  // without knowing its data.
  _LOADINFO other = Group4Info();
  other.nHeight = 1;
  const K_LoadInfoCallback former = SetLoadInfoCallback(GiveNothing, &other);
  EXPECT_EQ(former, GiveInfo);
  EXPECT_EQ(Load(), K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(SetLoadInfoCallback(former, nullptr), GiveNothing);
  EXPECT_EQ(Load(), K_SUCCESS);
  int elsewhere = 0;
  std::thread([&] { elsewhere = Load(); }).join();
  EXPECT_EQ(elsewhere, K_ERROR_INVALID_FORMAT);
}

}  // namespace

}  // namespace kz::test
