#include "Host/Abic/Abic.h"
#include "Host/Abic/AbicImage.h"

namespace {

// Whether the code string can be long enough for the image: A lasts for at most
// half the interval's decisions before it is doubled, which takes a bit of the
// string. This keeps a few bytes from asking for a big image.
bool CanHold(unsigned int size, const AbicLayout& layout) {
  const int64_t decisions = int64_t{layout.width} * layout.height * layout.depth;
  return decisions / kHalfInterval <= int64_t{size} * 8 + kMaxFillBits;
}

bool DecodeRows(ArithmeticDecoder decoder, const AbicLayout& layout, AbicWorkspace& workspace,
                unsigned char* imageRows) {
  for (int plane = layout.depth - 1; plane >= 0; --plane) {
    workspace.rows.NextPlane();
    unsigned char* imageRow = imageRows;
    for (int y = 0; y < layout.height; ++y, imageRow += layout.bytesPerRow) {
      DecodePlaneRow(decoder, workspace.states, workspace.rows, layout.width);
      if (IsPastEnd(decoder)) return false;
      WritePlane(workspace.rows.Current(), layout.depth, plane, layout.width, imageRow);
      workspace.rows.NextRow();
    }
  }
  return true;
}

}  // namespace

int K_DecodeABIC(const unsigned char* pData, unsigned int nSize, unsigned char** ppRows, int nAlign,
                 int nWidth, int nHeight, int bBilevel) {
  AbicLayout layout;
  if (ppRows == nullptr || !DescribeAbicImage(nAlign, nWidth, nHeight, bBilevel != 0, layout)) {
    return K_ERROR_INVALID_FORMAT;
  }
  if (pData == nullptr || nSize == 0 || !CanHold(nSize, layout)) return K_ERROR_READ;

  const LocalBlock memory(sizeof(AbicWorkspace), __LINE__, kAbicSource);
  if (!memory) return K_ERROR_NO_MEMORY;
  GlobalBytes rows =
      AllocateGlobalBytes(layout.bytesPerRow * static_cast<size_t>(layout.height), kZeroFilled);
  if (!rows) return K_ERROR_NO_MEMORY;
  const bool whole = DecodeRows(StartDecoder(pData, nSize), layout,
                                *new (memory.get()) AbicWorkspace{}, rows.get());
  if (!whole) return K_ERROR_READ;
  *ppRows = rows.release();
  return K_SUCCESS;
}
