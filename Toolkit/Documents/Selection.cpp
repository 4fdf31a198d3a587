#include "Toolkit/Documents/Selection.h"

#include <utility>

namespace kz {

namespace {

Outcome Nothing(std::string what) { return Failure(K_ERROR_INVALID_FORMAT, std::move(what)); }

// Without the blanks that names and values are padded with.
std::string_view Unpadded(std::string_view text) {
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

// Pages that are marked in stretches, which may overlap: +1 where one begins, -1 past
// its end.
class MarkedPages {
 public:
  explicit MarkedPages(size_t pages) : m_steps(pages + 2) {}
  void Mark(int first, int count) {
    if (count < 1) return;
    ++m_steps[static_cast<size_t>(first)];
    --m_steps[static_cast<size_t>(first) + static_cast<size_t>(count)];
    m_any = true;
  }
  // Whether any were since the last call.
  bool TakeAny() { return std::exchange(m_any, false); }
  // By page number.
  std::vector<bool> Result() const {
    std::vector<bool> marked(m_steps.size());
    int open = 0;
    for (size_t page = 1; page < m_steps.size(); ++page) {
      open += m_steps[page];
      marked[page] = open > 0;
    }
    return marked;
  }

 private:
  std::vector<int> m_steps;
  bool m_any = false;
};

}  // namespace

Outcome Selection::SetPages(std::string_view pages) {
  Outcome outcome = m_range.Parse(pages);
  m_numbered |= outcome.Ok();
  return outcome;
}

void Selection::AddGroup(std::string name) { m_groups.push_back(std::move(name)); }

Outcome Selection::AddTag(std::string_view tag) {
  const size_t sign = tag.find('=');
  if (sign == std::string_view::npos) {
    std::string what = "'";
    return Nothing(what.append(tag).append("' is no tag; write NAME=VALUE"));
  }
  m_tags.emplace_back(tag.substr(0, sign), tag.substr(sign + 1));
  return {};
}

Outcome Selection::Resolve(const PageIndex& index, std::vector<int>& pages) const {
  pages.clear();
  const int count = static_cast<int>(index.pages.size());
  if (count == 0) return Nothing("the document has no pages");
  std::vector<int> numbers;
  PageRange range = m_range;
  Outcome outcome = m_numbered ? Outcome{} : range.Parse("1-z");
  if (outcome.Ok()) outcome = range.Resolve(count, numbers);
  if (!outcome.Ok()) return outcome;
  if (m_groups.empty() && m_tags.empty()) {
    pages = std::move(numbers);
    return {};
  }

  MarkedPages marks(index.pages.size());
  const auto markGroup = [&](const IndexedGroup& group) {
    marks.Mark(group.firstPage, group.pages);
  };
  for (const std::string& name : m_groups) {
    bool known = false;
    for (const IndexedGroup& group : index.groups) {
      if (Unpadded(group.name) != Unpadded(name)) continue;
      known = true;
      markGroup(group);
    }
    if (!known) return Nothing("there is no group " + name);
    if (!marks.TakeAny()) return Nothing("the group " + name + " has no pages");
  }
  for (const auto& [name, value] : m_tags) {
    for (const IndexedTag& tag : index.tags) {
      if (Unpadded(tag.name) != Unpadded(name) || Unpadded(tag.value) != Unpadded(value)) continue;
      if (tag.page > 0) {
        marks.Mark(tag.page, 1);
      } else if (tag.group != kNoIndex) {
        markGroup(index.groups[tag.group]);
      }
    }
    if (!marks.TakeAny())
      return Nothing(std::string("no page has the tag ").append(name).append("=").append(value));
  }
  const std::vector<bool> marked = marks.Result();
  for (const int page : numbers) {
    if (marked[static_cast<size_t>(page)]) pages.push_back(page);
  }
  return pages.empty() ? Nothing("none of the pages named is in the groups or has the tags named")
                       : Outcome{};
}

}  // namespace kz
