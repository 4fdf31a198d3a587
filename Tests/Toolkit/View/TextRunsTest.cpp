// Runs of presentation text, as pages have them.
#include <gtest/gtest.h>

#include "Tests/Toolkit/View/ViewFields.h"

namespace kz::test {
namespace {

// What a page of 100 by 200 points, ten units for a point, has on it. In the default font each
// character is guessed to be 6 points wide.
std::string RunsOf(const Bytes& sequences, const Bytes& before = {}) {
  return InWords(LayoutOf(ViewDocument(ViewPage(before + TextObject(sequences)))));
}

TEST(TextRunsTest, MovesPlaceTheRuns) {
  struct Case {
    const char* name;
    Bytes sequences;
    const char* expected;
  };
  const Bytes start = Inline(100) + Baseline(200);
  const Case cases[] = {
      {"absolute", start + Said("AB"), "'AB' 10,20 mono 10\n"},
      {"text that goes on is one run", start + Said("AB") + Said("CD"), "'ABCD' 10,20 mono 10\n"},
      {"after text", start + Said("AB") + Number(0xC8, 50) + Said("C"),
       "'AB' 10,20 mono 10\n'C' 27,20 mono 10\n"},
      {"relative", start + Number(0xC8, -50) + Number(0xD4, 30) + Said("A"), "'A' 5,23 mono 10\n"},
      {"to another line at the same time",
       start + Said("ABCDE") + Inline(150) + Baseline(300) + Said("F"),
       "'ABCDE' 10,20 mono 10\n'F' 15,30 mono 10\n"},
      {"before more of the line", start + Said("ABCDE") + Inline(300) + Said("F"),
       "'ABCDE' 10,20 mono 10 room 20\n'F' 30,20 mono 10\n"},
      {"back over what is there", start + Said("AB") + Inline(50) + Said("C"),
       "'AB' 10,20 mono 10\n'C' 5,20 mono 10\n"},
      {"lines",
       Number(0xC0, 70) + Number(0xD0, 100) + start + Said("A") + Control(0xD8) + Said("B"),
       "'A' 10,20 mono 10\n'B' 7,30 mono 10\n"},
      {"lines by default again",
       Number(0xD0, 100) + Number(0xD0, 0xFFFF) + start + Said("A") + Control(0xD8) + Said("B"),
       "'A' 10,20 mono 10\n'B' 0,32 mono 10\n"},
      {"turned where the text is",
       start + Said("AB") + Control(0xF6, Degrees(90) + Degrees(180)) + Said("C") +
           Number(0xD4, 50) + Said("D") + Control(0xF6, Degrees(0) + Degrees(90)) + Said("E"),
       "'AB' 10,20 mono 10\n'C' 22,20 turned 90 mono 10\n'D' 17,26 turned 90 mono 10\n"
       "'E' 17,32 mono 10\n"},
      {"lines by default, six to an inch", start + Said("A") + Control(0xD8) + Said("B"),
       "'A' 10,20 mono 10\n'B' 0,32 mono 10\n"},
      {"down",
       Control(0xF6, Degrees(90) + Degrees(180)) + start + Said("AB") + Said("C") +
           Number(0xC8, 10) + Said("D"),
       "'ABC' 80,10 turned 90 mono 10\n'D' 80,29 turned 90 mono 10\n"},
      {"upside down", Control(0xF6, Degrees(180) + Degrees(270)) + start + Said("A"),
       "'A' 90,180 turned 180 mono 10\n"},
      {"up", Control(0xF6, Degrees(270) + Degrees(0)) + start + Said("A"),
       "'A' 20,190 turned 270 mono 10\n"},
      {"lower for a while",
       start + Control(0x78, {2, 0, 0, 40}) + Said("A") + Control(0x78, {3, 0, 0, 60}) + Said("B") +
           Control(0x78, {1}) + Said("C"),
       "'A' 10,24 mono 10\n'B' 16,18 mono 10\n'C' 22,20 mono 10\n"},
      {"repeated", start + Control(0xEE, Big16(5) + Bytes{0xC1, 0xC2}), "'ABABA' 10,20 mono 10\n"},
      {"suppression, overstrike and nothing change nothing",
       start + Control(0xF2, {1}) + Control(0x72, {0, 0, 0, 0}) + Control(0xF8) + Said("A"),
       "'A' 10,20 mono 10\n"},
      {"a cut sequence", start + Said("A") + Bytes{0x2B, 0xD3, 9, 0xDA, 0xC2},
       "'AB' 10,20 mono 10\n"},
      {"no control characters", start + Control(0xDA, {0xC1, 0x15, 0x00, 0xC2}),
       "'A  B' 10,20 mono 10\n"},
  };
  for (const Case& one : cases) EXPECT_EQ(RunsOf(one.sequences), one.expected) << one.name;
}

TEST(TextRunsTest, WidthsAreThoseThatAreAskedFor) {
  struct Case {
    const char* name;
    Bytes sequences;
    const char* next;  // where a run begins that follows "A B"
  };
  const Case cases[] = {
      {"none", {}, "18"},
      {"blanks", Number(0xC4, 100), "22"},
      {"blanks as in the font again", Number(0xC4, 100) + Number(0xC4, 0xFFFF), "18"},
      {"letters wider", Control(0xC2, {0, 10, 0}), "20"},
      {"letters narrower", Control(0xC2, {0, 10, 1}), "16"},
      {"blanks and letters", Number(0xC4, 100) + Control(0xC2, {0, 10, 0}), "24"},
  };
  for (const Case& one : cases) {
    const std::string runs =
        RunsOf(one.sequences + Baseline(100) + Said("A B") + Control(0x74, {0, 2}) + Said("C"));
    EXPECT_EQ(runs, "'A B' 0,10 mono 10\n'C' " + std::string(one.next) + ",10 mono 10 #ff0000\n")
        << one.name;
  }
}

TEST(TextRunsTest, StylesChangeBetweenRuns) {
  const auto extended = [](const Bytes& rest) { return Control(0x80, Bytes{0} + rest); };
  EXPECT_EQ(RunsOf(Control(0x74, {0, 2}) + Said("A") + Control(0x74, {0xFF, 0x07}) + Said("B") +
                   extended({1, 0, 0, 0, 0, 8, 8, 8, 0, 1, 2, 3}) + Said("C") +
                   extended({0x40, 0, 0, 0, 0, 16, 0, 0, 0, 0, 4}) + Said("D") + extended({1}) +
                   Control(0x76, {1}) + Said("E") + Control(0x76, {0xF0}) + Said("F")),
            "'A' 0,0 mono 10 #ff0000\n'B' 6,0 mono 10\n'C' 12,0 mono 10 #010203\n"
            "'D' 18,0 mono 10 #00ff00\n'E' 24,0 mono 10 underlined #00ff00\n"
            "'F' 30,0 mono 10 #00ff00\n");
}

TEST(TextRunsTest, FontsAreReplacedByTheirNames) {
  const auto triplet = [](unsigned char id, const Bytes& contents) {
    return Bytes{static_cast<unsigned char>(contents.size() + 2), id} + contents;
  };
  const auto mapped = [&](const Bytes& triplets) {
    const Bytes group = triplets + triplet(0x24, {5, 1});
    return Field(0xAB8A, Big16(static_cast<unsigned>(group.size()) + 2) + group);
  };
  const auto set = [&](const std::string& name) { return triplet(2, Bytes{0x86, 0} + Name(name)); };
  struct Case {
    Bytes map;
    const char* expected;
  };
  const Case cases[] = {
      {mapped(set("C0H200B0")), "sans 12"},
      {mapped(set("C0N40000")), "serif 10 bold"},
      {mapped(set("C0430060")), "mono 6 italic"},
      {mapped(set("C0S500D0")), "serif 14 bold italic"},
      {mapped(set("CZH200") + triplet(0x1F, Bytes{5, 5} + Big16(180) + Big16(0) + Bytes{0})),
       "sans 9"},
      {mapped(set("CZN200") + triplet(0x1F, Bytes{7, 5} + Big16(400) + Big16(0) + Bytes{0x80})),
       "serif 20 bold italic"},
      {mapped(triplet(2, Bytes{0x8E, 0} + Name("XZTIMESB"))), "serif 10"},
      {mapped(set("COURBOLD")), "mono 10 bold"},
      {mapped(set("ZEBRA")), "sans 10"},
      {mapped({}), "mono 10"},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(RunsOf(Control(0xF0, {1}) + Said("A"), one.map),
              "'A' 0,0 " + std::string(one.expected) + "\n");
  }
}

TEST(TextRunsTest, RulesGoFromWhereTheTextIs) {
  const Bytes start = Inline(200) + Baseline(400);
  struct Case {
    const char* name;
    Bytes sequences;
    const char* expected;
  };
  const Case cases[] = {
      {"along the line", start + Control(0xE4, Big16(100) + Big16(10) + Bytes{0}),
       "rule 20,40 10x1\n"},
      {"down", start + Control(0xE6, Big16(100) + Big16(10) + Bytes{0x80}), "rule 20,40 1.05x10\n"},
      {"back and up", start + Control(0xE4, Big16(0xFF9C) + Big16(0xFFF6) + Bytes{0}),
       "rule 10,39 10x1\n"},
      {"of no width of its own", start + Control(0xE4, Big16(100)), "rule 20,40 10x0.5\n"},
      {"turned",
       Control(0xF6, Degrees(90) + Degrees(180)) + start +
           Control(0xE4, Big16(100) + Big16(10) + Bytes{0}),
       "rule 59,20 1x10\n"},
      {"coloured, and text isn't moved",
       start + Control(0x74, {0, 1}) + Control(0xE4, Big16(100) + Big16(10)) + Said("A"),
       "rule 20,40 10x1 #0000ff\n'A' 20,40 mono 10 #0000ff\n"},
  };
  for (const Case& one : cases) EXPECT_EQ(RunsOf(one.sequences), one.expected) << one.name;
}

// Text objects with an area of their own stand and turn with it; fonts that one maps are its own.
TEST(TextRunsTest, TextObjectsHaveAPlaceOfTheirOwn) {
  const Bytes group = Field(0xA8C7) + AreaDescriptor(500, 500) +
                      AreaPosition({.x = 500, .y = 100, .rotation = 90}) + Field(0xA9C7);
  const Bytes text = Inline(100) + Baseline(50) + Said("A");
  EXPECT_EQ(InWords(LayoutOf(ViewDocument(ViewPage(TextObject(text, group) + TextObject(text))))),
            "'A' 45,20 turned 90 mono 10\n'A' 10,5 mono 10\n");
  const Bytes space = Field(0xB19B, Units(14400) + Big24(0) + Big24(0) + Bytes{0, 0});
  EXPECT_EQ(InWords(LayoutOf(ViewDocument(ViewPage(TextObject(text, space) + TextObject(text))))),
            "'A' 5,2.5 mono 10\n'A' 10,5 mono 10\n");
  const Bytes resources = Overlay("OVL", TextObject(text));
  EXPECT_EQ(
      InWords(LayoutOf(ViewDocument(ViewPage(IncludeOverlay("OVL", 100, 200, 270)), resources))),
      "'A' 15,10 turned 270 mono 10\n");
}

// The moves among the conditions that texts begin with count from the orientation among them.
TEST(TextRunsTest, ConditionsComeFirst) {
  const auto first = [](const Bytes& conditions) {
    const Bytes space =
        Field(0xB19B, Units() + Big24(1000) + Big24(2000) + Bytes{0, 0} + conditions);
    return RunsOf(Said("A"), space);
  };
  const Bytes down = Control(0xF6, Degrees(90) + Degrees(180));
  EXPECT_EQ(first(down), "'A' 100,0 turned 90 mono 10\n");
  EXPECT_EQ(first(Inline(300) + Baseline(200) + down), "'A' 80,30 turned 90 mono 10\n");
}

}  // namespace
}  // namespace kz::test
