#include "Toolkit/Documents/PageRange.h"

#include <charconv>
#include <cstdlib>
#include <string>
#include <utility>

namespace kz {

namespace {

// Takes a page number off the front of the text; 0 for `z`, -1 when there is none.
int TakeNumber(std::string_view& text) {
  if (text.starts_with('z')) {
    text.remove_prefix(1);
    return 0;
  }
  int number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  if (result.ec != std::errc() || number < 1) return -1;
  text.remove_prefix(static_cast<size_t>(result.ptr - text.data()));
  return number;
}

}  // namespace

Outcome PageRange::Parse(std::string_view text) {
  std::string what = "'";
  what.append(text).append("' names no ").append(m_noun).append("s; write 2, 1,3-5, 9- or z");
  Outcome refused = Failure(K_ERROR_INVALID_FORMAT, std::move(what));
  std::vector<Part> parts;
  do {
    if (!parts.empty()) text.remove_prefix(1);
    Part part{};
    part.first = part.last = TakeNumber(text);
    if (part.first < 0) return refused;
    if (text.starts_with('-')) {
      text.remove_prefix(1);
      part.last = text.empty() || text.front() == ',' ? kLast : TakeNumber(text);
      if (part.last < 0) return refused;
    }
    parts.push_back(part);
  } while (text.starts_with(','));
  if (!text.empty()) return refused;
  m_parts = std::move(parts);
  return {};
}

bool PageRange::IsSinglePage() const {
  return m_parts.size() == 1 && m_parts[0].first == m_parts[0].last;
}

bool PageRange::NeedsPageCount() const {
  // A range is bounded by the file's pages, whatever it says.
  for (const Part& part : m_parts) {
    if (part.first == kLast || part.first != part.last) return true;
  }
  return false;
}

Outcome PageRange::Resolve(int pages, std::vector<int>& numbers) const {
  numbers.clear();
  for (const Part& part : m_parts) {
    const int first = part.first == kLast ? pages : part.first;
    const int last = part.last == kLast ? pages : part.last;
    for (const int page : {first, last}) {
      if (pages > 0 && page > pages) {
        const auto numbered = [&](int number) {
          return std::string(m_noun).append(" ").append(std::to_string(number));
        };
        return Failure(K_ERROR_INVALID_FORMAT,
                       "there is no " + numbered(page) + ", the last is " + numbered(pages));
      }
    }
    const int step = last < first ? -1 : 1;
    for (int page = first; page != last; page += step) numbers.push_back(page);
    numbers.push_back(last);
  }
  return {};
}

}  // namespace kz
