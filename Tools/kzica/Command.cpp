#include "Tools/kzica/Command.h"

#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "Toolkit/Base/Printable.h"
#include "Toolkit/Base/Workers.h"
#include "Toolkit/Documents/Document.h"
#include "Toolkit/Fields/TextDecoder.h"
#include "Tools/kzica/Input.h"

namespace kzica {

namespace {

void SayLine(const Subject& subject, const std::string& text) {
  std::string line = "kzica: ";
  line += subject.file == "-" ? "standard output" : InputName(subject.file);
  if (subject.file.empty()) line += "''";
  if (subject.page > 0) line += ": page " + std::to_string(subject.page);
  if (subject.picture > 0) {
    line += (subject.page > 0 ? ", " : ": ") + ("picture " + std::to_string(subject.picture));
  }
  Say(line + ": " + text);
}

// Why standard output couldn't be written, as errno; 0 = it could.
int g_outputError = 0;

std::atomic<bool> g_warned = false;

thread_local HeldLines* t_held = nullptr;

bool NobodyReadsOutput() {
  pollfd output = {STDOUT_FILENO, 0, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

}  // namespace

void Say(const std::string& line) {
  // A name may hold anything; a report is one line.
  const std::string safe = kz::Printable(line) + "\n";
  if (t_held != nullptr) {
    t_held->m_lines += safe;
  } else {
    SayHeld(safe);
  }
}

HeldLines::HeldLines() : m_outer(t_held) { t_held = this; }

HeldLines::~HeldLines() { t_held = m_outer; }

void SayHeld(const std::string& lines) { (void)std::fputs(lines.c_str(), stderr); }

Exit Complain(const Subject& subject, const kz::Outcome& outcome) {
  if (subject.file == "-" && NobodyReadsOutput()) return kFileFailed;
  SayLine(subject, outcome.what + " (status " + std::to_string(outcome.status) + ")");
  return kFileFailed;
}

void Note(const Subject& subject, const std::string& text) { SayLine(subject, text); }

void Warn(const Subject& subject, const kz::Outcome& outcome) {
  for (const std::string& warning : outcome.warnings) {
    SayLine(subject, "warning: " + warning);
    g_warned = true;
  }
}

void WarnOfDamage(const kz::PageIndex& index) {
  kz::Outcome damage;
  if (!index.structure.Ok() && index.IsDamaged()) damage.warnings = {index.structure.what};
  Warn({index.file}, damage);
}

void RefuseTerminal(const std::string& out) {
  if (out == "-" && isatty(STDOUT_FILENO) == 1) {
    throw UsageError("standard output is a terminal; redirect it");
  }
}

void CheckEncoding(const std::string& encoding) {
  kz::TextDecoder decoder;
  const kz::Outcome outcome = decoder.Open(encoding);
  if (!outcome.Ok()) throw UsageError("--encoding: " + outcome.what);
}

void AddThreads(CLI::App& command, unsigned& threads) {
  constexpr unsigned most = 1024;
  threads = kz::Workers::Processors();
  command
      .add_option("-j,--jobs", threads,
                  "Threads to use, instead of as many as there are processors")
      ->type_name("N")
      ->check(CLI::Range(1U, most, ""));
}

void AddMaxPixels(CLI::App& command, int64_t& maxPixels) {
  maxPixels = kz::kDefaultMaxPixels;
  command.add_option("--max-pixels", maxPixels, "Refuse pictures of more pixels")
      ->check(CLI::Validator(
          [](const std::string& text) {
            const bool positive = text.find_first_not_of("0123456789") == std::string::npos &&
                                  text.find_first_not_of('0') != std::string::npos;
            return positive ? "" : "'" + text + "' is no number of pixels";
          },
          ""))
      ->type_name("N")
      ->capture_default_str();
}

void AddJobs(CLI::App& command, unsigned& jobs) {
  command
      .add_option("-j,--jobs", jobs,
                  "Work on so many processors at once; without, on as many as there are")
      ->check(CLI::Range(1, 1024))
      ->type_name("N");
}

void AddResources(CLI::App& command, std::string& folder) {
  command
      .add_option("--resources", folder,
                  "Folder with resources that pages include and FILE lacks: files of their names, "
                  "or libraries with them")
      ->type_name("DIR")
      ->check(CLI::ExistingDirectory);
}

void Print(const std::string& text) {
  static const bool terminal = isatty(STDOUT_FILENO) == 1;
  const std::string safe =
      terminal ? kz::Printable(text, kz::Unprintable::Hex, "\n\t\f") : std::string();
  const std::string& shown = terminal ? safe : text;
  if (std::fwrite(shown.data(), 1, shown.size(), stdout) < shown.size()) g_outputError = errno;
}

bool CanPrint() { return g_outputError == 0; }

Exit FinishOutput(Exit exit) {
  if (std::fflush(stdout) != 0 && g_outputError == 0) g_outputError = errno;
  if (NobodyReadsOutput() && (g_outputError != 0 || exit != kDone)) {
    (void)std::signal(SIGPIPE, SIG_DFL);
    (void)std::raise(SIGPIPE);
  }
  if (g_outputError == 0) return exit == kDone && g_warned ? kWarned : exit;
  const Exit failed = Complain({"-"}, kz::SystemFailure(K_ERROR_WRITE, g_outputError));
  return exit == kWrongUsage ? exit : failed;
}

Progress::Progress(size_t count, const char* noun)
    : m_count(count), m_noun(noun), m_shown(count > 1 && isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
  if (m_shown && m_done > 0) (void)std::fputs("\r\033[K", stderr);
}

void Progress::Step() {
  // So often at most, of however many.
  constexpr size_t mostLines = 1000;
  const size_t every = m_count / mostLines + 1;
  if (++m_done % every != 0 || !m_shown) return;
  (void)std::fprintf(stderr, "\r%s %zu of %zu", m_noun, m_done, m_count);
}

}  // namespace kzica
