#include <fcntl.h>
#include <unistd.h>

#include "Toolkit/Imaging/FaxData.h"
#include "Toolkit/Imaging/RowConversion.h"
#include "Toolkit/Pictures/PictureFormats.h"
#include "Toolkit/Pictures/TiffFile.h"

namespace kz {

namespace {

// TIFF pages: 1 bit as one Group 4 strip, deeper ones as LZW strips.
class TiffSink : public PictureSink {
 public:
  explicit TiffSink(int descriptor) : m_file(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0), "w") {}

  Outcome AddPage(const Bitmap& bitmap) override {
    if (m_file.Get() == nullptr) return Complaint();
    m_file.Forget();
    SetTags(bitmap);
    Outcome outcome = bitmap.BitsPerPixel() == 1 ? WriteGroup4(bitmap) : WriteRows(bitmap);
    if (outcome.Ok() && (TIFFWriteDirectory(m_file.Get()) == 0 || m_file.Complained())) {
      return Complaint();
    }
    return outcome;
  }

  Outcome Finish() override {
    m_file.Forget();
    return TIFFFlush(m_file.Get()) != 0 ? Outcome{} : Complaint();
  }

 private:
  Outcome Complaint() const { return m_file.Complaint(K_ERROR_WRITE); }

  void SetTags(const Bitmap& bitmap) {
    constexpr size_t kStripBytes = size_t{64} * 1024;
    TIFF* tiff = m_file.Get();
    const int depth = bitmap.BitsPerPixel();
    const bool mapped = IsMapped(bitmap);
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(bitmap.Width()));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(bitmap.Height()));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, depth == 24 ? 8 : depth);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, depth == 24 ? 3 : 1);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                 depth == 1    ? PHOTOMETRIC_MINISWHITE
                 : depth == 24 ? PHOTOMETRIC_RGB
                 : mapped      ? PHOTOMETRIC_PALETTE
                               : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, depth == 1 ? COMPRESSION_CCITTFAX4 : COMPRESSION_LZW);
    if (depth == 8 || depth == 24)
      TIFFSetField(tiff, TIFFTAG_PREDICTOR, mapped ? PREDICTOR_NONE : PREDICTOR_HORIZONTAL);
    const size_t perStrip = kStripBytes / static_cast<size_t>(bitmap.BytesPerLine()) + 1;
    TIFFSetField(
        tiff, TIFFTAG_ROWSPERSTRIP,
        static_cast<uint32_t>(depth == 1 ? static_cast<size_t>(bitmap.Height()) : perStrip));
    if (mapped) SetColorMap(bitmap);
    if (bitmap.XResolution() > 0 && bitmap.YResolution() > 0) {
      TIFFSetField(tiff, TIFFTAG_XRESOLUTION, static_cast<double>(bitmap.XResolution()));
      TIFFSetField(tiff, TIFFTAG_YRESOLUTION, static_cast<double>(bitmap.YResolution()));
      TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    }
  }

  static bool IsMapped(const Bitmap& bitmap) {
    return (bitmap.BitsPerPixel() == 4 || bitmap.BitsPerPixel() == 8) && !bitmap.IsGray();
  }

  void SetColorMap(const Bitmap& bitmap) {
    uint16_t map[3][256] = {};
    for (int i = 0; i < bitmap.Colors(); ++i) {
      for (int c = 0; c < 3; ++c) {
        map[c][i] = static_cast<uint16_t>(bitmap.Palette()[4 * i + c] * 257);
      }
    }
    TIFFSetField(m_file.Get(), TIFFTAG_COLORMAP, map[0], map[1], map[2]);
  }

  Outcome WriteGroup4(const Bitmap& bitmap) {
    std::vector<unsigned char> data;
    Outcome outcome = EncodeGroup4(bitmap, data);
    if (!outcome.Ok()) return outcome;
    const tmsize_t written =
        TIFFWriteRawStrip(m_file.Get(), 0, data.data(), static_cast<tmsize_t>(data.size()));
    return written == static_cast<tmsize_t>(data.size()) ? Outcome{} : Complaint();
  }

  Outcome WriteRows(const Bitmap& bitmap) {
    const bool mapped = IsMapped(bitmap);
    PictureRows rows;
    const int status = rows.Begin(bitmap, bitmap.BitsPerPixel(), K_ORDER_RGB);
    if (status != K_SUCCESS) return Failure(status);
    for (int i = 0; i < bitmap.Height(); ++i) {
      const unsigned char* row = mapped ? bitmap.TopDownRow(i) : rows.Row(i);
      // libtiff takes rows to change them in place; the predictor does.
      m_row.assign(row, row + TIFFScanlineSize(m_file.Get()));
      if (TIFFWriteScanline(m_file.Get(), m_row.data(), static_cast<uint32_t>(i)) < 0 ||
          m_file.Complained()) {
        return Complaint();
      }
    }
    return {};
  }

  TiffFile m_file;
  std::vector<unsigned char> m_row;
};

}  // namespace

std::unique_ptr<PictureSink> MakeTiffSink(int descriptor) {
  return std::make_unique<TiffSink>(descriptor);
}

}  // namespace kz
