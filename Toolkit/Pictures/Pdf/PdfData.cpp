#include "Toolkit/Pictures/Pdf/PdfData.h"

#include "Toolkit/Imaging/JpegCodec.h"

namespace kz {

namespace {

// ISO 32000-1, table 11. Left out is what is the default.
std::string FaxEntries(const PictureData& data) {
  const bool group4 = data.coding == PictureCoding::kGroup4;
  std::string entries =
      " /ColorSpace /DeviceGray /BitsPerComponent 1 /Filter /CCITTFaxDecode /DecodeParms <<";
  if (group4) entries += " /K -1";
  if (data.coding == PictureCoding::kGroup3TwoD) entries += " /K 1";
  entries += " /Columns " + std::to_string(data.width) + " /Rows " + std::to_string(data.height);
  if (!group4 && data.hasEndOfLines) {
    // Fill bits may come before an EOL; EncodedByteAlign is about rows without one.
    entries += " /EndOfLine true";
  } else if (!group4 && data.alignedRows) {
    entries += " /EncodedByteAlign true";
  }
  if (!data.endsWithMarker) entries += " /EndOfBlock false";
  if (data.whiteIsOne) entries += " /BlackIs1 true";
  return entries + " >>";
}

// Table 13. The decoder learns the rest from the data.
std::string JpegEntries(const PictureData& data) {
  const char* space = data.components == 1   ? "/DeviceGray"
                      : data.components == 3 ? "/DeviceRGB"
                                             : "/DeviceCMYK";
  std::string entries =
      std::string(" /ColorSpace ") + space + " /BitsPerComponent 8 /Filter /DCTDecode";
  if (HoldsPlainRgb(data.data.data(), data.data.size())) {
    entries += " /DecodeParms << /ColorTransform 0 >>";
  }
  if (data.components == 4 && data.invertedInks) entries += " /Decode [1 0 1 0 1 0 1 0]";
  return entries;
}

}  // namespace

bool PdfTakes(const PictureData& data) {
  switch (data.coding) {
    case PictureCoding::kGroup4:
    case PictureCoding::kGroup3OneD:
      return true;
    case PictureCoding::kGroup3TwoD:
      // The bit that says how a row is coded is part of the EOL before it.
      return data.hasEndOfLines;
    case PictureCoding::kJpeg:
      return data.components == 1 || data.components == 3 || data.components == 4;
  }
  return false;
}

std::string PdfEntries(const PictureData& data) {
  return data.coding == PictureCoding::kJpeg ? JpegEntries(data) : FaxEntries(data);
}

}  // namespace kz
