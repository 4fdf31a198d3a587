// Which code strings of a file there are to search in, and what is said of them.
#include "Toolkit/Abic/AbicSample.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "Tests/Support/FileBuilder.h"

namespace kz::test {

namespace {

constexpr unsigned char kAbic = 0x08, kConcatenated = 0x0A, kGroup4 = 0x82;
constexpr unsigned char kPadded = 0x01, kUnpadded = 0x04;

Bytes Number32(unsigned value) { return Big16(value >> 16) + Big16(value & 0xFFFF); }
Bytes Extended(unsigned id, const Bytes& data) {
  return Big16(id) + Big16(static_cast<unsigned>(data.size())) + data;
}
Bytes Depth(unsigned char bits) { return Parameter(0x96, {bits}); }

// "2: 40x30 1 padded 7 bytes, 5" for the picture, what it says, and the first byte.
std::string Text(const std::vector<AbicSample>& samples) {
  std::ostringstream text;
  for (const AbicSample& sample : samples) {
    text << sample.picture << ": " << sample.width << "x" << sample.height << " " << sample.depth
         << (sample.exactWidth ? " exact " : " padded ") << sample.data.size() << " bytes, "
         << int{sample.data.at(0)} << "\n";
  }
  return text.str();
}

// A file with one picture for each segment.
class AbicSamples : public testing::Test {
 protected:
  std::string Read(const std::vector<Bytes>& segments, size_t limit = 100) {
    kz::Document document(m_folder.File("all.mda", ::Document(segments)));
    EXPECT_TRUE(document.Open().Ok());
    std::vector<AbicSample> samples;
    const Outcome outcome = ReadAbicSamples(document, limit, samples);
    EXPECT_TRUE(outcome.Ok()) << outcome.what;
    return Text(samples);
  }
  std::string ReadPicture(const std::vector<Bytes>& segments, int picture) {
    kz::Document document(m_folder.File("all.mda", ::Document(segments)));
    EXPECT_TRUE(document.Open().Ok());
    std::vector<AbicSample> samples;
    const Outcome outcome = ReadAbicSamples(document, picture, samples);
    if (outcome.Ok()) return Text(samples);
    EXPECT_EQ(outcome.status, K_ERROR_INVALID_FORMAT);
    return outcome.what;
  }
  TemporaryFolder m_folder;
};

const Bytes kPlain = Segment(ImageSize(40, 30) + Encoding(kAbic, kPadded) + Depth(1), {5, 6, 7});
const Bytes kFax = Segment(ImageSize(40, 30) + Encoding(kGroup4, kPadded) + Depth(1), {9, 9});

TEST_F(AbicSamples, AreWhatImagesSay) {
  const struct {
    const char* what;
    Bytes segment;  // after Begin Image Content
    const char* samples;
  } cases[] = {
      {"no depth", ImageSize(40, 30) + Encoding(kAbic, kPadded) + ImageData({1, 2}),
       "1: 40x30 1 padded 2 bytes, 1\n"},
      {"in pieces",
       ImageSize(41, 30) + Encoding(kAbic, kUnpadded) + Depth(1) + ImageData({1}) +
           ImageData({2, 3}),
       "1: 41x30 1 exact 3 bytes, 1\n"},
      {"several bits", ImageSize(41, 30) + Encoding(kConcatenated) + Depth(8) + ImageData({4}),
       "1: 41x30 8 padded 1 bytes, 4\n"},
      {"reversed bits",
       ImageSize(8, 3) + Parameter(0x95, {kAbic, kUnpadded, 1}) + Depth(1) + ImageData({0x50, 1}),
       "1: 8x3 1 exact 2 bytes, 10\n"},
      {"bands",
       ImageSize(16, 3) + Encoding(kConcatenated) + Depth(24) +
           Parameter(0x9B, {0, 1, 0, 0, 0, 8, 8, 8}) + Parameter(0x98, {3, 8, 8, 8}) +
           Extended(0xFE9C, {1, 0, 0, 11, 0}) + Extended(0xFE9C, {2, 0, 0, 12, 0, 0}) +
           Extended(0xFE9C, {3, 0, 0, 13}),
       "1: 16x3 8 padded 2 bytes, 11\n1: 16x3 8 padded 3 bytes, 12\n"
       "1: 16x3 8 padded 1 bytes, 13\n"},
      {"tiles, of which one is coded otherwise",
       Encoding(kAbic) + Extended(0xFEBB, {0, 0}) + Bytes{0x8C, 0} +
           Parameter(0xB5, Number32(0) + Number32(0)) +
           Parameter(0xB6, Number32(16) + Number32(4)) + ImageData({21, 0}) + Bytes{0x8D, 0} +
           Bytes{0x8C, 0} + Parameter(0xB5, Number32(16) + Number32(0)) +
           Parameter(0xB6, Number32(9) + Number32(4)) + Encoding(kGroup4) + ImageData({22}) +
           Bytes{0x8D, 0} + Bytes{0x8C, 0} + Parameter(0xB5, Number32(25) + Number32(0)) +
           Parameter(0xB6, Number32(7) + Number32(4)) + Encoding(kConcatenated, kUnpadded) +
           Depth(4) + ImageData({23}) + Bytes{0x8D, 0},
       "1: 16x4 1 padded 2 bytes, 21\n1: 7x4 4 exact 1 bytes, 23\n"},
      {"a mask of another image",
       ImageSize(8, 1) + Encoding(kGroup4) + Depth(1) + Bytes{0x8E, 0} + ImageSize(8, 1) +
           Encoding(kAbic) + ImageData({31}) + Bytes{0x8F, 0} + ImageData({32}),
       "1: 8x1 1 padded 1 bytes, 31\n"},
      {"another coding", ImageSize(8, 1) + Encoding(kGroup4) + Depth(1) + ImageData({1}), ""},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    EXPECT_EQ(Read({kPrologue + each.segment + kEpilogue}), each.samples);
  }
}

TEST_F(AbicSamples, AreThoseOfAllPicturesUpToALimit) {
  const Bytes gray =
      Segment(ImageSize(16, 5) + Encoding(kConcatenated, kUnpadded) + Depth(4), {8, 9});
  // Neither a picture without data nor one with a field that can't be ends it.
  const Bytes bad = kPrologue + ImageSize(8, 1) + Encoding(kAbic) + Bytes{0xFE, 0x92, 0xFF};
  const std::vector<Bytes> file = {kFax, kPlain, bad, gray, kFax, kPlain};
  const std::string first = "2: 40x30 1 padded 3 bytes, 5\n",
                    second = "4: 16x5 4 exact 2 bytes, 8\n",
                    third = "6: 40x30 1 padded 3 bytes, 5\n";
  EXPECT_EQ(Read(file), first + second + third);
  EXPECT_EQ(Read(file, 3), first + second + third);
  EXPECT_EQ(Read(file, 2), first + second);
  EXPECT_EQ(Read(file, 1), first);
  EXPECT_EQ(ReadPicture(file, 4), second);
  EXPECT_EQ(ReadPicture(file, 6), third);
  EXPECT_EQ(ReadPicture(file, 1), "image 1 has no ABIC data");
  EXPECT_EQ(ReadPicture(file, 3), "image 3 has no ABIC data");
  EXPECT_EQ(ReadPicture(file, 0), "there is no image 0");
  EXPECT_EQ(ReadPicture(file, -1), "there is no image -1");
  EXPECT_EQ(ReadPicture(file, 7), "there is no image 7");
}

}  // namespace

}  // namespace kz::test
