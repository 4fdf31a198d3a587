// kzica check: what is wrong with files.
#include <memory>
#include <optional>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Documents/Check.h"
#include "Tools/kzica/Input.h"
#include "Tools/kzica/Json.h"
#include "Tools/kzica/PageSelection.h"

namespace kzica {

namespace {

struct CheckOptions {
  std::vector<std::string> files;
  kz::CheckRequest request;
  bool json = false;
  bool quiet = false;
};

// What came of several files.
struct Summary {
  size_t sound = 0;
  size_t warned = 0;
  size_t damaged = 0;
  size_t unread = 0;

  void Add(const kz::CheckReport& report) {
    if (!report.opened.Ok()) {
      ++unread;
    } else if (report.Damaged()) {
      ++damaged;
    } else {
      ++(report.Sound() ? sound : warned);
    }
  }
  Exit Result() const {
    if (damaged + unread > 0) return kFileFailed;
    return warned > 0 ? kWarned : kDone;
  }
  std::string InWords() const {
    std::string words = Count(sound + warned + damaged + unread, "file") + ":";
    const auto add = [&](size_t count, const char* what) {
      if (count > 0) words += (words.back() == ':' ? " " : ", ") + std::to_string(count) + what;
    };
    add(sound, " sound");
    add(warned, " with warnings");
    add(damaged, " damaged");
    add(unread, " can't be read");
    return words;
  }
};

void ReportInJson(const std::string& argument, const kz::CheckReport& report) {
  nlohmann::ordered_json object = {{"version", kJsonVersion},
                                   {"file", argument},
                                   {"pages", report.pages},
                                   {"images", report.pictures},
                                   {"ok", report.Sound()}};
  nlohmann::ordered_json problems = nlohmann::ordered_json::array();
  const auto number = [](int n) { return n > 0 ? nlohmann::ordered_json(n) : nullptr; };
  const auto add = [&](const char* severity, int page, int image, int status,
                       const std::string& what) {
    problems.push_back({{"severity", severity},
                        {"page", number(page)},
                        {"image", number(image)},
                        {"status", status},
                        {"what", what}});
  };
  if (!report.opened.Ok()) add("error", 0, 0, report.opened.status, report.opened.what);
  for (const kz::Problem& problem : report.problems) {
    add(problem.severity == kz::Severity::Damage ? "damage" : "warning", problem.page,
        problem.picture, problem.status, problem.what);
  }
  object["problems"] = std::move(problems);
  PrintJson(object);
}

void ReportInWords(const std::string& file, const kz::CheckReport& report) {
  for (const kz::Problem& problem : report.problems) {
    const Subject subject = {file, problem.page, problem.picture};
    if (problem.severity == kz::Severity::Damage) {
      Complain(subject, kz::Failure(problem.status, problem.what));
    } else {
      Warn(subject, {K_SUCCESS, {}, {problem.what}});
    }
  }
  std::string verdict = report.Damaged() ? "damaged" : "sound";
  if (!report.Damaged() && !report.Sound()) {
    verdict +=
        " but for " + Count(static_cast<size_t>(report.Count(kz::Severity::Warning)), "warning");
  }
  Print(kz::Printable(InputName(file)) + ": " + verdict + ": " +
        Count(static_cast<size_t>(report.pages), "page") + ", " +
        Count(static_cast<size_t>(report.pictures), "picture") + "\n");
}

kz::CheckReport CheckShowingProgress(const std::string& file, const CheckOptions& options) {
  kz::CheckRequest request = options.request;
  std::optional<Progress> progress;
  if (!options.quiet) {
    request.progress = [&](int, int pictures) {
      if (!progress) progress.emplace(static_cast<size_t>(pictures), "picture");
      progress->Step();
    };
  }
  return kz::CheckFile(file, request);
}

void CheckOne(const std::string& argument, const CheckOptions& options, Summary& summary) {
  std::string file = argument;
  if (OpenInput(file) != kDone) {
    ++summary.unread;
    return;
  }
  const kz::CheckReport report = CheckShowingProgress(file, options);
  summary.Add(report);
  if (options.json) {
    ReportInJson(argument, report);
  } else if (!options.quiet && report.opened.Ok()) {
    ReportInWords(file, report);
  } else if (!options.quiet) {
    Complain({file}, report.opened);
  }
  CloseInput(file);
}

Exit Check(const CheckOptions& options) {
  Summary summary;
  for (const std::string& file : options.files) CheckOne(file, options, summary);
  if (!options.quiet && !options.json && options.files.size() > 1) {
    Print(summary.InWords() + "\n");
  }
  return summary.Result();
}

}  // namespace

void AddCheck(CLI::App& app, Exit& exit) {
  CLI::App* command = app.add_subcommand("check", "Say what is wrong with files");
  command->footer(
      "Walks over all structured fields and loads each picture. Exit status 1 when a file is\n"
      "damaged: it ends too early, bytes of it are no fields, or a picture can't be loaded.\n"
      "3 for warnings: a picture shows damage or is of a kind that isn't read, a resource that\n"
      "is included is neither in the file nor in the folder of --resources, or fields stand\n"
      "where pages can't be edited.\n"
      "--json prints for each file version (1), file, pages, images, ok (nothing was found) and\n"
      "problems: a list of severity (error: the file can't be read, damage, warning), page,\n"
      "image, status and what.");
  auto options = std::make_shared<CheckOptions>();
  command->add_option("FILE", options->files, "Files to check")->required();
  CLI::Option* json =
      command->add_flag("--json", options->json, "Print one JSON object per file, each on a line");
  command->add_flag("-q,--quiet", options->quiet, "Print nothing, only exit with the status")
      ->excludes(json);
  AddResources(*command, options->request.resources);
  AddMaxPixels(*command, options->request.load.maxPixels);
  command->callback([options, &exit] { exit = Check(*options); });
}

}  // namespace kzica
