// Tiles, masks and descriptors of image contents.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Tests/Support/ImageContents.h"
#include "Toolkit/Images/DecodeImage.h"

namespace kz::test {

namespace {

ImageTile Tile(const Given& given, int64_t x, int64_t y, int scale = 1) {
  ImageTile tile;
  tile.image = Make(given).image;
  tile.x = x;
  tile.y = y;
  tile.scale = scale;
  return tile;
}

ColorValue RgbValue(unsigned char r, unsigned char g, unsigned char b) {
  return {kRgb, {8, 8, 8, 0}, {r, g, b}};
}

const Given kDot = {"", kNone, 1, 1, 1, 0, {}, {{0x80}}, ""};
const Given kHalf = {"", kNone, 2, 1, 1, 0, {}, {{0x80}}, ""};

TEST(TiledContents, ArePutTogether) {
  ImageContent content;
  content.tiled = true;
  content.tiles = {Tile(kHalf, 0, 0, 2), Tile(kDot, 4, 1)};
  EXPECT_EQ(Decode(content).Text(), "##.../##..#");
  ImageDescriptor descriptor;
  descriptor.width = 3;
  descriptor.height = 3;
  EXPECT_EQ(Decode(content, descriptor).Text(), "##./##./...");
  descriptor.namedColor = 0x0001;
  EXPECT_EQ(Decode(content, descriptor).Text().substr(0, 20), "0000FF 0000FF FFFFFF");

  content.tiles[1].color = RgbValue(10, 20, 30);
  EXPECT_EQ(Decode(content).Text(),
            "000000 000000 FFFFFF FFFFFF FFFFFF/000000 000000 FFFFFF FFFFFF 0A141E");
  content.tiles[1] = Tile({"", kNone, 1, 1, 8, 0, {8}, {{0x33}}, ""}, 2, 1);
  EXPECT_EQ(Decode(content).Text(), "000000 000000 FFFFFF FFFFFF/000000 000000 333333 FFFFFF");
}

TEST(TiledContents, KeepInksWhenAllAreInks) {
  const Given ink = {"", kNone, 1, 1, 32, kCmyk, {8, 8, 8, 8}, {{1, 2, 3, 4}}, ""};
  ImageContent content;
  content.tiled = true;
  content.tiles = {Tile(ink, 1, 0)};
  LoadOptions options;
  options.keepInks = true;
  Decoded decoded = Decode(content, {}, options);
  EXPECT_EQ(decoded.image.inks.rows, (Bytes{0, 0, 0, 0, 1, 2, 3, 4}));
  EXPECT_TRUE(decoded.image.bitmap.Empty());
  content.tiles.push_back(Tile(kDot, 0, 0));
  decoded = Decode(content, {}, options);
  EXPECT_EQ(decoded.Text(), "000000 FAF9F8");
}

TEST(TiledContents, WithoutOneReadableTileGiveTheOthers) {
  Given empty = kDot;
  empty.bands = {{}};
  ImageContent content;
  content.tiled = true;
  content.tiles = {Tile(kDot, 0, 0), Tile(empty, 1, 0)};
  const Decoded decoded = Decode(content);
  EXPECT_EQ(decoded.Text(), "#.");
  EXPECT_TRUE(decoded.damaged);
  EXPECT_EQ(decoded.outcome.warnings, std::vector<std::string>{"tile 2: the image has no data"});
  content.tiles.erase(content.tiles.begin());
  EXPECT_EQ(Decode(content).outcome.status, K_ERROR_READ);
}

TEST(TiledContents, MayHaveFilledTilesOfNoWidth) {
  ImageContent content;
  content.tiled = true;
  content.tiles = {Tile({"", kSolid, 0, 2, 1, 0, {}, {{}}, ""}, 3, 0), Tile(kDot, 0, 0)};
  content.tiles[0].color = RgbValue(7, 7, 7);
  EXPECT_EQ(Decode(content).Text(), "000000 FFFFFF FFFFFF/FFFFFF FFFFFF FFFFFF");
}

TEST(TiledContents, CantOverlapWithoutEnd) {
  const Given full = {"", kSolid, 8000, 8000, 1, 0, {}, {{}}, ""};
  ImageContent content;
  content.tiled = true;
  content.tiles.assign(1000, Tile(full, 0, 0));
  EXPECT_EQ(Decode(content).outcome.status, K_ERROR_INVALID_FORMAT);
  // Far outside nothing is decoded.
  ImageDescriptor descriptor;
  descriptor.width = descriptor.height = 1;
  for (ImageTile& tile : content.tiles) tile.x = INT32_MAX;
  EXPECT_EQ(Decode(content, descriptor).Text(), ".");
  for (ImageTile& tile : content.tiles) tile.x = tile.y = -8000;
  EXPECT_EQ(Decode(content, descriptor).Text(), ".");
}

TEST(MaskedContents, AreWhiteInTheBackground) {
  ImageContent content = Make({"", kNone, 2, 1, 8, 0, {8}, {{0x11, 0x22}}, ""});
  content.mask = Make({"", kNone, 2, 1, 1, 0, {}, {{0x40}}, ""}).image;
  EXPECT_EQ(Decode(content).Text(), "FFFFFF 222222");
  content.mask->bands = {{}};
  const Decoded decoded = Decode(content);
  EXPECT_EQ(decoded.Text(), "111111 222222");
  EXPECT_TRUE(decoded.damaged);
}

TEST(Descriptors, CutColorAndSayTheResolution) {
  ImageContent content = Make({"", kNone, 10, 2, 1, 0, {}, {{0x80, 0x40, 0xFF, 0xC0}}, ""});
  ImageDescriptor descriptor;
  descriptor.width = 2;
  descriptor.height = 1;
  descriptor.xUnits = 3000;
  descriptor.yUnits = 2000;
  Decoded decoded = Decode(content, descriptor);
  EXPECT_EQ(decoded.Text(), "#.");
  EXPECT_EQ(decoded.image.bitmap.XResolution(), 300);
  EXPECT_EQ(decoded.image.bitmap.YResolution(), 200);
  content.image.parameters.xUnits = content.image.parameters.yUnits = 787;
  content.image.parameters.unitBase = kBaseTenCentimetres;
  EXPECT_EQ(Decode(content, descriptor).image.bitmap.XResolution(), 200);
  content.image.parameters.unitBase = kBaseLogical;
  EXPECT_EQ(Decode(content, descriptor).image.bitmap.XResolution(), 300);

  const struct {
    ColorValue color;
    const char* pixels;
  } colors[] = {
      {RgbValue(1, 2, 3), "010203 FFFFFF"},
      {{kRgb, {4, 4, 4, 0}, {0x0F, 0x00, 0x05}}, "FF0055 FFFFFF"},
      {{kCmyk, {8, 8, 8, 8}, {0, 255, 255, 0}}, "FF0000 FFFFFF"},
      {{0x06, {16, 8, 0, 0}, {0, 2, 50}}, "FF7F7F FFFFFF"},
      {{0x08, {8, 8, 8, 0}, {255, 0, 0}}, "FFFFFF FFFFFF"},
      {{0x40, {16, 0, 0, 0}, {0, 0x10}}, "903000 FFFFFF"},
      {{0x77, {8, 8, 8, 0}, {9, 9, 9}}, "#."},
  };
  for (const auto& [color, pixels] : colors) {
    descriptor.color = color;
    EXPECT_EQ(Decode(content, descriptor).Text(), pixels) << int{color.space};
    EXPECT_EQ(IsColored(descriptor), std::string(pixels) != "#.");
  }
}

}  // namespace

}  // namespace kz::test
