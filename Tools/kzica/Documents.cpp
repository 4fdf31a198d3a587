#include "Tools/kzica/Documents.h"

#include <unistd.h>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Documents/UnframedFile.h"
#include "Tools/kzica/Input.h"

namespace kzica {

kz::PageRange ParsePages(const std::string& option, const std::string& text) {
  kz::PageRange range;
  const kz::Outcome parsed = range.Parse(text);
  if (!parsed.Ok()) throw UsageError(option + ": " + parsed.what);
  return range;
}

Exit IndexToEdit(const std::string& file, kz::PageIndex& index) {
  const kz::Outcome outcome = kz::IndexPages(file, index);
  return outcome.Ok() ? kDone : Complain({file}, outcome);
}

Exit ChoosePages(const kz::PageIndex& index, const kz::PageRange& range, std::vector<int>& pages) {
  kz::Outcome outcome;
  if (index.pages.empty()) {
    outcome = kz::Failure(K_ERROR_INVALID_FORMAT, "the document has no pages");
  } else {
    outcome = range.Resolve(static_cast<int>(index.pages.size()), pages);
  }
  return outcome.Ok() ? kDone : Complain({index.file}, outcome);
}

Exit WriteTo(const std::string& out, const kz::DocumentEdit& edit, kz::FileBatch* batch) {
  const kz::Outcome outcome =
      out == "-" ? kz::WriteDocument(edit, STDOUT_FILENO) : kz::WriteDocument(edit, out, batch);
  Warn({out}, outcome);
  return outcome.Ok() ? kDone : Complain({out}, outcome);
}

void DeedReport::AddOptions(CLI::App& command) {
  command.add_flag("--dry-run", m_dryRun, "Only say what would be done");
  command.add_flag("--quiet", m_quiet, "Don't say what was done");
}

void DeedReport::Say(const Deed& deed, const std::string& out) const {
  if (m_dryRun) return Print(std::string("would ") + deed.would + " " + deed.what + "\n");
  if (m_quiet || out == "-") return;
  const std::string line = kz::Printable(std::string(deed.did) + " " + deed.what) + "\n";
  if (::write(STDOUT_FILENO, line.data(), line.size()) < 0) return;
}

void EditedDocument::AddOptions(CLI::App& command) {
  command.add_option("FILE", m_file, "Document to change")->required();
  command
      .add_option("-o,--output", m_out,
                  "Write the result there and leave FILE alone; - is standard output")
      ->check(CLI::Validator(
          [](const std::string& out) { return out.empty() ? "an empty name is no file" : ""; }, ""))
      ->type_name("OUT");
  m_report.AddOptions(command);
  AddChangeOptions(command, m_breakLinks);
}

Exit EditedDocument::Begin(bool inPlace) {
  if (!IsDryRun()) RefuseTerminal(m_out);
  const bool changesFile = m_out.empty() && !IsDryRun();
  if (changesFile && m_file == "-") {
    throw UsageError("standard input can't be changed; say with -o where the result goes");
  }
  if (!changesFile && OpenInput(m_file) != kDone) return kFileFailed;
  const bool changesItself = m_out.empty() || IsInput(m_file, m_out);
  if (changesItself && RefuseFramed() != kDone) return kFileFailed;
  if (changesItself && !IsDryRun()) {
    const Exit locked = LockDocument(Result(), inPlace || m_breakLinks, m_lock);
    if (locked != kDone) return locked;
  }
  kz::Outcome outcome =
      inPlace ? kz::FindContainer(m_file, m_container) : kz::IndexPages(m_file, m_index);
  if (outcome.Ok() && !inPlace) m_container = m_index.container;
  if (outcome.Ok() && m_container == kz::Container::Ioca) {
    outcome = kz::Failure(K_ERROR_SAVE_FORMAT,
                          "a bare IOCA file is one page and stays so; a document can be made of "
                          "it with assemble");
  }
  return outcome.Ok() ? kDone : Complain({m_file}, outcome);
}

Exit EditedDocument::RefuseFramed() const {
  kz::Framing framing = FramingOf(m_file);
  if (!framing.IsFramed() && !kz::FindFraming(m_file, framing).Ok()) return kDone;
  if (!framing.IsFramed()) return kDone;
  return Complain(
      {m_file},
      kz::Failure(K_ERROR_INVALID_FORMAT,
                  std::string("a change would take its framing (") + kz::FramingName(framing) +
                      ") away; with -o OUT the result is written, unframed, to another file"));
}

Exit EditedDocument::Write(const kz::DocumentEdit& edit, const Deed& deed) const {
  Exit exit = kDone;
  if (IsDryRun()) {
    const kz::Outcome outcome = kz::CheckDocument(edit);
    if (!outcome.Ok()) exit = Complain({m_file}, outcome);
  } else {
    exit = WriteTo(Result(), edit);
  }
  const kz::Framing framing = FramingOf(m_file);
  if (exit == kDone && !IsDryRun() && framing.IsFramed()) {
    Note({Result()},
         "written without the framing of " + InputName(m_file) + ": " + kz::FramingName(framing));
  }
  if (exit == kDone) SayDone(deed);
  return exit;
}

Exit PicturePages::Make(const std::vector<std::string>& inputs, const PageOptions& options,
                        const std::string& container, const EditedDocument& document) {
  const kz::Container kind = document.DocumentContainer();
  if (!container.empty() && ContainerOfName(container) != kind) {
    Note({document.File()}, std::string("stays ") + kz::ContainerName(kind));
  }
  const PageSaver saver(options, kind, document.File());
  const kz::Outcome outcome = m_file.Open();
  if (!outcome.Ok()) return Complain({document.File()}, outcome);
  kz::SaveMode mode = kz::SaveMode::NewFile;
  const Exit exit = ForEachPicture(inputs, saver, [&](Picture& picture) {
    const Exit saved = saver.Save(m_file.Path(), picture, mode);
    mode = kz::SaveMode::Append;
    return saved;
  });
  return exit == kDone ? IndexToEdit(m_file.Path(), m_index) : exit;
}

}  // namespace kzica
