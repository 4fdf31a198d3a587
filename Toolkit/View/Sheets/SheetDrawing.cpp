#include "Toolkit/View/Sheets/SheetDrawing.h"

#include <algorithm>
#include <cmath>

namespace kz {

namespace {

constexpr double kLineHeight = 1.35;  // of the font's size
constexpr double kAboveText = 0.5;

constexpr PageColor kSheetColor = {242, 243, 245};
constexpr PageColor kBorderColor = {203, 206, 211};
constexpr PageColor kShadowColor = {225, 227, 231};
constexpr PageColor kStrongColor = {51, 56, 64};
constexpr PageColor kWeakColor = {107, 114, 124};
constexpr PageColor kMarkColor = {178, 80, 56};

void SetColor(cairo_t* cairo, const PageColor& color) {
  cairo_set_source_rgb(cairo, color[0] / 255.0, color[1] / 255.0, color[2] / 255.0);
}

void Fill(cairo_t* cairo, const PageRectangle& at, const PageColor& color) {
  SetColor(cairo, color);
  cairo_rectangle(cairo, at.x, at.y, at.width, at.height);
  cairo_fill(cairo);
}

// The rectangle larger by so much on each side.
PageRectangle Around(const PageRectangle& at, double by) {
  return {at.x - by, at.y - by, at.width + 2 * by, at.height + 2 * by};
}

bool BeginsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

// A text without `count` bytes or somewhat more of its middle.
std::string WithoutMiddle(const std::string& text, size_t count) {
  size_t begin = (text.size() - std::min(count, text.size())) / 2;
  size_t end = std::min(begin + count, text.size());
  while (begin > 0 && !BeginsCharacter(text[begin])) --begin;
  while (end < text.size() && !BeginsCharacter(text[end])) ++end;
  return text.substr(0, begin) + "\u2026" + text.substr(end);
}

}  // namespace

void SheetDrawing::Measure(SheetRow& row) const {
  size_t lines = 1;
  row.pictureHeight = 0;
  for (const SheetCell& cell : row.cells) {
    row.pictureHeight = std::max(row.pictureHeight, cell.thumbnail.height / m_measures.density);
    if (!cell.name.empty()) lines = 2;
  }
  row.height = std::ceil(row.pictureHeight +
                         m_measures.font * (kAboveText + kLineHeight * static_cast<double>(lines)));
}

void SheetDrawing::Paint(cairo_t* cairo) {
  SetColor(cairo, kSheetColor);
  cairo_paint(cairo);
}

void SheetDrawing::Draw(cairo_t* cairo, const SheetRow& row, double x, double y) {
  for (const SheetCell& cell : row.cells) {
    const Thumbnail& thumbnail = cell.thumbnail;
    const double width = thumbnail.width / m_measures.density;
    const double height = thumbnail.height / m_measures.density;
    // Whole units, so that pixels stay where they are.
    const PageRectangle at = {std::floor(x + (m_measures.cell - width) / 2),
                              y + std::floor(row.pictureHeight - height), width, height};
    DrawPage(cairo, thumbnail, at);
    const double middle = x + m_measures.cell / 2;
    double baseline = y + row.pictureHeight + m_measures.font * (kAboveText + 1);
    if (!cell.name.empty()) {
      DrawLabel(cairo, cell.name, true, middle, baseline);
      baseline += m_measures.font * kLineHeight;
    }
    DrawLabel(cairo, cell.number, cell.name.empty(), middle, baseline);
    x += m_measures.cell + m_measures.gap;
  }
}

void SheetDrawing::DrawPage(cairo_t* cairo, const Thumbnail& thumbnail, const PageRectangle& at) {
  if (thumbnail.picture == nullptr) return DrawMark(cairo, at);
  const double line = m_measures.density > 1 ? 0.5 : 1;
  Fill(cairo, Around({at.x, at.y + 2 * line, at.width, at.height}, line), kShadowColor);
  Fill(cairo, Around(at, line), kBorderColor);
  cairo_save(cairo);
  cairo_rectangle(cairo, at.x, at.y, at.width, at.height);
  cairo_clip(cairo);
  cairo_translate(cairo, at.x, at.y);
  cairo_scale(cairo, 1 / m_measures.density, 1 / m_measures.density);
  cairo_set_source_surface(cairo, thumbnail.picture.get(), 0, 0);
  cairo_paint(cairo);
  cairo_restore(cairo);
}

// The frame of a page that couldn't be drawn.
void SheetDrawing::DrawMark(cairo_t* cairo, const PageRectangle& at) {
  const double line = std::max(m_measures.font / 10, 0.5);
  Fill(cairo, at, {250, 246, 244});
  cairo_save(cairo);
  SetColor(cairo, kMarkColor);
  cairo_set_line_width(cairo, line);
  const PageRectangle frame = Around(at, -line / 2);
  cairo_rectangle(cairo, frame.x, frame.y, frame.width, frame.height);
  cairo_move_to(cairo, frame.x, frame.y);
  cairo_line_to(cairo, frame.x + frame.width, frame.y + frame.height);
  cairo_move_to(cairo, frame.x + frame.width, frame.y);
  cairo_line_to(cairo, frame.x, frame.y + frame.height);
  cairo_stroke(cairo);
  cairo_restore(cairo);
}

void SheetDrawing::DrawLabel(cairo_t* cairo, std::string text, bool strong, double middle,
                             double baseline) {
  TextStyle style;
  style.face = Face::Sans;
  style.size = m_measures.font;
  double width = m_texts.Measure(text, style);
  const std::string whole = text;
  for (size_t without = 1; width > m_measures.cell && without < whole.size();) {
    // By what is too wide at least, at the width of its characters.
    const double over = (width - m_measures.cell) / width * static_cast<double>(whole.size());
    without += std::max<size_t>(static_cast<size_t>(over / 2), 1);
    text = WithoutMiddle(whole, without);
    width = m_texts.Measure(text, style);
  }
  SetColor(cairo, strong ? kStrongColor : kWeakColor);
  PlacedText label;
  label.text = std::move(text);
  label.style = style;
  label.at = {middle - width / 2, baseline, 0};
  m_texts.Draw(cairo, label);
}

}  // namespace kz
