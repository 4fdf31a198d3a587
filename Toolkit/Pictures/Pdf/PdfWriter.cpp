// PDF (ISO 32000-1) files of one picture a page, written front to back.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "Toolkit/Imaging/FaxData.h"
#include "Toolkit/Pictures/Pdf/PdfData.h"
#include "Toolkit/Pictures/PictureFormats.h"
#include "Toolkit/Pictures/Png/Deflate.h"

namespace kz {

namespace {

constexpr double kPointsPerInch = 72;
constexpr int kDefaultResolution = 96;
// The largest page side that every reader takes, in units of a point or larger.
constexpr double kMaxPageSide = 14400;

// Objects 1 and 2 are the catalog and the page tree, which comes last.
constexpr int kPageTree = 2;
constexpr int kObjectsPerPage = 3;  // page, contents, image

std::string Number(double value) {
  // With a point, whatever the host's language writes.
  char text[32];
  const auto end = std::to_chars(text, text + sizeof(text), value, std::chars_format::fixed, 4);
  return {text, end.ptr};
}

std::string Reference(int object) { return std::to_string(object) + " 0 R"; }

// The page tree's children are listed when all are known.
int PageObject(int page) { return kPageTree + 1 + page * kObjectsPerPage; }

double PageSide(int pixels, int resolution) {
  return pixels * kPointsPerInch / (resolution > 0 ? resolution : kDefaultResolution);
}

// An image and what its page needs to know of it.
struct PdfImage : PreparedPicture {
  int width = 0;
  int height = 0;
  int xResolution = 0;
  int yResolution = 0;
  bool bottomUp = false;
  std::string entries;              // of the image's dictionary
  std::vector<unsigned char> data;  // as they are in the file
};

class PdfSink : public PictureSink {
 public:
  // The second line tells transfer programs that the file isn't text.
  explicit PdfSink(int descriptor)
      : m_descriptor(descriptor), m_text("%PDF-1.6\n%\xE2\xE3\xCF\xD3\n") {
    Begin(1);
    m_text += "<< /Type /Catalog /Pages " + Reference(kPageTree) + " >>\nendobj\n";
  }

  Outcome Prepare(const Bitmap& bitmap, std::unique_ptr<PreparedPicture>& prepared) const override {
    auto image = std::make_unique<PdfImage>();
    image->width = bitmap.Width();
    image->height = bitmap.Height();
    image->xResolution = bitmap.XResolution();
    image->yResolution = bitmap.YResolution();
    Outcome outcome =
        bitmap.BitsPerPixel() == 1 ? Group4Image(bitmap, *image) : DeflatedImage(bitmap, *image);
    prepared = std::move(image);
    return outcome;
  }

  Outcome AddPrepared(PreparedPicture& prepared) override {
    const auto& image = static_cast<const PdfImage&>(prepared);
    return AddImage(image, image.data);
  }

  bool Takes(const PictureData& data) const override { return PdfTakes(data); }

  Outcome AddData(const PictureData& data) override {
    PdfImage image;
    image.width = data.width;
    image.height = data.height;
    image.xResolution = data.xResolution;
    image.yResolution = data.yResolution;
    image.bottomUp = data.bottomUp;
    image.entries = PdfEntries(data);
    return AddImage(image, data.data);
  }

  Outcome Finish() override {
    Outcome outcome = CheckRoom(0);
    if (!outcome.Ok()) return outcome;
    Begin(kPageTree);
    m_text += "<< /Type /Pages /Count " + std::to_string(m_pages) + " /Kids [";
    for (int i = 0; i < m_pages; ++i) {
      m_text += Reference(PageObject(i));
      m_text += ' ';
      if (outcome = WriteLongText(); !outcome.Ok()) return outcome;
    }
    m_text += "] >>\nendobj\n";
    const uint64_t table = m_written + m_text.size();
    const std::string count = std::to_string(m_offsets.size());
    m_text += "xref\n0 " + count + "\n0000000000 65535 f \n";
    for (size_t i = 1; i < m_offsets.size(); ++i) {
      char entry[32];
      (void)std::snprintf(entry, sizeof(entry), "%010llu 00000 n \n",
                          static_cast<unsigned long long>(m_offsets[i]));
      m_text += entry;
      if (outcome = WriteLongText(); !outcome.Ok()) return outcome;
    }
    m_text += "trailer\n<< /Size " + count + " /Root " + Reference(1) + " >>\nstartxref\n" +
              std::to_string(table) + "\n%%EOF\n";
    return WriteText();
  }

 private:
  Outcome AddImage(const PdfImage& image, const std::vector<unsigned char>& data) {
    Outcome outcome = CheckRoom(data.size());
    if (!outcome.Ok()) return outcome;
    const int page = PageObject(m_pages++);
    const int contents = page + 1;
    const int picture = page + 2;
    const double x = PageSide(image.width, image.xResolution);
    const double y = PageSide(image.height, image.yResolution);
    const double unit = std::max({1.0, x / kMaxPageSide, y / kMaxPageSide});
    const std::string width = Number(x / unit);
    const std::string height = Number(y / unit);
    Begin(page);
    m_text += "<< /Type /Page /Parent " + Reference(kPageTree) + " /MediaBox [0 0 " + width + " " +
              height + "] /Contents " + Reference(contents) + " /Resources << /XObject << /Im " +
              Reference(picture) + " >> >>" + (unit > 1 ? " /UserUnit " + Number(unit) : "") +
              " >>\nendobj\n";
    // An image's first row is at the upper edge of the unit square.
    const std::string placed =
        image.bottomUp ? " 0 0 -" + height + " 0 " + height : " 0 0 " + height + " 0 0";
    const std::string draw = "q " + width + placed + " cm /Im Do Q";
    Begin(contents);
    m_text += "<< /Length " + std::to_string(draw.size()) + " >>\nstream\n" + draw +
              "\nendstream\nendobj\n";
    Begin(picture);
    m_text += "<< /Type /XObject /Subtype /Image /Width " + std::to_string(image.width) +
              " /Height " + std::to_string(image.height) + image.entries + " /Length " +
              std::to_string(data.size()) + " >>\nstream\n";
    outcome = WriteText();
    if (outcome.Ok()) outcome = Write(data.data(), data.size());
    m_text = "\nendstream\nendobj\n";
    return outcome;
  }

  // The cross-reference table has ten digits for where an object begins.
  Outcome CheckRoom(uint64_t bytes) const {
    constexpr uint64_t kLargestOffset = 9'999'999'999;
    constexpr uint64_t kBesideData = 16384;  // what a page takes besides, and more
    if (m_written + bytes + kBesideData <= kLargestOffset) return {};
    return Failure(K_ERROR_WRITE, "the pages take more than the 10 GB that a pdf can have");
  }

  // Starts an object at the end of what is written so far.
  void Begin(int object) {
    const auto index = static_cast<size_t>(object);
    if (m_offsets.size() <= index) m_offsets.resize(index + 1);
    m_offsets[index] = m_written + m_text.size();
    m_text += std::to_string(object) + " 0 obj\n";
  }

  Outcome Write(const void* bytes, size_t count) {
    m_written += count;
    return WriteBytes(m_descriptor, bytes, count);
  }

  Outcome WriteText() {
    Outcome outcome = Write(m_text.data(), m_text.size());
    m_text.clear();
    return outcome;
  }

  // Keeps what isn't written from growing with the pages.
  Outcome WriteLongText() {
    constexpr size_t kMuch = size_t{64} * 1024;
    return m_text.size() < kMuch ? Outcome{} : WriteText();
  }

  static Outcome Group4Image(const Bitmap& bitmap, PdfImage& image) {
    PictureData data;
    data.width = bitmap.Width();
    data.height = bitmap.Height();
    data.endsWithMarker = true;
    image.entries = PdfEntries(data);
    return EncodeGroup4(bitmap, image.data);
  }

  static std::string ColorSpace(const Bitmap& bitmap, bool mapped) {
    if (bitmap.BitsPerPixel() == 24) return "/DeviceRGB";
    if (!mapped) return "/DeviceGray";
    std::string space = "[/Indexed /DeviceRGB " + std::to_string(bitmap.Colors() - 1) + " <";
    for (int i = 0; i < bitmap.Colors(); ++i) {
      char entry[8];
      const unsigned char* color = bitmap.Palette() + ptrdiff_t{4} * i;
      (void)std::snprintf(entry, sizeof(entry), "%02X%02X%02X", color[0], color[1], color[2]);
      space += entry;
    }
    return space + ">]";
  }

  static Outcome DeflatedImage(const Bitmap& bitmap, PdfImage& image) {
    const int depth = bitmap.BitsPerPixel();
    FilteredRows rows;
    const int status = rows.Begin(bitmap);
    if (status != K_SUCCESS) return Failure(status);
    const std::string component = std::to_string(depth == 24 ? 8 : depth);
    image.entries = " /ColorSpace " + ColorSpace(bitmap, rows.Mapped()) + " /BitsPerComponent " +
                    component + " /Filter /FlateDecode /DecodeParms << /Predictor 15 /Colors " +
                    (depth == 24 ? "3" : "1") + " /BitsPerComponent " + component + " /Columns " +
                    std::to_string(bitmap.Width()) + " >>";
    return DeflateRows(rows, [&image](const void* bytes, size_t count) {
      const auto* from = static_cast<const unsigned char*>(bytes);
      image.data.insert(image.data.end(), from, from + count);
      return Outcome{};
    });
  }

  int m_descriptor;
  int m_pages = 0;
  std::string m_text;  // not written yet
  uint64_t m_written = 0;
  std::vector<uint64_t> m_offsets;  // of the objects, by number
};

}  // namespace

std::unique_ptr<PictureSink> MakePdfSink(int descriptor) {
  return std::make_unique<PdfSink>(descriptor);
}

}  // namespace kz
