// What the command lines of several commands share. No state.
#include "tools/common/Commands.h"

namespace tool {

CLI::Option* AddTimeOption(CLI::App* command, const std::string& name,
                           std::optional<unsigned long long>* ms, const std::string& text) {
  const auto store = [name, ms](const std::string& given) {
    *ms = ParseTime(given);
    if (*ms) return;
    throw CLI::ValidationError(name, given + " is no time: write seconds as in 62.5, or 1:02.5");
  };
  return command->add_option_function<std::string>(name, store, text)->type_name("TIME");
}

}  // namespace tool
