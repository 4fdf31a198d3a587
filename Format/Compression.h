// The one table of compressions ("Compressions" of docs/format.md): who adds one gives
// it an enumerator and a row here, and a coding of its own if a new coder does it.
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string_view>

#include "Format/CodingIds.h"
#include "Format/Container.h"

namespace kz {

// How the image data of a page are coded: a row of the table each, in its order.
enum class Compression : uint8_t {
  Group4,
  Group3,
  Group3TwoDimensional,
  IbmMmr,
  Abic,
  ConcatenatedAbic,
  None,
  Jpeg,
  Jpeg420,
  Jpeg422,
  Rl4,
  Unassigned,
  Count,  // of the above
};

// Who codes and decodes the data. A switch over it has no default, so that the
// compiler finds all places that a new one concerns.
enum class Coding : uint8_t {
  Unknown,  // nobody: the compression only has a name
  Fax,
  Abic,
  Uncompressed,
  Jpeg,
};

// A set of bits per pixel: bit n stands for depth n.
using Depths = uint32_t;

template <typename... Depth>
constexpr Depths DepthsOf(Depth... depth) {
  return (Depths{0} | ... | (Depths{1} << depth));
}

constexpr bool HasDepth(Depths depths, int bitsPerPixel) {
  return bitsPerPixel > 0 && bitsPerPixel < 32 && (depths >> bitsPerPixel & 1) != 0;
}

// A row of the table. A format code of 0 means that the container can't hold it.
struct CompressionRow {
  Compression compression;
  uint8_t id;       // in the Image Encoding field
  uint8_t idDepth;  // bits per pixel that the identifier stands for; 0: any
  Coding coding;
  uint16_t ioca;  // the host's format code for each container
  uint16_t modca;
  uint16_t modcaCarriageControl;
  uint16_t raw;  // the code under which the host's coders know the data
  Depths read;
  Depths written;
  const char* name;       // that the filter reports
  const char* shortName;  // in a dump
  const char* option;     // of the command; null when it can't be asked for
};

// Of the rows with one identifier or code the first is meant. A JPEG page is read as
// the first of its kind; the others are asked for on saving only. ABIC rows share
// their codes: the bits per pixel tell them apart.
inline constexpr CompressionRow kCompressions[] = {
    // clang-format off
    {Compression::Group4,               coding::kGroup4,               0, Coding::Fax,           79,  73, 311,  68, DepthsOf(1),        DepthsOf(1),           "CCITT Group 4 Fax",   "G4 MMR",            "g4"},
    {Compression::Group3,               coding::kGroup3,               0, Coding::Fax,           77,  71, 309,  66, DepthsOf(1),        DepthsOf(1),           "CCITT Group 3 Fax",   "G3 MH",             "g3"},
    {Compression::Group3TwoDimensional, coding::kGroup3TwoDimensional, 0, Coding::Fax,           78,  72, 310,  67, DepthsOf(1),        DepthsOf(1),           "CCITT Group 3 Fax",   "G3 MR",             "g3-2d"},
    {Compression::IbmMmr,               coding::kIbmMmr,               0, Coding::Fax,          118, 117, 313, 117, DepthsOf(1),        DepthsOf(1),           "IBM MMR Group 3 Fax", "IBM MMR",           "mmr"},
    {Compression::Abic,                 coding::kAbic,                 1, Coding::Abic,         184, 190, 191, 185, DepthsOf(1, 4),     DepthsOf(1, 4),        "ABIC compression",    "ABIC",              "abic"},
    {Compression::ConcatenatedAbic,     coding::kConcatenatedAbic,     4, Coding::Abic,         184, 190, 191, 185, DepthsOf(1, 4),     DepthsOf(1, 4),        "ABIC compression",    "concatenated ABIC", nullptr},
    {Compression::None,                 coding::kNone,                 0, Coding::Uncompressed, 254, 253, 312, 253, DepthsOf(1),        DepthsOf(1, 4, 8, 24), "Uncompressed IOCA",   "none",              "none"},
    {Compression::Jpeg,                 coding::kJpeg,                 0, Coding::Jpeg,           0, 377,   0,  10, DepthsOf(1, 8, 24), DepthsOf(8, 24),       "JPEG",                "JPEG",              "jpeg"},
    {Compression::Jpeg420,              coding::kJpeg,                 0, Coding::Jpeg,           0, 378,   0,  21, DepthsOf(1, 8, 24), DepthsOf(8, 24),       "JPEG",                "JPEG",              "jpeg-420"},
    {Compression::Jpeg422,              coding::kJpeg,                 0, Coding::Jpeg,           0, 379,   0,  23, DepthsOf(1, 8, 24), DepthsOf(8, 24),       "JPEG",                "JPEG",              "jpeg-422"},
    {Compression::Rl4,                  coding::kRl4,                  0, Coding::Unknown,        0,   0,   0,   0, 0,                  0,                     "",                    "RL4",               nullptr},
    {Compression::Unassigned,           coding::kOs2Image,             0, Coding::Unknown,        0,   0,   0,   0, 0,                  0,                     "",                    "unassigned",        nullptr},
    // clang-format on
};

// Compressions of the standard that only images for other programs have: the filter
// refuses fields with them.
struct OtherCompression {
  uint8_t id;
  const char* shortName;
};
inline constexpr OtherCompression kOtherCompressions[] = {
    {coding::kTiffAlgorithm2, "TIFF algorithm 2"},
    {coding::kPackBits, "PackBits"},
    {coding::kLzw, "TIFF LZW"},
    {coding::kLzwPredictor, "TIFF LZW with predictor"},
    {coding::kSolidFill, "solid fill"},
    {coding::kJbig2, "JBIG2"},
};

constexpr const CompressionRow& RowOf(Compression compression) {
  return kCompressions[static_cast<size_t>(compression)];
}

// The first row that a rule holds for; null when there is none.
template <typename Rule>
constexpr const CompressionRow* FindCompressionRow(Rule rule) {
  const auto* row = std::find_if(std::begin(kCompressions), std::end(kCompressions), rule);
  return row != std::end(kCompressions) ? row : nullptr;
}

// The row of an Image Encoding field's compression; null when it can't be loaded.
constexpr const CompressionRow* FindCompression(unsigned id) {
  return FindCompressionRow(
      [id](const CompressionRow& row) { return row.id == id && row.coding != Coding::Unknown; });
}

// A name for any compression of the standard; null for another identifier.
constexpr const char* FindCompressionName(unsigned id) {
  const CompressionRow* row = FindCompression(id);
  if (row != nullptr) return row->name;
  const auto* other = std::find_if(std::begin(kOtherCompressions), std::end(kOtherCompressions),
                                   [id](const OtherCompression& known) { return known.id == id; });
  if (other != std::end(kOtherCompressions)) return other->shortName;
  const CompressionRow* unread =
      FindCompressionRow([id](const CompressionRow& candidate) { return candidate.id == id; });
  return unread != nullptr ? unread->shortName : nullptr;
}

// The row of a raw code; null for another code.
constexpr const CompressionRow* FindRawCode(uint32_t raw) {
  return FindCompressionRow(
      [raw](const CompressionRow& row) { return raw != 0 && row.raw == raw; });
}

// The row of the command's name for it; null for another name.
constexpr const CompressionRow* FindCompressionOption(std::string_view option) {
  return FindCompressionRow([option](const CompressionRow& row) {
    return row.option != nullptr && option == row.option;
  });
}

// The row's format code for saving into a container; 0 when there is none.
constexpr uint32_t FormatCodeIn(const CompressionRow& row, Container container) {
  switch (container) {
    case Container::Ioca:
      return row.ioca;
    case Container::Modca:
      return row.modca;
    case Container::ModcaCarriageControl:
      return row.modcaCarriageControl;
  }
  return 0;
}

// The row and the container of a format code; a null row for other codes.
struct FormatCode {
  const CompressionRow* row;
  Container container;
};

constexpr FormatCode FindFormatCode(uint32_t nFormat) {
  for (const CompressionRow& row : kCompressions) {
    for (const Container container :
         {Container::Modca, Container::Ioca, Container::ModcaCarriageControl}) {
      if (nFormat != 0 && FormatCodeIn(row, container) == nFormat) return {&row, container};
    }
  }
  return {nullptr, Container::Modca};
}

// The format code of a page as read: a compression that is saved into one container
// only has that one's code everywhere.
constexpr uint32_t DescribedFormatCode(const CompressionRow& row, Container container) {
  const uint32_t code = FormatCodeIn(row, container);
  return code != 0 ? code : row.modca;
}

// The identifier to write for a row and its bits per pixel; 0 when no identifier
// stands for that depth.
constexpr unsigned CompressionIdAt(const CompressionRow& row, int bitsPerPixel) {
  if (row.idDepth == 0) return row.id;
  const CompressionRow* sibling = FindCompressionRow([&](const CompressionRow& other) {
    return other.raw == row.raw && other.idDepth == bitsPerPixel;
  });
  return sibling != nullptr ? sibling->id : 0;
}

// The depth at which a coding's data are written unless somebody wants another;
// 0 for a coding that isn't written.
constexpr int DefaultDepth(Coding coding, int pictureBits, bool gray) {
  switch (coding) {
    case Coding::Unknown:
      return 0;
    case Coding::Fax:
    case Coding::Uncompressed:
      return 1;
    case Coding::Abic:
      return pictureBits == 1 ? 1 : 4;
    case Coding::Jpeg:
      return gray ? 8 : 24;
  }
  return 0;
}

}  // namespace kz
