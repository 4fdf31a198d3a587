// What image contents hold, told from their fields by hand, and what stays of damaged ones.
#include "Toolkit/Images/ImageContent.h"

#include <algorithm>
#include <numeric>
#include <sstream>

#include "Tests/Support/EditedDocuments.h"
#include "Tests/Support/FileBuilder.h"

namespace kz::test {
namespace {

std::string Text(const std::vector<uint8_t>& numbers) {
  std::ostringstream text;
  for (const uint8_t number : numbers) text << "," << int{number};
  return text.str().substr(std::min<size_t>(text.str().size(), 1));
}

// "82/1 333x150 1" for compression, recording, size and depth; then colour space and
// component sizes, bands, and how many bytes each band has.
std::string Text(const CodedImage& image) {
  const ImageParameters& parameters = image.parameters;
  std::ostringstream text;
  text << std::hex << int{parameters.compression} << "/" << int{parameters.recording} << std::dec
       << (parameters.lowestBitFirst ? "r " : " ") << parameters.width << "x" << parameters.height
       << " " << parameters.bitsPerPixel;
  if (parameters.subtractive) text << "-";
  if (parameters.grayCode) text << "g";
  if (!parameters.componentBits.empty()) {
    text << " " << int{parameters.colorSpace} << ":" << Text(parameters.componentBits);
  }
  if (!parameters.bandBits.empty()) text << " b" << Text(parameters.bandBits);
  for (const auto& band : image.bands) text << " " << band.size();
  return text.str();
}

std::string Text(const ImageContent& content) {
  std::ostringstream text;
  text << Text(content.image) << (content.tiled ? " tiled" : "");
  for (const ImageTile& tile : content.tiles) {
    text << " [" << tile.x << "," << tile.y;
    if (tile.scale != 1) text << " *" << tile.scale;
    text << " " << Text(tile.image);
    if (tile.color) {
      text << " c" << int{tile.color->space} << ":";
      for (size_t i = 0; i < 4; ++i) text << (i > 0 ? "," : "") << int{tile.color->value[i]};
    }
    text << "]";
  }
  if (content.mask) text << " mask " << Text(*content.mask);
  return text.str();
}

// A file's index, and its contents.
class Contents {
 public:
  explicit Contents(const std::string& path) {
    EXPECT_TRUE(IndexFile(path, m_index).Ok()) << path;
    EXPECT_TRUE(m_file.Open(path).Ok());
  }
  const PageIndex& Index() const { return m_index; }
  Outcome Read(size_t picture, ImageContent& content) {
    ImageContent bare;
    const Outcome parameters = ReadImageParameters(m_file, m_index.pictures.at(picture), bare);
    Outcome outcome = ReadImageContent(m_file, m_index.pictures.at(picture), content);
    EXPECT_EQ(parameters.status, outcome.status);
    EXPECT_EQ(parameters.what, outcome.what);
    // Without the data nothing else differs.
    ImageContent other = content;
    other.image.bands.clear();
    for (ImageTile& tile : other.tiles) tile.image.bands.clear();
    if (other.mask) other.mask->bands.clear();
    EXPECT_EQ(Text(bare), Text(other));
    EXPECT_EQ(bare.warnings, content.warnings);
    return outcome;
  }
  ImageDescriptor Descriptor(size_t picture) {
    return ReadImageDescriptor(m_file, m_index.pictures.at(picture));
  }

 private:
  PageIndex m_index;
  FileWindow m_file;
};

TEST(ImageContent, IsWhatTheFieldsOfForeignFilesSay) {
  const struct {
    const char* file;
    std::vector<const char*> contents;
  } files[] = {
      {"bare_named.ica", {"82/1 333x150 1 580"}},
      {"bottomup_none.afp", {"3/3 333x150 1 6600"}},
      {"fs10_g4_vsize0.afp", {"82/1 333x0 1 580"}},
      {"fs10_none_noencoding.afp", {"3/1 333x150 1 6300"}},
      {"fs11_bilevel_band.afp", {"82/1 333x150 1 b1 580"}},
      {"fs11_gray8_subtractive.afp", {"3/1 241x173 8- 18:8 41693"}},
      {"fs11_jpeg_recfe_9f.afp", {"83/1 241x173 24 1:8,8,8 11147"}},
      {"fs11_jpeg_subsampling_le.afp", {"83/1 241x173 24 1:8,8,8 11147"}},
      {"fs11_rgb24_bands.afp", {"3/1 241x173 24 1:8,8,8 b8,8,8 41693 41693 41693"}},
      {"fs14_mask_rgb.afp", {"3/1 241x173 24 1:8,8,8 125079 mask 3/1 241x173 1 5363"}},
      {"fs40_g4_tiles_defaults.afp",
       {"82/1 0x0 1 tiled [0,0 82/1 160x80 1 96] [160,0 82/1 173x80 1 150] "
        "[0,80 82/1 160x70 1 139] [160,80 82/1 173x70 1 235]"}},
      {"fs42_cmyk1_g4_bands.afp",
       {"3/1 0x0 1 tiled [0,0 82/1 241x173 4 4:1,1,1,1 b1,1,1,1 265 275 186 38]"}},
      {"fs45_cmyk_jpeg_relres2.afp",
       {"3/1 0x0 1 tiled [0,0 *2 83/1 121x87 32 4:8,8,8,8 b8,8,8,8 3131 2978 3018 2519]"}},
      {"fs45_solid_color_mix.afp",
       {"3/1 0x0 1 tiled [0,0 20/1 241x40 1 c4:0,255,255,0] "
        "[0,40 3/1 100x133 1 1729 c4:255,0,0,0] "
        "[100,40 3/1 141x133 32 4:8,8,8,8 b8,8,8,8 18753 18753 18753 18753]"}},
      {"ipd_len0_then_raw.afp", {"3/1 333x150 1 6300"}},
      {"multi_content.afp", {"82/1 333x150 1 580", "3/1 241x173 24 1:8,8,8 125079"}},
      {"sf_padding.afp", {"82/1 333x150 1 580"}},
      {"size_res0.afp", {"82/1 333x150 1 580"}},
      {"unpadded_none.afp", {"3/4 333x150 1 6244"}},
  };
  for (const auto& file : files) {
    SCOPED_TRACE(file.file);
    Contents contents(Sample(std::string("foreign/") + file.file));
    ASSERT_EQ(contents.Index().pictures.size(), file.contents.size());
    for (size_t i = 0; i < file.contents.size(); ++i) {
      ImageContent content;
      const Outcome outcome = contents.Read(i, content);
      EXPECT_TRUE(outcome.Ok()) << outcome.what;
      EXPECT_EQ(Text(content), file.contents[i]);
      EXPECT_THAT(content.warnings, testing::IsEmpty());
    }
  }
}

TEST(ImageContent, OfTwoBareImagesEachHasItsOwn) {
  Contents contents(Sample("foreign/bare_two.ica"));
  ASSERT_EQ(contents.Index().pictures.size(), 2u);
  ImageContent first, second;
  EXPECT_TRUE(contents.Read(0, first).Ok());
  EXPECT_TRUE(contents.Read(1, second).Ok());
  EXPECT_EQ(Text(first), "82/1 333x150 1 580");
  EXPECT_NE(first.image.bands, second.image.bands);
}

Bytes Number32(unsigned value) { return Big16(value >> 16) + Big16(value & 0xFFFF); }
Bytes Extended(unsigned id, const Bytes& data) {
  return Big16(id) + Big16(static_cast<unsigned>(data.size())) + data;
}
Bytes Tile(const Bytes& parameters) {
  return Parameter(0x8C, {}) + Parameter(0xB5, Number32(7) + Number32(9)) + parameters +
         Parameter(0x8D, {});
}
Bytes TileSize(unsigned width, unsigned height) {
  return Parameter(0xB6, Number32(width) + Number32(height));
}

// Wherever Image Picture Data are cut.
TEST(ImageContent, ComesWholeOutOfFieldsOfAnySize) {
  Bytes data(200);
  std::iota(data.begin(), data.end(), 0);
  const Bytes segment = kPrologue + ImageSize(40, 40) + Encoding(3, 0xFE) + ImageData(data) +
                        ImageData(data) + Bytes{0x93, 0} + Slice(kPrologue, 2, 3) +
                        Extended(0xFEBB, {0, 0}) + Parameter(0x98, {2, 4, 4}) +
                        Tile(TileSize(5, 6) + Extended(0xFE9C, Bytes{2, 0, 0} + data)) + kEpilogue;
  const TemporaryFolder folder;
  for (size_t size = 1; size < segment.size(); size += size < 12 ? 1 : 37) {
    SCOPED_TRACE(size);
    Contents contents(folder.File("cut.mda", ::Document({segment}, {size})));
    ASSERT_EQ(contents.Index().pictures.size(), 2u);
    ImageContent first, second;
    EXPECT_TRUE(contents.Read(0, first).Ok());
    EXPECT_TRUE(contents.Read(1, second).Ok());
    EXPECT_EQ(Text(first), "3/1 40x40 1 400");
    EXPECT_EQ(Slice(first.image.bands.at(0), 200, 200), data);
    EXPECT_EQ(Text(second), "3/1 0x0 1 b4,4 tiled [7,9 3/1 5x6 1 b4,4 0 200]");
  }
}

struct BuiltContent {
  const char* what;
  Bytes segment;  // after Begin Image Content
  const char* content;
  const char* warning = "";
  int status = K_SUCCESS;
};

void ExpectContents(const std::vector<BuiltContent>& cases, bool bare) {
  const TemporaryFolder folder;
  for (const BuiltContent& row : cases) {
    SCOPED_TRACE(row.what);
    const Bytes segment = kPrologue + row.segment;
    Contents contents(folder.File("one.ica", bare ? segment : ::Document({segment})));
    ImageContent content;
    const Outcome outcome = contents.Read(0, content);
    EXPECT_EQ(outcome.status, row.status) << outcome.what;
    if (row.status == K_SUCCESS) {
      EXPECT_EQ(Text(content), row.content);
      const std::string warning = content.warnings.empty() ? "" : content.warnings.back();
      EXPECT_EQ(warning.empty(), row.warning[0] == 0) << warning;
      EXPECT_THAT(warning, testing::HasSubstr(row.warning));
    } else {
      EXPECT_THAT(outcome.what, testing::HasSubstr(row.warning));
    }
  }
}

TEST(ImageContent, KeepsWhatCanBeReadAndSaysWhatCannot) {
  const Bytes size = ImageSize(8, 1);
  const Bytes data = ImageData({1, 2, 3});
  const Bytes mask = Bytes{0x8E, 0} + size + data + Bytes{0x8F, 0};
  const Bytes cut = {0xFE, 0x92, 0, 9, 1, 2};
  const std::vector<BuiltContent> cases = {
      {"unknown field", size + Parameter(0x11, {5, 6}) + data + kEpilogue, "3/1 8x1 1 3",
       "unknown self-defining field is left out at byte 16"},
      {"unknown field that goes too far", size + data + Bytes{0xFE, 0x11, 0xFF, 0xFF, 0},
       "3/1 8x1 1 3", "isn't understood"},
      {"nothing but unknown fields", Bytes(60, 0x11), "", "isn't understood", -9},
      {"many unknown fields", size + data + Bytes(60, 0), "3/1 8x1 1 3", "isn't understood"},
      {"data cut off", size + cut, "3/1 8x1 1 2", "the data end too early"},
      {"data cut off in the header", size + data + Bytes{0xFE}, "3/1 8x1 1 3",
       "the data end too early"},
      {"no end", size + data, "3/1 8x1 1 3", "the image has no end"},
      {"no data", size + kEpilogue, "", "no data", -7},
      {"only a mask", size + mask + kEpilogue, "", "no data", -7},
      {"cut before the data", size, "", "too early", -7},
      {"short Image Size", Parameter(0x94, {0, 1, 2}) + data + kEpilogue, "",
       "Image Size field is damaged at byte 5", -9},
      {"short Image Size after data", data + Parameter(0x94, {0, 1, 2}) + kEpilogue, "3/1 0x0 1 3",
       "is damaged"},
      {"more bands than a field has", Parameter(0x98, {3, 8, 8}) + data + kEpilogue, "",
       "Band Image field is damaged", -9},
      {"band 0", size + data + Extended(0xFE9C, {0, 0, 0, 1}) + kEpilogue, "3/1 8x1 1 3",
       "a band that can't be"},
      {"band 16", size + Extended(0xFE9C, {16, 0, 0, 1}) + kEpilogue, "", "can't be", -9},
      {"a second mask", size + mask + mask + data + kEpilogue, "3/1 8x1 1 3 mask 3/1 8x1 1 3",
       "is left out"},
      {"gray code, low bits first, components missing",
       size + Parameter(0x95, {3, 1, 1}) + Parameter(0x9B, {0x40, 0x12, 0, 0, 0, 0, 0, 8}) + data +
           kEpilogue,
       "3/1r 8x1 1g 18:0,0,8 3"},
      {"tile resource", Tile(TileSize(8, 1) + Extended(0xFEB8, {0, 0, 0, 1})) + kEpilogue,
       "3/1 0x0 1 tiled", "not supported"},
      {"tile without a size", Tile(data) + kEpilogue, "3/1 0x0 1 tiled", "without a size"},
      {"tile of a huge size", Tile(TileSize(0x80000000, 1) + data) + kEpilogue, "",
       "Tile Size field is damaged", -9},
      {"tile cut off", Slice(Tile(TileSize(8, 1) + data), 0, 27),
       "3/1 0x0 1 tiled [7,9 3/1 8x1 1 1]", "too early"},
      {"tile not ended",
       Slice(Tile(TileSize(8, 1) + data), 0, 29) + Tile(TileSize(9, 1) + data) + kEpilogue,
       "3/1 0x0 1 tiled [7,9 3/1 8x1 1 3] [7,9 3/1 9x1 1 3]"},
      {"mask of a tile", Tile(TileSize(8, 1) + mask + data) + kEpilogue,
       "3/1 0x0 1 tiled [7,9 3/1 8x1 1 3]", "is left out"},
      {"data outside of tiles", Tile(TileSize(8, 1) + data) + data + kEpilogue,
       "3/1 0x0 1 tiled [7,9 3/1 8x1 1 3]", "outside of tiles"},
      {"tile fields outside of tiles", TileSize(8, 1) + data + kEpilogue, "3/1 0x0 1 3",
       "outside of tiles"},
      {"the next content after no end", size + data + Slice(kPrologue, 2, 3) + kEpilogue,
       "3/1 8x1 1 3"},
  };
  ExpectContents(cases, true);
}

// Image Data of length 0 at the end of an Image Picture Data field.
TEST(ImageContent, RawDataGoOnToTheFieldThatEndsThem) {
  const Bytes start = kPrologue + ImageSize(8, 1) + ImageData({});
  const Bytes next = Bytes{0x93, 0} + Slice(kPrologue, 2, 3) + ImageData({5}) + kEpilogue;
  // Data may begin as an end does, or as a content.
  const Bytes raw = {0x93, 0x00, 0x71, 0x01, 9};
  const Bytes other = {0x91, 0x01, 0xFF, 0xFE};
  const TemporaryFolder folder;
  const struct {
    Bytes end;
    size_t pictures;
  } ends[] = {{kEpilogue, 1}, {{0x93, 0}, 1}, {next, 2}};
  for (const auto& row : ends) {
    Contents contents(folder.File(
        "raw.mda", ::Document({start + raw + other + row.end},
                              {start.size(), raw.size(), other.size(), row.end.size()})));
    ASSERT_EQ(contents.Index().pictures.size(), row.pictures);
    ImageContent content;
    EXPECT_TRUE(contents.Read(0, content).Ok());
    EXPECT_EQ(content.image.bands.at(0), raw + other);
    EXPECT_THAT(content.warnings, testing::IsEmpty());
    if (row.pictures < 2) continue;
    EXPECT_TRUE(contents.Read(1, content).Ok());
    EXPECT_EQ(Text(content), "3/1 0x0 1 1");
  }
}

TEST(ImageContent, OfHostileTilesOnlyThoseWithDataAreKept) {
  Bytes tiles;
  for (int i = 0; i < 100000; ++i) tiles.insert(tiles.end(), {0x8C, 0});
  ExpectContents({{"empty tiles", tiles + kEpilogue, "3/1 0x0 1 tiled"},
                  {"filled tiles without a size", Encoding(0x20) + Slice(tiles, 0, 400) + kEpilogue,
                   "20/1 0x0 1 tiled", "without a size"}},
                 true);
}

std::string Text(const ImageDescriptor& descriptor) {
  std::ostringstream text;
  text << int{descriptor.unitBase} << " " << descriptor.xUnits << "," << descriptor.yUnits << " "
       << descriptor.width << "x" << descriptor.height << std::hex;
  if (descriptor.namedColor) text << " n" << *descriptor.namedColor;
  if (descriptor.color) {
    text << " c" << int{descriptor.color->space};
    for (const uint8_t bits : descriptor.color->bits) text << "," << int{bits};
    for (size_t i = 0; i < 4; ++i) text << " " << int{descriptor.color->value[i]};
  }
  return text.str();
}

TEST(ImageDescriptor, IsThatOfTheObject) {
  EXPECT_EQ(Text(Contents(Sample("foreign/idd_color_f6_red.afp")).Descriptor(0)),
            "0 2000,2000 333x150 n2");
  EXPECT_EQ(Text(Contents(Sample("foreign/idd_smaller.afp")).Descriptor(0)), "0 2000,2000 200x100");
  const Bytes fixed = Bytes{1} + Big16(240) + Big16(120) + Big16(30) + Big16(20);
  const Bytes name = {0xF6, 4, 0, 0, 0xFF, 0x02};
  const Bytes red = {0xF4, 13, 0, 1, 0, 0, 0, 0, 8, 8, 8, 0, 255, 1, 2};
  const Bytes oca = {0xF4, 12, 0, 0x40, 0, 0, 0, 0, 16, 0, 0, 0, 0, 6};
  const struct {
    Bytes data;
    const char* descriptor;
  } cases[] = {
      {fixed, "1 240,120 30x20"},
      {fixed + Bytes{0xF7, 2, 1, 0x2D} + name, "1 240,120 30x20 nff02"},
      {fixed + name + red, "1 240,120 30x20 c1,8,8,8,0 ff 1 2 0"},
      {fixed + red + name, "1 240,120 30x20 nff02"},
      {fixed + oca, "1 240,120 30x20 n6"},
      {fixed + Slice(red, 0, 9), "1 240,120 30x20"},
      {Slice(fixed, 0, 8), "0 0,0 0x0"},
  };
  const TemporaryFolder folder;
  const Bytes segment = PictureDataFields(Segment(ImageSize(8, 1), {1}));
  for (const auto& row : cases) {
    // The second object has none of its own.
    const Bytes file = Field(0xA8A8) + Field(0xA8AF) + Field(0xA8FB) + Field(0xA6FB, row.data) +
                       segment + Field(0xA9FB) + Field(0xA8FB) + segment + Field(0xA9FB) +
                       Field(0xA9AF) + Field(0xA9A8);
    Contents contents(folder.File("descriptor.mda", file));
    ASSERT_EQ(contents.Index().pictures.size(), 2u);
    EXPECT_EQ(Text(contents.Descriptor(0)), row.descriptor);
    EXPECT_EQ(Text(contents.Descriptor(1)), "0 0,0 0x0");
  }
}

}  // namespace
}  // namespace kz::test
