// Two documents and the difference between them, to be looked at.
#pragma once

#include <memory>
#include <string>

#include "Host/Kernel/Export.h"
#include "Toolkit/View/Comparison/Comparison.h"

namespace kz {

struct VisualOptions {
  bool all = false;      // show pages that are the same too
  double dpi = 80;       // of the pages
  unsigned threads = 0;  // 0: as many as there are processors
  LoadOptions load = {};
  std::string nameA = {};  // what the files are called
  std::string nameB = {};
};

// Shows compared pages side by side in one html file without scripts that needs nothing else: what
// was removed in one colour, what was added in another, on a grey of what is common.
class K_EXPORT VisualComparison {
 public:
  // Pages that are shown; how many more there are is said.
  static constexpr int kMostShown = 1000;

  // The documents must stay and be open.
  VisualComparison(const Document& a, const Document& b, VisualOptions options);
  ~VisualComparison();
  VisualComparison(const VisualComparison&) = delete;
  VisualComparison& operator=(const VisualComparison&) = delete;

  // Takes the next pages, as CompareDocuments gives them.
  void Add(const ComparedPages& pages);
  // Draws the pages on several threads, with two in memory for each, and writes the file, whole
  // or not at all. A page that can't be drawn says so in its place. Fails with -14 and -5 when
  // the file can't be written, -1 for no memory.
  Outcome Write(const std::string& out, const CompareSummary& summary);

 private:
  class Shared;
  std::unique_ptr<Shared> m_shared;
};

}  // namespace kz
