// The commands of asftool. Each adds itself to the command line; when the user
// names it, it runs and stores its exit code.
//
// `options` and `exitCode` must outlive the parsing of the command line. A
// command that cannot go on throws Failure.
#ifndef QO_TOOLS_COMMON_COMMANDS_H
#define QO_TOOLS_COMMON_COMMANDS_H

#include "tools/common/Command.h"
#include "tools/common/Tool.h"

namespace tool {

void AddInfo(CLI::App& app, const Options& options, int* exitCode);
void AddUnits(CLI::App& app, const Options& options, int* exitCode);
void AddTree(CLI::App& app, const Options& options, int* exitCode);
void AddExtract(CLI::App& app, const Options& options, int* exitCode);
void AddVerify(CLI::App& app, const Options& options, int* exitCode);
void AddRepair(CLI::App& app, const Options& options, int* exitCode);
void AddSeek(CLI::App& app, const Options& options, int* exitCode);
void AddReport(CLI::App& app, const Options& options, int* exitCode);
void AddTrace(CLI::App& app, const Options& options, int* exitCode);
void AddCompletion(CLI::App& app, const Options& options, int* exitCode);

}  // namespace tool

#endif  // QO_TOOLS_COMMON_COMMANDS_H
