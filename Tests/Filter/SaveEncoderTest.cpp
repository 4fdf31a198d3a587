// Image data as the encoders make them and as they lie in the file's fields.
#include <gtest/gtest.h>

#include "API/Filters/Ica/Common/Ioca/Coders/CodecLoader.h"
#include "API/Filters/Ica/Common/Ioca/Coders/ExportedCoders.h"
#include "Tests/Filter/FailingFiles.h"
#include "Tests/Filter/LoadRoads.h"
#include "Tests/Filter/SaveRequest.h"
#include "Tests/Filter/WrittenFile.h"

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
      {"one full field", 253, 584, 112, {8176}, {8176}},
      {"one byte more", 253, 8, 8177, {8176, 1}, {8176, 8176, 1}},
      {"one byte", 253, 3, 1, {1}, {8176, 1}},
      {"rows across fields", 253, 32767, 3, {8176, 4112}, {8176, 8176, 4112}},
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
  for (const Case& c : {Case{377, 8, 0, 2, 10},
                        {378, 24, 1, 2, 21},
                        {379, 8, 2, 2, 23},
                        {377, 24, -7, 2, 10},
                        {377, 8, 100, 100, 10},
                        {377, 8, 256, 255, 10},
                        {377, 8, 300, 255, 10}}) {
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
  for (const Case& c : {Case{1, 0x00, true},
                        {1, 0x7E, true},
                        {1, 0x7F, false},
                        {1, 0xFF, false},
                        {4, 0x00, false},
                        {8, 0x00, false},
                        {24, 0x00, false}}) {
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

TEST(SaveEncoder, AbicDataAreTheCodecsAndTheCodecIsUnloaded) {
  for (const int depth : {1, 4}) {
    for (const unsigned char blue : Bytes{0x00, 0xFF}) {
      for (const int width : {5, 32, 333}) {
        SCOPED_TRACE(testing::Message() << depth << " bits, " << width << ", blue " << int{blue});
        SaveRequest request(width, 40, depth);
        request.colorTable[10] = blue;
        const Saved saved(request, 191);
        Bytes rows(static_cast<size_t>(request.bitmap.nRowBytes) * 40);
        for (int y = 0; y < 40; ++y) {
          const auto count = static_cast<size_t>(request.bitmap.nRowBytes);
          K_GetBitmapRow(&request.bitmap, rows.data() + static_cast<size_t>(y) * count, y, count);
        }
        const bool inverted = depth == 1 && blue == 0;
        EXPECT_EQ(saved.image.data,
                  AbicData(inverted ? Inverted(rows) : rows, width, 40, depth == 1));
        EXPECT_EQ(saved.image.encoding,
                  (Bytes{static_cast<unsigned char>(depth == 1 ? 8 : 10), 1}));
        EXPECT_EQ(request.save.nFormat, 185);
        EXPECT_EQ(EmbeddedLoaders::g_aLoaders.IsLoaded(), 0);
      }
    }
  }
}

TEST(SaveEncoder, AGroup4PageHasItsBytesInEitherContainer) {
  const char* const parameters = "7000 9101FF 9409 00 07D0 07D0 06C0 0898 9502 8201 9601 01";
  SaveRequest request(1728, 2200);  // noise: several fields
  request.bitmap.nYResolution = 200;
  const Saved bare(request, 79);
  EXPECT_EQ(Slice(bare.bytes, 0, 27), Hex(parameters) + Hex("FE92FFFF"));
  EXPECT_EQ(request.save.nFormat, 68);
  ASSERT_GT(bare.image.pieces.size(), 2u);
  const size_t last = bare.image.pieces.back();
  EXPECT_EQ(Slice(bare.bytes, bare.bytes.size() - last - 8, 4),
            Hex("FE92") + Big16(static_cast<unsigned>(last)));

  const Saved wrapped(request, 73);
  const size_t start = 64 + 8 * 5 + 23 + 28 + 32 + 17 + 8;
  EXPECT_EQ(Slice(wrapped.bytes, start, 43),
            Hex("001FD3EEFB000000") + Hex(parameters) + Hex("1FFCD3EEFB000000 FE921FF0"));
  EXPECT_EQ(Slice(wrapped.bytes, wrapped.bytes.size() - 44, 12), Hex("000CD3EEFB000000 93007100"));
  EXPECT_EQ(wrapped.image.data, bare.image.data);
}

}  // namespace
