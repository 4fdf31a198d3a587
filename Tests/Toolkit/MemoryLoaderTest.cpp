// The memory loader on data that only a callback can describe.
#include "Host/Toolkit/MemoryLoader.h"

#include <gtest/gtest.h>

#include <thread>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"
#include "Host/Toolkit/Document.h"
#include "Host/Toolkit/SavePage.h"
#include "Tests/Toolkit/TestPictures.h"

namespace kz::test {

namespace {

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
  int Load(int bits = 1) {
    _BITMAPHANDLE record{};
    const int status = LoadMemory(data.data(), &record, sizeof(record), bits, K_ORDER_BGR,
                                  data.size(), nullptr, nullptr);
    EXPECT_EQ(record.pRows != nullptr, status == K_SUCCESS);
    loaded = Adopt(record);
    return status;
  }
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
  // The data may begin behind something else.
  data.insert(data.begin(), {1, 2, 3});
  info.nDataOffset = 3;
  ASSERT_EQ(Load(), K_SUCCESS);
  EXPECT_EQ(LargestDifference(loaded, picture), 0);
}

TEST_F(DescribedData, FlagsGivePerspectiveAndPalette) {
  const struct {
    uint32_t flags;
    int perspective;
  } cases[] = {{0x1, 1},   {0x200, 2}, {0x80, 3},  {0x40, 4},
               {0x100, 5}, {0x10, 6},  {0x400, 7}, {0x20, 8}};
  for (const auto& c : cases) {
    info.uFlags = c.flags;
    ASSERT_EQ(Load(), K_SUCCESS);
    EXPECT_EQ(loaded.Handle()->nViewPerspective, c.perspective);
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
