// Image data as the encoders make them and as they lie in the file's fields.
#include <gtest/gtest.h>

#include "Tests/API/FailingFiles.h"
#include "Tests/API/SaveRequest.h"
#include "Tests/Support/WrittenFile.h"

namespace {

Bytes Inverted(Bytes bytes) {
  for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(~byte);
  return bytes;
}

// Saves into a new file and takes it apart.
struct Saved {
  Saved(SaveRequest& request, int format) {
    const TemporaryFolder folder;
    FailingFiles files;
    EXPECT_EQ(request(folder / "f", format), 1) << format;
    bytes = FileBytes(folder / "f");
    const bool bare = !bytes.empty() && bytes[0] == 0x70;
    const auto pages = bare ? std::vector{WrittenSegment(bytes)} : WrittenPages(bytes);
    EXPECT_EQ(pages.size(), 1u);
    if (!pages.empty()) image = pages[0];
    for (const Bytes& write : files.Written()) {
      if (write.size() == 4 && write[0] == 0xFE) headers.push_back(write[2] * 256u + write[3]);
    }
    EXPECT_EQ(request.begun, request.ended);
  }
  Bytes bytes;
  WrittenImage image;
  std::vector<size_t> headers;  // lengths in the Image Data headers, as they were written
};

using Sizes = std::vector<size_t>;

TEST(SaveEncoder, DataFillFieldsAndOnlyTheLastHeaderIsMended) {
  struct Case {
    const char* what;
    int format, width, height;
    Sizes pieces, headers;
  };
  const Case cases[] = {
      {"three fields", 312, 800, 200, {8176, 8176, 3648}, {8176, 8176, 8176, 3648}},
      {"two full fields", 312, 584, 224, {8176, 8176}, {8176, 8176}},
      {"one byte more", 253, 8, 8177, {8176, 1}, {8176, 8176, 1}},
      {"a row across a full field", 253, 104, 700, {8176, 924}, {8176, 8176, 924}},
      {"bare", 254, 584, 112, {8176}, {65535, 8176}},
      {"bare, full", 254, 40, 13107, {65535}, {65535}},
      {"bare, more than full", 254, 8192, 65, {65535, 1025}, {65535, 65535, 1025}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    SaveRequest request(c.width, c.height);
    const Saved saved(request, c.format);
    EXPECT_EQ(saved.image.pieces, c.pieces);
    EXPECT_EQ(saved.headers, c.headers);
    EXPECT_EQ(saved.image.data, request.PackedRows());
  }
}

TEST(SaveEncoder, JpegDataAreStoredAsTheHostMadeThem) {
  for (const size_t size : std::vector<size_t>{0, 1, 500, 8176, 20000}) {
    SaveRequest request(9, 3, 8);
    request.jpeg = Pattern(size);
    const Saved saved(request, 378);
    EXPECT_EQ(saved.image.data, request.jpeg);
    EXPECT_EQ(saved.image.pieces.size(), (size + 8175) / 8176);
  }
  struct Case {
    int format, depth, quality, reached, code;
  };
  const Case cases[] = {{377, 8, 0, 2, 10},    {378, 24, 1, 2, 21},    {379, 8, 2, 2, 23},
                        {377, 24, -7, 2, 10},  {377, 8, 100, 100, 10}, {377, 8, 256, 255, 10},
                        {377, 8, 300, 255, 10}};
  for (const Case& c : cases) {
    SaveRequest request(9, 3, 24);
    request.save.nBitsPerPixel = c.depth;
    request.save.nQFactor = c.quality;
    const Saved saved(request, c.format);
    EXPECT_EQ(request.qFactor, c.reached) << c.quality;
    EXPECT_EQ(request.jpegFormat, c.code);
    EXPECT_EQ(request.jpegBits, c.depth);
    EXPECT_EQ(request.save.nFormat, c.code);
    EXPECT_EQ(saved.image.encoding, Hex("8301"));
    EXPECT_EQ(saved.image.depth, Bytes{static_cast<unsigned char>(c.depth)});
  }
}

TEST(SaveEncoder, OnlyOneBitRowsAreInvertedAndOnlyByADarkFirstColour) {
  struct Case {
    int depth;
    unsigned char blue;
    bool inverted;
  };
  const Case cases[] = {{1, 0x00, true},  {1, 0x7E, true},  {1, 0x7F, false}, {1, 0xFF, false},
                        {4, 0x00, false}, {8, 0x00, false}, {24, 0x00, false}};
  for (const Case& c : cases) {
    for (const int width : {1, 13, 16}) {
      SCOPED_TRACE(testing::Message() << c.depth << " bits, blue " << int{c.blue});
      SaveRequest request(width, 5, c.depth);
      request.colorTable.assign(request.colorTable.size(), 0x80);
      request.colorTable[10] = c.blue;
      const Saved saved(request, 253);
      EXPECT_EQ(saved.image.depth, Bytes{static_cast<unsigned char>(c.depth)});
      EXPECT_EQ(saved.image.encoding, Hex("0301"));
      const Bytes rows = request.PackedRows();
      EXPECT_EQ(saved.image.data, c.inverted ? Inverted(rows) : rows);
    }
  }
}

TEST(SaveEncoder, BottomUpPicturesAreTurnedOverAndStaySo) {
  for (const int format : {253, 190, 377}) {
    SaveRequest request(20, 7);
    const Saved straight(request, 253);
    if (format == 377) request.save.nBitsPerPixel = 8;
    const Bytes rows = request.PackedRows();
    ASSERT_EQ(K_ChangeBitmapViewPerspective(nullptr, &request.bitmap, sizeof(_BITMAPHANDLE),
                                            K_VIEW_BOTTOM_UP),
              1);
    EXPECT_NE(request.PackedRows(), rows);
    const TemporaryFolder folder;
    ASSERT_EQ(request(folder / "f", format), 1);
    EXPECT_EQ(request.bitmap.nViewPerspective, K_VIEW_TOP_DOWN);
    EXPECT_EQ(request.PackedRows(), rows);
    EXPECT_EQ(FileBytes(folder / "f") == straight.bytes, format == 253);
  }
}

// The fields around an image, byte by byte.
const char* const kHead =
    "*0040D3A8A8000000 4040404040404040 0000 060102B901F4 0518010C00 23020100"
    "C2F0F0F1F1F1F64B C2F2F5F6F3F24B D4F2F9F1F0F9F1C44B C6D6C4D4F0F14B"
    "*0008D3A8AF000000 *0008D3A8C9000000"
    "*0017D3A6AF000000 0000 38403840 002FD0 003DE0 000000"
    "*0008D3A9C9000000 *0008D3A8FB000000 *0008D3A8C7000000"
    "*001CD3A66B000000 034301 084B000038403840 094C02 002FD0 003DE0"
    "*0020D3AC6B000000 01 17 000000 000000 0000 2D00 00 000000 000000 0000 2D00 01"
    "*0011D3A6FB000000 00 0BB8 0BB8 09F6 0CE4"
    "*0008D3A9C7000000 *001FD3EEFB000000"
    "7000 9101FF 9409 00 0BB8 0BB8 09F6 0CE4 9502 0301 9601 01";
const char* const kTail = "*0008D3A9FB000000 *0008D3A9AF000000 0010D3A9A8000000 0000000000000000";

TEST(Envelope, HasItsBytesInEitherKindOfDocument) {
  for (const bool carriageControl : {false, true}) {
    SaveRequest request(2550, 3300);
    request.bitmap.nXResolution = request.bitmap.nYResolution = 300;
    const Bytes file = Saved(request, carriageControl ? 312 : 253).bytes;
    const Bytes head = Hex(kHead, carriageControl);
    const Bytes tail = Hex(kTail, carriageControl);
    EXPECT_EQ(Slice(file, 0, head.size()), head);
    EXPECT_EQ(Slice(file, file.size() - tail.size(), tail.size()), tail);
  }
}

TEST(Envelope, PagesAreMeasuredIn1440thsOfAnInch) {
  struct Case {
    int width, height, xResolution, yResolution;
    int units[2];
    int resolutions[2];  // that the bitmap has afterwards
  };
  const Case cases[] = {
      {96, 96, 0, 0, {1440, 1440}, {96, 96}},
      {96, 200, 0, 100, {1440, 2880}, {96, 100}},
      {200, 96, 100, 0, {2880, 1440}, {100, 96}},
      {1, 2, 7, 11, {205, 261}, {7, 11}},              // 205.7 and 261.8
      {32767, 10, 72, 100, {655340, 144}, {72, 100}},  // only 16 bits of them go out
      {10, 32767, 100, 72, {144, 655340}, {100, 72}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << " by " << c.height);
    SaveRequest request(c.width, c.height);
    request.bitmap.nXResolution = c.xResolution;
    request.bitmap.nYResolution = c.yResolution;
    const std::vector<WalkedField> fields = Walk(Saved(request, 253).bytes);
    EXPECT_EQ(request.bitmap.nXResolution, c.resolutions[0]);
    EXPECT_EQ(request.bitmap.nYResolution, c.resolutions[1]);
    const Bytes size = Bytes{0} + Big16(static_cast<unsigned>(c.units[0]) & 0xFFFF) + Bytes{0} +
                       Big16(static_cast<unsigned>(c.units[1]) & 0xFFFF);
    ASSERT_GT(fields.size(), 10u);
    EXPECT_EQ(Slice(fields[3].Data(), 6, 6), size);
    EXPECT_EQ(Slice(fields[7].Data(), 14, 6), size);
    EXPECT_EQ(Slice(fields[9].Data(), 1, 4),
              Big16(static_cast<unsigned>(c.resolutions[0]) * 10) +
                  Big16(static_cast<unsigned>(c.resolutions[1]) * 10));
  }
}

}  // namespace
