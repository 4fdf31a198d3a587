#include "Toolkit/Images/Decoding/PlainRows.h"

#include <cstring>

#include "Toolkit/Images/Decoding/ImageCoding.h"
#include "Toolkit/Images/Decoding/SampleFormat.h"

namespace kz {

namespace {

constexpr uint8_t kRecordingOfStructure = 0xFE;

bool AreWholeBytes(const SampleFormat& format) {
  for (const uint8_t bits : format.bits) {
    if (bits != 8) return false;
  }
  return !format.subtractive && !format.grayCode;
}

}  // namespace

std::span<unsigned char> PlainRows::RoomFor(const ImageParameters& parameters, int64_t most) {
  const bool plain =
      parameters.compression == coding::kNone && !parameters.lowestBitFirst &&
      parameters.bandBits.empty() &&
      (parameters.recording == kRecordingRidic || parameters.recording == kRecordingOfStructure);
  SampleFormat format;
  if (!plain || !FindSampleFormat(parameters, 0, format).Ok() || !AreWholeBytes(format)) return {};
  if (format.model != ColorModel::Gray && format.model != ColorModel::Rgb) return {};
  const int depth = format.Depth();
  if (!CheckPictureSize(parameters.width, parameters.height, depth, m_maxPixels).Ok()) return {};
  m_rowBytes = static_cast<size_t>(parameters.width) * static_cast<size_t>(depth) / 8;
  const size_t size = m_rowBytes * static_cast<size_t>(parameters.height);
  if (static_cast<int64_t>(size) > most) return {};
  if (m_bitmap.Create(parameters.width, parameters.height, depth, K_ORDER_RGB) != K_SUCCESS) {
    return {};
  }
  return {m_bitmap.Handle()->pRows, size};
}

bool PlainRows::Finish(int64_t got, Bitmap& bitmap) {
  if (m_bitmap.Empty()) return false;
  const auto height = static_cast<size_t>(m_bitmap.Height());
  if (static_cast<size_t>(got) != m_rowBytes * height) return false;
  const auto stride = static_cast<size_t>(m_bitmap.BytesPerLine());
  unsigned char* rows = m_bitmap.Handle()->pRows;
  // From the last one on, so that none is written over before it has moved.
  for (size_t row = height; stride > m_rowBytes && row-- > 0;) {
    std::memmove(rows + row * stride, rows + row * m_rowBytes, m_rowBytes);
    std::memset(rows + row * stride + m_rowBytes, 0, stride - m_rowBytes);
  }
  bitmap = std::move(m_bitmap);
  return true;
}

}  // namespace kz
