// kzica abic: the parameters that a file's ABIC data were coded with.
#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "Host/Abic/AbicText.h"
#include "Toolkit/Abic/AbicSearch.h"
#include "Toolkit/Base/Printable.h"
#include "Tools/kzica/ConvertTotals.h"
#include "Tools/kzica/Input.h"
#include "Tools/kzica/Json.h"
#include "Tools/kzica/PageSelection.h"

namespace kzica {

namespace {

struct AbicOptions {
  std::string file;
  int image = 0;  // 0: those of the file
  bool thorough = false;
  bool json = false;
  unsigned threads = 0;  // 0: as many as processors
};

// How many different contexts are printed.
constexpr size_t kMostContexts = 5;

// Matches that have their context in common, as the points where they differ don't show in the
// picture.
struct Context {
  const kz::AbicMatch* first;
  bool flips[2] = {};  // whether it fits without, and with
  bool wraps[2] = {};
  bool apart[2] = {};

  void Add(const kz::AbicParameters& parameters) {
    flips[parameters.flipsInStateOne ? 1 : 0] = true;
    wraps[parameters.wrapsEdges ? 1 : 0] = true;
    apart[parameters.planesApart ? 1 : 0] = true;
  }
};

std::vector<Context> ContextsOf(const std::vector<kz::AbicMatch>& matches) {
  std::vector<Context> contexts;
  for (const kz::AbicMatch& match : matches) {
    auto at = std::find_if(contexts.begin(), contexts.end(), [&](const Context& context) {
      return context.first->parameters.places == match.parameters.places;
    });
    if (at == contexts.end()) at = contexts.insert(at, Context{&match});
    at->Add(match.parameters);
  }
  return contexts;
}

// The pixels around the one that is coded: X for those of the context, o for itself.
std::string Drawing(uint32_t places) {
  int first = 0, last = 0, top = 0;
  for (size_t i = 0; i < kz::kAbicPlaces.size(); ++i) {
    if ((places >> i & 1U) == 0) continue;
    first = std::min<int>(first, kz::kAbicPlaces[i].column);
    last = std::max<int>(last, kz::kAbicPlaces[i].column);
    top = std::min<int>(top, kz::kAbicPlaces[i].row);
  }
  std::string drawing =
      "  context               the pixels X, from which the pixel o is predicted\n";
  for (int row = top; row <= 0; ++row) {
    drawing += "                        ";
    for (int column = first; column <= (row < 0 ? last : 0); ++column) {
      const uint32_t place = kz::AbicPlacesWhere(
          [=](kz::AbicPlace known) { return known.row == row && known.column == column; });
      const char mark = row == 0 && column == 0 ? 'o' : (places & place) != 0 ? 'X' : '.';
      drawing.append(column == first ? "" : " ").append(1, mark);
    }
    drawing += '\n';
  }
  return drawing;
}

std::string PointInWords(const char* name, const bool (&fits)[2], const char* usual,
                         const char* other) {
  std::string words = name;
  if (fits[0] && fits[1]) {
    words.append(usual).append(", or ").append(other).append(" (the data fit both)");
  } else {
    words.append(fits[0] ? usual : other);
  }
  return words + "\n";
}

class AbicRun {
 public:
  explicit AbicRun(const AbicOptions& options) : m_options(options) {}

  Exit Run() {
    std::string file = m_options.file;
    const Exit opened = OpenInput(file);
    if (opened != kDone) return opened;
    kz::Document document(file);
    kz::Outcome outcome = document.Open();
    if (outcome.Ok()) outcome = ReadSamples(document);
    if (!outcome.Ok()) return Complain({file}, outcome);
    m_file = file;
    const auto begin = std::chrono::steady_clock::now();
    outcome = Search();
    if (!outcome.Ok()) return Complain({file}, outcome);
    m_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    m_options.json ? PrintAsJson() : PrintInWords();
    return Judge();
  }

 private:
  kz::Outcome ReadSamples(const kz::Document& document) {
    constexpr size_t most = 1000;
    kz::Outcome outcome = m_options.image > 0
                              ? kz::ReadAbicSamples(document, m_options.image, m_samples)
                              : kz::ReadAbicSamples(document, most, m_samples);
    if (!outcome.Ok()) return outcome;
    if (m_samples.empty()) {
      return kz::Failure(K_ERROR_INVALID_FORMAT, "there are no ABIC data in it");
    }
    const auto earlier = [](const kz::AbicSample& sample) {
      return kz::IsEarlierAbic(sample.data.data(), sample.data.size());
    };
    m_earlier = static_cast<size_t>(std::count_if(m_samples.begin(), m_samples.end(), earlier));
    std::erase_if(m_samples, earlier);
    if (m_samples.empty()) {
      return kz::Failure(K_ERROR_INVALID_FORMAT,
                         "its ABIC data are what earlier versions of kzica wrote, before they had "
                         "the published coding; they are read as before");
    }
    return {};
  }

  kz::Outcome Search() {
    kz::Workers workers(m_options.threads != 0 ? m_options.threads : kz::Workers::Processors());
    kz::AbicSearchOptions search;
    search.thorough = m_options.thorough;
    std::unique_ptr<Progress> progress;
    search.progress = [&](int64_t done, int64_t of) {
      constexpr int64_t worthSaying = 16;
      if (done == 1) progress.reset();
      if (done == 1 && of >= worthSaying) {
        progress = std::make_unique<Progress>(static_cast<size_t>(of), "step");
      }
      if (progress) progress->Step();
    };
    return kz::SearchAbicParameters(m_samples, search, workers, m_result);
  }

  const kz::AbicSample& Searched() const { return m_samples[m_result.searched]; }

  std::string SearchedInWords() const {
    const kz::AbicSample& sample = Searched();
    return "picture " + std::to_string(sample.picture) + ", " +
           kz::SizeText(sample.width, sample.height) + ", " +
           Count(static_cast<size_t>(sample.depth), "bit") + " a pixel, " +
           Count(sample.data.size(), "byte");
  }

  void PrintInWords() const {
    std::string words =
        kz::Printable(InputName(m_file)) + ": " + SearchedInWords() + "\n" +
        std::to_string(m_result.tried) + " sets of parameters tried in " + TimeInWords(m_seconds) +
        ": " + (m_result.matches.empty() ? "none" : std::to_string(m_result.matches.size())) +
        (m_result.matches.size() == 1 ? " fits" : " fit");
    if (!m_result.matches.empty() && m_result.samples > 1) {
      words += ", with which " + std::to_string(m_result.matches.front().samples) + " of " +
               Count(m_result.samples, "string") + " of the file fit";
    }
    words += "\n";
    const std::vector<Context> contexts = ContextsOf(m_result.matches);
    for (size_t i = 0; i < std::min(contexts.size(), kMostContexts); ++i) {
      words += "\n" + InWords(contexts[i]);
    }
    if (contexts.size() > kMostContexts) {
      words += "\nand " + Count(contexts.size() - kMostContexts, "more context") + "\n";
    }
    Print(words);
  }

  std::string InWords(const Context& context) const {
    const kz::AbicParameters& parameters = context.first->parameters;
    std::string words = Drawing(parameters.places);
    words +=
        PointInWords("  colours change places ", context.flips, "in state 0", "in states 0 and 1");
    words += PointInWords("  beyond a row's ends   ", context.wraps, "white",
                          "the neighbouring rows' ends");
    if (Searched().depth > 1) {
      words += PointInWords("  above a plane         ", context.apart, "the plane before", "white");
    }
    words += "  rows                  ";
    words += parameters.exactWidth ? "in their exact width" : "padded to a multiple of 8 pixels";
    if (parameters.exactWidth != Searched().exactWidth) words += ", though the file says otherwise";
    words += "\n";
    if (parameters.reversedBits) {
      words += "  bits of each byte     in the other order than the file says\n";
    }
    if (IsUsual(context)) {
      words += "  these are the usual ones, which need not be set:\n";
    } else if (parameters.places == m_result.untold) {
      words +=
          "  kzica finds these by itself when reading; to write with them, set in the "
          "environment:\n";
    } else {
      words += "  to read and write with these, set in the environment:\n";
    }
    return words + "  " + kz::kAbicVariable + "='" + kz::AbicTextOf(parameters) + "'\n";
  }

  static bool IsUsual(const Context& context) {
    return context.first->parameters.places == kz::kAbicUsualPlaces && context.flips[0] &&
           context.wraps[0] && context.apart[0];
  }

  void PrintAsJson() const {
    const kz::AbicSample& sample = Searched();
    nlohmann::ordered_json fits = nlohmann::ordered_json::array();
    for (const kz::AbicMatch& match : m_result.matches) {
      const kz::AbicParameters& parameters = match.parameters;
      fits.push_back({{"parameters", kz::AbicTextOf(parameters)},
                      {"flipsInStateOne", parameters.flipsInStateOne},
                      {"wrapsEdges", parameters.wrapsEdges},
                      {"planesApart", parameters.planesApart},
                      {"exactWidth", parameters.exactWidth},
                      {"reversedBits", parameters.reversedBits},
                      {"bitsLeft", match.fit.bitsLeft},
                      {"strings", match.samples}});
    }
    PrintJson({{"version", kJsonVersion},
               {"file", m_options.file},
               {"image", sample.picture},
               {"width", sample.width},
               {"height", sample.height},
               {"bitsPerPixel", sample.depth},
               {"bytes", sample.data.size()},
               {"strings", m_result.samples},
               {"tried", m_result.tried},
               {"seconds", m_seconds},
               {"fits", std::move(fits)}});
  }

  // What to make of it, on standard error.
  Exit Judge() const {
    if (m_result.matches.empty()) {
      return Complain({m_file},
                      kz::Failure(K_ERROR_INVALID_FORMAT,
                                  "no parameters fit " + SearchedInWords() +
                                      ": the data are damaged, or coded in a way that isn't known" +
                                      (m_options.thorough ? "" : "; --thorough tries more")));
    }
    kz::Outcome warnings;
    if (m_earlier > 0) {
      warnings.warnings.push_back(Count(m_earlier, "string") +
                                  " of earlier versions of kzica left out");
    }
    const size_t contexts = ContextsOf(m_result.matches).size();
    if (contexts > 1) {
      warnings.warnings.push_back(std::to_string(contexts) +
                                  " contexts fit: the data are too few, or too plain, to tell");
    }
    const size_t best = m_result.matches.front().samples;
    if (best < m_result.samples) {
      warnings.warnings.push_back(std::to_string(m_result.samples - best) + " of " +
                                  Count(m_result.samples, "string") +
                                  " don't fit: they are damaged, or coded in another way");
    }
    Warn({m_file}, warnings);
    return kDone;
  }

  const AbicOptions& m_options;
  std::string m_file;
  std::vector<kz::AbicSample> m_samples;
  size_t m_earlier = 0;
  kz::AbicSearchResult m_result;
  double m_seconds = 0;
};

}  // namespace

void AddAbic(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand(
      "abic", "Finds out with which parameters the ABIC data of a FILE were coded");
  command->footer(
      "What is published of ABIC leaves points open: which 7 neighbours of a pixel are its\n"
      "context, and four more. Only the right ones use up the data of an image exactly. All of\n"
      "them are tried on the shortest data of the file that have 2 KB or more, and those that fit\n"
      "on the rest. The KZABI_PARAMETERS that are printed can be put into the environment, where\n"
      "kzica and the filter take them for the usual ones, in reading and in writing.\n"
      "Exit status: 1 when nothing fits, 3 when more than one context does, or not all data.");
  auto options = std::make_shared<AbicOptions>();
  command->add_option("FILE", options->file, "File to examine")->required();
  command->add_option("--image", options->image, "Only this image of the file")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  command->add_flag("--thorough", options->thorough,
                    "If nothing fits, try contexts of 22 neighbours and sets that don't look "
                    "well: hours for long data");
  command->add_flag("--json", options->json, "Print JSON");
  AddJobs(*command, options->threads);
  command->callback([options, &exit] { exit = AbicRun(*options).Run(); });
}

}  // namespace kzica
