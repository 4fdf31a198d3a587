// ABIC strings of another coder in image contents and files: how they are framed and marked,
// and what is said of those that don't fit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "Tests/Host/Abic/TestPictures.h"
#include "Tests/Support/FileBuilder.h"
#include "Tests/Support/ImageContents.h"
#include "Toolkit/Documents/Document.h"

namespace kz::test {

namespace {

constexpr uint8_t kAbic = 0x08, kConcatenated = 0x0A;
constexpr uint8_t kPadded = 0x01, kBottomUp = 0x03, kUnpadded = 0x04;

IndependentImage Drawn(int width, int height, int depth) {
  return DrawPicture(depth == 1 ? PictureKind::Text : PictureKind::Gradient, width, height, depth,
                     7);
}

Bytes Code(const IndependentImage& image, bool exactWidth = false,
           Producer producer = Producer::FourSpacerBits) {
  OpenPoints points;
  points.neighbours = {{-1, 0}, {-2, 0}, {-2, -1}, {-1, -1}, {0, -1}, {1, -1}, {2, -1}};
  points.exactWidth = exactWidth;
  return EncodeIndependently(image, points, producer);
}

// The picture in the words of Pixels.
std::string Text(const IndependentImage& image) {
  std::string text;
  for (size_t i = 0; i < image.samples.size(); ++i) {
    const bool starts = i % static_cast<size_t>(image.width) == 0;
    if (image.depth == 1) {
      text += std::string(starts && i > 0 ? "/" : "") + (image.samples[i] != 0 ? '#' : '.');
      continue;
    }
    const int most = (1 << image.depth) - 1;
    char hex[8];
    (void)std::snprintf(hex, sizeof(hex), "%02X", image.samples[i] * 255 / most);
    text += i == 0 ? "" : starts ? "/" : " ";
    text += std::string(hex) + hex + hex;
  }
  return text;
}

void Reverse(Bytes& bytes) {
  for (unsigned char& byte : bytes) {
    unsigned char turned = 0;
    for (int bit = 0; bit < 8; ++bit) turned |= (byte >> bit & 1) << (7 - bit);
    byte = turned;
  }
}

Given Content(const IndependentImage& image, Bytes code) {
  const uint8_t compression = image.depth == 1 ? kAbic : kConcatenated;
  Given given = {"", compression, image.width, image.height, image.depth, 0, {}, {}, ""};
  given.bands.push_back(std::move(code));
  return given;
}

// A bare file of one image.
Bytes File(const Given& given, bool markedGray = false) {
  const auto bits = static_cast<unsigned char>(given.bits);
  Bytes fields = ImageSize(static_cast<unsigned>(given.width), static_cast<unsigned>(given.height));
  const unsigned char order = given.reversed ? 1 : 0;
  fields = fields + Parameter(0x95, {given.compression, given.recording, order}) +
           Parameter(0x96, {bits});
  if (markedGray) fields = fields + Parameter(0x9B, {0x40, kYCbCr, 0, 0, 0, bits});
  return Segment(fields, given.bands[0], 900);
}

TEST(AbicFraming, IsReadAsItIsOrAsItShouldHaveBeenMarked) {
  const TemporaryFolder folder;
  for (const int depth : {1, 4, 8}) {
    const IndependentImage image = Drawn(203, 90, depth);
    const std::string pixels = Text(image);
    for (int framing = 0; framing < 16; ++framing) {
      const bool exact = (framing & 1) != 0, markedExact = (framing & 2) != 0;
      const bool reversed = (framing & 4) != 0, markedReversed = (framing & 8) != 0;
      SCOPED_TRACE(testing::Message() << depth << " bits, framing " << framing);
      Bytes code = Code(image, exact);
      if (reversed) Reverse(code);
      Given given = Content(image, code);
      given.recording = markedExact ? kUnpadded : kPadded;
      given.reversed = markedReversed;
      const Decoded decoded = Decode(Make(given));
      EXPECT_EQ(decoded.Text(), pixels);
      EXPECT_FALSE(decoded.damaged);
      EXPECT_EQ(decoded.outcome.warnings, std::vector<std::string>{});

      Bitmap loaded;
      PictureInfo info;
      const std::string file = folder.File("image", File(given));
      const Outcome outcome = LoadPicture(file, 1, {}, loaded, &info);
      ASSERT_TRUE(outcome.Ok()) << outcome.what;
      EXPECT_EQ(Pixels(loaded), pixels);
      EXPECT_EQ(loaded.BitsPerPixel(), depth);
      EXPECT_EQ(info.bitsPerPixel, depth);
      EXPECT_EQ(outcome.warnings, std::vector<std::string>{});
    }
  }
}

TEST(AbicSamples, MayBeGrayCoded) {
  const TemporaryFolder folder;
  for (const int depth : {4, 8}) {
    const IndependentImage image = Drawn(120, 60, depth);
    IndependentImage coded = image;
    for (unsigned char& sample : coded.samples) sample ^= sample >> 1;
    Given given = Content(coded, Code(coded));
    given.grayCode = true;
    EXPECT_EQ(Decode(Make(given)).Text(), Text(image)) << depth;
    // The filter would pass them on as they are.
    Bitmap loaded;
    ASSERT_TRUE(LoadPicture(folder.File("gray", File(given, true)), 1, {}, loaded).Ok());
    EXPECT_EQ(Pixels(loaded), Text(image)) << depth;
    EXPECT_EQ(loaded.BitsPerPixel(), 8);
  }
}

TEST(AbicSamples, MayBeInBandsAndTiles) {
  const IndependentImage image = Drawn(100, 40, 8);
  Given given = Content(image, Code(image));
  given.bits = 24;
  given.space = kRgb;
  given.components = {8, 8, 8};
  given.bands = {given.bands[0], given.bands[0], given.bands[0]};
  EXPECT_EQ(Decode(Make(given)).Text(), Text(image));
  given.bands[1].resize(given.bands[1].size() / 2);
  Decoded decoded = Decode(Make(given));
  ASSERT_EQ(decoded.outcome.warnings.size(), 1u);
  EXPECT_EQ(decoded.outcome.warnings[0].find("the ABIC data end "), 0u);

  const IndependentImage left = Drawn(21, 16, 1), right = Drawn(43, 16, 1);
  ImageContent content;
  content.tiled = true;
  int at = 0;
  for (const IndependentImage* part : {&left, &right}) {
    ImageTile tile;
    tile.image = Make(Content(*part, Code(*part))).image;
    tile.x = at;
    at += part->width;
    content.tiles.push_back(tile);
  }
  IndependentImage whole = {64, 16, 1, {}};
  for (int y = 0; y < 16; ++y) {
    for (const IndependentImage* part : {&left, &right}) {
      const auto row = part->samples.begin() + y * part->width;
      whole.samples.insert(whole.samples.end(), row, row + part->width);
    }
  }
  decoded = Decode(content);
  EXPECT_EQ(decoded.Text(), Text(whole));
  EXPECT_FALSE(decoded.damaged);
}

TEST(AbicPages, KeepTheOrderOfTheirRows) {
  const TemporaryFolder folder;
  for (const int depth : {1, 4}) {
    IndependentImage image = Drawn(75, 30, depth);
    Given given = Content(image, Code(image));
    given.recording = kBottomUp;
    Bitmap loaded;
    ASSERT_TRUE(LoadPicture(folder.File("image", File(given)), 1, {}, loaded).Ok());
    IndependentImage upright = {image.width, image.height, depth, {}};
    for (int y = image.height - 1; y >= 0; --y) {
      const auto row = image.samples.begin() + y * image.width;
      upright.samples.insert(upright.samples.end(), row, row + image.width);
    }
    EXPECT_EQ(Pixels(loaded), Text(upright)) << depth;
  }
}

// The compression stands for 4 bits, whatever is said. Some mean what they say.
TEST(AbicPages, OfOneBitMayBeMarkedAsConcatenated) {
  const TemporaryFolder folder;
  for (const int depth : {1, 4}) {
    const IndependentImage image = Drawn(300, 200, depth);
    Given given = Content(image, Code(image));
    given.compression = kConcatenated;
    given.bits = 1;
    Bitmap loaded;
    const Outcome outcome = LoadPicture(folder.File("image", File(given)), 1, {}, loaded);
    EXPECT_EQ(Pixels(loaded), Text(image)) << depth;
    EXPECT_EQ(outcome.warnings, std::vector<std::string>{});
  }
}

const std::string kWhy =
    ": they are damaged, or coded with parameters that aren't known (see kzica abic)";

// The number that stands between the two parts of a warning; -1: it isn't like that.
int NumberIn(const std::string& warning, const std::string& before, const std::string& after) {
  const size_t end = warning.size() - std::min(warning.size(), after.size());
  if (warning.find(before) != 0 || warning.substr(end) != after) return -1;
  return std::stoi(warning.substr(before.size()));
}

// Of so many bits, in the exact width with reversed bits or neither, and marked so: what doesn't
// fit is read as marked.
class AbicMisfit : public testing::TestWithParam<std::tuple<int, bool>> {
 protected:
  Given Marked(Bytes code) const {
    if (m_exactWidth) Reverse(code);
    Given given = Content(m_image, std::move(code));
    given.reversed = m_exactWidth;
    given.recording = m_exactWidth ? kUnpadded : kPadded;
    return given;
  }
  // Loads a file of it; what the toolkit's own reader says must be the same.
  Outcome Load(const Bytes& code, const LoadOptions& options = {}) {
    const Given given = Marked(code);
    m_bitmap.Reset();
    Outcome outcome =
        LoadPicture(m_folder.File("image", File(given)), 1, options, m_bitmap, nullptr);
    const Decoded own = Decode(Make(given), {}, options);
    EXPECT_EQ(own.outcome.status, outcome.status);
    EXPECT_EQ(own.outcome.what, outcome.what);
    EXPECT_EQ(own.outcome.warnings, outcome.warnings);
    EXPECT_EQ(own.damaged, !outcome.warnings.empty());
    return outcome;
  }
  // Loads it in each way: with a warning, or as a failure of this status when it is to be
  // complete (1: it is) and when it is to be sound.
  std::string Warning(const Bytes& code, int complete, int strict) {
    LoadOptions options;
    options.complete = true;
    EXPECT_EQ(Load(code, options).status, complete);
    options = {};
    options.strict = true;
    const Outcome refused = Load(code, options);
    EXPECT_EQ(refused.status, strict);
    const Outcome outcome = Load(code);
    EXPECT_TRUE(outcome.Ok());
    EXPECT_EQ(outcome.warnings, std::vector<std::string>{refused.what});
    return refused.what;
  }

  const TemporaryFolder m_folder;
  const int m_depth = std::get<0>(GetParam());
  const bool m_exactWidth = std::get<1>(GetParam());
  const IndependentImage m_image = Drawn(203, 120, m_depth);
  const Bytes m_code = Code(m_image, m_exactWidth);
  Bitmap m_bitmap;
};
INSTANTIATE_TEST_SUITE_P(Depths, AbicMisfit,
                         testing::Combine(testing::Values(1, 4, 8), testing::Bool()));

TEST_P(AbicMisfit, SaysWhereTheDataEnd) {
  Bytes cut = m_code;
  cut.resize(cut.size() * 3 / 5);
  const std::string warning = Warning(cut, K_ERROR_READ, K_ERROR_READ);
  if (m_depth > 1) {
    const size_t plane = warning.find(" before the end of bit plane ");
    ASSERT_NE(plane, std::string::npos) << warning;
    const int missing = NumberIn(warning, "the ABIC data end ", warning.substr(plane));
    EXPECT_GT(missing, 0);
    EXPECT_LE(missing, 120);
    EXPECT_NE(warning.find(" of " + std::to_string(m_depth) + kWhy), std::string::npos);
    return;
  }
  const int missing = NumberIn(warning, "the ABIC data end ", " rows early" + kWhy);
  ASSERT_GT(missing, 10) << warning;
  ASSERT_LT(missing, 110);
  // What was decoded of the last one may be what the missing bits would have changed.
  const size_t there = static_cast<size_t>(120 - missing - 1) * 204;
  EXPECT_EQ(Pixels(m_bitmap).substr(0, there), Text(m_image).substr(0, there));
  const size_t white = static_cast<size_t>(120 - missing + 1) * 204;
  EXPECT_EQ(Pixels(m_bitmap).substr(white).find('#'), std::string::npos);
}

TEST_P(AbicMisfit, CountsBytesThatAreLeft) {
  Bytes longer = m_code;
  for (int i = 0; i < 100; ++i) longer.push_back(static_cast<unsigned char>(37 * i + 11));
  const std::string warning = Warning(longer, K_SUCCESS, K_ERROR_INVALID_FORMAT);
  EXPECT_NEAR(NumberIn(warning, "", " bytes of ABIC data are left over" + kWhy), 100, 2) << warning;
  EXPECT_EQ(Pixels(m_bitmap), Text(m_image));
}

TEST_P(AbicMisfit, IsNoneOfDataThatCanHoldNoSuchPicture) {
  Given given = Marked(Slice(m_code, 0, 5));
  given.width = given.height = 2000;
  EXPECT_EQ(Decode(Make(given)).outcome.status, K_ERROR_READ);
  EXPECT_EQ(LoadPicture(m_folder.File("image", File(given)), 1, {}, m_bitmap).status, K_ERROR_READ);
  EXPECT_TRUE(m_bitmap.Empty());
}

TEST_P(AbicMisfit, FindsDamageInTheMiddle) {
  Bytes damaged = m_code;
  for (size_t i = 0; i < 6; ++i) damaged[damaged.size() / 3 + i] ^= 0x5A;
  const Outcome outcome = Load(damaged);
  ASSERT_TRUE(outcome.Ok());
  ASSERT_EQ(outcome.warnings.size(), 1u);
  EXPECT_NE(outcome.warnings[0].find(kWhy), std::string::npos);
}

TEST_P(AbicMisfit, IsNoneOfBytesThatWritersAddOrLeaveOut) {
  for (const Producer producer : kAllProducers) {
    const Outcome outcome = Load(Code(m_image, m_exactWidth, producer));
    EXPECT_TRUE(outcome.Ok());
    EXPECT_EQ(Pixels(m_bitmap), Text(m_image)) << static_cast<int>(producer);
  }
}

}  // namespace

}  // namespace kz::test
