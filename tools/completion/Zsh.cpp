// Completion for zsh, by its own _arguments.
#include "tools/completion/CommandLine.h"

namespace tool {
namespace {

// `text` within single quotes, with a backslash in front of each of `special`.
std::string Escaped(const std::string& text, const std::string& special) {
  std::string out;
  for (const char c : text) {
    if (c == '\'') {
      out += "'\\''";
      continue;
    }
    if (special.find(c) != std::string::npos) out += '\\';
    out += c;
  }
  return out;
}

std::string ActionOf(const Word& word) {
  if (word.takesFile) return "_files";
  return word.choices.empty() ? " " : "(" + Joined(word.choices) + ")";
}

// Of an option: "'(-j --jobs)'{-j,--jobs}'[Files at once]:value: '"
std::string ArgumentText(const Word& word) {
  const std::string rest = "[" + Escaped(word.description, "[]:\\") + "]" +
                           (word.takesValue ? ":value:" + ActionOf(word) : "") + "'";
  if (word.names.size() == 1) return "'" + word.names.front() + rest;
  return "'(" + Joined(word.names) + ")'{" + Joined(word.names, ",") + "}'" + rest;
}

// One argument that stands for all: files, and the choices of those that have any.
std::string ArgumentsOf(const CommandWords& command) {
  std::string choices;
  bool takesFile = false;
  for (const Word& word : command.words) {
    if (word.isOption()) continue;
    takesFile = takesFile || word.takesFile;
    for (const std::string& choice : word.choices) choices += " " + choice;
  }
  if (choices.empty()) return takesFile ? " '*:file:_files'" : "";
  if (!takesFile) return " '*:argument:(" + choices.substr(1) + ")'";
  return " '1:file:_files' '*:argument:(" + choices.substr(1) + ")'";
}

std::string OptionsOf(const CommandWords& command, const char* indent) {
  std::string text;
  for (const Word& word : command.words) {
    if (word.isOption()) text += indent + ArgumentText(word);
  }
  return text;
}

}  // namespace

std::string ZshCompletion(const std::vector<CommandWords>& commands) {
  std::string names, cases;
  for (const CommandWords& command : commands) {
    if (command.name.empty()) continue;
    names += "\n        '" + command.name + ":" + Escaped(command.description, ":\\") + "'";
    cases += "        " + command.name + ")\n          _arguments $common" +
             OptionsOf(command, " \\\n            ") + " \\\n           " + ArgumentsOf(command) +
             "\n          ;;\n";
  }
  return "#compdef asftool\n"
         "# Completion of asftool for zsh.\n"
         "_asftool() {\n"
         "  local context state state_descr line\n"
         "  typeset -A opt_args\n"
         "  local -a commands common\n"
         "  common=(" +
         OptionsOf(commands.front(), "\n    ") +
         "\n  )\n"
         "  _arguments -C $common '1:command:->command' '*::argument:->argument'\n"
         "  case $state in\n"
         "    command)\n"
         "      commands=(" +
         names +
         "\n      )\n"
         "      _describe command commands\n"
         "      ;;\n"
         "    argument)\n"
         "      case $words[1] in\n" +
         cases +
         "      esac\n"
         "      ;;\n"
         "  esac\n"
         "}\n"
         "_asftool \"$@\"\n";
}

}  // namespace tool
