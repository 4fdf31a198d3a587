// Which pages of a document are meant: by their numbers, by the page groups that they
// are in, and by the tags that they or their groups have. Blanks at the end of names and
// values don't count.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/PageIndex.h"
#include "Toolkit/Documents/PageRange.h"

namespace kz {

class K_EXPORT Selection {
 public:
  // Pages by their numbers, as PageRange reads them; -9 for what it doesn't.
  Outcome SetPages(std::string_view pages);
  // Pages in a group of this name.
  void AddGroup(std::string name);
  // Pages with a tag, NAME=VALUE, of their own or of a group that they are in; -9 for a
  // text without `=`.
  Outcome AddTag(std::string_view tag);

  // Nothing was asked for: all pages are meant.
  bool IsEmpty() const { return !m_numbered && m_groups.empty() && m_tags.empty(); }
  // Whether it can't be but a single page, whatever the document.
  bool IsSinglePage() const { return m_numbered && m_range.IsSinglePage(); }

  // The page numbers: those that any of the groups and tags names, in the document's
  // order; of numbered pages those that are among them, in the order given. Fails with
  // -9 for a document without pages, for a page, group or tag that isn't there, and when
  // nothing is left.
  Outcome Resolve(const PageIndex& index, std::vector<int>& pages) const;

 private:
  bool m_numbered = false;
  PageRange m_range;
  std::vector<std::string> m_groups;
  std::vector<std::pair<std::string, std::string>> m_tags;
};

}  // namespace kz
