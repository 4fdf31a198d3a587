#include <algorithm>
#include <cstring>

#include "Host/Abic/Abic.h"
#include "Host/Abic/AbicImage.h"

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
                  AbicWorkspace& workspace, GrowingBytes& bytes) {
  const size_t rowRoom = static_cast<size_t>(layout.width) * kMaxBytesPerDecision + kMaxFinishBytes;
  if (!bytes.Reserve(0, 1 + rowRoom)) return 0;
  ArithmeticEncoder encoder = StartEncoder(bytes.Start());
  for (int plane = layout.depth - 1; plane >= 0; --plane) {
    workspace.rows.NextPlane();
    const unsigned char* imageRow = imageRows;
    for (int y = 0; y < layout.height; ++y, imageRow += layout.bytesPerRow) {
      const auto used = static_cast<size_t>(encoder.last - bytes.Start()) + 1;
      if (!bytes.Reserve(used, rowRoom)) return 0;
      encoder.last = bytes.Start() + used - 1;
      ReadPlane(imageRow, layout.depth, plane, layout.width, workspace.rows.Current());
      EncodePlaneRow(encoder, workspace.states, workspace.rows, layout.width);
      workspace.rows.NextRow();
    }
  }
  return static_cast<size_t>(FinishEncoder(encoder) - bytes.Start()) - 1;
}

}  // namespace

int K_EncodeABIC(const unsigned char* pRows, int nAlign, int nWidth, int nHeight,
                 unsigned char** ppData, uint64_t* pnSize, int bBilevel) {
  AbicLayout layout;
  if (pRows == nullptr || ppData == nullptr || pnSize == nullptr ||
      !DescribeAbicImage(nAlign, nWidth, nHeight, bBilevel != 0, layout)) {
    return K_ERROR_INVALID_FORMAT;
  }
  const LocalBlock memory(sizeof(AbicWorkspace), __LINE__, kAbicSource);
  if (!memory) return K_ERROR_NO_MEMORY;
  GrowingBytes bytes;
  const size_t size = EncodeRows(pRows, layout, *new (memory.get()) AbicWorkspace{}, bytes);
  if (size == 0) return K_ERROR_NO_MEMORY;
  GlobalBytes data = AllocateGlobalBytes(size, 0);
  if (!data) return K_ERROR_NO_MEMORY;
  std::memcpy(data.get(), bytes.Start() + 1, size);
  *ppData = data.release();
  *pnSize = size;
  return K_SUCCESS;
}
