// Presentation text as runs of one style, where they stand.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "Format/ControlSequence.h"
#include "Toolkit/Fields/TextCursor.h"
#include "Toolkit/View/Layout/PageLayout.h"

namespace kz {

// What a local identifier of a font stands for.
struct RunFont {
  Face face = Face::Mono;
  bool bold = false;
  bool italic = false;
  double size = 10;  // points
};

class TextRuns {
 public:
  // What the runs are made with, and who takes them. All must outlive the runs.
  struct Uses {
    // Makes UTF-8 of text in a font; `unicode`: it is Unicode in any font.
    std::function<std::string(std::string_view bytes, unsigned font, bool unicode)> decode;
    std::function<RunFont(unsigned font)> font;
    const MeasureText& measure;
    // False: there is no room for more.
    std::function<bool(PlacedText&& text)> takeText;
    std::function<bool(const PlacedRule& rule)> takeRule;
    // The run that was taken last mustn't be wider.
    std::function<void(double room)> limitLast;
  };
  explicit TextRuns(Uses uses) : m_uses(std::move(uses)) {}

  // Begins a text object in a space whose own origin and axes stand at `frame`.
  void Begin(const TextSpace& space, const Placement& frame);
  // Adds the data of a Presentation Text Data field. False once there is no room for more.
  bool Add(std::string_view data);

 private:
  void Obey(const ControlSequence& sequence);
  bool ObeyStyle(const ControlSequence& sequence);
  void Repeat(std::string_view parameters);
  void MoveTemporarily(std::string_view parameters);
  void AdjustCharacters(std::string_view parameters);
  void Draw(std::string_view parameters, bool alongLine);
  void SetFont(unsigned font);
  void EndRun();
  void PutText(std::string text);
  void Put(std::string&& text, double width);

  Uses m_uses;
  Placement m_frame;
  TextCursor m_cursor;
  TextStyle m_style;
  unsigned m_font = 0;
  std::string m_bytes;    // of the run that has begun
  size_t m_repeated = 0;  // bytes of repeated strings
  bool m_full = false;
  // The last run: where it begins and where its line stands. `moved`: what follows it was
  // moved to, whatever its width is.
  struct LastRun {
    double along = 0;
    double across = 0;
    int rotation = 0;
    bool moved = false;
  };
  std::optional<LastRun> m_last;
};

}  // namespace kz
