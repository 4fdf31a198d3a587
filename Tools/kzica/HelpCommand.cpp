// kzica help: what --help of a command shows.
#include <algorithm>
#include <memory>

#include "Tools/kzica/Command.h"

namespace kzica {

namespace {

void Help(const CLI::App& app, const std::string& name) {
  if (name.empty()) {
    // That of the app itself would be that of the command that was parsed, this one.
    Print(app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal));
    return;
  }
  const std::vector<const CLI::App*> commands = app.get_subcommands({});
  const auto command = std::find_if(commands.begin(), commands.end(), [&](const CLI::App* known) {
    return known->get_name() == name;
  });
  if (command == commands.end()) throw UsageError("there is no command '" + name + "'");
  Print((*command)->help(app.get_name()));
}

}  // namespace

void AddHelp(CLI::App& app) {
  CLI::App* command = app.add_subcommand("help", "Describe a command");
  auto name = std::make_shared<std::string>();
  command->add_option("COMMAND", *name, "Command to describe, if not all of them");
  command->callback([&app, name] { Help(app, *name); });
}

}  // namespace kzica
