// Writes the manual page of kzica, or how a shell completes its lines; or the manual page of
// a script whose help is standard input: kzica_documents man|bash|zsh|fish|script.
#include <cstdio>
#include <iostream>
#include <iterator>
#include <string>

#include "Tools/kzica/Manual/Outline.h"

namespace {

std::string DocumentOf(const std::string& form) {
  if (form == "script") {
    return kzica::ScriptManualPage(
        {std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()});
  }
  const kzica::Outline outline = kzica::OutlineOfCommand();
  if (form == "man") return kzica::ManualPage(outline);
  if (form == "bash") return kzica::BashCompletion(outline);
  if (form == "zsh") return kzica::ZshCompletion(outline);
  return form == "fish" ? kzica::FishCompletion(outline) : std::string();
}

}  // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): a step of the build, which it ends
int main(int argc, char** argv) {
  const std::string document = argc == 2 ? DocumentOf(argv[1]) : std::string();
  if (document.empty()) {
    (void)std::fputs("usage: kzica_documents man|bash|zsh|fish, or script < HELP\n", stderr);
    return 2;
  }
  const size_t written = std::fwrite(document.data(), 1, document.size(), stdout);
  return written == document.size() && std::fflush(stdout) == 0 ? 0 : 1;
}
