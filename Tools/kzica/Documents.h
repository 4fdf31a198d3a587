// Documents and their pages on the command line: what the commands share that work
// with whole pages.
#pragma once

#include <string>
#include <vector>

#include "Toolkit/Documents/PageRange.h"
#include "Toolkit/Editing/Assemble.h"
#include "Toolkit/Files/SpoolFile.h"
#include "Tools/kzica/Locking.h"
#include "Tools/kzica/PageSelection.h"
#include "Tools/kzica/Pages.h"

namespace kzica {

// A page range of an option; one that isn't is a UsageError.
kz::PageRange ParsePages(const std::string& option, const std::string& text);
// Indexes a file to be edited. Says what fails.
Exit IndexToEdit(const std::string& file, kz::PageIndex& index);
// The pages of the file that the range names. Says what fails.
Exit ChoosePages(const kz::PageIndex& index, const kz::PageRange& range, std::vector<int>& pages);
// Writes a document to a file, alone or with a batch, or, for "-", to standard output.
// Says what fails.
Exit WriteTo(const std::string& out, const kz::DocumentEdit& edit, kz::FileBatch* batch = nullptr);

// What a command does to pages, in a line: "removed page 2 of 14: text, no picture".
struct Deed {
  const char* did;    // "removed"
  const char* would;  // "remove"
  std::string what;   // "page 2 of 14: text, no picture"
};

// Whether and how a command says what it does to pages.
class DeedReport {
 public:
  // Adds --dry-run and --quiet.
  void AddOptions(CLI::App& command);
  // Nothing is written, only said.
  bool IsDryRun() const { return m_dryRun; }
  // Says on standard output what was done, unless the result went there, or what would
  // be. A line that can't be written undoes nothing and is no failure.
  void Say(const Deed& deed, const std::string& out) const;

 private:
  bool m_dryRun = false;
  bool m_quiet = false;
};

// The document that a command changes, and where the result goes.
class EditedDocument {
 public:
  // Adds FILE, -o, --dry-run, --quiet, --no-wait and --break-links.
  void AddOptions(CLI::App& command);
  // Locks the document, if it is to be changed itself, and looks at all of it or, to
  // append in place, at its beginning only. Says what fails.
  Exit Begin(bool inPlace = false);
  const std::string& File() const { return m_file; }
  // Where the result goes.
  const std::string& Result() const { return m_out.empty() ? m_file : m_out; }
  // Of a document that is not changed in place.
  const kz::PageIndex& Index() const { return m_index; }
  kz::Container DocumentContainer() const { return m_container; }
  bool IsDryRun() const { return m_report.IsDryRun(); }
  // Writes the result, or sees whether that can be done, and says what was done or what
  // fails.
  Exit Write(const kz::DocumentEdit& edit, const Deed& deed) const;
  // Says what was done otherwise.
  void SayDone(const Deed& deed) const { m_report.Say(deed, Result()); }

 private:
  // Says it when the records are framed, which a change in place would lose.
  Exit RefuseFramed() const;

  std::string m_file;
  std::string m_out;  // empty: the document itself
  bool m_breakLinks = false;
  DeedReport m_report;
  kz::DocumentLock m_lock;
  kz::Container m_container = kz::Container::Modca;
  kz::PageIndex m_index;
};

// Pictures as a document of their own, before they go into another.
class PicturePages {
 public:
  // Makes the pages for a document. Says what fails, and when it isn't of the kind of
  // container wanted, which may be empty.
  Exit Make(const std::vector<std::string>& inputs, const PageOptions& options,
            const std::string& container, const EditedDocument& document);
  const kz::PageIndex& Index() const { return m_index; }
  // All of the pages, in their order.
  std::vector<kz::PagePick> Picks() const { return kz::AllPages(m_index); }

 private:
  kz::SpoolFile m_file;
  kz::PageIndex m_index;
};

}  // namespace kzica
