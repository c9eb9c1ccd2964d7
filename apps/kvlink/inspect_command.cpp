// inspect: what the file of a plug-in says of itself, and who can load it. None of its code runs.
#include "apps/argument_text.h"
#include "apps/option_checks.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/item_output.h"
#include "runtime/escaped_text.h"
#include "runtime/failure_text.h"
#include "runtime/local_loading.h"
#include "runtime/panel_description.h"

#include <CLI/CLI.hpp>

#include <QtCore/QTextStream>

namespace
{

struct InspectOptions {
    QString file;
    QString panelFile; ///< empty for none
    const OutputFormat *format = defaultFormat();
};

QString buildText(bool isDebug)
{
    return QLatin1String(isDebug ? "debug" : "release");
}

QString verificationText(const VerificationText &text)
{
    if (text.place.isEmpty())
        return QLatin1String("none");
    return QString::fromLatin1("Qt %1, %2, build key \"%3\" (%4)")
        .arg(text.qtVersion, buildText(text.isDebug), text.buildKey, text.place);
}

QString metaDataText(const PluginMetaData &data)
{
    if (!data.isRead)
        return QLatin1String(data.place.isEmpty() ? "none"
                                                  : "of Qt before 5.12, or damaged; not read");
    return QString::fromLatin1("Qt %1, %2, class %3, interface %4 (%5)")
        .arg(data.qtVersion, buildText(data.isDebug), data.className, data.interface, data.place);
}

QString symbolsText(const PluginFile &plugin)
{
    return QLatin1String(plugin.hasDebugInfo     ? "not stripped, with debug information"
                         : plugin.hasSymbolTable ? "not stripped"
                                                 : "stripped");
}

QString verdictText(const QStringList &refusals)
{
    return refusals.isEmpty()
               ? QLatin1String("can load it")
               : QLatin1String("cannot load it: ") + refusals.join(QLatin1String("; "));
}

// One row, with a column for each property.
OutputTable describe(const PluginFile &plugin, const InspectOptions &options,
                     const PanelVerdict &verdict)
{
    OutputTable table;
    table.rows.resize(1);
    const auto add = [&table](const char *key, const char *title, const QJsonValue &value) {
        table.columns.append(TableColumn{key, title});
        table.rows.first().append(value);
    };
    const QLatin1String comma(", ");
    const PluginFile &its = plugin;
    add("file", "file", options.file);
    add("size", "size in bytes", its.size);
    add("platform", "platform", its.platform.text());
    add("libraries", "needed libraries", its.neededLibraries.join(comma));
    add("versions", "needed versions", highestVersions(its.neededVersions).join(comma));
    add("entryPoints", "entry points", its.entryPoints.join(comma));
    add("exports", "exported symbols", its.exportCount);
    add("verification", "verification text", verificationText(its.verification));
    add("metaData", "meta-data", metaDataText(its.metaData));
    add("hardening", "hardening", its.hardening.join(comma));
    add("symbols", "symbols", symbolsText(its));
    add("thisMachine", "this machine", verdictText(localRefusals(its, options.file)));
    if (options.panelFile.isEmpty())
        return table;
    add("panel", "panel", verdictText(verdict.refusals));
    add("notChecked", "not checked", verdict.unchecked.join(comma));
    return table;
}

void printLines(const OutputTable &table, QTextStream &out)
{
    int width = 0;
    for (const TableColumn &column : table.columns)
        width = qMax(width, static_cast<int>(qstrlen(column.title)));
    for (int i = 0; i < table.columns.size(); ++i) {
        const QString title = QLatin1String(table.columns.at(i).title);
        const QString value = table.rows.first().at(i).toVariant().toString();
        out << (title + QLatin1Char(':')).leftJustified(width + 2)
            << printableText(value.isEmpty() ? QLatin1String("none") : value) << '\n';
    }
}

int runInspect(const InspectOptions &options, const LinkOptions &, QTextStream &out,
               QTextStream &err)
{
    PluginFile plugin;
    PanelDescription panel;
    PanelVerdict verdict;
    if (!options.panelFile.isEmpty()) {
        if (Failure failure = readPanelDescription(options.panelFile, &panel))
            return complain(err, failure);
    }
    if (Failure failure = readPluginFile(options.file, &plugin))
        return complain(err, failure);
    if (!options.panelFile.isEmpty())
        verdict = judgePlugin(plugin, panel);
    const OutputTable table = describe(plugin, options, verdict);
    if (options.format->isForPeople)
        printLines(table, out);
    else
        options.format->printTable(table, out);
    return verdict.refusals.isEmpty() ? StatusGood : StatusDiffers;
}

} // namespace

void addInspectCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<InspectOptions>();
    CLI::App *command = app.add_subcommand(
        "inspect", "Describe a plug-in's file, for any machine; runs none of its code");
    command->add_option_function<std::string>("file", into(&options->file), "Plug-in to read")
        ->required()
        ->type_name("FILE");
    addText(*command, "--panel", &options->panelFile, "FILE",
            "Description of a panel; status 7 when it refuses the plug-in");
    addFormatOption(command, &options->format, OutputKind::Table);
    command->callback([line, options] {
        line->needsLink = false;
        line->run = withOptions(options, runInspect);
    });
}
