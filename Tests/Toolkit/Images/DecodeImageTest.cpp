// Image contents, put together here, to pictures: each coding, colour space and layout.
#include "Toolkit/Images/DecodeImage.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Host/Kernel/Status.h"
#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/ImageContents.h"
#include "Toolkit/Imaging/FaxData.h"

namespace kz::test {

namespace {

class Contents : public testing::TestWithParam<Given> {};

TEST_P(Contents, BecomeTheirPixels) {
  const Decoded decoded = Decode(Make(GetParam()));
  EXPECT_EQ(decoded.Text(), GetParam().pixels);
  EXPECT_FALSE(decoded.damaged);
}

const Given kContents[] = {
    {"Bilevel", kNone, 10, 2, 1, 0, {}, {{0x80, 0x40, 0x01, 0x80}}, "#........#/.......##."},
    {"BilevelPaddingInferred", kNone, 3, 2, 1, 0, {}, {{0x80, 0, 0, 0x20, 0, 0}}, "#../..#"},
    {"BilevelUnpadded", kNone, 3, 3, 1, 0, {}, {{0b10001000, 0b10000000}}, "#../.#./..#", 0x04},
    {"BottomToTop", kNone, 3, 2, 1, 0, {}, {{0x80, 0, 0, 0, 0x20, 0, 0, 0}}, "..#/#..", 0x03},
    {"LowestBitFirst", kNone, 9, 1, 1, 0, {}, {{0x01, 0x01}}, "#.......#", 0x01, true},
    {"BilevelIgnoresFlags", kNone, 2, 1, 1, kYCbCr, {1}, {{0x80}}, "#.", 0x01, false, true, true},
    {"HeightOfTheData", kNone, 8, 0, 1, 0, {}, {{0x80, 0x01}}, "#......./.......#"},
    {"Gray8", kNone, 2, 1, 8, kYCbCr, {8}, {{0x00, 0x7F}}, "000000 7F7F7F"},
    {"Gray4", kNone, 3, 1, 4, 0, {}, {{0x0F, 0x80}}, "000000 FFFFFF 888888"},
    {"Gray2", kNone, 4, 1, 2, kYCbCr, {2}, {{0b00011011}}, "000000 555555 AAAAAA FFFFFF"},
    {"Gray16", kNone, 1, 1, 16, kYCbCr, {16}, {{0x7F, 0xFF}}, "7F7F7F"},
    {"GraySubtractive", kNone, 2, 1, 8, kYCbCr, {8}, {{0, 255}}, "FFFFFF 000000", 1, false, true},
    {"GrayCode",
     kNone,
     4,
     1,
     2,
     kYCbCr,
     {2},
     {{0b00011110}},
     "000000 555555 AAAAAA FFFFFF",
     1,
     false,
     false,
     true},
    {"Rgb", kNone, 2, 1, 24, kRgb, {8, 8, 8}, {{1, 2, 3, 0xA0, 0xB0, 0xC0}}, "010203 A0B0C0"},
    {"RgbByItsDepth", kNone, 1, 1, 24, 0, {}, {{1, 2, 3}}, "010203"},
    {"Rgb565", kNone, 1, 1, 16, kRgb, {5, 6, 5}, {{0xF8, 0x1F}}, "FF00FF"},
    {"RgbBottomToTop",
     kNone,
     1,
     2,
     24,
     kRgb,
     {8, 8, 8},
     {{1, 2, 3, 0, 4, 5, 6, 0}},
     "040506/010203",
     0x03},
    {"RgbBands", kNone, 2, 1, 24, kRgb, {8, 8, 8}, {{1, 4}, {2, 5}, {3, 6}}, "010203 040506"},
    {"BandOfZeros", kNone, 2, 1, 24, kRgb, {8, 8, 8}, {{1, 4}, {}, {3, 6}}, "010003 040006"},
    {"YCbCr", kNone, 1, 1, 24, kYCbCr, {8, 8, 8}, {{76, 85, 255}}, "FE0000"},
    {"YCrCb", kNone, 1, 1, 24, kYCrCb, {8, 8, 8}, {{76, 255, 85}}, "FE0000"},
    {"Cmyk",
     kNone,
     3,
     1,
     32,
     kCmyk,
     {8, 8, 8, 8},
     {{0, 0, 0, 0, 255, 0, 0, 0, 0, 128, 0, 128}},
     "FFFFFF 00FFFF 7F3F7F"},
    {"CmykOfOneBit", kNone, 2, 1, 4, kCmyk, {1, 1, 1, 1}, {{0b10000001}}, "00FFFF 000000"},
    {"CmykBands", kNone, 2, 1, 4, kCmyk, {1, 1, 1, 1}, {{0x80}, {0}, {}, {0x40}}, "00FFFF 000000"},
    {"PackBits",
     kPackBits,
     16,
     2,
     1,
     0,
     {},
     {{0xFF, 0xFF, 0x80, 0x01, 0x01, 0x80}},
     "################/.......##......."},
    // Codes of 9 bits: clear, 1, 2, the string of both, end.
    {"Lzw",
     kLzw,
     4,
     1,
     8,
     kYCbCr,
     {8},
     {{0x80, 0x00, 0x40, 0x50, 0x28, 0x08}},
     "010101 020202 010101 020202"},
    {"LzwOfItself",
     kLzw,
     4,
     1,
     8,
     kYCbCr,
     {8},
     {{0x80, 0x01, 0xE0, 0x50, 0x10, 0x00}},
     "070707 070707 070707 000000"},
    {"LzwPredictor",
     kLzwPredictor,
     4,
     1,
     8,
     kYCbCr,
     {8},
     {{0x80, 0x00, 0x40, 0x50, 0x28, 0x08}},
     "010101 030303 040404 060606"},
    // White 5, black 3: 1100 10; white 8: 10011.
    {"TiffAlgorithm2", kTiff2, 8, 2, 1, 0, {}, {{0b11001000, 0b10011000}}, ".....###/........"},
    {"SolidFill", kSolid, 3, 1, 1, 0, {}, {{}}, "###"},
};
INSTANTIATE_TEST_SUITE_P(All, Contents, testing::ValuesIn(kContents),
                         [](const auto& test) { return std::string(test.param.name); });

Bitmap Stripes(int width, int height) {
  Bitmap bitmap;
  if (bitmap.Create(width, height, 1) != K_SUCCESS) return bitmap;
  for (int y = 0; y < height; ++y) {
    for (int x = y % 5; x < width; x += 3) {
      bitmap.TopDownRow(y)[x / 8] |= static_cast<unsigned char>(0x80 >> x % 8);
    }
  }
  return bitmap;
}

Bytes Group4(const Bitmap& bitmap) {
  Bytes data;
  EXPECT_TRUE(EncodeGroup4(bitmap, data).Ok());
  return data;
}

Given Fax(int width, int height, Bytes data) {
  return {"", kGroup4, width, height, 1, 0, {}, {std::move(data)}, ""};
}

TEST(FaxContents, TakeTheirHeightFromTheData) {
  for (const int height : {1, 7, 64}) {
    const Bitmap stripes = Stripes(45, height);
    EXPECT_EQ(Decode(Make(Fax(45, 0, Group4(stripes)))).Text(), Pixels(stripes));
  }
}

TEST(FaxContents, MayBePaddedToMoreThanTheyShow) {
  for (const int coded : {48, 64}) {
    const Bitmap stripes = Stripes(coded, 20);
    const Bitmap shown = Stripes(45, 20);
    for (const int height : {20, 0}) {
      const Decoded decoded = Decode(Make(Fax(45, height, Group4(stripes))));
      EXPECT_EQ(decoded.Text(), Pixels(shown)) << coded << ", " << height;
      EXPECT_FALSE(decoded.damaged);
    }
  }
}

// An immediate generic region coded as T.6, in a stream of its own.
Bytes Jbig2(const Bitmap& bitmap) {
  const auto big32 = [](unsigned n) { return Big16(n >> 16) + Big16(n); };
  const Bytes size =
      big32(static_cast<unsigned>(bitmap.Width())) + big32(static_cast<unsigned>(bitmap.Height()));
  const Bytes page = size + Bytes(8, 0) + Bytes{0, 0, 0};
  const Bytes region = size + Bytes(8, 0) + Bytes{0, 1} + Group4(bitmap);
  return Bytes{0, 0, 0, 0, 48, 0, 1} + big32(static_cast<unsigned>(page.size())) + page +
         Bytes{0, 0, 0, 1, 38, 0, 1} + big32(static_cast<unsigned>(region.size())) + region;
}

TEST(Jbig2Contents, AreRead) {
  const Bitmap stripes = Stripes(45, 20);
  Given given = Fax(45, 20, Jbig2(stripes));
  given.compression = kJbig2;
  const Decoded decoded = Decode(Make(given));
  EXPECT_EQ(decoded.Text(), Pixels(stripes));
  EXPECT_FALSE(decoded.damaged);
  given.width = given.height = 0;
  EXPECT_EQ(ShapeOf(Make(given), {}).width, 45);
  given.bands[0].resize(20);
  EXPECT_EQ(Decode(Make(given)).outcome.status, K_ERROR_READ);
}

TEST(DamagedContents, GiveTheRowsBeforeTheFault) {
  Given gray = {"", kNone, 2, 3, 8, 0, {8}, {{1, 2, 3, 4, 5}}, ""};
  Decoded decoded = Decode(Make(gray));
  EXPECT_EQ(decoded.Text(), "010101 020202/030303 040404/FFFFFF FFFFFF");
  EXPECT_TRUE(decoded.damaged);
  EXPECT_EQ(decoded.outcome.warnings, std::vector<std::string>{"row 3 could not be read"});
  gray.recording = 0x03;
  gray.bands[0] = {1, 2, 0, 0, 3};
  decoded = Decode(Make(gray));
  EXPECT_EQ(decoded.Text(), "FFFFFF FFFFFF/FFFFFF FFFFFF/010101 020202");
  EXPECT_EQ(decoded.outcome.warnings, std::vector<std::string>{"rows 1 to 2 could not be read"});

  LoadOptions strict;
  strict.strict = true;
  EXPECT_EQ(Decode(Make(gray), {}, strict).outcome.status, K_ERROR_READ);
  gray.bands[0] = {1};
  EXPECT_EQ(Decode(Make(gray)).outcome.status, K_ERROR_READ);
  gray.bands[0] = {};
  EXPECT_EQ(Decode(Make(gray)).outcome.status, K_ERROR_READ);

  const Bitmap stripes = Stripes(200, 50);
  Bytes data = Group4(stripes);
  data.resize(data.size() / 2);
  decoded = Decode(Make(Fax(200, 50, data)));
  EXPECT_TRUE(decoded.damaged);
  EXPECT_EQ(Pixels(decoded.image.bitmap).substr(0, 2000), Pixels(stripes).substr(0, 2000));
  EXPECT_EQ(Pixels(decoded.image.bitmap).substr(49 * 201), std::string(200, '.'));
}

TEST(RefusedContents, SayWhatAndWhere) {
  const struct {
    Given given;
    const char* what;
  } cases[] = {
      {{"", 0x06, 8, 1, 1, 0, {}, {{1}}, ""}, "RL4 compression at byte 8120 is not supported"},
      {{"", 0x55, 8, 1, 1, 0, {}, {{1}}, ""}, "compression X'55' at byte 8120 is not supported"},
      {{"", kNone, 1, 1, 48, 0x86, {8, 8, 8, 8, 8, 8}, {Bytes(6)}, ""},
       "the colour space of 6 named inks at byte 8120 is not supported"},
      {{"", kNone, 1, 1, 16, kRgb, {8, 8}, {Bytes(2)}, ""},
       "a pixel of 8 + 8 bits at byte 8120 is not supported"},
      {{"", kNone, 1, 1, 24, kRgb, {8, 8, 8}, {{1}, {2}}, ""},
       "2 bands for 3 components at byte 8120 are not supported"},
      {{"", kGroup4, 8, 1, 8, 0, {}, {{1}}, ""},
       "Group 4 compression of 8 bits per pixel at byte 8120 is not supported"},
      {{"", kNone, 0, 1, 1, 0, {}, {{1}}, ""}, "the picture has no size"},
  };
  for (const auto& [given, what] : cases) {
    const Decoded decoded = Decode(Make(given));
    EXPECT_EQ(decoded.outcome.status, K_ERROR_INVALID_FORMAT) << what;
    EXPECT_EQ(decoded.outcome.what, what);
    EXPECT_TRUE(decoded.image.bitmap.Empty());
  }
}

TEST(HugeContents, AreRefusedBeforeTheyTakeMemory) {
  for (const uint8_t compression : {kNone, kPackBits, kLzw, kGroup4, kTiff2, kSolid}) {
    for (const int bits : {1, 24, 32}) {
      if (bits > 1 && (compression == kGroup4 || compression == kTiff2)) continue;
      const Given given = {"", compression, 2000000, 2000000, bits, 0, {}, {{1, 2}}, ""};
      EXPECT_EQ(Decode(Make(given)).outcome.status, K_ERROR_INVALID_FORMAT)
          << int{compression} << ", " << bits;
    }
  }
  LoadOptions options;
  options.maxPixels = 5;
  const Given given = {"", kNone, 3, 2, 1, 0, {}, {{1, 2}}, ""};
  EXPECT_EQ(Decode(Make(given), {}, options).outcome.what,
            "the picture of 3 x 2 pixels is above the limit of 5 pixels");
}

}  // namespace

}  // namespace kz::test
