#include "Host/Toolkit/Check.h"

#include "Host/Toolkit/PageIndex.h"

namespace kz {

namespace {

CheckResult CheckPage(const std::string& file, int page, int pages, const LoadOptions& options) {
  CheckResult result{page, pages, {}, {}};
  Bitmap bitmap;
  LoadReport loaded;
  result.outcome = LoadPage(file, page, options, bitmap, &loaded);
  result.warnings = std::move(loaded.warnings);
  return result;
}

}  // namespace

Outcome CheckFile(const std::string& file, const LoadOptions& options,
                  const std::function<void(const CheckResult&)>& report) {
  CheckResult whole{0, 0, {}, {}};
  Outcome first;
  PageInfo info;
  const Outcome described = DescribePage(file, 1, true, info);
  whole.pages = described.Ok() ? info.pages : 0;
  for (int page = 1; page <= whole.pages; ++page) {
    const CheckResult result = CheckPage(file, page, whole.pages, options);
    if (first.Ok()) first = result.outcome;
    report(result);
  }

  whole.outcome = described.Ok() ? info.structure : described;
  PageIndex index;
  const Outcome indexed = IndexPages(file, index);
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
