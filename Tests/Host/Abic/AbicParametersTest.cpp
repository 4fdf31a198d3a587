// Coding with given parameters, against the independent coder.
#include <algorithm>
#include <random>

#include "Host/Kernel/Kernel.h"
#include "Tests/Host/Abic/AbicLibrary.h"
#include "Tests/Host/Abic/TestPictures.h"

namespace kz::test {
namespace {

class AbicParametersTest : public AbicLibrary {
 protected:
  // One image with one set of parameters: both coders' strings are the same, and every
  // producer's are read.
  void CheckAgainstIndependent(const IndependentImage& image, const kz::AbicParameters& parameters);
};

kz::AbicParameters AnyParameters(std::mt19937& random) {
  kz::AbicParameters parameters;
  parameters.places = 0;
  for (auto count = random() % 8; count > 0; --count) {
    parameters.places |= uint32_t{1} << random() % kz::kAbicPlaces.size();
  }
  parameters.flipsInStateOne = random() % 2 != 0;
  parameters.wrapsEdges = random() % 2 != 0;
  parameters.planesApart = random() % 2 != 0;
  parameters.exactWidth = random() % 2 != 0;
  parameters.reversedBits = random() % 2 != 0;
  return parameters;
}

void AbicParametersTest::CheckAgainstIndependent(const IndependentImage& image,
                                                 const kz::AbicParameters& parameters) {
  const auto inOrder = [&](const Bytes& code) {
    return parameters.reversedBits ? WithReversedBits(code) : code;
  };
  Bytes code;
  ASSERT_EQ(EncodeWith(image, parameters, code), 1);
  for (const Producer producer : kAllProducers) {
    SCOPED_TRACE(testing::Message() << "producer " << static_cast<int>(producer));
    const Bytes theirs = inOrder(EncodeIndependently(image, PointsOf(parameters), producer));
    IndependentImage read{image.width, image.height, image.depth, {}};
    kz::AbicFit fit;
    if (theirs.empty()) {
      EXPECT_EQ(DecodeWith(theirs, parameters, read, fit), K_ERROR_READ);
      continue;
    }
    ASSERT_EQ(DecodeWith(theirs, parameters, read, fit), 1);
    ASSERT_TRUE(read.samples == image.samples);
    EXPECT_EQ(fit.rows, int64_t{image.height} * image.depth);
    EXPECT_TRUE(kz::AbicFits(fit))
        << fit.bitsLeft << " bits left, " << fit.blackPadding << " black";
    const kz::AbicFit without = FitOf(theirs, image, parameters);
    EXPECT_EQ(without.bitsLeft, fit.bitsLeft);
    EXPECT_EQ(without.rows, fit.rows);
    if (producer != Producer::FourSpacerBits) continue;
    ASSERT_TRUE(theirs == code);
    EXPECT_GE(fit.bitsLeft, 0);
    EXPECT_LT(fit.bitsLeft, 8);
  }
}

TEST_F(AbicParametersTest, OneContextGivesTheKnownStrings) {
  IndependentImage image{256, 1, 1, {}};
  for (const unsigned byte :
       FromHex("00020051000000C00352872AAAAAAAAA82C02000FCD79EF674EAABF7697EE74C")) {
    for (int bit = 7; bit >= 0; --bit) image.samples.push_back(byte >> bit & 1);
  }
  const std::pair<bool, std::string_view> known[] = {
      {false, "FF3902519A78331E57BC555555711521DFBACEE4CA2A927122589550ACA600"},
      {true, "FF3902519A78331E57BC555555711521DFBAD1BE7622927122589550ACA600"},
  };
  for (const auto& [flips, string] : known) {
    kz::AbicParameters parameters;
    parameters.places = 0;
    parameters.flipsInStateOne = flips;
    parameters.exactWidth = true;
    Bytes code;
    ASSERT_EQ(EncodeWith(image, parameters, code), 1);
    EXPECT_EQ(code, FromHex(string));
    IndependentImage read{256, 1, 1, {}};
    kz::AbicFit fit;
    ASSERT_EQ(DecodeWith(FromHex(string), parameters, read, fit), 1);
    EXPECT_EQ(read.samples, image.samples);
    EXPECT_GE(fit.bitsLeft, 0);
    EXPECT_LT(fit.bitsLeft, 8);
  }
}

TEST_F(AbicParametersTest, AnyImageWithAnyParametersIsCodedAsByTheIndependentCoder) {
  std::mt19937 random(9);
  const int wide[] = {127, 128, 129, 255, 520, 1729, 8191};
  for (int round = 0; round < 1400; ++round) {
    const int width = round % 77 < 70 ? 1 + round % 77 : wide[round % 77 - 70];
    const int height = 1 + static_cast<int>(random() % (width < 100 ? 60 : 12));
    const int depth = round % 5 == 0 ? 4 : round % 5 == 1 ? 8 : 1;
    const NamedPicture& picture = kAllPictures[random() % std::size(kAllPictures)];
    const kz::AbicParameters parameters = AnyParameters(random);
    SCOPED_TRACE(testing::Message()
                 << "round " << round << ": " << picture.name << " of " << width << " x " << height
                 << " x " << depth << ", places " << parameters.places << ", wraps "
                 << parameters.wrapsEdges << ", apart " << parameters.planesApart << ", exact "
                 << parameters.exactWidth);
    const auto seed = static_cast<unsigned>(round);
    CheckAgainstIndependent(DrawPicture(picture.kind, width, height, depth, seed), parameters);
    if (HasFailure()) return;
  }
}

// White rows are decoded at once, which must not pass over what is above or, where the edges
// wrap, at the end of rows farther up. Long rasters also move in memory.
TEST_F(AbicParametersTest, WhiteRowsKnowEveryPlaceAbove) {
  std::mt19937 random(10);
  for (const int width : {1, 2, 3, 4, 5, 7, 8, 16, 70}) {
    for (uint32_t place = 0; place < kz::kAbicPlaces.size(); ++place) {
      IndependentImage image{width, 600, 1, {}};
      for (int i = 0; i < width * image.height; ++i) {
        // Here and there a dot at the end of a row, and more seldom elsewhere.
        const auto odds = i % width == width - 1 ? 8U : 40U * static_cast<unsigned>(width);
        image.samples.push_back(random() % odds == 0 ? 1 : 0);
      }
      kz::AbicParameters parameters;
      parameters.places = uint32_t{1} << place;
      parameters.exactWidth = true;
      for (const bool wraps : {false, true}) {
        parameters.wrapsEdges = wraps;
        SCOPED_TRACE(testing::Message() << "place " << place << " of " << width << ", " << wraps);
        CheckAgainstIndependent(image, parameters);
      }
    }
  }
}

TEST_F(AbicParametersTest, TheLargestSidesAreCoded) {
  for (const auto& [width, height] : {std::pair(0x7FFF, 3), std::pair(1, 0x7FFF)}) {
    for (const bool wraps : {false, true}) {
      kz::AbicParameters parameters;
      parameters.wrapsEdges = wraps;
      for (const bool exact : {false, true}) {
        parameters.exactWidth = exact;
        const IndependentImage image = DrawPicture(PictureKind::Noise, width, height, 4, 1);
        CheckAgainstIndependent(image, parameters);
      }
    }
  }
}

TEST_F(AbicParametersTest, BlackPaddingIsCountedAndEndsAReadWithoutRows) {
  // What is in the padding of a width of 13 is the width 16's last three columns.
  IndependentImage padded{16, 20, 1, std::vector<unsigned char>(320)};
  int64_t black = 0;
  for (size_t y = 5; y < 20; y += 3) {
    padded.samples[y * 16 + 2] = padded.samples[y * 16 + 13] = padded.samples[y * 16 + 15] = 1;
    black += 2;
  }
  Bytes code;
  ASSERT_EQ(EncodeWith(padded, {}, code), 1);
  IndependentImage read{13, 20, 1, {}};
  kz::AbicFit fit;
  ASSERT_EQ(DecodeWith(code, {}, read, fit), 1);
  for (size_t i = 0; i < read.samples.size(); ++i) {
    ASSERT_EQ(read.samples[i], padded.samples[i / 13 * 16 + i % 13]) << i;
  }
  EXPECT_EQ(fit.blackPadding, black);
  EXPECT_EQ(fit.rows, 20);
  EXPECT_FALSE(kz::AbicFits(fit));
  EXPECT_EQ(FitOf(code, read, {}).blackPadding, 2);
  EXPECT_EQ(FitOf(code, read, {}).rows, 5);
}

TEST_F(AbicParametersTest, ParametersAndImagesThatCannotBeAreRefused) {
  const auto refused = [&](const IndependentImage& image, const kz::AbicParameters& parameters) {
    IndependentImage read = image;
    Bytes code;
    kz::AbicFit fit;
    EXPECT_EQ(EncodeWith(image, parameters, code), K_ERROR_INVALID_FORMAT);
    EXPECT_EQ(DecodeWith(Bytes(100), parameters, read, fit), K_ERROR_INVALID_FORMAT);
  };
  const IndependentImage image{8, 8, 1, std::vector<unsigned char>(64)};
  for (const uint32_t places : {0xFFU, 1U << kz::kAbicPlaces.size(), 0x80000000U}) {
    kz::AbicParameters parameters;
    parameters.places = places;
    refused(image, parameters);
  }
  for (const int depth : {-1, 0, 2, 3, 5, 16, 24}) {
    const AbicString string = {&image.samples[0], 64, 8, 8, depth};
    const kz::AbicParameters usual;
    kz::AbicFit fit;
    AbicReading reading;
    unsigned char* block = nullptr;
    uint64_t size = 0;
    EXPECT_EQ(m_decodeWith(&string, &usual, &block, &fit), K_ERROR_INVALID_FORMAT) << depth;
    EXPECT_EQ(m_decodeLikely(&string, &block, &reading), K_ERROR_INVALID_FORMAT) << depth;
    EXPECT_EQ(m_encodeWith(image.samples.data(), &string, &usual, &block, &size),
              K_ERROR_INVALID_FORMAT)
        << depth;
    EXPECT_EQ(block, nullptr);
  }
}

}  // namespace
}  // namespace kz::test
