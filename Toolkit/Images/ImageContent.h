// An image content as its segment has it: parameters, tiles and data that are still
// coded. No limit of the filter's holds here: all function sets are read.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Format/SelfDefiningField.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Base/Tested.h"
#include "Toolkit/Files/FileWindow.h"
#include "Toolkit/Images/PicturePlace.h"

namespace kz {

// How image data are laid out and coded. What isn't said has the standard's default.
struct ImageParameters {
  uint8_t compression = 0x03;  // identifier of the Image Encoding field
  uint8_t recording = kRecordingRidic;
  bool lowestBitFirst = false;  // in each byte
  int width = 0;                // pixels; 0: as the data have it
  int height = 0;
  uint8_t unitBase = kBaseTenInches;  // of the resolution
  int xUnits = 0;                     // pixels per unit base; 0: not known
  int yUnits = 0;
  int bitsPerPixel = 1;                // of the IDE Size field
  bool subtractive = false;            // the samples count down from white
  bool grayCode = false;               // the samples are Gray coded
  uint8_t colorSpace = 0;              // of the IDE Structure field; 0: none is said
  std::vector<uint8_t> componentBits;  // of that field
  std::vector<uint8_t> bandBits;       // of the Band Image field; empty: no bands
};

// The data of an image, a tile or a mask. `bands` has one element for each band, or
// one without any.
struct CodedImage {
  ImageParameters parameters;
  std::vector<std::vector<unsigned char>> bands;
  int64_t at = 0;  // where in the file the field stands that says the compression
};

// A colour as Set Color fields have it.
struct ColorValue {
  uint8_t space = 0;
  std::array<uint8_t, 4> bits = {};
  std::array<unsigned char, 8> value = {};  // packed as the file has it
};

struct ImageTile {
  CodedImage image;  // sizes in the tile's own resolution
  int64_t x = 0;     // where it stands in the picture, in the picture's pixels
  int64_t y = 0;
  int scale = 1;                    // pixels of the picture that a pixel of the tile covers
  std::optional<ColorValue> color;  // of the 1 bits of a bilevel tile, or of a filled one
};

struct ImageContent {
  int64_t inRoom = 0;  // bytes of its data that are in a DataRoom, and in no band
  CodedImage image;    // without data when there are tiles
  // In their order: later ones lie on top. Tiles without data or size aren't there, but
  // for filled ones, which have no data.
  std::vector<ImageTile> tiles;
  bool tiled = false;
  std::optional<CodedImage> mask;  // 0 bits of it are transparent
  std::vector<std::string> warnings;
  // Why it ends before its end, in the words of the last warning; 1: it doesn't.
  int fault = K_SUCCESS;
};

// What the Image Data Descriptor of an image object says.
struct ImageDescriptor {
  uint8_t unitBase = kBaseTenInches;
  int xUnits = 0;  // image points per unit base; 0: not known
  int yUnits = 0;
  int width = 0;  // image points; 0: there is no descriptor
  int height = 0;
  std::optional<ColorValue> color;  // of the 1 bits of a bilevel image
  // A standard OCA colour in place of `color`.
  std::optional<uint16_t> namedColor;
};

// Gives room for the data of an image in one piece, by its parameters and an upper bound of
// their bytes; empty: they go to their band.
using DataRoom = std::function<std::span<unsigned char>(const ImageParameters&, int64_t)>;

// Reads the content that `picture` is, with its data, from the file that was indexed. A
// few unknown fields are passed over with a warning. A field that is damaged or not whole
// ends it: what was read is kept with a warning, unless there are no data at all. Fails
// with -7 when the file ends before any data, -9 for a field that can't be, with the place
// in words, and -1 for no memory.
KZ_TESTED Outcome ReadImageContent(FileWindow& file, const PicturePlace& picture,
                                   ImageContent& content, const DataRoom& room = {});
// The same without the data: `bands` are empty. Data are passed over.
KZ_TESTED Outcome ReadImageParameters(FileWindow& file, const PicturePlace& picture,
                                      ImageContent& content);
// The descriptor of the picture's object; one of size 0 when there is none.
KZ_TESTED ImageDescriptor ReadImageDescriptor(FileWindow& file, const PicturePlace& picture);
// Cuts the size of a picture, in pixels, to the descriptor's. Returns whether it was larger.
bool CutSize(const ImageDescriptor& descriptor, int& width, int& height);

}  // namespace kz
