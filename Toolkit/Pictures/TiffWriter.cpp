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
    return outcome.Ok() ? EndPage() : outcome;
  }

  Outcome AddInks(const InkPicture& inks) override {
    if (m_file.Get() == nullptr) return Complaint();
    m_file.Forget();
    TIFF* tiff = m_file.Get();
    constexpr int samples = 4;
    SetSize({inks.width, inks.height, samples, 8}, static_cast<size_t>(inks.width) * samples);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_SEPARATED);
    TIFFSetField(tiff, TIFFTAG_INKSET, INKSET_CMYK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    if (!inks.profile.empty()) {
      TIFFSetField(tiff, TIFFTAG_ICCPROFILE, static_cast<uint32_t>(inks.profile.size()),
                   inks.profile.data());
    }
    SetResolution(inks.xResolution, inks.yResolution);
    const unsigned char* row = inks.rows.data();
    for (int i = 0; i < inks.height; ++i, row += samples * static_cast<size_t>(inks.width)) {
      if (!WriteRow(row, i)) return Complaint();
    }
    return EndPage();
  }

  Outcome Finish() override {
    m_file.Forget();
    return TIFFFlush(m_file.Get()) != 0 ? Outcome{} : Complaint();
  }

 private:
  struct Shape {
    int width;
    int height;
    int samples;
    int bitsPerSample;
  };

  Outcome Complaint() const { return m_file.Complaint(K_ERROR_WRITE); }

  Outcome EndPage() {
    const bool written = TIFFWriteDirectory(m_file.Get()) != 0 && !m_file.Complained();
    return written ? Outcome{} : Complaint();
  }

  void SetSize(const Shape& shape, size_t rowBytes) {
    constexpr size_t kStripBytes = size_t{64} * 1024;
    TIFF* tiff = m_file.Get();
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(shape.width));
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(shape.height));
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, shape.bitsPerSample);
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, shape.samples);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tiff, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    const size_t perStrip =
        shape.bitsPerSample == 1 ? static_cast<size_t>(shape.height) : kStripBytes / rowBytes + 1;
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(perStrip));
  }

  void SetResolution(int x, int y) {
    if (x <= 0 || y <= 0) return;
    TIFFSetField(m_file.Get(), TIFFTAG_XRESOLUTION, static_cast<double>(x));
    TIFFSetField(m_file.Get(), TIFFTAG_YRESOLUTION, static_cast<double>(y));
    TIFFSetField(m_file.Get(), TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
  }

  // libtiff takes rows to change them in place; the predictor does.
  bool WriteRow(const unsigned char* row, int number) {
    m_row.assign(row, row + TIFFScanlineSize(m_file.Get()));
    return TIFFWriteScanline(m_file.Get(), m_row.data(), static_cast<uint32_t>(number)) >= 0 &&
           !m_file.Complained();
  }

  void SetTags(const Bitmap& bitmap) {
    TIFF* tiff = m_file.Get();
    const int depth = bitmap.BitsPerPixel();
    const bool mapped = IsMapped(bitmap);
    SetSize({bitmap.Width(), bitmap.Height(), depth == 24 ? 3 : 1, depth == 24 ? 8 : depth},
            static_cast<size_t>(bitmap.BytesPerLine()));
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                 depth == 1    ? PHOTOMETRIC_MINISWHITE
                 : depth == 24 ? PHOTOMETRIC_RGB
                 : mapped      ? PHOTOMETRIC_PALETTE
                               : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, depth == 1 ? COMPRESSION_CCITTFAX4 : COMPRESSION_LZW);
    if (depth == 8 || depth == 24)
      TIFFSetField(tiff, TIFFTAG_PREDICTOR, mapped ? PREDICTOR_NONE : PREDICTOR_HORIZONTAL);
    if (mapped) SetColorMap(bitmap);
    SetResolution(bitmap.XResolution(), bitmap.YResolution());
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
      if (!WriteRow(mapped ? bitmap.TopDownRow(i) : rows.Row(i), i)) return Complaint();
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
