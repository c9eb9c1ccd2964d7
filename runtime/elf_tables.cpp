#include "runtime/elf_tables.h"

#include <cstring>

namespace
{

// Far above what a library has. What is read costs time and memory by these, not by what a damaged
// file claims.
const size_t MAX_SECTIONS = 20000;
const int MAX_DYNAMIC = 512;  // entries; the needed libraries among them are looked for
const int MAX_ENTRIES = 4096; // of versions
const size_t MAX_TEXT = 1024;

// Where a step within versions leads; -1, which no table has, for one that none takes.
int further(int at, GElf_Word step)
{
    const GElf_Word most = 1 << 27;
    return step < most && step % sizeof(GElf_Word) == 0 ? at + static_cast<int>(step) : -1;
}

Failure refuse(const char *text)
{
    return Failure(StatusOpen, QLatin1String(text));
}

} // namespace

void ElfTables::damaged(const char *what) const
{
    if (!m_damage)
        m_damage = what;
}

Failure ElfTables::failure() const
{
    if (!m_damage)
        return Failure();
    return Failure(StatusOpen,
                   QString::fromLatin1("a damaged ELF file (%1)").arg(QLatin1String(m_damage)));
}

Failure ElfTables::open(QByteArray *content)
{
    elf_version(EV_CURRENT);
    m_content = content;
    m_elf = elf_memory(content->data(), static_cast<size_t>(content->size()));
    size_t names = 0, sections = 0, segments = 0;
    if (!m_elf || elf_kind(m_elf) != ELF_K_ELF || !gelf_getehdr(m_elf, &m_header))
        return refuse(content->startsWith(ELFMAG) ? "a damaged ELF file (its header)"
                                                  : "not an ELF file");
    if (m_header.e_type != ET_DYN)
        return refuse("not a shared library");
    if (elf_getshdrnum(m_elf, &sections) != 0 || sections > MAX_SECTIONS ||
        elf_getshdrstrndx(m_elf, &names) != 0 || elf_getphdrnum(m_elf, &segments) != 0)
        return refuse("a damaged ELF file (the table of sections)");
    Elf_Data *const texts = elf_getdata(elf_getscn(m_elf, names), nullptr);
    for (Elf_Scn *section = nullptr; (section = elf_nextscn(m_elf, section));) {
        GElf_Shdr header;
        if (!gelf_getshdr(section, &header))
            return refuse("a damaged ELF file (a section's header)");
        const QByteArray name = textOf(texts, header.sh_name);
        if (!m_sections.contains(name))
            m_sections.insert(name, header);
        if (!m_types.contains(header.sh_type))
            m_types.insert(header.sh_type, section);
    }
    if (m_sections.isEmpty())
        return refuse(
            "a shared library without sections, or a damaged one; no Qt finds a plug-in in it");
    for (size_t i = 0; i < segments; ++i) {
        GElf_Phdr segment;
        if (gelf_getphdr(m_elf, static_cast<int>(i), &segment))
            m_segments.append(segment);
    }
    return Failure();
}

const GElf_Phdr *ElfTables::segment(unsigned int type) const
{
    for (const GElf_Phdr &segment : m_segments) {
        if (segment.p_type == type)
            return &segment;
    }
    return nullptr;
}

QByteArray ElfTables::section(const char *name) const
{
    const GElf_Shdr header = m_sections.value(name);
    const quint64 all = static_cast<quint64>(m_content->size());
    if (header.sh_type == SHT_NOBITS || header.sh_offset > all ||
        header.sh_size > all - header.sh_offset)
        return QByteArray();
    return QByteArray::fromRawData(m_content->constData() + header.sh_offset,
                                   static_cast<int>(header.sh_size));
}

QByteArray ElfTables::textOf(const Elf_Data *texts, quint64 offset) const
{
    if (texts && texts->d_buf && offset < texts->d_size) {
        const size_t at = static_cast<size_t>(offset);
        const char *text = static_cast<const char *>(texts->d_buf) + at;
        const size_t room = qMin<size_t>(texts->d_size - at, MAX_TEXT);
        const size_t length = strnlen(text, room);
        if (length < room)
            return QByteArray(text, static_cast<int>(length));
    }
    damaged("a text that is not there, or does not end");
    return QByteArray();
}

ElfTables::Table ElfTables::table(unsigned int sectionType, Elf_Type entry) const
{
    Table table = {nullptr, nullptr, 0};
    Elf_Scn *section = m_types.value(sectionType);
    GElf_Shdr header;
    if (!section || !gelf_getshdr(section, &header))
        return table;
    table.entries = elf_getdata(section, nullptr);
    table.texts = elf_getdata(elf_getscn(m_elf, header.sh_link), nullptr);
    if (table.entries && table.entries->d_buf && table.texts)
        table.count =
            static_cast<int>(table.entries->d_size / gelf_fsize(m_elf, entry, 1, EV_CURRENT));
    else
        damaged("a table that is not in the file");
    return table;
}

void ElfTables::forEachDynamic(
    const std::function<void(const GElf_Dyn &, const QString &)> &call) const
{
    const Table table = this->table(SHT_DYNAMIC, ELF_T_DYN);
    if (!table.entries)
        damaged("no dynamic section");
    if (table.count > MAX_DYNAMIC)
        damaged("more dynamic entries than a library has");
    GElf_Dyn entry;
    for (int i = 0; i < qMin(table.count, MAX_DYNAMIC); ++i) {
        if (!gelf_getdyn(table.entries, i, &entry) || entry.d_tag == DT_NULL)
            return;
        const bool hasText =
            entry.d_tag == DT_NEEDED || entry.d_tag == DT_RUNPATH || entry.d_tag == DT_RPATH;
        call(entry, hasText ? QString::fromUtf8(textOf(table.texts, entry.d_un.d_val)) : QString());
    }
}

void ElfTables::forEachSymbol(
    const std::function<void(const GElf_Sym &, const QByteArray &)> &call) const
{
    const Table table = this->table(SHT_DYNSYM, ELF_T_SYM);
    GElf_Sym symbol;
    for (int i = 1; i < table.count && gelf_getsym(table.entries, i, &symbol); ++i)
        call(symbol, textOf(table.texts, symbol.st_name));
}

// The library's entry leads to those of its versions, and to the next library.
void ElfTables::readNeeds(const VersionCall &call) const
{
    const Table table = this->table(SHT_GNU_verneed, ELF_T_VNEED);
    GElf_Verneed need;
    GElf_Vernaux version;
    int left = MAX_ENTRIES;
    for (int at = 0; table.count > 0 && left > 0; at = further(at, need.vn_next)) {
        if (!gelf_getverneed(table.entries, at, &need))
            return damaged("the versions that it needs");
        const QString library = QString::fromUtf8(textOf(table.texts, need.vn_file));
        int place = further(at, need.vn_aux);
        for (int i = 0; i < need.vn_cnt && left > 0; ++i, --left) {
            if (!gelf_getvernaux(table.entries, place, &version))
                return damaged("the versions that it needs");
            if (!(version.vna_flags & VER_FLG_WEAK))
                call(library, QString::fromUtf8(textOf(table.texts, version.vna_name)));
            place = further(place, version.vna_next);
        }
        --left;
        if (need.vn_next == 0)
            return;
    }
    if (table.count > 0)
        damaged("more versions than a library needs");
}

void ElfTables::readDefinitions(const VersionCall &call) const
{
    const Table table = this->table(SHT_GNU_verdef, ELF_T_VDEF);
    GElf_Verdef definition;
    GElf_Verdaux name;
    int at = 0;
    for (int left = MAX_ENTRIES; table.count > 0 && left > 0; --left) {
        if (!gelf_getverdef(table.entries, at, &definition) ||
            !gelf_getverdaux(table.entries, further(at, definition.vd_aux), &name))
            return damaged("the versions that it has");
        call(QString(), QString::fromUtf8(textOf(table.texts, name.vda_name)));
        if (definition.vd_next == 0)
            return;
        at = further(at, definition.vd_next);
    }
    if (table.count > 0)
        damaged("more versions than a library has");
}

void ElfTables::forEachVersion(const VersionCall &call) const
{
    readNeeds(call);
    readDefinitions(call);
}
