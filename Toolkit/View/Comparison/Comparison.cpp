#include "Toolkit/View/Comparison/Comparison.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <utility>

#include "Toolkit/Base/Workers.h"
#include "Toolkit/View/Comparison/PairComparison.h"

namespace kz {

namespace {

class Comparing {
 public:
  Comparing(const Document& a, const Document& b, const CompareOptions& options)
      : m_options(options),
        m_a(a, options.load),
        m_b(b, options.load),
        m_tagsA(a.Index()),
        m_tagsB(b.Index()),
        m_workers(options.threads > 0 ? options.threads : Workers::Processors()),
        m_pagesA(PagesOf(a, options.pagesA)),
        m_pagesB(PagesOf(b, options.pagesB)) {}

  Outcome Run(const TakeComparedPages& take, CompareSummary& summary) {
    summary = {};
    summary.pagesA = static_cast<int>(m_pagesA.size());
    summary.pagesB = static_cast<int>(m_pagesB.size());
    ReadOutside();
    const std::vector<AlignedPages> aligned = Align();
    if (!Failed().Ok()) return Failed();
    for (const AlignedPages& pages : aligned) {
      if (!Compare(pages, take, summary) || !Failed().Ok()) return Failed();
    }
    ComparedPages rest;
    if (m_options.pagesA.empty() && m_options.pagesB.empty()) CompareRest(rest.differences);
    summary.differences = static_cast<int>(rest.differences.size());
    if (!rest.differences.empty()) (void)take(rest);
    return Failed();
  }

 private:
  static std::vector<int> PagesOf(const Document& document, const std::vector<int>& wanted) {
    return wanted.empty() ? document.Index().AllPages() : wanted;
  }

  bool Has(Aspect aspect) const {
    const std::vector<Aspect>& all = m_options.aspects;
    return all.empty() || std::find(all.begin(), all.end(), aspect) != all.end();
  }

  // What the threads run, which mustn't throw.
  template <typename Use>
  void Guarded(Use use) {
    try {
      use();
    } catch (const std::bad_alloc&) {
      m_noMemory = true;
    }
  }

  Outcome Failed() const {
    if (m_noMemory) return Failure(K_ERROR_NO_MEMORY);
    Outcome ofA = m_a.Failed();
    if (!ofA.Ok()) return ofA;
    return m_b.Failed();
  }

  void ReadOutside() {
    m_workers.Each(2, [this](size_t i) {
      Guarded([&] { (i == 0 ? m_outsideA : m_outsideB) = (i == 0 ? m_a : m_b).ReadOutside(); });
    });
    m_sameOutside =
        m_outsideA.size() == m_outsideB.size() &&
        std::equal(m_outsideA.begin(), m_outsideA.end(), m_outsideB.begin(),
                   [](const FieldToken& x, const FieldToken& y) { return x.hash == y.hash; });
    // Pictures of resources are no part of them.
    std::vector<Difference> ofPictures;
    Guarded([&] { PairComparison(m_a, m_b, ofPictures).CompareOwnPictures(); });
    m_sameOutside = m_sameOutside && ofPictures.empty();
    m_ownPictures = std::move(ofPictures);
  }

  std::vector<AlignedPages> Align() {
    const auto hash = [&](ComparedDocument& document, const std::vector<int>& pages) {
      std::vector<ContentHash> hashes(pages.size());
      constexpr size_t share = 64;
      m_workers.Each((pages.size() + share - 1) / share, [&](size_t part) {
        Guarded([&] {
          const size_t end = std::min(pages.size(), (part + 1) * share);
          for (size_t i = part * share; i < end; ++i) hashes[i] = document.HashPage(pages[i]);
        });
      });
      return hashes;
    };
    const std::vector<ContentHash> ofA = hash(m_a, m_pagesA), ofB = hash(m_b, m_pagesB);
    const auto features = [&](bool second, size_t page) {
      PageFeatures found;
      Guarded([&] {
        found = (second ? m_b : m_a)
                    .FeaturesOf((second ? m_pagesB : m_pagesA)[page], Has(Aspect::kPictures));
      });
      return found;
    };
    return AlignPages(ofA, ofB, features, m_workers);
  }

  bool Compare(const AlignedPages& pages, const TakeComparedPages& take, CompareSummary& summary) {
    const bool inA = pages.a != AlignedPages::kNone, inB = pages.b != AlignedPages::kNone;
    if (!inA || !inB) return TakeAlone(pages, inA, take, summary);
    std::vector<ComparedPages> compared(pages.count);
    bool goesOn = true;
    ComparedPages same;  // the pages before that are the same
    const auto takeSame = [&] { return same.a == 0 || take(std::exchange(same, {})); };
    m_workers.InOrder(
        pages.count,
        [&](size_t i) {
          ComparedPages& pair = compared[i];
          pair.a = m_pagesA[pages.a + i];
          pair.b = m_pagesB[pages.b + i];
          Guarded([&] { ComparePair(pair, pages.sameBytes); });
        },
        [&](size_t i) {
          ComparedPages pair = std::exchange(compared[i], {});
          if (!pair.differences.empty()) {
            ++summary.different;
            goesOn = takeSame() && take(pair);
            return goesOn;
          }
          ++summary.same;
          if (same.a > 0 && same.a + same.count == pair.a && same.b + same.count == pair.b) {
            ++same.count;
          } else {
            goesOn = takeSame();
            same = std::move(pair);
          }
          return goesOn;
        });
    return goesOn && takeSame();
  }

  // Pages in one document only, as many at a time as follow each other.
  bool TakeAlone(const AlignedPages& pages, bool inA, const TakeComparedPages& take,
                 CompareSummary& summary) {
    const std::vector<int>& numbers = inA ? m_pagesA : m_pagesB;
    const size_t begin = inA ? pages.a : pages.b;
    (inA ? summary.onlyA : summary.onlyB) += static_cast<int>(pages.count);
    for (size_t i = 0; i < pages.count;) {
      const int first = numbers[begin + i];
      int count = 1;
      while (++i < pages.count && numbers[begin + i] == first + count) ++count;
      ComparedPages alone;
      (inA ? alone.a : alone.b) = first;
      alone.count = count;
      if (!take(alone)) return false;
    }
    return true;
  }

  bool RefersOutside(int page, const Document& document) const {
    const IndexedPage& at = document.Index().pages[static_cast<size_t>(page) - 1];
    return at.refersToResources || at.hasText;
  }

  void ComparePair(ComparedPages& pair, bool sameBytes) {
    const bool outside = !m_sameOutside && (RefersOutside(pair.a, m_a.GetDocument()) ||
                                            RefersOutside(pair.b, m_b.GetDocument()));
    if (sameBytes && !outside) return;
    PairComparison comparison(m_a, m_b, pair.differences);
    if (Has(Aspect::kPages) || Has(Aspect::kPictures) || Has(Aspect::kText)) {
      const SeenPage a = m_a.See(pair.a), b = m_b.See(pair.b);
      if (Has(Aspect::kPages)) comparison.CompareSizes(a, b);
      if (Has(Aspect::kPictures)) comparison.ComparePictures(a, b);
      if (Has(Aspect::kText)) comparison.CompareText(a, b);
    }
    const bool sameKind = m_a.GetDocument().Index().bare == m_b.GetDocument().Index().bare;
    if (sameBytes || !sameKind || !Has(Aspect::kStructure)) return;
    CompareWords(m_tagsA.OfPage(pair.a), m_tagsB.OfPage(pair.b), Aspect::kStructure, "tag",
                 pair.differences);
    comparison.CompareFields(m_a.ReadFields(pair.a), m_b.ReadFields(pair.b), "fields of the page");
  }

  void CompareRest(std::vector<Difference>& to) {
    if (Has(Aspect::kPictures)) to = m_ownPictures;
    if (!Has(Aspect::kStructure)) return;
    const PageIndex& a = m_a.GetDocument().Index();
    const PageIndex& b = m_b.GetDocument().Index();
    if (a.bare != b.bare) {
      const auto words = [](const PageIndex& index) {
        return std::string(index.bare ? "bare images" : "a document");
      };
      to.push_back({Aspect::kStructure, "it is " + words(a) + " | " + words(b)});
      return;
    }
    CompareWords(m_tagsA.Groups(), m_tagsB.Groups(), Aspect::kStructure, "group", to);
    PairComparison(m_a, m_b, to).CompareFields(m_outsideA, m_outsideB, "fields outside of pages");
  }

  const CompareOptions& m_options;
  ComparedDocument m_a, m_b;
  TagLists m_tagsA, m_tagsB;
  Workers m_workers;
  std::vector<int> m_pagesA, m_pagesB;
  std::vector<FieldToken> m_outsideA, m_outsideB;
  std::vector<Difference> m_ownPictures;  // of pictures on no page
  bool m_sameOutside = false;
  std::atomic<bool> m_noMemory = false;
};

}  // namespace

Outcome CompareDocuments(const Document& a, const Document& b, const CompareOptions& options,
                         const TakeComparedPages& take, CompareSummary& summary) try {
  return Comparing(a, b, options).Run(take, summary);
} catch (const std::bad_alloc&) {
  return Failure(K_ERROR_NO_MEMORY);
}

}  // namespace kz
