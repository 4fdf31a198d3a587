// Loads a picture: sets the filter up and takes its rows, or decodes ABIC data.
#include <algorithm>
#include <cstring>

#include "Toolkit/Base/ReversedBits.h"
#include "Toolkit/Documents/ImageReader.h"
#include "Toolkit/Images/Coders/AbicImage.h"
#include "Toolkit/Imaging/MemoryLoader.h"

namespace kz {

namespace {

// Takes the rows of a load into a bitmap. The rows may belong to a temporary
// bitmap that is wider, and may start over from the first.
class RowTaker {
 public:
  RowTaker(Bitmap& bitmap, const PictureInfo& info, size_t storedRowBits)
      : m_bitmap(bitmap),
        m_rowBytes(
            (static_cast<size_t>(bitmap.Width()) * static_cast<size_t>(bitmap.BitsPerPixel()) + 7) /
            8),
        m_stride(static_cast<size_t>(bitmap.BytesPerLine())),
        m_storedRowBits(storedRowBits),
        m_reversed(info.reversedBits) {
    const unsigned spare =
        static_cast<unsigned>(m_rowBytes * 8 - static_cast<size_t>(bitmap.Width()) *
                                                   static_cast<size_t>(bitmap.BitsPerPixel()));
    m_lastByteMask = static_cast<unsigned char>(0xFF << spare);
  }

  static int Take(void* context, _BITMAPHANDLE* from, unsigned char* rows, uint32_t, int row,
                  int count, void*) {
    auto* taker = static_cast<RowTaker*>(context);
    const auto bytes = static_cast<size_t>(from->nBytesPerLine);
    for (int i = 0; i < count; ++i) {
      const unsigned char* data = rows + static_cast<size_t>(i) * bytes;
      const int status = taker->m_storedRowBits == 0
                             ? taker->TakeRow(data, bytes, row + i, from->nBitsPerPixel)
                             : taker->TakeSlice(data, bytes, row + i);
      if (status != K_SUCCESS) return status;
    }
    return K_SUCCESS;
  }

  bool Complete() const { return m_next == m_bitmap.Height(); }

 private:
  bool Expect(int row) {
    if (row == 0) m_next = 0;
    return row == m_next++ && row < m_bitmap.Height();
  }

  unsigned char* StoredRow(size_t row) { return m_bitmap.Handle()->pRows + row * m_stride; }

  int TakeRow(const unsigned char* data, size_t bytes, int row, int bitsPerPixel) {
    if (!Expect(row) || bitsPerPixel != m_bitmap.BitsPerPixel()) return K_ERROR_INVALID_FORMAT;
    if (bytes < m_rowBytes) return K_ERROR_READ;
    unsigned char* to = StoredRow(static_cast<size_t>(row));
    std::memcpy(to, data, m_rowBytes);
    to[m_rowBytes - 1] &= m_lastByteMask;
    return K_SUCCESS;
  }

  // Uncompressed data come in as many slices as the picture has rows, but the
  // slices are rows only if the data are a multiple of them. Together they are
  // the stored data, which are laid out anew.
  int TakeSlice(const unsigned char* data, size_t bytes, int slice) {
    if (!Expect(slice)) return K_ERROR_INVALID_FORMAT;
    const auto height = static_cast<size_t>(m_bitmap.Height());
    size_t at = static_cast<size_t>(slice) * bytes;
    if (m_storedRowBits % 8 != 0) return TakeBits(data, bytes, at * 8);
    const size_t storedRowBytes = m_storedRowBits / 8;
    const size_t end = at + bytes;
    while (at < end) {
      const size_t row = at / storedRowBytes;
      const size_t column = at % storedRowBytes;
      const size_t n = std::min(end - at, storedRowBytes - column);
      if (row >= height) break;
      if (column < m_rowBytes) CopyPart(row, column, data, std::min(n, m_rowBytes - column));
      data += n;
      at += n;
    }
    return K_SUCCESS;
  }

  // The same for rows that begin within bytes, from bit `at` of the data on.
  int TakeBits(const unsigned char* data, size_t bytes, size_t at) {
    size_t row = at / m_storedRowBits;
    size_t column = at % m_storedRowBits;
    for (size_t bit = 0; bit < 8 * bytes && row < static_cast<size_t>(m_bitmap.Height()); ++bit) {
      const unsigned char byte = m_reversed ? kReversedBytes[data[bit / 8]] : data[bit / 8];
      if ((byte >> (7 - bit % 8) & 1) != 0) {
        StoredRow(row)[column / 8] |= static_cast<unsigned char>(0x80 >> column % 8);
      }
      if (++column == m_storedRowBits) {
        column = 0;
        ++row;
      }
    }
    return K_SUCCESS;
  }

  void CopyPart(size_t row, size_t column, const unsigned char* data, size_t count) {
    unsigned char* to = StoredRow(row) + column;
    if (m_reversed) {
      std::transform(data, data + count, to, [](unsigned char b) { return kReversedBytes[b]; });
    } else {
      std::memcpy(to, data, count);
    }
    if (column + count == m_rowBytes) to[count - 1] &= m_lastByteMask;
  }

  Bitmap& m_bitmap;
  size_t m_rowBytes;       // that the picture needs of a row
  size_t m_stride;         // of the bitmap; a load may change its record
  size_t m_storedRowBits;  // of uncompressed data; 0: slices are rows
  bool m_reversed;
  unsigned char m_lastByteMask = 0xFF;
  int m_next = 0;
};

// Replaces what the page says of size and depth by what its JPEG data say.
Outcome ApplyJpegFrame(ImageReader& reader, PictureInfo& info, std::vector<std::string>& warnings) {
  JpegFrame frame;
  Outcome outcome = reader.ReadJpegFrame(frame);
  if (!outcome.Ok()) return outcome;
  if (info.bitsPerPixel == 1) info.bitsPerPixel = frame.components == 1 ? 8 : 24;
  if (frame.width != info.width || frame.height != info.height) {
    warnings.push_back("the JPEG data hold " + SizeText(frame.width, frame.height) +
                       ", the page says " + SizeText(info.width, info.height));
    info.width = frame.width;
    info.height = frame.height;
  }
  return {};
}

// Finds the length of the stored rows: whole bytes, more when the rows are padded,
// or just the pixels.
Outcome FindStoredRowBits(ImageReader& reader, const PictureInfo& info, size_t& storedRowBits,
                          std::vector<std::string>& warnings) {
  const auto height = static_cast<uint64_t>(info.height);
  const auto rowBits = static_cast<uint64_t>(info.width) * static_cast<uint64_t>(info.bitsPerPixel);
  const uint64_t padded = height * ((rowBits + 7) / 8);
  uint64_t bytes = 0;
  Outcome outcome = reader.CountImageData(bytes);
  if (!outcome.Ok()) return outcome;
  // Data with room for padding have it, whatever the page says.
  const bool unpadded = info.unpaddedRows && bytes < padded;
  const uint64_t needed = unpadded ? (height * rowBits + 7) / 8 : padded;
  if (bytes < needed) {
    return Failure(K_ERROR_READ, "the data end too early: " + std::to_string(bytes) + " of " +
                                     std::to_string(needed) + " bytes");
  }
  storedRowBits = static_cast<size_t>(unpadded              ? rowBits
                                      : bytes % height == 0 ? bytes / height * 8
                                                            : padded / height * 8);
  if (unpadded ? bytes > needed : bytes % height != 0) {
    warnings.push_back(std::to_string(bytes - needed) +
                       " bytes behind the image data are left out");
  }
  return {};
}

Outcome RunLoad(const std::string& file, Bitmap& bitmap, size_t storedRowBits,
                const PictureInfo& info, std::vector<std::string>& warnings, bool& damaged) {
  RowTaker taker(bitmap, info, storedRowBits);
  _LOADOPTIONS options = {sizeof(options), 0, 0, 0, 1};
  _LOADDISPATCH dispatch = {};
  dispatch.pszFileName = file.c_str();
  dispatch.pBitmap = bitmap.Handle();
  dispatch.pfnCallback = RowTaker::Take;
  dispatch.pContext = &taker;
  dispatch.pLoadOptions = &options;
  dispatch.pfnLoadMemory = LoadMemory;
  dispatch.pfnSetLoadInfoCallback = SetLoadInfoCallback;
  const int perspective = bitmap.Handle()->nViewPerspective;
  const int bytesPerLine = bitmap.BytesPerLine();
  const int status = fltLoad(&dispatch);
  // A load notes the layout of the stored rows in the target's record.
  bitmap.Handle()->nViewPerspective = perspective;
  bitmap.Handle()->nBytesPerLine = bytesPerLine;
  if (status != K_SUCCESS) return Failure(status);
  if (!taker.Complete()) return Failure(K_ERROR_READ);

  if (info.coding == Coding::Fax && dispatch.nLoadError == K_ERROR_INVALID_FORMAT) {
    warnings.emplace_back("damaged lines were replaced by the lines above them");
    damaged = true;
  } else if (info.coding == Coding::Jpeg && LastMemoryLoadDamage() != K_SUCCESS) {
    warnings.emplace_back("the JPEG data are damaged, parts of the picture are wrong");
    damaged = true;
  }
  return {};
}

Outcome LoadAbic(ImageReader& reader, const LoadOptions& options, const PictureInfo& info,
                 Bitmap& bitmap, bool& damaged) {
  if (info.bitsPerPixel > 1 && reader.HasMarkedSamples()) return Failure(K_ERROR_INVALID_FORMAT);
  std::vector<unsigned char> data;
  Outcome outcome = reader.ReadImageData(data);
  if (!outcome.Ok()) return outcome;
  if (info.reversedBits) ReverseBits(data);
  const CodedRows decoded =
      DecodeAbicImage(data,
                      {info.width, info.height, info.bitsPerPixel, info.unpaddedRows,
                       info.topDown ? K_VIEW_TOP_DOWN : K_VIEW_BOTTOM_UP},
                      bitmap);
  if (decoded.rows == 0) return Failure(decoded.status, decoded.what);
  bitmap.SetResolution(info.xResolution, info.yResolution);
  if (info.bitsPerPixel > 1) {
    bitmap.Handle()->nColors = 1 << info.bitsPerPixel;
    if (K_CreateBitmapGrayPalette(bitmap.Handle()) < 0) return Failure(K_ERROR_NO_MEMORY);
  }
  if (!decoded.damaged) return outcome;
  damaged = true;
  const bool endsEarly = decoded.status == K_ERROR_READ;
  if (options.strict || (options.complete && endsEarly)) {
    return Failure(endsEarly ? K_ERROR_READ : K_ERROR_INVALID_FORMAT, decoded.what);
  }
  outcome.warnings.push_back(decoded.what);
  return outcome;
}

}  // namespace

Outcome LoadFirstPicture(FileWindow& window, const std::string& file, Container container,
                         const LoadOptions& options, Bitmap& bitmap, PictureInfo& info,
                         bool& damaged) {
  damaged = false;
  std::vector<std::string> warnings;
  size_t storedRowBits = 0;
  {
    ImageReader reader(window);
    Outcome outcome = reader.Open(file, container);
    if (outcome.Ok()) outcome = reader.Describe(info);
    if (outcome.Ok() && info.coding == Coding::Jpeg) {
      outcome = ApplyJpegFrame(reader, info, warnings);
    }
    if (outcome.Ok()) {
      outcome = CheckPictureSize(info.width, info.height, info.bitsPerPixel, options.maxPixels);
    }
    if (outcome.Ok() && info.coding == Coding::Uncompressed) {
      outcome = FindStoredRowBits(reader, info, storedRowBits, warnings);
    }
    if (outcome.Ok() && info.coding == Coding::Abic) {
      return LoadAbic(reader, options, info, bitmap, damaged);
    }
    if (!outcome.Ok()) return outcome;
  }
  const int status = bitmap.Create(info.width, info.height, info.bitsPerPixel, K_ORDER_BGR,
                                   info.topDown ? K_VIEW_TOP_DOWN : K_VIEW_BOTTOM_UP);
  if (status != K_SUCCESS) return Failure(status);
  bitmap.SetResolution(info.xResolution, info.yResolution);
  Outcome outcome = RunLoad(file, bitmap, storedRowBits, info, warnings, damaged);
  outcome.warnings = std::move(warnings);
  return outcome;
}

}  // namespace kz
