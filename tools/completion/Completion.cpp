// asftool completion: a script that completes its command line in a shell.
#include "tools/common/Commands.h"
#include "tools/common/Output.h"
#include "tools/completion/CommandLine.h"

namespace tool {

void AddCompletion(CLI::App& app, const Options&, int*) {
  auto shell = std::make_shared<std::string>();
  Command command(app, "completion", "Print what completes this command line");
  command.Text("SHELL", shell.get(), "Of which shell").Required().OneOf({"bash", "zsh", "fish"});
  command.OnUse([shell, &app] {
    const std::vector<CommandWords> commands = ReadCommandLine(app);
    Print(*shell == "bash"  ? BashCompletion(commands)
          : *shell == "zsh" ? ZshCompletion(commands)
                            : FishCompletion(commands));
  });
}

}  // namespace tool
