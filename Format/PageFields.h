// The fields of a document of image pages ("Structured fields" of docs/format.md).
#pragma once

#include <array>
#include <cstdint>

#include "Format/FieldBuilder.h"

namespace kz {

// A whole field without 0x5A. Each has room here.
using SmallField = FixedBytes<80>;

// Data bytes of an Image Data field. In a document an Image Picture Data field holds one,
// and is 8188 bytes long then.
constexpr unsigned kDocumentImageData = 8176;
constexpr unsigned kBareImageData = 0xFFFF;

// Dots per inch of the page of an image that says none.
constexpr int kDefaultPageResolution = 96;
// Resolutions are stored in tenths, and 0x8000 and above stand for "none".
constexpr int kMaxPageResolution = 0x7FFF / 10;

// An image and its page, which is as large.
struct PageImage {
  int width;  // pixels
  int height;
  int xResolution;  // dots per inch, not 0 where there is a page
  int yResolution;
  uint8_t functionSet = 0;  // that the descriptor of the image says; 0: none
};

constexpr uint8_t kFunctionSet10 = 10;
constexpr uint8_t kFunctionSet11 = 11;

// What the image segment of a page holds.
struct SegmentImage {
  PageImage page;
  uint8_t compression;  // identifier of the Image Encoding field
  int bitsPerPixel;     // 1 (1 is black), 4 or 8 (grey), or 24 (red, green, blue)
};

// Begin Document with the code page and interchange set of image documents.
SmallField BeginDocumentField();
// End Document with a name of zeros. No 0x5A ever precedes it, so that who appends
// finds it at the end of the file.
SmallField EndDocumentField();
constexpr unsigned kEndDocumentLength = kIntroducerLength + kFieldNameLength;

// How long the End Document field is that the last bytes of a file are, without its
// 0x5A; 0 when they are none of the two lengths in use, 16 bytes (with a name) and 8.
unsigned TrailingEndDocument(ByteSpan bytes);

// Describes the image of a page. Resolutions are in tenths of a dot, 16 bits of them.
SmallField ImageDataDescriptorField(const PageImage& image);

// What stands around the image segment of a page: Begin Page to End Object
// Environment Group, and End Image Object and End Page.
std::array<SmallField, 10> PageStartFields(const PageImage& image);
std::array<SmallField, 2> PageEndFields();

// The self-defining fields of a segment that stand before its image data, and those after
// them. The structure of the image's elements is described in function set 11 only.
SmallField SegmentStart(const SegmentImage& image);
SmallField SegmentEnd();

}  // namespace kz
