#include "Toolkit/View/Html/PageJson.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <map>
#include <string_view>

#include "Toolkit/View/Html/Markup.h"

namespace kz {

namespace {

std::string ColorJson(const PageColor& color) {
  char text[16];
  (void)std::snprintf(text, sizeof(text), "\"#%02x%02x%02x\"", color[0], color[1], color[2]);
  return text;
}

std::string Numbers(std::initializer_list<double> numbers) {
  std::string text;
  for (const double number : numbers) (text += JsonNumber(number)) += ',';
  return text;
}

std::string StyleJson(const TextStyle& style) {
  const int marks = (style.bold ? 1 : 0) + (style.italic ? 2 : 0) + (style.underlined ? 4 : 0);
  const double face = style.face == Face::Serif ? 0 : style.face == Face::Sans ? 1 : 2;
  return Numbers({face, static_cast<double>(marks), style.size, style.blank, style.adjustment}) +
         ColorJson(style.color);
}

// Adds an element to a list.
void AddTo(std::string& list, std::string_view element) {
  if (!list.empty()) list += ',';
  list += element;
}

class PageText {
 public:
  PageText(bool withText, const NumberPicture& number) : m_withText(withText), m_number(number) {}

  std::string Of(const PageLayout& layout) {
    for (const PageItem& item : layout.items) {
      std::visit([this](const auto& one) { Add(one); }, item);
    }
    std::string warnings;
    for (const std::string& warning : layout.warnings) {
      AddTo(warnings, JsonString(warning));
    }
    return R"({"styles":[)" + m_styles + R"(],"items":[)" + m_items + R"(],"warnings":[)" +
           warnings + "]}";
  }

 private:
  void Add(const PlacedText& text) {
    if (!m_withText) return;
    const double width = text.room > 0 ? std::min(text.room, text.advance) : text.advance;
    const size_t style = StyleOf(text.style);
    Item(0, Numbers({text.at.x, text.at.y, static_cast<double>(text.at.rotation), width,
                     static_cast<double>(style)}) +
                JsonString(text.text));
  }
  void Add(const PlacedRule& rule) { Item(1, Area(rule.at) + ColorJson(rule.color)); }
  void Add(const PlacedPicture& picture) {
    Item(2, std::to_string(m_number(picture.shown)) + ',' + At(picture.area) +
                Numbers({picture.width, picture.height}) + At(picture.content) +
                Numbers({picture.contentWidth, picture.contentHeight}) +
                (picture.replicated ? '1' : '0'));
  }
  void Add(const PlacedBox& box) { Item(3, Area(box.at) + JsonString(box.label)); }

  static std::string At(const Placement& at) {
    return Numbers({at.x, at.y, static_cast<double>(at.rotation)});
  }
  static std::string Area(const PageRectangle& at) {
    return Numbers({at.x, at.y, at.width, at.height});
  }

  void Item(int kind, const std::string& rest) {
    AddTo(m_items, "[");
    m_items += std::to_string(kind) + ',';
    m_items += rest;
    m_items += ']';
  }

  size_t StyleOf(const TextStyle& style) {
    const std::string text = StyleJson(style);
    const auto [known, isNew] = m_known.emplace(text, m_known.size());
    if (isNew) AddTo(m_styles, '[' + text + ']');
    return known->second;
  }

  bool m_withText;
  const NumberPicture& m_number;
  std::map<std::string, size_t> m_known;
  std::string m_styles;
  std::string m_items;
};

}  // namespace

std::string PageJson(const PageLayout& layout, bool withText, const NumberPicture& number) {
  return PageText(withText, number).Of(layout);
}

}  // namespace kz
