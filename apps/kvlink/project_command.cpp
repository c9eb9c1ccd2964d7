// project: project databases.
#include "apps/argument_text.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "runtime/failure_text.h"
#include "runtime/project_database.h"

#include <CLI/CLI.hpp>

namespace
{

int runProjectInit(const LinkOptions &options, QTextStream &, QTextStream &err)
{
    const QString file = options.projectFile;
    if (Failure failure = writeExampleProject(file))
        return complain(err, failure);
    const QString text =
        QString::fromLatin1("wrote %1: COM2 leads to station 1, ETHERNET to 127.0.0.1:8501");
    return complain(err, text.arg(file), StatusGood);
}

} // namespace

void addProjectCommand(CLI::App &app, CommandLine *line)
{
    CLI::App *project = app.add_subcommand("project", "Project databases");
    project->require_subcommand(1);
    CLI::App *init = project->add_subcommand("init", "Write an example project database");
    init->callback([line] {
        line->needsLink = false;
        line->run = runProjectInit;
    });
    init->add_option_function<std::string>("file", into(&line->link.projectFile),
                                           "File that does not exist yet")
        ->required()
        ->type_name("FILE");
}
