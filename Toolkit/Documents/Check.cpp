#include "Toolkit/Documents/Check.h"

#include "Toolkit/Documents/PageIndex.h"

namespace kz {

namespace {

CheckResult CheckPage(const Document& document, int page, const LoadOptions& options) {
  Bitmap bitmap;
  return {page, document.Pages(), document.LoadPage(page, options, bitmap)};
}

}  // namespace

Outcome CheckFile(const std::string& file, const LoadOptions& options,
                  const std::function<void(const CheckResult&)>& report) {
  CheckResult whole{0, 0, {}};
  Outcome first;
  Document document(file);
  const Outcome found = document.Index();
  whole.pages = document.Pages();
  for (int page = 1; page <= whole.pages; ++page) {
    const CheckResult result = CheckPage(document, page, options);
    if (first.Ok()) first = result.outcome;
    report(result);
  }

  whole.outcome = found.Ok() ? document.Structure() : found;
  PageIndex index;
  const Outcome indexed = IndexPages(file, index);
  if (indexed.status == K_ERROR_READ && whole.outcome.Ok()) {
    whole.outcome = indexed;
  } else if (!indexed.Ok() && whole.outcome.Ok()) {
    whole.outcome.warnings.push_back("its pages can't be edited: " + indexed.what);
  }
  const std::string note = index.NumberingNote();
  if (!note.empty()) whole.outcome.warnings.push_back(note);
  if (first.Ok()) first = whole.outcome;
  report(whole);
  return first;
}

}  // namespace kz
