// Reading the command line from its parser. No state.
#include "tools/completion/CommandLine.h"

#include <CLI/App.hpp>
#include <sstream>

namespace tool {
namespace {

// The type says what is allowed: "TEXT:{audio,video}".
std::vector<std::string> ChoicesOf(const std::string& type) {
  std::vector<std::string> choices;
  const std::size_t open = type.find('{'), close = type.find('}');
  if (open == std::string::npos || close == std::string::npos) return choices;
  std::istringstream list(type.substr(open + 1, close - open - 1));
  for (std::string choice; std::getline(list, choice, ',');) choices.push_back(choice);
  return choices;
}

Word WordOf(const CLI::Option& option) {
  Word word;
  for (const std::string& name : option.get_snames()) word.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) word.names.push_back("--" + name);
  if (word.names.empty()) word.names.push_back(option.get_name());
  word.description = option.get_description();
  const std::string type = option.get_type_name();
  word.takesValue = option.get_items_expected_max() > 0;
  word.choices = ChoicesOf(type);
  const bool isPath = type == "PATH" || type == "F";
  word.takesFile = isPath || (!word.isOption() && word.choices.empty());
  return word;
}

CommandWords WordsOf(const CLI::App& app, const std::string& name) {
  CommandWords command{name, app.get_description(), {}};
  for (const CLI::Option* option : app.get_options()) command.words.push_back(WordOf(*option));
  return command;
}

}  // namespace

std::string Joined(const std::vector<std::string>& words, const char* between) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

std::vector<CommandWords> ReadCommandLine(const CLI::App& app) {
  std::vector<CommandWords> commands = {WordsOf(app, "")};
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    commands.push_back(WordsOf(*command, command->get_name()));
  }
  return commands;
}

}  // namespace tool
