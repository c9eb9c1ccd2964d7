/// Many clients on one kvbridge, faults on its wire, and clients that die at any byte.
#include "tests/apps/program_runner.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMap>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpSocket>

#include <cstdio>
#include <numeric>
#include <random>

namespace
{

// Each in one reply of 5000. LATE is later than the bridge waits at once.
const char FAULTS[] = "no-reply:R late:R,80 cut:R doubled:R noise-inside:R error-reply:R split:R,2";
const char BRIDGE[] = "--listen 0 --metrics 0 --timeout 50 --turn-timeout 200 --tcp ";

// A client dies in one line of so many, or with its reply due, and restarts.
const unsigned DEATHS = 200;

// Longer than the turns of a hundred others take, with some faults.
const int CLIENT_TIMEOUT_MS = 5000;

// The share of exchanges that may fail, each with an error: several times that of the faults.
const double MOST_LOST = 0.005;

// From so many exchanges on each kind of fault has to happen.
const qint64 MANY_EXCHANGES = 100000;

// What all clients share.
struct Soak {
    QString place;
    qint64 left; // exchanges
    int running; // clients
    std::mt19937 chance;
    QMap<QByteArray, qint64> counts;
};

// Writes and reads two words of its own: a number that no other client writes, and a count.
class SoakClient : public QObject
{
public:
    SoakClient(Soak *soak, int number)
        : m_soak(*soak), m_number(number), m_count(0), m_step(0), m_isWrite(false),
          m_values({QByteArray("0000 0000")})
    {
        m_patience.setSingleShot(true);
        connect(&m_patience, &QTimer::timeout, this, [this] { fail("time-outs"); });
        connect(&m_socket, &QTcpSocket::connected, this, [this] { begin(); });
        connect(&m_socket, &QTcpSocket::readyRead, this, [this] { read(); });
        connect(&m_socket, &QTcpSocket::disconnected, this, [this] { fail("connections lost"); });
        start();
    }

private:
    void start()
    {
        m_socket.connectToHost(m_soak.place.section(':', 0, 0),
                               m_soak.place.section(':', 1).toUShort());
    }

    // After the last exchange of all each client reads once more.
    void begin()
    {
        m_step = 0;
        m_isWrite = m_soak.left > 0 && m_soak.chance() % 2 == 0;
        const QByteArray device = "DM" + QByteArray::number(10000 + 2 * m_number) + ".H 2";
        m_written = word(m_number) + ' ' + word(m_isWrite ? ++m_count : m_count);
        m_lines[0] = "CR 00\r\n";
        m_lines[1] =
            m_isWrite ? "WRS " + device + ' ' + m_written + "\r\n" : "RDS " + device + "\r\n";
        m_lines[2] = "CQ\r\n";
        send();
    }

    static QByteArray word(int number)
    {
        return QByteArray::number(number & 0xFFFF, 16).rightJustified(4, '0').toUpper();
    }

    void send()
    {
        m_reply.clear();
        m_patience.start(CLIENT_TIMEOUT_MS);
        const QByteArray line = m_lines[m_step];
        // A write that nobody has confirmed may have been made.
        if (m_step == 1 && m_isWrite)
            m_values += m_written;
        if (m_soak.left > 0 && m_soak.chance() % DEATHS == 0) {
            const size_t cut = m_soak.chance() % static_cast<size_t>(2 * line.size());
            m_socket.write(line.left(static_cast<int>(cut)));
            m_socket.flush();
            ++m_soak.counts["deaths"];
            m_socket.blockSignals(true);
            m_socket.abort();
            m_socket.blockSignals(false);
            start();
        } else {
            m_socket.write(line);
        }
    }

    void read()
    {
        m_reply += m_socket.readAll();
        if (!m_reply.endsWith('\n'))
            return;
        --m_soak.left;
        const QByteArray reply = m_reply.trimmed();
        const QByteArray expected = m_step == 0 ? "CC 00" : m_step == 2 ? "CF" : "OK";
        const bool isValue = m_step == 1 && !m_isWrite && reply.size() == 9 && reply[4] == ' ';
        if (isValue ? !m_values.contains(reply) : reply != expected) {
            const bool isOthers = reply.size() == 9 && reply.left(4) != word(m_number);
            fail(isOthers ? "ANSWERS TO THE WRONG CLIENT" : isValue ? "WRONG VALUES" : "failed");
            return;
        }
        if (m_step == 1)
            m_values = QByteArrayList({isValue ? reply : m_written});
        ++m_soak.counts["exchanges done"];
        if (m_step++ < 2)
            send();
        else if (m_soak.left > 0 || m_isWrite)
            begin();
        else
            end();
    }

    void fail(const char *what)
    {
        ++m_soak.counts[what];
        if (m_socket.state() == QTcpSocket::ConnectedState)
            begin();
        else
            start();
    }

    void end()
    {
        m_patience.stop();
        disconnect(&m_socket, nullptr, this, nullptr);
        if (--m_soak.running == 0)
            QCoreApplication::quit();
    }

    Soak &m_soak;
    const int m_number;
    int m_count;
    int m_step; // of the three lines
    bool m_isWrite;
    QByteArrayList m_values; // that the PLC may hold
    QByteArray m_written;
    QByteArray m_lines[3];
    QByteArray m_reply;
    QTcpSocket m_socket;
    QTimer m_patience;
};

// Prints what happened. @return whether it is as good as it has to be
bool report(Soak *soak, const QMap<QByteArray, qint64> &faults)
{
    for (auto it = soak->counts.begin(); it != soak->counts.end(); ++it)
        std::printf("%s: %lld\n", it.key().constData(), static_cast<long long>(it.value()));
    const QList<qint64> happened = faults.values();
    const qint64 allFaults = std::accumulate(happened.begin(), happened.end(), qint64(0));
    const qint64 done = soak->counts["exchanges done"];
    const qint64 lost = soak->counts["failed"] + soak->counts["time-outs"];
    return soak->counts["ANSWERS TO THE WRONG CLIENT"] == 0 && soak->counts["WRONG VALUES"] == 0 &&
           soak->counts["connections lost"] == 0 && soak->counts["deaths"] > 0 && allFaults > 0 &&
           (done < MANY_EXCHANGES || !happened.contains(0)) &&
           static_cast<double>(lost) <= MOST_LOST * static_cast<double>(done);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc != 4) {
        std::fprintf(stderr, "usage: bridge_soak CLIENTS EXCHANGES SEED\n");
        return 2;
    }
    const int clients = QByteArray(argv[1]).toInt();
    const QString faults = QString(FAULTS).replace(":R", ":0.0002");
    Simulator plc(words("--tcp 0 --seed " + QString(argv[3]) + " --fault " +
                        words(faults).join(" --fault ")));
    QProcess bridge;
    bridge.start(KVBRIDGE_PROGRAM, words(BRIDGE + plc.place));
    Soak soak = {nextLine(&bridge).trimmed().section(' ', 1),
                 QByteArray(argv[2]).toLongLong(),
                 clients,
                 std::mt19937(QByteArray(argv[3]).toUInt()),
                 {}};
    // Meanwhile another thread of the bridge serves the metrics.
    const QString metrics = nextLine(&bridge).trimmed().section(':', 1);
    QTcpSocket reader;
    QTimer scrapes;
    QObject::connect(&scrapes, &QTimer::timeout, [&reader, &metrics] {
        reader.abort();
        reader.connectToHost("127.0.0.1", metrics.toUShort());
        reader.write("GET /metrics HTTP/1.0\r\n\r\n");
    });
    scrapes.start(20);
    std::vector<std::unique_ptr<SoakClient>> all;
    for (int number = 1; number <= clients; ++number)
        all.emplace_back(new SoakClient(&soak, number));
    application.exec();
    interrupt(bridge);
    const Outcome end = ended(&bridge);
    const Outcome plcEnd = plc.stop();
    std::printf("%s%s", qPrintable(end.err), qPrintable(plcEnd.err));
    return report(&soak, injectedFaults(plcEnd)) && end.status == 0 ? 0 : 1;
}
