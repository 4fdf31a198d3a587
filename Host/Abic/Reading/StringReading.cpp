#include "Host/Abic/Reading/StringReading.h"

#include <algorithm>

#include "Host/Abic/Coding/PackedRows.h"
#include "Host/Abic/Coding/RowCoding.h"
#include "Host/Abic/Reading/EarlierString.h"

namespace {

int64_t Decisions(const AbicString& string) {
  return int64_t{string.width} * string.height * string.depth;
}

}  // namespace

bool CanHold(const AbicString& string) {
  const auto bits = static_cast<int64_t>(string.size) * 8 + kFractionBits;
  const bool earlier = kz::IsEarlierAbic(string.data, string.size);
  const int interval = earlier ? kEarlierLeastInterval : kLeastInterval;
  return string.size != 0 && Decisions(string) / interval <= bits;
}

int64_t CodeBits(const AbicString& string) {
  const unsigned char* last = string.data + string.size - 1;
  return static_cast<int64_t>(string.size) * 8 - std::count(string.data, last, kStuffedAfter);
}

kz::AbicFit ReadString(const AbicString& string, int64_t codeBits,
                       const kz::AbicParameters& parameters, const AbicLayout& layout,
                       const AbicWorkspace& workspace, unsigned char* imageRows) {
  const int width = CodedWidth(layout.width, parameters);
  Raster raster(workspace.RasterMemory(), width, parameters.wrapsEdges);
  const Neighbourhood neighbours = MakeNeighbourhood(parameters.places, raster.Stride());
  ContextStates& states = workspace.States();
  ArithmeticDecoder decoder =
      StartDecoder(string.data, string.size, kTransitions[parameters.flipsInStateOne ? 1 : 0]);
  kz::AbicFit fit;
  for (int plane = layout.depth - 1; plane >= 0; --plane) {
    if (parameters.planesApart) raster.Clear();
    unsigned char* imageRow = imageRows;
    for (int y = 0; y < layout.height; ++y, raster.NextRow()) {
      DecodeRow(decoder, states, neighbours, raster);
      fit.bitsLeft = codeBits - UsedBits(decoder);
      const unsigned char* row = raster.Row();
      fit.blackPadding += std::count(row + layout.width, row + width, 1);
      if (fit.bitsLeft < -kz::kAbicMostMissingBits) return fit;
      if (imageRows == nullptr && fit.blackPadding != 0) return fit;
      ++fit.rows;
      if (imageRows == nullptr) continue;
      WritePlane(row, layout.depth, plane, layout.width, imageRow);
      imageRow += layout.bytesPerRow;
    }
  }
  return fit;
}
