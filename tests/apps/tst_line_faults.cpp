// Ports and peers that fail under the channels and under kvlink: what is told, with which status,
// and how soon.
#include "runtime/device_channel.h"
#include "runtime/driver_plugin.h"
#include "runtime/serial_port.h"
#include "runtime/tcp_port.h"
#include "drivers/driver_interface.h"
#include "tests/runtime/line_peer.h"
#include "tests/table.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTemporaryDir>

#include <csignal>
#include <malloc.h>
#include <memory>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <linux/capability.h>

#ifdef __SANITIZE_ADDRESS__
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace
{

// What a program may take beyond the time under test: its start and end, on a busy machine.
const int SLACK_MS = 3000 * KV_TEST_PATIENCE;

// Longer than the slack, so that coming back "at once" is told from waiting.
const int LONG_MS = 5 * SLACK_MS;

qint64 heapBytes()
{
#ifdef __SANITIZE_ADDRESS__
    return static_cast<qint64>(__sanitizer_get_current_allocated_bytes());
#else
    return static_cast<qint64>(mallinfo2().uordblks);
#endif
}

/// A kvlink whom file modes bind, even when root runs the tests.
class Kvlink : public QProcess
{
public:
    explicit Kvlink(const QStringList &arguments)
    {
        start(QLatin1String(KVLINK_PROGRAM), arguments);
        m_clock.start();
    }

    void send(int signal)
    {
        if (processId() > 0)
            ::kill(static_cast<pid_t>(processId()), signal);
        m_clock.start();
    }

    /// Waits for the end of a signal's handler: of two signals at once the second would be lost.
    bool hasHandled(int signal)
    {
        const quint64 bit = 1ull << (signal - 1);
        QElapsedTimer waiting;
        waiting.start();
        while (waiting.elapsed() < PATIENCE_MS) {
            QFile file(QString::fromLatin1("/proc/%1/status").arg(processId()));
            const QByteArray status =
                file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
            quint64 ahead = signalSet(status, "ShdPnd:") | signalSet(status, "SigBlk:");
            if (!KV_TEST_EMULATED) // an emulator catches all signals, at all times
                ahead |= signalSet(status, "SigCgt:");
            if (!(ahead & bit))
                return true;
        }
        return false;
    }

    /// Time since the start or the latest signal.
    qint64 elapsedMs() const { return m_clock.elapsed(); }

protected:
    void setupChildProcess() override
    {
        prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
        prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
    }

private:
    static quint64 signalSet(const QByteArray &status, const QByteArray &name)
    {
        const int at = status.indexOf(name) + name.size();
        return status.mid(at).trimmed().left(16).toULongLong(nullptr, 16);
    }

    QElapsedTimer m_clock;
};

QStringList requestWords(const char *text, int timeoutMs)
{
    return words(QLatin1String(text)) << QLatin1String("--timeout") << QString::number(timeoutMs);
}

const struct {
    const char *name;
    LinePeer::Road road;
    const char *script;
} BREAKS[] = {
    {"port gone before the first reply", LinePeer::Pty, "<|X"},
    {"port gone before the data", LinePeer::Pty, "<|>CC 00|<|X"},
    {"port gone in mid-reply", LinePeer::Pty, "<|>CC 00|<|>>12|X"},
    {"port gone before the close", LinePeer::Pty, "<|>CC 00|<|>1234|<|X"},
    {"closed before the first reply", LinePeer::Tcp, "<|X"},
    {"closed in mid-reply", LinePeer::Tcp, "<|>CC 00|<|>>12|X"},
    {"reset before the data", LinePeer::Tcp, "<|>CC 00|<|R"},
    {"reset in mid-reply", LinePeer::Tcp, "<|>CC 00|<|>>12|R"},
};

const struct {
    const char *name;
} SERVERS[] = {{"--set DM1=7"}, {"--set DM1=7 --tcp 0"}};

#define EXCHANGE(reply) "<|>CC 00|<|" reply "|<|>CF"

// What the driver takes for done, and kvlink does not.
const struct {
    const char *name;
    const char *script;
    int status;
    const char *output; // on either stream
} ANSWERS[] = {
    {"read DM1 -n 4", EXCHANGE(">1234"), 5, "expected 4 items, received 1 in \"1234\\r\\n\""},
    {"read R100:bit", EXCHANGE(">1 0"), 5, "expected 1 item, received 2"},
    {"read DM1 --twice", EXCHANGE(">0001") "|" EXCHANGE(">0002") "|" EXCHANGE(">0002"), 0, "2\n"},
    {"read DM0:u32[200] --retry 0", EXCHANGE(">E1") "|" EXCHANGE(">E1"), 1,
     "\"RDS DM00000.H 306\""},
    {"write DM1=5", EXCHANGE(">E"), 5, "not confirmed: expected \"OK\" to \"WRS DM00001.H 1 0005"},
    {"write DM1=5", EXCHANGE(">\\x1b"), 5, "received \"\\x5cx1b\\r\\n\""},
    {"write DM1=5 --verify", EXCHANGE(">E") "|" EXCHANGE(">0005"), 0, ""},
    {"write DM1=5 --verify", EXCHANGE(">E") "|" EXCHANGE(">0006"), 7, "wrote 5, read back 6"},
    {"ping --count 1", "<|>EX", 5, "expected \"CC 00\", received \"EX\\r\\n\""},
};

const struct {
    const char *name;
    QString message;
} CANNOT_BE_OPENED[] = {
    {"missing", "No such file or directory"},
    {"directory", "Is a directory"},
    {"file", "it is no serial port"},
    {"no permission", "Permission denied"},
    {"taken", "another process uses it"},
    {"refused", "Connection refused"},
    {"full queue", "Socket operation timed out"},
};

} // namespace

class TestLineFaults : public QObject
{
    Q_OBJECT

private slots:
    void cannotBeOpened_data() { addRows(CANNOT_BE_OPENED); }

    void cannotBeOpened()
    {
        const auto &row = currentRow(CANNOT_BE_OPENED);
        const QString fault = QLatin1String(row.name);
        QTemporaryDir folder;
        LinePeer terminal(LinePeer::Pty);
        std::unique_ptr<LinePeer> server(new LinePeer(LinePeer::Tcp));
        std::unique_ptr<Kvlink> owner;
        QStringList road = terminal.road();
        if (fault == QLatin1String("missing"))
            road.last() = folder.filePath(fault);
        if (fault == QLatin1String("directory"))
            road.last() = folder.path();
        if (fault == QLatin1String("file"))
            road.last() = QFINDTESTDATA("tst_line_faults.cpp");
        if (fault == QLatin1String("no permission"))
            QCOMPARE(::chmod(qPrintable(terminal.place()), 0), 0);
        if (fault == QLatin1String("taken")) {
            owner.reset(new Kvlink(road + requestWords("read DM1", LONG_MS)));
            QVERIFY(terminal.play("<"));
        }
        if (fault == QLatin1String("refused") || fault == QLatin1String("full queue"))
            road = server->road();
        if (fault == QLatin1String("refused"))
            server.reset();
        if (fault == QLatin1String("full queue"))
            QVERIFY(server->refuseToAccept());
        Kvlink program(road + requestWords("read DM1", 200));
        const Outcome outcome = ended(&program);
        QVERIFY2(outcome.err.startsWith(QLatin1String("kvlink: cannot ")) &&
                     outcome.err.endsWith(row.message + QLatin1Char('\n')),
                 qPrintable(outcome.err));
        QCOMPARE(outcome.status, 3);
        QVERIFY(program.elapsedMs() < SLACK_MS);
        QCOMPARE(terminal.rest(), QByteArray());
        if (owner) {
            owner->send(SIGKILL);
            ended(owner.get());
        }
    }

    void breaksInMidRequest_data() { addRows(BREAKS); }

    void breaksInMidRequest()
    {
        const auto &row = currentRow(BREAKS);
        LinePeer peer(row.road);
        Kvlink program(peer.road() + requestWords("read DM1", LONG_MS));
        QVERIFY(peer.play(row.script));
        const Outcome outcome = ended(&program);
        QVERIFY2(outcome.err.contains(QLatin1String(row.road == LinePeer::Pty
                                                        ? "the port is gone or broken"
                                                        : "The remote host closed the connection")),
                 qPrintable(outcome.err));
        QCOMPARE(outcome.out, QString());
        QCOMPARE(outcome.status, 4);
        QVERIFY2(program.elapsedMs() < SLACK_MS, qPrintable(QString::number(program.elapsedMs())));
    }

    void believesOnlyWhatIsAnswered_data() { addRows(ANSWERS); }

    void believesOnlyWhatIsAnswered()
    {
        const auto &row = currentRow(ANSWERS);
        LinePeer peer(LinePeer::Pty);
        Kvlink program(peer.road() + requestWords(row.name, LONG_MS));
        QVERIFY(peer.play(row.script));
        const Outcome outcome = ended(&program);
        QVERIFY2((outcome.err + outcome.out).contains(row.output), qPrintable(outcome.err));
        QCOMPARE(outcome.status, row.status);
    }

    // To another port, or out of a connection that has fallen silent.
    void monitorFollowsItsLink()
    {
        const char exchange[] = EXCHANGE(">1234");
        for (LinePeer::Road road : {LinePeer::Pty, LinePeer::Tcp}) {
            const bool isTcp = road == LinePeer::Tcp;
            QTemporaryDir folder;
            const QString link = folder.filePath(QLatin1String("plc"));
            LinePeer first(road);
            LinePeer other(LinePeer::Pty);
            LinePeer &second = isTcp ? first : other;
            QVERIFY(QFile::link(first.place(), link));
            Kvlink monitor(
                words(QLatin1String("monitor DM1 --interval 20 --format value")) +
                (isTcp ? first.road() : first.road().replaceInStrings(first.place(), link)) +
                requestWords("--retry 0", isTcp ? 10 * REPLY_MS : LONG_MS));
            QVERIFY(first.play(exchange));
            QCOMPARE(nextLine(&monitor), QLatin1String("4660\n"));
            const int files = openFiles(monitor.processId());
            QVERIFY(first.play(isTcp ? "S" : "<|>CC 00|<"));
            if (!isTcp) {
                QVERIFY(QFile::remove(link) && QFile::link(second.place(), link));
                first.vanish();
            }
            QVERIFY(second.play(exchange));
            QCOMPARE(nextLine(&monitor), QLatin1String("4660\n"));
            QCOMPARE(openFiles(monitor.processId()), files);
            QVERIFY(second.play("<"));
            monitor.send(SIGINT);
            QVERIFY(second.play(">CC 00|<|>1234|<|>CF"));
            const Outcome outcome = ended(&monitor);
            QCOMPARE(outcome.status, 0);
            QVERIFY2(
                outcome.err.startsWith(QLatin1String("kvlink: outage: ")) &&
                    outcome.err.contains(QLatin1String(isTcp ? "no reply to \"CR 00\""
                                                             : "the port is gone or broken")) &&
                    outcome.err.contains(QLatin1String("kvlink: the PLC answers again after ")),
                qPrintable(outcome.err));
        }
    }

    // The signals come when the open line has come. Without a signal in it the answer is all of the
    // peer's.
    void signalsEndARequest_data()
    {
        QTest::addColumn<bool>("isTcp");
        QTest::addColumn<QList<int>>("signalNumbers");
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<int>("timeoutMs");
        QTest::addColumn<int>("status"); // of the signal that ends it, negative
        const QByteArray silence;
        for (bool isTcp : {false, true}) {
            const char *const road = isTcp ? "tcp" : "pty";
            for (int number : {SIGINT, SIGTERM, SIGHUP}) {
                const auto row = [&](const char *name) -> QTestData & {
                    return QTest::newRow(qPrintable(
                               QString::fromLatin1("%1 %2 %3").arg(road).arg(number).arg(name)))
                           << isTcp;
                };
                row("silent") << (QList<int>() << number) << silence << 300 << 4;
                row("answered") << (QList<int>() << number) << QByteArray(">CC 00|<|>1234|<|>CF")
                                << LONG_MS << 6;
                const int other = number == SIGTERM ? SIGINT : SIGTERM;
                row("twice") << (QList<int>() << number << number) << silence << LONG_MS << -number;
                row("other") << (QList<int>() << number << other) << silence << LONG_MS << -other;
            }
            QTest::newRow(isTcp ? "tcp below nohup" : "pty below nohup")
                << isTcp << (QList<int>() << SIGTERM << SIGHUP) << silence << 300 << 4;
        }
    }

    void signalsEndARequest()
    {
        QFETCH(bool, isTcp);
        QFETCH(QList<int>, signalNumbers);
        QFETCH(QByteArray, answer);
        QFETCH(int, timeoutMs);
        QFETCH(int, status);
        LinePeer peer(isTcp ? LinePeer::Tcp : LinePeer::Pty);
        const bool isIgnored = QByteArray(QTest::currentDataTag()).endsWith("nohup");
        std::signal(SIGHUP, isIgnored ? SIG_IGN : SIG_DFL); // the program inherits it
        Kvlink program(peer.road() + requestWords("read DM1 T1 --retry 1000", timeoutMs));
        QVERIFY(peer.play("<"));
        std::signal(SIGHUP, SIG_DFL);
        for (int number : signalNumbers) {
            program.send(number);
            QVERIFY(program.hasHandled(number));
        }
        if (!answer.isEmpty())
            QVERIFY(peer.play(answer));
        const Outcome outcome = ended(&program);
        const qint64 limitMs = SLACK_MS + (status == 4 ? timeoutMs : 0);
        QVERIFY2(program.elapsedMs() < limitMs, qPrintable(QString::number(program.elapsedMs())));
        // Nothing was begun, least of all half a line.
        QCOMPARE(peer.rest(), QByteArray());
        if (status >= 0) {
            QVERIFY2(outcome.err.contains(QLatin1String("interrupted ")), qPrintable(outcome.err));
            QCOMPARE(outcome.status, status);
            QCOMPARE(outcome.out, QLatin1String(status == 6 ? "DM1 4660\n" : ""));
        } else {
            QCOMPARE(program.exitStatus(), QProcess::CrashExit);
            QCOMPARE(program.exitCode(), -status);
        }
    }

    void signalEndsADrippingReply()
    {
        LinePeer peer(LinePeer::Pty);
        const int timeoutMs = 500 * KV_TEST_PATIENCE;
        Kvlink program(peer.road() + requestWords("read DM1 --retry 0", timeoutMs));
        QVERIFY(peer.play("<|>CC 00|<|>>1"));
        program.send(SIGINT);
        while (program.state() != QProcess::NotRunning && program.elapsedMs() < PATIENCE_MS) {
            program.waitForFinished(timeoutMs / 5);
            peer.play(">>1");
        }
        QVERIFY2(program.elapsedMs() < SLACK_MS + timeoutMs,
                 qPrintable(QString::number(program.elapsedMs())));
        QCOMPARE(program.exitCode(), 5);
    }

    void endsQuietlyWithItsReader()
    {
        const Simulator plc(words("--tcp 0"));
        for (const char *command : {"monitor DM1 --interval 10", "ping --count 0 --interval 10"}) {
            for (const QStringList &road : {words("--sim"), plc.road}) {
                QProcess shell;
                shell.start(QLatin1String("bash"),
                            QStringList()
                                << QLatin1String("-c")
                                << QLatin1String("\"$0\" \"$@\" | head -n 1; exit ${PIPESTATUS[0]}")
                                << QLatin1String(KVLINK_PROGRAM) << road + words(command));
                const Outcome outcome = ended(&shell);
                QCOMPARE(outcome.out.count(QLatin1Char('\n')), 1);
                QCOMPARE(outcome.err, QString());
                QCOMPARE(outcome.status, 3);
            }
        }
    }

    // Eight bytes of output: as many as one of Qt's own descriptors takes when it has become
    // number 1.
    void missesAClosedOutput()
    {
        QProcess shell;
        shell.start(QLatin1String("/bin/sh"),
                    QStringList() << QLatin1String("-c")
                                  << QLatin1String("exec \"$0\" --sim read 'DM1[4]' >&-")
                                  << QLatin1String(KVLINK_PROGRAM));
        const Outcome outcome = ended(&shell);
        QCOMPARE(outcome.err, QLatin1String("kvlink: cannot write to the standard output\n"));
        QCOMPARE(outcome.status, 3);
    }

    void reconnectsWithoutEnd_data() { addRows(SERVERS); }

    void reconnectsWithoutEnd()
    {
        const auto &row = currentRow(SERVERS);
        const Simulator plc(words(row.name));
        DriverPlugin plugin;
        QString error;
        QVERIFY2(plugin.load(QLatin1String(KV_PLUGIN_FILE), &error), qPrintable(error));
        const CommunicatorCommand word(Word, 1, QLatin1String("DM1"));
        const auto openLine = [&]() -> std::unique_ptr<Port> {
            TcpAddress address;
            SerialPortSetting setting;
            QStringList warnings;
            if (parseTcpAddress(plc.place, &address, &error))
                return openTcp(address, PATIENCE_MS, &error);
            setting.device = plc.place;
            setting.parity = QSerialPort::NoParity;
            return openSerialPort(setting, &error, &warnings);
        };
        const int WARM_UP = 100;
        qint64 heap = 0;
        int own = 0;
        int others = 0;
        for (int k = 0; k < WARM_UP + 1000; ++k) {
            if (k == WARM_UP) {
                own = openFiles(QCoreApplication::applicationPid());
                others = openFiles(plc.process.processId());
                heap = heapBytes();
            }
            const std::unique_ptr<Port> port = openLine();
            QVERIFY2(port, qPrintable(error));
            DeviceChannel channel(*port, DriverSetting(PATIENCE_MS, 0, 0, 0));
            QCOMPARE(plugin.driver()->read(&channel, word), QByteArray("\7\0", 2));
        }
        const qint64 growth = heapBytes() - heap;
        QCOMPARE(openFiles(QCoreApplication::applicationPid()), own);
        // The latest ones may still be open there, now or when they were counted first.
        QTRY_VERIFY(openFiles(plc.process.processId()) <= others);
        QVERIFY2(growth < 1000, qPrintable(QString::number(growth))); // less than a byte for each
    }
};

QTEST_GUILESS_MAIN(TestLineFaults)
#include "tst_line_faults.moc"
