// The fields of a document around its images, byte by byte as a save writes them.
#include <gtest/gtest.h>

#include "Tests/Filter/SaveRequest.h"
#include "Tests/Filter/WrittenFile.h"

namespace {

const char* const kHead =
    "*0040D3A8A8000000 4040404040404040 0000 060102B901F4 0518010C00 23020100"
    "C2F0F0F1F1F1F64B C2F2F5F6F3F24B D4F2F9F1F0F9F1C44B C6D6C4D4F0F14B"
    "*0008D3A8AF000000 *0008D3A8C9000000"
    "*0017D3A6AF000000 0000 38403840 002FD0 003DE0 000000"
    "*0008D3A9C9000000 *0008D3A8FB000000 *0008D3A8C7000000"
    "*001CD3A66B000000 034301 084B000038403840 094C02 002FD0 003DE0"
    "*0020D3AC6B000000 01 17 000000 000000 0000 2D00 00 000000 000000 0000 2D00 01"
    "*0011D3A6FB000000 00 0BB8 0BB8 09F6 0CE4"
    "*0008D3A9C7000000 *001FD3EEFB000000";
const char* const kTail = "*0008D3A9FB000000 *0008D3A9AF000000 0010D3A9A8000000 0000000000000000";

Bytes SavedFile(SaveRequest& request, int format) {
  const TemporaryFolder folder;
  EXPECT_EQ(request(folder / "f", format), 1);
  return FileBytes(folder / "f");
}

TEST(Envelope, HasItsBytesInEitherKindOfDocument) {
  for (const bool carriageControl : {false, true}) {
    SaveRequest request(2550, 3300);
    request.bitmap.nXResolution = request.bitmap.nYResolution = 300;
    const Bytes file = SavedFile(request, carriageControl ? 312 : 253);
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
    const std::vector<WalkedField> fields = Walk(SavedFile(request, 253));
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
