#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "Host/Kernel/Kernel.h"
#include "Tests/Host/Fax/Pictures.h"
#include "Tests/Host/Fax/RawFax.h"

namespace {

// Every kind of picture in every width, as libtiff codes it.
TEST(Decode, MatchesLibtiff) {
  const std::pair<int, bool> aWays[] = {{K_FAX_G3_1D, false},
                                        {K_FAX_G3_1D, true},
                                        {K_FAX_G3_2D, false},
                                        {K_FAX_G3_2D, true},
                                        {K_FAX_G4, false}};
  for (Picture& picture : TestPictures()) {
    for (const auto& [nCode, bFill] : aWays) {
      SCOPED_TRACE(testing::Message() << picture.nWidth << " x " << picture.nHeight << ", code "
                                      << nCode << (bFill ? ", fill" : ""));
      const RawFaxLoad load =
          LoadRaw(EncodeWithTiff(picture, nCode, bFill), picture.nWidth, picture.nHeight, nCode);
      ASSERT_EQ(load.nResult, K_SUCCESS);
      ASSERT_EQ(load.nLoadError, 0);
      ASSERT_TRUE(load.bRowsAsPromised);
      ASSERT_TRUE(load.picture == picture);
    }
  }
}

// Small pages, 8 pixels wide, by their bits: what may be missing, what may be
// there, what is damaged and how it ends. Rows are B (white 2, black 3, white 3),
// W (white) or A (all black).
TEST(Decode, LinesAndMarkers) {
  constexpr int g3 = K_FAX_G3_1D, g32d = K_FAX_G3_2D, g4 = K_FAX_G4, mmr = K_FAX_IBM_MMR;
  const std::string line = "0111 10 1000", blank = "10011", white0 = "00110101";
  const std::string line2D = "001 0111 10 1", again = "111", black0 = "0000110111";
  const std::string eol = "000000000001", eol0 = eol + "0", eol1 = eol + "1";
  const std::string rtc = Times(6, eol), eop = Times(6, eol1), eofb = eol + eol;
  const std::string bad = "000000001010", raw1D = "000000001111", raw2D = "0000001111";
  const std::string ones = Times(20, "1");  // what comes after is no end of data
  const struct {
    const char* pszName;
    int nCode;
    std::string bits;
    int nResult;
    int nLoadError;
    std::string rows;  // those delivered
  } aCases[] = {
      {"G3, plain", g3, eol + line + eol + blank + rtc, 1, 0, "BW"},
      {"G3, no EOL at all", g3, line + blank + line, 1, 0, "BWB"},
      {"G3, no first EOL", g3, line + eol + blank + eol + line, 1, 0, "BWB"},
      {"G3, every other EOL", g3, eol + line + blank + eol + line, 1, 0, "BWB"},
      {"G3, fill", g3, Times(99, "0") + eol + line + Times(70, "0") + eol + blank, 1, 0, "BW"},
      {"G3, empty runs", g3, eol + "0111" + black0 + white0 + "10 1000", 1, 0, "B"},
      {"G3, RTC early", g3, eol + line + rtc, 1, 0, "BWW"},
      {"G3, RTC at once", g3, rtc, 1, 0, "WW"},
      {"G3, RTC cut short", g3, eol + line + eol + eol, 1, 0, "BW"},
      {"G3, data just end", g3, eol + line + eol, -7, 0, "B"},
      {"G3, no data", g3, "", -7, 0, ""},
      {"G3, only fill", g3, Times(5000, "0"), -7, 0, ""},
      {"G3, bad code", g3, eol + line + eol + bad + eol + blank + rtc, 1, -9, "BBW"},
      {"G3, first line bad", g3, eol + bad + eol + line + rtc, 1, -9, "WB"},
      {"G3, short line", g3, eol + line + eol + "0111" + eol + blank + rtc, 1, -9, "BBW"},
      {"G3, long line", g3, eol + line + eol + "10100" + eol + blank + rtc, 1, -9, "BBW"},
      {"G3, more than a line", g3, eol + line + eol + blank + blank + eol + line, 1, -9, "BBB"},
      {"G3, wrong bit in EOL", g3, eol + line + eol + blank + "000001000001" + line, 1, 0, "BWB"},
      {"G3, last line bad", g3, eol + line + eol + bad + ones, 1, -9, "BB"},
      {"G3, no EOL behind bad", g3, eol + line + eol + bad + ones, -7, -9, "BB"},
      {"G3, uncompressed", g3, eol + line + eol + raw1D + rtc, -9, 0, "B"},
      {"2-D, plain", g32d, eol1 + line + eol0 + again + eol1 + blank + eop, 1, 0, "BBW"},
      {"2-D, no EOL", g32d, line + again + again, 1, 0, "BBB"},
      {"2-D, first line too", g32d, eol0 + line2D + eol1 + blank, 1, 0, "BW"},
      {"2-D, bad line", g32d, eol1 + line + eol0 + bad + eol0 + again + eop, 1, -9, "BBB"},
      {"2-D, uncompressed", g32d, eol1 + line + eol0 + raw2D, -9, 0, "B"},
      {"G4, plain", g4, line2D + again + eofb, 1, 0, "BB"},
      {"G4, no EOFB", g4, line2D + again, 1, 0, "BB"},
      {"G4, EOFB early", g4, line2D + eofb, 1, 0, "BWW"},
      {"G4, data just end", g4, line2D + again, -7, 0, "BB"},
      {"G4, bad code", g4, line2D + bad + ones, -9, -62, "B"},
      {"G4, bad run", g4, line2D + "001 0111" + bad + ones, -9, -62, "B"},
      {"G4, V past the end", g4, line2D + "1 1 011" + ones, -9, -62, "B"},
      {"G4, VL left of a0", g4, line2D + "000011 0000010" + ones, -9, -62, "B"},
      {"G4, H past the end", g4, line2D + "001 1111 11" + ones, -9, -62, "B"},
      {"G4, uncompressed", g4, line2D + raw2D + ones, -9, -62, "B"},
      {"G4, pass to the end", g4, "0001", 1, 0, "W"},
      {"G4, passes in a row", g4, line2D + Times(4, "0001") + line2D + eofb, 1, 0, "BWWWB"},
      {"G4, empty runs", g4, "001" + white0 + black0 + line2D, 1, 0, "B"},
      {"G4, black at once", g4, "001" + white0 + "000101" + eofb, 1, 0, "A"},
      {"MMR, as written", mmr, line + eol0 + again + again + eop, 1, 0, "BBB"},
      {"MMR, first EOL", mmr, eol1 + line + eol0 + again + eop, 1, 0, "BB"},
      {"MMR, no switch, no end", mmr, line + again + again, 1, 0, "BBB"},
      {"MMR, EOP early", mmr, line + eol0 + again + eop, 1, 0, "BBWW"},
      {"MMR, bad code", mmr, line + eol0 + bad + eol + again, -9, 0, "B"},
      {"MMR, data just end", mmr, line + eol0 + again, -7, 0, "BB"},
  };
  for (const auto& c : aCases) {
    SCOPED_TRACE(c.pszName);
    std::string rows;
    for (const char row : c.rows) rows += row == 'B' ? '\x38' : row == 'W' ? '\0' : '\xFF';
    // A load that fails wants more rows than there are.
    const int nHeight = static_cast<int>(rows.size()) + (c.nResult == K_SUCCESS ? 0 : 1);
    for (const bool bReversed : {false, true}) {
      Bytes data = Pack(c.bits);
      if (bReversed)
        for (unsigned char& byte : data)
          byte = static_cast<unsigned char>((byte * 0x0202020202u & 0x010884422010u) % 1023);
      const RawFaxLoad load = LoadRaw(data, 8, nHeight, c.nCode, {.bReversedBits = bReversed});
      EXPECT_EQ(load.nResult, c.nResult);
      EXPECT_EQ(load.nLoadError, c.nLoadError);
      EXPECT_EQ(std::string(load.picture.rows.begin(), load.picture.rows.begin() + load.nRows),
                rows);
    }
  }
}

TEST(Decode, Refusals) {
  const Bytes data = Pack(Times(4000, "1"));
  EXPECT_EQ(LoadRaw(data, 8, 1, K_FAX_G4, {.nBitsPerPixel = 8}).nResult, K_ERROR_BITS_PER_PIXEL);
  EXPECT_EQ(LoadRaw(data, 8, 1, 65).nResult, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(LoadRaw(data, 0, 1, K_FAX_G4).nResult, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(LoadRaw(data, 8, 0, K_FAX_G4).nResult, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(LoadRaw(data, 0x8001, 1, K_FAX_G4).nResult, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(LoadRaw(data, 1, 0x8000, K_FAX_G4).nResult, K_ERROR_INVALID_FORMAT);
  EXPECT_EQ(LoadRaw(data, 0x7FFF, 4000, K_FAX_G4).nResult, K_SUCCESS);
}

TEST(Decode, CallbackAndPadding) {
  Picture picture = MakePicture(Kind::Noise, 1003, 50, 1);
  const Bytes data = EncodeWithTiff(picture, K_FAX_G4);
  for (const int nBytesPerLine : {-4, 0, 1, 126, 128, 129, 4096}) {
    const RawFaxLoad load = LoadRaw(data, 1003, 50, K_FAX_G4, {.nBytesPerLine = nBytesPerLine});
    EXPECT_TRUE(load.bRowsAsPromised && load.picture == picture) << nBytesPerLine;
  }
  for (const int nResult : {0, -1, -62, 2, 105}) {
    const RawFaxLoad load =
        LoadRaw(data, 1003, 50, K_FAX_G4, {.nStopAtRow = 17, .nStopResult = nResult});
    EXPECT_EQ(load.nResult, nResult);
    EXPECT_EQ(load.nRows, 18);
  }
}

// Data that end anywhere: the rows up to there come out, then -7. (After the last
// row only an end marker is missing.)
TEST(Decode, TruncatedAnywhere) {
  Picture picture = MakePicture(Kind::Text, 300, 40, 7);
  for (const int nCode : {K_FAX_G3_1D, K_FAX_G3_2D, K_FAX_G4}) {
    const Bytes data = EncodeWithTiff(picture, nCode);
    int nRows = 0;
    for (size_t n = 0; n <= data.size(); ++n) {
      const RawFaxLoad load = LoadRaw(
          Bytes(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n)), 300, 40, nCode);
      ASSERT_EQ(load.nResult, load.nRows == 40 ? K_SUCCESS : K_ERROR_READ) << nCode << " at " << n;
      ASSERT_GE(load.nRows, nRows);
      ASSERT_TRUE(std::equal(picture.rows.begin(),
                             picture.rows.begin() + std::ptrdiff_t{38} * load.nRows,
                             load.picture.rows.begin()));
      nRows = load.nRows;
    }
    EXPECT_EQ(nRows, 40);
  }
}

}  // namespace
