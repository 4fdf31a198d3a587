#include "Toolkit/View/Comparison/Alignment/SequenceDiff.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>

namespace kz::test {
namespace {

using Sequence = std::vector<ContentHash>;

Sequence SequenceOf(const std::string& letters) {
  Sequence sequence;
  for (const char letter : letters) sequence.push_back(HashOf(std::string(1, letter)));
  return sequence;
}

// The elements in common, by the longest common subsequence.
size_t MostInCommon(const Sequence& a, const Sequence& b) {
  std::vector<size_t> above(b.size() + 1, 0), row = above;
  for (const ContentHash& one : a) {
    for (size_t j = 0; j < b.size(); ++j) {
      row[j + 1] = one == b[j] ? above[j] + 1 : std::max(above[j + 1], row[j]);
    }
    std::swap(above, row);
  }
  return above.back();
}

// How many elements are in common; fails when they aren't, or not in order.
size_t Checked(const Sequence& a, const Sequence& b) {
  size_t endA = 0, endB = 0, count = 0;
  const std::vector<CommonStretch> common = FindCommon(a, b);
  for (const CommonStretch& one : common) {
    EXPECT_TRUE(one.a >= endA && one.b >= endB && one.count > 0);
    endA = one.a + one.count;
    endB = one.b + one.count;
    count += one.count;
    if (endA > a.size() || endB > b.size()) {
      ADD_FAILURE() << "beyond the end";
      return 0;
    }
    EXPECT_TRUE(std::equal(a.begin() + static_cast<ptrdiff_t>(one.a),
                           a.begin() + static_cast<ptrdiff_t>(endA),
                           b.begin() + static_cast<ptrdiff_t>(one.b)));
  }
  size_t alone = 0;
  for (const DiffGap& gap : GapsBetween(common, a.size(), b.size())) {
    alone += gap.countA + gap.countB;
  }
  EXPECT_EQ(alone + 2 * count, a.size() + b.size());
  return count;
}

TEST(SequenceDiffTest, FewEditsAreFoundAsTheyAre) {
  const std::pair<const char*, const char*> cases[] = {{"", ""},
                                                       {"a", ""},
                                                       {"", "ab"},
                                                       {"abc", "abc"},
                                                       {"abcdef", "abdef"},
                                                       {"abdef", "abcdef"},
                                                       {"aaaa", "aaa"},
                                                       {"abab", "baba"},
                                                       {"aXbXc", "XaXbX"},
                                                       {"xaxbxc", "xbxcxa"},
                                                       {"aabbcc", "ccbbaa"}};
  for (const auto& [a, b] : cases) {
    const Sequence ofA = SequenceOf(a), ofB = SequenceOf(b);
    const size_t found = Checked(ofA, ofB);
    // What there is once in both may tie them together at the cost of a little.
    EXPECT_GE(found + 1, MostInCommon(ofA, ofB)) << a << " and " << b;
  }
  std::mt19937 random(7);
  for (int round = 0; round < 300; ++round) {
    std::string a, b;
    // Three letters: nothing is there once.
    for (size_t i = 0; i < 60; ++i) a += "abc"[random() % 3];
    b = a;
    for (int edits = 0; edits < 6; ++edits) b.erase(random() % b.size(), random() % 2);
    for (int edits = 0; edits < 6; ++edits) b.insert(random() % b.size(), 1, "abc"[random() % 3]);
    const Sequence ofA = SequenceOf(a), ofB = SequenceOf(b);
    EXPECT_EQ(Checked(ofA, ofB), MostInCommon(ofA, ofB)) << a << " and " << b;
  }
}

// Two hundred thousand elements: a square of that would take hours.
TEST(SequenceDiffTest, TimeIsBoundedWhateverTheSequencesAre) {
  constexpr size_t size = 200'000;
  Sequence same(size, HashOf("same")), counted, turned, other, few(size), fewer(size);
  std::mt19937 random(1);
  for (size_t i = 0; i < size; ++i) {
    counted.push_back(HashOf(std::to_string(i)));
    other.push_back(HashOf(std::to_string(i) + "x"));
    few[i] = HashOf(std::to_string(random() % 4));
    fewer[i] = HashOf(std::to_string(random() % 3));
  }
  turned = counted;
  std::reverse(turned.begin(), turned.end());
  Sequence doubled = counted;  // nothing is there once
  doubled.insert(doubled.end(), turned.begin(), turned.end());
  Sequence inserted = counted;
  inserted.insert(inserted.begin() + 1000, HashOf("new"));
  inserted.erase(inserted.end() - 5);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(Checked(counted, inserted), size - 1);
  EXPECT_EQ(Checked(same, Sequence(size / 2, HashOf("same"))), size / 2);
  EXPECT_EQ(Checked(counted, other), 0U);
  EXPECT_GE(Checked(counted, turned), 1U);
  (void)Checked(few, fewer);
  (void)Checked(doubled, counted);
  const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
  EXPECT_LT(seconds.count(), 60);
}

TEST(ContentHashTest, BytesComeToTheSameInWhateverPieces) {
  std::string bytes;
  for (int i = 0; i < 100; ++i) bytes += static_cast<char>(i * 37);
  for (size_t first = 0; first < bytes.size(); ++first) {
    for (const size_t second : {size_t{0}, size_t{1}, size_t{15}, size_t{16}, size_t{40}}) {
      ContentHasher hasher;
      const size_t end = std::min(first + second, bytes.size());
      hasher.Add(std::string_view(bytes).substr(0, first));
      hasher.Add(std::string_view(bytes).substr(first, end - first));
      hasher.Add(std::string_view(bytes).substr(end));
      ASSERT_EQ(hasher.Value(), HashOf(bytes)) << first << " " << second;
    }
    std::string changed = bytes;
    changed[first] ^= 1;
    EXPECT_FALSE(HashOf(changed) == HashOf(bytes));
    EXPECT_FALSE(HashOf(std::string_view(bytes).substr(0, first)) == HashOf(bytes));
  }
  EXPECT_FALSE(HashOf(std::string(1, '\0')) == HashOf(""));
  EXPECT_FALSE(HashOf(std::string(16, '\0')) == HashOf(std::string(17, '\0')));
}

}  // namespace
}  // namespace kz::test
