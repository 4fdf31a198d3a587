#include "Toolkit/Images/Coders/TiffHuffman.h"

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <vector>

namespace kz {

namespace {

// libtiff loses count of the bits when fewer than a code may have are left.
constexpr size_t kSpare = 4;

// A TIFF file of one strip around the data, in memory.
class MemoryTiff {
 public:
  MemoryTiff(CodedBytes data, int width, int height) {
    // Width, length, bits, compression, photometric, offset, rows a strip, byte count.
    const uint32_t fields[][3] = {
        {TIFFTAG_IMAGEWIDTH, TIFF_LONG, static_cast<uint32_t>(width)},
        {TIFFTAG_IMAGELENGTH, TIFF_LONG, static_cast<uint32_t>(height)},
        {TIFFTAG_BITSPERSAMPLE, TIFF_LONG, 1},
        {TIFFTAG_COMPRESSION, TIFF_LONG, COMPRESSION_CCITTRLE},
        {TIFFTAG_PHOTOMETRIC, TIFF_LONG, PHOTOMETRIC_MINISWHITE},
        {TIFFTAG_STRIPOFFSETS, TIFF_LONG, 8},
        {TIFFTAG_ROWSPERSTRIP, TIFF_LONG, static_cast<uint32_t>(height)},
        {TIFFTAG_STRIPBYTECOUNTS, TIFF_LONG, static_cast<uint32_t>(data.size() + kSpare)},
    };
    m_file.assign({'I', 'I', 42, 0});
    Put(static_cast<uint32_t>(8 + data.size() + kSpare), 4);
    m_file.insert(m_file.end(), data.begin(), data.end());
    Put(0, kSpare);
    Put(std::size(fields), 2);
    for (const auto& field : fields) {
      Put(field[0], 2);
      Put(field[1], 2);
      Put(1, 4);
      Put(field[2], 4);
    }
    Put(0, 4);
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    if (options == nullptr) return;
    TIFFOpenOptionsSetErrorHandlerExtR(options, TakeMessage, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, TakeMessage, this);
    m_tiff =
        TIFFClientOpenExt("", "r", this, Read, Write, Seek, Close, Size, nullptr, nullptr, options);
    TIFFOpenOptionsFree(options);
    m_complained = false;
  }
  ~MemoryTiff() {
    if (m_tiff != nullptr) TIFFClose(m_tiff);
  }
  MemoryTiff(const MemoryTiff&) = delete;
  MemoryTiff& operator=(const MemoryTiff&) = delete;

  bool IsOpen() const { return m_tiff != nullptr; }
  bool ReadRow(unsigned char* row, int number) {
    return TIFFReadScanline(m_tiff, row, static_cast<uint32_t>(number)) == 1 && !m_complained;
  }
  size_t RowBytes() const { return static_cast<size_t>(TIFFScanlineSize(m_tiff)); }

 private:
  void Put(uint32_t value, size_t bytes) {
    for (size_t i = 0; i < bytes; ++i) m_file.push_back(static_cast<unsigned char>(value >> 8 * i));
  }

  static MemoryTiff& Self(thandle_t handle) { return *static_cast<MemoryTiff*>(handle); }
  static int TakeMessage(TIFF*, void* self, const char*, const char*, va_list) {
    Self(self).m_complained = true;
    return 1;
  }
  static tmsize_t Read(thandle_t handle, void* to, tmsize_t count) {
    MemoryTiff& self = Self(handle);
    const size_t at = std::min(self.m_at, self.m_file.size());
    const size_t n = std::min(static_cast<size_t>(count), self.m_file.size() - at);
    if (n > 0) std::memcpy(to, self.m_file.data() + at, n);
    self.m_at = at + n;
    return static_cast<tmsize_t>(n);
  }
  static tmsize_t Write(thandle_t, void*, tmsize_t) { return 0; }
  static toff_t Seek(thandle_t handle, toff_t offset, int whence) {
    MemoryTiff& self = Self(handle);
    const size_t base = whence == SEEK_CUR   ? self.m_at
                        : whence == SEEK_END ? self.m_file.size()
                                             : 0;
    self.m_at = base + static_cast<size_t>(offset);
    return self.m_at;
  }
  static int Close(thandle_t) { return 0; }
  static toff_t Size(thandle_t handle) { return Self(handle).m_file.size(); }

  std::vector<unsigned char> m_file;
  size_t m_at = 0;
  bool m_complained = false;
  TIFF* m_tiff = nullptr;
};

}  // namespace

CodedRows DecodeTiffHuffman(CodedBytes data, Bitmap& bitmap) {
  CodedRows result;
  MemoryTiff tiff(data, bitmap.Width(), bitmap.Height());
  const auto stride = static_cast<size_t>(bitmap.BytesPerLine());
  if (!tiff.IsOpen() || data.empty() || tiff.RowBytes() > stride) {
    result.status = K_ERROR_INVALID_FORMAT;
    return result;
  }
  while (result.rows < bitmap.Height()) {
    unsigned char* row = bitmap.TopDownRow(result.rows);
    if (!tiff.ReadRow(row, result.rows)) {
      std::memset(row, 0, stride);
      result.status = K_ERROR_READ;
      break;
    }
    ++result.rows;
  }
  return result;
}

}  // namespace kz
