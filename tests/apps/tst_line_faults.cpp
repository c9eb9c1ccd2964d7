// Ports and peers that fail under the channels and under kvlink: what is printed, with which
// status, and how soon.
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

// Longer than the slack, so that coming back "at once" differs from waiting.
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
        start(KVLINK_PROGRAM, arguments);
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
    return words(QLatin1String(text)) << "--timeout" << QString::number(timeoutMs);
}

const struct {
    const char *name;
    LinePeer::Wire wire;
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
    {"write DM1=5 --verify --retry 0", EXCHANGE(">E") "|" EXCHANGE(">E1"), 1,
     "received \"E\\r\\n\": read the values back (--verify); reading them back failed: error reply \"E1\""},
    {"ping --count 1", "<|>EX", 5, "expected \"CC 00\", received \"EX\\r\\n\""},
};

const struct {
    const char *name;
    LinePeer::Wire wire;
    QList<int> signalNumbers;
    const char *answer; // the peer's, whole without a signal in it
    int timeoutMs;
    int status; // of the signal that ends it, negative
} SIGNALS[] = {
    {"silent", LinePeer::Pty, {SIGINT}, "", 300, 4},
    {"silent TCP", LinePeer::Tcp, {SIGINT}, "", 300, 4},
    {"SIGTERM", LinePeer::Pty, {SIGTERM}, "", 300, 4},
    {"SIGHUP", LinePeer::Pty, {SIGHUP}, "", 300, 4},
    {"below nohup", LinePeer::Pty, {SIGTERM, SIGHUP}, "", 300, 4},
    {"answered", LinePeer::Pty, {SIGINT}, ">CC 00|<|>1234|<|>CF", LONG_MS, 6},
    {"answered TCP", LinePeer::Tcp, {SIGHUP}, ">CC 00|<|>1234|<|>CF", LONG_MS, 6},
    {"twice", LinePeer::Pty, {SIGINT, SIGINT}, "", LONG_MS, -SIGINT},
    {"twice TCP", LinePeer::Tcp, {SIGTERM, SIGTERM}, "", LONG_MS, -SIGTERM},
    {"another", LinePeer::Pty, {SIGHUP, SIGTERM}, "", LONG_MS, -SIGTERM},
};

const struct {
    const char *name;
} SERVERS[] = {{"--set DM1=7"}, {"--set DM1=7 --tcp 0"}};

} // namespace

class TestLineFaults : public QObject
{
    Q_OBJECT

private slots:
    void cannotBeOpened()
    {
        QTemporaryDir folder;
        LinePeer locked(LinePeer::Pty);
        LinePeer taken(LinePeer::Pty);
        LinePeer full(LinePeer::Tcp);
        std::unique_ptr<LinePeer> gone(new LinePeer(LinePeer::Tcp));
        const QStringList refused = gone->wire();
        gone.reset();
        QCOMPARE(::chmod(qPrintable(locked.place()), 0), 0);
        QVERIFY(full.refuseToAccept());
        Kvlink owner(taken.wire() + requestWords("read DM1", LONG_MS));
        QVERIFY(taken.play("<"));
        const struct {
            QStringList wire;
            const char *message;
        } rows[] = {
            {{"--port", folder.filePath("missing")}, "No such file or directory"},
            {{"--port", folder.path()}, "Is a directory"},
            {{"--port", QFINDTESTDATA("tst_line_faults.cpp")}, "it is not a serial port"},
            {locked.wire(), "Permission denied"},
            {taken.wire(), "another process uses it"},
            {refused, "Connection refused"},
            {full.wire(), "Socket operation timed out"},
        };
        for (const auto &row : rows) {
            Kvlink program(row.wire + requestWords("read DM1", 200));
            const Outcome outcome = ended(&program);
            QVERIFY2(outcome.err.startsWith("kvlink: cannot ") &&
                         outcome.err.endsWith(QString(row.message) + '\n'),
                     qPrintable(outcome.err));
            QCOMPARE(outcome.status, 3);
            QVERIFY(program.elapsedMs() < SLACK_MS);
        }
        QCOMPARE(locked.rest() + taken.rest(), QByteArray());
        owner.send(SIGKILL);
        ended(&owner);
    }

    void breaksInMidRequest_data() { addRows(BREAKS); }

    void breaksInMidRequest()
    {
        const auto &row = currentRow(BREAKS);
        LinePeer peer(row.wire);
        Kvlink program(peer.wire() + requestWords("read DM1", LONG_MS));
        QVERIFY(peer.play(row.script));
        const Outcome outcome = ended(&program);
        QVERIFY2(outcome.err.contains(QLatin1String(row.wire == LinePeer::Pty
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
        Kvlink program(peer.wire() + requestWords(row.name, LONG_MS));
        QVERIFY(peer.play(row.script));
        const Outcome outcome = ended(&program);
        QVERIFY2((outcome.err + outcome.out).contains(row.output), qPrintable(outcome.err));
        QCOMPARE(outcome.status, row.status);
    }

    void monitorLeavesASilentConnection()
    {
        LinePeer peer(LinePeer::Tcp);
        Kvlink monitor(peer.wire() + requestWords("monitor DM1 --interval 20 --format value "
                                                  "--retry 0",
                                                  10 * REPLY_MS));
        QVERIFY(peer.play(EXCHANGE(">1234")));
        QCOMPARE(nextLine(&monitor), QString("4660\n"));
        const int files = openFiles(monitor.processId());
        QVERIFY(peer.play("S|" EXCHANGE(">1234")));
        QCOMPARE(nextLine(&monitor), QString("4660\n"));
        QCOMPARE(openFiles(monitor.processId()), files);
        QVERIFY(peer.play("<"));
        monitor.send(SIGINT);
        QVERIFY(peer.play(">CC 00|<|>1234|<|>CF"));
        const Outcome outcome = ended(&monitor);
        QCOMPARE(outcome.status, 0);
        QVERIFY2(outcome.err.startsWith("kvlink: outage: no reply to \"CR 00\"") &&
                     outcome.err.contains("kvlink: the PLC answers again after "),
                 qPrintable(outcome.err));
    }

    // Pauses that grew from 100 ms on would be 6.3 s altogether. They grow when nothing is answered.
    void monitorReopensSoonWhileAnItemIsAnswered()
    {
        LinePeer peer(LinePeer::Tcp);
        Kvlink monitor(peer.wire() + requestWords("monitor DM0 DM9 --no-merge --interval 1 "
                                                  "--retry 0",
                                                  LONG_MS));
        for (int sample = 0; sample < 7; ++sample)
            QVERIFY(peer.play(EXCHANGE(">1234") "|<|X"));
        const qint64 elapsedMs = monitor.elapsedMs();
        QElapsedTimer silence;
        silence.start();
        for (int attempt = 0; attempt < 4; ++attempt)
            QVERIFY(peer.play("<|X"));
        const qint64 silentMs = silence.elapsed();
        monitor.send(SIGKILL);
        ended(&monitor);
        QVERIFY2(elapsedMs < SLACK_MS, qPrintable(QString::number(elapsedMs)));
        QVERIFY2(silentMs >= 200 + 400 + 800, qPrintable(QString::number(silentMs)));
    }

    void signalsEndARequest_data() { addRows(SIGNALS); }

    // The signals come when the open line has come.
    void signalsEndARequest()
    {
        const auto &row = currentRow(SIGNALS);
        const int status = row.status;
        LinePeer peer(row.wire);
        const bool isIgnored = QByteArray(row.name) == "below nohup";
        std::signal(SIGHUP, isIgnored ? SIG_IGN : SIG_DFL); // the program inherits it
        Kvlink program(peer.wire() + requestWords("read DM1 T1 --retry 1000", row.timeoutMs));
        QVERIFY(peer.play("<"));
        std::signal(SIGHUP, SIG_DFL);
        for (int number : row.signalNumbers) {
            program.send(number);
            QVERIFY(program.hasHandled(number));
        }
        QVERIFY(peer.play(row.answer));
        const Outcome outcome = ended(&program);
        const qint64 limitMs = SLACK_MS + (status == 4 ? row.timeoutMs : 0);
        QVERIFY2(program.elapsedMs() < limitMs, qPrintable(QString::number(program.elapsedMs())));
        // Nothing was begun, least of all half a line.
        QCOMPARE(peer.rest(), QByteArray());
        if (status >= 0) {
            QVERIFY2(outcome.err.contains("interrupted "), qPrintable(outcome.err));
            QCOMPARE(outcome.status, status);
            QCOMPARE(outcome.out, QLatin1String(status == 6 ? "DM1 4660\n" : ""));
        } else {
            QCOMPARE(program.exitStatus(), QProcess::CrashExit);
            QCOMPARE(program.exitCode(), -status);
        }
    }

    // In the pause before the second request.
    void signalEndsABenchAsGood()
    {
        LinePeer peer(LinePeer::Pty);
        const QString pause = QString::number(1000 * KV_TEST_PATIENCE);
        Kvlink program(peer.wire() + requestWords("bench DM1", LONG_MS) +
                       QStringList{"--delay", pause});
        QVERIFY(peer.play(EXCHANGE(">1234")));
        program.send(SIGINT);
        const Outcome outcome = ended(&program);
        QVERIFY2(outcome.err.startsWith("kvlink: 1 request, 1 reply, 0 retries, 0 time-outs, "
                                        "0 errors; "),
                 qPrintable(outcome.err));
        QVERIFY(outcome.out.startsWith("requests per second: "));
        QCOMPARE(outcome.status, 0);
    }

    // The next program must not get the reply; the user must not wait for the text.
    void waitsAtTheEndForAReplyThatIsDue()
    {
        const LinePeer peer(LinePeer::Pty);
        const int timeoutMs = 100 * KV_TEST_PATIENCE;
        Kvlink program(peer.wire() + requestWords("read DM1 --retry 0", timeoutMs));
        program.setReadChannel(QProcess::StandardError);
        QVERIFY(program.waitForReadyRead(PATIENCE_MS));
        QCOMPARE(program.state(), QProcess::Running);
        QCOMPARE(ended(&program).status, 4);
        QVERIFY(program.elapsedMs() >= 5 * timeoutMs);
    }

    void signalEndsADrippingReply()
    {
        LinePeer peer(LinePeer::Pty);
        const int timeoutMs = 500 * KV_TEST_PATIENCE;
        Kvlink program(peer.wire() + requestWords("read DM1 --retry 0", timeoutMs));
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

    // The last writes eight bytes: as many as one of Qt's own descriptors takes when it has become
    // number 1.
    void missesItsOutput()
    {
        const Simulator plc(words("--tcp 0"));
        const struct {
            const char *command;
            int lines;
            QString err;
        } rows[] = {
            {"--sim monitor DM1 --interval 10 | head -n 1; exit ${PIPESTATUS[0]}", 1, ""},
            {"WIRE ping --count 0 --interval 10 | head -n 1; exit ${PIPESTATUS[0]}", 1, ""},
            {"--sim read 'DM1[4]' >&-", 0, "kvlink: cannot write to the standard output\n"},
        };
        for (const auto &row : rows) {
            const QString command = QString(row.command).replace("WIRE", plc.wire.join(' '));
            QProcess shell;
            shell.start("bash", QStringList() << "-c"
                                              << "\"$0\" " + command << KVLINK_PROGRAM);
            const Outcome outcome = ended(&shell);
            QCOMPARE(outcome.out.count('\n'), row.lines);
            QCOMPARE(outcome.err, row.err);
            QCOMPARE(outcome.status, 3);
        }
    }

    void reconnectsWithoutEnd_data() { addRows(SERVERS); }

    void reconnectsWithoutEnd()
    {
        const Simulator plc(words(currentRow(SERVERS).name));
        DriverPlugin plugin;
        const Failure refused = plugin.load(QLatin1String(KV_PLUGIN_FILE));
        QVERIFY2(!refused, qPrintable(refused.text()));
        const CommunicatorCommand word(Word, 1, QLatin1String("DM1"));
        const auto openLine = [&]() -> std::unique_ptr<Port> {
            TcpAddress address;
            SerialPortSetting setting;
            QStringList warnings;
            std::unique_ptr<Port> port;
            setting.device = plc.place;
            setting.parity = QSerialPort::NoParity;
            if (parseTcpAddress(plc.place, &address))
                static_cast<void>(openSerialPort(setting, &port, &warnings));
            else
                static_cast<void>(openTcp(address, PATIENCE_MS, &port));
            return port;
        };
        const int WARM_UP = 50;
        qint64 heap = 0;
        int own = 0;
        int others = 0;
        for (int k = 0; k < WARM_UP + 200; ++k) {
            if (k == WARM_UP) {
                own = openFiles(QCoreApplication::applicationPid());
                others = openFiles(plc.process.processId());
                heap = heapBytes();
            }
            const std::unique_ptr<Port> port = openLine();
            QVERIFY(port);
            DeviceChannel channel(*port, DriverSetting(PATIENCE_MS, 0, 0, 0));
            QCOMPARE(plugin.driver()->read(&channel, word), QByteArray("\7\0", 2));
        }
        const qint64 growth = heapBytes() - heap;
        QCOMPARE(openFiles(QCoreApplication::applicationPid()), own);
        // The latest ones may still be open there, now or when they were counted first.
        QTRY_VERIFY(openFiles(plc.process.processId()) <= others);
        QVERIFY2(growth < 1000, qPrintable(QString::number(growth))); // five bytes for each
    }
};

QTEST_GUILESS_MAIN(TestLineFaults)
#include "tst_line_faults.moc"
