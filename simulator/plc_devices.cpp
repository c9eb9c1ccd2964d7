#include "simulator/plc_devices.h"

#include <cstring>

namespace
{

// The sizes are the simulator's own choice: those of a well-equipped machine, not of a certain
// model.
const PlcDevice DEVICES[] = {
    // name, shown, read, written, base, size
    {"R", 0, PLC_BITS, PLC_BITS, 10, 1000},
    {"MR", 0, PLC_BITS, PLC_BITS, 10, 1000},
    {"LR", 0, PLC_BITS, PLC_BITS, 10, 1000},
    {"CR", 0, PLC_BITS, PLC_BITS, 10, 80},
    {"B", 0, PLC_BITS, PLC_BITS, 16, 0x800},
    {"VB", 0, PLC_BITS, PLC_BITS, 16, 0xFA0},
    {"DM", 0, PLC_WORDS, PLC_WORDS, 10, 65535},
    {"EM", 0, PLC_WORDS, PLC_WORDS, 10, 65535},
    {"FM", 0, PLC_WORDS, PLC_WORDS, 10, 32768},
    {"ZF", 0, PLC_WORDS, PLC_WORDS, 10, 131072},
    {"W", 0, PLC_WORDS, PLC_WORDS, 16, 0x8000},
    {"TM", 0, PLC_WORDS, PLC_WORDS, 10, 512},
    {"Z", 0, PLC_WORDS, PLC_WORDS, 10, 13},
    {"CM", 0, PLC_WORDS, PLC_WORDS, 10, 6000},
    {"VM", 0, PLC_WORDS, PLC_WORDS, 10, 60000},
    {"T", 0, PLC_TIMERS, PLC_CURRENTS, 10, 4000},
    {"TC", "T", PLC_CURRENTS, PLC_CURRENTS, 10, 4000},
    {"TS", "T", PLC_PRESETS, PLC_PRESETS, 10, 4000},
    {"C", 0, PLC_TIMERS, PLC_CURRENTS, 10, 4000},
    {"CC", "C", PLC_CURRENTS, PLC_CURRENTS, 10, 4000},
    {"CS", "C", PLC_PRESETS, PLC_PRESETS, 10, 4000},
    {"CTC", 0, PLC_TIMERS, PLC_PRESETS, 10, 8},
    {"AT", 0, PLC_CURRENTS, PLC_CURRENTS, 10, 8},
};
const unsigned int DEVICE_COUNT = sizeof DEVICES / sizeof DEVICES[0];

// Above every number in the table, far below what an unsigned int holds.
const unsigned int NUMBER_LIMIT = 10000000;

const char WORD_SUFFIX[] = ".H";
const int WORD_SUFFIX_LENGTH = 2;

// The longest name that the text begins with: CTC3 is neither C nor C with the number TC3.
const PlcDevice *deviceNamedAtStart(const char *text, int length, int *nameLength)
{
    const PlcDevice *found = 0;
    *nameLength = 0;
    for (const PlcDevice &device : DEVICES) {
        const int candidate = static_cast<int>(std::strlen(device.name));
        if (candidate > *nameLength && candidate <= length &&
            std::memcmp(device.name, text, static_cast<size_t>(candidate)) == 0) {
            found = &device;
            *nameLength = candidate;
        }
    }
    return found;
}

unsigned int digitValue(char c)
{
    if (c >= '0' && c <= '9')
        return static_cast<unsigned int>(c - '0');
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned int>(c - 'A') + 10;
    return NUMBER_LIMIT;
}

PlcRefusal parseNumber(const char *text, int length, unsigned int base, unsigned int *number)
{
    if (length == 0)
        return PLC_MALFORMED_NUMBER;
    *number = 0;
    for (int i = 0; i < length; ++i) {
        const unsigned int digit = digitValue(text[i]);
        if (digit >= base)
            return PLC_MALFORMED_NUMBER;
        if (*number < NUMBER_LIMIT)
            *number = *number * base + digit;
    }
    return *number < NUMBER_LIMIT ? PLC_ACCEPTED : PLC_OUT_OF_RANGE;
}

// A bit device's number is its channel followed by the bit's position: two decimal digits or one
// hexadecimal digit.
PlcRefusal placeInBitDevice(const PlcDevice &device, unsigned int number, bool asWords,
                            PlcPoint *point)
{
    const unsigned int positions = device.base == 10 ? 100 : PLC_CHANNEL_BITS;
    const unsigned int channel = number / positions;
    const unsigned int bit = number % positions;
    if (bit >= PLC_CHANNEL_BITS)
        return PLC_MALFORMED_NUMBER;
    if (asWords && bit != 0)
        return PLC_WRONG_FORMAT;
    point->index = asWords ? channel : channel * PLC_CHANNEL_BITS + bit;
    point->size = asWords ? device.size : device.size * PLC_CHANNEL_BITS;
    return PLC_ACCEPTED;
}

PlcRefusal placePoint(const PlcDevice &device, unsigned int number, bool asWords, PlcPoint *point)
{
    point->area = plcArea(device);
    point->read = asWords ? PLC_WORDS : device.read;
    point->written = asWords ? PLC_WORDS : device.written;
    point->index = number;
    point->size = device.size;
    if (device.read == PLC_BITS)
        return placeInBitDevice(device, number, asWords, point);
    return asWords == (device.read == PLC_WORDS) ? PLC_ACCEPTED : PLC_WRONG_FORMAT;
}

} // namespace

PlcRefusal parsePlcItemName(const QByteArray &name, PlcPoint *point)
{
    const PlcRefusal refusal = parsePlcPoint(name.constData(), name.size(), point);
    if (refusal != PLC_WRONG_FORMAT)
        return refusal;
    const QByteArray asWord = name + WORD_SUFFIX;
    return parsePlcPoint(asWord.constData(), asWord.size(), point);
}

const PlcDevice *findPlcDevice(const QByteArray &name)
{
    int nameLength = 0;
    const PlcDevice *device = deviceNamedAtStart(name.constData(), name.size(), &nameLength);
    return nameLength == name.size() ? device : 0;
}

PlcArea plcArea(const PlcDevice &device)
{
    const PlcDevice *owner = device.shown ? findPlcDevice(device.shown) : &device;
    return static_cast<PlcArea>(owner - DEVICES);
}

const PlcDevice *plcDeviceAt(unsigned int i)
{
    return i < DEVICE_COUNT ? &DEVICES[i] : 0;
}

PlcRefusal parsePlcPoint(const char *text, int length, PlcPoint *point)
{
    int nameLength = 0;
    const PlcDevice *device = deviceNamedAtStart(text, length, &nameLength);
    if (!device)
        return PLC_UNKNOWN_DEVICE;
    const bool asWords =
        length >= nameLength + WORD_SUFFIX_LENGTH &&
        std::memcmp(text + length - WORD_SUFFIX_LENGTH, WORD_SUFFIX, WORD_SUFFIX_LENGTH) == 0;
    const int digits = length - nameLength - (asWords ? WORD_SUFFIX_LENGTH : 0);
    unsigned int number = 0;
    PlcRefusal refusal = parseNumber(text + nameLength, digits, device->base, &number);
    if (refusal == PLC_ACCEPTED)
        refusal = placePoint(*device, number, asWords, point);
    if (refusal == PLC_ACCEPTED && point->index >= point->size)
        refusal = PLC_OUT_OF_RANGE;
    return refusal;
}
