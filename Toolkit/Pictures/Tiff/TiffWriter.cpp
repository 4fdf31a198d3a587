#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "Toolkit/Imaging/FaxData.h"
#include "Toolkit/Pictures/PictureFormats.h"
#include "Toolkit/Pictures/Tiff/TiffFile.h"
#include "Toolkit/Pictures/Tiff/TiffPage.h"

namespace kz {

namespace {

// How a page begins that holds fax data as they are.
TiffPage FaxPage(const PictureData& data) {
  TiffPage page;
  page.width = data.width;
  page.height = data.height;
  page.rowsPerStrip = data.height;
  page.photometric = data.whiteIsOne ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_MINISWHITE;
  page.orientation = data.bottomUp ? ORIENTATION_BOTLEFT : ORIENTATION_TOPLEFT;
  page.xResolution = data.xResolution;
  page.yResolution = data.yResolution;
  if (data.coding == PictureCoding::kGroup4) {
    page.compression = COMPRESSION_CCITTFAX4;
  } else if (!data.hasEndOfLines) {
    page.compression = COMPRESSION_CCITTRLE;
  } else {
    page.compression = COMPRESSION_CCITTFAX3;
    if (data.coding == PictureCoding::kGroup3TwoD) page.group3Options |= GROUP3OPT_2DENCODING;
    if (data.alignedEndOfLines) page.group3Options |= GROUP3OPT_FILLBITS;
  }
  return page;
}

// TIFF pages: 1 bit as one Group 4 strip, deeper ones as LZW strips.
class TiffSink : public PictureSink {
 public:
  explicit TiffSink(int descriptor)
      : m_descriptor(descriptor), m_file(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0), "w") {}

  // Deep pages are written strip by strip as they are coded.
  Outcome AddPage(const Bitmap& bitmap) override {
    if (bitmap.BitsPerPixel() == 1) return PictureSink::AddPage(bitmap);
    Outcome outcome = BeginPage(DescribeTiffPage(bitmap), 0);
    if (!outcome.Ok()) return outcome;
    outcome = WriteTiffRows(m_file, bitmap);
    if (m_file.Complained()) return Complaint();
    return outcome.Ok() ? EndPage() : outcome;
  }

  Outcome Prepare(const Bitmap& bitmap, std::unique_ptr<PreparedPicture>& prepared) const override {
    auto page = std::make_unique<TiffPage>(DescribeTiffPage(bitmap));
    Outcome outcome = bitmap.BitsPerPixel() == 1 ? EncodeGroup4(bitmap, page->data)
                                                 : EncodeTiffStrips(bitmap, *page);
    if (page->stripSizes.empty()) page->stripSizes.push_back(page->data.size());
    prepared = std::move(page);
    return outcome;
  }

  Outcome AddPrepared(PreparedPicture& prepared) override {
    const auto& page = static_cast<const TiffPage&>(prepared);
    return AddStrips(page, page.data, page.stripSizes);
  }

  Outcome AddInks(const InkPicture& inks) override {
    constexpr int samples = 4;
    TiffPage page;
    page.width = inks.width;
    page.height = inks.height;
    page.samples = samples;
    page.bitsPerSample = 8;
    page.rowsPerStrip = RowsPerStrip(static_cast<size_t>(inks.width) * samples);
    page.photometric = PHOTOMETRIC_SEPARATED;
    page.compression = COMPRESSION_LZW;
    page.predictor = PREDICTOR_HORIZONTAL;
    page.xResolution = inks.xResolution;
    page.yResolution = inks.yResolution;
    Outcome outcome = BeginPage(page, 0);
    if (!outcome.Ok()) return outcome;
    TIFFSetField(m_file.Get(), TIFFTAG_INKSET, INKSET_CMYK);
    if (!inks.profile.empty()) {
      TIFFSetField(m_file.Get(), TIFFTAG_ICCPROFILE, static_cast<uint32_t>(inks.profile.size()),
                   inks.profile.data());
    }
    const unsigned char* row = inks.rows.data();
    for (int i = 0; i < inks.height; ++i, row += samples * static_cast<size_t>(inks.width)) {
      if (!WriteTiffRow(m_file, row, i)) return Complaint();
    }
    return EndPage();
  }

  // What libtiff reads again: a row of Group 3 data must begin with an EOL or a byte.
  bool Takes(const PictureData& data) const override {
    switch (data.coding) {
      case PictureCoding::kGroup4:
        return true;
      case PictureCoding::kGroup3OneD:
        return data.hasEndOfLines || data.alignedRows;
      case PictureCoding::kGroup3TwoD:
        return data.hasEndOfLines;
      case PictureCoding::kJpeg:
        break;
    }
    return false;
  }

  Outcome AddData(const PictureData& data) override {
    return AddStrips(FaxPage(data), data.data, {data.data.size()});
  }

  Outcome Finish() override {
    m_file.Forget();
    return TIFFFlush(m_file.Get()) != 0 ? Outcome{} : Complaint();
  }

 private:
  static Outcome TooLarge() {
    return Failure(K_ERROR_WRITE, "the pages take more than the 4 GiB that a tif can have");
  }

  Outcome Complaint() const {
    Outcome outcome = m_file.Complaint(K_ERROR_WRITE);
    const bool tooLarge = outcome.what.find("file size exceeded") != std::string::npos;
    return tooLarge ? TooLarge() : outcome;
  }

  // Offsets in the file have 32 bits.
  Outcome CheckRoom(uint64_t bytes) const {
    constexpr uint64_t kLargest = UINT32_MAX;
    // Tags, colours and the directory of a page take less.
    constexpr uint64_t kBesideData = 16384;
    const off_t end = ::lseek(m_descriptor, 0, SEEK_END);
    if (end < 0) return SystemFailure(K_ERROR_WRITE, errno);
    if (static_cast<uint64_t>(end) + bytes + kBesideData <= kLargest) return {};
    return TooLarge();
  }

  Outcome BeginPage(const TiffPage& page, uint64_t bytes) {
    if (m_file.Get() == nullptr) return Complaint();
    m_file.Forget();
    Outcome outcome = CheckRoom(bytes);
    if (outcome.Ok()) SetTiffTags(m_file.Get(), page);
    return outcome;
  }

  Outcome AddStrips(const TiffPage& page, const std::vector<unsigned char>& data,
                    const std::vector<size_t>& sizes) {
    Outcome outcome = BeginPage(page, data.size());
    if (!outcome.Ok()) return outcome;
    // libtiff only reads them.
    auto* at = const_cast<unsigned char*>(data.data());
    for (uint32_t i = 0; i < sizes.size(); ++i) {
      const auto size = static_cast<tmsize_t>(sizes[i]);
      if (TIFFWriteRawStrip(m_file.Get(), i, at, size) != size) return Complaint();
      at += size;
    }
    return EndPage();
  }

  Outcome EndPage() {
    const bool written = TIFFWriteDirectory(m_file.Get()) != 0 && !m_file.Complained();
    return written ? Outcome{} : Complaint();
  }

  int m_descriptor;
  TiffFile m_file;
};

}  // namespace

std::unique_ptr<PictureSink> MakeTiffSink(int descriptor) {
  return std::make_unique<TiffSink>(descriptor);
}

}  // namespace kz
