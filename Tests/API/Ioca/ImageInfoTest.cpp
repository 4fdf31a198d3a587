// What the description of a page says of it, and where it leaves the stream.
#include "API/Filters/Ica/Common/Ioca/ImageInfo.h"

#include <gtest/gtest.h>

#include <cstring>

#include "Host/Kernel/KernelTesting.h"
#include "Tests/API/OpenBytes.h"
#include "Tests/Support/FileBuilder.h"

namespace {

const Bytes kG4 = ImageSize(100, 50) + Encoding(0x82);
const Style kPrefixed = {true, {}, false};

Bytes IdeSize(unsigned char bits) { return {0x96, 1, bits}; }

TEST(ImageInfo, ParametersBecomeTheDescription) {
  struct Case {
    const char* what;
    Bytes parameters;
    int status;
    uint32_t bits, x, y, flags;
  };
  const Bytes size = ImageSize(100, 50);
  const auto resolution = [](unsigned char base, unsigned x, unsigned y) {
    return ImageSize(100, 50, base, x, y) + Encoding(0x82);
  };
  const Bytes reversed = {0x95, 3, 0x82, 4, 1};
  const auto structure = [](unsigned char first) { return Bytes{0x9B, 6, first, 0, 0, 0, 0, 0}; };
  const Case cases[] = {
      {"plain", kG4, 1, 1, 200, 100, 1},
      {"ten inches", resolution(0, 2409, 3000), 1, 1, 240, 300, 1},
      {"ten centimetres", resolution(1, 1181, 1000), 1, 1, 299, 254, 1},
      {"no x", resolution(1, 0x8000, 1181), 1, 1, 299, 299, 1},
      {"largest", resolution(2, 0x7FFF, 0x7FFF), 1, 1, 32767, 32767, 1},
      {"repaired by encoding alone", Encoding(0x82) + ImageSize(100, 50, 2, 300, 0x8000), 1, 1, 300,
       0x8000, 1},
      {"bottom to top", size + Encoding(0x82, 3), 1, 1, 200, 100, 0},
      {"unpadded keeps bottom up", size + Encoding(0x82, 3) + Encoding(0x82, 4), 1, 1, 200, 100, 0},
      {"reversed and back", size + reversed + Encoding(0x82), 1, 1, 200, 100, 1},
      {"structure flag", kG4 + structure(0xFE) + structure(0x01), 1, 1, 200, 100, 5},
      {"1 bit before encoding", IdeSize(1) + kG4, 1, 1, 200, 100, 1},
      {"concatenated keeps 4", size + Encoding(0x0A) + IdeSize(1), 1, 4, 200, 100, 1},
      {"size after a depth", Encoding(0x0A) + size, 1, 4, 200, 100, 1},
      // Refused, whatever field comes too early, is missing or does not fit.
      {"4 bits before encoding", IdeSize(4) + kG4, -9, 0, 0, 0, 0},
      {"G4 of 4 bits", kG4 + IdeSize(4), -9, 0, 0, 0, 0},
      {"JPEG of 4 bits", size + Encoding(0x83) + IdeSize(4), -9, 0, 0, 0, 0},
      {"ABIC of 8 bits", size + Encoding(0x08) + IdeSize(8), -9, 0, 0, 0, 0},
      {"RL4 before another", size + Encoding(0x06, 3) + Encoding(0x82, 4), 1, 1, 200, 100, 0},
      {"none, its depth, another", size + Bytes{0x95, 3, 0x0B, 1, 1} + IdeSize(1) + Encoding(0x0A),
       1, 4, 200, 100, 1},
      {"RL4 of recording 0xFE", size + Encoding(0x06, 0xFE) + Encoding(0x82), -9, 0, 0, 0, 0},
      {"no size", Encoding(0x82), -9, 0, 0, 0, 0},
      {"no encoding", size, -9, 0, 0, 0, 0},
      {"end of content", kG4 + Bytes{0x93, 0}, -9, 0, 0, 0, 0},
      {"field of another length", kG4 + Bytes{0x96, 2, 1, 1}, -9, 0, 0, 0, 0},
      {"field of another value", kG4 + ImageSize(100, 50, 3), -9, 0, 0, 0, 0},
      {"unknown field", kG4 + Bytes{0x98, 0}, -9, 0, 0, 0, 0},
  };
  for (const Case& c : cases) {
    const Bytes segment = Segment(c.parameters, Pattern(20));
    for (const Bytes& bytes : {segment, Document({segment}), Document({segment}, {3}, kPrefixed)}) {
      SCOPED_TRACE(testing::Message() << c.what << ", " << bytes.size() << " bytes");
      OpenBytes file(bytes);
      _LOADINFO info;
      std::memset(&info, 0xCC, sizeof info);
      int page = -5;
      ASSERT_EQ(ReadImageInfo(file, &info, &page, 72, 73), c.status);
      EXPECT_EQ(page, c.status == 1 ? 1 : -5);
      if (c.status != 1) continue;
      EXPECT_EQ(info.nWidth, 100u);
      EXPECT_EQ(info.nHeight, 50u);
      EXPECT_EQ(info.nBitsPerPixel, c.bits);
      EXPECT_EQ(info.nXResolution, c.x);
      EXPECT_EQ(info.nYResolution, c.y);
      EXPECT_EQ(info.uFlags, c.flags);
      EXPECT_EQ(info.uReserved, 0u);
      constexpr _LOADINFO none = {};
      EXPECT_EQ(std::memcmp(info.aPalette, none.aPalette, sizeof none.aPalette), 0);
    }
  }
}

TEST(ImageInfo, SegmentsMustOpenProperly) {
  const Bytes rest = kG4 + ImageData(Pattern(20)) + kEpilogue;
  struct Case {
    const char* what;
    Bytes bytes;
    int status;
  };
  const Case cases[] = {
      {"named segment in a document", Document({Bytes{0x70, 4, 1, 2, 3, 4, 0x91, 1, 0xFF} + rest}),
       1},
      {"named segment alone", Bytes{0x70, 4, 1, 2, 3, 4, 0x91, 1, 0xFF} + rest, -9},
      {"other content", Document({Bytes{0x70, 0, 0x91, 1, 0xFE} + rest}), -9},
      {"content first", Document({Bytes{0x91, 1, 0xFF} + rest}), -9},
      {"no content", Document({Bytes{0x70, 0} + rest}), -9},
      {"empty picture data", Document({{}}) + Field(0xEEFB), -7},
      {"RL4, cut later", Slice(Segment(Encoding(0x06) + kG4, {}), 0, 12), -7},
      {"0x0B, cut later", Slice(Segment(Encoding(0x0B) + kG4, {}), 0, 27), -7},
      {"no image object", Document({}), -7},
      {"bad introducer on the way", Field(0xA8A8) + Bytes(8, 0) + Document({}), -9},
  };
  for (const Case& c : cases) {
    OpenBytes file(c.bytes);
    _LOADINFO info;
    int page = 1;
    EXPECT_EQ(ReadImageInfo(file, &info, &page, 0, 0), c.status) << c.what;
  }
}

// One file through fltInfo, on a record that holds other things before.
struct Info {
  int status;
  _IMAGEFILEINFO record;
};
Info Describe(tagHANDLE* file, int page = 1, bool count = false) {
  Info info;
  std::memset(&info.record, 0xCC, sizeof info.record);
  info.record.uFlags = 0x100;
  _INFOOPTIONS infoOptions = {count ? K_INFO_TOTAL_PAGES : 0xFFFFFFFE};
  _LOADOPTIONS options = {sizeof options, 72, 72, 0, page};
  _INFODISPATCH dispatch = {file, &info.record, &infoOptions, &options};
  info.status = fltInfo(&dispatch);
  infoOptions.uFlags = 0;
  return info;
}
Info DescribeBytes(const Bytes& bytes, int page = 1, bool count = false) {
  OpenBytes file(bytes);
  K_RedirectedSeek(file, 3, K_SEEK_START);  // where the file stands must not matter
  return Describe(file, page, count);
}

TEST(FileInfo, EveryCompressionHasACodeInEveryContainerAndAName) {
  struct Case {
    unsigned char compression;
    uint32_t bare, document, prefixed;
    const char* name;
  };
  const Case cases[] = {
      {0x80, 77, 71, 309, "CCITT Group 3 Fax"},   {0x81, 78, 72, 310, "CCITT Group 3 Fax"},
      {0x82, 79, 73, 311, "CCITT Group 4 Fax"},   {0x01, 118, 117, 313, "IBM MMR Group 3 Fax"},
      {0x08, 184, 190, 191, "ABIC compression"},  {0x0A, 184, 190, 191, "ABIC compression"},
      {0x03, 254, 253, 312, "Uncompressed IOCA"}, {0x83, 377, 377, 377, "JPEG"},
  };
  for (const Case& c : cases) {
    const Bytes segment = Segment(ImageSize(20, 10) + Encoding(c.compression), Pattern(30));
    const std::pair<Bytes, uint32_t> files[] = {
        {segment, c.bare},
        {Document({segment}, {10}, kPrefixed), c.prefixed},
        {Document({segment}, {10}), c.document},  // after one with 0x5A on the same thread
        {Field(0xA8A8, {}, kPrefixed) + Document({segment}), c.prefixed},
        {Document({segment}) + Field(0xA8A8, {}, kPrefixed), c.document},  // never read
    };
    for (const auto& [bytes, format] : files) {
      const Info info = DescribeBytes(bytes);
      ASSERT_EQ(info.status, 1);
      EXPECT_EQ(info.record.nFormat, format) << c.name;
      EXPECT_STREQ(info.record.szCompression, c.name);
    }
  }
}

TEST(FileInfo, TheRecordIsFilled) {
  struct Case {
    Bytes parameters;
    uint32_t bits, perspective;
    uint64_t memory;
  };
  const Case cases[] = {
      {ImageSize(1728, 2200) + Encoding(0x82), 1, 1, 475200},
      {ImageSize(1729, 10) + Encoding(0x82, 3), 1, 4, 2170},
      {ImageSize(0x7FFF, 0x7FFF) + Encoding(0x83) + IdeSize(24), 24, 1, 3221028867},
      {ImageSize(3, 5) + Encoding(0x0A, 4), 4, 1, 10},
  };
  for (const Case& c : cases) {
    const Info info = DescribeBytes(Segment(c.parameters, {}));
    ASSERT_EQ(info.status, 1);
    EXPECT_EQ(info.record.nBitsPerPixel, c.bits);
    EXPECT_EQ(info.record.nViewPerspective, c.perspective);
    EXPECT_EQ(info.record.uSizeMem, c.memory);
    EXPECT_EQ(info.record.nColorOrder, 1u);
    EXPECT_EQ(info.record.nXResolution, 200u);
    EXPECT_EQ(info.record.nYResolution, 100u);
    EXPECT_EQ(info.record.uFlags, 0x140u) << "other flags stay";
    EXPECT_EQ(info.record.uStructSize, 0xCCCCCCCC);
  }
}

TEST(FileInfo, PagesAreCountedOnRequest) {
  const Bytes good = Segment(kG4, Pattern(50));
  const Bytes bad = Segment(Encoding(0x82), Pattern(50));
  struct Case {
    const char* what;
    Bytes bytes;
    int page;
    uint32_t described, counted;
  };
  const Case cases[] = {
      {"bare", good, 7, 1, 1},
      {"three", Document({good, good, good}), 7, 3, 3},
      {"the count fails", Document({good, good, bad}), 2, 2, 2},
      // Images of a resource group stand before the document and count like others.
      {"resources", Field(0xA8C6) + PictureDataFields(good) + Field(0xA9FB) + Document({good}), 9,
       2, 2},
      {"page 0", Document({good, good}), 0, 1, 2},
      {"page -32768", Document({good, good}), -32768, 1, 2},
      {"no end", Slice(Document({good, good}), 0, Document({good, good}).size() - 20), 1, 1, 2},
  };
  for (const Case& c : cases) {
    for (const bool count : {false, true}) {
      SCOPED_TRACE(testing::Message() << c.what << (count ? ", counted" : ""));
      const Info info = DescribeBytes(c.bytes, c.page, count);
      ASSERT_EQ(info.status, 1);
      EXPECT_EQ(info.record.nPageNumber, c.described);
      EXPECT_EQ(info.record.nTotalPages, count ? c.counted : c.described);
    }
  }
}

TEST(FileInfo, WithoutPerThreadRecordsTheStaticOneServes) {
  const Bytes prefixed = Document({Segment(kG4, Pattern(50))}, {9}, kPrefixed);
  ASSERT_EQ(DescribeBytes(Segment(kG4, {})).status, 1);
  OpenBytes file(prefixed);
  FilterThreadState* own = ThreadState();
  ASSERT_NE(own, nullptr);
  *own = {};
  K_SetThreadDataAvailable(0);
  const Info info = Describe(file);
  K_SetThreadDataAvailable(1);
  EXPECT_EQ(info.status, 1);
  EXPECT_EQ(info.record.nFormat, 311u);
  EXPECT_EQ(g_kzicaThreadData.bReadCC, 1u);
  EXPECT_EQ(g_kzicaThreadData.bReadIPD, 1u);
  EXPECT_NE(g_kzicaThreadData.pfnRead, nullptr);
  EXPECT_EQ(own->bReadCC, 0u);
  EXPECT_EQ(own->pfnRead, nullptr);
  kzicaFreeThreadData(nullptr);
}

}  // namespace
