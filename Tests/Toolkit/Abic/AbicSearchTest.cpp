// Searches in strings of the independent coder, whose parameters are known.
#include "Toolkit/Abic/AbicSearch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <ostream>
#include <utility>
#include <vector>

#include "Tests/Host/Abic/CodedPicture.h"
#include "Tests/Support/TemporaryFolder.h"

namespace kz {

void PrintTo(const AbicMatch& match, std::ostream* to) {
  *to << kz::AbicTextOf(match.parameters) << (match.parameters.exactWidth ? " exact" : "")
      << (match.parameters.reversedBits ? " reversed" : "") << " left " << match.fit.bitsLeft
      << ", " << match.samples << " samples, " << match.pictureBytes << " bytes";
}

}  // namespace kz

namespace kz::test {

namespace {

using K = PictureKind;

// The sets of 7 of `places`, and how many contexts of how many combinations there are.
int64_t SetsOf(uint32_t places, int depth) {
  int64_t sets = depth > 1 ? 8 : 4;
  const int count = std::popcount(places);
  for (int i = 0; i < 7; ++i) sets = sets * (count - i) / (i + 1);
  return sets;
}

// A context's places and, beside them, others that are near until there are `count`.
uint32_t Among(uint32_t places, int count) {
  for (int distance = 0; std::popcount(places) < count; ++distance) {
    for (size_t i = 0; i < kz::kAbicPlaces.size() && std::popcount(places) < count; ++i) {
      const kz::AbicPlace place = kz::kAbicPlaces[i];
      if (std::abs(place.column) - 2 * place.row <= distance) places |= uint32_t{1} << i;
    }
  }
  return places;
}

// A picture and what it is coded with.
struct Given {
  PictureKind kind;
  int width, height, depth;
  const char* text;  // of the parameters
  bool exactWidth = false;
  Producer producer = Producer::FourSpacerBits;

  kz::AbicParameters Parameters() const { return ParametersOf(text, exactWidth); }
  AbicSample Sample(unsigned seed = 1) const {
    AbicSample sample;
    sample.width = width;
    sample.height = height;
    sample.depth = depth;
    sample.exactWidth = exactWidth;
    sample.data = CodedWith(Parameters(), DrawPicture(kind, width, height, depth, seed), producer);
    return sample;
  }
};

class AbicSearch : public testing::Test {
 protected:
  // Searches among so many places; 0: among as many as a search is for.
  AbicSearchResult Find(const std::vector<AbicSample>& samples, const Given& given, int places) {
    AbicSearchOptions options;
    if (places > 0) options.places = Among(given.Parameters().places, places);
    return Find(samples, options);
  }
  AbicSearchResult Find(const std::vector<AbicSample>& samples, const AbicSearchOptions& options) {
    Workers workers(2);
    AbicSearchResult result;
    const Outcome outcome = SearchAbicParameters(samples, options, workers, result);
    EXPECT_TRUE(outcome.Ok()) << outcome.what;
    return result;
  }

  // What fits is the truth, and what differs from it in no context.
  static void ExpectFound(const AbicSearchResult& result, const kz::AbicParameters& truth) {
    EXPECT_THAT(result.matches, testing::Contains(testing::Field(&AbicMatch::parameters, truth)));
    EXPECT_THAT(result.matches,
                testing::Each(testing::ResultOf(
                    [](const AbicMatch& match) { return match.parameters.places; }, truth.places)))
        << kz::AbicTextOf(truth);
  }
};

TEST_F(AbicSearch, FindsTheParametersOfEveryKindOfPicture) {
  const Given all[] = {
      {K::Text, 240, 300, 1, "0:-2,-1 -1:-2,-1,0,1,2"},
      {K::Text, 301, 240, 1, "0:-3,-1 -1:-1,0,1 -2:-1,1 wraps", true, Producer::TwoSpacerBits},
      {K::Text, 90, 70, 8, "0:-1 -1:-2,0,2 -2:-2,0,2 flips apart", true, Producer::Borrows},
      {K::OrderedDither, 360, 320, 1, "0:-4,-2 -1:-3,-1,1 -2:0,2 flips wraps"},
      {K::OrderedDither, 285, 280, 1, "0:-4,-3,-2,-1 -1:-1,0,1", false, Producer::TrimsZeros},
      {K::ClusteredDots, 260, 250, 1, "-1:-3,-2,-1,0,1,2,3 flips", true, Producer::Borrows},
      {K::ClusteredDots, 255, 240, 1, "0:-1 -1:0 -2:-2,-1,0,1,2", false, Producer::AddsBytes},
      {K::ErrorDiffusion, 180, 170, 1, "0:-2,-1 -1:-1,0,1 -2:-1,0 wraps", false,
       Producer::ThreeSpacerBits},
      {K::ErrorDiffusion, 181, 170, 1, "0:-3,-1 -1:-2,0,2 -2:-1,1 flips", true},
      {K::LineArt, 880, 760, 1, "0:-4,-1 -1:-3,0,3 -2:-2,1", false, Producer::TrimsZeros},
      {K::LineArt, 170, 140, 4, "0:-1 -1:-1,0,1 -2:-1,0,1 wraps apart", false,
       Producer::TwoSpacerBits},
      {K::Specks, 1300, 1250, 1, "0:-2,-1 -1:-1,1 -2:-1,0,1 flips", false, Producer::AddsBytes},
      {K::Gradient, 200, 140, 4, "0:-2,-1 -1:-2,-1,0,1,2 apart", true, Producer::Borrows},
      {K::Gradient, 64, 60, 8, "0:-4,-3,-2,-1 -1:0 -2:0,1 flips wraps apart", false,
       Producer::ThreeSpacerBits},
      {K::Gradient, 61, 60, 8, "0:-1 -1:-3,-1,0,2 -2:-1,0 wraps", true, Producer::AddsBytes},
      {K::GrayCoded, 240, 190, 4, "0:-2,-1 -1:-1,0,1 -2:0,1 flips wraps", false,
       Producer::TrimsZeros},
      {K::GrayCoded, 70, 66, 8, "-1:-2,-1,0,1 -2:-1,0,1", true, Producer::TwoSpacerBits},
  };
  for (const Given& given : all) {
    const AbicSample sample = given.Sample();
    SCOPED_TRACE(testing::Message() << given.text << " " << given.width << "x" << given.height
                                    << " " << sample.data.size() << " bytes");
    EXPECT_GE(sample.data.size(), kAbicTellingBytes);
    EXPECT_LE(sample.data.size(), 10240u);
    const AbicSearchResult result = Find({sample}, given, 10);
    ExpectFound(result, given.Parameters());
    EXPECT_EQ(result.tried, SetsOf(Among(given.Parameters().places, 10), given.depth));
    EXPECT_EQ(result.samples, 1u);
  }
}

// Of a long string the sets that look worst at its beginning are left out, and the right one
// must stay.
TEST_F(AbicSearch, FindsThoseOfLongStringsByTheirBeginnings) {
  const Given all[] = {
      {K::Text, 640, 580, 1, "0:-2,-1 -1:-3,-1,0,1 -2:1 flips"},
      {K::ClusteredDots, 480, 500, 1, "0:-4,-1 -1:-2,0,2 -2:0,2 wraps", false, Producer::Borrows},
      {K::ErrorDiffusion, 400, 360, 1, "0:-2,-1 -1:-1,0,1,2 -2:0", false, Producer::TrimsZeros},
      {K::Gradient, 240, 210, 8, "0:-1 -1:-1,0,1 -2:-2,0,2 flips apart", true},
  };
  for (const Given& given : all) {
    const AbicSample sample = given.Sample();
    SCOPED_TRACE(testing::Message() << given.text << " " << sample.data.size() << " bytes");
    EXPECT_GT(sample.data.size(), 8192u);
    const AbicSearchResult result = Find({sample}, given, 10);
    ExpectFound(result, given.Parameters());
    EXPECT_EQ(result.tried, SetsOf(Among(given.Parameters().places, 10), given.depth));
  }
}

// Where the context says next to nothing of the picture, many wrong ones use up less of the
// beginning, so that all are tried on the whole, past both orders of bits.
TEST_F(AbicSearch, FindsContextsThatLookBadAtFirst) {
  const Given given = {K::ErrorDiffusion, 328, 280, 1, "-1:-3,-2,2,3 -2:-2,0,2"};
  const AbicSearchResult result = Find({given.Sample(2)}, given, 11);
  ExpectFound(result, given.Parameters());
  EXPECT_EQ(result.tried, 3 * SetsOf(Among(given.Parameters().places, 11), 1));
}

// Without being told which places they may be, of which some context fits by chance, too.
TEST_F(AbicSearch, FindsThemAmongAllNearPlaces) {
  const Given all[] = {
      {K::Text, 205, 220, 1, "0:-4,-1 -1:-2,0,1 -2:-1,2 wraps", true, Producer::Borrows},
      {K::GrayCoded, 248, 210, 4, "0:-2,-1 -1:-3,0,3 -2:0,1 flips apart", false,
       Producer::TwoSpacerBits},
  };
  for (const Given& given : all) {
    const AbicSample sample = given.Sample();
    SCOPED_TRACE(testing::Message() << given.text << " " << sample.data.size() << " bytes");
    EXPECT_GE(sample.data.size(), kAbicTellingBytes);
    EXPECT_LE(sample.data.size(), 4096u);
    const AbicSearchResult result = Find({sample}, given, 0);
    ExpectFound(result, given.Parameters());
    EXPECT_EQ(result.tried, SetsOf(0xFFFF, given.depth));
  }
}

// Where nothing fits, contexts of all 22 places are tried, if that is asked for.
TEST_F(AbicSearch, TriesAllPlacesWhenThorough) {
  AbicSample sample;
  sample.width = 64;
  sample.height = 400;
  sample.depth = 1;
  sample.data = Pattern(30);
  AbicSearchOptions options;
  options.places = kz::kAbicUsualPlaces;
  AbicSearchResult result = Find({sample}, options);
  EXPECT_THAT(result.matches, testing::IsEmpty());
  EXPECT_EQ(result.tried, 2 * 4) << "in both orders of bits";
  options.thorough = true;
  result = Find({sample}, options);
  EXPECT_THAT(result.matches, testing::IsEmpty());
  EXPECT_EQ(result.tried, 2 * (4 + SetsOf((1U << kz::kAbicPlaces.size()) - 1, 1)));
}

// What fits by chance ranks after the picture, which is the simpler one, or is left out.
TEST_F(AbicSearch, KnowsPicturesFromNoise) {
  const Given given = {K::ErrorDiffusion, 320, 280, 1, "-1:-3,3 -2:-2,-1,0,1,2"};
  const kz::AbicParameters chance = ParametersOf("0:-1,-2,-3 -1:0,3 -2:-2,0 flips");
  const AbicSample sample = given.Sample(1);
  AbicSearchOptions options;
  options.places = chance.places;
  const AbicSearchResult wrong = Find({sample}, options);
  ExpectFound(wrong, chance);
  options.places |= given.Parameters().places;
  const AbicSearchResult result = Find({sample}, options);
  ExpectFound(result, given.Parameters());
  EXPECT_EQ(wrong.matches.front().pictureBytes, 0u);
  EXPECT_LT(result.matches.front().pictureBytes, sample.data.size());
}

// The usual parameters take nearly twice as much for such a picture as the right ones.
TEST_F(AbicSearch, LeavesOutNoPictureForTakingMore) {
  const Given given = {K::OrderedDither, 360, 320, 1, "0:-4,-2,-1 -1:-2 -2:-1,0,2", true};
  const AbicSample sample = given.Sample(5);
  const AbicSearchResult result = Find({sample}, given, 9);
  ExpectFound(result, given.Parameters());
  EXPECT_EQ(result.matches.front().pictureBytes, 0u) << "which tells nothing";
}

// Noise fits with some contexts of many, the right one always.
TEST_F(AbicSearch, FindsThoseOfNoiseBesideOthers) {
  const Given given = {K::Noise, 136, 130, 1, "0:-4,-1 -1:-3,0,3 -2:-2,1 flips"};
  AbicSearchOptions options;
  options.places = Among(given.Parameters().places, 8);
  EXPECT_THAT(Find({given.Sample()}, options).matches,
              testing::Contains(testing::Field(&AbicMatch::parameters, given.Parameters())));
}

TEST_F(AbicSearch, FindsFramingsThatTheImageDoesNotSay) {
  const Given padded = {K::Text, 250, 290, 1, "0:-3,-1 -1:-1,0,1 -2:-1,1 wraps"};
  const Given exact = {K::Text, 250, 290, 1, "0:-3,-1 -1:-1,0,1 -2:-1,1", true};
  for (const Given& given : {padded, exact}) {
    for (const bool wrongWidth : {false, true}) {
      for (const bool reversed : {false, true}) {
        SCOPED_TRACE(testing::Message() << given.exactWidth << wrongWidth << reversed);
        AbicSample sample = given.Sample();
        kz::AbicParameters truth = given.Parameters();
        truth.reversedBits = reversed;
        sample.exactWidth = given.exactWidth != wrongWidth;
        for (unsigned char& byte : sample.data) {
          unsigned turned = 0;
          for (unsigned bit = 0; bit < 8; ++bit) turned |= (byte >> bit & 1U) << (7 - bit);
          if (reversed) byte = static_cast<unsigned char>(turned);
        }
        const AbicSearchResult result = Find({sample}, given, 9);
        ExpectFound(result, truth);
        const int pass = 1 + (wrongWidth ? 1 : 0) + (reversed ? 2 : 0);
        EXPECT_EQ(result.tried, pass * SetsOf(Among(truth.places, 9), 1));
      }
    }
  }
}

TEST_F(AbicSearch, FindsNothingInOtherData) {
  const Given given = {K::Text, 256, 300, 1, "0:-2,-1 -1:-2,-1,0,1,2"};
  const AbicSample sound = given.Sample();
  std::vector<AbicSample> others(4, sound);
  others[0].data = Pattern(sound.data.size());
  others[1].data[100] ^= 0x10;
  others[2].data.resize(sound.data.size() / 2);
  others[3].width -= 8;
  for (size_t i = 0; i < std::size(others); ++i) {
    SCOPED_TRACE(i);
    const AbicSearchResult result = Find({others[i]}, given, 10);
    EXPECT_THAT(result.matches, testing::IsEmpty());
    EXPECT_EQ(result.samples, 1u);
    EXPECT_EQ(result.tried, 2 * SetsOf(Among(given.Parameters().places, 10), 1));
  }
}

// No set may seem to fit where the codec reads nothing with any.
TEST_F(AbicSearch, FindsNothingInWhatCannotBeRead) {
  AbicSample sample = Given{K::Text, 240, 300, 1, "0:-2,-1 -1:-2,-1,0,1,2"}.Sample();
  AbicSearchOptions options;
  options.places = Among(kz::kAbicUsualPlaces, 9);
  for (const int depth : {0, 2, 24}) {
    sample.depth = depth;
    EXPECT_THAT(Find({sample}, options).matches, testing::IsEmpty()) << depth;
  }
  sample.depth = 1;
  sample.width = sample.height = 0x7FFF;  // which so few bytes can't hold
  EXPECT_THAT(Find({sample}, options).matches, testing::IsEmpty());
  sample.width = 0;
  EXPECT_THAT(Find({sample}, options).matches, testing::IsEmpty());
  Workers workers(1);
  AbicSearchResult result;
  EXPECT_EQ(SearchAbicParameters({}, {}, workers, result).status, K_ERROR_INVALID_FORMAT);
}

TEST_F(AbicSearch, TakesTheShortestThatTellsAndTriesTheOthers) {
  const char* text = "0:-3,-1 -1:-1,0,1 -2:-1,1 flips";
  const Given tiny = {K::Text, 84, 60, 1, text}, small = {K::Text, 251, 290, 1, text},
              large = {K::ClusteredDots, 252, 320, 1, text};
  const kz::AbicParameters truth = small.Parameters();
  std::vector<AbicSample> samples = {large.Sample(), tiny.Sample(), small.Sample()};
  // A producer who marks one wrongly marks all so.
  for (AbicSample& sample : samples) sample.exactWidth = true;
  ASSERT_LT(samples[1].data.size(), kAbicTellingBytes);
  ASSERT_LT(samples[2].data.size(), samples[0].data.size());
  AbicSearchResult result = Find(samples, small, 9);
  ExpectFound(result, truth);
  EXPECT_EQ(result.searched, 2u);
  EXPECT_EQ(result.samples, 3u);
  EXPECT_EQ(result.matches.front().samples, 3u);

  // A damaged one is given up, and counted.
  for (AbicSample& sample : samples) sample.exactWidth = false;
  samples[2].data[50] ^= 0x20;
  result = Find(samples, small, 9);
  ExpectFound(result, truth);
  EXPECT_EQ(result.searched, 0u);
  EXPECT_EQ(result.samples, 3u);
  EXPECT_EQ(result.matches.front().samples, 2u);

  // Of those that don't tell the longest is the best.
  samples = {Given{K::Text, 40, 40, 1, text}.Sample(), tiny.Sample()};
  EXPECT_EQ(Find(samples, small, 9).searched, 1u);
}

TEST_F(AbicSearch, SaysHowFarItIs) {
  const Given given = {K::Text, 240, 300, 1, "0:-2,-1 -1:-2,-1,0,1,2"};
  AbicSearchOptions options;
  options.places = Among(kz::kAbicUsualPlaces, 10);
  std::vector<std::pair<int64_t, int64_t>> steps;
  options.progress = [&](int64_t done, int64_t of) { steps.emplace_back(done, of); };
  Find({given.Sample()}, options);
  ASSERT_FALSE(steps.empty());
  for (size_t i = 0; i < steps.size(); ++i) {
    EXPECT_EQ(steps[i], std::pair(static_cast<int64_t>(i) + 1, steps.front().second));
  }
  EXPECT_EQ(steps.back().first, steps.back().second);
}

}  // namespace

}  // namespace kz::test
