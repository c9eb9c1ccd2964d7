#include "testkit/driver_trial.h"

#include "drivers/driver_interface.h"
#include "testkit/answering_channel.h"
#include "testkit/faulty_channel.h"
#include "testkit/simulated_device.h"

#include <QtTest/QTest>

#include <exception>

namespace
{

// A driver that goes on after so many times the allowed calls cannot be ended otherwise.
const int LAST_CALLS = 100;

// Counts calls, and breaks the wire for a driver that does not end.
class WatchedChannel : public ForwardingChannel
{
public:
    WatchedChannel(AbstractDeviceInterface &channel, int maxCalls)
        : ForwardingChannel(channel), m_maxCalls(maxCalls), m_calls(0)
    {}

    int read(char *buffer, int maxLength) override
    {
        if (!buffer || maxLength < 1)
            wrong = "a read without room for a byte";
        return isOver() ? -1 : ForwardingChannel::read(buffer, maxLength);
    }

    int write(const char *buffer, int length) override
    {
        lines << QByteArray(buffer, qMax(0, length));
        return isOver() ? -1 : ForwardingChannel::write(buffer, length);
    }

    int control(int code, const QVariant &value) override
    {
        isOver();
        return ForwardingChannel::control(code, value);
    }

    int getRetry() override
    {
        isOver();
        return ForwardingChannel::getRetry();
    }

    int getStationId() override
    {
        isOver();
        return ForwardingChannel::getStationId();
    }

    unsigned long getDelay() override
    {
        isOver();
        return ForwardingChannel::getDelay();
    }

    void begin() { m_calls = 0; }

    QByteArray wrong; // the latest call that no driver should make
    QList<QByteArray> lines;

private:
    bool isOver()
    {
        if (++m_calls <= m_maxCalls)
            return false;
        wrong = "no end after " + QByteArray::number(m_maxCalls) + " calls to the channel";
        if (m_calls > LAST_CALLS * m_maxCalls)
            qFatal("the driver does not end, though the channel says that it is broken");
        return true;
    }

    const int m_maxCalls;
    int m_calls;
};

QByteArray shown(const QByteArray &data)
{
    return data.isEmpty() ? QByteArray("nothing") : data.toHex();
}

} // namespace

struct DriverTrial::Wire {
    Wire(SimulatedDevice &device, const DriverTrial &trial, int retries)
        : sound(device), faulty(sound), watched(faulty, trial.maxCalls)
    {
        sound.station = trial.station;
        sound.retry = retries;
    }

    AnsweringChannel sound;
    FaultyChannel faulty;
    WatchedChannel watched;
};

// What a run without a fault leads to.
struct DriverTrial::Sound {
    QList<QByteArray> replies;
    QByteArray state;
    QList<QByteArray> foreign; // lines and replies of all requests
};

void DriverTrial::addRows() const
{
    QTest::addColumn<int>("request");
    QTest::addColumn<int>("fault");
    for (int request = 0; request < m_requestCount; ++request) {
        for (int fault = 0; fault < wireFaults().size(); ++fault) {
            const QByteArray row =
                QByteArray(m_requests[request].name) + ": " + wireFaults().at(fault).name;
            QTest::newRow(row.constData()) << request << fault;
        }
    }
}

void DriverTrial::check()
{
    QFETCH(int, request);
    QFETCH(int, fault);
    const QByteArray wrong = tryFault(request, wireFaults().at(fault));
    QVERIFY2(wrong.isEmpty(), wrong.constData());
}

QByteArray DriverTrial::tryFault(int request, const WireFault &fault)
{
    Sound sound;
    QList<QByteArray> foreign;
    for (int i = 0; i <= m_requestCount; ++i) {
        const TrialRequest &run = m_requests[i < m_requestCount ? i : request];
        const QByteArray wrong = soundRun(run, &sound);
        if (!wrong.isEmpty())
            return QByteArray(run.name) + " on a sound wire: " + wrong;
        for (const QByteArray &line : sound.foreign) {
            if (!foreign.contains(line))
                foreign << line;
        }
    }
    for (int reply = 0; reply < sound.replies.size(); ++reply) {
        const QByteArray good = sound.replies.at(reply);
        sound.foreign = foreign;
        sound.foreign.removeAll(good);
        const WireVariants variants =
            good.isEmpty() ? WireVariants() : fault.variants(good, sound.foreign);
        for (int i = 0; i < 2 * variants.size(); ++i) {
            // A reply that is lost disturbs no attempt after it.
            const bool mustSucceed =
                fault.isHarmless || (i % 2 == 1 && variants.at(i / 2).isEmpty());
            const QByteArray wrong =
                damagedRun(m_requests[request], sound, fault, reply, i / 2, i % 2, mustSucceed);
            if (!wrong.isEmpty())
                return QByteArray(m_requests[request].name) + ", " + fault.name + " at reply " +
                       QByteArray::number(reply) + ", variant " + QByteArray::number(i / 2) + ", " +
                       QByteArray::number(i % 2) + " retries: " + wrong;
        }
    }
    return QByteArray();
}

QByteArray DriverTrial::soundRun(const TrialRequest &request, Sound *sound)
{
    m_device.reset();
    Wire wire(m_device, *this, 0);
    if (m_driver.initialize(&wire.watched) != 1)
        return "initialize does not give 1";
    wire.faulty.damageNothing();
    QByteArray wrong = outcome(request, wire, QByteArray(), true, request.isWrite);
    sound->replies = wire.faulty.replies();
    sound->state = m_device.state();
    sound->foreign = wire.watched.lines + sound->replies;
    if (wrong.isEmpty() && sound->replies.isEmpty())
        return "no reply is read";
    if (wrong.isEmpty() && wire.sound.retriesAsked > 0)
        return "getRetry is called, though no attempt failed";
    return wrong;
}

QByteArray DriverTrial::damagedRun(const TrialRequest &request, const Sound &sound,
                                   const WireFault &fault, int reply, int variant, int retries,
                                   bool mustSucceed)
{
    m_device.reset();
    Wire wire(m_device, *this, retries);
    m_driver.initialize(&wire.watched);
    wire.faulty.damage(fault, reply, variant, sound.foreign);
    QByteArray wrong =
        outcome(request, wire, sound.state, mustSucceed, mayForge.contains(fault.name));
    if (wire.faulty.count(fault.name) != 1)
        return "the driver did not read that reply";
    ++m_faultsDone;
    if (!wrong.isEmpty())
        return wrong;
    wire.faulty.damageNothing();
    wrong = outcome(request, wire, sound.state, true, false);
    return wrong.isEmpty() ? wrong : "afterwards, on the sound wire: " + wrong;
}

QByteArray DriverTrial::outcome(const TrialRequest &request, Wire &wire, const QByteArray &state,
                                bool mustSucceed, bool mayBeWrong)
{
    const CommunicatorCommand command(request.kind, request.count,
                                      QString::fromLatin1(request.address));
    QByteArray data;
    int result = 0;
    wire.watched.begin();
    try {
        if (request.isWrite)
            result = m_driver.write(&wire.watched, command, request.data);
        else
            data = m_driver.read(&wire.watched, command);
    } catch (const std::exception &thrown) {
        return QByteArray("an exception: ") + thrown.what();
    } catch (...) {
        return "an exception";
    }
    const bool succeeded = request.isWrite ? result == 1 : !data.isEmpty();
    const QByteArray text = m_driver.getLastError().toLatin1();
    if (!wire.watched.wrong.isEmpty())
        return wire.watched.wrong;
    if (result != 0 && result != 1)
        return "a write that gives " + QByteArray::number(result);
    if (data.size() > command.byteLength())
        return "more bytes than the command covers: " + shown(data);
    if (succeeded == m_driver.hasError())
        return succeeded ? "a result, and the error flag: " + text
                         : QByteArray("no result, and no error flag");
    if (!succeeded)
        return mustSucceed ? "failed: " + text
                           : QByteArray(text.isEmpty() ? "a failure without a text" : "");
    if (!request.isWrite && data.size() != request.data.size())
        return shown(data) + " instead of " + shown(request.data);
    if (mayBeWrong)
        return QByteArray();
    if (request.isWrite)
        return m_device.state() == state ? QByteArray() : QByteArray("success, but not written");
    return data == request.data ? QByteArray() : shown(data) + " instead of " + shown(request.data);
}
