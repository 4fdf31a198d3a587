// Documents and their pages on the command line: what the commands share that work
// with whole pages.
#pragma once

#include <string>
#include <vector>

#include "Host/Toolkit/Assemble.h"
#include "Host/Toolkit/PageRange.h"
#include "Tools/kzica/Pages.h"

namespace kzica {

// A page range of an option; one that isn't is a UsageError.
kz::PageRange ParsePages(const std::string& option, const std::string& text);
// Indexes a file. Says what fails.
Exit IndexFile(const std::string& file, kz::PageIndex& index);
// The pages of the file that the range names. Says what fails.
Exit ChoosePages(const kz::PageIndex& index, const kz::PageRange& range, std::vector<int>& pages);
// Says it when image numbers differ from page numbers in a file that was just made.
void NoteNumbering(const std::string& file);

// Pictures as a document of their own, beside the one that they go into.
class PicturePages {
 public:
  // Makes the pages, for the kind of container that `document` is. Says what fails.
  Exit Make(const std::vector<std::string>& inputs, const PageOptions& options,
            const std::string& container, const std::string& document);
  // All of the pages, in their order.
  std::vector<kz::PagePick> Picks() const;

 private:
  kz::AtomicFile m_file;
  kz::PageIndex m_index;
};

}  // namespace kzica
