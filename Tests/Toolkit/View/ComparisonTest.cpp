#include "Toolkit/View/Comparison/Comparison.h"

#include <gtest/gtest.h>

#include <chrono>

#include "Tests/Toolkit/View/ViewFields.h"

namespace kz::test {
namespace {

std::string InWords(const ComparedPages& pages) {
  std::string where = std::to_string(pages.a) + "|" + std::to_string(pages.b);
  if (pages.count > 1) where += " x" + std::to_string(pages.count);
  if (pages.differences.empty()) return where + "\n";
  std::string words;
  for (const Difference& one : pages.differences) {
    words += where + " " + kAspects[static_cast<size_t>(one.aspect)].name + ": " + one.what + "\n";
  }
  return words;
}

struct Compared {
  std::string words;  // a line for each difference, without pages that are the same
  CompareSummary summary;
  std::vector<Difference> differences;
};

Compared Compare(const Bytes& a, const Bytes& b, const CompareOptions& options = {}) {
  const TemporaryFolder folder;
  Document first(folder.File("a", a)), second(folder.File("b", b));
  Compared compared;
  EXPECT_TRUE(first.Open().Ok() && second.Open().Ok());
  const Outcome outcome = CompareDocuments(
      first, second, options,
      [&](const ComparedPages& pages) {
        if (!pages.IsPair() || !pages.differences.empty()) compared.words += InWords(pages);
        compared.differences.insert(compared.differences.end(), pages.differences.begin(),
                                    pages.differences.end());
        return true;
      },
      compared.summary);
  EXPECT_TRUE(outcome.Ok()) << outcome.what;
  return compared;
}

Bytes Line(const std::string& text, int x = 100, int y = 200) {
  return TextObject(Inline(x) + Baseline(y) + Said(text));
}
// A page with a name of its own and a picture and a text by its number.
Bytes Leaf(int name, int number, const std::string& text = {}) {
  Bytes rows(2 * 10, 0);
  rows[static_cast<size_t>(number) % rows.size()] = 0xA5;
  rows[static_cast<size_t>(number) / rows.size() % rows.size()] |= 0x18;
  return Field(0xA8AF, Name(std::string("P").append(std::to_string(name)))) + Field(0xA8C9) +
         PageDescriptor(1000, 2000) + Field(0xA9C9) + ImageObject(16, 10, {}, rows) +
         Line(text.empty() ? "TEXT OF PAGE NUMBER " + std::to_string(number) : text) +
         Field(0xA9AF, Name(std::string("P").append(std::to_string(name))));
}
// Pages by their numbers, named in their order.
Bytes Leaves(const std::vector<int>& numbers) {
  Bytes pages;
  int name = 0;
  for (const int number : numbers) pages = pages + Leaf(++name, number);
  return ViewDocument(pages);
}

TEST(ComparisonTest, PagesAreAlignedThoughTheirNamesAreCountedThrough) {
  const struct {
    std::vector<int> a, b;
    const char* words;
  } cases[] = {
      {{1, 2, 3, 4, 5}, {1, 2, 3, 4, 5}, ""},
      {{1, 2, 3, 4, 5}, {1, 2, 9, 3, 4, 5}, "0|3\n"},
      {{1, 2, 3, 4, 5}, {9, 1, 2, 3, 4, 5}, "0|1\n"},
      {{1, 2, 3, 4, 5}, {1, 2, 3, 4, 5, 8, 9}, "0|6 x2\n"},
      {{1, 2, 3, 4, 5}, {1, 3, 5}, "2|0\n4|0\n"},
      {{1, 2, 3, 4, 5}, {3, 4}, "1|0 x2\n5|0\n"},
      // The same page many times.
      {{7, 7, 7, 7}, {7, 7, 7}, "4|0\n"},
      {{1, 7, 7, 7, 2}, {1, 7, 7, 7, 7, 2}, "0|5\n"},
      // One that moves is removed and inserted.
      {{1, 2, 3, 4}, {2, 3, 4, 1}, "1|0\n0|4\n"},
  };
  for (const auto& one : cases) {
    const Compared compared = Compare(Leaves(one.a), Leaves(one.b));
    EXPECT_EQ(compared.words, one.words);
    EXPECT_EQ(compared.summary.Same(), compared.words.empty());
  }
}

// Between pages that changed, the ones that are most alike belong together.
TEST(ComparisonTest, ChangedPagesStayTogetherBesideInsertedOnes) {
  const Bytes a = ViewDocument(Leaf(1, 1) + Leaf(2, 2, "ONE COMMON LINE FOR BOTH") + Leaf(3, 3));
  const Bytes b = ViewDocument(Leaf(1, 1) + Leaf(2, 8) + Leaf(3, 9) +
                               Leaf(4, 4, "ONE COMMON LINE FOR BOTH") + Leaf(5, 3));
  EXPECT_EQ(Compare(a, b, {.aspects = {Aspect::kText}}).words, "0|2 x2\n");
  const Compared all = Compare(a, b);
  EXPECT_EQ(all.summary.onlyB, 2);
  EXPECT_EQ(all.summary.different, 1);
  EXPECT_EQ(all.words.find("0|2 x2\n2|4 pictures: picture 1: 8 of 160 pixels differ"), 0U)
      << all.words;
}

TEST(ComparisonTest, OnePixelIsToldWithItsPlace) {
  Bytes rows(13 * 9, 0);
  const Bytes a = ViewDocument(ViewPage(ImageObject(100, 9, {}, rows)));
  rows[4 * 13 + 12] = 0x10;  // the last pixel of the fifth row
  const Compared compared = Compare(a, ViewDocument(ViewPage(ImageObject(100, 9, {}, rows))));
  EXPECT_EQ(compared.words,
            "1|1 pictures: picture 1: 1 of 900 pixels differs, within 1 x 1 from 99,4\n");
  ASSERT_EQ(compared.differences.size(), 1U);
  const Difference& one = compared.differences[0];
  EXPECT_EQ(one.pixels, 1);
  EXPECT_EQ((std::vector<int>{one.left, one.top, one.right, one.bottom}),
            (std::vector<int>{99, 4, 100, 5}));
  // Bits past the width are none of the picture's.
  rows[4 * 13 + 12] = 0x0F;
  EXPECT_EQ(Compare(a, ViewDocument(ViewPage(ImageObject(100, 9, {}, rows)))).words, "");
}

TEST(ComparisonTest, EachAspectTellsItsOwn) {
  const Bytes image = ImageObject(40, 20);
  const auto page = [&](const Bytes& content) { return ViewDocument(ViewPage(content)); };
  const auto placed = [&](int x) {
    return ImageObject(40, 20, AreaDescriptor(40, 20) + AreaPosition({.x = x, .y = 50}));
  };
  const Bytes two = TextObject(Inline(100) + Baseline(200) + Said("ONE") + Inline(100) +
                               Baseline(400) + Said("TWO"));
  const struct {
    Bytes a, b;
    const char* words;
  } cases[] = {
      {page(image + Line("SAME")), page(image + Line("OTHER")),
       "1|1 text: line 1: \"SAME\" | \"OTHER\"\n"},
      {page(Line("SAME")), page(Line("SAME", 110)), "1|1 text: \"SAME\" at 10,20 | 11,20\n"},
      {page(two), page(Line("TWO", 100, 400)),
       "1|1 text: line 1: \"ONE\" only in the first file\n"},
      {page(placed(30)), page(placed(45)),
       "1|1 pictures: picture 1: at 3,5, 4 x 2 | 4.5,5, 4 x 2\n"},
      {page(image), page(ImageObject(40, 24)),
       "1|1 pictures: picture 1: 40 x 20 pixels | 40 x 24 pixels\n"
       "1|1 pictures: picture 1: at 0,0, 4 x 2 | 0,0, 4 x 2.4\n"},
      {ViewDocument(ViewPage(image, 1000, 2000)), ViewDocument(ViewPage(image, 1000, 2500)),
       "1|1 pages: its size: 100 x 200 | 100 x 250 points\n"},
      // The same text in more and other sequences.
      {page(Line("ONE TWO")),
       page(TextObject(Inline(100) + Baseline(200) + Said("ONE ") + Said("TWO"))), ""},
      {page(image + Comment("a")), page(image + Comment("b")), "structure"},
      {page(image), page(image + image), "picture 2: only in the second file"},
  };
  for (const auto& one : cases) {
    CompareOptions seen;
    seen.aspects = {Aspect::kPages, Aspect::kPictures, Aspect::kText};
    const std::string expected = one.words, words = Compare(one.a, one.b, seen).words;
    if (expected.empty() || expected.ends_with('\n')) {
      EXPECT_EQ(words, expected);
    } else {
      EXPECT_NE(Compare(one.a, one.b).words.find(expected), std::string::npos);
    }
  }
}

TEST(ComparisonTest, StructureIsToldFromWhereItBeginsToDiffer) {
  const auto tag = [](const std::string& name, const std::string& value) {
    const auto triplet = [](unsigned char id, const Bytes& start, const std::string& text) {
      Bytes name8;
      for (const char c : text) name8.push_back(Name(std::string(1, c))[0]);
      const Bytes data = start + name8;
      return Bytes{static_cast<unsigned char>(data.size() + 2), id} + data;
    };
    return Field(0xA090, triplet(0x02, {0x0B, 0}, name) + triplet(0x36, {0, 0}, value));
  };
  const auto group = [&](const std::string& name, const Bytes& content) {
    return Field(0xA8AD, Name(name)) + content + Field(0xA9AD, Name(name));
  };
  const Bytes page = ViewPage(Line("TEXT"));
  const auto tagged = [&](const std::string& value) { return ViewPage(tag("KEY", value)); };
  EXPECT_EQ(Compare(ViewDocument(tagged("ONE")), ViewDocument(tagged("TWO"))).words,
            "1|1 structure: tag: \"KEY=ONE\" only in the first file\n"
            "1|1 structure: tag: \"KEY=TWO\" only in the second file\n");
  EXPECT_EQ(Compare(ViewDocument(group("A", page) + group("B", page)),
                    ViewDocument(group("A", page) + group("C", page)))
                .words,
            "0|0 structure: group: \"B\" only in the first file\n"
            "0|0 structure: group: \"C\" only in the second file\n");
  EXPECT_EQ(Compare(ViewDocument(group("A", tag("KEY", "ONE") + page)),
                    ViewDocument(group("A", tag("KEY", "TWO") + page)))
                .words.find("0|0 structure: group: \"A, KEY=ONE\""),
            0U);
  const Bytes a = ViewDocument(page + Comment("outside") + page);
  const Bytes b = ViewDocument(page + Comment("outsidf") + page);
  const Compared outside = Compare(a, b);
  ASSERT_EQ(outside.differences.size(), 1U) << outside.words;
  // After Begin Document and a page.
  const auto offset =
      static_cast<int64_t>(Field(0xA8A8, Name("DOC") + Bytes{0, 0}).size() + page.size());
  EXPECT_EQ(outside.differences[0].offsetA, offset);
  EXPECT_EQ(outside.differences[0].offsetB, offset);
  EXPECT_EQ(outside.summary.same, 2);
  EXPECT_TRUE(Compare(a, b, {.pagesA = {1, 2}, .pagesB = {1, 2}}).summary.Same());
  EXPECT_FALSE(Compare(a, b, {.pagesA = {1, 2}, .pagesB = {2}}).summary.Same());
}

// A page that is the same, byte for byte, shows another picture when the overlay has one.
TEST(ComparisonTest, IncludedPicturesCountWhereTheyAreShown) {
  const Bytes page = ViewPage(IncludeOverlay("OVL1", 100, 200)) + ViewPage(Line("PLAIN"));
  Bytes rows(20, 0xFF);
  const auto document = [&] {
    return ViewDocument(page, Overlay("OVL1", ImageObject(16, 10, {}, rows)));
  };
  const Bytes a = document();
  rows[3] = 0xFE;
  const Compared compared = Compare(a, document());
  EXPECT_EQ(compared.words,
            "1|1 pictures: picture 1: 1 of 160 pixels differs, within 1 x 1 from 15,1\n"
            "0|0 pictures: picture 1 of the resource OVL1: 1 of 160 pixels differs, within 1 x 1 "
            "from 15,1\n");
  EXPECT_EQ(compared.summary.same, 1);
}

// Pages in their tens of thousands: nothing is done for each pair of them.
TEST(ComparisonTest, ManyPagesTakeTimeAsTheirNumber) {
  constexpr int count = 20'000;
  const auto document = [&](int without, const std::string& text) {
    Bytes pages;
    for (int i = 1; i <= count; ++i) {
      if (i == without) continue;
      const Bytes page = ViewPage(Line(text + std::to_string(i)));
      pages.insert(pages.end(), page.begin(), page.end());
    }
    return ViewDocument(pages);
  };
  const auto begin = std::chrono::steady_clock::now();
  const Bytes a = document(0, "A");
  EXPECT_EQ(Compare(a, document(count / 2, "A")).words, "10000|0\n");
  const CompareSummary all = Compare(a, document(1, "B")).summary;
  EXPECT_EQ(all.different, count - 1);
  EXPECT_EQ(all.onlyA, 1);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  EXPECT_LT(seconds.count(), 120);
}

}  // namespace
}  // namespace kz::test
