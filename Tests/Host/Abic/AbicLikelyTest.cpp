// Finding the parameters of strings whose writers are unknown.
#include <random>
#include <utility>
#include <vector>

#include "Host/Kernel/Kernel.h"
#include "Host/Kernel/KernelTesting.h"
#include "Tests/Host/Abic/AbicLibrary.h"
#include "Tests/Host/Abic/TestPictures.h"

namespace kz::test {
namespace {

using Places = std::vector<std::pair<int, int>>;

const Places kUsual = {{-2, 0}, {-1, 0}, {-2, -1}, {-1, -1}, {0, -1}, {1, -1}, {2, -1}};
const Places kRightAndThree = {{-3, 0}, {-2, 0}, {-1, 0}, {-1, -1}, {0, -1}, {1, -1}, {2, -1}};
const Places kLeftAndThree = {{-3, 0}, {-2, 0}, {-1, 0}, {-2, -1}, {-1, -1}, {0, -1}, {1, -1}};
const Places kUnlikely = {{-1, 0}, {-4, 0}, {0, -1}, {3, -1}, {-1, -2}, {0, -2}, {1, -2}};

struct Writer {
  OpenPoints points;
  bool reversedBits = false;

  Bytes Code(const IndependentImage& image, Producer producer = Producer::FourSpacerBits) const {
    const Bytes code = EncodeIndependently(image, points, producer);
    return reversedBits ? WithReversedBits(code) : code;
  }
};

// All writers that have these contexts. The framing is the usual one unless `framings`.
std::vector<Writer> WritersWith(const Places& places, bool framings) {
  std::vector<Writer> writers;
  for (unsigned bits = 0; bits < (framings ? 32U : 8U); ++bits) {
    const auto bit = [=](int i) { return (bits >> i & 1U) != 0; };
    writers.push_back({{places, bit(0), bit(1), bit(2), bit(3)}, bit(4)});
  }
  return writers;
}

class AbicLikely : public AbicLibrary {
 protected:
  void ExpectFound(const IndependentImage& image, const Writer& writer) {
    IndependentImage read{image.width, image.height, image.depth, {}};
    ASSERT_EQ(Decode(writer.Code(image), read), 1);
    EXPECT_TRUE(read.samples == image.samples)
        << "flips " << writer.points.flipsInStateOne << ", wraps " << writer.points.wrapsEdges
        << ", apart " << writer.points.planesApart << ", exact " << writer.points.exactWidth
        << ", reversed " << writer.reversedBits;
  }
};

// By chance a string can fit other parameters too: one in some hundred does, none of these.
TEST_F(AbicLikely, EveryLikelyWritersPicturesAreFound) {
  for (const auto& [kind, name] : kAllPictures) {
    // Nothing tells how noise was coded, and a few specks are too few bytes.
    if (kind == PictureKind::Noise || kind == PictureKind::Specks) continue;
    for (const auto& [width, depth] : {std::pair(203, 1), std::pair(75, 4)}) {
      SCOPED_TRACE(testing::Message() << name << " of " << depth);
      const IndependentImage image = DrawPicture(kind, width, 120, depth, 4);
      EXPECT_GE(Writer{{kUsual}}.Code(image).size(), 100U);
      for (const Writer& writer : WritersWith(kUsual, true)) ExpectFound(image, writer);
      for (const Writer& writer : WritersWith(kRightAndThree, true)) ExpectFound(image, writer);
      for (const Writer& writer : WritersWith(kLeftAndThree, false)) ExpectFound(image, writer);
    }
  }
}

// The framing that an image states is tried first, and in all contexts.
TEST_F(AbicLikely, AStatedFramingIsReadInAllContexts) {
  const IndependentImage image = DrawPicture(PictureKind::Text, 203, 120, 1, 4);
  for (const Places& places : {kUsual, kRightAndThree, kLeftAndThree}) {
    for (const Writer& writer : WritersWith(places, true)) {
      AbicReading reading;
      reading.parameters.exactWidth = writer.points.exactWidth;
      reading.parameters.reversedBits = writer.reversedBits;
      const kz::AbicParameters stated = reading.parameters;
      IndependentImage read{203, 120, 1, {}};
      const Bytes code = writer.Code(image);
      ASSERT_EQ(DecodeLikely(code, read, reading), 1);
      EXPECT_TRUE(read.samples == image.samples);
      EXPECT_EQ(reading.parameters.exactWidth, stated.exactWidth);
      EXPECT_EQ(reading.parameters.reversedBits, stated.reversedBits);
      EXPECT_TRUE(kz::AbicFits(reading.fit));
      const kz::AbicFit again = FitOf(code, image, reading.parameters);
      EXPECT_EQ(again.bitsLeft, reading.fit.bitsLeft);
      EXPECT_EQ(again.rows, reading.fit.rows);
    }
  }
}

TEST_F(AbicLikely, WhateverTheProducerLeavesOutOrAddsIsRead) {
  const IndependentImage image = DrawPicture(PictureKind::LineArt, 203, 150, 1, 5);
  for (const Producer producer : kAllProducers) {
    for (const Writer& writer : {Writer{{kUsual}}, Writer{{kRightAndThree, true}, true}}) {
      IndependentImage read{203, 150, 1, {}};
      ASSERT_EQ(Decode(writer.Code(image, producer), read), 1);
      EXPECT_TRUE(read.samples == image.samples) << static_cast<int>(producer);
    }
  }
}

TEST_F(AbicLikely, WhenNothingFitsTheImageIsTheUsualOnes) {
  for (const int depth : {1, 4, 8}) {
    const IndependentImage image = DrawPicture(PictureKind::ErrorDiffusion, 203, 150, depth, 6);
    AbicReading reading;
    const Bytes code = Writer{{kUnlikely}}.Code(image);
    ExpectReadAsTold(code, image, reading);
    EXPECT_EQ(reading.parameters, kz::AbicParameters{});
    EXPECT_FALSE(kz::AbicFits(reading.fit));
    EXPECT_GT(reading.fit.rows, 0);
    // This one ends before the image is complete: below is white.
    EXPECT_EQ(reading.fit.rows < 150, depth == 1);
  }
}

TEST_F(AbicLikely, CutAndExtendedStringsGiveWhatIsThere) {
  const IndependentImage image = DrawPicture(PictureKind::Text, 203, 150, 1, 7);
  const Bytes code = Writer{{kUsual}}.Code(image);
  int64_t rows = 0;
  for (size_t kept = 1; kept < code.size() - 2; kept += 1 + kept / 8) {
    SCOPED_TRACE(kept);
    AbicReading reading;
    ExpectReadAsTold(Bytes(code.begin(), code.begin() + static_cast<ptrdiff_t>(kept)), image,
                     reading);
    EXPECT_EQ(reading.parameters, kz::AbicParameters{});
    EXPECT_GE(reading.fit.rows, rows) << "more bytes give more rows";
    rows = reading.fit.rows;
  }
  EXPECT_GT(rows, 75);
  for (const size_t added : {1U, 2U, 4U, 5U, 100U, 100000U}) {
    SCOPED_TRACE(added);
    for (const unsigned char byte : FromHex("00FF5A")) {
      Bytes longer = code;
      longer.resize(code.size() + added, byte);
      IndependentImage read{203, 150, 1, {}};
      AbicReading reading;
      ASSERT_EQ(DecodeLikely(longer, read, reading), 1);
      EXPECT_TRUE(read.samples == image.samples);
      EXPECT_EQ(kz::AbicFits(reading.fit), added <= 4);
    }
  }
}

TEST_F(AbicLikely, DamagedStringsAreReadAsTheReadingTells) {
  std::mt19937 random(11);
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(round);
    const int depth = round % 3 == 0 ? 4 : round % 3 == 1 ? 8 : 1;
    const IndependentImage image =
        DrawPicture(PictureKind::Text, 1 + round % 70, 40, depth, static_cast<unsigned>(round));
    Bytes code = Writer{{kUsual}}.Code(image);
    for (auto changes = 1 + random() % 8; changes > 0; --changes) {
      code[random() % code.size()] = static_cast<unsigned char>(random());
    }
    AbicReading reading;
    ExpectReadAsTold(code, image, reading);
  }
}

TEST_F(AbicLikely, NoMemoryIsReportedAtEveryAllocation) {
  const IndependentImage image = DrawPicture(PictureKind::Text, 203, 120, 1, 8);
  // The bits' order is found after the others have been tried.
  const Bytes code = Writer{{kUsual}, true}.Code(image);
  IndependentImage read{203, 120, 1, {}};
  int failures = 0;
  for (int n = 1;; ++n, ++failures) {
    K_FailAllocation(n);
    const int status = Decode(code, read);
    K_FailAllocation(0);
    if (status == 1) break;
    ASSERT_EQ(status, K_ERROR_NO_MEMORY);
  }
  EXPECT_EQ(failures, 3);
  EXPECT_TRUE(read.samples == image.samples);
}

}  // namespace
}  // namespace kz::test
