#include "Toolkit/Documents/PageIndex.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <string_view>

#include "Format/FieldScan.h"
#include "Toolkit/Documents/FieldSearch.h"
#include "Toolkit/Documents/Indexer.h"
#include "Toolkit/Files/FileWindow.h"

namespace kz {

namespace {

// How deep included resources may include others.
constexpr int kMaxDepth = 8;
// How far from the start a document is looked for in a file that doesn't begin as one.
constexpr int64_t kSearchedStart = int64_t{8} * 1024 * 1024;

Outcome FindContainer(FileWindow& file, Container& container) {
  if (file.Size() == 0) return Failure(K_ERROR_READ, "the file is empty");
  const auto count = static_cast<size_t>(std::min<int64_t>(file.Size(), kIntroducerRoom));
  const unsigned char* bytes = file.At(0, count);
  const ByteSpan start(bytes, bytes != nullptr ? count : 0);
  if (StartsBareSegment(start)) {
    container = Container::Ioca;
  } else if (!StartsStructuredField(start)) {
    return Failure(K_ERROR_INVALID_FORMAT, "this is neither an IOCA image nor a MO:DCA document");
  } else {
    container = start[0] == kCarriageControl ? Container::ModcaCarriageControl : Container::Modca;
  }
  return {};
}

// Looks for a document whose beginning is damaged. Returns the fault if there is none.
Outcome FindDocument(FileWindow& file, Container& container, const Outcome& fault) {
  const int64_t first = FieldSearch(file).Find(0, kSearchedStart);
  const unsigned char* start = first < file.Size() ? file.At(first, 1) : nullptr;
  if (start == nullptr) return fault;
  container = *start == kCarriageControl ? Container::ModcaCarriageControl : Container::Modca;
  return {};
}

// Gathers what is shown, however often resources include each other.
class ShownPictures {
 public:
  explicit ShownPictures(const PageIndex& index) : m_index(index) {}

  void Add(const uint32_t* from, const uint32_t* to, int depth = 0) {
    for (; from < to && m_steps < PageIndex::kMostShown; ++from) {
      ++m_steps;
      const bool include = (*from & PageIndex::kInclude) != 0;
      const uint32_t resource =
          include ? m_index.includes[*from & ~PageIndex::kInclude].resource : kNoIndex;
      if (resource == kNoIndex) m_shown.push_back(*from);
      if (resource == kNoIndex || depth == kMaxDepth) continue;
      const std::vector<uint32_t>& shown = m_index.resources[resource].shown;
      Add(shown.data(), shown.data() + shown.size(), depth + 1);
    }
  }
  std::vector<uint32_t> Take() { return std::move(m_shown); }

 private:
  const PageIndex& m_index;
  std::vector<uint32_t> m_shown;
  size_t m_steps = 0;
};

std::vector<int> PicturesAmong(const std::vector<uint32_t>& shown) {
  std::vector<int> numbers;
  for (const uint32_t what : shown) {
    if ((what & PageIndex::kInclude) == 0) numbers.push_back(static_cast<int>(what) + 1);
  }
  return numbers;
}

}  // namespace

const char* PictureKindName(PictureKind kind) {
  switch (kind) {
    case PictureKind::Ioca:
      return "IOCA image";
    case PictureKind::Im1:
      return "IM1 image";
    case PictureKind::Jpeg:
      return "JPEG file";
    case PictureKind::Tiff:
      return "TIFF file";
  }
  return "";
}

std::string ResourceKindName(uint16_t code) {
  const StructuredFieldRow* row = FindStructuredField(code);
  std::string_view words = row != nullptr ? row->words : "Begin Resource";
  constexpr std::string_view begin = "Begin ";
  if (words.starts_with(begin)) words.remove_prefix(begin.size());
  std::string name(words);
  const auto isCapital = [](char c) { return c >= 'A' && c <= 'Z'; };
  for (size_t i = 0; i < name.size(); ++i) {
    const bool acronym =
        (i > 0 && isCapital(words[i - 1])) || (i + 1 < words.size() && isCapital(words[i + 1]));
    if (isCapital(words[i]) && !acronym) name[i] = static_cast<char>(name[i] - 'A' + 'a');
  }
  return name;
}

ByteRange PageIndex::Head() const {
  return {0, pages.empty() ? plainHeadEnd : pages.front().bytes.begin};
}

ByteRange PageIndex::Tail() const {
  return {pages.empty() ? plainHeadEnd : pages.back().bytes.end, Size()};
}

std::vector<int> PageIndex::PicturesOf(int page) const { return PicturesAmong(ShownOn(page)); }

std::vector<int> PageIndex::PicturesOfResource(uint32_t resource) const {
  ShownPictures inResource(*this);
  const std::vector<uint32_t>& list = resources[resource].shown;
  inResource.Add(list.data(), list.data() + list.size());
  return PicturesAmong(inResource.Take());
}

std::vector<uint32_t> PageIndex::ShownOn(int page) const {
  ShownPictures onPage(*this);
  if (page < 1 || static_cast<size_t>(page) > pages.size()) return {};
  const auto at = static_cast<size_t>(page);
  const size_t end = at < pages.size() ? pages[at].firstShown : shown.size();
  onPage.Add(shown.data() + pages[at - 1].firstShown, shown.data() + end);
  return onPage.Take();
}

std::vector<std::vector<int>> PageIndex::PagesOfPictures() const {
  std::vector<std::vector<int>> lists(pictures.size());
  // Each page has room for what is its own.
  size_t room = kMostShownInAll + shown.size();
  for (int page = 1; page <= static_cast<int>(pages.size()) && room > 0; ++page) {
    for (const int picture : PicturesOf(page)) {
      if (room == 0) break;
      --room;
      std::vector<int>& list = lists[static_cast<size_t>(picture) - 1];
      if (list.empty() || list.back() != page) list.push_back(page);
    }
  }
  return lists;
}

std::vector<int> PageIndex::PagesShowing(int picture) const {
  const int own = pictures[static_cast<size_t>(picture) - 1].page;
  if (own > 0) return {own};
  std::vector<int> list;
  for (int page = 1; page <= static_cast<int>(pages.size()); ++page) {
    const std::vector<int> on = PicturesOf(page);
    if (std::find(on.begin(), on.end(), picture) != on.end()) list.push_back(page);
  }
  return list;
}

std::vector<IncludedName> PageIndex::Missing() const {
  std::vector<IncludedName> missing;
  std::set<std::string_view> names;
  for (const IncludedName& include : includes) {
    if (include.resource == kNoIndex && names.insert(include.name).second) {
      missing.push_back(include);
    }
  }
  return missing;
}

std::string PageIndex::PageWords(int page) const { return PageWords(std::vector<int>{page}); }

std::string PageIndex::PageWords(const std::vector<int>& of) const {
  bool text = false;
  bool drawings = false;
  size_t count = 0;
  for (const int page : of) {
    const IndexedPage& at = pages[static_cast<size_t>(page) - 1];
    text |= at.hasText;
    drawings |= at.hasDrawings;
    count += PicturesOf(page).size();
  }
  std::string words = text ? "text, " : "";
  if (drawings) words += "drawings, ";
  if (count == 0) return words.empty() ? "nothing" : words + "no picture";
  return words + (count == 1 ? "one picture" : std::to_string(count) + " pictures");
}

std::string PageIndex::InsteadOfPictures(const std::vector<int>& of) const {
  constexpr std::string_view none = ", no picture";
  const std::string holds = PageWords(of);
  std::string_view words = holds;
  if (words.ends_with(none)) words.remove_suffix(none.size());
  return words == "nothing" ? ", nor anything else" : std::string(": ").append(words);
}

std::vector<int> PageIndex::AllPages() const {
  std::vector<int> all(pages.size());
  std::iota(all.begin(), all.end(), 1);
  return all;
}

Outcome FindContainer(const std::string& file, Container& container) {
  FileWindow window;
  const Outcome outcome = window.Open(file);
  return outcome.Ok() ? FindContainer(window, container) : outcome;
}

Outcome IndexFile(const std::string& file, PageIndex& index) {
  FileWindow window;
  Outcome outcome = window.Open(file);
  return outcome.Ok() ? IndexFile(window, file, index) : outcome;
}

Outcome IndexFile(FileWindow& window, const std::string& name, PageIndex& index) {
  PageIndex result;
  result.file = name;
  result.found = window.Found();
  Outcome outcome = FindContainer(window, result.container);
  if (outcome.status == K_ERROR_INVALID_FORMAT)
    outcome = FindDocument(window, result.container, outcome);
  if (!outcome.Ok()) return outcome;
  Indexer(window, result).Run();
  if (window.Failed()) return Failure(K_ERROR_READ);
  index = std::move(result);
  return {};
}

Outcome IndexPages(const std::string& file, PageIndex& index) {
  PageIndex result;
  Outcome outcome = IndexFile(file, result);
  if (outcome.Ok()) outcome = result.structure;
  if (outcome.Ok()) index = std::move(result);
  return outcome;
}

}  // namespace kz
