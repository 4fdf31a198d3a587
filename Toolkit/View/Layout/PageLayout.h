// What stands where on a page: sizes, and items in the order in which they are drawn.
//
// All lengths are points, x to the right and y down from the top left corner of the page.
// Rotations are 0, 90, 180 or 270 degrees, clockwise.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/Document.h"

namespace kz {

// An origin, and where the x axis of what stands there points.
struct Placement {
  double x = 0;
  double y = 0;
  int rotation = 0;
  // The place of something that stands in what stands here.
  Placement Then(double alongX, double alongY, int rotated) const;
};

// A rectangle along the axes of the page.
struct PageRectangle {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
};
// What a rectangle at the origin of a placement covers of the page.
K_EXPORT PageRectangle Covered(const Placement& at, double width, double height);

using PageColor = std::array<unsigned char, 3>;  // red, green, blue

// A picture, and the area that shows it. Nothing is seen outside of the area.
struct PlacedPicture {
  ShownPicture shown;
  Placement area;
  double width = 0;  // of the area
  double height = 0;
  Placement content;  // of the whole picture, within the area
  double contentWidth = 0;
  double contentHeight = 0;
  bool replicated = false;  // in both directions, from the content on, until the area is full
};

// The shapes of letters that a font's own are replaced with.
enum class Face : uint8_t { Serif, Sans, Mono };

struct TextStyle {
  Face face = Face::Mono;
  bool bold = false;
  bool italic = false;
  bool underlined = false;
  double size = 10;       // of the font
  double blank = -1;      // width of a blank; below 0: the font's own
  double adjustment = 0;  // after characters other than blanks, in addition to the font's own
  PageColor color = {};
  bool operator==(const TextStyle&) const = default;
};

struct PlacedText {
  std::string text;  // UTF-8 without control characters
  Placement at;      // where its baseline begins, and its direction
  TextStyle style;
  double advance = 0;  // its width
  // What it mustn't be wider than, since more text was moved to there; 0: not known.
  double room = 0;
};

struct PlacedRule {
  PageRectangle at;
  PageColor color = {};
};

// Something that isn't drawn: graphics, bar codes, what can't be found.
struct PlacedBox {
  PageRectangle at;
  std::string label;
};

using PageItem = std::variant<PlacedPicture, PlacedText, PlacedRule, PlacedBox>;

struct PageLayout {
  int page = 0;
  double width = 0;
  double height = 0;
  std::vector<PageItem> items;
  // What isn't as the document says it: limits that were reached, what isn't there.
  std::vector<std::string> warnings;
};

// Adds a warning of a page that isn't among them, up to a limit.
K_EXPORT void AddWarning(std::vector<std::string>& warnings, std::string what);

// How wide a text is in a style, without its adjustment and width of blanks.
using MeasureText = std::function<double(std::string_view text, const TextStyle& style)>;
// A guess that needs no fonts.
K_EXPORT double GuessedWidth(std::string_view text, const TextStyle& style);

// Lays out the pages of a document, which must stay and be open. What is done for a page is
// bounded, whatever its fields say: see the limits.
class K_EXPORT LayoutReader {
 public:
  // Items of a page, bytes of its text, fields that are looked at for it and their bytes, those
  // of what it includes every time, and how deep includes go.
  static constexpr size_t kMostItems = 20'000;
  static constexpr size_t kMostText = 1'000'000;
  static constexpr size_t kMostFields = 200'000;
  static constexpr int64_t kMostBytes = int64_t{256} << 20;  // without those of pictures
  static constexpr int kMostDepth = 8;
  // Pages are no larger: 200 inches.
  static constexpr double kMostSize = 200 * 72;

  // `measure` tells where text goes on when only its characters say so.
  explicit LayoutReader(const Document& document, MeasureText measure = GuessedWidth);
  ~LayoutReader();
  LayoutReader(const LayoutReader&) = delete;
  LayoutReader& operator=(const LayoutReader&) = delete;

  // Lays out a page, counted from 1. A page that doesn't say its size is as large as what is
  // on it. Fails with -9 for a page that isn't there, -10 when the file can't be opened, and
  // -1 for no memory.
  Outcome Read(int page, PageLayout& layout);

 private:
  class Shared;
  std::unique_ptr<Shared> m_shared;
};

}  // namespace kz
