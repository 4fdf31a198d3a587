// kzica: IOCA images, bare and in MO:DCA documents, on the command line.
#include <csignal>
#include <cstdio>
#include <new>
#include <string>

#include "Tools/kzica/App.h"

namespace {

using namespace kzica;

// The subcommand that was being parsed, for the pointer to its help.
std::string HelpOf(const CLI::App& app) {
  std::string name = "kzica";
  for (const CLI::App* command : app.get_subcommands()) name += " " + command->get_name();
  return name + " --help";
}

Exit Run(int argc, char** argv) {
  CLI::App app;
  Exit exit = kDone;
  DefineApp(app, exit);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {
    app.exit(success);
    std::cout.flush();
  } catch (const CLI::ParseError& error) {
    std::string what = error.what();
    if (app.get_subcommands().empty() && !app.remaining().empty()) {
      what = "there is no command '" + app.remaining().front() + "'";
    }
    (void)std::fprintf(stderr, "kzica: %s\nTry '%s'.\n", what.c_str(), HelpOf(app).c_str());
    return kWrongUsage;
  }
  return exit;
}

}  // namespace

int main(int argc, char** argv) {
  // A limit on the file size and a reader that went away are write failures: what
  // was begun is cleaned up, then they are reported.
  (void)std::signal(SIGXFSZ, SIG_IGN);
  (void)std::signal(SIGPIPE, SIG_IGN);
  try {
    return FinishOutput(Run(argc, argv));
  } catch (const std::bad_alloc&) {
    (void)std::fputs("kzica: there is not enough memory\n", stderr);
    return kFileFailed;
  }
}
