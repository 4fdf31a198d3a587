// kzica text: the presentation text of documents.
#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <nlohmann/json.hpp>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Base/Workers.h"
#include "Toolkit/Documents/Text.h"
#include "Tools/kzica/Documents.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

struct TextOptions {
  std::vector<std::string> files;
  SelectionOptions pages;
  std::string encoding;  // empty: the document's own
  bool json = false;
  unsigned threads = 1;

  bool Raw() const { return encoding == kz::kRawEncoding; }
};

// Prints the texts of pages with a form feed between them, be they of one file or not.
class PagePrinter {
 public:
  explicit PagePrinter(bool formFeeds) : m_formFeeds(formFeeds) {}
  // False when nobody wants any more.
  bool operator()(const std::string& text) {
    if (m_formFeeds && m_printed) Print("\f");
    m_printed = true;
    Print(text);
    return CanPrint();
  }

 private:
  bool m_formFeeds;
  bool m_printed = false;
};

// Takes the text of a page; false ends the reading.
using TakePage = std::function<bool(const std::string& text)>;

// Points, with one digit after the point.
double Rounded(double points) { return std::round(points * 10) / 10; }

std::string InJson(const std::string& file, const kz::TextPage& page) {
  std::string lines;
  int number = 0;
  for (const kz::TextLine& line : page.lines) {
    const nlohmann::ordered_json object = {
        {"file", file},
        {"page", page.page},
        {"line", ++number},
        {"x", Rounded(line.pieces.front().x)},
        {"y", Rounded(line.pieces.front().y)},
        {"text", line.Text()},
    };
    const std::string text =
        object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    lines += kz::Printable(text, kz::Unprintable::Json) + "\n";
  }
  return lines;
}

std::string InLines(const kz::TextPage& page) {
  std::string lines;
  for (const kz::TextLine& line : page.lines) lines += line.Text() + "\n";
  return lines;
}

// The pages that the options name; none for all.
kz::Outcome FindPages(const std::string& file, const SelectionOptions& options,
                      std::vector<int>& pages) {
  const kz::Selection selection = SelectionOf(options);
  if (selection.IsEmpty()) return {};
  if (options.groups.empty() && options.tags.empty()) {
    const kz::PageRange range = ParsePages("--page", options.pages);
    // Reading ends with the last of the pages: the rest needn't be looked at.
    if (!range.NeedsPageCount()) return range.Resolve(0, pages);
  }
  kz::PageIndex index;
  kz::Outcome outcome = kz::IndexFile(file, index);
  return outcome.Ok() ? selection.Resolve(index, pages) : outcome;
}

// Says what fails.
Exit ReadOpened(const std::string& argument, const std::string& file, const TextOptions& options,
                const TakePage& takePage) {
  kz::TextOptions request;
  kz::Outcome outcome = FindPages(file, options.pages, request.pages);
  if (!outcome.Ok()) return Complain({file}, outcome);
  // Pages come in the order of the file: when others are wanted, they wait.
  const std::vector<int>& pages = request.pages;
  const bool inOrder =
      std::adjacent_find(pages.begin(), pages.end(), std::greater_equal<>()) == pages.end();
  std::map<int, std::string> waiting;
  const auto take = [&](int page, std::string text) {
    if (inOrder) return takePage(text);
    waiting[page] = std::move(text);
    return true;
  };
  if (options.Raw()) {
    outcome = kz::ReadRawTexts(file, pages, take);
  } else {
    request.encoding = options.encoding;
    outcome = kz::ReadTexts(file, request, [&](const kz::TextPage& page) {
      kz::Outcome ofPage;
      ofPage.warnings = page.warnings;
      Warn({file, page.page}, ofPage);
      return take(page.page, options.json ? InJson(argument, page) : InLines(page));
    });
  }
  if (!waiting.empty()) {
    for (const int page : pages) (void)takePage(waiting[page]);
  }
  Warn({file}, outcome);
  return outcome.Ok() ? kDone : Complain({file}, outcome);
}

Exit ReadText(const std::string& argument, const TextOptions& options, const TakePage& takePage) {
  std::string file = argument;
  if (OpenInput(file) != kDone) return kFileFailed;
  const Exit exit = ReadOpened(argument, file, options, takePage);
  CloseInput(file);
  return exit;
}

// What came of a file that is read while others are printed.
struct FileText {
  Exit exit = kFileFailed;
  std::vector<std::string> pages;
  std::string said;
};

FileText ReadAhead(const std::string& argument, const TextOptions& options) {
  FileText text;
  HeldLines lines;
  try {
    text.exit = ReadText(argument, options, [&text](const std::string& page) {
      text.pages.push_back(page);
      return true;
    });
  } catch (const std::bad_alloc&) {
    text.pages.clear();
    text.exit = Complain({argument}, kz::Failure(K_ERROR_NO_MEMORY, "there is not enough memory"));
  }
  text.said = lines.Take();
  return text;
}

// Reads several files at a time; their pages come in the order of the files.
Exit PrintSeveral(const TextOptions& options, PagePrinter& printer) {
  const std::vector<std::string>& files = options.files;
  // A terminal as standard input is wrong usage, which no other thread can say.
  for (std::string file : files) {
    if (file == "-") (void)OpenInput(file);
  }
  Exit exit = kDone;
  std::vector<FileText> texts(files.size());
  kz::Workers workers(std::min(options.threads, static_cast<unsigned>(files.size())));
  workers.InOrder(
      files.size(), [&](size_t i) { texts[i] = ReadAhead(files[i], options); },
      [&](size_t i) {
        const FileText text = std::move(texts[i]);
        texts[i] = {};
        SayHeld(text.said);
        if (text.exit != kDone) exit = kFileFailed;
        return std::all_of(text.pages.begin(), text.pages.end(), std::ref(printer));
      });
  return exit;
}

Exit Text(const TextOptions& options) {
  if (!options.encoding.empty() && !options.Raw()) CheckEncoding(options.encoding);
  if (options.json && options.Raw()) throw UsageError("--json: raw text has no lines to show");
  (void)SelectionOf(options.pages);
  PagePrinter printer(!options.json && !options.Raw());
  if (options.threads > 1 && options.files.size() > 1) return PrintSeveral(options, printer);
  Exit exit = kDone;
  for (const std::string& file : options.files) {
    if (ReadText(file, options, std::ref(printer)) != kDone) exit = kFileFailed;
    if (!CanPrint()) break;
  }
  return exit;
}

}  // namespace

void AddText(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("text", "Print the text of documents in UTF-8");
  command->footer(
      "A line is what stands on one baseline, whatever the order in which it was set, pieces\n"
      "that were moved to being parted by a blank. Between pages stands a form feed. The text\n"
      "is decoded by the code pages that the document brings along or names for its fonts, as\n"
      "UTF-16 with TrueType fonts, else by code page 500. Text of overlays is left out.\n"
      "\n"
      "With --json, an object for each line of text: file, page, line (on the page, from 1), x\n"
      "and y (where it begins, points from the top left corner of the page) and text.\n"
      "\n"
      "Several documents are read at a time with -j, and printed in their order; one that can't\n"
      "be read doesn't end the run. Damage is passed over: exit status 3 when text may be "
      "missing.");
  auto options = std::make_shared<TextOptions>();
  command->add_option("FILE", options->files, "Documents to read")->required();
  AddSelection(*command, options->pages, "Pages, like 2, 1,3-5, 9- or z, instead of all");
  command->add_option("-e,--encoding", options->encoding,
                      "Encoding of all the text, as iconv calls it, instead of what the document "
                      "says; raw prints the bytes");
  command->add_flag("--json", options->json, "Print one JSON object per line of text");
  AddThreads(*command, options->threads);
  command->callback([options, &exit] { exit = Text(*options); });
}

}  // namespace kzica
