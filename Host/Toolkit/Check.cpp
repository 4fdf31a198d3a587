#include "Host/Toolkit/Check.h"

#include <sys/mman.h>

#include "Host/Toolkit/Assemble.h"
#include "Host/Toolkit/Descriptor.h"

namespace kz {

namespace {

// Loads pages for a check. A load from a document passes over all pages before its
// own; one page taken out alone keeps a check of many pages from taking ages.
class PageChecker {
 public:
  PageChecker(const std::string& file, const PageIndex& index, const LoadOptions& options)
      : m_file(file), m_index(index), m_options(options) {}

  CheckResult Check(int page, int pages) const {
    CheckResult result{page, pages, {}, {}};
    // Offsets in the words must be those of the document.
    if (!LoadAlone(page, result)) result.outcome = Load(m_file, page, result.warnings);
    return result;
  }

 private:
  Outcome Load(const std::string& file, int page, std::vector<std::string>& warnings) const {
    Bitmap bitmap;
    LoadReport loaded;
    Outcome outcome = LoadPage(file, page, m_options, bitmap, &loaded);
    warnings = std::move(loaded.warnings);
    return outcome;
  }

  bool LoadAlone(int page, CheckResult& result) const {
    if (m_index.pages.size() < 2 || !m_index.PagesAreImages()) return false;
    const OwnedDescriptor alone(::memfd_create("page", MFD_CLOEXEC));
    if (alone.Get() < 0 || !AssembleDocument({{&m_index, page}}, alone.Get()).Ok()) return false;
    const std::string name = "/proc/self/fd/" + std::to_string(alone.Get());
    result.outcome = Load(name, 1, result.warnings);
    return result.outcome.Ok();
  }

  const std::string& m_file;
  const PageIndex& m_index;
  const LoadOptions& m_options;
};

}  // namespace

Outcome CheckFile(const std::string& file, const LoadOptions& options,
                  const std::function<void(const CheckResult&)>& report) {
  CheckResult whole{0, 0, {}, {}};
  Outcome first;
  PageInfo info;
  const Outcome described = DescribePage(file, 1, true, info);
  PageIndex index;
  const Outcome indexed = IndexPages(file, index);
  whole.pages = described.Ok() ? info.pages : 0;
  const PageChecker checker(file, index, options);
  for (int page = 1; page <= whole.pages; ++page) {
    const CheckResult result = checker.Check(page, whole.pages);
    if (first.Ok()) first = result.outcome;
    report(result);
  }

  whole.outcome = described.Ok() ? info.structure : described;
  if (!indexed.Ok() && whole.outcome.Ok()) {
    whole.warnings.push_back("its pages can't be edited: " + indexed.what);
  }
  const std::string note = index.NumberingNote();
  if (!note.empty()) whole.warnings.push_back(note);
  if (first.Ok()) first = whole.outcome;
  report(whole);
  return first;
}

}  // namespace kz
