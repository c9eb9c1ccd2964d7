/// kvlink as a user runs it: rows with what it prints and how it ends.
#ifndef TESTS_APPS_KVLINK_RUNS_H
#define TESTS_APPS_KVLINK_RUNS_H

#include "tests/apps/program_runner.h"
#include "tests/table.h"

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>

#include <memory>

/// The name is what is run: the options of a kvsim of its own and ">", if one is needed, then
/// kvlink's command lines with ";" between them. All but the last must succeed, and their output
/// comes first. In kvsim's options "+" is a blank. Placeholders there: WIRE leads to the PLC, SERIAL
/// without settings, PLC names its station as well, without a retry; FOLDER has files. In what is
/// expected: TIME, NUM (not zero), ANY in a line, ALL, and STAMP before a traced line. The output is
/// compared whole; of stderr a part, or all behind "^".
struct KvlinkRun {
    const char *name;
    int status;
    const char *out;
    const char *err;
};

/// Whether a text matches what a row expects.
inline bool fits(const QString &text, const QString &expected)
{
    QString pattern = QRegularExpression::escape(expected);
    pattern.replace("STAMP", "TIME \\d+\\.\\d+ \\+\\d+\\.\\d+")
        .replace("TIME", "\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d\\.\\d{3}[+-]\\d\\d:\\d\\d");
    pattern.replace("NUM", "(?!0\\.0+\\b)\\d+\\.\\d+")
        .replace("ANY", "[^\n]*")
        .replace("ALL", ".*");
    return QRegularExpression("\\A" + pattern + "\\z",
                              QRegularExpression::DotMatchesEverythingOption)
        .match(text)
        .hasMatch();
}

/// A folder for files, and a PLC at station 7 for the rows that need no faults.
class KvlinkTest : public QObject
{
protected:
    /// @param memory options of that PLC's kvsim
    explicit KvlinkTest(const char *memory)
        : m_plc(words("--tcp 0 --station 7 " + QString::fromLatin1(memory)))
    {}

    /// Runs a row's commands and compares.
    void check(const KvlinkRun &row)
    {
        const QString name = row.name;
        std::unique_ptr<Simulator> own;
        if (name.contains(" > "))
            own.reset(new Simulator(words("--station 7 --seed 3 " + name.section(" > ", 0, 0))
                                        .replaceInStrings("+", " ")));
        Outcome outcome = {0, QString(), QString()};
        QString out;
        for (const QString &command : name.section(" > ", -1).split(" ; ")) {
            QVERIFY2(outcome.status == 0, qPrintable(outcome.err));
            outcome = kvlink(arguments(command, own.get()));
            out += outcome.out;
        }
        QVERIFY2(fits(out, row.out), qPrintable(out));
        const QString err = row.err;
        QVERIFY2(fits(outcome.err, err.isEmpty()         ? err
                                   : err.startsWith('^') ? err.mid(1)
                                                         : "ALL" + err + "ALL"),
                 qPrintable(outcome.err));
        QCOMPARE(outcome.status, row.status);
        if (name.startsWith("--fault")) {
            const QString printed = own->stop().err;
            QVERIFY2(printed.contains(QRegularExpression("kvsim: fault [a-z-]+: 1\n")),
                     qPrintable(printed));
        }
    }

    void writeFile(const char *name, const QString &text)
    {
        QFile file(m_folder.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text.toLatin1()) == text.size());
    }

    /// The arguments of a command line with placeholders. @param own the PLC; null for the shared one
    QStringList arguments(QString text, const Simulator *own = nullptr) const
    {
        if (own)
            text.replace("PLC", QString("PLC --timeout %1").arg(REPLY_MS));
        text.replace("PLC", "WIRE --station 7 --retry 0");
        text.replace("SERIAL", "--port " + (own ? own : &m_plc)->place);
        text.replace("WIRE", (own ? own : &m_plc)->wire.join(' '));
        return words(text.replace("FOLDER", m_folder.path())).replaceInStrings("''", "");
    }

    QTemporaryDir m_folder;

private:
    Simulator m_plc;
};

#endif
