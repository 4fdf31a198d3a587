// Fields of pages that are laid out, and a page's layout in words.
#pragma once

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "Tests/Support/EditedDocuments.h"
#include "Tests/Support/FileBuilder.h"
#include "Toolkit/View/Layout/PageLayout.h"

namespace kz::test {

inline Bytes Big24(int value) {
  const auto bits = static_cast<unsigned>(value);
  return Bytes{static_cast<unsigned char>(bits >> 16)} + Big16(bits & 0xFFFF);
}
// Degrees as orientations have them.
inline Bytes Degrees(int degrees) { return Big16(static_cast<unsigned>(degrees) << 7); }
// Ten units are a point, unless said otherwise.
inline Bytes Units(unsigned perTenInches = 7200) {
  return Bytes{0, 0} + Big16(perTenInches) + Big16(perTenInches);
}
inline Bytes PageDescriptor(int width, int height, unsigned perTenInches = 7200) {
  return Field(0xA6AF, Units(perTenInches) + Big24(width) + Big24(height) + Bytes{0, 0, 0});
}
inline Bytes AreaDescriptor(int width, int height, unsigned perTenInches = 7200) {
  return Field(0xA66B, Bytes{3, 0x43, 1, 8, 0x4B} + Units(perTenInches) + Bytes{9, 0x4C, 2} +
                           Big24(width) + Big24(height));
}
struct Position {
  int x = 0, y = 0, rotation = 0;
  int contentX = 0, contentY = 0, contentRotation = 0;
  unsigned char system = 1;
};
inline Bytes AreaPosition(const Position& at) {
  return Field(0xAC6B, Bytes{1, 23} + Big24(at.x) + Big24(at.y) + Degrees(at.rotation) +
                           Degrees((at.rotation + 90) % 360) + Bytes{0} + Big24(at.contentX) +
                           Big24(at.contentY) + Degrees(at.contentRotation) +
                           Degrees((at.contentRotation + 90) % 360) + Bytes{at.system});
}
inline Bytes MapImage(unsigned char mapping) { return Field(0xABFB, {0, 5, 3, 4, mapping}); }

// A picture of this many pixels, ten for a point, black if its rows aren't said; `area`: the
// fields of its environment group.
inline Bytes ImageObject(unsigned width, unsigned height, const Bytes& area = {},
                         const Bytes& rows = {}) {
  const Bytes descriptor = Bytes{0} + Big16(7200) + Big16(7200) + Big16(width) + Big16(height);
  const Bytes black((width + 7) / 8 * height, 0xFF);
  return Field(0xA8FB) + Field(0xA8C7) + area + Field(0xA6FB, descriptor) + Field(0xA9C7) +
         PictureDataFields(Segment(ImageSize(width, height, 0, 7200, 7200) + Encoding(3),
                                   rows.empty() ? black : rows)) +
         Field(0xA9FB);
}

// A control sequence by its unchained type, and a page's text of them.
inline Bytes Control(unsigned char type, const Bytes& parameters = {}) {
  return Bytes{0x2B, 0xD3, static_cast<unsigned char>(parameters.size() + 2), type} + parameters;
}
inline Bytes Number(unsigned char type, int value) {
  return Control(type, Big16(static_cast<unsigned>(value) & 0xFFFF));
}
inline Bytes Inline(int to) { return Number(0xC6, to); }
inline Bytes Baseline(int to) { return Number(0xD2, to); }
inline Bytes Said(const std::string& ascii) {
  Bytes text;
  for (const char c : ascii) text.push_back(c == ' ' ? 0x40 : Name(std::string(1, c))[0]);
  return Control(0xDA, text);
}
inline Bytes TextObject(const Bytes& sequences, const Bytes& group = {}) {
  return Field(0xA89B) + group + Field(0xEE9B, sequences) + Field(0xA99B);
}

inline Bytes IncludeSegment(const std::string& name, int x, int y) {
  return Field(0xAF5F, Name(name) + Big24(x) + Big24(y));
}
inline Bytes IncludeOverlay(const std::string& name, int x, int y, int rotation = 0) {
  return Field(0xAFD8, Name(name) + Big24(x) + Big24(y) + Degrees(rotation));
}
inline Bytes IncludeObject(const std::string& name, const Bytes& placed, const Bytes& triplets = {},
                           const Bytes& content = Bytes(6, 0xFF)) {
  return Field(0xAFC3, Name(name) + Bytes{0, 0xFB} + placed + content + Bytes{1} + triplets);
}
inline Bytes Resource(const std::string& name, const Bytes& content) {
  return Field(0xA8CE, Name(name) + Bytes{0, 0}) + content + Field(0xA9CE);
}
inline Bytes Overlay(const std::string& name, const Bytes& content) {
  return Resource(name, Field(0xA8DF, Name(name)) + content + Field(0xA9DF));
}
inline Bytes PageSegment(const std::string& name, const Bytes& content) {
  return Resource(name, Field(0xA85F, Name(name)) + content + Field(0xA95F));
}

inline Bytes ViewPage(const Bytes& content, int width = 1000, int height = 2000) {
  return Field(0xA8AF) + Field(0xA8C9) + PageDescriptor(width, height) + Field(0xA9C9) + content +
         Field(0xA9AF);
}
inline Bytes ViewDocument(const Bytes& pages, const Bytes& resources = {}) {
  const Bytes group = resources.empty() ? Bytes{} : Field(0xA8C6) + resources + Field(0xA9C6);
  return group + Field(0xA8A8, Name("DOC") + Bytes{0, 0}) + pages + Field(0xA9A8);
}

// Points with at most two digits after the point.
inline std::string Points(double points) {
  char text[32];
  std::snprintf(text, sizeof(text), "%g", std::round(points * 100) / 100 + 0.0);
  return text;
}
inline std::string InWords(const Placement& at) {
  const std::string turned = at.rotation == 0 ? "" : " turned " + std::to_string(at.rotation);
  return Points(at.x) + "," + Points(at.y) + turned;
}
inline std::string InWords(const PageColor& color) {
  char text[8];
  std::snprintf(text, sizeof(text), "#%02x%02x%02x", color[0], color[1], color[2]);
  return text == std::string("#000000") ? "" : std::string(" ") + text;
}
inline std::string InWords(const PageRectangle& at) {
  return Points(at.x) + "," + Points(at.y) + " " + Points(at.width) + "x" + Points(at.height);
}
inline std::string InWords(const PlacedPicture& picture) {
  return "picture " + std::to_string(picture.shown.picture) + " in " + InWords(picture.area) + " " +
         Points(picture.width) + "x" + Points(picture.height) + ": " + InWords(picture.content) +
         " " + Points(picture.contentWidth) + "x" + Points(picture.contentHeight) +
         (picture.replicated ? " replicated" : "");
}
inline std::string InWords(const PlacedText& text) {
  const TextStyle& style = text.style;
  const char* const faces[] = {"serif", "sans", "mono"};
  return "'" + text.text + "' " + InWords(text.at) + " " + faces[static_cast<int>(style.face)] +
         " " + Points(style.size) + (style.bold ? " bold" : "") + (style.italic ? " italic" : "") +
         (style.underlined ? " underlined" : "") + InWords(style.color) +
         (text.room > 0 ? " room " + Points(text.room) : "");
}
inline std::string InWords(const PlacedRule& rule) {
  return "rule " + InWords(rule.at) + InWords(rule.color);
}
inline std::string InWords(const PlacedBox& box) {
  return "box " + InWords(box.at) + " " + box.label;
}
inline std::string InWords(const PageLayout& layout) {
  std::string words;
  for (const PageItem& item : layout.items) {
    words += std::visit([](const auto& one) { return InWords(one); }, item) + "\n";
  }
  for (const std::string& warning : layout.warnings) words += "! " + warning + "\n";
  return words;
}

// The layout of a page of a document.
inline PageLayout LayoutOf(const Bytes& file, int page = 1) {
  const TemporaryFolder folder;
  const Document document(folder.File("file", file));
  PageLayout layout;
  Outcome outcome = const_cast<Document&>(document).Open();
  if (outcome.Ok()) outcome = LayoutReader(document).Read(page, layout);
  if (!outcome.Ok()) layout.warnings.push_back("FAILED: " + outcome.what);
  return layout;
}

}  // namespace kz::test
