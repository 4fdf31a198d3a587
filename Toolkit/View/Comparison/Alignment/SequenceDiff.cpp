#include "Toolkit/View/Comparison/Alignment/SequenceDiff.h"

#include <algorithm>
#include <cstdint>
#include <unordered_map>

namespace kz {

namespace {

// How often a part is divided by what there is but once in it, and how many differences are
// looked for where nothing is.
constexpr int kMostDepth = 12;
constexpr ptrdiff_t kMostEdits = 256;

struct Part {
  size_t beginA, endA, beginB, endB;
  int depth;
};

class Search {
 public:
  Search(std::span<const ContentHash> a, std::span<const ContentHash> b) : m_a(a), m_b(b) {}

  std::vector<CommonStretch> Run() {
    m_parts.push_back({0, m_a.size(), 0, m_b.size(), 0});
    while (!m_parts.empty()) {
      Part part = m_parts.back();
      m_parts.pop_back();
      Trim(part);
      if (part.beginA == part.endA || part.beginB == part.endB) continue;
      if (part.depth >= kMostDepth || !Divide(part)) FindFewEdits(part);
    }
    std::sort(m_found.begin(), m_found.end(),
              [](const CommonStretch& x, const CommonStretch& y) { return x.a < y.a; });
    return Joined();
  }

 private:
  void Found(size_t a, size_t b, size_t count) {
    if (count > 0) m_found.push_back({a, b, count});
  }

  // Takes what is common at both ends off.
  void Trim(Part& part) {
    const size_t most = std::min(part.endA - part.beginA, part.endB - part.beginB);
    size_t begin = 0, end = 0;
    while (begin < most && m_a[part.beginA + begin] == m_b[part.beginB + begin]) ++begin;
    while (end < most - begin && m_a[part.endA - end - 1] == m_b[part.endB - end - 1]) ++end;
    Found(part.beginA, part.beginB, begin);
    Found(part.endA - end, part.endB - end, end);
    part = {part.beginA + begin, part.endA - end, part.beginB + begin, part.endB - end, part.depth};
  }

  struct Occurrence {
    size_t a = 0, b = 0;
    uint32_t inA = 0, inB = 0;
  };

  // Divides it at what there is once in both, in the same order; false without any.
  bool Divide(const Part& part) {
    std::unordered_map<ContentHash, Occurrence, HashOfContent> occurrences;
    for (size_t i = part.beginA; i < part.endA; ++i) {
      Occurrence& one = occurrences[m_a[i]];
      one.a = i;
      ++one.inA;
    }
    for (size_t i = part.beginB; i < part.endB; ++i) {
      const auto found = occurrences.find(m_b[i]);
      if (found == occurrences.end()) continue;
      found->second.b = i;
      ++found->second.inB;
    }
    std::vector<CommonStretch> single;
    for (size_t i = part.beginA; i < part.endA; ++i) {
      const Occurrence& one = occurrences[m_a[i]];
      if (one.inA == 1 && one.inB == 1) single.push_back({one.a, one.b, 1});
    }
    if (single.empty()) return false;
    size_t a = part.beginA, b = part.beginB;
    for (const CommonStretch& tie : Rising(single)) {
      m_parts.push_back({a, tie.a, b, tie.b, part.depth + 1});
      Found(tie.a, tie.b, 1);
      a = tie.a + 1;
      b = tie.b + 1;
    }
    m_parts.push_back({a, part.endA, b, part.endB, part.depth + 1});
    return true;
  }

  // The longest choice of them that rises in b, as it does in a.
  static std::vector<CommonStretch> Rising(const std::vector<CommonStretch>& single) {
    std::vector<size_t> ends;  // of the choices of each length, the lowest
    std::vector<size_t> before(single.size(), SIZE_MAX);
    for (size_t i = 0; i < single.size(); ++i) {
      const auto place = std::lower_bound(ends.begin(), ends.end(), single[i].b,
                                          [&](size_t end, size_t b) { return single[end].b < b; });
      if (place != ends.begin()) before[i] = *std::prev(place);
      if (place == ends.end()) {
        ends.push_back(i);
      } else {
        *place = i;
      }
    }
    std::vector<CommonStretch> rising;
    for (size_t i = ends.back(); i != SIZE_MAX; i = before[i]) rising.push_back(single[i]);
    std::reverse(rising.begin(), rising.end());
    return rising;
  }

  // The greedy search for the least edits (Myers), given up after so many: then with what is
  // common on the path that came farthest.
  void FindFewEdits(const Part& part) {
    const auto sizeA = static_cast<ptrdiff_t>(part.endA - part.beginA);
    const auto sizeB = static_cast<ptrdiff_t>(part.endB - part.beginB);
    const ptrdiff_t most = std::min(sizeA + sizeB, kMostEdits);
    std::vector<ptrdiff_t> reached(static_cast<size_t>(2 * most + 3), 0);
    std::vector<std::vector<ptrdiff_t>> steps;
    const auto at = [&](ptrdiff_t k) -> ptrdiff_t& {
      return reached[static_cast<size_t>(k + most + 1)];
    };
    ptrdiff_t bestK = 0;
    for (ptrdiff_t edits = 0; edits <= most; ++edits) {
      ptrdiff_t farthest = -1;
      for (ptrdiff_t k = -edits; k <= edits; k += 2) {
        const bool down = k == -edits || (k != edits && at(k - 1) < at(k + 1));
        ptrdiff_t x = edits == 0 ? 0 : down ? at(k + 1) : at(k - 1) + 1;
        ptrdiff_t y = x - k;
        while (x < sizeA && y < sizeB && y >= 0 && Same(part, x, y)) ++x, ++y;
        at(k) = x;
        if (x <= sizeA && y <= sizeB && x + y > farthest) {
          farthest = x + y;
          bestK = k;
        }
      }
      if (farthest < 0) break;
      steps.emplace_back(reached.begin() + (most + 1 - edits),
                         reached.begin() + (most + 2 + edits));
      if (farthest == sizeA + sizeB) break;
    }
    Retrace(part, steps, bestK);
  }

  bool Same(const Part& part, ptrdiff_t x, ptrdiff_t y) const {
    return m_a[part.beginA + static_cast<size_t>(x)] == m_b[part.beginB + static_cast<size_t>(y)];
  }

  // Goes back along the path to the end of step `steps.size() - 1` on diagonal k.
  void Retrace(const Part& part, const std::vector<std::vector<ptrdiff_t>>& steps, ptrdiff_t k) {
    auto edits = static_cast<ptrdiff_t>(steps.size()) - 1;
    const auto reached = [&](ptrdiff_t step, ptrdiff_t diagonal) {
      return steps[static_cast<size_t>(step)][static_cast<size_t>(diagonal + step)];
    };
    for (ptrdiff_t x = reached(edits, k); edits >= 0; --edits) {
      ptrdiff_t begin = 0, next = 0, nextK = 0;
      if (edits > 0) {
        const bool down =
            k == -edits || (k != edits && reached(edits - 1, k - 1) < reached(edits - 1, k + 1));
        nextK = down ? k + 1 : k - 1;
        next = reached(edits - 1, nextK);
        begin = down ? next : next + 1;
      }
      if (x > begin) {
        Found(part.beginA + static_cast<size_t>(begin),
              part.beginB + static_cast<size_t>(begin - k), static_cast<size_t>(x - begin));
      }
      x = next;
      k = nextK;
    }
  }

  std::vector<CommonStretch> Joined() const {
    std::vector<CommonStretch> joined;
    for (const CommonStretch& one : m_found) {
      if (!joined.empty() && joined.back().a + joined.back().count == one.a &&
          joined.back().b + joined.back().count == one.b) {
        joined.back().count += one.count;
      } else {
        joined.push_back(one);
      }
    }
    return joined;
  }

  std::span<const ContentHash> m_a, m_b;
  std::vector<Part> m_parts;
  std::vector<CommonStretch> m_found;
};

}  // namespace

std::vector<CommonStretch> FindCommon(std::span<const ContentHash> a,
                                      std::span<const ContentHash> b) {
  return Search(a, b).Run();
}

std::vector<DiffGap> GapsBetween(const std::vector<CommonStretch>& common, size_t sizeA,
                                 size_t sizeB) {
  std::vector<DiffGap> gaps;
  size_t a = 0, b = 0;
  const auto add = [&](size_t endA, size_t endB) {
    if (endA > a || endB > b) gaps.push_back({a, endA - a, b, endB - b});
  };
  for (const CommonStretch& one : common) {
    add(one.a, one.b);
    a = one.a + one.count;
    b = one.b + one.count;
  }
  add(sizeA, sizeB);
  return gaps;
}

}  // namespace kz
