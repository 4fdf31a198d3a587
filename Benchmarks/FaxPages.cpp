#include "Benchmarks/FaxPages.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>

namespace {

constexpr int kWidth = 2550;
constexpr int kHeight = 3300;

// Samples of a page between 0, white, and 1, black.
struct Grays {
  int width;
  int height;
  std::vector<float> values;

  Grays(int pixelsAcross, int pixelsDown)
      : width(pixelsAcross),
        height(pixelsDown),
        values(static_cast<size_t>(pixelsAcross) * static_cast<size_t>(pixelsDown)) {}
  float& At(int x, int y) {
    return values[static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)];
  }
  // Between the pixels by their distance; past the edges white.
  float Between(double x, double y) {
    const int left = static_cast<int>(std::floor(x));
    const int top = static_cast<int>(std::floor(y));
    if (left < 0 || top < 0 || left + 1 >= width || top + 1 >= height) return 0;
    const auto dx = static_cast<float>(x - left);
    const auto dy = static_cast<float>(y - top);
    const float above = At(left, top) * (1 - dx) + At(left + 1, top) * dx;
    const float below = At(left, top + 1) * (1 - dx) + At(left + 1, top + 1) * dx;
    return above * (1 - dy) + below * dy;
  }
};

// Numbers that look like chance and are the same everywhere.
struct Chance {
  uint32_t state = 1;
  // Between 0 and 1.
  float Next() {
    state = state * 1664525u + 1013904223u;
    return static_cast<float>(state >> 8) / 16777216.0F;
  }
};

void SetBlack(Picture& picture, int x, int y) {
  picture.Row(y)[x / 8] |= static_cast<unsigned char>(0x80 >> x % 8);
}

// What is darker than the threshold of its place is black.
template <typename Threshold>
Picture Screen(Grays& grays, Threshold threshold) {
  Picture picture(grays.width, grays.height);
  for (int y = 0; y < grays.height; ++y)
    for (int x = 0; x < grays.width; ++x)
      if (grays.At(x, y) > threshold(x, y)) SetBlack(picture, x, y);
  return picture;
}

Grays GraysOf(Picture picture) {
  Grays grays(picture.nWidth, picture.nHeight);
  for (int y = 0; y < picture.nHeight; ++y)
    for (int x = 0; x < picture.nWidth; ++x)
      grays.At(x, y) = static_cast<float>(picture.Row(y)[x / 8] >> (7 - x % 8) & 1);
  return grays;
}

// A mean over squares of 3 x 3.
Grays Blurred(Grays grays) {
  Grays blurred(grays.width, grays.height);
  for (int y = 1; y + 1 < grays.height; ++y)
    for (int x = 1; x + 1 < grays.width; ++x) {
      float sum = 0;
      for (int i = 0; i < 9; ++i) sum += grays.At(x - 1 + i % 3, y - 1 + i / 3);
      blurred.At(x, y) = sum / 9;
    }
  return blurred;
}

// A sample of 200 dpi, enlarged and turned by `skew` pixels a pixel.
Grays Letter(int width, int height, double scale, double skew) {
  Grays letter = Blurred(GraysOf(ReadSample("letter.png")));
  Grays page(width, height);
  for (int y = 0; y < height; ++y)
    for (int x = 0; x < width; ++x)
      page.At(x, y) = letter.Between((x - skew * y) / scale, (y + skew * x) / scale);
  return page;
}

Picture MakeScan() {
  Grays page = Blurred(Letter(kWidth, kHeight, 1.5, 0.006));
  Chance chance;
  // The sum of four is nearly normal.
  for (float& value : page.values)
    value += 0.22F * (chance.Next() + chance.Next() + chance.Next() + chance.Next() - 2);
  for (int speck = 0; speck < 3000; ++speck) {
    const int x = static_cast<int>(chance.Next() * (kWidth - 4));
    const int y = static_cast<int>(chance.Next() * (kHeight - 4));
    const int size = 1 + static_cast<int>(chance.Next() * 3);
    for (int i = 0; i < size * size; ++i) page.At(x + i % size, y + i / size) = 1;
  }
  return Screen(page, [](int, int) { return 0.42F; });
}

// Light from one side, soft shapes, some edges and a little grain.
Grays MakePhotograph() {
  Grays page(kWidth, kHeight);
  Chance chance;
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) {
      const double fx = static_cast<double>(x) / kWidth;
      const double fy = static_cast<double>(y) / kHeight;
      double value = 0.15 + 0.5 * fx * fy + 0.18 * std::sin(7 * fx + 3 * std::sin(5 * fy)) +
                     0.12 * std::sin(23 * fy + 9 * fx * fx);
      if (std::hypot(fx - 0.4, fy - 0.35) < 0.2) value += 0.35;
      if (std::hypot(fx - 0.7, fy - 0.7) < 0.15) value -= 0.3;
      if (fy > 0.8 + 0.05 * std::sin(17 * fx)) value = 0.75 + 0.2 * std::sin(90 * fx);
      value += 0.04 * (static_cast<double>(chance.Next()) - 0.5);
      page.At(x, y) = static_cast<float>(std::clamp(value, 0.0, 1.0));
    }
  return page;
}

float ClusteredThreshold(int x, int y) {
  constexpr double kTurn = 2 * 3.14159265358979323846;
  const double spot = std::cos(kTurn * (x + y) / 8) + std::cos(kTurn * (x - y) / 8);
  return static_cast<float>(0.5 - 0.245 * spot);
}

// Of the matrix that is made of four smaller ones.
float BayerThreshold(int x, int y) {
  int rank = 0;
  for (int bit = 0; bit < 3; ++bit)
    rank = rank * 4 + ((x >> bit ^ y >> bit) & 1) * 2 + (y >> bit & 1);
  return (static_cast<float>(rank) + 0.5F) / 64;
}

Picture Diffuse(Grays grays) {
  Picture picture(grays.width, grays.height);
  static constexpr struct {
    int dx, dy;
    float share;
  } aNeighbours[] = {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}};
  for (int y = 0; y < grays.height; ++y)
    for (int x = 0; x < grays.width; ++x) {
      const bool black = grays.At(x, y) > 0.5F;
      const float error = grays.At(x, y) - (black ? 1.0F : 0.0F);
      if (black) SetBlack(picture, x, y);
      for (const auto& [dx, dy, share] : aNeighbours)
        if (x + dx >= 0 && x + dx < grays.width && y + dy < grays.height)
          grays.At(x + dx, y + dy) += error * share / 16;
    }
  return picture;
}

// A sample picture, repeated until it fills the page.
Picture Tiled(const char* sampleName) {
  Grays sample = GraysOf(ReadSample(sampleName));
  Grays page(kWidth, kHeight);
  for (int y = 0; y < kHeight; ++y)
    for (int x = 0; x < kWidth; ++x) page.At(x, y) = sample.At(x % sample.width, y % sample.height);
  return Screen(page, [](int, int) { return 0.5F; });
}

}  // namespace

std::vector<FaxPage> MakeFaxPages() {
  const auto half = [](int, int) { return 0.5F; };
  Grays letter = Letter(kWidth, kHeight, 1.5, 0);
  Grays large = Letter(2 * kWidth, 2 * kHeight, 3, 0);
  Grays photograph = MakePhotograph();
  std::vector<FaxPage> pages;
  pages.push_back({"text", Tiled("letter.png")});
  pages.push_back({"halftone", Tiled("halftone.png")});
  pages.push_back({"text-300", Screen(letter, half)});
  pages.push_back({"text-600", Screen(large, half)});
  pages.push_back({"scan", MakeScan()});
  pages.push_back({"clustered", Screen(photograph, ClusteredThreshold)});
  pages.push_back({"bayer", Screen(photograph, BayerThreshold)});
  pages.push_back({"diffused", Diffuse(photograph)});
  return pages;
}
