#include "Toolkit/View/Comparison/PairComparison.h"

#include <algorithm>

#include "Format/StructuredField.h"
#include "Toolkit/View/Comparison/Alignment/SequenceDiff.h"

namespace kz {

namespace {

// A text in quotes, of so many bytes at most.
std::string Quoted(const std::string& text) {
  constexpr size_t most = 60;
  if (text.size() <= most) return '"' + text + '"';
  size_t end = most;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return '"' + text.substr(0, end) + "...\"";
}

std::string Count(size_t count, const std::string& noun) {
  return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string TokenWords(const std::vector<FieldToken>& tokens, size_t at) {
  if (at >= tokens.size()) return "the end";
  const FieldToken& token = tokens[at];
  const std::string what = token.code == 0 ? "bytes that are no field" : FieldWords(token.code);
  return what + " at byte " + std::to_string(token.offset);
}

}  // namespace

void PairComparison::Add(Aspect aspect, std::string what) {
  m_to.push_back({aspect, std::move(what)});
}

void PairComparison::CompareSizes(const SeenPage& a, const SeenPage& b) {
  if (SameLength(a.width, b.width) && SameLength(a.height, b.height)) return;
  Add(Aspect::kPages, "its size: " + SizeWords(a.width, a.height) + " | " +
                          SizeWords(b.width, b.height) + " points");
}

void PairComparison::CompareText(const SeenPage& a, const SeenPage& b) {
  const auto hashes = [](const SeenPage& page) {
    std::vector<ContentHash> all;
    for (const SeenLine& line : page.lines) all.push_back(HashOf(line.text));
    return all;
  };
  const std::vector<CommonStretch> common = FindCommon(hashes(a), hashes(b));
  size_t told = 0, more = 0;
  const auto tell = [&](const std::string& what) {
    if (++told > kMostTold) {
      ++more;
    } else {
      Add(Aspect::kText, what);
    }
  };
  for (const DiffGap& gap : GapsBetween(common, a.lines.size(), b.lines.size())) {
    const size_t pairs = std::min(gap.countA, gap.countB);
    const auto line = [](size_t number) { return "line " + std::to_string(number + 1) + ": "; };
    for (size_t i = 0; i < pairs; ++i) {
      tell(line(gap.a + i) + Quoted(a.lines[gap.a + i].text) + " | " +
           Quoted(b.lines[gap.b + i].text));
    }
    for (size_t i = pairs; i < gap.countA; ++i) {
      tell(line(gap.a + i) + Quoted(a.lines[gap.a + i].text) + " only in the first file");
    }
    for (size_t i = pairs; i < gap.countB; ++i) {
      tell(line(gap.b + i) + Quoted(b.lines[gap.b + i].text) + " only in the second file");
    }
  }
  if (more > 0) Add(Aspect::kText, Count(more, "more line"));
  // Of lines with the same words: one that stands elsewhere, one that looks different.
  size_t moved = 0, restyled = 0;
  std::string firstMove, firstStyle;
  for (const CommonStretch& one : common) {
    for (size_t i = 0; i < one.count; ++i) {
      const SeenLine& x = a.lines[one.a + i];
      const SeenLine& y = b.lines[one.b + i];
      if ((!SameLength(x.x, y.x) || !SameLength(x.y, y.y)) && ++moved == 1) {
        firstMove = Quoted(x.text) + " at " + PlaceWords(x.x, x.y) + " | " + PlaceWords(y.x, y.y);
      }
      if (x.style != y.style && ++restyled == 1) {
        firstStyle = Quoted(x.text) + " in " + x.style + " | " + y.style;
      }
    }
  }
  const auto summed = [](size_t count, const std::string& first) {
    return first + (count > 1 ? ", and " + Count(count - 1, "more line") : "");
  };
  if (moved > 0) Add(Aspect::kText, summed(moved, firstMove));
  if (restyled > 0) Add(Aspect::kText, summed(restyled, firstStyle));
  CompareWords(a.marks, b.marks, Aspect::kText, "rule or box", m_to);
}

void PairComparison::CompareFields(const std::vector<FieldToken>& a,
                                   const std::vector<FieldToken>& b, const char* place) {
  const auto hashes = [](const std::vector<FieldToken>& tokens) {
    std::vector<ContentHash> all;
    all.reserve(tokens.size());
    for (const FieldToken& token : tokens) all.push_back(token.hash);
    return all;
  };
  const std::vector<DiffGap> gaps =
      GapsBetween(FindCommon(hashes(a), hashes(b)), a.size(), b.size());
  if (gaps.empty()) return;
  size_t onlyA = 0, onlyB = 0;
  for (const DiffGap& gap : gaps) {
    onlyA += gap.countA;
    onlyB += gap.countB;
  }
  Difference difference;
  difference.aspect = Aspect::kStructure;
  const DiffGap& first = gaps.front();
  if (first.a < a.size()) difference.offsetA = a[first.a].offset;
  if (first.b < b.size()) difference.offsetB = b[first.b].offset;
  difference.what = std::string(place) + ": they differ from " + TokenWords(a, first.a) + " | " +
                    TokenWords(b, first.b) + ": ";
  if (onlyA > 0) difference.what += Count(onlyA, "field") + " only in the first file";
  if (onlyA > 0 && onlyB > 0) difference.what += ", ";
  if (onlyB > 0) difference.what += Count(onlyB, "field") + " only in the second file";
  m_to.push_back(std::move(difference));
}

void CompareWords(const std::vector<std::string>& a, const std::vector<std::string>& b,
                  Aspect aspect, const std::string& noun, std::vector<Difference>& to) {
  if (a == b) return;
  const auto hashes = [](const std::vector<std::string>& words) {
    std::vector<ContentHash> all;
    all.reserve(words.size());
    for (const std::string& one : words) all.push_back(HashOf(one));
    return all;
  };
  size_t told = 0;
  const auto tell = [&](const std::string& what, const char* where) {
    if (++told <= kMostTold) to.push_back({aspect, noun + ": " + Quoted(what) + where});
  };
  for (const DiffGap& gap : GapsBetween(FindCommon(hashes(a), hashes(b)), a.size(), b.size())) {
    for (size_t i = 0; i < gap.countA; ++i) tell(a[gap.a + i], " only in the first file");
    for (size_t i = 0; i < gap.countB; ++i) tell(b[gap.b + i], " only in the second file");
  }
  if (told > kMostTold)
    to.push_back({aspect, noun + ": " + std::to_string(told - kMostTold) + " more"});
}

TagLists::TagLists(const PageIndex& index) : m_index(index), m_byPage(index.tags.size()) {
  for (size_t i = 0; i < m_byPage.size(); ++i) m_byPage[i] = static_cast<uint32_t>(i);
  std::stable_sort(m_byPage.begin(), m_byPage.end(),
                   [&](uint32_t x, uint32_t y) { return index.tags[x].page < index.tags[y].page; });
}

std::vector<std::string> TagLists::OfPage(int page) const {
  const auto begin =
      std::lower_bound(m_byPage.begin(), m_byPage.end(), page,
                       [&](uint32_t tag, int wanted) { return m_index.tags[tag].page < wanted; });
  std::vector<std::string> words;
  for (auto at = begin; at != m_byPage.end() && m_index.tags[*at].page == page; ++at) {
    words.push_back(m_index.tags[*at].name + "=" + m_index.tags[*at].value);
  }
  return words;
}

std::vector<std::string> TagLists::Groups() const {
  std::vector<std::string> words;
  for (const IndexedGroup& group : m_index.groups) words.push_back(group.name);
  for (const uint32_t number : m_byPage) {
    const IndexedTag& tag = m_index.tags[number];
    if (tag.page != 0) break;
    std::string own = tag.name + "=" + tag.value;
    if (tag.group == kNoIndex) {
      words.push_back(std::move(own));
    } else {
      words[tag.group] += ", " + own;
    }
  }
  return words;
}

}  // namespace kz
