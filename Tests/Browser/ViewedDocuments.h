// Documents that are looked at in a browser.
#pragma once

#include <iconv.h>

#include <cmath>
#include <string>

#include "Tests/Toolkit/View/ViewFields.h"

namespace kz::test {

// Text that has no characters but those of both, in UTF-8, as code page 500.
inline Bytes Ebcdic(const std::string& text) {
  Bytes coded(text.size());
  const iconv_t converter = ::iconv_open("IBM500", "UTF-8");
  std::string from = text;
  char* input = from.data();
  char* output = reinterpret_cast<char*>(coded.data());
  size_t left = from.size(), room = coded.size();
  const size_t failed = ::iconv(converter, &input, &left, &output, &room);
  EXPECT_EQ(failed, 0U) << text;
  ::iconv_close(converter);
  coded.resize(coded.size() - room);
  return coded;
}

inline Bytes ViewTriplet(unsigned char id, const Bytes& contents) {
  return Bytes{static_cast<unsigned char>(contents.size() + 2), id} + contents;
}
inline Bytes NamedGroup(const std::string& name, const Bytes& content) {
  const Bytes full = ViewTriplet(0x02, Bytes{0x01, 0} + Ebcdic(name));
  return Field(0xA8AD, Name("G") + full) + content + Field(0xA9AD);
}
inline Bytes NamedTag(const std::string& name, const std::string& value) {
  return Field(0xA090, ViewTriplet(0x02, Bytes{0x0B, 0} + Ebcdic(name)) +
                           ViewTriplet(0x36, Bytes{0, 0} + Ebcdic(value)));
}

// Fonts by their local identifiers: Helvetica, Times and Courier of some sizes.
inline Bytes ViewFonts(const std::vector<std::string>& names) {
  Bytes groups;
  unsigned char id = 1;
  for (const std::string& name : names) {
    const Bytes group = ViewTriplet(0x02, Bytes{0x85, 0} + Name("T1V10500")) +
                        ViewTriplet(0x02, Bytes{0x86, 0} + Name(name)) +
                        ViewTriplet(0x24, {0x05, id++});
    groups = groups + Big16(static_cast<unsigned>(group.size() + 2)) + group;
  }
  return Field(0xAB8A, groups);
}

struct Rgb {
  unsigned char red = 0, green = 0, blue = 0;
};
inline Bytes Ink(const Rgb& color) {
  return Control(0x80, {0, 1, 0, 0, 0, 0, 8, 8, 8, 0, color.red, color.green, color.blue});
}
// Text, a rule and a picture at a place in points.
inline Bytes Line(double x, double y, unsigned char font, const std::string& text,
                  const Rgb& color = {}) {
  return Ink(color) + Control(0xF0, {font}) + Inline(static_cast<int>(std::lround(10 * x))) +
         Baseline(static_cast<int>(std::lround(10 * y))) + Control(0xDA, Ebcdic(text));
}
inline Bytes Rule(double x, double y, double width, double height, const Rgb& color) {
  return Ink(color) + Inline(static_cast<int>(std::lround(10 * x))) +
         Baseline(static_cast<int>(std::lround(10 * y))) +
         Control(0xE4, Big16(static_cast<unsigned>(std::lround(10 * width))) +
                           Big16(static_cast<unsigned>(std::lround(10 * height))) + Bytes{0});
}
inline Bytes ColorImage(int width, int height, const Bytes& area, const Bytes& rows) {
  const auto across = static_cast<unsigned>(width), down = static_cast<unsigned>(height);
  const Bytes descriptor = Bytes{0} + Big16(7200) + Big16(7200) + Big16(across) + Big16(down);
  const Bytes parameters = ImageSize(across, down, 0, 7200, 7200) + Encoding(3) +
                           Parameter(0x96, {24}) + Parameter(0x9B, {0, 1, 0, 0, 0, 8, 8, 8});
  return Field(0xA8FB) + Field(0xA8C7) + area + Field(0xA6FB, descriptor) + Field(0xA9C7) +
         PictureDataFields(Segment(parameters, rows)) + Field(0xA9FB);
}

// Hills under an evening sky.
inline Bytes Hills(int width, int height) {
  Bytes rows;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double across = static_cast<double>(x) / width, down = static_cast<double>(y) / height;
      double color[3] = {70 + 175 * down, 120 + 75 * down, 190 - 40 * down};
      for (int hill = 0; hill < 4; ++hill) {
        const double edge = 0.42 + 0.13 * hill +
                            0.09 * std::sin(across * (5 + 2 * hill) + 1.7 * hill) +
                            0.03 * std::sin(across * 17 + hill);
        if (down < edge) continue;
        color[0] = 96 - 20.0 * hill;
        color[1] = 128 - 22.0 * hill;
        color[2] = 142 - 24.0 * hill;
      }
      for (const double part : color) rows.push_back(static_cast<unsigned char>(part));
    }
  }
  return rows;
}

// A disc of waves, black on nothing.
inline Bytes Emblem(int side) {
  Bytes rows;
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; x += 8) {
      unsigned char bits = 0;
      for (int bit = 0; bit < 8; ++bit) {
        const double across = (x + bit - side / 2.0) / side, down = (y - side / 2.0) / side;
        const bool inDisc = across * across + down * down < 0.235;
        const bool inWave = std::sin(30 * down + 2.2 * std::sin(9 * across)) > 0;
        bits = static_cast<unsigned char>(bits << 1 | (inDisc && inWave ? 1 : 0));
      }
      rows.push_back(bits);
    }
  }
  return rows;
}

// Pages of A4 with what they use.
inline Bytes StatementPage(const Bytes& content, const Bytes& text) {
  const Bytes fonts = ViewFonts({"C0H400J0", "C0H200A0", "C0H400A0", "C0N200B0", "C0420090"});
  return Field(0xA8AF) + Field(0xA8C9) + fonts + PageDescriptor(5953, 8419) + Field(0xA9C9) +
         content + TextObject(text) + Field(0xA9AF);
}

// Statements of a water works: an overlay, pictures that repeat, groups with tags; of each
// customer a letter and a table.
inline Bytes Statements() {
  constexpr Rgb blue = {24, 78, 140}, grey = {90, 98, 110}, pale = {232, 238, 246};
  const Bytes emblemArea = AreaDescriptor(440, 440) + AreaPosition({.x = 560, .y = 480});
  const Bytes emblem = ImageObject(256, 256, emblemArea + MapImage(0x20), Emblem(256));
  const Bytes head =
      TextObject(Rule(56, 104, 483, 1.5, blue) + Line(112, 74, 1, "Fjordside Water Works", blue) +
                     Line(112, 92, 2, "Harbour Street 12, 5003 Fjordside", grey),
                 Bytes{});
  const Bytes fonts = ViewFonts({"C0H400J0", "C0H200A0"});
  const Bytes overlay = Overlay(
      "LETTER", Field(0xA8C9) + fonts + PageDescriptor(5953, 8419) + Field(0xA9C9) + emblem + head);
  const Bytes hills = ColorImage(
      644, 240, AreaDescriptor(4830, 1800) + AreaPosition({.x = 560, .y = 3700}) + MapImage(0x20),
      Hills(644, 240));
  const std::pair<const char*, const char*> customers[] = {
      {"Ada Berg", "1001"}, {"Jonas Lind", "1002"}, {"Mira Solheim", "1003"}};
  const char* const months[] = {"January", "February", "March", "April", "May", "June"};
  Bytes pages;
  for (const auto& [name, number] : customers) {
    const std::string dear = std::string("Dear ") + name + ",";
    const Bytes letter =
        Line(56, 150, 3, std::string("Statement for account ") + number, blue) +
        Line(56, 190, 4, dear) +
        Line(56, 216, 4,
             "this is what your household used in the first half of the year. The water of") +
        Line(56, 232, 4,
             "the fjord is soft, and the works measured it every day: nothing was found in it") +
        Line(
            56, 248, 4,
            "that doesn\x27t belong there. You find the readings of each month on the next page.") +
        Line(56, 280, 4,
             "Since April, the new pipe under the harbour brings water to the northern bank.") +
        Line(56, 296, 4, "The picture below shows the hills where it comes from.") +
        Line(56, 328, 4, "With kind regards") + Line(56, 344, 4, "Fjordside Water Works", blue);
    Bytes table = Line(56, 150, 3, "Readings", blue) + Rule(56, 166, 483, 20, pale) +
                  Line(64, 180, 3, "Month") + Line(230, 180, 3, "Cubic metres") +
                  Line(400, 180, 3, "Amount");
    for (int month = 0; month < 6; ++month) {
      const double y = 206 + 22 * month;
      const std::string used = std::to_string(9 + (month * 7 + number[3]) % 5);
      table = table + Line(64, y, 2, months[month]) + Line(266, y, 5, used) +
              Line(400, y, 5, std::to_string(30 + (month * 13) % 17) + ".40") +
              Rule(56, y + 6, 483, 0.5, {200, 206, 214});
    }
    pages =
        pages +
        NamedGroup(std::string("Account ") + number,
                   NamedTag("Customer", name) +
                       StatementPage(IncludeOverlay("LETTER", 0, 0) + hills, letter) +
                       StatementPage(NamedTag("Kind", "Readings") + IncludeOverlay("LETTER", 0, 0),
                                     table));
  }
  return ViewDocument(pages, overlay);
}

// What would be markup, script or an address, if anything took it for that.
inline const std::vector<std::string>& HostileTexts() {
  static const std::vector<std::string> texts = {
      "</script><script>window.broken=1</script>",
      "<img src=x onerror=window.broken=2>",
      "\"><svg onload=window.broken=3>",
      "' onfocus='window.broken=4' autofocus='",
      "<!--<script>",
      "]]></style><style>body{display:none}</style>",
      "&lt;b&gt; &#60;i&#62; \\u003c \\\" \\",
      "javascript:window.broken=5",
      "${window.broken=6} `+(window.broken=7)+`",
  };
  return texts;
}
inline Bytes HostileDocument() {
  Bytes pages;
  for (const std::string& text : HostileTexts()) {
    const Bytes box = Field(0xA8BB, Name("BAR")) + AreaDescriptor(2000, 300) +
                      AreaPosition({.x = 560, .y = 3000}) + Field(0xA9BB);
    const Bytes missing = Field(0xAF5F, Ebcdic("<i>\"'&</") + Big24(0) + Big24(0));
    pages = pages + NamedGroup(text, NamedTag(text, text) +
                                         StatementPage(box + missing, Line(56, 100, 2, text)));
  }
  return ViewDocument(pages);
}

// A long one: each page has its number, a page of words and one of ten pictures.
inline Bytes LongDocument(int count) {
  const char* const words[] = {"river", "stone", "cloud", "lantern", "harbour", "meadow", "winter"};
  Bytes pages;
  for (int page = 1; page <= count; ++page) {
    Bytes text = Line(56, 60, 1, "Sheet " + std::to_string(page));
    for (int line = 0; line < 40; ++line) {
      std::string said;
      for (int word = 0; word < 9; ++word) {
        said += words[static_cast<size_t>(page * 5 + line * 3 + word * word) % std::size(words)];
        said += ' ';
      }
      text = text + Line(56, 100 + 14 * line, 4, said);
    }
    Bytes rows(128 / 8 * 128, static_cast<unsigned char>(0x11 + page % 10));
    const Bytes area = AreaDescriptor(600, 600) + AreaPosition({.x = 4600, .y = 200});
    const Bytes content = page % 7 == 3 ? StatementPage(ImageObject(128, 128, area, rows), text)
                                        : StatementPage({}, text);
    pages.insert(pages.end(), content.begin(), content.end());
  }
  return ViewDocument(pages);
}

}  // namespace kz::test
