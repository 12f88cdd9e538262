// The command line as completion needs it, read from what parses it.
#ifndef QO_TOOLS_COMPLETION_COMMANDLINE_H
#define QO_TOOLS_COMPLETION_COMMANDLINE_H

#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace tool {

// An option, or an argument without a name.
struct Word {
  std::vector<std::string> names;  // "-r", "--recursive"; of an argument "FILE"
  std::string description;
  bool takesValue = false;           // an argument does
  bool takesFile = false;            // as its value
  std::vector<std::string> choices;  // for it; empty: any

  bool isOption() const { return names.front()[0] == '-'; }
};

// A command, or what stands in front of it.
struct CommandWords {
  std::string name;  // empty in front of the commands
  std::string description;
  std::vector<Word> words;
};

// What stands in front of the commands first, then these.
std::vector<CommandWords> ReadCommandLine(const CLI::App& app);

// "audio video".
std::string Joined(const std::vector<std::string>& words, const char* between = " ");

// A script that completes the command line in a shell.
std::string BashCompletion(const std::vector<CommandWords>& commands);
std::string ZshCompletion(const std::vector<CommandWords>& commands);
std::string FishCompletion(const std::vector<CommandWords>& commands);

}  // namespace tool

#endif  // QO_TOOLS_COMPLETION_COMMANDLINE_H
