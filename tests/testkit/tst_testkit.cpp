// The driver through the trial of the test kit; drivers with a defect, which the trial has to find;
// what a transcript says.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "simulator/simulated_plc.h"
#include "testkit/testkit.h"
#include "tests/table.h"

#include <QtCore/QVariant>

namespace
{

typedef QByteArray B;

const TrialRequest REQUESTS[] = {
    {"read words", Word, 2, "DM100", false, B::fromHex("3412ff00")},
    {"read bits", BitBlock, 3, "R01215", false, "\5"},
    {"read a timer", DoubleWord, 1, "T12", false, B::fromHex("05000000")},
    {"write words", Word, 2, "DM300", true, B::fromHex("3412ff00")},
    {"reset a timer", Bit, 1, "T12", true, B(1, '\0')},
};

class Plc : public SimulatedDevice
{
public:
    Plc() : m_plc(0) {}

    void reset() override
    {
        const PlcTimer timer = {true, 5, 100};
        B error;
        for (const char *item : {"DM100=4660", "DM101=255", "DM300=0", "DM301=0", "R1215=1"})
            memory().assign(item, &error);
        memory().assign("R1301=1", &error);
        memory().setTimer("T", 12, timer);
    }

    B receive(const B &bytes) override { return m_plc.receive(bytes); }

    B state() override
    {
        return B::number(memory().word("DM", 300)) + ' ' + B::number(memory().word("DM", 301)) +
               (memory().timer("T", 12).contact ? " on" : " off");
    }

private:
    PlcMemory &memory() { return m_plc.memory(); }

    SimulatedPlc m_plc;
};

enum Defect {
    NoText,
    NoFlag,
    TooMuch,
    WrongResult,
    NoDiscard,
    NoEnd,
    NoRoom,
    Throws,
    Forgets,
    NoRetry,
    AsksFirst
};

// Hides what a driver asks of its channel, or adds to it.
class DefectiveCalls : public ForwardingChannel
{
public:
    DefectiveCalls(AbstractDeviceInterface &channel, Defect defect)
        : ForwardingChannel(channel), m_defect(defect)
    {}

    int read(char *buffer, int maxLength) override
    {
        int count = ForwardingChannel::read(buffer, m_defect == NoRoom ? 0 : maxLength);
        while (m_defect == NoEnd && count == 0)
            count = ForwardingChannel::read(buffer, maxLength);
        return count;
    }

    int control(int code, const QVariant &value) override
    {
        return m_defect == NoDiscard ? 1 : ForwardingChannel::control(code, value);
    }

    int getRetry() override { return m_defect == NoRetry ? 0 : ForwardingChannel::getRetry(); }

private:
    const Defect m_defect;
};

class DefectiveDriver : public DriverKV_L20V_HostLink
{
public:
    explicit DefectiveDriver(Defect defect) : m_defect(defect) {}

    B read(AbstractDeviceInterface *device, const CommunicatorCommand &command)
    {
        DefectiveCalls calls(*device, m_defect);
        const B data = DriverKV_L20V_HostLink::read(&calls, command);
        if (m_defect == AsksFirst)
            device->getRetry();
        if (m_defect == Throws && data.isEmpty())
            throw std::exception();
        if (m_defect == NoFlag && data.isEmpty())
            return clearError(), data;
        if (m_defect == TooMuch)
            return data + data;
        return m_defect == WrongResult && data.isEmpty() ? clearError(), B(2, '\0') : data;
    }

    int write(AbstractDeviceInterface *device, const CommunicatorCommand &command, const B &data)
    {
        clearError();
        return m_defect == Forgets ? 1 : DriverKV_L20V_HostLink::write(device, command, data);
    }

    QString getLastError()
    {
        return m_defect == NoText ? "" : DriverKV_L20V_HostLink::getLastError();
    }

private:
    const Defect m_defect;
};

const struct {
    const char *name; // what the trial says
    Defect defect;
    int request;
    const char *fault;
} DEFECTS[] = {
    {"read words, silence at reply 0, variant 0, 0 retries: a failure without a text", NoText, 0,
     "silence"},
    {"read words, silence at reply 0, variant 0, 0 retries: no result, and no error flag", NoFlag,
     0, "silence"},
    {"read words on a sound wire: more bytes than the command covers: 3412ff003412ff00", TooMuch, 0,
     "late"},
    {"read words, silence at reply 0, variant 0, 0 retries: 0000 instead of 3412ff00", WrongResult,
     0, "silence"},
    {"read words, doubled at reply 0, variant 0, 0 retries: afterwards, on the "
     "sound wire: failed: invalid response",
     NoDiscard, 0, "doubled"},
    {"read words, silence at reply 0, variant 0, 0 retries: no end after 5000 calls to the channel",
     NoEnd, 0, "silence"},
    {"read words on a sound wire: a read without room for a byte", NoRoom, 0, "late"},
    {"read words, cut at reply 0, variant 0, 0 retries: an exception: std::exception", Throws, 0,
     "cut"},
    {"read words, silence at reply 0, variant 0, 1 retries: failed: PLC no response", NoRetry, 0,
     "silence"},
    {"read words on a sound wire: getRetry is called, though no attempt failed", AsksFirst, 0,
     "late"},
    {"write words on a sound wire: no reply is read", Forgets, 3, "late"},
};

} // namespace

class TestTestkit : public QObject
{
    Q_OBJECT

public:
    TestTestkit() : m_trial(m_driver, m_plc, REQUESTS) { m_trial.mayForge = forgingFaults(); }

private slots:
    void standsEachFault_data() { m_trial.addRows(); }
    void standsEachFault() { m_trial.check(); }

    void findsDefects_data() { addRows(DEFECTS); }

    void findsDefects()
    {
        const auto &row = currentRow(DEFECTS);
        DefectiveDriver driver(row.defect);
        DriverTrial trial(driver, m_plc, REQUESTS);
        QCOMPARE(trial.tryFault(row.request, wireFault(row.fault)), B(row.name));
    }

    // A transcript is a script: the same exchange fits it.
    void writesDownWhatItPlays()
    {
        const B script = "!|>READ 1{00}{7C}|<{7B}42|~|>>raw|<<{CR}{LF}{CR}|?|!";
        ScriptedChannel played(script);
        TranscriptChannel channel(played);
        char reply[64];
        channel.control(12, QVariant(0));
        channel.write("READ 1\0|\r\n", 10);
        QCOMPARE(channel.read(reply, 2) + channel.read(reply + 2, 62), 5);
        QCOMPARE(channel.read(reply, 64), 0);
        channel.write("raw", 3);
        QCOMPARE(channel.read(reply, 64), 3);
        channel.control(12, QVariant(1));
        channel.control(12, QVariant(0));
        QCOMPARE(played.fault(), B());
        QCOMPARE(channel.transcript(), B("!|>READ 1{NUL}{7C}|<{7B}42|~|>>raw|<<{CR}{LF}{CR}|?|!"));
    }

private:
    DriverKV_L20V_HostLink m_driver;
    Plc m_plc;
    DriverTrial m_trial;
};

QTEST_APPLESS_MAIN(TestTestkit)
#include "tst_testkit.moc"
