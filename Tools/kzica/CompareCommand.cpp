// kzica compare: what two documents don't have in common.
#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/View/Comparison/Visual/VisualComparison.h"
#include "Tools/kzica/Input.h"
#include "Tools/kzica/Json.h"
#include "Tools/kzica/PageSelection.h"

namespace kzica {

namespace {

// As diff has them.
constexpr Exit kSame = kDone, kDifferent = kFileFailed, kTrouble = kWrongUsage;

struct CompareCommandOptions {
  std::string files[2];
  SelectionOptions pages;
  std::vector<std::string> only;
  std::string resources;  // folder; empty: none
  bool quiet = false;
  bool json = false;
  std::string visual;  // file to write; empty: none
  bool all = false;
  kz::CompareOptions compare;
};

const std::vector<std::string> kAspectNames = [] {
  std::vector<std::string> names;
  for (const kz::AspectRow& row : kz::kAspects) names.emplace_back(row.name);
  return names;
}();

const char* NameOf(kz::Aspect aspect) {
  for (const kz::AspectRow& row : kz::kAspects) {
    if (row.aspect == aspect) return row.name;
  }
  return "";
}

// "page 3", "pages 3-5", "page 3 | page 4".
std::string PagesInWords(const kz::ComparedPages& pages) {
  const auto words = [&](int first) {
    if (pages.count == 1) return "page " + std::to_string(first);
    return "pages " + std::to_string(first) + "-" + std::to_string(first + pages.count - 1);
  };
  if (!pages.IsPair()) return words(std::max(pages.a, pages.b));
  return pages.a == pages.b ? words(pages.a) : words(pages.a) + " | " + words(pages.b);
}

class CompareRun {
 public:
  explicit CompareRun(const CompareCommandOptions& options) : m_options(options) {}

  Exit Run() {
    const kz::Selection selection = SelectionOf(m_options.pages);
    kz::CompareOptions compare = m_options.compare;
    for (const std::string& name : m_options.only) {
      for (const kz::AspectRow& row : kz::kAspects) {
        if (name == row.name) compare.aspects.push_back(row.aspect);
      }
    }
    std::vector<int>* const pages[] = {&compare.pagesA, &compare.pagesB};
    for (size_t i = 0; i < 2; ++i) {
      if (!Open(i, selection, *pages[i])) return kTrouble;
    }
    kz::CompareSummary summary;
    if (!m_options.visual.empty()) BeginVisual();
    kz::Outcome outcome = kz::CompareDocuments(
        *m_documents[0], *m_documents[1], compare,
        [this](const kz::ComparedPages& found) { return Take(found); }, summary);
    if (!outcome.Ok()) {
      Complain({m_documents[0]->Name()}, outcome);
      return kTrouble;
    }
    if (m_visual) outcome = m_visual->Write(m_options.visual, summary);
    if (!outcome.Ok()) {
      Complain({m_options.visual}, outcome);
      return kTrouble;
    }
    if (m_options.quiet) return m_differs ? kDifferent : kSame;
    m_options.json ? SumInJson(summary) : SumInWords(summary);
    if (!Printed()) return kTrouble;
    return summary.Same() ? kSame : kDifferent;
  }

 private:
  // Whether all that was printed could be written; says it if not.
  static bool Printed() {
    if (std::fflush(stdout) == 0) return CanPrint();
    const int error = errno;
    Complain({"-"}, kz::SystemFailure(K_ERROR_WRITE, error));
    return false;
  }

  bool Open(size_t which, const kz::Selection& selection, std::vector<int>& pages) {
    std::string file = m_options.files[which];
    if (OpenInput(file) != kDone) return false;
    kz::Document& document = m_documents[which].emplace(file);
    const kz::Outcome outcome = document.Open();
    if (!outcome.Ok()) {
      Complain({file}, outcome);
      return false;
    }
    if (!m_options.resources.empty()) document.AddResources(m_options.resources);
    const kz::Outcome& structure = document.Index().structure;
    // What is damaged can be compared: it is no trouble but worth knowing.
    if (document.Index().IsDamaged() && !m_options.quiet) Note({file}, structure.what);
    return selection.IsEmpty() || SelectPages(document.Index(), selection, pages) == kDone;
  }

  void BeginVisual() {
    kz::VisualOptions visual;
    visual.all = m_options.all;
    visual.threads = m_options.compare.threads;
    visual.load = m_options.compare.load;
    visual.nameA = InputName(m_documents[0]->Name());
    visual.nameB = InputName(m_documents[1]->Name());
    for (const auto& document : m_documents) {
      if (IsInput(document->Name(), m_options.visual)) {
        throw UsageError(m_options.visual + ": this is a file to compare");
      }
    }
    m_visual.emplace(*m_documents[0], *m_documents[1], visual);
  }

  // False when nobody wants more.
  bool Take(const kz::ComparedPages& pages) {
    const bool same = pages.IsPair() && pages.differences.empty();
    m_differs |= !same;
    if (m_visual) m_visual->Add(pages);
    if (m_options.quiet) return !m_differs || m_visual;
    if (same) return true;
    if (m_options.json) {
      InJson(pages);
    } else {
      InWords(pages);
    }
    return CanPrint();
  }

  static void InWords(const kz::ComparedPages& pages) {
    if (pages.a == 0 && pages.b == 0) {
      for (const kz::Difference& one : pages.differences) PrintLine(one.what);
    } else if (!pages.IsPair()) {
      PrintLine(PagesInWords(pages) + ": only in the " + (pages.a > 0 ? "first" : "second") +
                " file");
    }
    if (!pages.IsPair()) return;
    for (const kz::Difference& one : pages.differences) {
      const bool isText = one.aspect == kz::Aspect::kText;
      PrintLine(PagesInWords(pages) + (isText ? ": text: " : ": ") + one.what);
    }
  }
  static void PrintLine(const std::string& line) {
    Print(kz::Printable(line, kz::Unprintable::Blank) + "\n");
  }

  static void InJson(const kz::ComparedPages& pages) {
    if (pages.differences.empty()) return PrintJson(Object(pages, kz::Difference()));
    for (const kz::Difference& one : pages.differences) PrintJson(Object(pages, one));
  }
  static nlohmann::ordered_json Object(const kz::ComparedPages& pages, const kz::Difference& one) {
    const auto side = [&](int page, int picture, int64_t offset) {
      nlohmann::ordered_json object = nlohmann::ordered_json::object();
      if (page > 0) object["page"] = page;
      if (page > 0 && pages.count > 1) object["pages"] = pages.count;
      if (picture > 0) object["image"] = picture;
      if (offset >= 0) object["offset"] = offset;
      return object.empty() ? nlohmann::ordered_json() : object;
    };
    const char* const alone = pages.a > 0 ? "only in the first file" : "only in the second file";
    nlohmann::ordered_json object = {{"version", kJsonVersion},
                                     {"kind", NameOf(one.aspect)},
                                     {"first", side(pages.a, one.pictureA, one.offsetA)},
                                     {"second", side(pages.b, one.pictureB, one.offsetB)},
                                     {"what", one.what.empty() ? alone : one.what}};
    if (one.pixels > 0) {
      object["pixels"] = one.pixels;
      object["rectangle"] = {one.left, one.top, one.right, one.bottom};
    }
    return object;
  }

  void SumInWords(const kz::CompareSummary& summary) const {
    std::string words = Count(static_cast<size_t>(summary.pagesA), "page") + " | " +
                        Count(static_cast<size_t>(summary.pagesB), "page") + ": ";
    if (summary.Same()) return PrintLine(words + "the same");
    words += std::to_string(summary.same) + " the same, " + std::to_string(summary.different) +
             " different";
    if (summary.onlyA > 0) words += ", " + std::to_string(summary.onlyA) + " only in the first";
    if (summary.onlyB > 0) words += ", " + std::to_string(summary.onlyB) + " only in the second";
    if (summary.differences > 0) {
      words += "; " + Count(static_cast<size_t>(summary.differences), "difference") +
               " outside of pages";
    }
    PrintLine(words);
  }
  void SumInJson(const kz::CompareSummary& summary) const {
    PrintJson({{"version", kJsonVersion},
               {"kind", "summary"},
               {"files", {m_options.files[0], m_options.files[1]}},
               {"equal", summary.Same()},
               {"pages", {summary.pagesA, summary.pagesB}},
               {"same", summary.same},
               {"different", summary.different},
               {"onlyInFirst", summary.onlyA},
               {"onlyInSecond", summary.onlyB},
               {"outsideOfPages", summary.differences}});
  }

  const CompareCommandOptions& m_options;
  std::optional<kz::Document> m_documents[2];
  std::optional<kz::VisualComparison> m_visual;
  bool m_differs = false;
};

}  // namespace

void AddCompare(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("compare", "Say in what two files differ");
  command->footer(
      "Pages are aligned, so that one that was inserted or removed leaves the others as they\n"
      "are. Of pages that belong together, their sizes, pictures, text and structure are\n"
      "compared, what the first file has being told before a |, and what the second has after it.\n"
      "Pictures are the same when their pixels are, however they are coded. Structure means\n"
      "structured fields but for the data of pictures and text, groups and tags; the names of\n"
      "pages and of objects on them don't count. Exit status: 0 the same, 1 different, 2 trouble.\n"
      "--json prints an object for each difference: version (1), kind, first and second (page,\n"
      "pages if several follow each other, image, offset; null without any of these) and what,\n"
      "of pixels also pixels and rectangle (left, top, right, bottom); at last one of the kind\n"
      "summary: files, equal, pages, same, different, onlyInFirst, onlyInSecond, "
      "outsideOfPages.");
  auto options = std::make_shared<CompareCommandOptions>();
  command->add_option("FIRST", options->files[0], "File to compare")->required();
  command->add_option("SECOND", options->files[1], "File to compare it with")->required();
  AddSelection(*command, options->pages, "Pages of both files, like 2, 1,3-5, 9- or z (the last)");
  command->add_option("--only", options->only, "What to compare, of pages,pictures,text,structure")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::IsMember(kAspectNames))
      ->type_name("WHAT");
  CLI::Option* json =
      command->add_flag("--json", options->json, "Print one JSON object per difference");
  command->add_flag("-q,--quiet", options->quiet, "Print nothing, only exit with the status")
      ->excludes(json);
  CLI::Option* visual =
      command
          ->add_option("--visual", options->visual,
                       "Write pages that differ, side by side and with their difference, into an "
                       "html file")
          ->type_name("OUT");
  command->add_flag("--all", options->all, "With --visual, show pages that are the same too")
      ->needs(visual);
  AddResources(*command, options->resources);
  AddJobs(*command, options->compare.threads);
  AddMaxPixels(*command, options->compare.load.maxPixels);
  command->callback([options, &exit] { exit = CompareRun(*options).Run(); });
}

}  // namespace kzica
