// JPEG files in and out, by way of the codec that documents use.
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
  ExifReader(const unsigned char* data, size_t size) : m_data(data), m_size(size) {
    m_bigEndian = size >= 2 && data[0] == 'M';
  }
  // The number of `count` bytes at an offset; 0 outside the data.
  uint32_t Number(size_t offset, size_t count) const {
    if (offset > m_size || count > m_size - offset) return 0;
    uint32_t value = 0;
    for (size_t i = 0; i < count; ++i) {
      value = value << 8 | m_data[offset + (m_bigEndian ? i : count - 1 - i)];
    }
    return value;
  }

 private:
  const unsigned char* m_data;
  size_t m_size;
  bool m_bigEndian;
};

// The orientation tag of the Exif segment that a camera puts right after the
// start of the image, or after a JFIF segment; 1 when there is none.
int ExifOrientation(const std::vector<unsigned char>& data) {
  constexpr unsigned char kApplicationData = 0xE0;
  constexpr unsigned char kExifSegment = 0xE1;
  constexpr size_t kExifHeader = 6;  // "Exif" and two zeros
  constexpr uint32_t kOrientationTag = 0x112;
  for (size_t at = 2; at + 4 + kExifHeader <= data.size() && data[at] == 0xFF &&
                      (data[at + 1] & 0xF0) == kApplicationData;) {
    const size_t length = static_cast<size_t>(data[at + 2]) << 8 | data[at + 3];
    if (length < 2 || length > data.size() - at - 2) return 1;
    const unsigned char* payload = data.data() + at + 4;
    if (data[at + 1] == kExifSegment && length > 2 + kExifHeader &&
        std::string_view(reinterpret_cast<const char*>(payload), 4) == "Exif") {
      const ExifReader exif(payload + kExifHeader, length - 2 - kExifHeader);
      const size_t directory = exif.Number(4, 4);
      const uint32_t entries = exif.Number(directory, 2);
      for (uint32_t i = 0; i < entries; ++i) {
        const size_t entry = directory + 2 + size_t{12} * i;
        if (exif.Number(entry, 2) == kOrientationTag) {
          return static_cast<int>(exif.Number(entry + 8, 2));
        }
      }
      return 1;
    }
    at += 2 + length;
  }
  return 1;
}

class JpegSink : public PictureSink {
 public:
  explicit JpegSink(int descriptor) : m_descriptor(descriptor) {}
  Outcome AddPage(const Bitmap& bitmap) override {
    // The saver only reads.
    _BITMAPHANDLE record = *bitmap.Handle();
    HGLOBAL block = nullptr;
    uint64_t size = 0;
    const int status = SaveToMemory(&block, &record, kJpeg444, 0, kExportQFactor, &size, nullptr);
    if (status != K_SUCCESS) return Failure(status);
    Outcome outcome = WriteBytes(m_descriptor, WinGlobalLock(block), size);
    WinGlobalUnlock(block);
    WinGlobalFree(block);
    return outcome;
  }

  Outcome AddInks(const InkPicture& inks) override {
    std::vector<unsigned char> data;
    Outcome outcome = EncodeInks(inks, kExportQuality, data);
    return outcome.Ok() ? WriteBytes(m_descriptor, data.data(), data.size()) : outcome;
  }

 private:
  int m_descriptor;
};

}  // namespace

Outcome ReadJpeg(const std::vector<unsigned char>& data, int64_t maxPixels, Bitmap& bitmap) {
  const JpegDecoding decoding =
      DecodeJpeg(data.data(), data.size(), 0, K_ORDER_BGR, bitmap, maxPixels);
  if (decoding.status != K_SUCCESS) return Failure(decoding.status, decoding.what);
  if (decoding.damaged) return Failure(K_ERROR_INVALID_FORMAT, "the JPEG data are damaged");
  return ApplyOrientation(ExifOrientation(data), bitmap);
}

std::unique_ptr<PictureSink> MakeJpegSink(int descriptor) {
  return std::make_unique<JpegSink>(descriptor);
}

}  // namespace kz
