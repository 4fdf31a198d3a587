// TIFF pages. Group 4 goes through our own decoder, rare kinds of colour through
// libtiff's conversion, all else is taken sample by sample.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "Host/Fax/Fax.h"
#include "Host/Kernel/Kernel.h"
#include "Toolkit/Files/FileDescriptor.h"
#include "Toolkit/Imaging/FaxData.h"
#include "Toolkit/Imaging/RowConversion.h"
#include "Toolkit/Pictures/PictureFormats.h"
#include "Toolkit/Pictures/Tiff/TiffFaxData.h"
#include "Toolkit/Pictures/Tiff/TiffFile.h"
#include "Toolkit/Pictures/Tiff/TiffSamples.h"

namespace kz {

namespace {

constexpr const char* kSource = "Toolkit/Pictures/TiffReader";

struct LocalDeleter {
  void operator()(void* block) const { K_LocalFree(block, __LINE__, kSource); }
};

// libtiff takes a Group 4 strip that ends too early for a good one and leaves rows
// as they were; our own decoder doesn't.
Outcome ReadGroup4Strips(TiffFile& file, const TiffTags& tags, uint64_t fileSize, Bitmap& bitmap) {
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
    Outcome outcome = ReadRawStrip(file, strip, fileSize, data);
    if (!outcome.Ok()) return outcome;
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

Outcome ReadGroup4(TiffFile& file, const TiffTags& tags, uint64_t fileSize, Bitmap& bitmap) {
  const int status = bitmap.Create(static_cast<int>(tags.width), static_cast<int>(tags.height), 1);
  return status == K_SUCCESS ? ReadGroup4Strips(file, tags, fileSize, bitmap) : Failure(status);
}

// Whether libtiff's own conversion to colours is needed and right: not for tiles,
// whose last column it misplaces, nor for planes.
bool NeedsConversion(const TiffTags& tags) {
  return !tags.tiled && tags.planes == PLANARCONFIG_CONTIG && tags.alpha < 0 &&
         ((tags.photometric == PHOTOMETRIC_YCBCR && tags.compression != COMPRESSION_JPEG) ||
          tags.photometric == PHOTOMETRIC_CIELAB || tags.photometric == PHOTOMETRIC_LOGL ||
          tags.photometric == PHOTOMETRIC_LOGLUV);
}

Outcome ReadConverted(TiffFile& file, const TiffTags& tags, Bitmap& bitmap) {
  char reason[1024] = {};
  if (TIFFRGBAImageOK(file.Get(), reason) == 0) return Failure(K_ERROR_INVALID_FORMAT, reason);
  const auto width = static_cast<int>(tags.width);
  const auto height = static_cast<int>(tags.height);
  const int status = bitmap.Create(width, height, 24);
  if (status != K_SUCCESS) return Failure(status);
  const std::unique_ptr<uint32_t, LocalDeleter> raster(static_cast<uint32_t*>(
      K_LocalAlloc(size_t{tags.width} * tags.height, sizeof(uint32_t), __LINE__, kSource)));
  if (raster == nullptr) return Failure(K_ERROR_NO_MEMORY);
  file.BeginData();
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
      to[0] = static_cast<unsigned char>(TIFFGetB(*pixel));
      to[1] = static_cast<unsigned char>(TIFFGetG(*pixel));
      to[2] = static_cast<unsigned char>(TIFFGetR(*pixel));
    }
  }
  return {};
}

struct Resolution {
  int x = 0;  // dots per inch; 0: not known
  int y = 0;
};

Resolution ReadResolution(TIFF* tiff) {
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
  if (unit == RESUNIT_NONE) return {};
  return {perInch(x), perInch(y)};
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
      if ((kind & (FILETYPE_REDUCEDIMAGE | FILETYPE_MASK)) == 0) m_pages.push_back({offset});
    } while (TIFFReadDirectory(m_file.Get()) != 0);
    if (m_pages.empty()) {
      for (const uint64_t offset : all) m_pages.push_back({offset});
    }
    // The end of the list is no error, a broken link in it is.
    return m_file.Complained() ? m_file.Complaint(K_ERROR_INVALID_FORMAT) : Outcome{};
  }

  int Pages() const override { return static_cast<int>(m_pages.size()); }

  Outcome Read(int page, int64_t maxPixels, Bitmap& bitmap) override {
    const Visit visit(*this, page);
    return ReadAt(visit.Offset(), maxPixels, bitmap);
  }

  bool ReadData(int page, int64_t maxPixels, bool check, PictureData& data) override {
    const Visit visit(*this, page);
    TiffTags tags;
    if (!Enter(visit.Offset(), maxPixels, tags).Ok()) return false;
    const Resolution resolution = ReadResolution(m_file.Get());
    data.xResolution = resolution.x;
    data.yResolution = resolution.y;
    return TakeTiffFaxData(m_file, tags, m_fileSize, check, data);
  }

 private:
  struct Page {
    uint64_t offset;
    uint64_t cost = 0;  // bytes that reading it took
  };

  // The time that a page is read for. All pages share what the file's length allows; one
  // that is read again may cost what it did.
  class Visit {
   public:
    Visit(TiffSource& source, int page)
        : m_file(source.m_file), m_page(source.m_pages[static_cast<size_t>(page - 1)]) {
      m_file.Forget();
      m_file.Allow(m_page.cost);
      m_before = m_file.BytesRead();
    }
    ~Visit() { m_page.cost = m_file.BytesRead() - m_before; }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;
    uint64_t Offset() const { return m_page.offset; }

   private:
    TiffFile& m_file;
    Page& m_page;
    uint64_t m_before = 0;
  };

  // Reads the tags of the page there, whose picture may be read then.
  Outcome Enter(uint64_t offset, int64_t maxPixels, TiffTags& tags) {
    if (TIFFSetSubDirectory(m_file.Get(), offset) == 0 || m_file.Complained()) {
      return m_file.Complaint(K_ERROR_INVALID_FORMAT);
    }
    tags = ReadTiffTags(m_file.Get());
    const int depth = SampleDepth(tags);
    Outcome outcome = CheckPictureSize(tags.width, tags.height, depth != 0 ? depth : 24, maxPixels);
    // Strips of the same content may share it.
    if (outcome.Ok()) {
      m_file.Allow(uint64_t{2} * tags.width * tags.height *
                   static_cast<uint64_t>(std::max(depth, 8)) / 8);
    }
    return outcome;
  }

  Outcome ReadAt(uint64_t offset, int64_t maxPixels, Bitmap& bitmap) {
    TiffTags tags;
    Outcome outcome = Enter(offset, maxPixels, tags);
    if (!outcome.Ok()) return outcome;
    const int depth = SampleDepth(tags);
    if (depth == 1 && tags.compression == COMPRESSION_CCITTFAX4 && !tags.tiled && IsGray(tags)) {
      outcome = ReadGroup4(m_file, tags, m_fileSize, bitmap);
    } else if (depth != 0) {
      outcome = ReadTiffSamples(m_file, tags, bitmap);
    } else if (NeedsConversion(tags)) {
      outcome = ReadConverted(m_file, tags, bitmap);
    } else {
      outcome = Failure(K_ERROR_INVALID_FORMAT, "its kind of pixels isn't supported");
    }
    if (!outcome.Ok()) return outcome;
    const Resolution resolution = ReadResolution(m_file.Get());
    bitmap.SetResolution(resolution.x, resolution.y);
    outcome = ApplyOrientation(tags.orientation, bitmap);
    return outcome.Ok() ? m_file.DataWarnings() : outcome;
  }

  uint64_t m_fileSize;
  TiffFile m_file;
  std::vector<Page> m_pages;
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
