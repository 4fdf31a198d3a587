// Introducers, and image data gathered from the fields after them.
#include "API/Filters/Ica/Common/Ioca/Document/FieldStream.h"

#include <gtest/gtest.h>

#include <cstring>

#include "API/Filters/Ica/Common/Ioca/Document/Navigation.h"
#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataReader.h"
#include "API/Filters/Ica/Common/Ioca/Segment/PictureData.h"
#include "Tests/API/OpenBytes.h"
#include "Tests/Support/FileBuilder.h"

namespace {

Bytes Introducer(unsigned length, unsigned char flags = 0, const Bytes& rest = {}) {
  return Big16(length) + Bytes{0xD3, 0xA8, 0xAF, flags, 0x12, 0x34} + rest;
}

TEST(StructuredField, IntroducersAreReadOrRefused) {
  struct Case {
    const char* what;
    Bytes bytes;
    int status;
    int position;  // after ReadSFI, of an accepted one
    unsigned dataLength;
  };
  const Bytes many = Pattern(254);
  const Case cases[] = {
      {"longest", Introducer(32767), 1, 8, 32759},
      {"extension and no data", Introducer(12, 0x80, {4, 7, 8, 9}), 1, 12, 0},
      {"longest extension", Bytes{0x5A} + Introducer(300, 0xFF, Bytes{255} + many), 1, 264, 37},
      {"0x5A alone", {0x5A}, -7, 0, 0},
      {"no extension length", Introducer(12, 0x80), -7, 0, 0},
      {"short extension", Introducer(20, 0x80, {5, 7, 8, 9}), -7, 0, 0},
      {"extension past the field", Introducer(12, 0x80, Bytes{5} + many), -9, 0, 0},
      {"0x5A as high length byte", Introducer(0x5A10), -7, 0, 0},
      {"the same, more bytes", Introducer(0x5A10) + many, -9, 0, 0},
      {"0x5A twice", Bytes{0x5A, 0x5A} + Introducer(12), -9, 0, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    OpenBytes file(c.bytes);
    _SFI sfi;
    std::memset(&sfi, 0xCC, sizeof sfi);
    ASSERT_EQ(ReadSFI(file, &sfi), c.status);
    if (c.status != K_SUCCESS) continue;
    const int prefix = c.bytes[0] == 0x5A ? 1 : 0;
    EXPECT_EQ(file.Position(), c.position);
    EXPECT_EQ(sfi.abReserved[0] * 256 + sfi.abReserved[1], 0x1234);
    EXPECT_EQ(sfi.bExtLength, c.position - 8 - prefix);
    const auto stored = static_cast<size_t>(std::max(sfi.bExtLength - 1, 0));
    EXPECT_EQ(Bytes(sfi.abExtension, std::end(sfi.abExtension)),
              Slice(c.bytes, static_cast<size_t>(c.position) - stored, stored) +
                  Bytes(sizeof sfi.abExtension - stored));
    EXPECT_EQ(SFDataLength(sfi), c.dataLength);
    EXPECT_EQ(SkipSFData(file, &sfi), 1);
    EXPECT_EQ(file.Position(), c.position + static_cast<int>(c.dataLength));
  }
}

// What a 0x5A before a length of 0x5A.. tells holds for this file only, and for whoever
// reads the field next.
TEST(StructuredField, LengthsThatBeginWith0x5AAreReadAgain) {
  for (const bool extended : {false, true}) {
    const Style style = {true, {9}, extended};
    PassedPrefixes passed;
    int first = 0;
    {
      Bytes document = Field(0xA8A8, {}, style);
      for (const size_t length : {0x5A00u, 0x5A0Au, 0x5AFFu}) {
        const Bytes data(length - (extended ? 10 : 8), 0x5A);
        document = document + Field(0xEEFB, data, style) + Field(0xA9FB, {}, style);
      }
      OpenBytes file(document);
      std::vector<int> found;
      int position = 0;
      while (FindImageObject(file, &position, found.empty() ? 0 : 1) == 1) {
        found.push_back(position);
      }
      ASSERT_EQ(found.size(), 3u);
      first = found.front();
      for (const int at : found) {
        _SFI sfi;
        K_RedirectedSeek(file, at, K_SEEK_START);
        EXPECT_EQ(ReadSFI(file, &sfi), 1);
        EXPECT_EQ(+sfi.wTypeCategory, 0xEEFB);
      }
      passed = ThreadState()->passed;
    }
    {
      // The same handle may be another file's, where a 0x5A is one.
      OpenBytes file(Field(0xEEEE, Bytes(static_cast<size_t>(first) - 8)) +
                     Field(0xEEFB, Bytes(12), style));
      ThreadState()->passed = passed;
      ThreadState()->passed.hFile = file;
      int position = 0;
      EXPECT_EQ(FindImageObject(file, &position, 0), 1);
      EXPECT_EQ(position, first + 1);
    }
    // The field that ends a picture's data is met again by whoever reads next.
    const Bytes data(0x5A20 - (extended ? 10 : 8));
    OpenBytes file(Field(0xEEFB, Bytes(5), style) + Field(0xEE9B, data, style));
    ThreadState()->bReadIPD = 1;
    Bytes room(9);
    EXPECT_EQ(ReadIPD(file, room.data(), 9), 5);
    EXPECT_EQ(ReadIPD(file, room.data(), 9), 0);
    _SFI sfi;
    EXPECT_EQ(ReadSFI(file, &sfi), 1);
    EXPECT_EQ(+sfi.wTypeCategory, 0xEE9B);
  }
}

TEST(ImageDataReader, BufferDataIsGatheredWithinItsRoom) {
  const Bytes data = Pattern(120);
  const Bytes fields =
      ImageData(Slice(data, 0, 60)) + ImageData({}) + ImageData(Slice(data, 60, 60));
  struct Case {
    const char* what;
    Bytes bytes;
    unsigned size;
    int status;
    unsigned gathered;
    int position;
  };
  const Case cases[] = {
      {"size 0", fields, 0, 1, 0, 0},
      {"a field that does not fit", fields, 100, 1, 100, 132},
      {"all", fields, 120, 1, 120, 132},
      {"another field", fields + kEpilogue, 500, 1, 120, 134},
      {"file ends at a header", fields, 121, -7, 120, 132},
      {"file ends in the data", Slice(fields, 0, 100), 121, -7, 88, 100},
      {"and in what does not fit", Slice(fields, 0, 131), 100, -7, 100, 131},
      {"the same, one byte", Slice(fields, 0, 131), 119, -7, 119, 131},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    OpenBytes file(c.bytes);
    ThreadState()->pfnRead = nullptr;  // it reads with the host's routine alone
    Bytes room(c.size + 16, 0xA5);
    EXPECT_EQ(GetBufferData(file, room.data(), c.size), c.status);
    EXPECT_EQ(Slice(room, 0, c.gathered), Slice(data, 0, c.gathered));
    EXPECT_EQ(std::count(room.begin() + c.size, room.end(), 0xA5), 16);
    EXPECT_EQ(file.Position(), c.position);
  }
}

}  // namespace
