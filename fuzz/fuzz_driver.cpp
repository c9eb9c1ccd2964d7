// The driver against any request and any reply: the replies are bytes of the input.
#include "drivers/abstract_device_interface.h"
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "fuzz/fuzz_check.h"

#include <QtCore/QVariant>

#include <cstring>

namespace
{

const int MOST_REQUESTS = 4;

// Plays replies and writes down what the driver does. A reply goes up to its LF; one that begins
// with "~" is silence, one that begins with "!" has the protocol's own reply instead.
class FuzzChannel : public AbstractDeviceInterface
{
public:
    explicit FuzzChannel(FuzzInput &input)
        : heard(-1), opened(0), retries(static_cast<int>(input.below(5)) - 1),
          station(static_cast<int>(input.below(128)) - 2),
          m_chunk(static_cast<int>(input.below(256))), m_form(input.below(4)),
          m_replies(input.text())
    {}

    int read(char *buffer, int maxLength)
    {
        fuzzCheck(trail.size() == 1, "a read that no line led to");
        fuzzCheck(maxLength == (m_line.startsWith('C') ? 8 : 1538) - heard, "the room of a read");
        if (heard == 0 && m_replies.startsWith('!'))
            m_replies.replace(0, 1, goodReply());
        const int lf = m_replies.indexOf('\n') + 1;
        int length = lf > 0 ? lf : m_replies.size();
        length = m_replies.startsWith('~') ? 0 : qMin(length, m_chunk > 0 ? m_chunk : length);
        const int stored = qMin(length, maxLength);
        std::memset(buffer, 0, static_cast<size_t>(maxLength)); // all of the room is there
        std::memcpy(buffer, m_replies.constData(), static_cast<size_t>(stored));
        m_replies.remove(0, qMax(1, stored));
        heard += stored;
        if (stored == 0 || stored == maxLength || buffer[stored - 1] == '\n')
            trail += '.';
        return length; // a broken channel may claim more than there was room for
    }

    int write(const char *buffer, int length)
    {
        m_line = QByteArray(buffer, length);
        fuzzCheck(length <= 1552 && m_line.endsWith("\r\n"), "the end of a line");
        for (int i = 0; i < length - 2; ++i)
            fuzzCheck(buffer[i] >= ' ' && buffer[i] <= '~', "a character of a line");
        const bool opens = m_line.startsWith("CR ") && length == 7;
        trail += opens ? 'O' : m_line == "CQ\r\n" ? 'C' : m_line.startsWith("RDS ") ? 'R' : 'W';
        fuzzCheck(std::strstr(" dO O.dO R.dO W.dO C.dO O.dR O.W R.dC W.dC ", ' ' + trail + ' '),
                  "the order of an exchange");
        trail = trail.right(1);
        lines += m_line;
        opened += opens ? 1 : 0;
        heard = 0;
        return length;
    }

    int control(int code, const QVariant &value)
    {
        fuzzCheck(code == 12 && value == QVariant(0), "a control other than 12 with 0");
        trail += 'd';
        return 1;
    }

    int getRetry() { return retries; }
    int getStationId() { return station; }
    unsigned long getDelay() { return 0; }

    QByteArray lines; // all of them
    QByteArray trail; // the kind of the last one, "." when its reply has ended, "d" for a discard
    int heard;        // bytes since the last line; -1: none yet
    int opened;       // how often
    const int retries, station;

private:
    QByteArray goodReply() const
    {
        static const char *const ITEMS[] = {"12aF", "4294967294", "1", "1,0000000012,4294967296"};
        if (m_line.startsWith("CR "))
            return "CC" + m_line.mid(2);
        if (!m_line.startsWith("RDS "))
            return m_line.startsWith("CQ") ? "CF\r\n" : "OK\r\n";
        QByteArray text;
        for (int i = qMin(m_line.mid(m_line.lastIndexOf(' ')).trimmed().toInt(), 1000); i > 0; --i)
            text += ITEMS[m_form] + QByteArray(i == 1 ? "\r\n" : " ");
        return text;
    }

    const int m_chunk; // most bytes a read; 0: all
    const unsigned int m_form;
    QByteArray m_replies, m_line;
};

// What came of a request: the lines, the result and the error.
QByteArray outcome(DriverKV_L20V_HostLink &driver, FuzzChannel channel, bool write,
                   const CommunicatorCommand &command, const QByteArray &data)
{
    const int written = write ? driver.write(&channel, command, data) : 0;
    const QByteArray result = write ? QByteArray() : driver.read(&channel, command);
    const bool failed = driver.hasError();
    const QByteArray error = failed ? driver.getLastError().toLatin1() : QByteArray();
    const bool supported = command.kind <= BitBlock && command.kind != QuadWord;
    fuzzCheck(supported || (!failed && channel.lines.isEmpty()), "a kind that is left alone");
    fuzzCheck(written == (write && supported && !failed), "the result of a write");
    fuzzCheck(result.size() == (write || failed || !supported ? 0 : command.byteLength()) &&
                  result.constData()[result.size()] == '\0',
              "the length of what was read");
    fuzzCheck(failed != error.isEmpty() && (channel.heard == 0) == (error == "PLC no response"),
              "the error text");
    // A request ends behind its close line, unless it fails before that; one that is refused is closed.
    fuzzCheck(channel.lines.isEmpty() || channel.trail.startsWith('C') ||
                  (failed && (channel.trail.startsWith('O') || !error.startsWith("Response D"))),
              "a close line is missing");
    fuzzCheck(channel.opened <= qMax(1, channel.retries + 1) * qMax(1, data.size()) &&
                  ((channel.station >= 0 && channel.station <= 99) || channel.lines.isEmpty()),
              "a line too many");
    fuzzCheck(!channel.lines.contains(write ? "\nRDS " : "\nWRS ") && !channel.trail.endsWith('d'),
              "a line of another kind");
    return channel.lines + char('0' + written) + result + error;
}

// One request in the input: what it asks for, and the replies to it.
void runRequest(DriverKV_L20V_HostLink &driver, FuzzInput &input)
{
    const bool write = input.below(2) == 1;
    const quint32 kind = input.below(9);
    const quint32 count = input.number();
    QString address = QString::fromLatin1(input.text());
    if (address.endsWith(QLatin1Char('^')))
        address += QChar(0x2603); // beyond one byte
    const CommunicatorCommand command(static_cast<CommandKind>(kind < 8 ? kind : ~0u), count,
                                      address);
    QByteArray data(write ? static_cast<int>(input.number() % 4096) : 0, '\1');
    if (!data.isEmpty()) {
        data.fill(input.character());
        data[data.size() / 2] = input.character();
    }
    const ExactBytes exact = exactBytes(data);
    const QByteArray view = QByteArray::fromRawData(exact.data(), data.size());
    const FuzzChannel channel(input);
    DriverKV_L20V_HostLink fresh;
    const QByteArray first = outcome(driver, channel, write, command, view);
    fuzzCheck(first == outcome(driver, channel, write, command, view) &&
                  first == outcome(fresh, channel, write, command, view),
              "the same again, or with a fresh driver, comes out otherwise");
    fuzzCheck(view == data && command.address == address, "a changed argument");
}

} // namespace

int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    FuzzInput input(bytes, size);
    DriverKV_L20V_HostLink driver;
    for (int i = 0; i == 0 || (i < MOST_REQUESTS && !input.atEnd()); ++i)
        runRequest(driver, input);
    return 0;
}
