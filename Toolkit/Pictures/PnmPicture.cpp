// pbm, pgm and ppm files, text and binary, of one picture after the other. They hold
// no resolution.
#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <utility>

#include "Toolkit/Imaging/RowConversion.h"
#include "Toolkit/Pictures/PictureFormats.h"

namespace kz {

namespace {

constexpr size_t kWriteAtOnce = size_t{256} * 1024;
constexpr int kMaxSample = 65535;

bool IsSpace(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(int c) { return c >= '0' && c <= '9'; }

// Walks through a file's bytes.
class PnmScanner {
 public:
  explicit PnmScanner(const std::vector<unsigned char>& data, size_t from = 0)
      : m_at(data.data() + from), m_end(data.data() + data.size()) {}

  // The next number, up to `limit`; -1 when there is none. White space and comments
  // before it are skipped.
  int Number(int limit) {
    while (m_at != m_end && !IsDigit(*m_at)) {
      if (*m_at == '#') {
        m_at = std::find(m_at, m_end, '\n');
      } else if (IsSpace(*m_at)) {
        ++m_at;
      } else {
        return -1;
      }
    }
    if (m_at == m_end) return -1;
    int value = 0;
    for (; m_at != m_end && IsDigit(*m_at); ++m_at) {
      value = value * 10 + (*m_at - '0');
      if (value > limit) return -1;
    }
    return value;
  }
  // The next digit 0 or 1, which needs no space around it; -1 when there is none.
  int Bit() {
    while (m_at != m_end && IsSpace(*m_at)) ++m_at;
    return m_at != m_end && (*m_at == '0' || *m_at == '1') ? *m_at++ - '0' : -1;
  }
  // The next bytes as they are; null when there are fewer.
  const unsigned char* Take(size_t count) {
    if (count > Left()) return nullptr;
    return std::exchange(m_at, m_at + count);
  }
  size_t Left() const { return static_cast<size_t>(m_end - m_at); }
  // Goes to where another picture begins; false when there is none.
  bool FindMagic() {
    while (m_at != m_end && IsSpace(*m_at)) ++m_at;
    return Left() >= 2 && m_at[0] == 'P' && m_at[1] >= '1' && m_at[1] <= '6';
  }

 private:
  const unsigned char* m_at;
  const unsigned char* m_end;
};

struct PnmHeader {
  int samples;  // a pixel: 1 or 3
  bool bits;    // 1 is black, and there is no largest value
  bool text;
  int width;
  int height;
  int maxValue;
};

// What the digit after the P says, then the numbers. False when they aren't there.
bool ReadHeader(PnmScanner& scanner, PnmHeader& header) {
  const unsigned char* magic = scanner.Take(2);
  const int kind = magic[1] - '1';
  header.text = kind < 3;
  header.bits = kind % 3 == 0;
  header.samples = kind % 3 == 2 ? 3 : 1;
  header.width = scanner.Number(INT_MAX / 100);
  header.height = scanner.Number(INT_MAX / 100);
  header.maxValue = header.bits ? 1 : scanner.Number(kMaxSample);
  // One white space separates the header from binary rows.
  const bool separated = header.text || scanner.Take(1) != nullptr;
  return separated && header.width > 0 && header.height > 0 && header.maxValue > 0;
}

// The least bytes that the rows can take.
uint64_t LeastBytes(const PnmHeader& header) {
  const auto width = static_cast<uint64_t>(header.width);
  const auto height = static_cast<uint64_t>(header.height);
  const auto samples = static_cast<uint64_t>(header.samples);
  if (header.text) return width * height * samples * (header.bits ? 1 : 2) - 1;
  if (header.bits) return (width + 7) / 8 * height;
  return width * height * samples * (header.maxValue > 255 ? 2 : 1);
}

// One row of text as one sample a byte (two for large values), as binary rows are.
bool ReadTextRow(PnmScanner& scanner, const PnmHeader& header, std::vector<unsigned char>& row) {
  row.clear();
  for (int i = 0; i < header.width * header.samples; ++i) {
    const int value = header.bits ? scanner.Bit() : scanner.Number(header.maxValue);
    if (value < 0) return false;
    if (header.bits) {
      if (i % 8 == 0) row.push_back(0);
      row.back() = static_cast<unsigned char>(row.back() | value << (7 - i % 8));
      continue;
    }
    if (header.maxValue > 255) row.push_back(static_cast<unsigned char>(value >> 8));
    row.push_back(static_cast<unsigned char>(value));
  }
  return true;
}

void StoreRow(const unsigned char* from, const PnmHeader& header, unsigned char* to) {
  const int count = header.width * header.samples;
  if (header.bits) {
    std::memcpy(to, from, static_cast<size_t>(header.width + 7) / 8);
    return;
  }
  for (int i = 0; i < count; ++i) {
    int value = *from++;
    if (header.maxValue > 255) value = value << 8 | *from++;
    value = std::min(value, header.maxValue);
    if (header.maxValue != 255) value = (value * 255 + header.maxValue / 2) / header.maxValue;
    // The bitmap's colours come blue first.
    const int place = header.samples == 1 ? i : i - i % 3 + 2 - i % 3;
    to[place] = static_cast<unsigned char>(value);
  }
}

class PnmSource : public PictureSource {
 public:
  // Takes a file that begins as a picture.
  explicit PnmSource(std::vector<unsigned char> data) : m_data(std::move(data)) {
    PnmScanner scanner(m_data);
    do {
      m_pages.push_back(m_data.size() - scanner.Left());
    } while (SkipPicture(scanner) && scanner.FindMagic());
    m_behind = scanner.Left();
  }

  int Pages() const override { return static_cast<int>(m_pages.size()); }

  Outcome Read(int page, int64_t maxPixels, Bitmap& bitmap) override {
    PnmScanner scanner(m_data, m_pages[static_cast<size_t>(page - 1)]);
    Outcome outcome = ReadPicture(scanner, maxPixels, bitmap);
    if (outcome.Ok() && page == Pages() && m_behind > 0) {
      outcome.warnings.push_back(std::to_string(m_behind) +
                                 " bytes behind the picture are left out");
    }
    return outcome;
  }

 private:
  // Goes after a picture; false when it is damaged or ends too early.
  static bool SkipPicture(PnmScanner& scanner) {
    PnmHeader header{};
    if (!ReadHeader(scanner, header) || LeastBytes(header) > scanner.Left()) return false;
    if (!header.text) return scanner.Take(static_cast<size_t>(LeastBytes(header))) != nullptr;
    std::vector<unsigned char> row;
    for (int i = 0; i < header.height; ++i) {
      if (!ReadTextRow(scanner, header, row)) return false;
    }
    return true;
  }

  static Outcome ReadPicture(PnmScanner& scanner, int64_t maxPixels, Bitmap& bitmap) {
    PnmHeader header{};
    if (!ReadHeader(scanner, header)) {
      return Failure(K_ERROR_INVALID_FORMAT, "the pnm header is damaged");
    }
    const int depth = header.bits ? 1 : header.samples * 8;
    Outcome outcome = CheckPictureSize(header.width, header.height, depth, maxPixels);
    if (!outcome.Ok()) return outcome;
    if (LeastBytes(header) > scanner.Left()) return Failure(K_ERROR_READ);
    const int status = bitmap.Create(header.width, header.height, depth);
    if (status != K_SUCCESS) return Failure(status);
    const size_t rowBytes =
        static_cast<size_t>(LeastBytes(header)) / static_cast<size_t>(header.height);
    std::vector<unsigned char> text;
    for (int i = 0; i < header.height; ++i) {
      if (header.text && !ReadTextRow(scanner, header, text)) {
        return Failure(scanner.Left() == 0 ? K_ERROR_READ : K_ERROR_INVALID_FORMAT);
      }
      const unsigned char* row = header.text ? text.data() : scanner.Take(rowBytes);
      if (row == nullptr) return Failure(K_ERROR_READ);
      StoreRow(row, header, bitmap.TopDownRow(i));
    }
    return {};
  }

  std::vector<unsigned char> m_data;
  std::vector<size_t> m_pages;  // where they begin
  size_t m_behind = 0;          // bytes after the last that are none
};

class PnmSink : public SinglePictureSink {
 public:
  PnmSink(int descriptor, int bitsPerPixel)
      : SinglePictureSink(descriptor), m_bitsPerPixel(bitsPerPixel) {}

 protected:
  Outcome Encode(const Bitmap& bitmap, const Write& write) const override {
    const int depth = Depth(bitmap);
    PictureRows rows;
    const int status = rows.Begin(bitmap, depth, K_ORDER_RGB);
    if (status != K_SUCCESS) return Failure(status);
    std::string out = depth == 1 ? "P4\n" : depth == 8 ? "P5\n" : "P6\n";
    out += std::to_string(bitmap.Width()) + " " + std::to_string(bitmap.Height()) + "\n";
    if (depth != 1) out += "255\n";
    const size_t rowBytes =
        (static_cast<size_t>(bitmap.Width()) * static_cast<size_t>(depth) + 7) / 8;
    for (int i = 0; i < bitmap.Height(); ++i) {
      out.append(reinterpret_cast<const char*>(rows.Row(i)), rowBytes);
      if (out.size() < kWriteAtOnce && i + 1 < bitmap.Height()) continue;
      Outcome outcome = write(out.data(), out.size());
      if (!outcome.Ok()) return outcome;
      out.clear();
    }
    return {};
  }

 private:
  int Depth(const Bitmap& bitmap) const {
    if (m_bitsPerPixel != 0) return m_bitsPerPixel;
    return bitmap.BitsPerPixel() == 1 ? 1 : bitmap.IsGray() ? 8 : 24;
  }

  int m_bitsPerPixel;
};

}  // namespace

std::unique_ptr<PictureSource> OpenPnm(std::vector<unsigned char> data) {
  return std::make_unique<PnmSource>(std::move(data));
}

std::unique_ptr<PictureSink> MakePnmSink(int descriptor, int bitsPerPixel) {
  return std::make_unique<PnmSink>(descriptor, bitsPerPixel);
}

}  // namespace kz
