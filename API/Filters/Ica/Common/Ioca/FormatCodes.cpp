#include "API/Filters/Ica/Common/Ioca/FormatCodes.h"

#include <iterator>

namespace {

// A JPEG page has code 377 in every container that it is read from; 378 and 379
// are asked for on saving only. ABIC rows share their codes: the bits per pixel
// tell them apart.
constexpr FormatRow kRows[] = {
    // clang-format off
    {ICA_COMPRESSION_G3_MH,             Coding::Fax,          77,  71,  309, RAW_G3_MH,        "CCITT Group 3 Fax",   true},
    {ICA_COMPRESSION_G3_MR,             Coding::Fax,          78,  72,  310, RAW_G3_MR,        "CCITT Group 3 Fax",   true},
    {ICA_COMPRESSION_G4_MMR,            Coding::Fax,          79,  73,  311, RAW_G4_MMR,       "CCITT Group 4 Fax",   true},
    {ICA_COMPRESSION_IBM_MMR,           Coding::Fax,          118, 117, 313, RAW_IBM_MMR,      "IBM MMR Group 3 Fax", true},
    {ICA_COMPRESSION_ABIC,              Coding::Abic,         184, 190, 191, RAW_ABIC,         "ABIC compression",    true},
    {ICA_COMPRESSION_CONCATENATED_ABIC, Coding::Abic,         184, 190, 191, RAW_ABIC,         "ABIC compression",    true},
    {ICA_COMPRESSION_NONE,              Coding::Uncompressed, 254, 253, 312, RAW_UNCOMPRESSED, "Uncompressed IOCA",   true},
    {ICA_COMPRESSION_JPEG,              Coding::Jpeg,         0,   377, 0,   RAW_JPEG_444,     "JPEG",                true},
    {ICA_COMPRESSION_JPEG,              Coding::Jpeg,         0,   378, 0,   RAW_JPEG_420,     "JPEG",                false},
    {ICA_COMPRESSION_JPEG,              Coding::Jpeg,         0,   379, 0,   RAW_JPEG_422,     "JPEG",                false},
    // clang-format on
};

}  // namespace

const FormatRow* FormatRows(int* pnCount) {
  *pnCount = static_cast<int>(std::size(kRows));
  return kRows;
}

const FormatRow* FindCompression(unsigned char compression) {
  for (const FormatRow& row : kRows) {
    if (row.readable && row.compression == compression) return &row;
  }
  return nullptr;
}

FormatCode FindFormatCode(uint32_t nFormat) {
  if (nFormat == 0) return {nullptr, Container::Modca};
  for (const FormatRow& row : kRows) {
    if (row.modca == nFormat) return {&row, Container::Modca};
    if (row.ioca == nFormat) return {&row, Container::Ioca};
    if (row.modcaCarriageControl == nFormat) return {&row, Container::ModcaCarriageControl};
  }
  return {nullptr, Container::Modca};
}

uint32_t FormatCodeIn(const FormatRow* row, Container container) {
  switch (container) {
    case Container::Ioca:
      return row->ioca;
    case Container::Modca:
      return row->modca;
    case Container::ModcaCarriageControl:
      return row->modcaCarriageControl;
  }
  return 0;
}

uint32_t DescribedFormatCode(const FormatRow* row, Container container) {
  return row->coding == Coding::Jpeg ? row->modca : FormatCodeIn(row, container);
}
