// kzica: IOCA images, bare and in MO:DCA documents, on the command line.
#include <fcntl.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <sstream>
#include <string>

#include "Host/Abic/AbicText.h"
#include "Toolkit/Base/Printable.h"
#include "Toolkit/Files/TemporaryFileSignals.h"
#include "Tools/kzica/App.h"
#include "Tools/kzica/Locking.h"

namespace {

using namespace kzica;

// The subcommand that was being parsed, for the pointer to its help.
std::string HelpOf(const CLI::App& app) {
  std::string name = "kzica";
  for (const CLI::App* command : app.get_subcommands()) name += " " + command->get_name();
  return name + " --help";
}

// Takes the places of standard input, output and error that are closed: a file that is
// opened later would get them, and what is printed. What takes them can be neither read
// nor written, so that whoever needs them fails. False when that can't be done.
bool TakeStandardDescriptors() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    const int access = descriptor == 0 ? O_WRONLY : O_RDONLY;
    if (open("/dev/null", access) != descriptor) return false;
  }
  return true;
}

// Whether the environment names parameters of ABIC coding that the codec library understands;
// if not, says so.
bool CheckAbicParameters() {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no thread has been started
  const char* named = std::getenv(kz::kAbicVariable);
  kz::AbicParameters parameters;
  if (named == nullptr || kz::ReadAbicText(named, parameters)) return true;
  Say("kzica: " + std::string(kz::kAbicVariable) + " in the environment is not understood: '" +
      kz::Printable(named) + "'");
  return false;
}

Exit Run(int argc, char** argv) {
  if (!CheckAbicParameters()) return kWrongUsage;
  CLI::App app;
  Exit exit = kDone;
  DefineApp(app, exit);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    std::ostringstream text;
    app.exit(success, text, text);
    Print(text.str());
  } catch (const CLI::ParseError& error) {
    std::string what = error.what();
    if (app.get_subcommands().empty() && !app.remaining().empty()) {
      what = "there is no command '" + app.remaining().front() + "'";
    }
    Say("kzica: " + what);
    Say("Try '" + HelpOf(app) + "'.");
    return kWrongUsage;
  }
  return exit;
}

}  // namespace

int main(int argc, char** argv) {
  if (!TakeStandardDescriptors()) return kFileFailed;
  // A limit on the file size and a reader that went away are write failures: what
  // was begun is cleaned up, then they are reported.
  (void)std::signal(SIGXFSZ, SIG_IGN);
  (void)std::signal(SIGPIPE, SIG_IGN);
  kz::RemoveTemporaryFilesOnSignals();
  NoteWaiting();
  try {
    return FinishOutput(Run(argc, argv));
  } catch (const std::bad_alloc&) {
    (void)std::fputs("kzica: there is not enough memory\n", stderr);
    return kFileFailed;
  }
}
