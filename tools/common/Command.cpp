// No state beside what parses the command line.
#include "tools/common/Command.h"

#include <CLI/App.hpp>
#include <cstdlib>
#include <utility>

#include "tools/common/Tool.h"

namespace tool {

CommandOption& CommandOption::Required() {
  option_->required();
  return *this;
}

CommandOption& CommandOption::Type(const std::string& name) {
  option_->type_name(name);
  return *this;
}

CommandOption& CommandOption::OneOf(const std::vector<std::string>& words) {
  option_->check(CLI::IsMember(words));
  return *this;
}

CommandOption& CommandOption::Between(unsigned int least, unsigned int most) {
  option_->check(CLI::Range(least, most));
  return *this;
}

CommandOption& CommandOption::NotNegative() {
  // Text that is no number is refused elsewhere.
  return Check([](const std::string& text) {
    const bool fits = std::strtod(text.c_str(), nullptr) >= 0;
    return fits ? std::string() : "must be 0 or more, not " + text;
  });
}

CommandOption& CommandOption::Check(std::function<std::string(const std::string&)> problem) {
  option_->check(std::move(problem), "");
  return *this;
}

CommandOption& CommandOption::MayLackValue() {
  option_->expected(0, 1);
  return *this;
}

CommandOption& CommandOption::Excludes(const CommandOption& other) {
  option_->excludes(other.option_);
  return *this;
}

bool CommandOption::IsGiven() const { return option_->count() != 0; }

Command::Command(CLI::App& app, const std::string& name, const std::string& about)
    : command_(app.add_subcommand(name, about)) {}

CommandOption Command::Text(const std::string& name, std::string* value, const std::string& about) {
  return CommandOption(command_->add_option(name, *value, about));
}

CommandOption Command::Texts(const std::string& name, std::vector<std::string>* values,
                             const std::string& about) {
  return CommandOption(command_->add_option(name, *values, about));
}

CommandOption Command::Number(const std::string& name, unsigned int* value,
                              const std::string& about) {
  return CommandOption(command_->add_option(name, *value, about));
}

CommandOption Command::Number(const std::string& name, unsigned long long* value,
                              const std::string& about) {
  return CommandOption(command_->add_option(name, *value, about));
}

CommandOption Command::Time(const std::string& name, std::optional<unsigned long long>* ms,
                            const std::string& about) {
  const auto store = [name, ms](const std::string& given) {
    *ms = ParseTime(given);
    if (*ms) return;
    throw CLI::ValidationError(name, given + " is no time: write seconds as in 62.5, or 1:02.5");
  };
  return CommandOption(
      command_->add_option_function<std::string>(name, store, about)->type_name("TIME"));
}

CommandOption Command::Flag(const std::string& name, bool* value, const std::string& about) {
  return CommandOption(command_->add_flag(name, *value, about));
}

void Command::Footer(const std::string& text) { command_->footer(text); }

void Command::OnUse(const std::function<void()>& run) { command_->callback(run); }

}  // namespace tool
