// The writers of fields, envelopes and image data, byte by byte.
#include <gtest/gtest.h>

#include <functional>

#include "API/Filters/Ica/Common/Ioca/Document.h"
#include "API/Filters/Ica/Common/Ioca/ImageDataWriter.h"
#include "API/Filters/Ica/Common/Ioca/Page.h"
#include "API/Filters/Ica/Common/Ioca/SelfDefiningField.h"
#include "API/Filters/Ica/Common/Ioca/WriteImage.h"
#include "Tests/Filter/FailingFiles.h"
#include "Tests/Filter/SaveRequest.h"
#include "Tests/Filter/WrittenFile.h"

namespace {

// A new file that the writers write to.
class Output {
 public:
  explicit Output(bool carriageControl = false) {
    handle = K_RedirectedOpen(m_path.c_str(), K_OPEN_UPDATE | K_OPEN_CREATE, K_MODE_WRITABLE);
    FilterThreadState* state = State();
    K_GetFilterIOData(nullptr, nullptr, &state->pWriteUserData, nullptr, nullptr);
    state->pfnWrite = nullptr;
    K_FilterIO(nullptr, nullptr, &state->pfnWrite, nullptr, nullptr, nullptr, nullptr, nullptr,
               nullptr, nullptr);
    state->bWriteCC = carriageControl ? 1 : 0;
    state->bWriteIPD = 1;
    state->nMaxSegmentData = 8176;
    state->nSegmentRoom = 0;
  }
  ~Output() { Close(); }
  // The file's bytes; nothing more can be written.
  Bytes Close() {
    if (handle != K_InvalidHandle()) K_RedirectedClose(handle);
    handle = K_InvalidHandle();
    return FileBytes(m_path);
  }

  FailingFiles files;
  tagHANDLE* handle;

 private:
  TemporaryFolder m_folder;
  std::string m_path = m_folder / "out";
};

int WriteRecord(tagHANDLE* handle, uint16_t code, const Bytes& data = {}) {
  const auto length = static_cast<uint16_t>(8 + data.size());
  _MODCA_SDF sdf = {code, length, length, 0xD3, code, 0, {}, {}};
  std::copy(data.begin(), data.end(), sdf.abData);
  const _MODCA_SDF before = sdf;
  const int status = WriteMODCA_SDF(handle, &sdf);
  EXPECT_EQ(std::memcmp(&before, &sdf, sizeof sdf), 0);
  return status;
}

int WriteSegmentField(tagHANDLE* handle, uint16_t id, uint16_t length, const Bytes& parameters) {
  _ICA_SDF field = {};
  field.wId = id;
  field.wLength = length;
  std::copy(parameters.begin(), parameters.end(), field.abParam);
  const _ICA_SDF before = field;
  const int status = WriteICA_SDF(handle, &field);
  EXPECT_EQ(std::memcmp(&before, &field, sizeof field), 0);
  return status;
}

_BITMAPHANDLE Sized(int width, int height, int xResolution, int yResolution) {
  _BITMAPHANDLE bitmap = {};
  bitmap.nWidth = width;
  bitmap.nHeight = height;
  bitmap.nXResolution = xResolution;
  bitmap.nYResolution = yResolution;
  return bitmap;
}

using Writer = std::function<int(tagHANDLE*)>;

Writer Record(uint16_t code, const Bytes& data = {}) {
  return [=](tagHANDLE* handle) { return WriteRecord(handle, code, data); };
}
Writer InSegment(uint16_t id, uint16_t length, const Bytes& parameters) {
  return [=](tagHANDLE* handle) { return WriteSegmentField(handle, id, length, parameters); };
}
Writer ForBitmap(int (*write)(tagHANDLE*, _BITMAPHANDLE*), int width, int height, int x, int y) {
  return [=](tagHANDLE* handle) {
    _BITMAPHANDLE bitmap = Sized(width, height, x, y);
    return write(handle, &bitmap);
  };
}
int StartPage(tagHANDLE* handle, _BITMAPHANDLE* bitmap) {
  _SAVEDISPATCH save = {};
  save.pBitmap = bitmap;
  return WriteMODCAStartPage(&save, handle);
}

struct WriterCase {
  const char* what;
  Writer write;
  const char* bytes;
};

// 16-bit numbers of the records are native, little-endian here.
const WriterCase kWriters[] = {
    {"Begin Page", Record(0xA8AF), "*0008D3A8AF000000"},
    {"Page Descriptor", Record(0xA6AF, {0, 0, 0x40, 0x38, 0x34, 0x12, 0, 1, 2, 0, 3, 4, 0, 0, 0}),
     "*0017D3A6AF000000 0000 3840 1234 000102 000304 000000"},
    {"other data", Record(0xA8C9, {1, 2, 3, 4, 5, 6}), "*000ED3A8C9000000 010203040506"},
    {"Begin Document", WriteMODCAStartDoc,
     "*0040D3A8A8000000 4040404040404040 0000 060102B901F4 0518010C00 23020100"
     "C2F0F0F1F1F1F64B C2F2F5F6F3F24B D4F2F9F1F0F9F1C44B C6D6C4D4F0F14B"},
    {"End Document", WriteMODCAEndDoc, "0010D3A9A8000000 0000000000000000"},
    {"start of page", ForBitmap(StartPage, 2550, 3300, 300, 300),
     "*0008D3A8AF000000 *0008D3A8C9000000"
     "*0017D3A6AF000000 0000 38403840 002FD0 003DE0 000000"
     "*0008D3A9C9000000 *0008D3A8FB000000 *0008D3A8C7000000"
     "*001CD3A66B000000 034301 084B000038403840 094C02 002FD0 003DE0"
     "*0020D3AC6B000000 01 17 000000 000000 0000 2D00 00 000000 000000 0000 2D00 01"
     "*0011D3A6FB000000 00 0BB8 0BB8 09F6 0CE4"
     "*0008D3A9C7000000"},
    {"end of page", WriteMODCAEndPage, "*0008D3A9FB000000 *0008D3A9AF000000"},
    {"picture data", [](tagHANDLE* h) { return WriteIPD(h, 23); }, "*001FD3EEFB000000"},
    {"image descriptor", ForBitmap(WriteIDD, 1728, 32767, 6553, 200),
     "*0011D3A6FB000000 00 FFFA 07D0 06C0 7FFF"},
    {"bare data header", [](tagHANDLE* h) { return WriteImageDataHdr(h, 65535, 0); }, "FE92FFFF"},
    {"wrapped data header", [](tagHANDLE* h) { return WriteImageDataHdr(h, 8176, 1); },
     "*1FFCD3EEFB000000 FE921FF0"},
    {"no parameters", InSegment(0x70, 0, {9, 9}), "7000"},
    {"segment name", InSegment(0x70, 4, {0x78, 0x56, 0x34, 0x12}), "700412345678"},
    {"image size", InSegment(0x94, 9, {2, 0xD0, 7, 0xE8, 3, 0xC0, 6, 0x98, 8}),
     "9409 02 07D0 03E8 06C0 0898"},
    {"plain parameters", InSegment(0x95, 3, {0x82, 1, 1}), "9503820101"},
    {"image data", InSegment(0xFE92, 0x1234, {7, 7}), "FE921234"},
};

TEST(Writers, EachWritesItsBytesAndReportsAShortWrite) {
  for (const WriterCase& c : kWriters) {
    for (const bool carriageControl : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.what << ", carriage control " << carriageControl);
      for (int n = 1;; ++n) {
        Output out(carriageControl);
        out.files.Fail(FailingFiles::kWrite, n);
        const int status = c.write(out.handle);
        if (out.files.Count(FailingFiles::kWrite) < n) {
          EXPECT_EQ(status, 1);
          EXPECT_EQ(out.Close(), Hex(c.bytes, carriageControl));
          break;
        }
        EXPECT_EQ(status, K_ERROR_WRITE) << "write " << n;
        EXPECT_EQ(out.files.Count(FailingFiles::kWrite), n);
      }
    }
  }
}

TEST(Writers, EndDocumentGoesToTheEndWhereverTheFileStands) {
  Output out;
  EXPECT_EQ(WriteMODCAStartDoc(out.handle), 1);
  EXPECT_EQ(K_RedirectedSeek(out.handle, 5, K_SEEK_START), 5);
  EXPECT_EQ(WriteMODCAEndDoc(out.handle), 1);
  const Bytes bytes = out.Close();
  EXPECT_EQ(Slice(bytes, 0, 64), Hex(kWriters[3].bytes));
  EXPECT_EQ(Slice(bytes, 64, 99), Hex(kWriters[4].bytes));
}

TEST(Writers, PagesAreMeasuredIn1440thsOfAnInch) {
  struct Case {
    int width, height, xResolution, yResolution;
    int units[2];
    int resolutions[2];  // that the bitmap has afterwards
  };
  const Case cases[] = {
      {2550, 3300, 300, 300, {12240, 15840}, {300, 300}},
      {96, 96, 0, 0, {1440, 1440}, {96, 96}},
      {96, 200, 0, 100, {1440, 2880}, {96, 100}},
      {200, 96, 100, 0, {2880, 1440}, {100, 96}},
      {200, 100, 200, 100, {1440, 1440}, {200, 100}},
      {1, 2, 7, 11, {205, 261}, {7, 11}},                  // 205.7 and 261.8
      {32767, 4552, 72, 100, {655340, 65548}, {72, 100}},  // only 16 bits of them go out
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.width << " by " << c.height);
    _BITMAPHANDLE bitmap = Sized(c.width, c.height, c.xResolution, c.yResolution);
    Output out;
    EXPECT_EQ(StartPage(out.handle, &bitmap), 1);
    EXPECT_EQ(bitmap.nXResolution, c.resolutions[0]);
    EXPECT_EQ(bitmap.nYResolution, c.resolutions[1]);
    const Bytes size = Bytes{0} + Big16(static_cast<unsigned>(c.units[0]) & 0xFFFF) + Bytes{0} +
                       Big16(static_cast<unsigned>(c.units[1]) & 0xFFFF);
    const std::vector<WalkedField> fields = Walk(out.Close());
    ASSERT_EQ(fields.size(), 10u);
    EXPECT_EQ(Slice(fields[2].Data(), 6, 6), size);
    EXPECT_EQ(Slice(fields[6].Data(), 14, 6), size);
    EXPECT_EQ(Slice(fields[8].Data(), 1, 4),
              Big16(static_cast<unsigned>(c.resolutions[0]) * 10) +
                  Big16(static_cast<unsigned>(c.resolutions[1]) * 10));
  }
}

TEST(Writers, RequestsOfAnySizeMakeTheSameFields) {
  const Bytes data = Pattern(3 * 8176);
  Bytes expected;
  for (size_t at = 0; at < data.size(); at += 8176) {
    expected = expected + Hex("*1FFCD3EEFB000000 FE921FF0", true) + Slice(data, at, 8176);
  }
  for (const size_t request : {size_t{1}, size_t{7}, size_t{8176}, size_t{8177}, data.size()}) {
    for (const bool raw : {false, true}) {
      SCOPED_TRACE(testing::Message() << request << " bytes, raw " << raw);
      Output out(true);
      for (size_t at = 0; at < data.size(); at += request) {
        Bytes piece = Slice(data, at, request);
        const auto count = static_cast<unsigned>(piece.size());
        int status = 99;
        const int written = raw ? WriteRawIMG(out.handle, piece.data(), count, &status)
                                : WriteIMG(out.handle, piece.data(), count, nullptr);
        ASSERT_EQ(written, static_cast<int>(count));
        ASSERT_EQ(status, raw ? 1 : 99);
      }
      // Full fields: the next header waits for a byte to put behind it.
      EXPECT_EQ(State()->nSegmentRoom, 0u);
      EXPECT_EQ(State()->nSegmentStart, 2u * (1 + 12 + 8176));
      EXPECT_EQ(out.Close(), expected);
    }
  }
}

TEST(Writers, ImageDataThatCantBeWrittenSayWhy) {
  Bytes data = Pattern(9000);
  for (const auto operation : {FailingFiles::kSeek, FailingFiles::kWrite}) {
    for (const int nth : {1, 2}) {
      for (const bool raw : {false, true}) {
        Output out(true);
        out.files.Fail(operation, nth);
        int status = 99;
        EXPECT_EQ(raw ? WriteRawIMG(out.handle, data.data(), 9000, &status)
                      : WriteIMG(out.handle, data.data(), 9000, nullptr),
                  -1);
        const int expected = operation == FailingFiles::kSeek ? K_ERROR_SEEK : K_ERROR_WRITE;
        EXPECT_EQ(status, raw ? expected : 99);
      }
    }
  }
  Output out;
  int status = 99;
  EXPECT_EQ(WriteRawIMG(out.handle, data.data(), 0, &status), 0);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(WriteIMG(out.handle, data.data(), 0, nullptr), 0);
  EXPECT_TRUE(out.Close().empty());
}

// On its own the image writer names the compression by the bitmap's depth and the
// depth by the request.
TEST(Writers, ImagesNameTheirCompressionAndLeaveTheEncoderCode) {
  struct Case {
    int format, bitmapDepth, depth;
    const char* parameters;
    int code;
  };
  const Case cases[] = {
      {253, 1, 1, "9502 0301 9601 01", 253},  {254, 8, 8, "9502 0301 9601 08", 253},
      {312, 1, 24, "9502 0301 9601 18", 253}, {377, 24, 24, "9502 8301 9601 18", 10},
      {378, 8, 8, "9502 8301 9601 08", 21},   {379, 8, 24, "9502 8301 9601 18", 23},
      {190, 1, 1, "9502 0801 9601 01", 185},  {191, 4, 4, "9502 0A01 9601 04", 185},
      {184, 8, 4, "9502 0001 9601 04", 185},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.format << " from " << c.bitmapDepth);
    for (const bool wrapped : {false, true}) {
      SaveRequest request(16, 4, c.bitmapDepth);
      request.bitmap.nXResolution = 300;
      request.bitmap.nYResolution = 200;
      request.save.nBitsPerPixel = c.depth;
      request.save.nFormat = c.format;
      Output out;
      EXPECT_EQ(WriteImage(&request.save, out.handle, wrapped), 1);
      EXPECT_EQ(request.save.nFormat, c.code);
      const Bytes begin = Hex("7000 9101FF 9409 00 0BB8 07D0 0010 0004") + Hex(c.parameters);
      const Bytes bytes = out.Close();
      EXPECT_EQ(Slice(bytes, 0, wrapped ? 31 : 23),
                (wrapped ? Hex("001FD3EEFB000000") : Bytes{}) + begin);
    }
  }
  SaveRequest request(16, 4);
  request.save.nFormat = 185;  // no code to save under
  Output out;
  EXPECT_EQ(WriteImage(&request.save, out.handle, 1), K_ERROR_SAVE_FORMAT);
  EXPECT_TRUE(out.Close().empty());
}

}  // namespace
