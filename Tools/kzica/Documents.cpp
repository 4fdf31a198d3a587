#include "Tools/kzica/Documents.h"

#include <unistd.h>

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

void EditedDocument::AddOptions(CLI::App& command) {
  command.add_option("FILE", m_file, "Document to change")->required();
  command
      .add_option("-o,--output", m_out,
                  "Write the result there and leave FILE alone; - is standard output")
      ->check(CLI::Validator(
          [](const std::string& out) { return out.empty() ? "an empty name is no file" : ""; }, ""))
      ->type_name("OUT");
  AddChangeOptions(command, m_breakLinks);
}

Exit EditedDocument::Begin(bool inPlace) {
  RefuseTerminal(m_out);
  if (m_out.empty() && m_file == "-") {
    throw UsageError("standard input can't be changed; say with -o where the result goes");
  }
  if (!m_out.empty() && OpenInput(m_file) != kDone) return kFileFailed;
  const bool changesItself = m_out.empty() || IsInput(m_file, m_out);
  if (changesItself) {
    if (RefuseFramed() != kDone) return kFileFailed;
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

Exit EditedDocument::Write(const kz::DocumentEdit& edit) const {
  const Exit exit = WriteTo(Result(), edit);
  const kz::Framing framing = FramingOf(m_file);
  if (exit == kDone && framing.IsFramed()) {
    Note({Result()},
         "written without the framing of " + InputName(m_file) + ": " + kz::FramingName(framing));
  }
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
  const Exit exit = ForEachPicture(inputs, [&](Picture& picture) {
    const Exit saved = saver.Save(m_file.Path(), picture, mode);
    mode = kz::SaveMode::Append;
    return saved;
  });
  return exit == kDone ? IndexToEdit(m_file.Path(), m_index) : exit;
}

}  // namespace kzica
