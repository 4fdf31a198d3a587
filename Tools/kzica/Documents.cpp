#include "Tools/kzica/Documents.h"

namespace kzica {

kz::PageRange ParsePages(const std::string& option, const std::string& text) {
  kz::PageRange range;
  const kz::Outcome parsed = range.Parse(text);
  if (!parsed.Ok()) throw UsageError(option + ": " + parsed.what);
  return range;
}

Exit IndexFile(const std::string& file, kz::PageIndex& index) {
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

void NoteNumbering(const std::string& file) {
  kz::PageIndex index;
  if (!kz::IndexPages(file, index).Ok()) return;
  const std::string note = index.NumberingNote();
  if (!note.empty()) {
    Note({file}, note + "; info, extract and check number the images, the editing commands pages");
  }
}

Exit PicturePages::Make(const std::vector<std::string>& inputs, const PageOptions& options,
                        const std::string& container, const std::string& document) {
  Edit edit;
  Exit exit = edit.Begin(document, true);
  if (exit != kDone) return exit;
  edit.KeepContainer(container);
  const PageSaver saver(options, edit.DocumentContainer(), document);
  const kz::Outcome outcome = m_file.Open(document);
  if (!outcome.Ok()) return Complain({document}, outcome);
  kz::SaveMode mode = kz::SaveMode::kNewFile;
  exit = ForEachPicture(inputs, false, [&](Picture& picture) {
    const Exit saved = saver.Save(m_file.Path(), picture, mode);
    mode = kz::SaveMode::kAppend;
    return saved;
  });
  return exit == kDone ? IndexFile(m_file.Path(), m_index) : exit;
}

std::vector<kz::PagePick> PicturePages::Picks() const {
  std::vector<kz::PagePick> picks;
  for (size_t i = 0; i < m_index.pages.size(); ++i) {
    picks.push_back({&m_index, static_cast<int>(i) + 1});
  }
  return picks;
}

}  // namespace kzica
