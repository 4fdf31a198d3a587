#include "Toolkit/View/Comparison/SeenPage.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace kz {

namespace {

std::string Number(double number) {
  char text[32];
  (void)std::snprintf(text, sizeof(text), "%.1f", number);
  std::string words = text;
  if (words.ends_with(".0")) words.resize(words.size() - 2);
  if (words == "-0") words.erase(0, 1);
  return words;
}

std::string StyleWords(const TextStyle& style) {
  const char* const faces[] = {"serif", "sans", "mono"};
  std::string words = faces[static_cast<size_t>(style.face)];
  words.append(" ").append(Number(style.size));
  if (style.bold) words += " bold";
  if (style.italic) words += " italic";
  if (style.underlined) words += " underlined";
  char color[8];
  (void)std::snprintf(color, sizeof(color), "#%02x%02x%02x", style.color[0], style.color[1],
                      style.color[2]);
  return words + " " + color;
}

// A text, and where it stands along its direction and across it.
struct Run {
  const PlacedText* text = nullptr;
  int rotation = 0;
  double along = 0;
  double across = 0;
};

Run RunOf(const PlacedText& text) {
  switch (text.at.rotation) {
    case 90:
      return {&text, 90, text.at.y, -text.at.x};
    case 180:
      return {&text, 180, -text.at.x, -text.at.y};
    case 270:
      return {&text, 270, -text.at.y, text.at.x};
    default:
      return {&text, 0, text.at.x, text.at.y};
  }
}

std::vector<SeenLine> LinesOf(std::vector<Run> runs) {
  constexpr double sameBaseline = 1;  // points
  constexpr double apart = 0.15;      // of the font's size
  std::stable_sort(runs.begin(), runs.end(), [](const Run& a, const Run& b) {
    return a.rotation != b.rotation ? a.rotation < b.rotation : a.across < b.across;
  });
  std::vector<SeenLine> lines;
  for (auto begin = runs.begin(); begin != runs.end();) {
    const auto end = std::find_if(begin, runs.end(), [&](const Run& run) {
      return run.rotation != begin->rotation || run.across - begin->across > sameBaseline;
    });
    std::stable_sort(begin, end, [](const Run& a, const Run& b) { return a.along < b.along; });
    SeenLine line = {"", begin->text->at.x, begin->text->at.y, StyleWords(begin->text->style)};
    double reached = begin->along;
    for (; begin != end; ++begin) {
      const PlacedText& text = *begin->text;
      if (begin->along - reached > apart * text.style.size) line.text += ' ';
      line.text += text.text;
      reached = begin->along + text.advance;
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

}  // namespace

std::string PlaceWords(double x, double y) { return Number(x) + "," + Number(y); }
std::string SizeWords(double width, double height) {
  return Number(width) + " x " + Number(height);
}
bool SameLength(double a, double b) { return std::abs(a - b) < 0.05; }

SeenPage Seen(const PageLayout& layout) {
  SeenPage seen;
  seen.width = layout.width;
  seen.height = layout.height;
  std::vector<Run> runs;
  for (const PageItem& item : layout.items) {
    if (const auto* picture = std::get_if<PlacedPicture>(&item)) {
      seen.pictures.push_back(*picture);
    } else if (const auto* text = std::get_if<PlacedText>(&item)) {
      if (!text->text.empty()) runs.push_back(RunOf(*text));
    } else if (const auto* rule = std::get_if<PlacedRule>(&item)) {
      seen.marks.push_back("a rule at " + PlaceWords(rule->at.x, rule->at.y) + ", " +
                           SizeWords(rule->at.width, rule->at.height));
    } else if (const auto* box = std::get_if<PlacedBox>(&item)) {
      seen.marks.push_back(box->label + " at " + PlaceWords(box->at.x, box->at.y));
    }
  }
  seen.lines = LinesOf(std::move(runs));
  std::sort(seen.marks.begin(), seen.marks.end());
  return seen;
}

}  // namespace kz
