#include "Tests/Host/Abic/AbicLibrary.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"

namespace kz::test {
namespace {

constexpr uint64_t kUntouchedSize = 4711;

size_t BytesPerRow(const IndependentImage& image) {
  return static_cast<size_t>((image.width * image.depth + 31) / 32 * 4);
}

// Rows whose padding is black.
Bytes RowsOf(const IndependentImage& image) {
  Bytes rows(BytesPerRow(image) * static_cast<size_t>(image.height), 0xFF);
  const auto mask = static_cast<unsigned>((1 << image.depth) - 1);
  for (size_t i = 0; i < image.samples.size(); ++i) {
    const size_t width = static_cast<size_t>(image.width), depth = static_cast<size_t>(image.depth);
    const size_t bit = i % width * depth;
    unsigned char& byte = rows[i / width * BytesPerRow(image) + bit / 8];
    byte = static_cast<unsigned char>(byte ^ (mask ^ image.samples[i]) << (8 - depth - bit % 8));
  }
  return rows;
}

std::vector<unsigned char> SamplesOf(const unsigned char* rows, const IndependentImage& image) {
  std::vector<unsigned char> samples;
  const int perRow = static_cast<int>(BytesPerRow(image)) * 8 / image.depth;
  int padding = 0;
  for (int y = 0; y < image.height; ++y, rows += BytesPerRow(image)) {
    for (int x = 0; x < perRow; ++x) {
      const int bit = x * image.depth;
      const int sample = rows[bit / 8] >> (8 - image.depth - bit % 8) & ((1 << image.depth) - 1);
      if (x < image.width) {
        samples.push_back(static_cast<unsigned char>(sample));
      } else {
        padding |= sample;
      }
    }
  }
  EXPECT_EQ(padding, 0) << "padding decodes as 0";
  return samples;
}

bool HasCarryAfterFF(const Bytes& code) {
  return std::adjacent_find(code.begin(), code.end(), [](unsigned char one, unsigned char next) {
           return one == 0xFF && next >= 0x80;
         }) != code.end();
}

AbicString StringOf(const Bytes& code, const IndependentImage& size) {
  return {code.data(), code.size(), size.width, size.height, size.depth};
}

}  // namespace

Bytes FromHex(std::string_view digits) {
  Bytes bytes;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    bytes.push_back(
        static_cast<unsigned char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

Bytes WithReversedBits(Bytes bytes) {
  for (unsigned char& byte : bytes) {
    unsigned reversed = 0;
    for (int bit = 0; bit < 8; ++bit) reversed = reversed << 1 | (byte >> bit & 1U);
    byte = static_cast<unsigned char>(reversed);
  }
  return bytes;
}

template <typename Routine>
void AbicLibrary::Find(const char* name, Routine& routine) {
  ASSERT_EQ(m_loader.AddFunction(name), 1) << name;
  routine = reinterpret_cast<Routine>(m_loader.GetFunction(name));
}

void AbicLibrary::SetUp() {
  ASSERT_EQ(m_loader.LoadLib(KV_LIBID_ABIC, 0, nullptr), 1);
  Find("K_DecodeABIC", m_decode);
  Find("K_EncodeABIC", m_encode);
  Find("K_DecodeLikelyABIC", m_decodeLikely);
  Find("K_DecodeABICWith", m_decodeWith);
  Find("K_EncodeABICWith", m_encodeWith);
  m_liveBlocks = K_LiveBlocks();
}

void AbicLibrary::TearDown() { EXPECT_EQ(K_LiveBlocks(), m_liveBlocks); }

int AbicLibrary::TakeCode(int status, unsigned char* data, uint64_t size, Bytes& code) {
  if (status != 1) {
    EXPECT_EQ(data, m_untouched);
    EXPECT_EQ(size, kUntouchedSize);
    return status;
  }
  EXPECT_EQ(WinGlobalSize(WinGlobalHandle(data)), size);
  code.assign(data, data + size);
  WinGlobalFree(WinGlobalHandle(data));
  return status;
}

int AbicLibrary::TakeRows(int status, unsigned char* rows, IndependentImage& image) {
  if (status != 1) {
    EXPECT_EQ(rows, m_untouched);
    return status;
  }
  EXPECT_EQ(WinGlobalSize(WinGlobalHandle(rows)),
            BytesPerRow(image) * static_cast<size_t>(image.height));
  image.samples = SamplesOf(rows, image);
  WinGlobalFree(WinGlobalHandle(rows));
  return status;
}

int AbicLibrary::Encode(const IndependentImage& image, Bytes& code) {
  unsigned char* data = m_untouched;
  uint64_t size = kUntouchedSize;
  const int status = m_encode(RowsOf(image).data(), 4, image.width, image.height, &data, &size,
                              image.depth == 1 ? 1 : 0);
  return TakeCode(status, data, size, code);
}

int AbicLibrary::Decode(const Bytes& code, IndependentImage& image) {
  unsigned char* rows = m_untouched;
  const int status = m_decode(code.data(), static_cast<unsigned>(code.size()), &rows, 4,
                              image.width, image.height, image.depth == 1 ? 1 : 0);
  return TakeRows(status, rows, image);
}

int AbicLibrary::EncodeWith(const IndependentImage& image, const kz::AbicParameters& parameters,
                            Bytes& code) {
  unsigned char* data = m_untouched;
  uint64_t size = kUntouchedSize;
  const AbicString string = StringOf({}, image);
  const int status = m_encodeWith(RowsOf(image).data(), &string, &parameters, &data, &size);
  return TakeCode(status, data, size, code);
}

int AbicLibrary::DecodeWith(const Bytes& code, const kz::AbicParameters& parameters,
                            IndependentImage& image, kz::AbicFit& fit) {
  unsigned char* rows = m_untouched;
  const AbicString string = StringOf(code, image);
  const int status = m_decodeWith(&string, &parameters, &rows, &fit);
  return TakeRows(status, rows, image);
}

int AbicLibrary::DecodeLikely(const Bytes& code, IndependentImage& image, AbicReading& reading) {
  unsigned char* rows = m_untouched;
  const AbicString string = StringOf(code, image);
  const int status = m_decodeLikely(&string, &rows, &reading);
  return TakeRows(status, rows, image);
}

kz::AbicFit AbicLibrary::FitOf(const Bytes& code, const IndependentImage& size,
                               const kz::AbicParameters& parameters) {
  const AbicString string = StringOf(code, size);
  kz::AbicFit fit;
  EXPECT_EQ(m_decodeWith(&string, &parameters, nullptr, &fit), 1);
  return fit;
}

IndependentImage AbicLibrary::Expected(const Bytes& code, const IndependentImage& size,
                                       const kz::AbicParameters& parameters,
                                       const kz::AbicFit& fit) {
  IndependentImage image =
      DecodeIndependently(parameters.reversedBits ? WithReversedBits(code) : code, size.width,
                          size.height, size.depth, PointsOf(parameters));
  for (size_t i = 0; i < image.samples.size(); ++i) {
    const auto y = static_cast<int64_t>(i) / size.width;
    for (int plane = 0; plane < size.depth; ++plane) {
      if (plane * int64_t{size.height} + y < fit.rows) continue;
      const int bit = 1 << (size.depth - 1 - plane);
      image.samples[i] = static_cast<unsigned char>(image.samples[i] & ~bit);
    }
  }
  return image;
}

void AbicLibrary::ExpectReadAsTold(const Bytes& code, const IndependentImage& size,
                                   AbicReading& reading) {
  IndependentImage image{size.width, size.height, size.depth, {}};
  ASSERT_EQ(DecodeLikely(code, image, reading), 1);
  if (reading.earlier ||
      HasCarryAfterFF(reading.parameters.reversedBits ? WithReversedBits(code) : code)) {
    return;
  }
  EXPECT_TRUE(image.samples == Expected(code, size, reading.parameters, reading.fit).samples);
  EXPECT_EQ(reading.fit.rows == int64_t{size.height} * size.depth,
            reading.fit.bitsLeft >= -kz::kAbicMostMissingBits);
}

}  // namespace kz::test
