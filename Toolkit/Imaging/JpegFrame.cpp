#include "Toolkit/Imaging/JpegFrame.h"

namespace kz {

namespace {

// Frame headers SOF0 to SOF15 but for the three codes of other meaning.
bool IsFrameHeader(unsigned char marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// Markers without a length: TEM, RSTn, SOI.
bool StandsAlone(unsigned char marker) {
  return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8);
}

int Big16(const unsigned char* bytes) { return bytes[0] << 8 | bytes[1]; }

}  // namespace

JpegSearch FindJpegFrame(const std::vector<unsigned char>& data, size_t& at, JpegFrame& frame) {
  constexpr unsigned char startOfScan = 0xDA;
  constexpr size_t frameBytes = 10;  // marker, length, precision, lines, samples, components
  while (at < data.size() && data.size() - at >= frameBytes) {
    const unsigned char marker = data[at + 1];
    if (data[at] != 0xFF || marker == startOfScan) return JpegSearch::None;
    if (IsFrameHeader(marker)) {
      frame = {Big16(&data[at + 7]), Big16(&data[at + 5]), data[at + 9]};
      return frame.width > 0 && frame.height > 0 ? JpegSearch::Found : JpegSearch::None;
    }
    if (marker == 0xFF) {
      ++at;  // fill
    } else {
      at += StandsAlone(marker) ? 2 : 2 + static_cast<size_t>(Big16(&data[at + 2]));
    }
  }
  return JpegSearch::MoreData;
}

}  // namespace kz
