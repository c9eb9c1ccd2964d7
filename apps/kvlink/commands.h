/// kvlink's commands. Each function adds one to the parser: its name, its options, and what it does
/// when it is the one that was named.
#ifndef APPS_KVLINK_COMMANDS_H
#define APPS_KVLINK_COMMANDS_H

namespace CLI
{
class App;
}

struct CommandLine;

void addInfoCommand(CLI::App &app, CommandLine *line);
void addInspectCommand(CLI::App &app, CommandLine *line);
void addListPortsCommand(CLI::App &app, CommandLine *line);
void addScanCommand(CLI::App &app, CommandLine *line);
void addReadCommand(CLI::App &app, CommandLine *line);
void addWriteCommand(CLI::App &app, CommandLine *line);
void addMonitorCommand(CLI::App &app, CommandLine *line);
void addBatchCommand(CLI::App &app, CommandLine *line);
void addTagsCommand(CLI::App &app, CommandLine *line);
void addDumpCommand(CLI::App &app, CommandLine *line);
void addRestoreCommand(CLI::App &app, CommandLine *line);
void addDiffCommand(CLI::App &app, CommandLine *line);
void addPingCommand(CLI::App &app, CommandLine *line);
void addBenchCommand(CLI::App &app, CommandLine *line);
void addDiagnoseCommand(CLI::App &app, CommandLine *line);
void addDecodeCommand(CLI::App &app, CommandLine *line);
void addReplayCommand(CLI::App &app, CommandLine *line);
void addProjectCommand(CLI::App &app, CommandLine *line);

#endif
