#include <gtest/gtest.h>

#include "Host/Kernel/Kernel.h"
#include "Tests/Host/Fax/Pictures.h"
#include "Tests/Host/Fax/RawFax.h"

namespace {

constexpr int kAllCodes[] = {K_FAX_G3_1D, K_FAX_G3_2D, K_FAX_G4, K_FAX_IBM_MMR};

// Every kind of picture in every width: libtiff and our decoder read what we
// write, and Group 4 data are no larger than libtiff's.
TEST(Encode, DecodesToTheSame) {
  for (Picture& picture : TestPictures()) {
    for (const int nCode : kAllCodes) {
      SCOPED_TRACE(testing::Message()
                   << picture.nWidth << " x " << picture.nHeight << ", code " << nCode);
      const RawFaxSave save = SaveRaw(picture, nCode);
      ASSERT_EQ(save.nResult, K_SUCCESS);
      ASSERT_EQ(save.nConversions, 0);
      ASSERT_TRUE(SaveRaw(picture, nCode, {}, true).data == save.data);
      const RawFaxLoad load = LoadRaw(save.data, picture.nWidth, picture.nHeight, nCode);
      ASSERT_EQ(load.nResult, K_SUCCESS);
      ASSERT_EQ(load.nLoadError, 0);
      ASSERT_TRUE(load.picture == picture);
      if (nCode == K_FAX_IBM_MMR) continue;
      ASSERT_TRUE(RawTiff(save.data, picture.nWidth, picture.nHeight, nCode).Decode() == picture);
      if (nCode == K_FAX_G4) {
        ASSERT_LE(save.data.size(), EncodeWithTiff(picture, nCode).size());
      }
    }
  }
}

// Runs of every length that needs other codes, at the widest line there is.
TEST(Encode, LongRuns) {
  for (const int nRun : {1, 63, 64, 65, 1728, 2559, 2560, 2561, 2623, 2624, 5120, 5184, 32766}) {
    Picture picture(0x7FFF, 4);
    for (int y = 0; y < 4; ++y)  // white or black first, and shifted
      for (int x = y * 5; x < picture.nWidth; ++x)
        if ((x / nRun + y) % 2 != 0)
          picture.Row(y)[x / 8] |= static_cast<unsigned char>(0x80 >> x % 8);
    for (const int nCode : kAllCodes) {
      const RawFaxSave save = SaveRaw(picture, nCode);
      const RawFaxLoad load = LoadRaw(save.data, picture.nWidth, 4, nCode);
      EXPECT_TRUE(load.nResult == K_SUCCESS && load.picture == picture) << nRun << ", " << nCode;
      if (nCode != K_FAX_IBM_MMR) {
        EXPECT_TRUE(RawTiff(save.data, picture.nWidth, 4, nCode).Decode() == picture) << nRun;
      }
    }
  }
}

// Two lines of white 2, black 3, white 3, bit for bit.
TEST(Encode, LinesAndMarkers) {
  Picture picture(8, 2);
  picture.rows = {0x38, 0x38};
  const std::string eol = "000000000001", runs = "0111 10 1000", again = "111";
  const struct {
    int nCode;
    std::string bits;
  } aCases[] = {
      {K_FAX_G3_1D, eol + runs + eol + runs + Times(6, eol)},
      {K_FAX_G3_2D, eol + "1" + runs + eol + "0" + again + Times(6, eol + "1")},
      {K_FAX_G4, "001 0111 10 1" + again + eol + eol},
      {K_FAX_IBM_MMR, runs + eol + "0" + again + Times(6, eol + "1")},
  };
  for (const auto& c : aCases) EXPECT_EQ(SaveRaw(picture, c.nCode).data, Pack(c.bits)) << c.nCode;
}

TEST(Encode, Refusals) {
  Picture picture = MakePicture(Kind::Text, 8, 8, 1);
  Picture empty(8, 0);
  EXPECT_EQ(SaveRaw(picture, K_FAX_G4, {.nBitsPerPixel = 4}).nResult, K_ERROR_BITS_PER_PIXEL);
  EXPECT_EQ(SaveRaw(picture, 65).nResult, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(SaveRaw(empty, K_FAX_G4).nResult, K_ERROR_INVALID_FORMAT);
}

}  // namespace
