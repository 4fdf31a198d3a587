#include <gtest/gtest.h>

#include <random>
#include <string>

#include "Host/Kernel/Kernel.h"
#include "Tests/Host/Fax/Pictures.h"
#include "Tests/Host/Fax/RawFax.h"

namespace {

struct Checked {
  int nResult;
  FaxCheck check;
};

Checked Check(const Bytes& data, int nWidth, int nHeight, int nCode, bool bReversedBits = false) {
  Checked checked{};
  _LOADINFO info{};
  info.nFormat = static_cast<uint32_t>(nCode);
  info.nWidth = static_cast<uint32_t>(nWidth);
  info.nHeight = static_cast<uint32_t>(nHeight);
  info.uFlags = bReversedBits ? K_RAW_REVERSED_BITS : 0;
  checked.nResult = K_CheckRawFax(data.data(), data.size(), &info, &checked.check);
  return checked;
}

// What a load says of the data, the check says too.
void ExpectAsLoaded(const Bytes& data, int nWidth, int nHeight, int nCode, bool bReversedBits) {
  const RawFaxLoad load = LoadRaw(data, nWidth, nHeight, nCode, {.bReversedBits = bReversedBits});
  const Checked checked = Check(data, nWidth, nHeight, nCode, bReversedBits);
  ASSERT_EQ(checked.nResult, load.nResult);
  ASSERT_EQ(checked.check.nRows, load.nRows);
  const bool bGroup3 = nCode == K_FAX_G3_1D || nCode == K_FAX_G3_2D;
  ASSERT_EQ(checked.check.nReplaced > 0, bGroup3 && load.nLoadError == K_ERROR_INVALID_FORMAT);
}

TEST(Check, SaysWhatALoadSaysOfDamage) {
  std::mt19937 random(5);
  std::vector<Picture> pictures;
  for (const char* pszSample : {"letter.png", "halftone.png", "odd.png"})
    pictures.push_back(ReadSample(pszSample));
  for (const Kind kind : {Kind::Text, Kind::Noise, Kind::Halftone, Kind::Stripes})
    pictures.push_back(MakePicture(kind, 300, 40, 7));
  for (Picture& picture : pictures) {
    for (const int nCode : {K_FAX_G3_1D, K_FAX_G3_2D, K_FAX_G4, K_FAX_IBM_MMR}) {
      const Bytes sound = SaveRaw(picture, nCode).data;
      for (int nTurn = 0; nTurn < 60; ++nTurn) {
        SCOPED_TRACE(testing::Message()
                     << picture.nWidth << " wide, code " << nCode << ", turn " << nTurn);
        Bytes data = sound;
        // None, one or several bits, and in every third turn an early end.
        for (int n = nTurn % 4; n > 0; --n)
          data[random() % data.size()] ^= static_cast<unsigned char>(1 << random() % 8);
        if (nTurn % 3 == 2) data.resize(random() % data.size());
        // Now and then it isn't what it says.
        const int nHeight = picture.nHeight + (nTurn % 10 == 9 ? 3 : 0);
        const bool bReversed = nTurn % 20 == 19;
        ASSERT_NO_FATAL_FAILURE(ExpectAsLoaded(data, picture.nWidth, nHeight, nCode, bReversed));
      }
    }
  }
}

// How small pages, 8 pixels wide, are laid out.
TEST(Check, Layout) {
  constexpr int g3 = K_FAX_G3_1D, g32d = K_FAX_G3_2D, g4 = K_FAX_G4, mmr = K_FAX_IBM_MMR;
  const std::string line = "0111 10 1000", line2D = "001 0111 10 1", again = "111",
                    eol = "000000000001";
  const std::string eofb = eol + eol, rtc = Times(6, eol), rtc1 = Times(6, eol + "1");
  const std::string fill = "0000", ones = Times(20, "1");
  const std::string wrong = "000001000001";
  const struct {
    const char* pszName;
    int nCode;
    std::string bits;
    int nHeight;
    std::string layout;  // E: EOLs, A: aligned, M: marker, then rows after the marker, damaged EOLs
  } aCases[] = {
      {"G3", g3, eol + line + eol + line + rtc, 2, "EM00"},
      {"G3, aligned", g3, fill + eol + line + "000000" + fill + eol + line + rtc, 2, "EAM00"},
      {"G3, one aligned", g3, fill + eol + line + eol + line + rtc, 2, "EM00"},
      {"G3, no EOL", g3, line + line + rtc, 2, "M00"},
      {"G3, no first EOL", g3, line + eol + line + rtc, 2, "M00"},
      {"G3, no end marker", g3, eol + line + eol + line, 2, "E00"},
      {"G3, something else", g3, eol + line + eol + line + eol + line + ones, 2, "E00"},
      {"G3, early RTC", g3, eol + line + rtc, 3, "EM20"},
      {"G3, RTC at once", g3, rtc, 3, "M30"},
      {"G3, wrong bit in EOL", g3, eol + line + eol + line + wrong + line + rtc, 3, "EM01"},
      {"2-D, tag after the byte", g32d,
       fill + eol + "1" + line + "00000" + fill + eol + "0" + again + rtc1, 2, "EAM00"},
      {"MMR", mmr, line + eol + "0" + again + rtc1, 2, "M00"},
      {"G4", g4, line2D + again + eofb, 2, "M00"},
      {"G4, no EOFB", g4, line2D + again, 2, "00"},
      {"G4, early EOFB", g4, eofb, 2, "M20"},
  };
  for (const auto& c : aCases) {
    SCOPED_TRACE(c.pszName);
    const Checked checked = Check(Pack(c.bits), 8, c.nHeight, c.nCode);
    const FaxCheck& check = checked.check;
    EXPECT_EQ(checked.nResult, K_SUCCESS);
    EXPECT_EQ(check.nRows, c.nHeight);
    EXPECT_EQ(check.nReplaced, 0);
    EXPECT_EQ(std::string(check.bEndOfLines ? "E" : "") + (check.bAlignedEndOfLines ? "A" : "") +
                  (check.bEndMarker ? "M" : "") + std::to_string(check.nAfterMarker) +
                  std::to_string(check.nDamagedEndOfLines),
              c.layout);
  }
}

TEST(Check, CountsReplacedLines) {
  const std::string line = "0111 10 1000", eol = "000000000001", bad = "000000001010";
  const Checked checked = Check(
      Pack(eol + line + eol + bad + eol + bad + eol + line + Times(6, eol)), 8, 4, K_FAX_G3_1D);
  EXPECT_EQ(checked.nResult, K_SUCCESS);
  EXPECT_EQ(checked.check.nReplaced, 2);
  EXPECT_EQ(Check({}, 8, 4, 65).nResult, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(Check({}, 0, 4, K_FAX_G4).nResult, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(Check({}, 8, 4, K_FAX_G4).nResult, K_ERROR_READ);
}

}  // namespace
