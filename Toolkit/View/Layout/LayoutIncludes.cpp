// What the fields of a page include: page segments, overlays, objects.
#include <algorithm>

#include "Toolkit/View/Layout/LayoutWalk.h"

namespace kz {

void LayoutWalk::Include(LayoutSource& source, uint16_t code, const std::string& data,
                         const Context& context) {
  if (m_object.code != 0) return;
  const std::string name = source.NameOf(code, data);
  const std::string what = (code == sf::kIncludePageOverlay   ? "overlay "
                            : code == sf::kIncludePageSegment ? "page segment "
                                                              : "object ") +
                           name;
  ResourcePlace place;
  if (!source.FindResource(name, place)) return Warn("there is no " + what);
  Context inner;
  inner.depth = context.depth + 1;
  if (code == sf::kIncludeObject) {
    const ObjectArea included = ReadIncludedArea(data);
    inner.included = &included;
    inner.origin = m_space.frame;
    return WalkResource(place, inner, what);
  }
  const IncludePoint point = ReadIncludePoint(code, data);
  inner.origin = m_space.frame.Then(static_cast<double>(point.x) * m_space.units.x,
                                    static_cast<double>(point.y) * m_space.units.y, point.rotation);
  if (code == sf::kIncludePageSegment) return WalkResource(place, inner, what);
  Space overlay;
  overlay.frame = inner.origin;
  overlay.units = m_space.units;
  overlay.text.xPoints = m_space.units.x;
  overlay.text.yPoints = m_space.units.y;
  std::swap(overlay, m_space);
  WalkResource(place, inner, what);
  std::swap(overlay, m_space);
}

void LayoutWalk::WalkResource(const ResourcePlace& place, const Context& context,
                              const std::string& what) {
  const std::pair<const Document*, uint32_t> key(place.document, place.resource);
  if (std::find(m_including.begin(), m_including.end(), key) != m_including.end()) {
    return Warn("the " + what + " includes itself");
  }
  if (context.depth > LayoutReader::kMostDepth) {
    return Warn("the " + what + " is included too deep in others");
  }
  Outcome outcome;
  LayoutSource* source = m_sources.Get(*place.document, outcome);
  if (source == nullptr) return Warn("the " + what + ": " + outcome.what);
  const PageIndex& index = place.document->Index();
  m_including.push_back(key);
  if (index.bare) {
    for (size_t i = 0; i < index.pictures.size() && !m_full; ++i) AddPicture(*source, i, context);
  } else if (place.resource != kNoIndex) {
    Walk(*source, index.resources[place.resource].bytes, context);
  } else {
    Walk(*source, {0, index.Size()}, context);
  }
  m_including.pop_back();
}

}  // namespace kz
