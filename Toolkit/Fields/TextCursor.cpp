#include "Toolkit/Fields/TextCursor.h"

#include <algorithm>
#include <cmath>

#include "Format/BigEndian.h"
#include "Format/ObjectArea.h"

namespace kz {

namespace {

// Six lines are an inch, unless said otherwise.
int64_t UsualIncrement(const TextSpace& space) {
  constexpr double linesPerInch = 6;
  return std::llround(kPointsPerInch / linesPerInch / space.yPoints);
}

}  // namespace

bool ReadSpace(std::string_view descriptor, TextSpace& space) {
  constexpr size_t size = 6, sizeBytes = 3, end = 12, conditions = 14;
  UnitSize units;
  if (descriptor.size() < end || !ReadUnitSize(descriptor, units)) return false;
  space.xPoints = units.x;
  space.yPoints = units.y;
  space.width = GetBig(descriptor, size, sizeBytes);
  space.height = GetBig(descriptor, size + sizeBytes, sizeBytes);
  space.conditions = descriptor.substr(std::min(descriptor.size(), conditions));
  return true;
}

void TextCursor::Begin(const TextSpace& space) {
  *this = {};
  m_space = space;
  m_increment = UsualIncrement(space);
}

bool TextCursor::IsMove(unsigned type) {
  switch (type) {
    case ptx::kAbsoluteMoveInline:
    case ptx::kRelativeMoveInline:
    case ptx::kAbsoluteMoveBaseline:
    case ptx::kRelativeMoveBaseline:
    case ptx::kBeginLine:
    case ptx::kSetOrientation:
      return true;
    default:
      return false;
  }
}

void TextCursor::Obey(const ControlSequence& sequence) {
  const std::string_view parameters = sequence.parameters;
  const unsigned type = sequence.Type();
  if (type == ptx::kBeginLine) {
    m_inline = static_cast<double>(m_margin);
    m_baseline += static_cast<double>(m_increment);
    return;
  }
  if (parameters.size() < 2) return;
  const int64_t number = SignedNumber(parameters);
  switch (type) {
    case ptx::kAbsoluteMoveInline:
      m_inline = static_cast<double>(number);
      break;
    case ptx::kRelativeMoveInline:
      m_inline += static_cast<double>(number);
      break;
    case ptx::kAbsoluteMoveBaseline:
      m_baseline = static_cast<double>(number);
      break;
    case ptx::kRelativeMoveBaseline:
      m_baseline += static_cast<double>(number);
      break;
    case ptx::kSetInlineMargin:
      m_margin = IsDefault(parameters) ? 0 : number;
      break;
    case ptx::kSetBaselineIncrement:
      m_increment = IsDefault(parameters) ? UsualIncrement(m_space) : number;
      break;
    case ptx::kSetOrientation: {
      const TextOrientation before = m_orientation;
      Orient(parameters);
      if (m_turnsInPlace) StayWhileTurnedFrom(before);
      break;
    }
    default:
      break;
  }
}

void TextCursor::Orient(std::string_view parameters) {
  constexpr int64_t quarter = 90;
  constexpr int x[] = {1, 0, -1, 0};
  constexpr int y[] = {0, 1, 0, -1};
  // Degrees stand above seven bits of fraction.
  const auto direction = [&](size_t at) {
    return static_cast<size_t>((GetBig(parameters, at, 2) >> 7) / quarter);
  };
  size_t along = direction(0);
  size_t across = direction(2);
  if (along > 3) along = 0;
  if (across > 3 || (along + across) % 2 == 0) across = (along + 1) % 4;
  m_orientation = {x[along], y[along], x[across], y[across]};
}

// The place stays where it is, and counts from the new origin along the new axes.
void TextCursor::StayWhileTurnedFrom(const TextOrientation& before) {
  const TextOrientation now = m_orientation;
  m_orientation = before;
  double x = CornerX() + before.inlineX * m_inline + before.baselineX * m_baseline;
  double y = CornerY() + before.inlineY * m_inline + before.baselineY * m_baseline;
  m_orientation = now;
  x -= CornerX();
  y -= CornerY();
  m_inline = x * now.inlineX + y * now.inlineY;
  m_baseline = x * now.baselineX + y * now.baselineY;
}

double TextCursor::InlinePoints() const {
  return m_orientation.inlineX != 0 ? m_space.xPoints : m_space.yPoints;
}

double TextCursor::BaselinePoints() const {
  return m_orientation.baselineX != 0 ? m_space.xPoints : m_space.yPoints;
}

// The origin is the corner from which both directions lead into the space.
double TextCursor::CornerX() const {
  return m_orientation.inlineX + m_orientation.baselineX < 0 ? static_cast<double>(m_space.width)
                                                             : 0;
}

double TextCursor::CornerY() const {
  return m_orientation.inlineY + m_orientation.baselineY < 0 ? static_cast<double>(m_space.height)
                                                             : 0;
}

double TextCursor::X(double along, double across) const {
  const TextOrientation& o = m_orientation;
  const double baseline = m_baseline + m_temporary + across;
  return m_space.x +
         (CornerX() + o.inlineX * (m_inline + along) + o.baselineX * baseline) * m_space.xPoints;
}

double TextCursor::Y(double along, double across) const {
  const TextOrientation& o = m_orientation;
  const double baseline = m_baseline + m_temporary + across;
  return m_space.y +
         (CornerY() + o.inlineY * (m_inline + along) + o.baselineY * baseline) * m_space.yPoints;
}

}  // namespace kz
