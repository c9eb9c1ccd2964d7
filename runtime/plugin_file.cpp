#include "runtime/plugin_file.h"

#include "runtime/elf_tables.h"
#include "runtime/whole_file.h"

#include <QtCore/QCborMap>
#include <QtCore/QCborValue>
#include <QtCore/QMap>
#include <QtCore/QVersionNumber>

namespace
{

const char *const ENTRY_POINTS[] = {"CreateDriver", "qt_plugin_instance",
                                    "qt_plugin_query_metadata",
                                    "qt_plugin_query_verification_data"};

const struct {
    unsigned int number;
    const char *name;
} MACHINES[] = {{EM_386, "i386"},      {EM_X86_64, "x86_64"}, {EM_ARM, "arm"},
                {EM_AARCH64, "arm64"}, {EM_MIPS, "mips"},     {EM_PPC, "power"},
                {EM_PPC64, "power64"}, {EM_SH, "sh"},         {EM_RISCV, "riscv"}};

QString machineName(unsigned int number)
{
    for (const auto &machine : MACHINES) {
        if (machine.number == number)
            return QLatin1String(machine.name);
    }
    return QString::fromLatin1("machine %1").arg(number);
}

// A number of seven bits a byte, the lowest first.
quint32 packedNumber(const QByteArray &bytes, int *at)
{
    quint32 number = 0;
    for (int shift = 0; *at < bytes.size(); shift += 7) {
        const unsigned char byte = static_cast<unsigned char>(bytes.at((*at)++));
        if (shift < 32)
            number |= static_cast<quint32>(byte & 0x7F) << shift;
        if (byte < 0x80)
            break;
    }
    return number;
}

// What the build attributes of an ARM file say; older linkers leave nothing else.
QString floatAbiOf(const QByteArray &attributes)
{
    enum { CpuRawName = 4, CpuName = 5, VfpArguments = 28, Compatibility = 32 };
    const QByteArray maker("aeabi\0\1", 7); // and the mark of attributes of the whole file
    const int lengths = 4;                  // each
    if (!attributes.startsWith('A') || attributes.mid(1 + lengths, maker.size()) != maker)
        return QString();
    int at = 1 + lengths + maker.size() + lengths;
    while (at < attributes.size()) {
        const quint32 tag = packedNumber(attributes, &at);
        const bool isText =
            tag == CpuRawName || tag == CpuName || (tag > Compatibility && tag % 2 == 1);
        const quint32 value = isText ? 0 : packedNumber(attributes, &at);
        if (tag == VfpArguments)
            return QLatin1String(value == 1 ? "hard" : "soft");
        if (!isText && tag != Compatibility)
            continue;
        const int end = attributes.indexOf('\0', at);
        at = end < 0 ? attributes.size() : end + 1;
    }
    return QLatin1String("soft");
}

void readPlatform(const ElfTables &elf, Platform *platform)
{
    const GElf_Ehdr &header = elf.header();
    platform->machine = machineName(header.e_machine);
    platform->bits = header.e_ident[EI_CLASS] == ELFCLASS64 ? 64 : 32;
    platform->isBigEndian = header.e_ident[EI_DATA] == ELFDATA2MSB;
    if (header.e_machine != EM_ARM)
        return;
    if (header.e_flags & (EF_ARM_ABI_FLOAT_HARD | EF_ARM_ABI_FLOAT_SOFT))
        platform->floatAbi =
            QLatin1String(header.e_flags & EF_ARM_ABI_FLOAT_HARD ? "hard" : "soft");
    else
        platform->floatAbi = floatAbiOf(elf.section(".ARM.attributes"));
}

// Where a mark stands, and what follows it there. As Qt does, it takes the first of the places that
// the file has, and there the last mark.
QString findMark(const ElfTables &elf, const QByteArray &content, const char *section,
                 const QByteArray &mark, QByteArray *found)
{
    const int enough = 65536;
    const char *const place = elf.hasSection(section)     ? section
                              : elf.hasSection(".rodata") ? ".rodata"
                                                          : nullptr;
    const QByteArray searched = place ? elf.section(place) : content;
    const int at = searched.lastIndexOf(mark);
    const int anywhere = at < 0 ? content.lastIndexOf(mark) : at;
    if (anywhere < 0)
        return QString();
    *found = (at < 0 ? content : searched).mid(anywhere + mark.size(), enough);
    return QLatin1String(at < 0 ? "elsewhere" : place ? place : "the whole file");
}

void readVerification(const ElfTables &elf, const QByteArray &content, VerificationText *text)
{
    QByteArray found;
    text->place =
        findMark(elf, content, ".qtplugin", "pattern=QT_PLUGIN_VERIFICATION_DATA\n", &found);
    const int longest = 1024;
    const QString lines = QString::fromLatin1(found.left(found.indexOf('\0')).left(longest));
    for (const QString &line : lines.split(QLatin1Char('\n'))) {
        const QString value = line.section(QLatin1Char('='), 1);
        if (line.startsWith(QLatin1String("version=")))
            text->qtVersion = value;
        else if (line.startsWith(QLatin1String("buildkey=")))
            text->buildKey = value;
        else if (line.startsWith(QLatin1String("debug=")))
            text->isDebug = value == QLatin1String("true");
    }
}

// Since Qt 5.12: "!", its version (0), major, minor, flags, and a map of numbered values.
void readMetaData(const ElfTables &elf, const QByteArray &content, PluginMetaData *data)
{
    enum { Major = 2, Minor = 3, Flags = 4, Head = 5, DebugFlag = 1, Interface = 2, ClassName = 3 };
    QByteArray found;
    data->place = findMark(elf, content, ".qtmetadata", "QTMETADATA ", &found);
    if (found.size() <= Head || !found.startsWith(QByteArray("!\0", 2)))
        return;
    const QCborMap map = QCborValue::fromCbor(found.mid(Head)).toMap();
    data->interface = map.value(Interface).toString();
    data->className = map.value(ClassName).toString();
    data->isRead = !data->interface.isEmpty();
    data->qtVersion =
        QString::fromLatin1("%1.%2").arg(int(found.at(Major))).arg(int(found.at(Minor)));
    data->isDebug = found.at(Flags) & DebugFlag;
}

void readDynamic(const ElfTables &elf, PluginFile *plugin, bool *isBoundAtLoad)
{
    elf.forEachDynamic([&](const GElf_Dyn &entry, const QString &text) {
        const quint64 value = entry.d_un.d_val;
        if (entry.d_tag == DT_NEEDED)
            plugin->neededLibraries += text;
        else if (entry.d_tag == DT_RUNPATH || entry.d_tag == DT_RPATH)
            plugin->searchPath = text;
        else if (entry.d_tag == DT_BIND_NOW || (entry.d_tag == DT_FLAGS && value & DF_BIND_NOW) ||
                 (entry.d_tag == DT_FLAGS_1 && value & DF_1_NOW))
            *isBoundAtLoad = true;
    });
}

void readSymbols(const ElfTables &elf, PluginFile *plugin, bool *hasStackGuard, bool *hasFortify)
{
    elf.forEachSymbol([&](const GElf_Sym &symbol, const QByteArray &name) {
        const int binding = GELF_ST_BIND(symbol.st_info);
        const int visibility = GELF_ST_VISIBILITY(symbol.st_other);
        if (symbol.st_shndx == SHN_UNDEF) {
            const bool isGuard = name.startsWith("__stack_chk_");
            *hasStackGuard |= isGuard;
            *hasFortify |= !isGuard && name.startsWith("__") && name.endsWith("_chk");
        } else if ((binding == STB_GLOBAL || binding == STB_WEAK) &&
                   (visibility == STV_DEFAULT || visibility == STV_PROTECTED)) {
            ++plugin->exportCount;
            for (const char *entryPoint : ENTRY_POINTS) {
                if (name == entryPoint)
                    plugin->entryPoints += QLatin1String(entryPoint);
            }
        }
    });
    plugin->neededLibraries.removeDuplicates();
    plugin->entryPoints.removeDuplicates();
    plugin->entryPoints.sort();
}

void readProtection(const ElfTables &elf, PluginFile *plugin)
{
    bool isBoundAtLoad = false, hasStackGuard = false, hasFortify = false;
    readDynamic(elf, plugin, &isBoundAtLoad);
    readSymbols(elf, plugin, &hasStackGuard, &hasFortify);
    const GElf_Phdr *relocated = elf.segment(PT_GNU_RELRO), *stack = elf.segment(PT_GNU_STACK);
    const auto add = [plugin](bool is, const char *text) {
        if (is)
            plugin->hardening += QLatin1String(text);
    };
    add(relocated && isBoundAtLoad, "full relro");
    add(relocated && !isBoundAtLoad, "partial relro");
    add(isBoundAtLoad, "bind now");
    add(stack && !(stack->p_flags & PF_X), "no executable stack");
    add(hasStackGuard, "stack protector");
    add(hasFortify, "fortify");
}

} // namespace

QString Platform::text() const
{
    return QString::fromLatin1("%1, %2 bits, %3 endian%4")
        .arg(machine, QString::number(bits), QLatin1String(isBigEndian ? "big" : "little"),
             floatAbi.isEmpty() ? QString() : QString::fromLatin1(", %1 float").arg(floatAbi));
}

Failure parsePluginFile(QByteArray content, PluginFile *plugin)
{
    *plugin = PluginFile();
    ElfTables elf;
    if (Failure failure = elf.open(&content))
        return failure;
    plugin->size = content.size();
    readPlatform(elf, &plugin->platform);
    readProtection(elf, plugin);
    elf.forEachVersion([plugin](const QString &library, const QString &version) {
        if (library.isEmpty())
            plugin->ownVersions += version;
        else
            plugin->neededVersions.append({library, version});
    });
    readVerification(elf, content, &plugin->verification);
    readMetaData(elf, content, &plugin->metaData);
    plugin->hasSymbolTable = elf.hasSection(".symtab");
    plugin->hasDebugInfo = elf.hasSection(".debug_info") || elf.hasSection(".zdebug_info");
    return elf.failure();
}

Failure readPluginFile(const QString &path, PluginFile *plugin)
{
    QByteArray content;
    if (Failure failure = readWholeFile(path, &content))
        return failure;
    if (Failure failure = parsePluginFile(content, plugin))
        return Failure(failure.status(), path + QLatin1String(": ") + failure.text());
    return Failure();
}

QStringList highestVersions(const QVector<SymbolVersion> &versions)
{
    QStringList texts;
    QMap<QString, QVersionNumber> highest;
    for (const SymbolVersion &needed : versions) {
        const int at = needed.version.lastIndexOf(QLatin1Char('_'));
        const QVersionNumber number = QVersionNumber::fromString(needed.version.mid(at + 1));
        if (at > 0 && !number.isNull()) {
            QVersionNumber &known = highest[needed.version.left(at)];
            known = qMax(known, number);
        } else {
            texts += needed.version;
        }
    }
    texts.removeDuplicates();
    for (auto version = highest.constBegin(); version != highest.constEnd(); ++version)
        texts += version.key() + QLatin1Char('_') + version->toString();
    return texts;
}
