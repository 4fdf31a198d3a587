// Where presentation text goes on: what its moves add up to.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Format/ControlSequence.h"
#include "Toolkit/Base/Tested.h"

namespace kz {

// The space that a text object fills: what its descriptor says.
struct TextSpace {
  double xPoints = 0.05;  // a unit in points; if not said, 1440 units are an inch
  double yPoints = 0.05;
  int64_t width = 0;  // units
  int64_t height = 0;
  std::string conditions;  // control sequences that come first
  double x = 0;            // points from the top left corner of the page
  double y = 0;
};

// The unit of a page or text descriptor's data, and its size; false when they are cut.
KZ_TESTED bool ReadSpace(std::string_view descriptor, TextSpace& space);

// Directions of the lines and from line to line, in the axes of the page.
struct TextOrientation {
  int inlineX = 1, inlineY = 0;
  int baselineX = 0, baselineY = 1;
  bool operator==(const TextOrientation&) const = default;
};

class KZ_TESTED TextCursor {
 public:
  // Begins a text object, of which conditions may be obeyed next.
  void Begin(const TextSpace& space);
  // The conditions are over: another orientation leaves the place where it is from now on.
  void EndConditions() { m_turnsInPlace = true; }
  // Obeys what moves or says how to move; passes over other sequences.
  void Obey(const ControlSequence& sequence);
  // Whether a sequence may lead elsewhere.
  static bool IsMove(unsigned type);

  const TextOrientation& Orientation() const { return m_orientation; }
  // Of a unit in the direction of the line, and from line to line.
  double InlinePoints() const;
  double BaselinePoints() const;
  // Units. The first is as far as the moves tell, and what was added to it.
  double Inline() const { return m_inline; }
  double Increment() const { return static_cast<double>(m_increment); }
  void Advance(double units) { m_inline += units; }
  // Moves the baseline for a while; a temporary move to 0 ends that.
  void MoveTemporarily(double units) { m_temporary = units; }
  double TemporaryMove() const { return m_temporary; }
  // Points from the top left corner of the page; those with offsets, in units, from where
  // it stands.
  double X(double along = 0, double across = 0) const;
  double Y(double along = 0, double across = 0) const;

 private:
  void Orient(std::string_view parameters);
  void StayWhileTurnedFrom(const TextOrientation& before);
  double CornerX() const;
  double CornerY() const;

  TextSpace m_space;
  TextOrientation m_orientation;
  bool m_turnsInPlace = false;
  double m_inline = 0;
  double m_baseline = 0;
  double m_temporary = 0;
  int64_t m_margin = 0;
  int64_t m_increment = 0;
};

}  // namespace kz
