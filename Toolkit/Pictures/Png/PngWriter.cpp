// PNG (ISO/IEC 15948) out.
#include <libdeflate.h>

#include <cmath>
#include <string>
#include <string_view>

#include "Toolkit/Pictures/PictureFormats.h"
#include "Toolkit/Pictures/Png/Deflate.h"
#include "Toolkit/Pictures/Png/FilteredRows.h"
#include "Toolkit/Pictures/Png/PngData.h"

namespace kz {

namespace {

constexpr double kMetresPerInch = 0.0254;
// What libpng, and who uses it, reads unless told otherwise.
constexpr int kMostPixelsAside = 1000000;

// Clause 11.2.2, table 11.1.
enum ColorType : unsigned char { kGray = 0, kColor = 2, kMapped = 3 };

void AppendNumber(std::string& bytes, uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift & 0xFF);
}

// The length and the type of a chunk.
std::string ChunkHead(std::string_view type, size_t size) {
  std::string head;
  AppendNumber(head, static_cast<uint32_t>(size));
  return head += type;
}

// What follows a chunk's data. The checksum leaves the length out.
std::string ChunkEnd(const std::string& head, const void* data, size_t size) {
  constexpr size_t kLength = 4;
  uint32_t sum = libdeflate_crc32(0, head.data() + kLength, head.size() - kLength);
  sum = libdeflate_crc32(sum, data, size);
  std::string end;
  AppendNumber(end, sum);
  return end;
}

std::string Chunk(std::string_view type, const std::string& data) {
  const std::string head = ChunkHead(type, data.size());
  return head + data + ChunkEnd(head, data.data(), data.size());
}

std::string Header(const Bitmap& bitmap, bool mapped) {
  const bool color = bitmap.BitsPerPixel() == 24;
  std::string data;
  AppendNumber(data, static_cast<uint32_t>(bitmap.Width()));
  AppendNumber(data, static_cast<uint32_t>(bitmap.Height()));
  data += static_cast<char>(color ? 8 : bitmap.BitsPerPixel());
  data += static_cast<char>(mapped ? kMapped : color ? kColor : kGray);
  return data.append(3, '\0');  // deflate, adaptive filters, not interlaced
}

// Every pixel value must have an entry.
std::string Colors(const Bitmap& bitmap) {
  std::string data;
  for (int i = 0; i < bitmap.Colors() && i < 1 << bitmap.BitsPerPixel(); ++i) {
    data.append(reinterpret_cast<const char*>(bitmap.Palette() + ptrdiff_t{4} * i), 3);
  }
  data.resize(size_t{3} << bitmap.BitsPerPixel());
  return data;
}

std::string Resolution(const Bitmap& bitmap) {
  constexpr char kPerMetre = 1;
  std::string data;
  for (const int perInch : {bitmap.XResolution(), bitmap.YResolution()}) {
    AppendNumber(data, static_cast<uint32_t>(std::lround(perInch / kMetresPerInch)));
  }
  return data += kPerMetre;
}

// Of a 1-bit picture: its grey 1, or the opacity of its colours up to the last clear one.
std::string ClearWhite(const Bitmap& bitmap, bool mapped) {
  if (!mapped) return {0, 1};
  const auto isWhite = [colors = Colors(bitmap)](size_t i) {
    return colors.compare(3 * i, 3, "\xFF\xFF\xFF") == 0;
  };
  return {isWhite(0) ? '\0' : '\xFF', isWhite(1) ? '\0' : '\xFF'};
}

class PngSink : public SinglePictureSink {
 public:
  using SinglePictureSink::SinglePictureSink;
  PngSink(int descriptor, bool whiteIsClear)
      : SinglePictureSink(descriptor), m_whiteIsClear(whiteIsClear) {}

  Outcome Encode(const Bitmap& bitmap, const Write& write) const override {
    if (bitmap.Width() > kMostPixelsAside || bitmap.Height() > kMostPixelsAside) {
      return Failure(K_ERROR_INVALID_FORMAT, "a png has up to 1000000 pixels on each side");
    }
    FilteredRows rows;
    const int status = rows.Begin(bitmap);
    if (status != K_SUCCESS) return Failure(status);
    std::string start = "\x89PNG\r\n\x1A\n" + Chunk("IHDR", Header(bitmap, rows.Mapped()));
    if (bitmap.XResolution() > 0 && bitmap.YResolution() > 0) {
      start += Chunk("pHYs", Resolution(bitmap));
    }
    if (rows.Mapped()) start += Chunk("PLTE", Colors(bitmap));
    if (m_whiteIsClear && bitmap.BitsPerPixel() == 1) {
      start += Chunk("tRNS", ClearWhite(bitmap, rows.Mapped()));
    }
    Outcome outcome = write(start.data(), start.size());
    if (!outcome.Ok()) return outcome;
    outcome = DeflateRows(rows, [&write](const void* bytes, size_t count) {
      const std::string head = ChunkHead("IDAT", count);
      const std::string end = ChunkEnd(head, bytes, count);
      Outcome written = write(head.data(), head.size());
      if (written.Ok()) written = write(bytes, count);
      return written.Ok() ? write(end.data(), end.size()) : written;
    });
    const std::string last = Chunk("IEND", {});
    return outcome.Ok() ? write(last.data(), last.size()) : outcome;
  }

 private:
  bool m_whiteIsClear = false;
};

}  // namespace

std::unique_ptr<PictureSink> MakePngSink(int descriptor) {
  return std::make_unique<PngSink>(descriptor);
}

Outcome EncodePng(const Bitmap& bitmap, bool whiteIsClear, std::vector<unsigned char>& data) {
  data.clear();
  return PngSink(-1, whiteIsClear).Encode(bitmap, [&data](const void* bytes, size_t count) {
    const auto* from = static_cast<const unsigned char*>(bytes);
    data.insert(data.end(), from, from + count);
    return Outcome{};
  });
}

}  // namespace kz
