// kzica convert: the pictures of many files as picture files.
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>

#include "Toolkit/Convert/Convert.h"
#include "Toolkit/Convert/ConvertReport.h"
#include "Tools/kzica/ConvertTotals.h"
#include "Tools/kzica/Locking.h"
#include "Tools/kzica/PageSelection.h"

namespace kzica {

namespace {

struct ConvertOptions {
  kz::ConvertRequest request;
  std::string format = "pdf";
  std::string per = "document";
  std::string shard;
  std::string report;
  std::string profile;
  bool quiet = false;
};

// A line on a terminal that is written over.
class ProgressLine {
 public:
  static bool IsWanted() { return isatty(STDERR_FILENO) == 1; }

  void Show(const kz::ConvertProgress& progress) {
    std::string line = std::to_string(progress.files);
    if (progress.known) line += " of " + std::to_string(progress.inAll);
    line += " files, " + std::to_string(progress.pages) + " pages";
    if (progress.seconds > 0) {
      const double rate = static_cast<double>(progress.pages) / progress.seconds;
      line += ", " + std::to_string(static_cast<int64_t>(rate)) + " pages/s";
    }
    if (progress.known && progress.files > 0) {
      const double left = static_cast<double>(progress.inAll - progress.files);
      const double each = progress.seconds / static_cast<double>(progress.files);
      line += ", " + TimeInWords(left * each) + " left";
    }
    (void)std::fprintf(stderr, "\r%s\033[K", line.c_str());
    m_shown = true;
  }
  void Clear() {
    if (m_shown) (void)std::fputs("\r\033[K", stderr);
    m_shown = false;
  }

 private:
  bool m_shown = false;
};

void ReadProfile(const std::string& path, kz::SharedProfile& shared) {
  std::vector<unsigned char> profile;
  std::ifstream file(path, std::ios::binary);
  profile.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  if (!kz::IsInkProfile(profile)) throw UsageError(path + ": this is no ICC profile of CMYK");
  shared = std::make_shared<const std::vector<unsigned char>>(std::move(profile));
}

kz::OutputPer PerOf(const std::string& per) {
  return per == "page"    ? kz::OutputPer::Page
         : per == "group" ? kz::OutputPer::Group
                          : kz::OutputPer::Document;
}

// Each file that waits for its place takes some descriptors.
void AllowManyDescriptors() {
  rlimit limit;
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  constexpr rlim_t enough = 65536;
  limit.rlim_cur = std::max(limit.rlim_cur, std::min(limit.rlim_max, enough));
  (void)setrlimit(RLIMIT_NOFILE, &limit);
}

class Conversion {
 public:
  explicit Conversion(const ConvertOptions& options)
      : m_options(options), m_request(options.request) {
    if (m_request.sources.empty() && m_request.list.empty()) {
      throw UsageError("there is nothing to convert: name files, folders or a --list");
    }
    m_request.format = kz::FormatOfEnding("." + options.format);
    m_request.per = PerOf(options.per);
    kz::OutputNames names;
    kz::Outcome parsed = names.Parse(m_request.name, m_request.per, m_request.format);
    if (!parsed.Ok()) throw UsageError("--name: " + parsed.what);
    if (!options.shard.empty()) parsed = kz::Shard::Parse(options.shard, m_request.shard);
    if (!parsed.Ok()) throw UsageError("--shard: " + parsed.what);
    const bool inks = m_request.format == kz::PictureFormat::kTiff ||
                      m_request.format == kz::PictureFormat::kJpeg;
    if (m_request.load.keepInks && (!inks || m_request.dither)) {
      throw UsageError("--keep-cmyk is for tif and jpg, without --dither");
    }
    if (!options.profile.empty()) ReadProfile(options.profile, m_request.load.profile);
  }

  Exit Run() {
    kz::ReportWriter report(m_request.shard);
    if (!m_options.report.empty()) {
      kz::Outcome outcome;
      if (m_request.skipExisting) outcome = kz::FailedSources(m_options.report, m_failedBefore);
      if (outcome.Ok()) outcome = report.Open(m_options.report);
      if (!outcome.Ok()) return Complain({m_options.report}, outcome);
      m_report = &report;
    }
    m_request.again = [this](const std::string& source) {
      return std::binary_search(m_failedBefore.begin(), m_failedBefore.end(),
                                kz::StableHash(source));
    };
    m_request.result = [this](const kz::SourceResult& result) { Tell(result); };
    if (!m_options.quiet && ProgressLine::IsWanted()) {
      m_request.progress = [this](const kz::ConvertProgress& progress) { m_line.Show(progress); };
    }
    AllowManyDescriptors();
    kz::ConvertTotals totals;
    kz::Outcome outcome = kz::Convert(m_request, totals);
    m_line.Clear();
    if (!outcome.Ok()) {
      const bool list = outcome.status == K_ERROR_OPEN_READ;
      return Complain({list ? m_request.list : m_request.to}, outcome);
    }
    if (m_report != nullptr && m_written.Ok()) m_written = m_report->Finish(totals);
    if (!m_options.quiet) Summarize(totals);
    if (!m_written.Ok()) return Complain({m_options.report}, m_written);
    return ResultOf(totals);
  }

 private:
  void Tell(const kz::SourceResult& result) {
    if (result.status == kz::SourceStatus::NoDocument) return;
    if (m_report != nullptr && m_written.Ok()) m_written = m_report->Add(result);
    if (m_options.quiet) return;
    if (!result.errors.empty() || !result.warnings.empty()) m_line.Clear();
    for (const std::string& error : result.errors) Note({result.source}, error);
    for (const std::string& warning : result.warnings) Note({result.source}, "warning: " + warning);
  }

  static void Summarize(const kz::ConvertTotals& totals) {
    std::string words = TotalsInWords(totals) + "; " + TimeInWords(totals.seconds);
    if (totals.seconds > 0 && totals.pictures > 0) {
      const double rate = static_cast<double>(totals.pictures) / totals.seconds;
      words += ", " + std::to_string(static_cast<int64_t>(rate)) + " pictures a second";
    }
    Print(words + "\n");
  }

  const ConvertOptions& m_options;
  kz::ConvertRequest m_request;
  kz::ReportWriter* m_report = nullptr;
  kz::Outcome m_written;
  std::vector<uint64_t> m_failedBefore;
  ProgressLine m_line;
};

void AddSources(CLI::App& command, ConvertOptions& options) {
  command.add_option("SRC", options.request.sources, "Files, and folders with files");
  command
      .add_option("--list", options.request.list,
                  "File with names of more, one a line or each ended by a zero byte; - is "
                  "standard input")
      ->type_name("FILE");
  command.add_option("--to", options.request.to, "Folder for the outputs, which is made")
      ->type_name("DIR")
      ->required();
  command.add_option("--shard", options.shard, "Only the K-th of N shares of the sources")
      ->type_name("K/N");
  command.add_flag("--skip-existing", options.request.skipExisting,
                   "Leave out sources whose outputs are there and not older than they");
  AddResources(command, options.request.resources);
}

void AddOutputs(CLI::App& command, ConvertOptions& options) {
  command.add_option("-f,--format", options.format, "What to write")
      ->check(CLI::IsMember(kz::PictureEndings()))
      ->capture_default_str();
  command.add_option("--per", options.per, "What has an output of its own")
      ->check(CLI::IsMember({"document", "page", "group"}))
      ->capture_default_str();
  command
      .add_option(
          "--name", options.request.name,
          "Names of outputs, like %f-%03d: %f the source's name without its ending, %F with "
          "it, %d the number of the page, group or picture, %g the group's name, %% a "
          "percent sign")
      ->type_name("PATTERN");
  command.add_flag("--trust", options.request.trust,
                   "Don't decode image data as a check that go to the output as they are");
  command.add_flag("--dither", options.request.dither,
                   "Make black and white pictures, by error diffusion");
  command.add_flag("--keep-cmyk", options.request.load.keepInks,
                   "Leave pictures of printing inks as they are, in tif and jpg");
  command
      .add_option("--profile", options.profile,
                  "ICC profile of CMYK pictures that have none; without, a plain formula")
      ->type_name("FILE")
      ->check(CLI::ExistingFile);
  command.add_flag("--strict", options.request.load.strict,
                   "Refuse damaged pictures, instead of writing what can be read of them");
  AddMaxPixels(command, options.request.load.maxPixels);
}

}  // namespace

void AddConvert(CLI::App& app, Exit& exit) {
  constexpr unsigned mostThreads = 1024;
  CLI::App* command = app.add_subcommand("convert", "Write the pictures of many files");
  command->footer(
      "Each document that is named or found in the folders becomes a picture file, or one for "
      "each\n"
      "page or page group, in the same folders below DIR. Formats of one picture get one file for\n"
      "each: NAME-1, NAME-2. Documents are told by what they hold; other files that are found in\n"
      "a folder are left out. Outputs appear whole or not at all, and a source that fails keeps "
      "no\n"
      "other from its own. Where pictures of a source can't be read, the others are written.\n"
      "--shard takes the sources whose path below DIR, without its ending, hashes to K: shards\n"
      "need nothing of each other, and can be run anywhere, in any order and again.\n"
      "--report appends a line of JSON for each source once its outputs are in place, and a last\n"
      "one; kzica report joins them. With --skip-existing, sources that failed last by the same\n"
      "report are tried again, though there be outputs.\n"
      "Exit status: 1 when a source failed, 3 for warnings, such as pages without a picture.");
  auto options = std::make_shared<ConvertOptions>();
  AddSources(*command, *options);
  AddOutputs(*command, *options);
  command
      ->add_option("-j,--jobs", options->request.threads,
                   "Threads; as many as processors if not given")
      ->type_name("N")
      ->check(CLI::Range(1U, mostThreads));
  command->add_option("--report", options->report, "File to append a line for each source to")
      ->type_name("FILE");
  command->add_flag("-q,--quiet", options->quiet,
                    "Print nothing but what keeps the run from beginning");
  AddNoWait(*command);
  command->callback([options, &exit] { exit = Conversion(*options).Run(); });
}

}  // namespace kzica
