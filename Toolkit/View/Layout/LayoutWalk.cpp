#include "Toolkit/View/Layout/LayoutWalk.h"

#include <algorithm>
#include <cmath>

#include "Toolkit/Documents/FieldSearch.h"
#include "Toolkit/Images/ImImage.h"
#include "Toolkit/View/Layout/FontFace.h"
#include "Toolkit/View/Layout/PicturePlacement.h"

namespace kz {

namespace {

// Of a page that says no size and has nothing on it: a sheet of letter size.
constexpr double kPlainWidth = 612, kPlainHeight = 792;
// What is farther away isn't kept, so that numbers stay numbers: points.
constexpr double kFarAway = 1e6;

bool BeginsObject(uint16_t code) {
  switch (code) {
    case sf::kBeginText:
    case sf::kBeginGraphics:
    case sf::kBeginBarCode:
    case sf::kBeginImageObject:
    case sf::kBeginImImage:
    case sf::kBeginObjectContainer:
      return true;
    default:
      return false;
  }
}

// What an item covers of the page.
PageRectangle CoveredBy(const PageItem& item) {
  if (const auto* picture = std::get_if<PlacedPicture>(&item)) {
    return Covered(picture->area, picture->width, picture->height);
  }
  if (const auto* text = std::get_if<PlacedText>(&item)) {
    return Covered(text->at.Then(0, -text->style.size, 0), text->advance, text->style.size);
  }
  if (const auto* rule = std::get_if<PlacedRule>(&item)) return rule->at;
  return std::get<PlacedBox>(item).at;
}

}  // namespace

LayoutSource* LayoutSources::Get(const Document& document, Outcome& outcome) {
  std::unique_ptr<LayoutSource>& source = m_sources[&document];
  if (source == nullptr) {
    auto opened = std::make_unique<LayoutSource>(document);
    outcome = opened->Open();
    if (outcome.Ok()) source = std::move(opened);
  }
  return source.get();
}

LayoutWalk::LayoutWalk(LayoutSources& sources, const MeasureText& measure, PageLayout& layout)
    : m_sources(sources),
      m_layout(layout),
      m_runs({
          [this](std::string_view bytes, unsigned font, bool unicode) {
            const auto found = m_space.fonts.find(font);
            const MappedFont* mapped = found != m_space.fonts.end() ? &found->second : nullptr;
            FontText& texts = m_textSource->Texts();
            return unicode ? texts.DecodeUnicode(bytes, mapped) : texts.Decode(bytes, mapped);
          },
          [this](unsigned font) {
            const auto found = m_space.fonts.find(font);
            return RunFontOf(found != m_space.fonts.end() ? &found->second : nullptr);
          },
          measure,
          [this](PlacedText&& text) { return TakeText(std::move(text)); },
          [this](const PlacedRule& rule) { return Add(rule); },
          [this](double room) {
            PlacedText* last =
                m_layout.items.empty() ? nullptr : std::get_if<PlacedText>(&m_layout.items.back());
            if (last != nullptr) last->room = room;
          },
      }) {}

void LayoutWalk::TakePage(LayoutSource& source, int page) {
  const PageIndex& index = source.GetDocument().Index();
  const IndexedPage& at = index.pages[static_cast<size_t>(page) - 1];
  m_space.fonts = source.Fonts();
  m_textSource = &source;
  if (index.bare) {
    AddPicture(source, static_cast<size_t>(page) - 1, {});
  } else {
    Walk(source, at.bytes, {});
  }
  FindSize();
}

void LayoutWalk::Walk(LayoutSource& source, ByteRange bytes, const Context& context) {
  FileWindow& file = source.File();
  FieldSearch search(file);
  for (int64_t at = bytes.begin; at < bytes.end && !m_full;) {
    if (!LooksOn()) return;
    const ScannedField field = ScanField(file, at);
    if (field.fault != FieldFault::None || field.End() > bytes.end) {
      Warn("there is no valid structured field at byte " + std::to_string(at));
      const int64_t from = at;
      at = search.Find(at + 1, bytes.end);
      m_bytes += at - from;
      continue;
    }
    m_bytes += field.length;
    at = std::max(field.End(), Take(source, field, context));
  }
  if (m_object.code != 0) End(source, bytes.end, context);
}

// Whether the page may be made of one more field.
bool LayoutWalk::LooksOn() {
  if (++m_fields <= LayoutReader::kMostFields && m_bytes <= LayoutReader::kMostBytes) return true;
  m_full = true;
  Warn(m_bytes > LayoutReader::kMostBytes
           ? "more than " + std::to_string(LayoutReader::kMostBytes) +
                 " bytes make up the page: the rest is left out"
           : "more than " + std::to_string(LayoutReader::kMostFields) +
                 " fields make up the page: the rest is left out");
  return false;
}

int64_t LayoutWalk::Take(LayoutSource& source, const ScannedField& field, const Context& context) {
  const uint16_t code = field.code;
  if (BeginsObject(code)) {
    if (m_object.code != 0) End(source, field.offset, context);
    Begin(field);
    return field.End();
  }
  if (m_object.code != 0 && code == PartnerOf(m_object.code)) {
    End(source, field.End(), context);
    return field.End();
  }
  if (code == sf::kImagePictureData || code == sf::kImRasterData || code == sf::kImCellPosition ||
      code == sf::kObjectContainerData) {
    return PassPictureData(source, field, context);
  }
  const bool includes = code == sf::kIncludeObject || code == sf::kIncludePageOverlay ||
                        code == sf::kIncludePageSegment;
  const std::string_view data = AsText(DataOf(source.File(), field));
  if (includes) {
    // What is included may be read through the same window.
    Include(source, code, std::string(data), context);
  } else if (code == sf::kPresentationText) {
    AddText(source, data, context);
  } else if (MapsFonts(code)) {
    const bool ofText = m_object.code == sf::kBeginText;
    if (m_object.code != 0 && !ofText) return field.End();
    if (ofText && !m_object.pageFonts) m_object.pageFonts = m_space.fonts;
    AddMappedFonts(code, data, m_space.fonts);
  } else if (m_object.code != 0) {
    TakeInObject(field, data);
  } else if (code == sf::kPageDescriptor || code == sf::kTextDescriptor) {
    if (code == sf::kPageDescriptor) Describe(data);
    ReadSpace(data, m_space.text);
  }
  return field.End();
}

void LayoutWalk::Describe(std::string_view data) {
  constexpr size_t width = 6, height = 9, bytes = 3;
  if (!ReadUnitSize(data, m_space.units)) return;
  m_space.width = static_cast<double>(GetBig(data, width, bytes)) * m_space.units.x;
  m_space.height = static_cast<double>(GetBig(data, height, bytes)) * m_space.units.y;
}

void LayoutWalk::Begin(const ScannedField& field) {
  m_object = {};
  m_object.code = field.code;
  m_object.begin = field.offset;
}

void LayoutWalk::TakeInObject(const ScannedField& field, std::string_view data) {
  switch (field.code) {
    case sf::kObjectAreaDescriptor:
      return TakeAreaDescriptor(data, m_object.area);
    case sf::kObjectAreaPosition:
      return TakeAreaPosition(data, m_object.area);
    case sf::kMapImageObject:
    case sf::kMapContainerData:
      return TakeMapping(data, m_object.area);
    case sf::kImOutputControl:
      m_object.im = ReadImOutputControl(data);
      return;
    case sf::kTextDescriptor:
      m_object.textSpace = m_space.text;
      ReadSpace(data, *m_object.textSpace);
      return;
    default:
      return;
  }
}

// Picture data needn't be looked at: the index knows where they end.
int64_t LayoutWalk::PassPictureData(LayoutSource& source, const ScannedField& field,
                                    const Context& context) {
  const size_t next = source.FirstPicture(field.offset + 1);
  if (next == 0) return field.End();
  const ByteRange bytes = source.GetDocument().Index().pictures[next - 1].bytes;
  if (bytes.end <= field.End()) return field.End();
  // The End field of others than image objects is among their bytes.
  if (field.code != sf::kImagePictureData) End(source, bytes.end, context);
  return bytes.end;
}

void LayoutWalk::End(LayoutSource& source, int64_t end, const Context& context) {
  if (m_object.code == 0) return;
  switch (m_object.code) {
    case sf::kBeginText:
      if (m_object.pageFonts) m_space.fonts = std::move(*m_object.pageFonts);
      break;
    case sf::kBeginGraphics:
      AddBox("graphics", context);
      break;
    case sf::kBeginBarCode:
      AddBox("bar code", context);
      break;
    default: {
      const size_t first = source.FirstPicture(m_object.begin);
      const size_t count = source.Pictures({m_object.begin, end});
      for (size_t i = first; i < first + count && !m_full; ++i) {
        if (m_object.code == sf::kBeginImImage) {
          AddImImage(source, i, context);
        } else {
          AddPicture(source, i, context);
        }
      }
      if (count == 0 && m_object.code == sf::kBeginObjectContainer) AddBox("object", context);
    }
  }
  m_object = {};
}

LayoutWalk::Area LayoutWalk::AreaOf(const Context& context) const {
  Area area;
  area.said = m_object.area;
  if (context.included != nullptr) area.said.Override(*context.included);
  const ObjectArea& said = area.said;
  const UnitSize units = said.units.value_or(m_space.units);
  area.contentUnits = said.contentUnits.value_or(units);
  const Placement& origin = said.fromPage || context.depth == 0 ? m_space.frame : context.origin;
  area.at = origin.Then(static_cast<double>(said.x.value_or(0)) * m_space.units.x,
                        static_cast<double>(said.y.value_or(0)) * m_space.units.y,
                        said.rotation.value_or(0));
  area.width = static_cast<double>(said.width.value_or(0)) * units.x;
  area.height = static_cast<double>(said.height.value_or(0)) * units.y;
  if (context.included != nullptr && !said.width) {
    // What is included without a size has the room of the page.
    area.width = m_space.width;
    area.height = m_space.height;
  }
  return area;
}

void LayoutWalk::AddPicture(LayoutSource& source, size_t picture, const Context& context) {
  const Area area = AreaOf(context);
  PlacedPicture placed;
  placed.shown = {&source.GetDocument(), static_cast<int>(picture) + 1};
  placed.area = area.at;
  placed.width = area.width;
  placed.height = area.height;
  if (PlaceContent(source.SpaceOf(picture), area.said, area.contentUnits, placed)) Add(placed);
}

void LayoutWalk::AddImImage(LayoutSource& source, size_t picture, const Context& context) {
  const PictureSpace& space = source.SpaceOf(picture);
  ImImageShape shape;
  const IndexedPicture& at = source.GetDocument().Index().pictures[picture];
  if (!DescribeImImage(source.File(), at, shape).Ok()) return;
  if (shape.width <= 0 || shape.height <= 0) return;
  const Placement& origin = context.depth == 0 ? m_space.frame : context.origin;
  PlacedPicture placed;
  placed.shown = {&source.GetDocument(), static_cast<int>(picture) + 1};
  placed.area = origin.Then(static_cast<double>(m_object.im.x) * space.width / shape.width,
                            static_cast<double>(m_object.im.y) * space.height / shape.height,
                            m_object.im.rotation);
  if (PlaceContent(space, {}, {}, placed)) Add(placed);
}

void LayoutWalk::AddBox(const std::string& label, const Context& context) {
  const Area area = AreaOf(context);
  if (area.width > 0 && area.height > 0) {
    Add(PlacedBox{Covered(area.at, area.width, area.height), label});
  }
}

void LayoutWalk::AddText(LayoutSource& source, std::string_view data, const Context& context) {
  m_textSource = &source;
  if (!m_object.textBegun) {
    TextSpace space = m_object.textSpace.value_or(m_space.text);
    space.x = space.y = 0;
    m_runs.Begin(space, AreaOf(context).at);
    m_object.textBegun = true;
  }
  if (!m_runs.Add(data)) m_full = true;
}

bool LayoutWalk::Add(PageItem&& item) {
  const PageRectangle at = CoveredBy(item);
  const double farthest = std::max(std::abs(at.x), std::abs(at.y));
  if (!(farthest < kFarAway)) return true;
  if (m_layout.items.size() >= LayoutReader::kMostItems) {
    m_full = true;
    Warn("the page has more than " + std::to_string(LayoutReader::kMostItems) +
         " items: the rest is left out");
    return false;
  }
  m_layout.items.push_back(std::move(item));
  return true;
}

bool LayoutWalk::TakeText(PlacedText&& text) {
  m_textBytes += text.text.size();
  if (m_textBytes > LayoutReader::kMostText) {
    m_full = true;
    Warn("the page has more than " + std::to_string(LayoutReader::kMostText) +
         " bytes of text: the rest is left out");
    return false;
  }
  return Add(std::move(text));
}

void LayoutWalk::Warn(std::string what) { AddWarning(m_layout.warnings, std::move(what)); }

void LayoutWalk::FindSize() {
  double width = m_space.width, height = m_space.height;
  double right = 0, bottom = 0;
  for (const PageItem& item : m_layout.items) {
    const PageRectangle at = CoveredBy(item);
    right = std::max(right, at.x + at.width);
    bottom = std::max(bottom, at.y + at.height);
  }
  const bool bare = width <= 0 && height <= 0 && m_layout.items.empty();
  if (width <= 0) width = right > 0 && !bare ? right : kPlainWidth;
  if (height <= 0) height = bottom > 0 && !bare ? bottom : kPlainHeight;
  constexpr double most = LayoutReader::kMostSize;
  if (width > most || height > most) {
    Warn("the page is larger than 200 inches: the rest is left out");
  }
  m_layout.width = std::min(width, most);
  m_layout.height = std::min(height, most);
}

}  // namespace kz
