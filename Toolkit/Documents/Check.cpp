#include "Toolkit/Documents/Check.h"

#include "Toolkit/Documents/Document.h"

namespace kz {

Outcome CheckFile(const std::string& file, const LoadOptions& options,
                  const std::function<void(const CheckResult&)>& report) {
  Document document(file);
  CheckResult whole;
  whole.outcome = document.Open();
  whole.pictures = document.Pictures();
  Outcome first;
  for (int picture = 1; picture <= whole.pictures; ++picture) {
    Bitmap bitmap;
    const CheckResult result{picture, whole.pictures,
                             document.LoadPicture(picture, options, bitmap)};
    if (first.Ok()) first = result.outcome;
    report(result);
  }
  const Outcome& structure = document.Index().structure;
  if (whole.outcome.Ok() && !structure.Ok()) {
    if (structure.status == K_ERROR_READ || !document.Index().skipped.empty()) {
      whole.outcome = structure;
    } else {
      whole.outcome.warnings.push_back("its pages can't be edited: " + structure.what);
    }
  }
  if (first.Ok()) first = whole.outcome;
  report(whole);
  return first;
}

}  // namespace kz
