// What the subcommands share: how they are added, report and end.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <string>
#include <utility>

#include "Toolkit/Base/Outcome.h"
#include "Toolkit/Documents/PageIndex.h"

namespace kzica {

// Exit status of the command. Only the end of the run says kWarned: what goes on
// after a warning goes on as after none.
enum Exit : int { kDone = 0, kFileFailed = 1, kWrongUsage = 2, kWarned = 3 };

// Each adds its subcommand. When the parsed line asks for it, it runs and leaves
// its exit status in `exit`; wrong usage that shows only then is a UsageError.
void AddInfo(CLI::App& app, Exit& exit);
void AddExtract(CLI::App& app, Exit& exit);
void AddRender(CLI::App& app, Exit& exit);
void AddContact(CLI::App& app, Exit& exit);
void AddCreate(CLI::App& app, Exit& exit);
void AddAppend(CLI::App& app, Exit& exit);
void AddInsert(CLI::App& app, Exit& exit);
void AddReplace(CLI::App& app, Exit& exit);
void AddDelete(CLI::App& app, Exit& exit);
void AddAssemble(CLI::App& app, Exit& exit);
void AddSplit(CLI::App& app, Exit& exit);
void AddRepair(CLI::App& app, Exit& exit);
void AddText(CLI::App& app, Exit& exit);
void AddIndex(CLI::App& app, Exit& exit);
void AddDump(CLI::App& app, Exit& exit);
void AddCheck(CLI::App& app, Exit& exit);
void AddCompare(CLI::App& app, Exit& exit);
void AddAbic(CLI::App& app, Exit& exit);
void AddConvert(CLI::App& app, Exit& exit);
void AddReport(CLI::App& app, Exit& exit);
void AddHelp(CLI::App& app);

// Wrong usage that the parser can't see.
class UsageError : public CLI::ValidationError {
 public:
  explicit UsageError(const std::string& what)
      : CLI::ValidationError("UsageError", what, CLI::ExitCodes::ValidationError) {}
};

// What a line on standard error begins with: the file, and the page or
// picture when it is one that matters (0: none).
struct Subject {
  std::string file;
  int page = 0;
  int picture = 0;
};

// "kzica: FILE: page 2: the data end too early (status -7)" on standard error.
// Standard output and input are called by their names. Returns kFileFailed.
Exit Complain(const Subject& subject, const kz::Outcome& outcome);
// "kzica: FILE: text" for what is worth knowing but no failure.
void Note(const Subject& subject, const std::string& text);
// "kzica: FILE: page 2: warning: text" for each warning of what was done: the
// command ends with kWarned then, unless something fails.
void Warn(const Subject& subject, const kz::Outcome& outcome);
// Warns that a file's own bytes are damaged, if they are.
void WarnOfDamage(const kz::PageIndex& index);

// A line on standard error, safe to look at whatever is in it.
void Say(const std::string& line);

// While it lives, what its thread says waits in it: where several files are read at once,
// it is said in their order.
class HeldLines {
 public:
  HeldLines();
  ~HeldLines();
  HeldLines(const HeldLines&) = delete;
  HeldLines& operator=(const HeldLines&) = delete;
  // What was said, to be given to SayHeld.
  std::string Take() { return std::move(m_lines); }

 private:
  friend void Say(const std::string& line);
  std::string m_lines;
  HeldLines* m_outer;  // that waits meanwhile
};

void SayHeld(const std::string& lines);

// Files aren't for terminals: "-" on one is a UsageError.
void RefuseTerminal(const std::string& out);

// An encoding of a document's text that iconv doesn't know is a UsageError.
void CheckEncoding(const std::string& encoding);

// Adds -j; `threads` is as many as there are processors when it isn't given.
void AddThreads(CLI::App& command, unsigned& threads);

// Adds --max-pixels.
void AddMaxPixels(CLI::App& command, int64_t& maxPixels);
// Adds -j; `jobs` stays 0, for as many as there are processors, when it isn't given.
void AddJobs(CLI::App& command, unsigned& jobs);
// Adds --resources, a folder; `folder` stays empty when it isn't given.
void AddResources(CLI::App& command, std::string& folder);

// Writes text to standard output, to a terminal without its control characters but for
// the ends of lines and pages; a failure shows at FinishOutput.
void Print(const std::string& text);
// Whether that is of use still.
bool CanPrint();
// Completes standard output and the exit status: kWarned for kDone after a warning,
// kFileFailed, having said so, when not all that was printed could be written. Ends the process as
// by SIGPIPE when nobody reads it any more.
Exit FinishOutput(Exit exit);

// Counts the pages, pictures or files of a long task on standard error when that is a
// terminal.
class Progress {
 public:
  // `noun` must stay: "page".
  Progress(size_t count, const char* noun);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  void Step();

 private:
  size_t m_count;
  const char* m_noun;
  size_t m_done = 0;
  bool m_shown;
};

}  // namespace kzica
