#include "Toolkit/View/Comparison/Alignment/PageAlignment.h"

#include <algorithm>

#include "Toolkit/View/Comparison/Alignment/SequenceDiff.h"

namespace kz {

namespace {

// Pages in one place are all compared with each other up to so many comparisons.
constexpr size_t kMostComparisons = 100'000;
// What two pages have in common for standing in the same place.
constexpr float kSamePlace = 0.05F;

// Of all lines of both, how many are lines of both.
float Likeness(const PageFeatures& a, const PageFeatures& b) {
  float likeness = a.hasPictures && a.pictures == b.pictures ? 0.5F : 0;
  if (a.lines.empty() || b.lines.empty()) return likeness;
  size_t common = 0;
  for (size_t i = 0, j = 0; i < a.lines.size() && j < b.lines.size();) {
    if (a.lines[i] == b.lines[j]) {
      ++common, ++i, ++j;
    } else {
      ++(a.lines[i] < b.lines[j] ? i : j);
    }
  }
  const size_t all = a.lines.size() + b.lines.size() - common;
  return likeness + static_cast<float>(common) / static_cast<float>(all);
}

class Alignment {
 public:
  Alignment(std::span<const ContentHash> a, std::span<const ContentHash> b,
            const FeaturesOf& features, Workers& workers)
      : m_a(a), m_b(b), m_features(features), m_workers(workers) {}

  std::vector<AlignedPages> Run() {
    const std::vector<CommonStretch> common = FindCommon(m_a, m_b);
    for (const CommonStretch& one : common) m_found.push_back({one.a, one.b, one.count, true});
    const std::vector<DiffGap> gaps = GapsBetween(common, m_a.size(), m_b.size());
    ReadFeatures(gaps);
    for (const DiffGap& gap : gaps) {
      if (IsPlain(gap)) {
        PairInOrder(gap);
      } else {
        AlignBy(0, gap);
      }
    }
    return WithThoseAlone();
  }

 private:
  static bool IsPlain(const DiffGap& gap) {
    return gap.countA == 0 || gap.countB == 0 || (gap.countA == 1 && gap.countB == 1);
  }

  void ReadFeatures(const std::vector<DiffGap>& gaps) {
    std::vector<std::pair<bool, size_t>> wanted;
    for (const DiffGap& gap : gaps) {
      if (IsPlain(gap)) continue;
      for (size_t i = 0; i < gap.countA; ++i) wanted.emplace_back(false, gap.a + i);
      for (size_t i = 0; i < gap.countB; ++i) wanted.emplace_back(true, gap.b + i);
    }
    if (wanted.empty()) return;
    m_ofA.resize(m_a.size());
    m_ofB.resize(m_b.size());
    m_workers.Each(wanted.size(), [&](size_t i) {
      const auto [second, page] = wanted[i];
      (second ? m_ofB : m_ofA)[page] = m_features(second, page);
    });
  }

  // By what is looked at first, second, third; then by likeness.
  static ContentHash KeyOf(int level, const PageFeatures& page, bool second, size_t number) {
    if (level == 0) return page.whole;
    if (level == 1 && page.hasText) return page.text;
    if (level == 2 && page.hasPictures) return page.pictures;
    return {second ? 1U : 0U, number};  // like no other
  }

  void AlignBy(int level, const DiffGap& gap) {
    constexpr int levels = 3;
    if (gap.countA == 0 || gap.countB == 0) return;
    if (level == levels) return PairAlike(gap);
    std::vector<ContentHash> keysA(gap.countA), keysB(gap.countB);
    for (size_t i = 0; i < gap.countA; ++i) {
      keysA[i] = KeyOf(level, m_ofA[gap.a + i], false, i);
    }
    for (size_t i = 0; i < gap.countB; ++i) {
      keysB[i] = KeyOf(level, m_ofB[gap.b + i], true, i);
    }
    const std::vector<CommonStretch> common = FindCommon(keysA, keysB);
    for (const CommonStretch& one : common) {
      m_found.push_back({gap.a + one.a, gap.b + one.b, one.count});
    }
    for (const DiffGap& rest : GapsBetween(common, gap.countA, gap.countB)) {
      AlignBy(level + 1, {gap.a + rest.a, rest.countA, gap.b + rest.b, rest.countB});
    }
  }

  void PairInOrder(const DiffGap& gap) {
    const size_t pairs = std::min(gap.countA, gap.countB);
    if (pairs > 0) m_found.push_back({gap.a, gap.b, pairs});
  }

  // The pairs in order that are most alike in all.
  void PairAlike(const DiffGap& gap) {
    const size_t rows = gap.countA, columns = gap.countB;
    if (rows > kMostComparisons / columns) return PairInOrder(gap);
    enum class Step : unsigned char { Both, OnlyA, OnlyB };
    std::vector<Step> steps((rows + 1) * (columns + 1), Step::OnlyB);
    std::vector<float> above(columns + 1, 0), row(columns + 1, 0);
    for (size_t i = 1; i <= rows; ++i) {
      Step* step = &steps[i * (columns + 1)];
      step[0] = Step::OnlyA;
      for (size_t j = 1; j <= columns; ++j) {
        const float both =
            above[j - 1] + kSamePlace + Likeness(m_ofA[gap.a + i - 1], m_ofB[gap.b + j - 1]);
        row[j] = std::max({both, above[j], row[j - 1]});
        step[j] = row[j] == both ? Step::Both : row[j] == above[j] ? Step::OnlyA : Step::OnlyB;
      }
      std::swap(above, row);
    }
    for (size_t i = rows, j = columns; i > 0 && j > 0;) {
      const Step step = steps[i * (columns + 1) + j];
      if (step != Step::OnlyB) --i;
      if (step != Step::OnlyA) --j;
      if (step == Step::Both) m_found.push_back({gap.a + i, gap.b + j});
    }
  }

  // What is left is in one document only.
  std::vector<AlignedPages> WithThoseAlone() {
    std::sort(m_found.begin(), m_found.end(),
              [](const AlignedPages& x, const AlignedPages& y) { return x.a < y.a; });
    std::vector<AlignedPages> all;
    size_t a = 0, b = 0;
    const auto add = [&](size_t endA, size_t endB) {
      if (endA > a) all.push_back({a, AlignedPages::kNone, endA - a});
      if (endB > b) all.push_back({AlignedPages::kNone, b, endB - b});
    };
    for (const AlignedPages& one : m_found) {
      add(one.a, one.b);
      all.push_back(one);
      a = one.a + one.count;
      b = one.b + one.count;
    }
    add(m_a.size(), m_b.size());
    return all;
  }

  std::span<const ContentHash> m_a, m_b;
  const FeaturesOf& m_features;
  Workers& m_workers;
  std::vector<PageFeatures> m_ofA, m_ofB;  // empty unless any are asked for
  std::vector<AlignedPages> m_found;
};

}  // namespace

std::vector<AlignedPages> AlignPages(std::span<const ContentHash> a, std::span<const ContentHash> b,
                                     const FeaturesOf& features, Workers& workers) {
  return Alignment(a, b, features, workers).Run();
}

}  // namespace kz
