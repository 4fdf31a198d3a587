// The layout of a file's first pages, and now and then their drawing: what stands on a page
// stands somewhere, is of the document, and can be drawn in each format.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Fuzz/MemoryDisk.h"
#include "Fuzz/MemoryPath.h"
#include "Toolkit/View/Layout/PageLayout.h"
#include "Toolkit/View/PageRenderer.h"

namespace {

using kz::LayoutReader;

constexpr int kMaxPages = 3;
constexpr int64_t kMaxPixels = 1 << 18;
constexpr double kFarthest = 1e9;  // points
// One input in so many is drawn.
constexpr size_t kDrawn = 8;

void RequireNumber(double number) { Require(std::abs(number) < kFarthest, "numbers are numbers"); }

void RequirePlace(const kz::Placement& at) {
  RequireNumber(at.x);
  RequireNumber(at.y);
  Require(at.rotation % 90 == 0 && at.rotation >= 0 && at.rotation < 360, "rotations are quarters");
}

void RequireArea(const kz::PageRectangle& at) {
  for (const double number : {at.x, at.y, at.width, at.height}) RequireNumber(number);
  Require(at.width >= 0 && at.height >= 0, "areas have a size");
}

struct RequireItem {
  const kz::Document& document;

  void operator()(const kz::PlacedPicture& picture) const {
    Require(picture.shown.document == &document && picture.shown.picture >= 1 &&
                static_cast<size_t>(picture.shown.picture) <= document.Index().pictures.size(),
            "the picture is there");
    RequirePlace(picture.area);
    RequirePlace(picture.content);
    for (const double side :
         {picture.width, picture.height, picture.contentWidth, picture.contentHeight}) {
      RequireNumber(side);
      Require(side > 0, "what is shown has a size");
    }
  }
  void operator()(const kz::PlacedText& text) const {
    RequirePlace(text.at);
    RequireNumber(text.advance);
    RequireNumber(text.room);
    RequireNumber(text.style.blank);
    RequireNumber(text.style.adjustment);
    Require(text.style.size > 0 && text.style.size < kFarthest, "letters have a size");
    Require(std::none_of(text.text.begin(), text.text.end(),
                         [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }),
            "text has no control characters");
  }
  void operator()(const kz::PlacedRule& rule) const { RequireArea(rule.at); }
  void operator()(const kz::PlacedBox& box) const { RequireArea(box.at); }
};

// A folder for what is drawn, which goes with the program.
class Folder {
 public:
  Folder() : m_path(std::filesystem::temp_directory_path() / "layoutXXXXXX") {
    Require(mkdtemp(m_path.data()) != nullptr, "there is a folder for temporary files");
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  std::string File() const { return m_path + "/drawn"; }

 private:
  std::string m_path;
};

void Draw(const kz::Document& document, size_t choice) {
  static const Folder folder;
  kz::RenderOptions options;
  options.dpi = 5;
  options.load.maxPixels = kMaxPixels;
  if (choice % 2 != 0) options.text = kz::RenderedText::kInvisible;
  const kz::RenderFormatRow& row = kz::kRenderFormats[choice % std::size(kz::kRenderFormats)];
  kz::PageRenderer renderer(document, options);
  const kz::Outcome drawn = renderer.Write({1}, row.format, folder.File(), {});
  Require(drawn.Ok(), ("a page can be drawn: " + drawn.what).c_str());
}

}  // namespace

// What fontconfig keeps of the system's configuration isn't ours.
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig"; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const MemoryPath file(data, size);
  kz::Document document(file.Path());
  if (!file.Complete() || !document.Open().Ok()) return 0;
  LayoutReader reader(document);
  const int pages = std::min(document.Pages(), kMaxPages);
  for (int page = 1; page <= pages; ++page) {
    kz::PageLayout layout;
    Require(reader.Read(page, layout).Ok(), "a page can be laid out");
    Require(layout.width > 0 && layout.width <= LayoutReader::kMostSize && layout.height > 0 &&
                layout.height <= LayoutReader::kMostSize,
            "a page has a size");
    Require(layout.items.size() <= LayoutReader::kMostItems, "a page has only so much on it");
    for (const kz::PageItem& item : layout.items) std::visit(RequireItem{document}, item);
  }
  if (pages > 0 && size % kDrawn == 0) Draw(document, size / kDrawn);
  return 0;
}
