// kzica report: the reports of several conversions as one.
#include <cmath>
#include <cstdio>
#include <memory>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Convert/ReportJoin.h"
#include "Tools/kzica/ConvertTotals.h"
#include "Tools/kzica/Json.h"
#include "Tools/kzica/PageSelection.h"

namespace kzica {

namespace {

struct ReportOptions {
  std::vector<std::string> files;
  size_t slowest = 10;
  bool json = false;
};

std::string Megabytes(int64_t bytes) {
  constexpr double million = 1e6;
  char text[32];
  (void)std::snprintf(text, sizeof(text), "%.1f MB", static_cast<double>(bytes) / million);
  return text;
}

nlohmann::ordered_json InJson(const kz::SourceResult& source) {
  return {{"source", source.source},   {"pages", source.pages},       {"pictures", source.pictures},
          {"seconds", source.seconds}, {"warnings", source.warnings}, {"errors", source.errors}};
}

void PrintAsJson(const kz::JoinedReport& joined) {
  const kz::ConvertTotals& totals = joined.totals;
  nlohmann::ordered_json object = {{"version", kJsonVersion},
                                   {"files", totals.Files()},
                                   {"done", totals.done},
                                   {"skipped", totals.skipped},
                                   {"failed", totals.failed},
                                   {"warned", totals.warned},
                                   {"without_pictures", totals.withoutPictures},
                                   {"outputs", totals.outputs},
                                   {"pages", totals.pages},
                                   {"pictures", totals.pictures},
                                   {"passed", totals.passed},
                                   {"bytes_in", totals.bytesIn},
                                   {"bytes_out", totals.bytesOut},
                                   {"seconds", totals.seconds},
                                   {"replaced", joined.replaced},
                                   {"unfinished", joined.unfinished},
                                   {"problems", joined.warnings}};
  for (const auto& [key, list] :
       {std::pair("failures", &joined.failed), std::pair("slowest", &joined.slowest)}) {
    nlohmann::ordered_json sources = nlohmann::ordered_json::array();
    for (const kz::SourceResult& source : *list) sources.push_back(InJson(source));
    object[key] = std::move(sources);
  }
  PrintJson(object);
}

void PrintInWords(const kz::JoinedReport& joined) {
  const kz::ConvertTotals& totals = joined.totals;
  std::string words = TotalsInWords(totals) + "; " + TimeInWords(totals.seconds) + " of work\n";
  for (const std::string& shard : joined.unfinished) {
    words += "shard " + shard + " has no report of a run that ended\n";
  }
  for (const kz::SourceResult& source : joined.failed) {
    words += "failed  " + kz::Printable(source.source);
    if (!source.errors.empty()) words += ": " + kz::Printable(source.errors.front());
    if (source.errors.size() > 1)
      words += " (and " + std::to_string(source.errors.size() - 1) + " more)";
    words += "\n";
  }
  if (joined.failed.size() < totals.failed) {
    words += "and " + std::to_string(totals.failed - joined.failed.size()) + " more that failed\n";
  }
  for (const kz::SourceResult& source : joined.slowest) {
    char seconds[32];
    (void)std::snprintf(seconds, sizeof(seconds), "%8.3f s  ", source.seconds);
    words += seconds + kz::Printable(source.source) + ", " + Count(source.pages, "page") + "\n";
  }
  Print(words);
}

Exit Report(const ReportOptions& options) {
  kz::JoinedReport joined;
  const kz::Outcome outcome = kz::JoinReports(options.files, options.slowest, joined);
  if (!outcome.Ok()) {
    Say("kzica: " + outcome.what + " (status " + std::to_string(outcome.status) + ")");
    return kFileFailed;
  }
  for (const std::string& warning : joined.warnings) Say("kzica: warning: " + warning);
  options.json ? PrintAsJson(joined) : PrintInWords(joined);
  if (!joined.unfinished.empty()) return kFileFailed;
  const Exit result = ResultOf(joined.totals);
  return result == kDone && !joined.warnings.empty() ? kWarned : result;
}

}  // namespace

std::string TimeInWords(double seconds) {
  constexpr double minute = 60;
  constexpr int64_t perMinute = 60, perHour = 3600;
  char text[48];
  const auto whole = static_cast<int64_t>(std::llround(seconds));
  if (seconds < minute) {
    (void)std::snprintf(text, sizeof(text), "%.1f s", seconds);
  } else if (whole < perHour) {
    (void)std::snprintf(text, sizeof(text), "%d:%02d min", static_cast<int>(whole / perMinute),
                        static_cast<int>(whole % perMinute));
  } else {
    (void)std::snprintf(text, sizeof(text), "%lld:%02d h", static_cast<long long>(whole / perHour),
                        static_cast<int>(whole % perHour / perMinute));
  }
  return text;
}

std::string TotalsInWords(const kz::ConvertTotals& totals) {
  std::string words = Count(totals.Files(), "file");
  const char* separator = ": ";
  const auto add = [&](size_t count, const char* what) {
    if (count == 0) return;
    words += separator + std::to_string(count) + what;
    separator = ", ";
  };
  add(totals.done, " done");
  add(totals.skipped, " skipped");
  add(totals.failed, " failed");
  add(totals.warned, " with warnings");
  add(totals.withoutPictures, " without a picture");
  if (totals.noDocument > 0) {
    words += "; " + Count(totals.noDocument, "other file") + " left out";
  }
  words += "; " + Count(totals.pages, "page") + ", " + Count(totals.pictures, "picture") + " (" +
           std::to_string(totals.passed) + " as they were coded) in " +
           Count(totals.outputs, "output");
  return words + "; " + Megabytes(totals.bytesIn) + " in, " + Megabytes(totals.bytesOut) + " out";
}

Exit ResultOf(const kz::ConvertTotals& totals) {
  if (totals.failed > 0) return kFileFailed;
  return totals.warned > 0 ? kWarned : kDone;
}

void AddReport(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("report", "Join reports of conversions");
  command->footer(
      "Adds up what the reports of kzica convert --report say, lists the sources that failed and\n"
      "the slowest. Of several lines about one source the newest counts, by its time; that it was\n"
      "skipped replaces no other. A line that a killed run left unfinished is passed over, with a\n"
      "warning. Exit status: 1 when a source failed, or a shard of those of which there are\n"
      "reports has none with an end; 3 for warnings.");
  auto options = std::make_shared<ReportOptions>();
  command->add_option("FILE", options->files, "Reports to join")->required();
  command->add_option("--slowest", options->slowest, "How many of the slowest to list")
      ->type_name("N")
      ->capture_default_str();
  command->add_flag("--json", options->json, "Print one JSON object");
  command->callback([options, &exit] { exit = Report(*options); });
}

}  // namespace kzica
