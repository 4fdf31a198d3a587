// Uncompressed image data.
#include <algorithm>
#include <cstring>

#include "API/Filters/Ica/Common/Ioca/Coders/Coders.h"
#include "API/Filters/Ica/Common/Ioca/Coders/ConvertedRows.h"
#include "API/Filters/Ica/Common/Ioca/Coders/RowDelivery.h"
#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataCollector.h"
#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataReader.h"
#include "API/Filters/Ica/Common/Ioca/Segment/ImageDataWriter.h"

namespace {

// Rows that are read at once, so that most bytes go from the file to where the rows
// go out from and not through the buffer of the file.
constexpr uint32_t kBatchBytes = 256u << 10;

}  // namespace

// The rows go out as they are read. They are measured before the first: the row
// size follows from the size of the whole, and data that end too early shall send
// no row at all.
int LoadUncompressed(Loading* load) {
  _LOADDISPATCH* dispatch = load->dispatch;
  int status = PrepareTwoColors(dispatch->pBitmap);
  if (status != K_SUCCESS) return status;
  const ImageDataStart start(load->file, load->state);
  uint32_t size = 0;
  status = MeasureImageData(load->file, &size);
  if (status != K_SUCCESS) return status;
  if (!start.Return()) return K_ERROR_READ;

  const auto height = static_cast<uint32_t>(dispatch->pBitmap->nHeight);
  const uint32_t rowSize = size / height + (size % height != 0 ? 1 : 0);
  dispatch->pBitmap->nBytesPerLine = static_cast<int32_t>(rowSize);
  const uint32_t batchRows = std::clamp(kBatchBytes / std::max(rowSize, 1u), 1u, height);
  const LocalBlock batch(size_t{batchRows} * rowSize, __LINE__, KZICA_SOURCE);
  if (!batch) return K_ERROR_NO_MEMORY;
  int result = K_MORE_ROWS;
  unsigned char* row = nullptr;
  // The height ends it, too: a callback may answer 105 itself.
  for (uint32_t n = 0; result == K_MORE_ROWS && n < height; ++n, row += rowSize) {
    if (n % batchRows == 0) {
      row = batch.get();
      const uint32_t count = std::min(batchRows * rowSize, size);
      ReadRawIMG(load->file, row, count, &status);
      if (status != K_SUCCESS) return status;
      size -= count;
      // What the data lack of a row, and of the rows after it, is 0.
      std::memset(row + count, 0, batchRows * rowSize - count);
    }
    result = K_SendRawData(dispatch, row, static_cast<int>(n + 1));
  }
  return result;
}

int SaveUncompressed(_SAVEDISPATCH* pSave, tagHANDLE* handle) {
  const _BITMAPHANDLE* bitmap = pSave->pBitmap;
  const size_t rowLength = BitsToBytes(bitmap->nWidth, pSave->nBitsPerPixel);
  const size_t room = std::max(rowLength, size_t{ThreadState()->nMaxSegmentData});
  const LocalBlock batch(room, __LINE__, KZICA_SOURCE);
  if (!batch) return K_ERROR_NO_MEMORY;
  const ConvertedRows rows(pSave);
  if (rows.status() <= 0) return rows.status();

  size_t gathered = 0;
  int status = K_SUCCESS;
  for (int row = 0; row < bitmap->nHeight; ++row) {
    if (gathered + rowLength > room) {
      WriteRawIMG(handle, batch.get(), static_cast<unsigned>(gathered), &status);
      if (status != K_SUCCESS) return status;
      gathered = 0;
    }
    const int result = rows.CopyRow(row, batch.get() + gathered, rowLength);
    if (result <= 0) return result;
    gathered += rowLength;
  }
  WriteRawIMG(handle, batch.get(), static_cast<unsigned>(gathered), &status);
  return status;
}
