// The one table of compressions: IOCA identifier, the host's format code for each
// kind of container, the raw code under which the host's coders know the data,
// and the name that is reported.
#pragma once

#include <cstdint>

// Compression algorithms of the Image Encoding field.
constexpr unsigned char ICA_COMPRESSION_IBM_MMR = 0x01;
constexpr unsigned char ICA_COMPRESSION_NONE = 0x03;
constexpr unsigned char ICA_COMPRESSION_RL4 = 0x06;
constexpr unsigned char ICA_COMPRESSION_ABIC = 0x08;
constexpr unsigned char ICA_COMPRESSION_CONCATENATED_ABIC = 0x0A;
constexpr unsigned char ICA_COMPRESSION_UNASSIGNED = 0x0B;
constexpr unsigned char ICA_COMPRESSION_G3_MH = 0x80;
constexpr unsigned char ICA_COMPRESSION_G3_MR = 0x81;
constexpr unsigned char ICA_COMPRESSION_G4_MMR = 0x82;
constexpr unsigned char ICA_COMPRESSION_JPEG = 0x83;

// Raw codes.
constexpr uint32_t RAW_JPEG_444 = 10;
constexpr uint32_t RAW_JPEG_420 = 21;
constexpr uint32_t RAW_JPEG_422 = 23;
constexpr uint32_t RAW_G3_MH = 66;
constexpr uint32_t RAW_G3_MR = 67;
constexpr uint32_t RAW_G4_MMR = 68;
constexpr uint32_t RAW_IBM_MMR = 117;
constexpr uint32_t RAW_ABIC = 185;
constexpr uint32_t RAW_UNCOMPRESSED = 253;

enum class Container { Ioca, Modca, ModcaCarriageControl };

// How the data of a compression is coded and by whom.
enum class Coding { Fax, Abic, Uncompressed, Jpeg };

// One row of the table. A code of 0 means that there is none.
struct FormatRow {
  unsigned char compression;
  Coding coding;
  uint32_t ioca;
  uint32_t modca;
  uint32_t modcaCarriageControl;
  uint32_t raw;
  const char* name;
  bool readable;  // the description of a page gives this row's codes
};

// The row and the container of a format code.
struct FormatCode {
  const FormatRow* row;
  Container container;
};

// The functions are no exports: the filter and the toolkit have them each for itself.

// The rows, for whoever lists them.
const FormatRow* FormatRows(int* pnCount);
// The row for a compression as read from a file; null when it can't be loaded.
const FormatRow* FindCompression(unsigned char compression);
// Row and container of a format code; a null row for other codes.
FormatCode FindFormatCode(uint32_t nFormat);
// The row's format code for saving into a container; 0 when there is none.
uint32_t FormatCodeIn(const FormatRow* row, Container container);
// The format code of a page as read: JPEG pages have one in every container.
uint32_t DescribedFormatCode(const FormatRow* row, Container container);
