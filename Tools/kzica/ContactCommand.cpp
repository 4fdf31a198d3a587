// kzica contact: sheets of thumbnails.
#include <filesystem>
#include <memory>
#include <vector>

#include "Toolkit/Files/NumberedName.h"
#include "Toolkit/View/PageRenderer.h"
#include "Toolkit/View/Sheets/ContactSheet.h"
#include "Tools/kzica/Input.h"
#include "Tools/kzica/Locking.h"
#include "Tools/kzica/PageSelection.h"

namespace kzica {

namespace {

struct ContactOptions {
  std::vector<std::string> files;
  std::string out;
  SelectionOptions pages;
  std::string resources;  // folder; empty: none
  std::string format;
  kz::SheetOptions sheet;
};

kz::SheetFormat ChooseFormat(const ContactOptions& options) {
  if (options.format.empty() && options.out == "-") {
    throw UsageError("standard output needs a --format");
  }
  const std::string name = options.format.empty() ? options.out : "." + options.format;
  const kz::RenderFormatRow* row = kz::FindRenderFormat(name);
  if (row == nullptr ||
      (row->format != kz::RenderFormat::kPng && row->format != kz::RenderFormat::kPdf)) {
    throw UsageError(options.out +
                     ": the ending is neither png nor pdf; say with --format what to write");
  }
  return row->format == kz::RenderFormat::kPdf ? kz::SheetFormat::kPdf : kz::SheetFormat::kPng;
}

// The files whose pages are drawn together, so that all processors have work when each has few.
class Contact {
 public:
  explicit Contact(const ContactOptions& options)
      : m_options(options),
        m_format(ChooseFormat(options)),
        m_selection(SelectionOf(options.pages)),
        m_sheet(SheetOptions()) {
    RefuseTerminal(options.out);
  }

  Exit Run() {
    kz::Outcome outcome = m_sheet.Open(m_options.out, m_format);
    if (!outcome.Ok()) return Complain({m_options.out}, outcome);
    for (const std::string& file : m_options.files) {
      if (AddFile(file) != kDone) m_exit = kFileFailed;
      constexpr size_t mostFiles = 32, enoughPages = 256;
      const bool enough = m_opened.size() == mostFiles || m_pages.size() >= enoughPages;
      if (enough && !AddPages()) return kFileFailed;
    }
    if (!AddPages()) return kFileFailed;
    // Nothing but files that failed, which was said.
    if (m_none && m_exit != kDone) return m_exit;
    outcome = m_sheet.Commit();
    return outcome.Ok() ? m_exit : Complain({m_options.out}, outcome);
  }

 private:
  kz::SheetOptions SheetOptions() const {
    kz::SheetOptions sheet = m_options.sheet;
    if (m_options.files.size() == 1 && m_options.files[0] != "-") {
      sheet.title = std::filesystem::path(m_options.files[0]).filename();
    }
    sheet.mayWrite = [this](const std::string& out) {
      for (const std::string& file : m_options.files) {
        if (IsInput(file, out)) throw UsageError(out + ": this is a file to draw from");
      }
      return kz::Outcome();
    };
    return sheet;
  }

  Exit AddFile(const std::string& argument) {
    std::string file = argument;
    if (OpenInput(file) != kDone) return kFileFailed;
    auto document = std::make_unique<kz::Document>(file);
    const kz::Outcome outcome = document->Open();
    std::vector<int> pages;
    Exit exit = outcome.Ok() ? kDone : Complain({file}, outcome);
    if (exit == kDone) exit = PagesToShow(document->Index(), m_selection, pages);
    if (exit != kDone) {
      CloseInput(file);
      return exit;
    }
    if (!m_options.resources.empty()) document->AddResources(m_options.resources);
    const bool named = m_options.files.size() > 1;
    const std::string name =
        !named ? "" : std::filesystem::path(InputName(argument)).filename().string();
    for (const int page : pages) m_pages.push_back({document.get(), page, name});
    m_opened.push_back(std::move(document));
    return kDone;
  }

  // Draws the pages of the files that are open, and closes these. False when it can't go on.
  bool AddPages() {
    Progress progress(m_pages.size(), "page");
    const kz::Outcome outcome =
        m_sheet.Add(m_pages, [&](const kz::SheetPage& page, const kz::Outcome& told) {
          Warn({page.document->Name(), page.page}, told);
          progress.Step();
        });
    m_none = m_none && m_pages.empty();
    m_pages.clear();
    for (const auto& document : m_opened) {
      WarnOfDamage(document->Index());
      CloseInput(document->Name());
    }
    m_opened.clear();
    if (!outcome.Ok()) Complain({m_options.out}, outcome);
    return outcome.Ok();
  }

  const ContactOptions& m_options;
  kz::SheetFormat m_format;
  kz::Selection m_selection;
  kz::ContactSheet m_sheet;
  std::vector<std::unique_ptr<kz::Document>> m_opened;
  std::vector<kz::SheetPage> m_pages;
  bool m_none = true;  // no page so far
  Exit m_exit = kDone;
};

}  // namespace

void AddContact(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("contact", "Show pages as sheets of thumbnails");
  command->footer(
      "Each thumbnail has the number of its page under it and, with several FILEs, the name of\n"
      "its file. OUT's ending says what to write: a png is one sheet, as high as it takes; if OUT\n"
      "has a %d, as for render, it is several that are counted. A pdf has as many sheets of A4\n"
      "paper as it takes. A page is drawn as render does. One that can't be drawn leaves a\n"
      "crossed frame, with a warning: exit status 3. A file that can't be read is left out: exit\n"
      "status 1.");
  auto options = std::make_shared<ContactOptions>();
  // A positional argument after one that takes many never gets any.
  command->add_option("FILE", options->files, "Files to show; the last one is the file to write")
      ->required()
      ->expected(2, CLI::detail::expected_max_vector_size)
      ->option_text("... OUT");
  AddSelection(*command, options->pages, "Pages of each file, like 2, 1,3-5, 9- or z (the last)");
  AddResources(*command, options->resources);
  command->add_option("-f,--format", options->format, "What to write, whatever the ending is")
      ->check(CLI::IsMember({"png", "pdf"}));
  command
      ->add_option(
          "--columns", options->sheet.columns,
          "Thumbnails side by side; without, 6 on a png, and 4 on a pdf or what --size leaves")
      ->check(CLI::Range(1, kz::ContactSheet::kMostColumns))
      ->type_name("N");
  command
      ->add_option("--size", options->sheet.size,
                   "How wide a thumbnail may be, pixels of a png or points of a pdf; without, 200 "
                   "pixels, or what the columns leave")
      ->check(CLI::Range(kz::ContactSheet::kLeastSize, kz::ContactSheet::kMostSize))
      ->type_name("N");
  AddJobs(*command, options->sheet.threads);
  AddMaxPixels(*command, options->sheet.load.maxPixels);
  AddNoWait(*command);
  command->callback([options, &exit] {
    options->out = std::move(options->files.back());
    options->files.pop_back();
    exit = Contact(*options).Run();
  });
}

}  // namespace kzica
