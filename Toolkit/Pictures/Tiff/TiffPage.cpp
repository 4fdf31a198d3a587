#include "Toolkit/Pictures/Tiff/TiffPage.h"

#include "Toolkit/Imaging/RowConversion.h"

namespace kz {

namespace {

bool IsMapped(const Bitmap& bitmap) {
  return (bitmap.BitsPerPixel() == 4 || bitmap.BitsPerPixel() == 8) && !bitmap.IsGray();
}

std::vector<uint16_t> ColorMap(const Bitmap& bitmap) {
  constexpr size_t kColors = 256;
  std::vector<uint16_t> map(3 * kColors);
  for (int i = 0; i < bitmap.Colors(); ++i) {
    for (size_t c = 0; c < 3; ++c) {
      map[c * kColors + static_cast<size_t>(i)] =
          static_cast<uint16_t>(bitmap.Palette()[4 * static_cast<size_t>(i) + c] * 257);
    }
  }
  return map;
}

}  // namespace

int RowsPerStrip(size_t rowBytes) {
  constexpr size_t kStripBytes = size_t{64} * 1024;
  return static_cast<int>(kStripBytes / rowBytes + 1);
}

TiffPage DescribeTiffPage(const Bitmap& bitmap) {
  const int depth = bitmap.BitsPerPixel();
  const bool mapped = IsMapped(bitmap);
  TiffPage page;
  page.width = bitmap.Width();
  page.height = bitmap.Height();
  page.samples = depth == 24 ? 3 : 1;
  page.bitsPerSample = depth == 24 ? 8 : depth;
  page.xResolution = bitmap.XResolution();
  page.yResolution = bitmap.YResolution();
  if (depth == 1) {
    page.rowsPerStrip = bitmap.Height();
    page.compression = COMPRESSION_CCITTFAX4;
    return page;
  }
  page.rowsPerStrip = RowsPerStrip(static_cast<size_t>(bitmap.BytesPerLine()));
  page.compression = COMPRESSION_LZW;
  page.photometric = depth == 24 ? PHOTOMETRIC_RGB
                     : mapped    ? PHOTOMETRIC_PALETTE
                                 : PHOTOMETRIC_MINISBLACK;
  if (depth != 4) page.predictor = mapped ? PREDICTOR_NONE : PREDICTOR_HORIZONTAL;
  if (mapped) page.colorMap = ColorMap(bitmap);
  return page;
}

void SetTiffTags(TIFF* tiff, const TiffPage& page) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(page.width));
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(page.height));
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, page.bitsPerSample);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, page.samples);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tiff, TIFFTAG_ORIENTATION, page.orientation);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(page.rowsPerStrip));
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, page.photometric);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, page.compression);
  if (page.predictor != 0) TIFFSetField(tiff, TIFFTAG_PREDICTOR, page.predictor);
  if (page.compression == COMPRESSION_CCITTFAX3) {
    TIFFSetField(tiff, TIFFTAG_GROUP3OPTIONS, page.group3Options);
    // Or libtiff may put an RTC of its own into a buffer that an earlier page left.
    TIFFSetField(tiff, TIFFTAG_FAXMODE, FAXMODE_NORTC);
  }
  if (!page.colorMap.empty()) {
    const uint16_t* map = page.colorMap.data();
    const size_t colors = page.colorMap.size() / 3;
    TIFFSetField(tiff, TIFFTAG_COLORMAP, map, map + colors, map + 2 * colors);
  }
  if (page.xResolution <= 0 || page.yResolution <= 0) return;
  TIFFSetField(tiff, TIFFTAG_XRESOLUTION, static_cast<double>(page.xResolution));
  TIFFSetField(tiff, TIFFTAG_YRESOLUTION, static_cast<double>(page.yResolution));
  TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
}

bool WriteTiffRow(TiffFile& file, const unsigned char* row, int number) {
  // libtiff takes rows to change them in place; the predictor does.
  std::vector<unsigned char>& copy = file.Row();
  copy.assign(row, row + TIFFScanlineSize(file.Get()));
  return TIFFWriteScanline(file.Get(), copy.data(), static_cast<uint32_t>(number)) >= 0 &&
         !file.Complained();
}

Outcome WriteTiffRows(TiffFile& file, const Bitmap& bitmap) {
  const bool mapped = IsMapped(bitmap);
  PictureRows rows;
  const int status = rows.Begin(bitmap, bitmap.BitsPerPixel(), K_ORDER_RGB);
  if (status != K_SUCCESS) return Failure(status);
  for (int i = 0; i < bitmap.Height(); ++i) {
    if (!WriteTiffRow(file, mapped ? bitmap.TopDownRow(i) : rows.Row(i), i)) {
      return file.Complaint(K_ERROR_WRITE);
    }
  }
  return {};
}

Outcome EncodeTiffStrips(const Bitmap& bitmap, TiffPage& page) {
  uint64_t first = 0, total = 0;
  {
    TiffFile file(page.data);
    if (file.Get() == nullptr) return file.Complaint(K_ERROR_WRITE);
    SetTiffTags(file.Get(), page);
    Outcome outcome = WriteTiffRows(file, bitmap);
    if (!outcome.Ok()) return outcome;
    uint64_t* offsets = nullptr;
    uint64_t* sizes = nullptr;
    const bool coded = TIFFFlushData(file.Get()) != 0 && !file.Complained() &&
                       TIFFGetField(file.Get(), TIFFTAG_STRIPOFFSETS, &offsets) != 0 &&
                       TIFFGetField(file.Get(), TIFFTAG_STRIPBYTECOUNTS, &sizes) != 0;
    if (!coded) return file.Complaint(K_ERROR_WRITE);
    page.stripSizes.assign(sizes, sizes + TIFFNumberOfStrips(file.Get()));
    first = offsets[0];
    for (const size_t size : page.stripSizes) total += size;
  }
  // The strips follow one another; the header is before them, the directory after them.
  if (first + total > page.data.size()) return Failure(K_ERROR_WRITE);
  page.data.resize(first + total);
  page.data.erase(page.data.begin(), page.data.begin() + static_cast<ptrdiff_t>(first));
  return {};
}

}  // namespace kz
