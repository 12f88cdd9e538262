// A command as the command line has it. Command.cpp alone knows what parses that: its
// headers take longer to compile than all else in a source.
#ifndef QO_TOOLS_COMMON_COMMAND_H
#define QO_TOOLS_COMMON_COMMAND_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tool {

// An option, or an argument without a name. Lives as long as the command line does, however
// often it is copied.
class CommandOption {
 public:
  explicit CommandOption(CLI::Option* option) : option_(option) {}

  CommandOption& Required();
  CommandOption& Type(const std::string& name);  // that the help shows for its value
  CommandOption& OneOf(const std::vector<std::string>& words);
  CommandOption& Between(unsigned int least, unsigned int most);
  CommandOption& NotNegative();
  // `problem` tells what is wrong with a value; empty: nothing.
  CommandOption& Check(std::function<std::string(const std::string&)> problem);
  CommandOption& MayLackValue();
  CommandOption& Excludes(const CommandOption& other);

  // Once the command line has been parsed.
  bool IsGiven() const;

 private:
  CLI::Option* option_;
};

// What is given is stored behind the pointers when the command line is parsed: they must
// live until then.
class Command {
 public:
  Command(CLI::App& app, const std::string& name, const std::string& about);

  // `name` is "FILE" of an argument, "--json" or "-j,--jobs" of an option.
  CommandOption Text(const std::string& name, std::string* value, const std::string& about);
  CommandOption Texts(const std::string& name, std::vector<std::string>* values,
                      const std::string& about);
  CommandOption Number(const std::string& name, unsigned int* value, const std::string& about);
  CommandOption Number(const std::string& name, unsigned long long* value,
                       const std::string& about);
  // A time, which is stored in ms.
  CommandOption Time(const std::string& name, std::optional<unsigned long long>* ms,
                     const std::string& about);
  CommandOption Flag(const std::string& name, bool* value, const std::string& about);

  void Footer(const std::string& text);
  // Called when the user names the command and all that is given fits.
  void OnUse(const std::function<void()>& run);

 private:
  CLI::App* command_;
};

}  // namespace tool

#endif  // QO_TOOLS_COMMON_COMMAND_H
