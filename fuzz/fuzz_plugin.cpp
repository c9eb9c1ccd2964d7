// The file of a plug-in, of any machine: what inspect reads of it, and what a panel says of it. The
// seeds are the smallest libraries that have the tables: linked without start files, stripped.
#include "fuzz/fuzz_check.h"
#include "runtime/panel_description.h"

int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    const QByteArray content(reinterpret_cast<const char *>(bytes), static_cast<int>(size));
    PluginFile plugin;
    const Failure failure = parsePluginFile(content, &plugin);
    fuzzCheck(failure.isGood() || !failure.text().isEmpty(), "a refusal without a reason");
    if (failure)
        return 0;
    fuzzCheck(plugin.size == content.size() && content.contains("\x7f"
                                                                "ELF"),
              "no ELF file");
    fuzzCheck(plugin.neededLibraries.size() < content.size() &&
                  plugin.exportCount < content.size() && plugin.entryPoints.size() <= 4,
              "more than the file holds");
    for (const QString &library : plugin.neededLibraries)
        fuzzCheck(content.contains(library.toUtf8()) ||
                      library.contains(QChar::ReplacementCharacter),
                  "a library that does not stand there");
    PanelDescription panel;
    panel.values[QLatin1String("qt")] = QLatin1String("4.8.6");
    panel.values[QLatin1String("glibc")] = QLatin1String("2.13");
    panel.values[QLatin1String("machine")] = plugin.platform.machine;
    const PanelVerdict verdict = judgePlugin(plugin, panel);
    fuzzCheck(verdict.unchecked.size() == 7 && !verdict.refusals.contains(QString()), "a verdict");
    return 0;
}
