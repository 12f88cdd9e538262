// Completion for fish: a line each.
#include "tools/completion/CommandLine.h"

namespace tool {
namespace {

std::string Quoted(const std::string& text) {
  std::string out = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') out += '\\';
    out += c;
  }
  return out + "'";
}

std::string ValueOf(const Word& word) {
  if (!word.takesValue) return "";
  if (word.takesFile) return " -r -F";
  return word.choices.empty() ? " -x" : " -x -a " + Quoted(Joined(word.choices));
}

std::string Line(const CommandWords& command, const Word& word) {
  std::string line = "complete -c asftool";
  if (!command.name.empty()) line += " -n '__fish_seen_subcommand_from " + command.name + "'";
  for (const std::string& name : word.names) {
    if (word.isOption()) line += name[1] == '-' ? " -l " + name.substr(2) : " -s " + name.substr(1);
  }
  if (!word.isOption()) {
    return word.choices.empty() ? "" : line + " -a " + Quoted(Joined(word.choices)) + "\n";
  }
  return line + ValueOf(word) + " -d " + Quoted(word.description) + "\n";
}

}  // namespace

std::string FishCompletion(const std::vector<CommandWords>& commands) {
  std::string text = "# Completion of asftool for fish.\n";
  for (const CommandWords& command : commands) {
    if (!command.name.empty()) {
      text += "complete -c asftool -n __fish_use_subcommand -f -a " + command.name + " -d " +
              Quoted(command.description) + "\n";
    }
    for (const Word& word : command.words) text += Line(command, word);
  }
  return text;
}

}  // namespace tool
