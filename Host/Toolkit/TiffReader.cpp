// TIFF pages. Rows of one sample are taken as they are stored; everything else goes
// through libtiff's own conversion to 32-bit colour.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "Host/Fax/Fax.h"
#include "Host/Kernel/Kernel.h"
#include "Host/Toolkit/Descriptor.h"
#include "Host/Toolkit/FaxData.h"
#include "Host/Toolkit/PictureFormats.h"
#include "Host/Toolkit/RowConversion.h"
#include "Host/Toolkit/TiffFile.h"

namespace kz {

namespace {

constexpr const char* kSource = "Host/Toolkit/TiffReader";

struct LocalDeleter {
  void operator()(void* block) const { K_LocalFree(block, __LINE__, kSource); }
};
template <typename T>
using LocalBlock = std::unique_ptr<T, LocalDeleter>;

struct PageTags {
  uint32_t width = 0;
  uint32_t height = 0;
  uint16_t bitsPerSample = 1;
  uint16_t samples = 1;
  uint16_t photometric = PHOTOMETRIC_MINISWHITE;
  uint16_t sampleFormat = SAMPLEFORMAT_UINT;
  uint16_t orientation = ORIENTATION_TOPLEFT;
  uint16_t* colorMap[3] = {};
};

PageTags ReadTags(TIFF* tiff) {
  PageTags tags;
  TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &tags.width);
  TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &tags.height);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &tags.bitsPerSample);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &tags.samples);
  TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &tags.photometric);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &tags.sampleFormat);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &tags.orientation);
  if (tags.photometric == PHOTOMETRIC_PALETTE) {
    TIFFGetField(tiff, TIFFTAG_COLORMAP, &tags.colorMap[0], &tags.colorMap[1], &tags.colorMap[2]);
  }
  return tags;
}

bool IsGray(const PageTags& tags) {
  return tags.photometric == PHOTOMETRIC_MINISWHITE || tags.photometric == PHOTOMETRIC_MINISBLACK;
}

// Depth of the bitmap when rows can be taken as they are stored, else 0.
int StoredDepth(TIFF* tiff, const PageTags& tags) {
  const bool mapped = tags.photometric == PHOTOMETRIC_PALETTE && tags.colorMap[0] != nullptr;
  if (tags.samples != 1 || TIFFIsTiled(tiff) || (!IsGray(tags) && !mapped)) return 0;
  if (tags.sampleFormat != SAMPLEFORMAT_UINT && tags.sampleFormat != SAMPLEFORMAT_VOID) return 0;
  switch (tags.bitsPerSample) {
    case 1:
      return 1;
    case 4:
      return 4;
    case 2:
    case 8:
      return 8;
    case 16:
      return mapped ? 0 : 8;
    default:
      return 0;
  }
}

int SetColorMap(const PageTags& tags, Bitmap& bitmap) {
  const int colors = 1 << tags.bitsPerSample;
  bool wide = false;  // some writers store 8-bit values
  for (const uint16_t* map : tags.colorMap) {
    wide = wide || std::any_of(map, map + colors, [](uint16_t value) { return value > 255; });
  }
  unsigned char entries[256][4] = {};
  for (int i = 0; i < colors; ++i) {
    for (int c = 0; c < 3; ++c) {
      entries[i][c] =
          static_cast<unsigned char>(wide ? tags.colorMap[c][i] >> 8 : tags.colorMap[c][i]);
    }
  }
  return bitmap.SetPalette(entries[0], colors);
}

// One stored row to a bitmap row: 0 white at 1 bit, 0 black at 4 and 8 bits.
void TakeStoredRow(const unsigned char* from, const PageTags& tags, unsigned char* to) {
  const auto width = static_cast<int>(tags.width);
  const bool mapped = tags.photometric == PHOTOMETRIC_PALETTE;
  const bool whiteIsZero = tags.photometric == PHOTOMETRIC_MINISWHITE;
  const size_t bytes = (size_t{tags.width} * std::min<uint16_t>(tags.bitsPerSample, 8) + 7) / 8;
  const unsigned char flip = whiteIsZero ? 0xFF : 0;
  if (tags.bitsPerSample == 1) {
    std::copy_n(from, bytes, to);
    if (tags.photometric == PHOTOMETRIC_MINISBLACK) InvertBits(to, width);
  } else if (tags.bitsPerSample == 2) {
    for (int x = 0; x < width; ++x) {
      const int value = from[x / 4] >> (6 - x % 4 * 2) & 3;
      to[x] = static_cast<unsigned char>((mapped ? value : value * 85) ^ flip);
    }
  } else if (tags.bitsPerSample == 16) {
    for (int x = 0; x < width; ++x) {
      uint16_t value;
      std::copy_n(from + ptrdiff_t{2} * x, 2, reinterpret_cast<unsigned char*>(&value));
      to[x] = static_cast<unsigned char>((value * 255 + 32767) / 65535 ^ flip);
    }
  } else {
    std::transform(from, from + bytes, to,
                   [&](unsigned char byte) { return static_cast<unsigned char>(byte ^ flip); });
  }
}

bool IsGroup4(TIFF* tiff, const PageTags& tags) {
  uint16_t compression = COMPRESSION_NONE;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
  return compression == COMPRESSION_CCITTFAX4 && tags.bitsPerSample == 1;
}

// libtiff takes a Group 4 strip that ends too early for a good one and leaves rows
// as they were; our own decoder doesn't.
Outcome ReadGroup4Strips(TiffFile& file, const PageTags& tags, uint64_t fileSize, Bitmap& bitmap) {
  uint32_t rowsPerStrip = tags.height;
  uint16_t fillOrder = FILLORDER_MSB2LSB;
  TIFFGetFieldDefaulted(file.Get(), TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
  TIFFGetFieldDefaulted(file.Get(), TIFFTAG_FILLORDER, &fillOrder);
  if (rowsPerStrip == 0) return Failure(K_ERROR_INVALID_FORMAT);
  _LOADINFO info{};
  info.nFormat = K_FAX_G4;
  info.nWidth = tags.width;
  info.nBitsPerPixel = 1;
  info.uFlags = fillOrder == FILLORDER_LSB2MSB ? K_RAW_REVERSED_BITS : 0;
  std::vector<unsigned char> data;
  for (uint32_t row = 0, strip = 0; row < tags.height; row += info.nHeight, ++strip) {
    const uint64_t size = TIFFGetStrileByteCount(file.Get(), strip);
    if (size > fileSize) return Failure(K_ERROR_READ);
    data.resize(static_cast<size_t>(size));
    if (TIFFReadRawStrip(file.Get(), strip, data.data(), static_cast<tmsize_t>(size)) !=
        static_cast<tmsize_t>(size)) {
      return Failure(K_ERROR_READ);
    }
    info.nHeight = std::min(rowsPerStrip, tags.height - row);
    bool damaged = false;
    const int status =
        DecodeFax(data.data(), data.size(), info, static_cast<int>(row), bitmap, &damaged);
    if (status == K_ERROR_INVALID_FORMAT) return Failure(status, StatusText(K_ERROR_G4_DATA));
    if (status != K_SUCCESS) return Failure(status);
  }
  if (tags.photometric != PHOTOMETRIC_MINISBLACK) return {};
  for (int i = 0; i < bitmap.Height(); ++i) InvertBits(bitmap.TopDownRow(i), bitmap.Width());
  return {};
}

Outcome ReadScanlines(TiffFile& file, const PageTags& tags, Bitmap& bitmap) {
  const tmsize_t rowBytes = TIFFScanlineSize(file.Get());
  const uint64_t needed = (uint64_t{tags.width} * tags.bitsPerSample + 7) / 8;
  if (rowBytes <= 0 || static_cast<uint64_t>(rowBytes) < needed) {
    return Failure(K_ERROR_INVALID_FORMAT);
  }
  const LocalBlock<unsigned char> row(static_cast<unsigned char*>(
      K_LocalAllocInit(static_cast<size_t>(rowBytes), 1, __LINE__, kSource)));
  if (row == nullptr) return Failure(K_ERROR_NO_MEMORY);
  for (uint32_t i = 0; i < tags.height; ++i) {
    if (TIFFReadScanline(file.Get(), row.get(), i) < 0 || file.Complained()) {
      return file.Complaint(K_ERROR_INVALID_FORMAT);
    }
    TakeStoredRow(row.get(), tags, bitmap.TopDownRow(static_cast<int>(i)));
  }
  return {};
}

Outcome ReadStoredRows(TiffFile& file, const PageTags& tags, int depth, uint64_t fileSize,
                       Bitmap& bitmap) {
  int status = bitmap.Create(static_cast<int>(tags.width), static_cast<int>(tags.height), depth);
  if (status == K_SUCCESS && tags.photometric == PHOTOMETRIC_PALETTE) {
    status = SetColorMap(tags, bitmap);
  }
  if (status != K_SUCCESS) return Failure(status);
  return IsGroup4(file.Get(), tags) ? ReadGroup4Strips(file, tags, fileSize, bitmap)
                                    : ReadScanlines(file, tags, bitmap);
}

Outcome ReadColors(TiffFile& file, const PageTags& tags, Bitmap& bitmap) {
  char reason[1024] = {};
  if (TIFFRGBAImageOK(file.Get(), reason) == 0) return Failure(K_ERROR_INVALID_FORMAT, reason);
  const auto width = static_cast<int>(tags.width);
  const auto height = static_cast<int>(tags.height);
  const int status = bitmap.Create(width, height, 24);
  if (status != K_SUCCESS) return Failure(status);
  const LocalBlock<uint32_t> raster(static_cast<uint32_t*>(
      K_LocalAlloc(size_t{tags.width} * tags.height, sizeof(uint32_t), __LINE__, kSource)));
  if (raster == nullptr) return Failure(K_ERROR_NO_MEMORY);
  // Asked for in the file's own orientation, the rows come as stored.
  if (TIFFReadRGBAImageOriented(file.Get(), tags.width, tags.height, raster.get(), tags.orientation,
                                1) == 0 ||
      file.Complained()) {
    return file.Complaint(K_ERROR_INVALID_FORMAT);
  }
  const uint32_t* pixel = raster.get();
  for (int i = 0; i < height; ++i) {
    unsigned char* to = bitmap.TopDownRow(i);
    for (int x = 0; x < width; ++x, ++pixel, to += 3) {
      // Colours are multiplied by alpha already: the rest is white paper.
      const uint32_t paper = 255 - TIFFGetA(*pixel);
      to[0] = static_cast<unsigned char>(std::min(TIFFGetB(*pixel) + paper, 255U));
      to[1] = static_cast<unsigned char>(std::min(TIFFGetG(*pixel) + paper, 255U));
      to[2] = static_cast<unsigned char>(std::min(TIFFGetR(*pixel) + paper, 255U));
    }
  }
  if (!IsGray(tags)) return {};
  Bitmap gray;
  Outcome outcome =
      ConvertBitmap(bitmap, tags.bitsPerSample == 1 && tags.samples == 1 ? 1 : 8, false, gray);
  bitmap = std::move(gray);
  return outcome;
}

void SetResolution(TIFF* tiff, Bitmap& bitmap) {
  constexpr float kCentimetresPerInch = 2.54F;
  constexpr float kMaxResolution = 1e6F;
  float x = 0, y = 0;
  uint16_t unit = RESUNIT_INCH;
  TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x);
  TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y);
  TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
  const auto perInch = [&](float value) {
    const float result = unit == RESUNIT_CENTIMETER ? value * kCentimetresPerInch : value;
    return result > 0 && result < kMaxResolution ? static_cast<int>(std::lround(result)) : 0;
  };
  // Without a unit the values tell the pixels' shape only.
  if (unit != RESUNIT_NONE) bitmap.SetResolution(perInch(x), perInch(y));
}

class TiffSource : public PictureSource {
 public:
  TiffSource(int descriptor, uint64_t fileSize) : m_fileSize(fileSize), m_file(descriptor, "r") {}

  // Notes where the directories of the pages are, so that any page is read without
  // walking there again.
  Outcome FindPages() {
    if (m_file.Get() == nullptr) return m_file.Complaint(K_ERROR_INVALID_FORMAT);
    std::vector<uint64_t> all;
    do {
      const uint64_t offset = TIFFCurrentDirOffset(m_file.Get());
      uint32_t kind = 0;
      TIFFGetField(m_file.Get(), TIFFTAG_SUBFILETYPE, &kind);
      all.push_back(offset);
      if ((kind & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) == 0) m_pages.push_back(offset);
    } while (TIFFReadDirectory(m_file.Get()) != 0);
    if (m_pages.empty()) m_pages = std::move(all);
    // The end of the list is no error, a broken link in it is.
    return m_file.Complained() ? m_file.Complaint(K_ERROR_INVALID_FORMAT) : Outcome{};
  }

  int Pages() const override { return static_cast<int>(m_pages.size()); }

  Outcome Read(int page, Bitmap& bitmap) override {
    m_file.Forget();
    const uint64_t offset = m_pages[static_cast<size_t>(page - 1)];
    if (TIFFSetSubDirectory(m_file.Get(), offset) == 0 || m_file.Complained()) {
      return m_file.Complaint(K_ERROR_INVALID_FORMAT);
    }
    const PageTags tags = ReadTags(m_file.Get());
    const int depth = StoredDepth(m_file.Get(), tags);
    if (!IsSanePicture(tags.width, tags.height, depth != 0 ? depth : 24)) {
      return Failure(K_ERROR_INVALID_FORMAT, "the picture has no size or is too large");
    }
    Outcome outcome = depth != 0 ? ReadStoredRows(m_file, tags, depth, m_fileSize, bitmap)
                                 : ReadColors(m_file, tags, bitmap);
    if (!outcome.Ok()) return outcome;
    SetResolution(m_file.Get(), bitmap);
    return ApplyOrientation(tags.orientation, bitmap);
  }

 private:
  uint64_t m_fileSize;
  TiffFile m_file;
  std::vector<uint64_t> m_pages;
};

}  // namespace

Outcome OpenTiff(int descriptor, std::unique_ptr<PictureSource>& source) {
  OwnedDescriptor file(descriptor);
  const off_t size = ::lseek(descriptor, 0, SEEK_END);
  if (size < 0 || ::lseek(descriptor, 0, SEEK_SET) != 0) {
    return Failure(K_ERROR_OPEN_READ, "a tif picture can't be read from a pipe");
  }
  auto tiff = std::make_unique<TiffSource>(file.Release(), static_cast<uint64_t>(size));
  Outcome outcome = tiff->FindPages();
  if (outcome.Ok()) source = std::move(tiff);
  return outcome;
}

}  // namespace kz
