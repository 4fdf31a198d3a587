#include <gmock/gmock.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <string>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"
#include "Tests/Fax/Pictures.h"
#include "Tests/Fax/RawFax.h"

namespace {

// Codes for pictures 8 pixels wide.
const std::string kEol = "000000000001";
const std::string kWhite8 = "10011";  // one-dimensional: white 8
const std::string kBlack3At2 =
    "0111"
    "10"
    "1000";                        // white 2, black 3, white 3
const std::string kAgain = "111";  // V(0) three times: the line above
constexpr unsigned char kWhiteRow = 0x00, kBlackRow = 0x38;

// Every kind of picture in every width, as libtiff codes it.
TEST(Decode, MatchesLibtiff) {
  struct Way {
    int nCode;
    bool bFill;
  };
  const Way aWays[] = {{K_FAX_G3_1D, false},
                       {K_FAX_G3_1D, true},
                       {K_FAX_G3_2D, false},
                       {K_FAX_G3_2D, true},
                       {K_FAX_G4, false}};
  for (Picture& picture : TestPictures()) {
    for (const Way& way : aWays) {
      SCOPED_TRACE(testing::Message() << picture.nWidth << " x " << picture.nHeight << ", code "
                                      << way.nCode << (way.bFill ? ", fill" : ""));
      const RawFaxLoad load = LoadRaw(EncodeWithTiff(picture, way.nCode, way.bFill), picture.nWidth,
                                      picture.nHeight, way.nCode);
      ASSERT_EQ(load.nResult, K_SUCCESS);
      ASSERT_EQ(load.nLoadError, 0);
      ASSERT_TRUE(load.bRowsAsPromised);
      ASSERT_TRUE(load.picture == picture);
    }
  }
}

// Image data of the IBM MMR pages of a sample document, page 1 being the first.
std::vector<Bytes> ImageDataOfPages(const char* pszName) {
  std::ifstream file(std::string(KZ_SAMPLES "/") + pszName, std::ios::binary);
  const Bytes all{std::istreambuf_iterator<char>(file), {}};
  std::vector<Bytes> pages;
  Bytes segment;
  const auto at = [](const Bytes& bytes, size_t n) { return bytes[n] << 8 | bytes[n + 1]; };
  for (size_t n = 0; n + 9 <= all.size();) {
    if (all[n] == 0x5A) ++n;
    const auto nLength = static_cast<size_t>(at(all, n));
    const int nId = at(all, n + 2) << 8 | all[n + 4];
    if (nId == 0xD3EEFB)  // Image Picture Data
      segment.insert(segment.end(), all.begin() + static_cast<std::ptrdiff_t>(n + 8),
                     all.begin() + static_cast<std::ptrdiff_t>(n + nLength));
    if (nId == 0xD3A9AF) {  // End Page: the segment's Image Data fields
      Bytes data;
      for (size_t i = 0; i + 4 <= segment.size();) {
        const bool bLong = segment[i] == 0xFE;
        const size_t nHeader = bLong ? 4 : 2;
        const auto nData = static_cast<size_t>(bLong ? at(segment, i + 2) : segment[i + 1]);
        if (at(segment, i) == 0xFE92)
          data.insert(data.end(), segment.begin() + static_cast<std::ptrdiff_t>(i + nHeader),
                      segment.begin() + static_cast<std::ptrdiff_t>(i + nHeader + nData));
        i += nHeader + nData;
      }
      pages.push_back(data);
      segment.clear();
    }
    n += nLength;
  }
  return pages;
}

TEST(Decode, SamplePages) {
  const std::vector<Bytes> pages = ImageDataOfPages("report-mixed.afp");
  ASSERT_EQ(pages.size(), 6u);
  const struct {
    size_t nPage;
    int nCode;
    const char* pszPicture;
  } aCases[] = {{0, K_FAX_G4, "letter.png"},
                {1, K_FAX_G3_1D, "letter.png"},
                {2, K_FAX_G3_2D, "odd.png"},
                {3, K_FAX_IBM_MMR, "odd.png"},
                {5, K_FAX_IBM_MMR, "halftone.png"}};
  for (const auto& c : aCases) {
    SCOPED_TRACE(c.nPage);
    const Picture expected = ReadSample(c.pszPicture);
    const RawFaxLoad load = LoadRaw(pages[c.nPage], expected.nWidth, expected.nHeight, c.nCode);
    EXPECT_EQ(load.nResult, K_SUCCESS);
    EXPECT_EQ(load.nLoadError, 0);
    EXPECT_TRUE(load.picture == expected);
    // Far less memory than the data: it is read in pieces.
    EXPECT_LE(load.nLargestRead, 64 * 1024);
  }
}

// Small pages, 8 pixels wide, by their bits: what may be missing, what may be
// there, what is damaged and how it ends.
TEST(Decode, LinesAndMarkers) {
  const std::string eol0 = kEol + "0", eol1 = kEol + "1";
  const std::string rtc = Times(6, kEol), eop = Times(6, eol1), eofb = kEol + kEol;
  const std::string h =
      "001"
      "0111"
      "10";                            // Horizontal, white 2, black 3
  const std::string line2D = h + "1";  // and V(0) to the end
  const std::string bad = "000000001010", uncompressed1D = "000000001111";
  const std::string uncompressed2D = "0000001111";
  const unsigned char w = kWhiteRow, b = kBlackRow;
  struct Case {
    const char* pszName;
    int nCode;
    std::string bits;
    int nResult;
    int nLoadError;
    Bytes rows;  // those delivered
  };
  const Case aCases[] = {
      {"G3, plain", K_FAX_G3_1D, kEol + kBlack3At2 + kEol + kWhite8 + rtc, 1, 0, {b, w}},
      {"G3, no EOL at all", K_FAX_G3_1D, kBlack3At2 + kWhite8 + kBlack3At2, 1, 0, {b, w, b}},
      {"G3, no first EOL",
       K_FAX_G3_1D,
       kBlack3At2 + kEol + kWhite8 + kEol + kBlack3At2,
       1,
       0,
       {b, w, b}},
      {"G3, every other EOL",
       K_FAX_G3_1D,
       kEol + kBlack3At2 + kWhite8 + kEol + kBlack3At2,
       1,
       0,
       {b, w, b}},
      {"G3, much fill",
       K_FAX_G3_1D,
       Times(99, "0") + kEol + kBlack3At2 + Times(70, "0") + kEol + kWhite8,
       1,
       0,
       {b, w}},
      {"G3, empty runs",
       K_FAX_G3_1D,
       kEol + "0111"
              "0000110111"
              "00110101"
              "10"
              "1000",
       1,
       0,
       {b}},
      {"G3, RTC early", K_FAX_G3_1D, kEol + kBlack3At2 + rtc, 1, 0, {b, w, w}},
      {"G3, RTC at once", K_FAX_G3_1D, rtc, 1, 0, {w, w}},
      {"G3, RTC cut short", K_FAX_G3_1D, kEol + kBlack3At2 + kEol + kEol, 1, 0, {b, w}},
      {"G3, data just end", K_FAX_G3_1D, kEol + kBlack3At2 + kEol, -7, 0, {b}},
      {"G3, no data", K_FAX_G3_1D, "", -7, 0, {}},
      {"G3, only fill", K_FAX_G3_1D, Times(5000, "0"), -7, 0, {}},
      {"G3, bad code",
       K_FAX_G3_1D,
       kEol + kBlack3At2 + kEol + bad + kEol + kWhite8 + rtc,
       1,
       -9,
       {b, b, w}},
      {"G3, first line bad", K_FAX_G3_1D, kEol + bad + kEol + kBlack3At2 + rtc, 1, -9, {w, b}},
      {"G3, short line",
       K_FAX_G3_1D,
       kEol + kBlack3At2 + kEol + "0111" + kEol + kWhite8 + rtc,
       1,
       -9,
       {b, b, w}},
      {"G3, long line",
       K_FAX_G3_1D,
       kEol + kBlack3At2 + kEol + "10100" + kEol + kWhite8 + rtc,
       1,
       -9,
       {b, b, w}},
      {"G3, more behind a line",
       K_FAX_G3_1D,
       kEol + kBlack3At2 + kEol + kWhite8 + kWhite8 + kEol + kBlack3At2 + rtc,
       1,
       -9,
       {b, b, b}},
      {"G3, last line bad",
       K_FAX_G3_1D,
       kEol + kBlack3At2 + kEol + bad + "11111111",
       1,
       -9,
       {b, b}},
      {"G3, no EOL behind bad line",
       K_FAX_G3_1D,
       kEol + kBlack3At2 + kEol + bad + Times(50, "1"),
       -7,
       -9,
       {b, b}},
      {"G3, uncompressed",
       K_FAX_G3_1D,
       kEol + kBlack3At2 + kEol + uncompressed1D + rtc,
       -9,
       0,
       {b}},
      {"G3 2-D, plain",
       K_FAX_G3_2D,
       eol1 + kBlack3At2 + eol0 + kAgain + eol1 + kWhite8 + eop,
       1,
       0,
       {b, b, w}},
      {"G3 2-D, no EOL", K_FAX_G3_2D, kBlack3At2 + kAgain + kAgain, 1, 0, {b, b, b}},
      {"G3 2-D, 2-D first", K_FAX_G3_2D, eol0 + line2D + eol1 + kWhite8, 1, 0, {b, w}},
      {"G3 2-D, bad line",
       K_FAX_G3_2D,
       eol1 + kBlack3At2 + eol0 + bad + eol0 + kAgain + eop,
       1,
       -9,
       {b, b, b}},
      {"G3 2-D, uncompressed", K_FAX_G3_2D, eol1 + kBlack3At2 + eol0 + uncompressed2D, -9, 0, {b}},
      {"G4, plain", K_FAX_G4, line2D + kAgain + eofb, 1, 0, {b, b}},
      {"G4, no EOFB", K_FAX_G4, line2D + kAgain, 1, 0, {b, b}},
      {"G4, EOFB early", K_FAX_G4, line2D + eofb, 1, 0, {b, w, w}},
      {"G4, data just end", K_FAX_G4, line2D + kAgain, -7, 0, {b, b}},
      {"G4, bad code", K_FAX_G4, line2D + bad + Times(20, "1"), -9, -62, {b}},
      {"G4, bad run",
       K_FAX_G4,
       line2D +
           "001"
           "0111" +
           bad + Times(20, "1"),
       -9,
       -62,
       {b}},
      {"G4, V past the end",
       K_FAX_G4,
       line2D +
           "1"
           "1"
           "011" +
           Times(20, "1"),
       -9,
       -62,
       {b}},
      {"G4, VL left of a0",
       K_FAX_G4,
       line2D +
           "000011"
           "0000010" +
           Times(20, "1"),
       -9,
       -62,
       {b}},
      {"G4, H past the end",
       K_FAX_G4,
       line2D +
           "001"
           "1111"
           "11" +
           Times(20, "1"),
       -9,
       -62,
       {b}},
      {"G4, uncompressed", K_FAX_G4, line2D + uncompressed2D + Times(20, "1"), -9, -62, {b}},
      {"G4, pass to the end", K_FAX_G4, "0001", 1, 0, {w}},
      {"G4, empty runs",
       K_FAX_G4,
       "001"
       "00110101"
       "0000110111" +
           line2D,
       1,
       0,
       {b}},
      {"G4, black at once",
       K_FAX_G4,
       "001"
       "00110101"
       "000101" +
           eofb,
       1,
       0,
       {0xFF}},
      {"MMR, as written",
       K_FAX_IBM_MMR,
       kBlack3At2 + eol0 + kAgain + kAgain + eop,
       1,
       0,
       {b, b, b}},
      {"MMR, first EOL", K_FAX_IBM_MMR, eol1 + kBlack3At2 + eol0 + kAgain + eop, 1, 0, {b, b}},
      {"MMR, no switch, no end", K_FAX_IBM_MMR, kBlack3At2 + kAgain + kAgain, 1, 0, {b, b, b}},
      {"MMR, EOP early", K_FAX_IBM_MMR, kBlack3At2 + eol0 + kAgain + eop, 1, 0, {b, b, w, w}},
      {"MMR, bad code", K_FAX_IBM_MMR, kBlack3At2 + eol0 + bad + kEol + kAgain, -9, 0, {b}},
      {"MMR, data just end", K_FAX_IBM_MMR, kBlack3At2 + eol0 + kAgain, -7, 0, {b, b}},
  };
  for (const Case& c : aCases) {
    SCOPED_TRACE(c.pszName);
    // A load that fails wants more rows than there are.
    const int nHeight = static_cast<int>(c.rows.size()) + (c.nResult == K_SUCCESS ? 0 : 1);
    for (const bool bReversed : {false, true}) {
      Bytes data = Pack(c.bits);
      if (bReversed)
        for (unsigned char& byte : data)
          byte = static_cast<unsigned char>((byte * 0x0202020202u & 0x010884422010u) % 1023);
      const RawFaxLoad load = LoadRaw(data, 8, nHeight, c.nCode, {.bReversedBits = bReversed});
      EXPECT_EQ(load.nResult, c.nResult);
      EXPECT_EQ(load.nLoadError, c.nLoadError);
      EXPECT_EQ(load.nRows, static_cast<int>(c.rows.size()));
      EXPECT_TRUE(std::equal(c.rows.begin(), c.rows.end(), load.picture.rows.begin()));
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

TEST(Decode, FailingHost) {
  Picture picture = MakePicture(Kind::Noise, 2550, 500, 1);
  for (const int nCode : {K_FAX_G3_1D, K_FAX_G3_2D, K_FAX_G4}) {
    const Bytes data = EncodeWithTiff(picture, nCode);
    const size_t nBlocks = K_LiveBlocks();
    int nFailed = 0;
    for (int n = 1;; ++n) {
      const RawFaxLoad load = LoadRaw(data, 2550, 500, nCode, {.nFailingTransfer = n});
      if (load.nResult == K_SUCCESS) break;
      ++nFailed;
      EXPECT_EQ(load.nResult, K_ERROR_READ);
      EXPECT_LT(load.nRows, 500);
    }
    EXPECT_GT(nFailed, 2);
    nFailed = 0;
    while (LoadRaw(data, 2550, 500, nCode, {.nFailingAllocation = nFailed + 1}).nResult ==
           K_ERROR_NO_MEMORY)
      ++nFailed;
    EXPECT_GT(nFailed, 0);
    EXPECT_EQ(K_LiveBlocks(), nBlocks);
  }
}

// Data that end anywhere: the rows up to there come out, then -7. (Behind the last
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
      ASSERT_TRUE(std::equal(picture.rows.begin(), picture.rows.begin() + load.nRows * 38,
                             load.picture.rows.begin()));
      nRows = load.nRows;
    }
    EXPECT_EQ(nRows, 40);
  }
}

// One inverted bit, anywhere: no row in front of it changes. Group 3 mostly loses
// one line, or as many as stand up to the next one-dimensional line; Group 4 ends
// with its own error.
TEST(Decode, DamagedAnywhere) {
  Picture picture = MakePicture(Kind::Text, 200, 30, 3);
  const struct {
    int nCode;
    int nLines;  // may be lost
    int nTimes;  // of a hundred they are all
  } aCases[] = {{K_FAX_G3_1D, 1, 90}, {K_FAX_G3_2D, 4, 90}, {K_FAX_G4, 30, 100}};
  for (const auto& c : aCases) {
    const Bytes data = EncodeWithTiff(picture, c.nCode);
    int nFew = 0;
    const int nBits = static_cast<int>(data.size()) * 8;
    for (int n = 0; n < nBits; ++n) {
      SCOPED_TRACE(testing::Message() << "code " << c.nCode << ", bit " << n);
      const auto damage = data.begin() + n / 8;
      const int nBefore = LoadRaw(Bytes(data.begin(), damage), 200, 30, c.nCode).nRows;
      Bytes damaged = data;
      damaged[static_cast<size_t>(n) / 8] ^= static_cast<unsigned char>(0x80 >> n % 8);
      RawFaxLoad load = LoadRaw(damaged, 200, 30, c.nCode);
      int nWrong = 0;
      for (int y = 0; y < 30; ++y) {
        const bool bRight = std::equal(picture.Row(y), picture.Row(y) + 25, load.picture.Row(y));
        ASSERT_TRUE(bRight || y >= nBefore - 1);
        nWrong += bRight ? 0 : 1;
      }
      nFew += nWrong <= c.nLines ? 1 : 0;
      if (load.nResult != K_SUCCESS) {
        ASSERT_THAT(load.nResult, testing::AnyOf(K_ERROR_INVALID_FORMAT, K_ERROR_READ));
      }
      if (c.nCode == K_FAX_G4) {
        ASSERT_EQ(load.nLoadError, load.nResult == K_ERROR_INVALID_FORMAT ? K_ERROR_G4_DATA : 0);
      }
    }
    EXPECT_GE(nFew * 100 / nBits, c.nTimes) << c.nCode;
  }
}

// Bytes that no encoder made end somehow, and soon.
TEST(Decode, RandomBytes) {
  std::mt19937 random(1);
  for (int n = 0; n < 3000; ++n) {
    Bytes data(random() % 400);
    // Half of them with many zeros, as EOL has.
    for (unsigned char& byte : data)
      byte = static_cast<unsigned char>(n % 2 == 0 ? random() : random() & random() & random());
    const int nWidth = 1 + static_cast<int>(random() % (n % 3 == 0 ? 0x8000 : 100));
    for (const int nCode : {K_FAX_G3_1D, K_FAX_G3_2D, K_FAX_G4, K_FAX_IBM_MMR}) {
      const RawFaxLoad load = LoadRaw(data, nWidth, 100, nCode);
      ASSERT_THAT(load.nResult, testing::AnyOf(K_SUCCESS, K_ERROR_INVALID_FORMAT, K_ERROR_READ));
      ASSERT_TRUE(load.bRowsAsPromised);
      ASSERT_EQ(load.nRows == 100, load.nResult == K_SUCCESS);
    }
  }
}

}  // namespace
