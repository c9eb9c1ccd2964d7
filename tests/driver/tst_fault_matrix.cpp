// Every fault of a reply, at every reply of every request: what the driver sends, gives back and
// says, compared with a plain second telling of the rules.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "tests/driver/driver_oracle.h"
#include "tests/driver/faulty_channel.h"
#include "tests/table.h"

#include <cstring>

namespace
{

const char ITEM_REPLY[] = "1,0000000005,0000000100\r\n";
const Request REQUESTS[] = {
    {"read words", Word, 2, "DM100", "", "RDS DM00100.H 2", "1234 00FF\r\n", "3412ff00"},
    {"read bits", BitBlock, 3, "R01215", "", "RDS R01215 3", "1 0 1\r\n", "05"},
    {"read timers", DoubleWord, 1, "T12", "", "RDS T12 1", ITEM_REPLY, "05000000"},
    {"read contacts", Bit, 1, "T12", "", "RDS T12 1", ITEM_REPLY, "01"},
    {"read decimal", DoubleWord, 1, "CC1", "", "RDS CC1 1", "0000000100\r\n", "64000000"},
    {"write words", Word, 2, "DM100", "3412ff00", "WRS DM00100.H 2 1234 00FF", "OK\r\n", "1"},
    {"write bits", BitBlock, 3, "R00100", "010001", "WRS R00100 3 1 0 1", "OK\r\n", "1"},
    {"set and reset", Bit, 2, "T12", "0100", "ST T0012|RS T0013", "OK\r\n", "1"},
};
const int REQUEST_COUNT = sizeof REQUESTS / sizeof *REQUESTS;
// What is asked next where the first request's replies come late.
const Request NEXT[] = {
    {"other words", Word, 2, "DM200", "", "RDS DM00200.H 2", "5678 9ABC\r\n", "7856bc9a"},
    {"other contact", Bit, 1, "T7", "01", "ST T0007", "OK\r\n", "1"},
};

B ending(bool success, const B &result, B error)
{
    error.replace("\r", "{CR}").replace("\n", "{LF}");
    return (success ? "ok:" : "failed:") + result + ":" + error;
}

// Makes a request. What was called, "!" for a discard and ">" and the line for a write, and how it
// ended; or what the oracle finds wrong about it.
B driven(const Request &request, FaultyChannel &channel)
{
    DriverKV_L20V_HostLink driver;
    const CommunicatorCommand command(request.kind, request.count, QLatin1String(request.address));
    const DriverModel model(*request.data != '\0', command, B::fromHex(request.data));
    channel.exchanges.clear();
    B result;
    if (!model.write)
        result = driver.read(&channel, command).toHex();
    else if (driver.write(&channel, command, model.data) == 1)
        result = "1";
    B text;
    for (const Exchange &exchange : channel.exchanges)
        text += B("!|").repeated(exchange.discards) + ">" + exchange.line.trimmed() + "|";
    const B end = ending(!driver.hasError(), result, driver.getLastError().toLatin1());
    DriverOracle oracle(channel, model);
    oracle.follow();
    const B expected = ending(oracle.success, oracle.result(), oracle.error);
    if (!oracle.wrong.isEmpty() || end != expected)
        return "wrong: " + oracle.wrong + "\n" + text + end + " instead of " + expected;
    return text + end;
}

typedef QList<Chunks> Variants;

Chunks bytewise(const B &bytes)
{
    Chunks chunks;
    for (int i = 0; i < bytes.size(); ++i)
        chunks << bytes.mid(i, 1);
    return chunks;
}

Variants whole(const Chunks &replies)
{
    Variants list;
    for (const B &reply : replies)
        list << (Chunks() << reply);
    return list;
}

// Before, between and after all bytes: with the neighbours, byte by byte and as a chunk of its own.
Variants inserted(const B &good, const B &noise)
{
    Variants list;
    for (int at = 0; at <= good.size(); ++at) {
        const B joined = B(good).insert(at, noise);
        Chunks apart = Chunks() << good.left(at) << noise << good.mid(at);
        apart.removeAll(B());
        list << (Chunks() << joined) << bytewise(joined) << apart;
    }
    return list;
}

// Before and after the next discard.
Variants late(const B &good)
{
    return Variants() << (split("~") << good) << (split("~|!") << good);
}

Variants doubled(const B &good)
{
    return Variants() << (Chunks() << good + good) << (Chunks() << good << good)
                      << (Chunks() << good << "!" << good);
}

// The rest is lost, or comes late: before or after the next discard.
Variants cut(const B &good)
{
    Variants list;
    for (int at = 1; at < good.size(); ++at)
        list << (Chunks() << good.left(at)) << (Chunks() << good.left(at) << "~" << good.mid(at))
             << ((Chunks() << good.left(at)) + split("~|!") + (Chunks() << good.mid(at)));
    return list;
}

Variants bitFlipped(const B &good)
{
    Variants list;
    for (int i = 0; i < 8 * good.size(); ++i) {
        B flipped(good);
        flipped[i / 8] = static_cast<char>(flipped.at(i / 8) ^ (1 << i % 8));
        list << (Chunks() << flipped);
    }
    return list;
}

Variants bytesLost(const B &good)
{
    Variants list;
    for (int count = 1; count < good.size(); ++count)
        for (int at = 0; at + count <= good.size(); ++at)
            list << (Chunks() << B(good).remove(at, count));
    return list;
}

Variants nulInside(const B &good)
{
    Variants list = inserted(good, B(1, '\0'));
    for (int at = 0; at < good.size(); ++at)
        list << (Chunks() << B(good).replace(at, 1, B(1, '\0')));
    return list;
}

// Around the 8 and 1538 bytes that are received at most; last with as many items as these can hold.
Variants tooLong(const B &good)
{
    Variants list;
    const B text = good.left(good.size() - 2);
    for (const B &length : split("8|9|1537|1538|1539|4000")) {
        const B filler(qMax(0, length.toInt() - good.size()), '0');
        list << (Chunks() << good + filler) << (Chunks() << text + filler + "\r\n")
             << (Chunks() << text << filler + "\r\n");
    }
    const B most = text + B(" " + text).repeated((1538 - good.size()) / (text.size() + 1));
    return list + whole(Chunks() << most + "\r\n" << most + "\r\n?" << most + " " + good);
}

const struct {
    const char *name;
    Variants (*variants)(const B &good);
} FAULTS[] = {
    {"no reply", [](const B &) { return Variants() << Chunks(); }},
    {"late", late},
    {"doubled", doubled},
    {"cut", cut},
    {"byte by byte", [](const B &good) { return Variants() << bytewise(good); }},
    {"bit flipped", bitFlipped},
    {"noise",
     [](const B &good) {
         return inserted(good, "?") + inserted(good, "\xFF") + inserted(good, "0") +
                inserted(good, "\n");
     }},
    {"line end inside", [](const B &good) { return inserted(good, "\r\n"); }},
    {"bytes lost", bytesLost},
    {"missing LF",
     [](const B &good) {
         const B text = good.left(good.size() - 2);
         return whole(Chunks() << text << text + "\r" << text + "\n") << bytewise(text + "\r");
     }},
    {"NUL inside", nulInside},
    {"too long", tooLong},
    {"endless", [](const B &) { return whole(split("*0|*E") << B("*\0", 2)); }},
    {"error reply",
     [](const B &) {
         return whole(split("E0\r\n|E1\r\n|E9\r\n|EX\r\n|E12\r\n|e1\r\n|E1\n| E1\r\n|E1\r\nE1\r\n"))
                << bytewise("E1\r\n");
     }},
    {"wrong station",
     [](const B &) { return whole(split("CC 08\r\n|CC 70\r\n|CC 7\r\n|CC 007\r\n")); }},
    {"wrong close",
     [](const B &) { return whole(split("CC 07\r\n|CR 07\r\n|CQ\r\n|CF \r\n|cf\r\n|CF\n")); }},
};
const int FAULT_COUNT = sizeof FAULTS / sizeof *FAULTS;

// How many damaged replies pass for something else; none does in all other rows. Nothing carries a
// checksum, so a digit that became another one counts like any other. Items that a reply lacks
// count as 0, and a word write takes every reply as acceptance but an error reply of perfect form.
const struct {
    const char *row;
    int count;
} UNSEEN[] = {
    {"read words: bit flipped", 25}, // 1 and 0 have 4 digits one bit away, 2 to 4 have 3, F has 2
    {"read bits: bit flipped", 3},
    {"read timers: bit flipped", 39}, // of the current value only
    {"read contacts: bit flipped", 1},
    {"read decimal: bit flipped", 40},
    {"read words: line end inside", 2},   // after the first word
    {"read bits: line end inside", 4},    // after the first and the second bit
    {"read words: bytes lost", 5},        // a blank and four digits
    {"read bits: bytes lost", 6},         // one or two blanks and as many digits
    {"refused read bits: bytes lost", 1}, // the E of an error reply
    {"refused write words: late", 1},     // the reply to opening
    {"refused write words: doubled", 3},
    {"refused write words: cut", 6},
    {"refused write words: bit flipped", 28}, // all but those from E1 to E0, E3, E5 and E9
    {"refused write words: noise", 60},
    {"refused write words: line end inside", 17},
    {"refused write words: bytes lost", 9},
    {"refused write words: missing LF", 4},
    {"refused write words: NUL inside", 18},
    {"refused write words: too long", 26},
    {"refused write words: error reply", 6}, // those that are nearly one
    {"refused write words: wrong station", 4},
    {"refused write words: wrong close", 6},
};

const Request &requestNamed(const char *name)
{
    int i = 0;
    while (i < REQUEST_COUNT - 1 && std::strcmp(REQUESTS[i].name, name) != 0)
        ++i;
    return REQUESTS[i];
}

const struct {
    const char *name;
    QByteArray request;
    bool refused;
    int hit;
    QByteArray chunks;
    int retries;
    QByteArray expected;
} EXCHANGES[] = {
    {"words late, in the way", "read words", false, 1, "~|!|1234 00FF\r\n", 1,
     "!|>CR 07|!|>RDS DM00100.H 2|!|>CR 07|failed::invalid response"},
    {"a bit for another", "read bits", false, 1, "1 1 1\r\n", 0,
     "!|>CR 07|!|>RDS R01215 3|!|>CQ|ok:07:"},
    {"error reply without E", "read bits", true, 1, "1\r\n", 0,
     "!|>CR 07|!|>RDS R01215 3|!|>CQ|ok:01:"},
    {"refused behind a doubled open", "write words", true, 0, "CC 07\r\nCC 07\r\n", 0,
     "!|>CR 07|>WRS DM00100.H 2 1234 00FF|!|>CQ|ok:1:"},
};

// Nothing in a reply names its request. When the answer to opening came twice or late, a gateway
// that then falls silent and catches up between two steps of the next call is taken at its word.
const struct {
    const char *name;
    QByteArray request;
    QByteArray replies; // one line's from the next one's by ";"
    int retries;
    QByteArray first;
    QByteArray second;
} LATE_ANSWERS[] = {
    {"read, open doubled", "read words", "CC 07\r\n|!|~|!|CC 07\r\n;!|1234 00FF\r\n", 0,
     "!|>CR 07|!|>RDS DM00100.H 2|failed::PLC no response",
     "!|>CR 07|!|>RDS DM00200.H 2|!|>CQ|ok:3412ff00:"},
    {"read, open late", "read words", "~|!|CC 07\r\n|!|~;!|CC 07\r\n;!|1234 00FF\r\n", 1,
     "!|>CR 07|!|>CR 07|!|>RDS DM00100.H 2|failed::PLC no response",
     "!|>CR 07|!|>RDS DM00200.H 2|!|>CQ|ok:3412ff00:"},
    {"refused set, open doubled", "set and reset", "CC 07\r\n|~|!|CC 07\r\n;OK\r\n", 0,
     "!|>CR 07|>ST T0012|failed::PLC no response", "!|>CR 07|>ST T0007|!|>CQ|ok:1:"},
};

} // namespace

class TestFaultMatrix : public QObject
{
    Q_OBJECT

private slots:
    void survivesEveryFault_data()
    {
        QTest::addColumn<int>("request");
        QTest::addColumn<int>("fault");
        QTest::addColumn<bool>("refused");
        QTest::addColumn<int>("unseen");
        for (int i = 0; i < 2 * REQUEST_COUNT * FAULT_COUNT; ++i) {
            const bool refused = i >= REQUEST_COUNT * FAULT_COUNT;
            const int request = i / FAULT_COUNT % REQUEST_COUNT;
            const int fault = i % FAULT_COUNT;
            const B row =
                (refused ? "refused " : "") + B(REQUESTS[request].name) + ": " + FAULTS[fault].name;
            int unseen = 0;
            for (size_t k = 0; k < sizeof UNSEEN / sizeof *UNSEEN; ++k)
                unseen += row == UNSEEN[k].row ? UNSEEN[k].count : 0;
            QTest::newRow(row.constData()) << request << fault << refused << unseen;
        }
    }

    void survivesEveryFault()
    {
        QFETCH(int, request);
        QFETCH(int, fault);
        QFETCH(bool, refused);
        const Request &asked = REQUESTS[request];
        const Chunks lines = split("CR|data|CQ");
        const Peer sound(asked, refused);
        int unseen = 0;
        for (int hit = 0; hit < 3 * split(asked.lines).size(); ++hit) {
            for (const Chunks &chunks : FAULTS[fault].variants(sound.ordinary(lines.at(hit % 3)))) {
                for (int retries = 0; retries < 2; ++retries) {
                    Peer peer(sound);
                    peer.hits[hit] = chunks;
                    FaultyChannel channel(peer, retries);
                    const B outcome = driven(asked, channel);
                    const B told = "reply " + B::number(hit) + " starting with hex " +
                                   chunks.value(0).toHex() + "\n" + outcome;
                    QVERIFY2(!outcome.startsWith("wrong"), told.constData());
                    // With one attempt a refused first contact keeps the second from being asked
                    // for.
                    QVERIFY2(retries == 0 || channel.peer.heard() > hit, told.constData());
                    const bool right = !refused && outcome.contains(B("|ok:") + asked.good + ":");
                    unseen += retries == 1 && outcome.contains("|ok:") && !right ? 1 : 0;
                }
            }
        }
        QTEST(unseen, "unseen");
    }

    void followsHandWrittenExchanges_data() { addRows(EXCHANGES); }

    // What the oracle must say, too.
    void followsHandWrittenExchanges()
    {
        const auto &row = currentRow(EXCHANGES);
        const Request &asked = requestNamed(row.request.constData());
        QCOMPARE(B(asked.name), row.request);
        Peer peer(asked, row.refused);
        peer.hits[row.hit] = split(row.chunks.constData());
        FaultyChannel channel(peer, row.retries);
        QCOMPARE(driven(asked, channel), row.expected);
    }

    void takesAnAnswerOneExchangeLate_data() { addRows(LATE_ANSWERS); }

    void takesAnAnswerOneExchangeLate()
    {
        const auto &row = currentRow(LATE_ANSWERS);
        const Request &asked = requestNamed(row.request.constData());
        const Request &next = NEXT[asked.kind == Bit ? 1 : 0];
        Peer peer(asked, false);
        int line = 0;
        for (const B &reply : row.replies.split(';'))
            peer.hits[line++] = reply.split('|');
        FaultyChannel channel(peer, row.retries);
        QCOMPARE(driven(asked, channel), row.first);
        channel.peer.serve(next, next.kind == Bit);
        QCOMPARE(driven(next, channel), row.second);
    }
};

QTEST_APPLESS_MAIN(TestFaultMatrix)
#include "tst_fault_matrix.moc"
