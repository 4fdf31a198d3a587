#include "Toolkit/View/Layout/PageLayout.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "Toolkit/View/Layout/LayoutWalk.h"

namespace kz {

Placement Placement::Then(double alongX, double alongY, int rotated) const {
  Placement there = {x, y, (rotation + rotated) % 360};
  switch (rotation) {
    case 90:
      there.x -= alongY;
      there.y += alongX;
      break;
    case 180:
      there.x -= alongX;
      there.y -= alongY;
      break;
    case 270:
      there.x += alongY;
      there.y -= alongX;
      break;
    default:
      there.x += alongX;
      there.y += alongY;
  }
  return there;
}

PageRectangle Covered(const Placement& at, double width, double height) {
  const Placement end = at.Then(width, height, 0);
  return {std::min(at.x, end.x), std::min(at.y, end.y), std::abs(end.x - at.x),
          std::abs(end.y - at.y)};
}

void AddWarning(std::vector<std::string>& warnings, std::string what) {
  constexpr size_t most = 40;
  const bool known = std::find(warnings.begin(), warnings.end(), what) != warnings.end();
  if (!known && warnings.size() < most) warnings.push_back(std::move(what));
}

double GuessedWidth(std::string_view text, const TextStyle& style) {
  const auto characters = std::count_if(text.begin(), text.end(), [](char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
  });
  const double perSize = style.face == Face::Mono ? 0.6 : 0.5;
  return static_cast<double>(characters) * perSize * style.size;
}

class LayoutReader::Shared {
 public:
  Shared(const Document& document, MeasureText measure)
      : m_document(document), m_measure(std::move(measure)) {}

  Outcome Read(int page, PageLayout& layout) {
    layout = {};
    layout.page = page;
    if (page < 1 || page > m_document.Pages()) {
      return Failure(K_ERROR_INVALID_FORMAT, "there is no page " + std::to_string(page));
    }
    Outcome outcome;
    LayoutSource* source = m_sources.Get(m_document, outcome);
    if (source != nullptr) LayoutWalk(m_sources, m_measure, layout).TakePage(*source, page);
    return outcome;
  }

 private:
  const Document& m_document;
  MeasureText m_measure;
  LayoutSources m_sources;
};

LayoutReader::LayoutReader(const Document& document, MeasureText measure)
    : m_shared(std::make_unique<Shared>(document, std::move(measure))) {}

LayoutReader::~LayoutReader() = default;

Outcome LayoutReader::Read(int page, PageLayout& layout) try {
  return m_shared->Read(page, layout);
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

}  // namespace kz
