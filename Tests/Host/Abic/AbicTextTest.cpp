// Parameters as text: what is read, what is refused, and what is written.
#include "Host/Abic/AbicText.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

// The set of places that are named by column and row.
uint32_t SetOf(const std::vector<std::pair<int, int>>& places) {
  uint32_t set = 0;
  for (const auto& [column, row] : places) {
    set |= kz::AbicPlacesWhere([&, x = column, y = row](kz::AbicPlace place) {
      return place.column == x && place.row == y;
    });
  }
  return set;
}

TEST(AbicText, IsRead) {
  const struct {
    const char* text;
    std::vector<std::pair<int, int>> places;
    bool flips = false, wraps = false, apart = false;
    const char* written = nullptr;  // null: as it was
  } texts[] = {
      {"0:-1,-2 -1:-2,-1,0,1,2", {{-2, 0}, {-1, 0}, {-2, -1}, {-1, -1}, {0, -1}, {1, -1}, {2, -1}}},
      {"0:-6", {{-6, 0}}},
      {"-1:-4,4", {{-4, -1}, {4, -1}}},
      {"-2:-3,3 flips", {{-3, -2}, {3, -2}}, true},
      {"0:-1 wraps", {{-1, 0}}, false, true},
      {"0:-1 apart", {{-1, 0}}, false, false, true},
      {"0:-1 flips wraps apart", {{-1, 0}}, true, true, true},
      // In any order, with blanks, and words and rows more than once.
      {"  apart -2:1   0:-1 flips  ",
       {{-1, 0}, {1, -2}},
       true,
       false,
       true,
       "0:-1 -2:1 flips apart"},
      {"wraps wraps 0:-2 0:-1", {{-1, 0}, {-2, 0}}, false, true, false, "0:-1,-2 wraps"},
      {"-1:2,-2,0", {{2, -1}, {-2, -1}, {0, -1}}, false, false, false, "-1:-2,0,2"},
  };
  for (const auto& each : texts) {
    SCOPED_TRACE(each.text);
    kz::AbicParameters parameters;
    parameters.flipsInStateOne = parameters.wrapsEdges = parameters.planesApart = true;
    parameters.exactWidth = parameters.reversedBits = true;
    ASSERT_TRUE(kz::ReadAbicText(each.text, parameters));
    const kz::AbicParameters expected = {SetOf(each.places), each.flips, each.wraps,
                                         each.apart,         true,       true};
    EXPECT_EQ(parameters, expected) << kz::AbicTextOf(parameters);
    EXPECT_EQ(kz::AbicTextOf(parameters), each.written != nullptr ? each.written : each.text);
  }
}

TEST(AbicText, ThatIsNotUnderstoodChangesNothing) {
  for (const char* text : {"",
                           " ",
                           "flips",
                           "hello",
                           "0",
                           "0:",
                           "0:,",
                           "0:-1,",
                           ":-1",
                           "0:-1:-2",
                           "0,-1",
                           "0:-1;-2",
                           "0:0",
                           "0:1",
                           "0:-7",
                           "-1:5",
                           "-1:-5",
                           "-2:4",
                           "-2:-4",
                           "-3:0",
                           "1:0",
                           "0:-1,-1",
                           "0:-1 0:-1",
                           "0:-1 Flips",
                           "0:-1 flips,wraps",
                           "0:-1\tflips",
                           "0:-1\n",
                           "0:- 1",
                           "0: -1",
                           "0:+1",
                           "0:-1x",
                           "0:-99999999999999999999",
                           "99999999999999999999:0",
                           "-0x1:0",
                           "0:-257",
                           "0:-1,-2,-3,-4 -1:-1,0,1,2",
                           "0:-1 exact",
                           "-1",
                           "0:-1 -1:"}) {
    SCOPED_TRACE(text);
    kz::AbicParameters parameters;
    parameters.places = 5;
    parameters.wrapsEdges = true;
    const kz::AbicParameters before = parameters;
    EXPECT_FALSE(kz::ReadAbicText(text, parameters));
    EXPECT_EQ(parameters, before);
  }
}

TEST(AbicText, IsReadAsItIsWritten) {
  std::mt19937 random(1);
  for (int i = 0; i < 5000; ++i) {
    kz::AbicParameters parameters, read;
    parameters.places = 0;
    for (auto count = random() % 7 + 1; count > 0; --count) {
      parameters.places |= uint32_t{1} << random() % kz::kAbicPlaces.size();
    }
    parameters.flipsInStateOne = random() % 2 != 0;
    parameters.wrapsEdges = random() % 2 != 0;
    parameters.planesApart = random() % 2 != 0;
    const std::string text = kz::AbicTextOf(parameters);
    ASSERT_TRUE(kz::ReadAbicText(text, read)) << text;
    EXPECT_EQ(read, parameters) << text;
  }
}

}  // namespace
