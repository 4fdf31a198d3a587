// Edits of documents, and documents made from the pages of others.
//
// Pages are copied as they are, by the kernel where it can. Three things are changed
// where the document needs it:
//  - A document all of whose fields have the byte 0x5A before them, or none of whose
//    fields has, stays so: pages from elsewhere gain or lose that byte.
//  - A page that relies on a resource group brings the group along, which then stands
//    before Begin Document. If images are all that it includes from there, they are
//    put into the page instead, so that image and page stay together.
//  - The image of a bare IOCA file gets a page around it.
// Pages from elsewhere bring their page groups along (see AssembleDocument).
// Two different resource groups can't stand in one document: that fails.
#pragma once

#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Toolkit/Editing/DocumentEdit.h"

namespace kz {

// A page of an indexed file, counted from 1. The index must outlive it.
struct PagePick {
  const PageIndex* source;
  int page;
};

// All pages of a file, in their order.
K_EXPORT std::vector<PagePick> AllPages(const PageIndex& index);

// The edits: WriteDocument carries them out. What stands before the first page,
// between pages and after the last stays in place. They refuse, with -9, pages that
// aren't there, and a bare IOCA file as target.

// Inserts the pages after a page of the target; 0: before the first.
K_EXPORT DocumentEdit InsertPages(const PageIndex& target, int after,
                                  const std::vector<PagePick>& pages);
// Puts the pages after all others, outside of the target's page groups.
K_EXPORT DocumentEdit AppendPages(const PageIndex& target, const std::vector<PagePick>& pages);
// Puts the pages in the place of a page of the target.
K_EXPORT DocumentEdit ReplacePage(const PageIndex& target, int page,
                                  const std::vector<PagePick>& pages);
// Removes pages, named in any order. One at least must stay.
K_EXPORT DocumentEdit DeletePages(const PageIndex& target, const std::vector<int>& pages);
// Makes a document of the pages in their order. The first document among them gives
// what stands before and after the pages; bare images alone get a new document. Page
// groups stay around those of their pages that stand together, with what stands before
// the first and after the last page of the group: its tags, for instance. What stands
// between two pages stays if both stay neighbours. Groups that nothing ends are left.
K_EXPORT DocumentEdit AssembleDocument(const std::vector<PagePick>& pages);
// Makes a file of some pages of one: such a document, or a copy of a bare image.
K_EXPORT DocumentEdit SplitPages(const PageIndex& index, const std::vector<int>& pages);
K_EXPORT DocumentEdit SplitPage(const PageIndex& index, int page);

// Writes all pages of an indexed file into a document, over its End Document, which
// follows them then: the cost is that of the pages, however long the document is, and
// nothing else of it is looked at. The pages' fields are taken as they are. Fails with
// -9 for a file that doesn't end with End Document, -14 when it can't be written, -7 or
// -5 when copying fails; the document is what it was then, but not after a crash.
K_EXPORT Outcome AppendInPlace(const std::string& file, const PageIndex& pages);

}  // namespace kz
