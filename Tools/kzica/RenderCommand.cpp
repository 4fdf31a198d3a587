// kzica render: pages as they look, as png, svg, pdf and html files.
#include <filesystem>
#include <memory>
#include <vector>

#include "Toolkit/Files/AtomicFile.h"
#include "Toolkit/Files/NumberedName.h"
#include "Toolkit/View/PageRenderer.h"
#include "Tools/kzica/Documents.h"
#include "Tools/kzica/Input.h"
#include "Tools/kzica/Locking.h"
#include "Tools/kzica/PageSelection.h"

namespace kzica {

namespace {

struct RenderCommandOptions {
  std::string file;
  std::string name;  // as it was given
  std::string out;
  SelectionOptions pages;
  std::string resources;  // folder; empty: none
  std::string format;
  std::string text = "shown";
  kz::RenderOptions render;
};

const std::vector<std::string> kFormats = [] {
  std::vector<std::string> formats;
  for (const kz::RenderFormatRow& row : kz::kRenderFormats) formats.emplace_back(row.ending);
  return formats;
}();

const kz::RenderFormatRow& ChooseFormat(const RenderCommandOptions& options) {
  if (options.format.empty() && options.out == "-") {
    throw UsageError("standard output needs a --format");
  }
  const std::string name = options.format.empty() ? options.out : "." + options.format;
  const kz::RenderFormatRow* row = kz::FindRenderFormat(name);
  if (row == nullptr) {
    throw UsageError(
        options.out +
        ": the ending is none of png, pdf, svg and html; say with --format what to write");
  }
  return *row;
}

kz::RenderedText TextOf(const std::string& name) {
  if (name == "invisible") return kz::RenderedText::kInvisible;
  return name == "none" ? kz::RenderedText::kNone : kz::RenderedText::kShown;
}

class Rendering {
 public:
  explicit Rendering(const RenderCommandOptions& options)
      : m_options(options),
        m_format(ChooseFormat(options)),
        m_selection(SelectionOf(options.pages)),
        m_numbered(options.out != "-" && kz::IsNumbered(options.out)),
        m_document(options.file) {
    RefuseTerminal(options.out);
  }

  Exit Run() {
    kz::Outcome outcome = m_document.Open();
    if (!outcome.Ok()) return Complain({m_options.file}, outcome);
    if (!m_options.resources.empty()) m_document.AddResources(m_options.resources);
    std::vector<int> pages;
    if (PagesToShow(m_document.Index(), m_selection, pages) != kDone) return kFileFailed;
    const bool holdsSeveral = m_format.holdsPages || m_numbered;
    if (pages.size() > 1 && !holdsSeveral) {
      throw UsageError(
          m_options.out + ": holds one page, and these are " + std::to_string(pages.size()) +
          "; several go into a pdf or html, or into numbered files if the name has a %d");
    }
    kz::RenderOptions render = m_options.render;
    render.text = TextOf(m_options.text);
    render.title = std::filesystem::path(m_options.name).filename();
    kz::PageRenderer renderer(m_document, render);
    const Exit exit = m_numbered ? ToNumberedFiles(renderer, pages)
                                 : ToOneFile(renderer, pages, kz::NumberedName(m_options.out, 0));
    WarnOfDamage(m_document.Index());
    return exit;
  }

 private:
  Exit ToNumberedFiles(kz::PageRenderer& renderer, const std::vector<int>& pages) {
    Exit exit = kDone;
    kz::FileBatch batch(
        [&](const std::string& out, const kz::Outcome& failed) { exit = Complain({out}, failed); });
    Progress progress(pages.size(), "page");
    for (const int page : pages) {
      const std::string out = kz::NumberedName(m_options.out, page);
      if (ToOneFile(renderer, {page}, out, &batch) != kDone) exit = kFileFailed;
      progress.Step();
    }
    batch.Finish();
    return exit;
  }

  Exit ToOneFile(kz::PageRenderer& renderer, const std::vector<int>& pages, const std::string& out,
                 kz::FileBatch* batch = nullptr) {
    if (IsInput(m_options.file, out)) throw UsageError(out + ": this is the file to draw from");
    const kz::Outcome outcome = renderer.Write(
        pages, m_format.format, out,
        [this](int page, const kz::Outcome& told) {
          Warn({m_options.file, page}, told);
        },
        batch);
    if (!outcome.Ok()) return Complain({out}, outcome);
    Warn({out}, outcome);
    return kDone;
  }

  const RenderCommandOptions& m_options;
  const kz::RenderFormatRow& m_format;
  kz::Selection m_selection;
  bool m_numbered;
  kz::Document m_document;
};

}  // namespace

void AddRender(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("render", "Draw pages as they look");
  command->footer(
      "Pictures and text stand in their places, with what the page includes: page segments,\n"
      "overlays, objects. Fonts of the document aren't drawn: text is set in a serif, sans or\n"
      "fixed font that stands in for each, as wide as the document has room for. Graphics and\n"
      "bar codes are grey boxes. OUT's ending says what to write: png, svg, pdf or html, a\n"
      "view for browsers that needs no other file. Without --page, all pages are drawn: several\n"
      "go into one pdf or html with the document's groups and tags as contents, or into numbered\n"
      "files if OUT has a %d or, with leading zeros, a %03d that no letter follows: the number is\n"
      "that of the page. %% is a percent sign. OUT - is standard output. What a page asks\n"
      "for and can't be drawn is a warning: exit status 3.");
  auto options = std::make_shared<RenderCommandOptions>();
  command->add_option("FILE", options->file, "File to draw from")->required();
  command->add_option("OUT", options->out, "File to write")->required();
  AddSelection(*command, options->pages, "Pages, like 2, 1,3-5, 9- or z (the last)");
  AddResources(*command, options->resources);
  command->add_option("-f,--format", options->format, "What to write, whatever the ending is")
      ->check(CLI::IsMember(kFormats));
  constexpr double leastDpi = 1, mostDpi = 2400;
  CLI::Option* dpi = command->add_option("--dpi", options->render.dpi, "Dots per inch of a png")
                         ->check(CLI::Range(leastDpi, mostDpi))
                         ->capture_default_str();
  constexpr int mostSize = 10000;
  command
      ->add_option("--size", options->render.size,
                   "Pixels of a png's longer side, instead of --dpi")
      ->check(CLI::Range(1, mostSize))
      ->excludes(dpi);
  command
      ->add_option("--text", options->text,
                   "What becomes of the text: invisible can be found and copied, for scans whose "
                   "pictures show it")
      ->check(CLI::IsMember({"shown", "invisible", "none"}))
      ->capture_default_str();
  AddMaxPixels(*command, options->render.load.maxPixels);
  AddNoWait(*command);
  command->callback([options, &exit] {
    options->name = options->file == "-" ? "" : options->file;
    exit = OpenInput(options->file);
    if (exit == kDone) exit = Rendering(*options).Run();
  });
}

}  // namespace kzica
