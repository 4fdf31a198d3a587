// Documents made from the pages of others.
//
// Pages are copied as they are, by the kernel where it can, and memory doesn't grow
// with their size. Three things are changed where the document needs it:
//  - A document all of whose fields have the byte 0x5A before them, or none of whose
//    fields has, stays so: pages from elsewhere gain or lose that byte.
//  - A page that relies on a resource group brings the group along, which then stands
//    before Begin Document. If images are all that it includes from there, they are
//    put into the page instead, so that image and page stay together.
//  - The image of a bare IOCA file gets a page around it.
// Two different resource groups can't stand in one document: that fails.
#pragma once

#include <string>
#include <vector>

#include "Host/Kernel/Export.h"
#include "Host/Toolkit/Outcome.h"
#include "Host/Toolkit/PageIndex.h"

namespace kz {

// A page of an indexed file, counted from 1. The index must outlive it.
struct PagePick {
  const PageIndex* source;
  int page;
};

// The functions write `out` completely or leave what was there; it may be one of the
// files that are read. What stands before the first page, between pages and behind
// the last stays in place. They fail with -9 for pages that aren't there and for what
// can't be (the words say why), -7 when a file has changed since it was indexed, -4
// for a result beyond 2 GiB, -14 or -5 when `out` can't be written.

// Inserts the pages behind a page of the target; 0: before the first.
K_EXPORT Outcome InsertPages(const PageIndex& target, int after, const std::vector<PagePick>& pages,
                             const std::string& out);
// Puts the pages in the place of a page of the target.
K_EXPORT Outcome ReplacePage(const PageIndex& target, int page, const std::vector<PagePick>& pages,
                             const std::string& out);
// Removes pages, named in any order. One at least must stay.
K_EXPORT Outcome DeletePages(const PageIndex& target, const std::vector<int>& pages,
                             const std::string& out);
// Removes the second page with the filter's own operation, which also takes what
// stands between it and the first.
K_EXPORT Outcome DeleteSecondPage(const PageIndex& target);
// Makes a document of the pages in their order. The first document among them gives
// what stands before and behind the pages; bare images alone get a new document. What
// stands between two pages stays if both stay neighbours, but page groups only if
// the document's pages come first and complete.
K_EXPORT Outcome AssembleDocument(const std::vector<PagePick>& pages, const std::string& out);
// The same, written at the position of a descriptor, which may be a pipe.
K_EXPORT Outcome AssembleDocument(const std::vector<PagePick>& pages, int descriptor);
// Makes a file of one page: a document, or a copy of a bare image.
K_EXPORT Outcome SplitPage(const PageIndex& index, int page, const std::string& out);

}  // namespace kz
