#include "Toolkit/Images/ImImage.h"

#include <algorithm>
#include <string>
#include <vector>

#include "Format/FieldScan.h"
#include "Toolkit/Images/BitRows.h"

namespace kz {

namespace {

constexpr unsigned kAsDefault = 0xFFFF;
constexpr unsigned kDoubleDot = 2000;  // thousandths of a pel for an image point
constexpr uint16_t kDefaultColor = 0xFFFF;
// Cells may lie on one another, but not so often that the work leaves all proportion to
// the file and to the picture.
constexpr int64_t kMostFills = 16;

struct Cell {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;
  int fillWidth = 0;
  int fillHeight = 0;
  std::vector<unsigned char> data = {};

  size_t RowBytes() const { return (static_cast<size_t>(width) + 7) / 8; }
};

int DotsPerInch(unsigned unitBase, unsigned units, unsigned map) {
  const unsigned tenInches = unitBase == kBaseTenCentimetres ? units * 254 / 100 : units;
  return static_cast<int>(map == kDoubleDot ? tenInches / 20 : tenInches / 10);
}

// The fields of one object.
class ImObject {
 public:
  explicit ImObject(bool withData) : m_withData(withData) {}

  Outcome Read(FileWindow& file, ByteRange bytes) {
    FieldWalk walk(file, bytes.begin, bytes.end);
    for (ScannedField field; walk.Next(field);) {
      if (field.code == sf::kImRasterData) {
        TakeData(file, field);
        continue;
      }
      const ByteSpan data = DataOf(file, field);
      if (field.code == sf::kImInputDescriptor) TakeDescriptor(data);
      if (field.code == sf::kImOutputControl) TakeControl(data);
      if (field.code == sf::kImCellPosition) TakeCell(data);
    }
    if (!m_described) {
      return Failure(K_ERROR_INVALID_FORMAT, "the IM image at byte " + std::to_string(bytes.begin) +
                                                 " has no Image Input Descriptor");
    }
    FindSize();
    m_shape.xResolution = DotsPerInch(m_xBase, m_xUnits, m_xMap);
    m_shape.yResolution = DotsPerInch(m_yBase, m_yUnits, m_yMap);
    return {};
  }

  const ImImageShape& Shape() const { return m_shape; }
  const std::vector<Cell>& Cells() const { return m_cells; }
  uint16_t Color() const { return m_color; }

 private:
  static unsigned Number(ByteSpan data, size_t at) {
    return at + 2 <= data.size() ? GetBig16(data.data() + at) : 0;
  }

  void TakeDescriptor(ByteSpan data) {
    constexpr size_t xBase = 12, yBase = 13, xUnits = 14, yUnits = 16, width = 18, height = 20;
    constexpr size_t cellWidth = 28, cellHeight = 30, color = 34;
    constexpr size_t least = height + 2;
    if (m_described || data.size() < least) return;
    m_described = true;
    m_shape.width = static_cast<int>(Number(data, width));
    m_shape.height = static_cast<int>(Number(data, height));
    m_xBase = data[xBase];
    m_yBase = data[yBase];
    m_xUnits = Number(data, xUnits);
    m_yUnits = Number(data, yUnits);
    // Some have two bytes too many before the constant that precedes the size of cells.
    constexpr size_t constantAt = 26;
    constexpr unsigned constant = 0x2D00;
    const bool shifted =
        Number(data, constantAt) != constant && Number(data, constantAt + 2) == constant;
    const size_t more = shifted ? 2 : 0;
    m_cellWidth = Number(data, cellWidth + more);
    m_cellHeight = Number(data, cellHeight + more);
    if (color + more + 2 <= data.size()) {
      m_color = static_cast<uint16_t>(Number(data, color + more));
    }
  }

  void TakeControl(ByteSpan data) {
    constexpr size_t xMap = 18, yMap = 20;
    m_xMap = Number(data, xMap);
    m_yMap = Number(data, yMap);
  }

  void TakeCell(ByteSpan data) {
    const auto orDefault = [&](size_t at, unsigned fallback) {
      const unsigned value = at + 2 <= data.size() ? Number(data, at) : kAsDefault;
      return static_cast<int>(value == kAsDefault ? fallback : value);
    };
    Cell cell;
    cell.x = static_cast<int>(Number(data, 0));
    cell.y = static_cast<int>(Number(data, 2));
    cell.width = orDefault(4, m_cellWidth);
    cell.height = orDefault(6, m_cellHeight);
    cell.fillWidth = orDefault(8, static_cast<unsigned>(cell.width));
    cell.fillHeight = orDefault(10, static_cast<unsigned>(cell.height));
    m_shape.celled = true;
    m_cells.push_back(std::move(cell));
  }

  void TakeData(FileWindow& file, const ScannedField& field) {
    if (m_cells.empty()) m_cells.emplace_back();
    if (!m_withData) return;
    const ByteSpan data = DataOf(file, field);
    std::vector<unsigned char>& all = m_cells.back().data;
    all.insert(all.end(), data.begin(), data.end());
  }

  void FindSize() {
    if (!m_shape.celled && !m_cells.empty()) {
      Cell& whole = m_cells[0];
      whole.width = whole.fillWidth = m_shape.width;
      whole.height = whole.fillHeight = m_shape.height;
    }
    // The size is that of images without cells; those with cells may leave it out.
    if (!m_shape.celled || (m_shape.width > 0 && m_shape.height > 0)) return;
    for (const Cell& cell : m_cells) {
      m_shape.width = std::max(m_shape.width, cell.x + cell.fillWidth);
      m_shape.height = std::max(m_shape.height, cell.y + cell.fillHeight);
    }
  }

  bool m_withData;
  bool m_described = false;
  ImImageShape m_shape;
  std::vector<Cell> m_cells;
  unsigned m_cellWidth = 0;
  unsigned m_cellHeight = 0;
  unsigned m_xBase = 0;
  unsigned m_yBase = 0;
  unsigned m_xUnits = 0;
  unsigned m_yUnits = 0;
  unsigned m_xMap = 0;
  unsigned m_yMap = 0;
  uint16_t m_color = kDefaultColor;
};

// Puts the first `rows` rows of the cell into the bitmap, again and again where its fill
// rectangle is larger.
void Fill(const Cell& cell, size_t rows, Bitmap& bitmap) {
  const int width = std::min(cell.fillWidth, bitmap.Width() - cell.x);
  const int height = std::min(cell.fillHeight, bitmap.Height() - cell.y);
  if (width <= 0) return;
  const auto wanted = static_cast<size_t>(width);
  std::vector<unsigned char> filled((wanted + 7) / 8);
  for (int y = 0; y < height; ++y) {
    const auto row = static_cast<size_t>(y % cell.height);
    if (row >= rows) continue;
    std::fill(filled.begin(), filled.end(), static_cast<unsigned char>(0));
    size_t bits = std::min(static_cast<size_t>(cell.width), wanted);
    OrBits(filled.data(), 0, cell.data.data() + row * cell.RowBytes(), bits);
    // Each time what is there is doubled, so that a narrow cell takes no longer than others.
    for (size_t more; bits < wanted; bits += more) {
      more = std::min(bits, wanted - bits);
      OrBits(filled.data(), bits, filled.data(), more);
    }
    OrBits(bitmap.TopDownRow(cell.y + y), static_cast<size_t>(cell.x), filled.data(), wanted);
  }
}

Outcome CheckFills(const ImObject& object) {
  const ImImageShape& shape = object.Shape();
  const int64_t most = kMostFills * shape.width * shape.height;
  int64_t filled = 0;
  for (const Cell& cell : object.Cells()) {
    filled += int64_t{cell.fillWidth} * cell.fillHeight;
    if (filled > most) {
      return Failure(K_ERROR_INVALID_FORMAT,
                     "its cells cover it more than " + std::to_string(kMostFills) + " times");
    }
  }
  return {};
}

}  // namespace

Outcome DescribeImImage(FileWindow& file, const PicturePlace& place, ImImageShape& shape) {
  ImObject object(false);
  Outcome outcome = object.Read(file, place.bytes);
  if (!outcome.Ok()) return outcome;
  shape = object.Shape();
  ImageDescriptor descriptor;
  descriptor.namedColor = object.Color();
  shape.bitsPerPixel = IsColored(descriptor) ? 24 : 1;
  return {};
}

Outcome LoadImImage(FileWindow& file, const PicturePlace& place, const LoadOptions& options,
                    DecodedImage& image, bool& damaged) {
  image = {};
  damaged = false;
  ImObject object(true);
  Outcome outcome = object.Read(file, place.bytes);
  const ImImageShape& shape = object.Shape();
  if (outcome.Ok()) outcome = CheckPictureSize(shape.width, shape.height, 1, options.maxPixels);
  if (outcome.Ok()) outcome = CheckFills(object);
  if (!outcome.Ok()) return outcome;
  const int status = image.bitmap.Create(shape.width, shape.height, 1);
  if (status != K_SUCCESS) return Failure(status);
  image.bitmap.SetResolution(shape.xResolution, shape.yResolution);

  size_t missing = 0;
  for (const Cell& cell : object.Cells()) {
    if (cell.width == 0 || cell.height == 0) continue;
    const auto wanted = static_cast<size_t>(cell.height);
    const size_t rows = std::min(cell.data.size() / cell.RowBytes(), wanted);
    missing += wanted - rows;
    Fill(cell, rows, image.bitmap);
  }
  if (missing > 0 || object.Cells().empty()) {
    const std::string what =
        "the data end too early: " + std::to_string(missing) + " rows are missing";
    if (options.RefusesMissingRows() || object.Cells().empty()) return Failure(K_ERROR_READ, what);
    damaged = true;
    outcome.warnings.push_back(what);
  }
  ImageDescriptor descriptor;
  descriptor.namedColor = object.Color();
  Outcome colored = ApplyDescriptor(descriptor, image.bitmap);
  return colored.Ok() ? outcome : colored;
}

}  // namespace kz
