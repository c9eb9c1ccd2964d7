// The driver against any request and any reply.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "fuzz/driver_channel.h"
#include "fuzz/fuzz_check.h"
#include "tests/driver/driver_oracle.h"

namespace
{

const int MOST_REQUESTS = 4;

// Neither sent nor refused: a kind that the driver leaves alone, or a run of no contacts.
bool hasNothingToSend(const DriverModel &request)
{
    return !request.supported || (request.perBit && request.data.isEmpty());
}

void checkSilence(DriverKV_L20V_HostLink &driver, const DriverModel &request,
                  const FuzzChannel &channel)
{
    fuzzSame(0, channel.discardsAtEnd, "discards without a line");
    fuzzSame(!hasNothingToSend(request), driver.hasError(), "the error flag");
    if (!driver.hasError())
        return;
    const QByteArray text = driver.getLastError().toLatin1();
    const bool deliverable =
        channel.station >= 0 && channel.station <= 99 && !request.line(0).isEmpty();
    fuzzCheck(!deliverable, "refused", text);
    fuzzCheck(!text.isEmpty() && text != "PLC no response" && !text.startsWith("invalid resp"),
              "a refusal without a text of its own", text);
}

// A "^" stands for a character beyond one byte, made of the byte behind it.
QString takeAddress(FuzzInput &input)
{
    QString address = QString::fromLatin1(input.text());
    const int at = address.indexOf(QLatin1Char('^'));
    if (at >= 0 && at + 1 < address.size())
        address[at] = QChar(static_cast<ushort>(address.at(at + 1).unicode() * 0x101));
    return address;
}

// One request in the input: what it asks for, and the replies to it.
void runRequest(DriverKV_L20V_HostLink &driver, FuzzInput &input)
{
    const bool write = input.below(2) == 1;
    const quint32 kind = input.below(9);
    const quint32 count = input.size();
    const CommunicatorCommand command(static_cast<CommandKind>(kind < 8 ? kind : ~0u), count,
                                      takeAddress(input));
    const int dataSize = write ? static_cast<int>(input.size() % 4096) : 0;
    const DriverModel request(write, command, fuzzPattern(dataSize, input));
    const int retries = static_cast<int>(input.below(5)) - 1;
    const int chunk = static_cast<int>(input.below(256));
    FuzzChannel channel(input, retries, chunk, fuzzStation(input));
    QByteArray result = write ? QByteArray() : driver.read(&channel, command).toHex();
    if (write && driver.write(&channel, command, request.data) != 0)
        result = "1";
    if (channel.exchanges.empty()) {
        fuzzCheck(channel.wrong.isEmpty(), "a call", channel.wrong);
        checkSilence(driver, request, channel);
        const bool done = write && request.supported && !driver.hasError();
        fuzzSame(done ? "1" : "", result, "the result without a line");
        return;
    }
    DriverOracle oracle(channel, request);
    oracle.follow();
    fuzzCheck(oracle.wrong.isEmpty(), "a call", oracle.wrong);
    fuzzSame(!oracle.success, driver.hasError(), "the error flag");
    if (!oracle.success)
        fuzzSame(oracle.error, driver.getLastError().toLatin1(), "the error text");
    fuzzSame(oracle.result(), result, "the result");
}

} // namespace

int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    FuzzInput input(bytes, size);
    // One for all inputs would be faster, but a saved input must show its fault alone. The requests
    // of one input leave nothing behind for each other.
    DriverKV_L20V_HostLink driver;
    for (int i = 0; i == 0 || (i < MOST_REQUESTS && !input.atEnd()); ++i)
        runRequest(driver, input);
    return 0;
}
