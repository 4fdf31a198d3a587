#include "Tests/Host/Abic/TestPictures.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kz::test {
namespace {

// The same numbers with every library.
class Chance {
 public:
  explicit Chance(unsigned seed) : state_(seed * uint64_t{0x9E3779B97F4A7C15} + 1) {}

  // From 0 to `count` - 1.
  int Below(int count) {
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    return static_cast<int>((state_ >> 33) % static_cast<uint64_t>(count));
  }
  int Between(int least, int most) { return least + Below(most - least + 1); }
  // About normal, with a deviation of 1.
  double Noise() {
    double sum = 0;
    for (int i = 0; i < 12; ++i) sum += Below(10001) / 10000.0;
    return sum - 6;
  }

 private:
  uint64_t state_;
};

// A value for every pixel.
class Plane {
 public:
  Plane(int width, int height, double value)
      : width_(width),
        height_(height),
        values_(static_cast<size_t>(width) * static_cast<size_t>(height), value) {}

  int Width() const { return width_; }
  int Height() const { return height_; }
  double& At(int x, int y) { return values_[Place(x, y)]; }
  // The nearest pixel's outside.
  double Near(int x, int y) const {
    return values_[Place(std::clamp(x, 0, width_ - 1), std::clamp(y, 0, height_ - 1))];
  }
  void Set(int x, int y, double value) {
    if (x >= 0 && x < width_ && y >= 0 && y < height_) At(x, y) = value;
  }

 private:
  size_t Place(int x, int y) const {
    return static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x);
  }

  int width_, height_;
  std::vector<double> values_;
};

// A line of round ends, in ink: 1 is black.
void DrawLine(Plane& plane, double x0, double y0, double x1, double y1, double thickness) {
  const double radius = thickness / 2;
  const double dx = x1 - x0, dy = y1 - y0, length2 = dx * dx + dy * dy;
  const int bottom = static_cast<int>(std::max(y0, y1) + radius + 1);
  const int right = static_cast<int>(std::max(x0, x1) + radius + 1);
  for (int y = static_cast<int>(std::min(y0, y1) - radius - 1); y <= bottom; ++y) {
    for (int x = static_cast<int>(std::min(x0, x1) - radius - 1); x <= right; ++x) {
      double along = length2 > 0 ? ((x - x0) * dx + (y - y0) * dy) / length2 : 0;
      along = std::clamp(along, 0.0, 1.0);
      if (std::hypot(x - x0 - along * dx, y - y0 - along * dy) <= radius) plane.Set(x, y, 1);
    }
  }
}

void DrawArc(Plane& plane, double x, double y, double rx, double ry, double from, double to,
             double thickness) {
  constexpr int kParts = 24;
  const double step = (to - from) / kParts;
  for (int i = 0; i < kParts; ++i) {
    const double a = from + i * step, b = a + step;
    DrawLine(plane, x + rx * std::cos(a), y + ry * std::sin(a), x + rx * std::cos(b),
             y + ry * std::sin(b), thickness);
  }
}

// Dots of ink that the sensor sees or misses, at edges only.
void MakeRagged(Plane& plane, Chance& chance) {
  const Plane before = plane;
  for (int y = 0; y < plane.Height(); ++y) {
    for (int x = 0; x < plane.Width(); ++x) {
      const double other = before.Near(x - 1, y) + before.Near(x + 1, y) + before.Near(x, y - 1) +
                           before.Near(x, y + 1);
      if (other > 0 && other < 4 && chance.Below(100) < 8) plane.At(x, y) = 1 - plane.At(x, y);
    }
  }
}

// Strokes of a letter, in parts of its box; an arc where `arc` is set.
struct Stroke {
  bool arc;
  double x0, y0, x1, y1;
};

std::vector<std::vector<Stroke>> MakeAlphabet(Chance& chance) {
  constexpr double kPlaces[] = {0, 0.5, 1};
  std::vector<std::vector<Stroke>> alphabet(26);
  for (auto& letter : alphabet) {
    const double top = chance.Below(3) == 0 ? 0 : 0.35;  // with or without an ascender
    if (chance.Below(4) != 0) letter.push_back({false, 0, top, 0, 1});
    if (chance.Below(2) == 0) letter.push_back({true, 0.5, 0.675, 0.5, 0.325});
    for (int count = chance.Between(1, 2); count > 0; --count) {
      const double x = kPlaces[chance.Below(3)], y = chance.Below(2) == 0 ? 1 : 0.65;
      const int way = chance.Below(3);
      letter.push_back(
          {false, way == 0 ? 0 : x, way == 0 ? y : 0.35, way == 0 ? 1 : 1 - x, way == 0 ? y : 1});
    }
  }
  return alphabet;
}

void DrawText(Plane& plane, Chance& chance) {
  const auto alphabet = MakeAlphabet(chance);
  const int width = plane.Width(), height = plane.Height();
  const int size = std::clamp(width / 40, 7, 26);
  const double thickness = std::max(1.2, size / 8.0), skew = (chance.Below(9) - 4) / 1000.0;
  const int margin = width / 12;
  for (int y = height / 14 + 1; y + size < height - height / 14; y += size * 8 / 5) {
    const int kind = chance.Below(9);  // a gap between paragraphs, a short line, a full one
    if (kind == 0) continue;
    const int end = kind == 1 ? width / 2 : width - margin;
    for (int x = margin, left = chance.Between(2, 9); x + size < end; --left) {
      if (left == 0) {
        left = chance.Between(2, 9) + 1;
        x += size / 2;
        continue;
      }
      const double w = size * 0.55, top = y + x * skew;
      for (const Stroke& stroke : alphabet[static_cast<size_t>(chance.Below(26))]) {
        const double x0 = x + stroke.x0 * w, y0 = top + stroke.y0 * size;
        if (stroke.arc) {
          DrawArc(plane, x0, y0, stroke.x1 * w, stroke.y1 * size, 0.6, 5.7, thickness);
        } else {
          DrawLine(plane, x0, y0, x + stroke.x1 * w, top + stroke.y1 * size, thickness);
        }
      }
      x += static_cast<int>(w) + size / 4;
    }
  }
  MakeRagged(plane, chance);
}

void DrawLineArt(Plane& plane, Chance& chance) {
  const int width = plane.Width(), height = plane.Height(), size = std::min(width, height);
  const double thickness = std::max(1.0, size / 200.0);
  for (int inset = size / 20; inset < size / 8; inset += size / 25 + 1) {
    const double r = width - 1 - inset, b = height - 1 - inset;
    DrawLine(plane, inset, inset, r, inset, thickness);
    DrawLine(plane, inset, b, r, b, thickness);
    DrawLine(plane, inset, inset, inset, b, thickness);
    DrawLine(plane, r, inset, r, b, thickness);
  }
  for (int i = 0; i < 12; ++i) {
    const double x = chance.Below(width), y = chance.Below(height);
    if (i % 2 == 0) {
      const double rx = size / 20.0 + chance.Below(size / 4 + 1);
      DrawArc(plane, x, y, rx, i % 4 == 0 ? rx : rx / 2, 0, 6.2832, thickness);
    } else {
      DrawLine(plane, x, y, chance.Below(width), chance.Below(height), thickness);
    }
  }
}

void DrawSpecks(Plane& plane, Chance& chance) {
  const int count = plane.Width() * plane.Height() / 1500 + 1;
  for (int i = 0; i < count; ++i) {
    const int x = chance.Below(plane.Width()), y = chance.Below(plane.Height());
    plane.Set(x, y, 1);
    if (chance.Below(3) == 0) plane.Set(x + 1, y, 1);
    if (chance.Below(4) == 0) plane.Set(x, y + 1, 1);
  }
}

// A gradient with discs and boxes of other gradients.
void DrawTones(Plane& plane, Chance& chance) {
  const int width = plane.Width(), height = plane.Height(), size = std::min(width, height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) plane.At(x, y) = 0.05 + 0.45 * (x + y) / (width + height);
  }
  for (int i = 0; i < 7; ++i) {
    const int cx = chance.Below(width), cy = chance.Below(height);
    const int radius = size / 12 + 1 + chance.Below(size / 5 + 1);
    const double middle = chance.Below(100) / 100.0, rim = chance.Below(100) / 100.0;
    for (int y = cy - radius; y <= cy + radius; ++y) {
      for (int x = cx - radius; x <= cx + radius; ++x) {
        const double out = std::hypot(x - cx, y - cy) / radius;
        if (i % 2 == 0 && out > 1) continue;
        plane.Set(x, y, middle + (rim - middle) * std::min(out, 1.0));
      }
    }
  }
}

void Dither(Plane& plane) {
  for (int y = 0; y < plane.Height(); ++y) {
    for (int x = 0; x < plane.Width(); ++x) {
      int rank = 0;  // Bayer's matrix, from the places' bits
      for (int bit = 0; bit < 3; ++bit) {
        const int column = x >> bit & 1, row = y >> bit & 1;
        rank = rank << 2 | (column ^ row) << 1 | row;
      }
      plane.At(x, y) = plane.At(x, y) > (rank + 0.5) / 64 ? 1 : 0;
    }
  }
}

void GrowDots(Plane& plane) {
  constexpr double kTurn = 3.14159265358979 * 2 / 8;  // dots 8 / sqrt(2) pixels apart
  for (int y = 0; y < plane.Height(); ++y) {
    for (int x = 0; x < plane.Width(); ++x) {
      const double hill =
          (2 + std::cos((x + y + 0.3) * kTurn) + std::cos((x - y + 0.1) * kTurn)) / 4;
      plane.At(x, y) = plane.At(x, y) > 1 - hill ? 1 : 0;
    }
  }
}

void DiffuseErrors(Plane& plane) {
  for (int y = 0; y < plane.Height(); ++y) {
    for (int x = 0; x < plane.Width(); ++x) {
      const double wanted = plane.At(x, y), got = wanted > 0.5 ? 1 : 0;
      const auto pass = [&](int dx, int dy, int sixteenths) {
        const double here = plane.Near(x + dx, y + dy);
        plane.Set(x + dx, y + dy, here + (wanted - got) * sixteenths / 16);
      };
      pass(1, 0, 7);
      pass(-1, 1, 3);
      pass(0, 1, 5);
      pass(1, 1, 1);
      plane.At(x, y) = got;
    }
  }
}

// What a scanner of gray sees of ink: a little blur and noise.
void Blur(Plane& plane) {
  const Plane before = plane;
  for (int y = 0; y < plane.Height(); ++y) {
    for (int x = 0; x < plane.Width(); ++x) {
      double sum = 4 * before.Near(x, y);
      for (const int d : {-1, 1}) sum += before.Near(x + d, y) + before.Near(x, y + d);
      plane.At(x, y) = sum / 8;
    }
  }
}

void Ink(Plane& plane, PictureKind kind, Chance& chance) {
  switch (kind) {
    case PictureKind::Text:
      return DrawText(plane, chance);
    case PictureKind::LineArt:
      return DrawLineArt(plane, chance);
    case PictureKind::Specks:
      return DrawSpecks(plane, chance);
    case PictureKind::Noise:
      for (int y = 0; y < plane.Height(); ++y) {
        for (int x = 0; x < plane.Width(); ++x) plane.At(x, y) = chance.Below(257) / 256.0;
      }
      return;
    case PictureKind::OrderedDither:
      DrawTones(plane, chance);
      return Dither(plane);
    case PictureKind::ClusteredDots:
      DrawTones(plane, chance);
      return GrowDots(plane);
    case PictureKind::ErrorDiffusion:
      DrawTones(plane, chance);
      return DiffuseErrors(plane);
    case PictureKind::Gradient:
    case PictureKind::GrayCoded:
      return DrawTones(plane, chance);
  }
}

}  // namespace

IndependentImage DrawPicture(PictureKind kind, int width, int height, int depth, unsigned seed) {
  Chance chance(seed);
  Plane ink(width, height, 0);
  Ink(ink, kind, chance);
  const bool tones = kind == PictureKind::Gradient || kind == PictureKind::GrayCoded;
  if (depth > 1 && !tones && kind != PictureKind::Noise) Blur(ink);
  IndependentImage image{width, height, depth, {}};
  const int most = (1 << depth) - 1;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      double value = ink.At(x, y);
      if (depth > 1) value = 1 - value + (kind == PictureKind::Noise ? 0 : chance.Noise() / 200);
      int sample = std::clamp(static_cast<int>(std::lround(value * most)), 0, most);
      if (kind == PictureKind::GrayCoded) sample ^= sample >> 1;
      image.samples.push_back(static_cast<unsigned char>(sample));
    }
  }
  return image;
}

}  // namespace kz::test
