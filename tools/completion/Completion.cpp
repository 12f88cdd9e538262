// asftool completion: a script that completes its command line in a shell.
#include "tools/common/Commands.h"
#include "tools/common/Output.h"
#include "tools/completion/CommandLine.h"

namespace tool {

void AddCompletion(CLI::App& app, const Options&, int*) {
  auto shell = std::make_shared<std::string>();
  CLI::App* command = app.add_subcommand("completion", "Print what completes this command line");
  command->add_option("SHELL", *shell, "Of which shell")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  command->callback([shell, &app] {
    const std::vector<CommandWords> commands = ReadCommandLine(app);
    Print(*shell == "bash"  ? BashCompletion(commands)
          : *shell == "zsh" ? ZshCompletion(commands)
                            : FishCompletion(commands));
  });
}

}  // namespace tool
