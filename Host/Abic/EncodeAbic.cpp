#include <algorithm>
#include <cstring>

#include "Host/Abic/Abic.h"
#include "Host/Abic/AbicImage.h"
#include "Host/Abic/Coding/PackedRows.h"
#include "Host/Abic/Coding/RowCoding.h"
#include "Host/Abic/UsualParameters.h"

namespace {

constexpr size_t kFirstCapacity = size_t{64} * 1024;

// Bytes that grow as the code string does.
class GrowingBytes {
 public:
  // Sees to room for `bytes` after the first `used`, which are kept. False when
  // out of memory.
  bool Reserve(size_t used, size_t bytes) {
    if (m_capacity >= used + bytes) return true;
    const size_t capacity = std::max({kFirstCapacity, 2 * m_capacity, used + bytes});
    if (!m_bytes.Grow(capacity, __LINE__)) return false;
    m_capacity = capacity;
    return true;
  }
  unsigned char* Start() const { return m_bytes.get(); }

 private:
  LocalBlock m_bytes{kAbicSource};
  size_t m_capacity = 0;
};

// Encodes the image; the code string starts at the second byte. Returns its size,
// 0 when out of memory.
size_t EncodeRows(const unsigned char* imageRows, const AbicLayout& layout,
                  const kz::AbicParameters& parameters, const AbicWorkspace& workspace,
                  GrowingBytes& bytes) {
  const int width = CodedWidth(layout.width, parameters);
  const size_t rowRoom = static_cast<size_t>(width) * kMaxBytesPerDecision + kMaxFinishBytes;
  if (!bytes.Reserve(0, 1 + rowRoom)) return 0;
  Raster raster(workspace.RasterMemory(), width, parameters.wrapsEdges);
  const Neighbourhood neighbours = MakeNeighbourhood(parameters.places, raster.Stride());
  ContextStates& states = workspace.States();
  ArithmeticEncoder encoder =
      StartEncoder(bytes.Start(), kTransitions[parameters.flipsInStateOne ? 1 : 0]);
  for (int plane = layout.depth - 1; plane >= 0; --plane) {
    if (parameters.planesApart) raster.Clear();
    const unsigned char* imageRow = imageRows;
    for (int y = 0; y < layout.height; ++y, imageRow += layout.bytesPerRow) {
      const auto used = static_cast<size_t>(encoder.last - bytes.Start()) + 1;
      if (!bytes.Reserve(used, rowRoom)) return 0;
      encoder.last = bytes.Start() + used - 1;
      ReadPlane(imageRow, layout.depth, plane, layout.width, workspace.Row());
      EncodeRow(encoder, states, neighbours, workspace.Row(), raster);
      raster.NextRow();
    }
  }
  return static_cast<size_t>(FinishEncoder(encoder) - bytes.Start()) - 1;
}

}  // namespace

int K_EncodeABICWith(const unsigned char* pRows, const AbicString* pImage,
                     const kz::AbicParameters* pParameters, unsigned char** ppData,
                     uint64_t* pnSize) {
  AbicLayout layout;
  if (pRows == nullptr || pImage == nullptr || pParameters == nullptr || ppData == nullptr ||
      pnSize == nullptr || !AreValid(*pParameters) ||
      !DescribeAbicImage(pImage->width, pImage->height, pImage->depth, layout)) {
    return K_ERROR_INVALID_FORMAT;
  }
  const AbicWorkspace workspace(layout);
  if (!workspace) return K_ERROR_NO_MEMORY;
  GrowingBytes bytes;
  const size_t size = EncodeRows(pRows, layout, *pParameters, workspace, bytes);
  if (size == 0) return K_ERROR_NO_MEMORY;
  GlobalBytes data = AllocateGlobalBytes(size, 0);
  if (!data) return K_ERROR_NO_MEMORY;
  const unsigned char* code = bytes.Start() + 1;
  if (pParameters->reversedBits) {
    std::transform(code, code + size, data.get(), ReversedByte);
  } else {
    std::memcpy(data.get(), code, size);
  }
  *ppData = data.release();
  *pnSize = size;
  return K_SUCCESS;
}

int K_EncodeABIC(const unsigned char* pRows, int nAlign, int nWidth, int nHeight,
                 unsigned char** ppData, uint64_t* pnSize, int bBilevel) {
  kz::AbicParameters usual;
  if (nAlign != kRowAlignment || !FindUsualParameters(usual)) return K_ERROR_INVALID_FORMAT;
  const AbicString image = {nullptr, 0, nWidth, nHeight, bBilevel != 0 ? 1 : 4};
  return K_EncodeABICWith(pRows, &image, &usual, ppData, pnSize);
}
