/// The tables of a shared library in memory, by libelf; every count and text is bounded.
#ifndef RUNTIME_ELF_TABLES_H
#define RUNTIME_ELF_TABLES_H

#include "runtime/failure.h"

#include <QtCore/QByteArray>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <functional>
#include <gelf.h>

/// Reads an ELF file. What is damaged behind the first tables is told by `failure` at the end.
class ElfTables
{
public:
    ElfTables() : m_elf(nullptr), m_content(nullptr), m_header(), m_damage(nullptr) {}
    ~ElfTables() { elf_end(m_elf); }

    /// Reads the header, the segments and the sections' headers.
    /// @param content stays as it is for as long as this object lives
    /// @return StatusOpen for what is no shared library, or has no sections
    Failure open(QByteArray *content);

    const GElf_Ehdr &header() const { return m_header; }

    /// The first segment of a type; null when there is none.
    const GElf_Phdr *segment(unsigned int type) const;

    /// The first section of a name, as it stands in the file; empty when there is none, or when its
    /// place is not in the file.
    QByteArray section(const char *name) const;

    bool hasSection(const char *name) const { return m_sections.contains(name); }

    /// Calls with each entry of the dynamic section, and the text that it names, if it does.
    void forEachDynamic(const std::function<void(const GElf_Dyn &, const QString &)> &call) const;

    /// Calls with each dynamic symbol and its name.
    void forEachSymbol(const std::function<void(const GElf_Sym &, const QByteArray &)> &call) const;

    /// Calls with the library and the name of each version that the file insists on, and with an
    /// empty library for each one that it has itself.
    void forEachVersion(const std::function<void(const QString &, const QString &)> &call) const;

    /// Good when all tables could be read; else what is damaged.
    Failure failure() const;

private:
    Q_DISABLE_COPY(ElfTables)

    typedef std::function<void(const QString &, const QString &)> VersionCall;

    // The entries of the first section of a type, and the texts that they name.
    struct Table {
        Elf_Data *entries; // null when there is no such section
        Elf_Data *texts;
        int count;
    };

    Table table(unsigned int sectionType, Elf_Type entry) const;
    QByteArray textOf(const Elf_Data *texts, quint64 offset) const;
    void readNeeds(const VersionCall &call) const;
    void readDefinitions(const VersionCall &call) const;
    void damaged(const char *what) const;

    Elf *m_elf;
    const QByteArray *m_content;
    GElf_Ehdr m_header;
    QVector<GElf_Phdr> m_segments;
    QMap<QByteArray, GElf_Shdr> m_sections; // the first one of each name
    QMap<unsigned int, Elf_Scn *> m_types;  // the first one of each type
    mutable const char *m_damage;           // what is damaged, null for nothing
};

#endif
