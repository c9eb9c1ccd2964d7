#include "runtime/panel_description.h"

#include "drivers/driver_interface.h"
#include "runtime/whole_file.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QSettings>
#include <QtCore/QTemporaryFile>
#include <QtCore/QVersionNumber>

namespace
{

const char NUMBERS[] = "[0-9]{1,5}(\\.[0-9]{1,5}){1,3}";

const struct {
    const char *name;
    const char *form;     // of its value
    const char *expected; // the form in words
    const char *versions; // the versions of symbols that it limits; null for none
} KEYS[] = {
    {"qt", NUMBERS, "a version such as 4.8.6", nullptr},
    {"buildkey", ".+", "the build key", nullptr},
    {"machine", "[a-z0-9_]+", "a machine such as arm", nullptr},
    {"bits", "32|64", "32 or 64", nullptr},
    {"endian", "little|big", "little or big", nullptr},
    {"float", "soft|hard", "soft or hard", nullptr},
    {"glibc", NUMBERS, "a version such as 2.13", "GLIBC"},
    {"glibcxx", NUMBERS, "a version such as 3.4.14", "GLIBCXX"},
    {"cxxabi", NUMBERS, "a version such as 1.3.4", "CXXABI"},
    {"libraries", "[^,]+", "names with blanks between them", nullptr},
};

QString of(const PanelDescription &panel, const char *key)
{
    return panel.values.value(QLatin1String(key));
}

// The panel's platform; what is not described is as the plug-in wants it.
Platform platformOf(const PanelDescription &panel, Platform platform)
{
    const auto take = [&panel](const char *key, const QString &otherwise) {
        return panel.values.value(QLatin1String(key), otherwise);
    };
    const QLatin1String big("big");
    platform.machine = take("machine", platform.machine);
    platform.bits = take("bits", QString::number(platform.bits)).toInt();
    platform.isBigEndian = take("endian", platform.isBigEndian ? big : QString()) == big;
    if (!platform.floatAbi.isEmpty())
        platform.floatAbi = take("float", platform.floatAbi);
    return platform;
}

// Why a Qt refuses a plug-in that was built with another version; empty when it does not.
QString versionRefusal(const QString &own, const QString &its)
{
    const QVersionNumber here = QVersionNumber::fromString(own);
    const QVersionNumber there = QVersionNumber::fromString(its);
    const bool isTaken =
        here.majorVersion() == there.majorVersion() && here.minorVersion() >= there.minorVersion();
    return isTaken ? QString()
                   : QString::fromLatin1("it was built with Qt %1, which Qt %2 does not take")
                         .arg(its, own);
}

void judgeQt4(const PluginFile &plugin, const PanelDescription &panel, QStringList *refusals)
{
    const VerificationText &text = plugin.verification;
    if (text.place.isEmpty() || text.place == QLatin1String("elsewhere")) {
        *refusals += QLatin1String("it has no verification text where Qt 4 looks for it "
                                   "(sections .qtplugin and .rodata)");
        return;
    }
    *refusals += versionRefusal(of(panel, "qt"), text.qtVersion);
    const QString keys = of(panel, "buildkey");
    bool isTaken = keys.isEmpty();
    // Qt leaves that out of the plug-in's key.
    const QString its = QString(text.buildKey).remove(QLatin1String(" no-stl"));
    for (const QString &key : keys.split(QLatin1Char('|')))
        isTaken |= key.trimmed() == its;
    if (!isTaken)
        *refusals += QString::fromLatin1("its build key is \"%1\", the panel's \"%2\"")
                         .arg(text.buildKey, keys);
}

void judgeLibraries(const PluginFile &plugin, const PanelDescription &panel, QStringList *refusals)
{
    const QStringList has = of(panel, "libraries").split(QLatin1Char(' '), Qt::SkipEmptyParts);
    for (const QString &library : plugin.neededLibraries) {
        if (!has.isEmpty() && !has.contains(library))
            *refusals += QString::fromLatin1("the panel lacks %1").arg(library);
    }
    for (const QString &needed : highestVersions(plugin.neededVersions)) {
        const int end = needed.lastIndexOf(QLatin1Char('_'));
        QString name = needed.left(end), number = needed.mid(end + 1);
        if (needed.startsWith(QLatin1String("GLIBC_ABI"))) {
            name = QLatin1String("GLIBC");
            number = QLatin1String("2.36"); // the first one that has any
        }
        for (const auto &key : KEYS) {
            const QString most = of(panel, key.name);
            if (!key.versions || most.isEmpty() || name != QLatin1String(key.versions))
                continue;
            if (QVersionNumber::fromString(number) > QVersionNumber::fromString(most))
                *refusals += QString::fromLatin1("it needs %1, the panel has %2").arg(needed, most);
        }
    }
}

Failure wrong(const QString &path, const QString &text)
{
    return Failure(StatusUsage, QString::fromLatin1("%1: %2").arg(path, text));
}

Failure checkValue(const QString &path, const QString &given, const QString &value)
{
    QStringList known;
    for (const auto &key : KEYS) {
        const QString name = QLatin1String(key.name);
        known += name;
        if (given != QLatin1String("panel/") + name)
            continue;
        const QString form = QRegularExpression::anchoredPattern(QLatin1String(key.form));
        if (QRegularExpression(form).match(value).hasMatch())
            return Failure();
        return wrong(path, QString::fromLatin1("%1 \"%2\": expected %3")
                               .arg(name, value, QLatin1String(key.expected)));
    }
    return wrong(path,
                 QString::fromLatin1("%1 is not a key of [panel]; expected in that section %2")
                     .arg(given, known.join(QLatin1String(", "))));
}

} // namespace

QString metaDataRefusal(const PluginMetaData &data, const QString &qt)
{
    if (!data.isRead)
        return QLatin1String(data.place.isEmpty() ? "it has no meta-data of a Qt 5 plug-in"
                                                  : "its meta-data cannot be read");
    const QString expected = QLatin1String(qobject_interface_iid<DriverInterface *>());
    if (data.interface != expected)
        return QString::fromLatin1("its interface is %1, expected is %2")
            .arg(data.interface, expected);
    return versionRefusal(qt, data.qtVersion);
}

QString platformRefusal(const Platform &own, const Platform &its)
{
    const QString text = QLatin1String("it is for %1, not for %2");
    const auto order = [](const Platform &platform) {
        return QLatin1String(platform.isBigEndian ? "big endian" : "little endian");
    };
    if (own.machine != its.machine)
        return text.arg(its.machine, own.machine);
    if (own.bits != its.bits)
        return text.arg(QString::number(its.bits) + QLatin1String(" bits"),
                        QString::number(own.bits));
    if (own.isBigEndian != its.isBigEndian)
        return text.arg(order(its), order(own));
    // An ABI that is not known fits both.
    if (own.floatAbi == its.floatAbi || own.floatAbi.isEmpty() || its.floatAbi.isEmpty())
        return QString();
    return text.arg(its.floatAbi + QLatin1String(" float"), own.floatAbi);
}

Failure readPanelDescription(const QString &path, PanelDescription *panel)
{
    *panel = PanelDescription();
    QByteArray content;
    if (Failure failure = readWholeFile(path, &content))
        return failure;
    // The parser wants a plain file; what is given may be a pipe.
    QTemporaryFile copy;
    if (content.isEmpty() || !copy.open() || !writeAllBytes(content, &copy) || !copy.flush())
        return Failure(StatusOpen, QString::fromLatin1("cannot read %1: %2")
                                       .arg(path, content.isEmpty() ? QLatin1String("it is empty")
                                                                    : copy.errorString()));
    const QSettings settings(copy.fileName(), QSettings::IniFormat);
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys) {
        // What has commas is a list to it.
        const QString value =
            settings.value(key).toStringList().join(QLatin1String(", ")).trimmed();
        if (Failure failure = checkValue(path, key, value))
            return failure;
        panel->values.insert(key.section(QLatin1Char('/'), 1), value);
    }
    if (keys.isEmpty() || settings.status() != QSettings::NoError)
        return wrong(path, QLatin1String("not a description of a panel; expected a section [panel] "
                                         "with lines such as qt=4.8.6"));
    return Failure();
}

PanelVerdict judgePlugin(const PluginFile &plugin, const PanelDescription &panel)
{
    PanelVerdict verdict;
    verdict.refusals += platformRefusal(platformOf(panel, plugin.platform), plugin.platform);
    const QString qt = of(panel, "qt");
    if (QVersionNumber::fromString(qt).majorVersion() == 4)
        judgeQt4(plugin, panel, &verdict.refusals);
    else if (!qt.isEmpty())
        verdict.refusals += metaDataRefusal(plugin.metaData, qt);
    if (!plugin.entryPoints.contains(QLatin1String("qt_plugin_instance")))
        verdict.refusals += QLatin1String("it exports no qt_plugin_instance");
    judgeLibraries(plugin, panel, &verdict.refusals);
    verdict.refusals.removeAll(QString());
    for (const auto &key : KEYS) {
        if (of(panel, key.name).isEmpty())
            verdict.unchecked += QLatin1String(key.name);
    }
    return verdict;
}
