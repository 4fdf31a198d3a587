// That the coder of the other tests reads what it writes, and codes in the contexts that
// its parameters name: every rule against an image that says the same without the rule.
#include "Tests/Host/Abic/IndependentCoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tests/Host/Abic/TestPictures.h"

namespace kz::test {
namespace {

using Bytes = std::vector<unsigned char>;

const std::vector<std::pair<int, int>> kNeighbourSets[] = {
    {{-2, 0}, {-1, 0}, {-2, -1}, {-1, -1}, {0, -1}, {1, -1}, {2, -1}},
    {{-3, 0}, {-2, 0}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}, {2, -1}},
    {{-1, 0}, {-4, 0}, {0, -1}, {3, -1}, {-1, -2}, {0, -2}, {1, -2}},
};

Bytes Octets(std::string_view digits) {
  Bytes bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    bytes.push_back(
        static_cast<unsigned char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
  }
  return bytes;
}

Bytes BitsOf(const Bytes& bytes) {
  Bytes bits;
  for (const unsigned char byte : bytes) {
    for (int shift = 7; shift >= 0; --shift) bits.push_back(byte >> shift & 1);
  }
  return bits;
}

// Blots rather than noise, so that all states are visited.
IndependentImage Blots(int width, int height, int depth, std::mt19937& random) {
  IndependentImage image{width, height, depth, {}};
  const auto changes = 2 + random() % 60;
  std::mt19937::result_type value = 0;
  for (int i = 0; i < width * height; ++i) {
    if (random() % changes == 0) value = random() % (1U << depth);
    image.samples.push_back(static_cast<unsigned char>(value));
  }
  return image;
}

OpenPoints Points(std::vector<std::pair<int, int>> neighbours, bool exactWidth) {
  OpenPoints points;
  points.neighbours = std::move(neighbours);
  points.exactWidth = exactWidth;
  return points;
}

Bytes Encoded(const IndependentImage& image, const OpenPoints& points) {
  return EncodeIndependently(image, points, Producer::FourSpacerBits);
}

TEST(AbicIndependent, OneContextGivesTheKnownStrings) {
  const Bytes decisions =
      BitsOf(Octets("00020051000000C00352872AAAAAAAAA82C02000FCD79EF674EAABF7697EE74C"));
  const Bytes kept = Octets("FF3902519A78331E57BC555555711521DFBACEE4CA2A927122589550ACA600");
  const Bytes flipped = Octets("FF3902519A78331E57BC555555711521DFBAD1BE7622927122589550ACA600");
  EXPECT_EQ(EncodeDecisions(decisions, false, Producer::FourSpacerBits), kept);
  EXPECT_EQ(EncodeDecisions(decisions, true, Producer::FourSpacerBits), flipped);
  EXPECT_EQ(DecodeDecisions(kept, 256, false), decisions);
  EXPECT_EQ(DecodeDecisions(flipped, 256, true), decisions);
}

TEST(AbicIndependent, EveryProducersImagesAreRead) {
  std::mt19937 random(1);
  size_t stuffedCarries = 0;
  for (int round = 0; round < 700; ++round) {
    const int width = 1 + round % 70;
    const int height = 1 + static_cast<int>(random() % 50);
    const int depth = round % 3 == 0 ? 4 : round % 3 == 1 ? 8 : 1;
    const IndependentImage image = Blots(width, height, depth, random);
    OpenPoints points;
    points.neighbours = kNeighbourSets[random() % 3];
    points.flipsInStateOne = random() % 2 != 0;
    points.wrapsEdges = random() % 2 != 0;
    points.planesApart = random() % 2 != 0;
    points.exactWidth = random() % 2 != 0;
    for (const Producer producer : kAllProducers) {
      const Bytes code = EncodeIndependently(image, points, producer);
      const IndependentImage read = DecodeIndependently(code, width, height, depth, points);
      ASSERT_EQ(read.samples, image.samples)
          << "round " << round << " producer " << static_cast<int>(producer);
      for (size_t i = 1; i < code.size(); ++i) {
        if (code[i - 1] == 0xFF && code[i] >= 0x80) ++stuffedCarries;
      }
    }
  }
  EXPECT_GT(stuffedCarries, 0U) << "the images are too tame";
}

// Runs that reach the last state, and decisions that are always the other way.
TEST(AbicIndependent, EveryProducersExtremeDecisionsAreRead) {
  for (const bool flips : {false, true}) {
    Bytes runs, against;
    Bytes code;
    for (int i = 0; i < 40000; ++i) runs.push_back(i % 9973 == 9972 || i > 39990 ? 1 : 0);
    // Whatever is read from noise is a string of unlikely decisions.
    std::mt19937 random(2);
    for (int i = 0; i < 3000; ++i) code.push_back(static_cast<unsigned char>(random() % 255));
    against = DecodeDecisions(code, 9000, flips);
    for (const Bytes& decisions : {runs, against, Bytes(), Bytes(1, 0), Bytes(1, 1)}) {
      for (const Producer producer : kAllProducers) {
        const Bytes written = EncodeDecisions(decisions, flips, producer);
        EXPECT_EQ(DecodeDecisions(written, static_cast<int>(decisions.size()), flips), decisions)
            << decisions.size() << " by producer " << static_cast<int>(producer);
      }
    }
  }
}

// A page of each kind, in the usual way.
TEST(AbicIndependent, PicturesAreReadAndDifferFromSeedToSeed) {
  for (const auto& [kind, name] : kAllPictures) {
    for (const int depth : {1, 4, 8}) {
      const IndependentImage image = DrawPicture(kind, 203, 150, depth, 1);
      const auto [least, most] = std::minmax_element(image.samples.begin(), image.samples.end());
      EXPECT_EQ(*most, (1 << depth) - 1) << name;
      EXPECT_LT(*least, *most) << name;
      EXPECT_EQ(DrawPicture(kind, 203, 150, depth, 1).samples, image.samples) << name;
      EXPECT_NE(DrawPicture(kind, 203, 150, depth, 2).samples, image.samples) << name;
      const OpenPoints points = Points(kNeighbourSets[0], false);
      EXPECT_EQ(DecodeIndependently(Encoded(image, points), 203, 150, depth, points).samples,
                image.samples)
          << name << " of " << depth;
    }
  }
  for (const int size : {1, 2, 9}) {
    for (const auto& [kind, name] : kAllPictures) {
      EXPECT_EQ(DrawPicture(kind, size, 1, 8, 1).samples.size(), static_cast<size_t>(size)) << name;
      EXPECT_EQ(DrawPicture(kind, 1, size, 1, 1).samples.size(), static_cast<size_t>(size)) << name;
    }
  }
}

// States that don't fit the decisions are read all the same, but cost bytes.
TEST(AbicIndependent, StringsAreNotMuchLongerThanTheDecisionsEntropy) {
  std::mt19937 random(8);
  for (const double odds : {0.5, 0.2, 0.05, 0.01, 0.002, 0.0005}) {
    Bytes decisions;
    const auto limit = static_cast<std::mt19937::result_type>(odds * 0x1p32);
    for (int i = 0; i < 400000; ++i) decisions.push_back(random() < limit ? 1 : 0);
    const double ones = static_cast<double>(std::count(decisions.begin(), decisions.end(), 1));
    const double part = ones / 400000;
    const double entropy = -part * std::log2(part) - (1 - part) * std::log2(1 - part);
    const double bits =
        8.0 * static_cast<double>(EncodeDecisions(decisions, false, Producer::Borrows).size());
    EXPECT_LT(bits / (400000 * entropy), 1.1) << odds;
  }
  EXPECT_LT(EncodeDecisions(Bytes(400000), false, Producer::Borrows).size(), 24U);
}

TEST(AbicIndependent, ProducersEndTheirStringsInTheirWays) {
  std::mt19937 random(3);
  const IndependentImage image = Blots(64, 64, 1, random);
  const OpenPoints points = Points(kNeighbourSets[0], true);
  const Bytes plain = Encoded(image, points);
  Bytes trimmed = EncodeIndependently(image, points, Producer::TrimsZeros);
  ASSERT_FALSE(trimmed.empty());
  EXPECT_NE(trimmed.back(), 0);
  trimmed.resize(plain.size());
  EXPECT_EQ(trimmed, plain);
  Bytes longer = EncodeIndependently(image, points, Producer::AddsBytes);
  EXPECT_GT(longer.size(), plain.size());
  longer.resize(plain.size());
  EXPECT_EQ(longer, plain);
  EXPECT_NE(EncodeIndependently(image, points, Producer::Borrows), plain);
}

TEST(AbicIndependent, PlanesAreCodedMostSignificantBitFirst) {
  const IndependentImage image{2, 1, 8, {0x96, 0x3A}};
  const Bytes decisions = {1, 0, 0, 0, 0, 1, 1, 1, 0, 1, 1, 0, 1, 1, 0, 0};
  EXPECT_EQ(Encoded(image, Points({}, true)),
            EncodeDecisions(decisions, false, Producer::FourSpacerBits));
}

TEST(AbicIndependent, PaddingIsWhitePixelsMore) {
  std::mt19937 random(4);
  const IndependentImage image = Blots(21, 40, 4, random);
  IndependentImage padded{24, 40, 4, Bytes(960)};
  for (size_t i = 0; i < image.samples.size(); ++i) {
    padded.samples[i / 21 * 24 + i % 21] = image.samples[i];
  }
  const Bytes code = Encoded(image, Points(kNeighbourSets[0], false));
  EXPECT_EQ(code, Encoded(padded, Points(kNeighbourSets[0], true)));
  EXPECT_NE(code, Encoded(image, Points(kNeighbourSets[0], true)));
}

// A neighbour that is never in the image leaves one context.
TEST(AbicIndependent, WhatIsOutsideIsWhite) {
  std::mt19937 random(5);
  const IndependentImage column = Blots(1, 300, 1, random);
  const IndependentImage row = Blots(300, 1, 1, random);
  const struct {
    const IndependentImage& image;
    std::pair<int, int> neighbour;
    bool outside;
  } cases[] = {
      {column, {-1, 0}, true}, {column, {1, -1}, true}, {column, {-1, -2}, true},
      {row, {0, -1}, true},    {row, {0, -2}, true},    {column, {0, -1}, false},
      {row, {-1, 0}, false},
  };
  for (const auto& [image, neighbour, outside] : cases) {
    const Bytes oneContext = EncodeDecisions(image.samples, false, Producer::FourSpacerBits);
    EXPECT_EQ(Encoded(image, Points({neighbour}, true)) == oneContext, outside)
        << neighbour.first << ", " << neighbour.second;
  }
}

// A raster whose rows go on into each other is one long row.
TEST(AbicIndependent, RowsThatWrapAreOneRow) {
  std::mt19937 random(6);
  const int width = 19;
  const IndependentImage image = Blots(width, 30, 1, random);
  const IndependentImage row{width * 30, 1, 1, image.samples};
  for (const auto& neighbours : kNeighbourSets) {
    OpenPoints points = Points(neighbours, true), inRow = Points({}, true);
    for (const auto& [dx, dy] : neighbours) inRow.neighbours.emplace_back(dx + dy * width, 0);
    EXPECT_NE(Encoded(image, points), Encoded(row, inRow));
    points.wrapsEdges = true;
    EXPECT_EQ(Encoded(image, points), Encoded(row, inRow));
  }
  // A row that is shorter than a neighbour's distance: that pixel isn't coded yet.
  const IndependentImage narrow = Blots(2, 100, 1, random);
  OpenPoints ahead = Points({{2, -1}}, true);
  ahead.wrapsEdges = true;
  EXPECT_EQ(Encoded(narrow, ahead),
            EncodeDecisions(narrow.samples, false, Producer::FourSpacerBits));
}

// Planes that aren't apart are one tall image; a plane of one row that is sees nothing
// above.
TEST(AbicIndependent, PlanesSeeThePlaneBeforeUnlessTheyAreApart) {
  std::mt19937 random(7);
  for (const bool wraps : {false, true}) {
    const IndependentImage image = Blots(40, 9, 4, random);
    IndependentImage tall{40, 36, 1, {}};
    for (int shift = 3; shift >= 0; --shift) {
      for (const unsigned char sample : image.samples) {
        tall.samples.push_back(sample >> shift & 1);
      }
    }
    OpenPoints points = Points(kNeighbourSets[2], true);
    points.wrapsEdges = wraps;
    EXPECT_EQ(Encoded(image, points), Encoded(tall, points));
    points.planesApart = true;
    EXPECT_NE(Encoded(image, points), Encoded(tall, points));

    const IndependentImage row = Blots(200, 1, 8, random);
    Bytes decisions;
    for (int shift = 7; shift >= 0; --shift) {
      for (const unsigned char sample : row.samples) decisions.push_back(sample >> shift & 1);
    }
    points.neighbours = {{0, -1}, {0, -2}};
    EXPECT_EQ(Encoded(row, points), EncodeDecisions(decisions, false, Producer::FourSpacerBits));
  }
}

}  // namespace
}  // namespace kz::test
