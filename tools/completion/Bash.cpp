// Completion for bash. What it leaves open the shell completes by file names.
#include "tools/completion/CommandLine.h"

namespace tool {
namespace {

std::vector<std::string> OptionsOf(const CommandWords& command) {
  std::vector<std::string> options;
  for (const Word& word : command.words) {
    if (word.isOption()) options.insert(options.end(), word.names.begin(), word.names.end());
  }
  return options;
}

// "    units:--track) words='audio video' ;;"
std::string ValueCases(const CommandWords& command) {
  std::string text;
  const std::string prefix = command.name.empty() ? "*" : command.name;
  for (const Word& word : command.words) {
    if (!word.isOption() || !word.takesValue) continue;
    std::vector<std::string> patterns;
    for (const std::string& name : word.names) patterns.push_back(prefix + ":" + name);
    text += "    " + Joined(patterns, "|") + ") words='" + Joined(word.choices) + "' ;;\n";
  }
  return text;
}

std::string ArgumentCase(const CommandWords& command) {
  std::string text;
  for (const Word& word : command.words) {
    if (!word.isOption() && !word.choices.empty()) text += " " + Joined(word.choices);
  }
  return text.empty() ? "" : "        " + command.name + ") words='" + text.substr(1) + "' ;;\n";
}

}  // namespace

std::string BashCompletion(const std::vector<CommandWords>& commands) {
  std::vector<std::string> names;
  std::string values, options, arguments;
  for (const CommandWords& command : commands) {
    if (!command.name.empty()) names.push_back(command.name);
    values += ValueCases(command);
    arguments += ArgumentCase(command);
    const std::string pattern = command.name.empty() ? "" : "        " + command.name + ") ";
    if (!pattern.empty()) {
      options += pattern + "words+=' " + Joined(OptionsOf(command)) + "' ;;\n";
    }
  }
  return "# Completion of asftool for bash.\n"
         "_asftool() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}\n"
         "  local command='' words='' i\n"
         "  for ((i = 1; i < COMP_CWORD; ++i)); do\n"
         "    case ${COMP_WORDS[i]} in\n"
         "      " +
         Joined(names, "|") +
         ") command=${COMP_WORDS[i]} && break ;;\n"
         "    esac\n"
         "  done\n"
         "  case $command:$before in\n" +
         values +
         "    *)\n"
         "      if [[ $word == -* ]]; then\n"
         "        words='" +
         Joined(OptionsOf(commands.front())) +
         "'\n"
         "        case $command in\n" +
         options +
         "        esac\n"
         "      else\n"
         "        case $command in\n"
         "        '') words='" +
         Joined(names) + "' ;;\n" + arguments +
         "        esac\n"
         "      fi\n"
         "      ;;\n"
         "  esac\n"
         "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
         "}\n"
         "complete -o bashdefault -o default -F _asftool asftool\n";
}

}  // namespace tool
