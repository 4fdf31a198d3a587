// Binary pbm, pgm and ppm files. They hold no resolution.
#include <cstring>

#include "Host/Toolkit/PictureFormats.h"
#include "Host/Toolkit/RowConversion.h"

namespace kz {

namespace {

constexpr size_t kWriteAtOnce = 256 * 1024;

class PnmSink : public PictureSink {
 public:
  PnmSink(int descriptor, PictureFormat format) : m_descriptor(descriptor), m_format(format) {}

  Outcome AddPage(const Bitmap& bitmap) override {
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
      Outcome outcome = WriteBytes(m_descriptor, out.data(), out.size());
      if (!outcome.Ok()) return outcome;
      out.clear();
    }
    return {};
  }

 private:
  int Depth(const Bitmap& bitmap) const {
    switch (m_format) {
      case PictureFormat::kPbm:
        return 1;
      case PictureFormat::kPgm:
        return 8;
      case PictureFormat::kPpm:
        return 24;
      default:
        return bitmap.BitsPerPixel() == 1 ? 1 : bitmap.IsGray() ? 8 : 24;
    }
  }

  int m_descriptor;
  PictureFormat m_format;
};

}  // namespace

std::unique_ptr<PictureSink> MakePnmSink(int descriptor, PictureFormat format) {
  return std::make_unique<PnmSink>(descriptor, format);
}

}  // namespace kz
