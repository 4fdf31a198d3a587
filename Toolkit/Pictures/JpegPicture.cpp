// JPEG files in and out, by way of the codec that documents use.
#include <algorithm>
#include <cmath>
#include <string_view>

#include "Host/Kernel/Kernel.h"
#include "Toolkit/Imaging/JpegCodec.h"
#include "Toolkit/Imaging/MemorySaver.h"
#include "Toolkit/Pictures/PictureFormats.h"

namespace kz {

namespace {

// Quality 90 of 100, full chroma: a picture that is exported is looked at closely.
constexpr int kExportQFactor = 28;
constexpr int kExportQuality = 90;

// Fields of a TIFF structure, as Exif has one, in its own byte order.
class ExifReader {
 public:
  ExifReader() = default;
  ExifReader(const unsigned char* data, size_t size) : m_data(data), m_size(size) {
    m_bigEndian = size >= 2 && data[0] == 'M';
  }
  // A number of 16 bits among the tags of the first directory; `other` without that tag.
  uint32_t Short(uint32_t tag, uint32_t other) const {
    const size_t entry = Find(tag);
    return entry != 0 ? Number(entry + 8, 2) : other;
  }
  // A fraction there; 0 without that tag.
  double Fraction(uint32_t tag) const {
    const size_t entry = Find(tag);
    const size_t at = entry != 0 ? Number(entry + 8, 4) : m_size;
    const uint32_t divisor = Number(at + 4, 4);
    return divisor != 0 ? static_cast<double>(Number(at, 4)) / divisor : 0;
  }

 private:
  // The number of `count` bytes at an offset; 0 outside the data.
  uint32_t Number(size_t offset, size_t count) const {
    if (offset > m_size || count > m_size - offset) return 0;
    uint32_t value = 0;
    for (size_t i = 0; i < count; ++i) {
      value = value << 8 | m_data[offset + (m_bigEndian ? i : count - 1 - i)];
    }
    return value;
  }
  // Where the entry of a tag stands; 0 when there is none.
  size_t Find(uint32_t tag) const {
    const size_t directory = Number(4, 4);
    const uint32_t entries = Number(directory, 2);
    for (uint32_t i = 0; i < entries; ++i) {
      const size_t entry = directory + 2 + size_t{12} * i;
      if (Number(entry, 2) == tag) return entry;
    }
    return 0;
  }

  const unsigned char* m_data = nullptr;
  size_t m_size = 0;
  bool m_bigEndian = false;
};

// The Exif segment that a camera puts right after the start of the image, or after a
// JFIF segment; empty when there is none.
ExifReader FindExif(const std::vector<unsigned char>& data) {
  constexpr unsigned char kApplicationData = 0xE0;
  constexpr unsigned char kExifSegment = 0xE1;
  constexpr size_t kExifHeader = 6;  // "Exif" and two zeros
  for (size_t at = 2; at + 4 + kExifHeader <= data.size() && data[at] == 0xFF &&
                      (data[at + 1] & 0xF0) == kApplicationData;) {
    const size_t length = static_cast<size_t>(data[at + 2]) << 8 | data[at + 3];
    if (length < 2 || length > data.size() - at - 2) break;
    const unsigned char* payload = data.data() + at + 4;
    if (data[at + 1] == kExifSegment && length > 2 + kExifHeader &&
        std::string_view(reinterpret_cast<const char*>(payload), 4) == "Exif") {
      return {payload + kExifHeader, length - 2 - kExifHeader};
    }
    at += 2 + length;
  }
  return {};
}

int OrientationOf(const ExifReader& exif) {
  constexpr uint32_t kOrientationTag = 0x112;
  return static_cast<int>(exif.Short(kOrientationTag, 1));
}

void SetResolution(const ExifReader& exif, Bitmap& bitmap) {
  constexpr uint32_t kXTag = 0x11A, kYTag = 0x11B, kUnitTag = 0x128;
  constexpr uint32_t kPerInch = 2, kPerCentimetre = 3;
  const uint32_t unit = exif.Short(kUnitTag, kPerInch);
  if (unit != kPerInch && unit != kPerCentimetre) return;
  const double factor = unit == kPerCentimetre ? 2.54 : 1;
  const auto perInch = [&](uint32_t tag) {
    constexpr double most = 65535;
    return static_cast<int>(std::lround(std::min(exif.Fraction(tag) * factor, most)));
  };
  const int x = perInch(kXTag), y = perInch(kYTag);
  if (x > 0 && y > 0) bitmap.SetResolution(x, y);
}

class JpegSink : public SinglePictureSink {
 public:
  using SinglePictureSink::SinglePictureSink;

  Outcome AddInks(const InkPicture& inks) override {
    std::vector<unsigned char> data;
    Outcome outcome = EncodeInks(inks, kExportQuality, data);
    return outcome.Ok() ? WriteBytes(Descriptor(), data.data(), data.size()) : outcome;
  }

 protected:
  Outcome Encode(const Bitmap& bitmap, const Write& write) const override {
    // The saver only reads.
    _BITMAPHANDLE record = *bitmap.Handle();
    HGLOBAL block = nullptr;
    uint64_t size = 0;
    const int status = SaveToMemory(&block, &record, kJpeg444, 0, kExportQFactor, &size, nullptr);
    if (status != K_SUCCESS) return Failure(status);
    Outcome outcome = write(WinGlobalLock(block), size);
    WinGlobalUnlock(block);
    WinGlobalFree(block);
    return outcome;
  }
};

}  // namespace

Outcome ReadJpeg(const std::vector<unsigned char>& data, int64_t maxPixels, Bitmap& bitmap) {
  const JpegDecoding decoding =
      DecodeJpeg(data.data(), data.size(), 0, K_ORDER_BGR, bitmap, maxPixels);
  if (decoding.status != K_SUCCESS) return Failure(decoding.status, decoding.what);
  if (decoding.damaged) return Failure(K_ERROR_INVALID_FORMAT, "the JPEG data are damaged");
  const ExifReader exif = FindExif(data);
  if (bitmap.XResolution() == 0) SetResolution(exif, bitmap);
  return ApplyOrientation(OrientationOf(exif), bitmap);
}

const char* ObjectionToJpeg(const std::vector<unsigned char>& data) {
  const int orientation = OrientationOf(FindExif(data));
  if (orientation >= 2 && orientation <= 8) return "their picture had to be turned";
  return ObjectionToCoding(data.data(), data.size());
}

std::unique_ptr<PictureSink> MakeJpegSink(int descriptor) {
  return std::make_unique<JpegSink>(descriptor);
}

}  // namespace kz
