#include "drivers/kv_l20v_host_link/kv_l20v_devices.h"

#include <cstring>

namespace
{

typedef KV_L20V_Device Device;

constexpr Device::Forms WORDS = {KV_L20V_HexWords, KV_L20V_HexWords, KV_L20V_Bits};
constexpr Device::Forms NUMBERS = {KV_L20V_Numbers, KV_L20V_Numbers, KV_L20V_Bits};
constexpr Device::Forms TIMERS = {KV_L20V_Currents, KV_L20V_Numbers, KV_L20V_Contacts};
constexpr Device::Forms CTCS = {KV_L20V_Currents, KV_L20V_Refused, KV_L20V_Contacts};
constexpr Device::Forms PRESETS = {KV_L20V_Presets, KV_L20V_Numbers, KV_L20V_Bits};
constexpr Device::Forms OTHERS = {KV_L20V_Currents, KV_L20V_Numbers, KV_L20V_Bits};

constexpr Device::Number NO_WORDS = {10, 0, ""};

constexpr Device::Contact NONE = {0, 0};
constexpr Device::Contact TIMER = {"T", 4};
constexpr Device::Contact COUNTER = {"C", 4};
constexpr Device::Contact CTC = {"CTC", 1};

// A new device is a row here: in the order of the first letters, and before a shorter name that it
// begins with, unless a digit has to follow that one. Bit writes look at no more than the first
// letter: TM1 sets timer 1, CM1 counter 1.
// clang-format off
constexpr Device DEVICES[] = {
    // prefix, before a digit, number in a line of words, forms, letters of a run, contact
    {"AT",   false, NO_WORDS,      NUMBERS, 0, NONE},
    {"B",    false, {16, 3, "0"},  WORDS,   1, NONE},
    {"C",    true,  NO_WORDS,      TIMERS,  0, COUNTER},
    {"CC",   false, NO_WORDS,      NUMBERS, 0, COUNTER},
    {"CM",   false, {10, 4, ""},   WORDS,   0, COUNTER},
    {"CR",   false, {10, 2, "00"}, WORDS,   2, COUNTER},
    {"CS",   false, NO_WORDS,      NUMBERS, 0, COUNTER},
    {"CTC",  false, NO_WORDS,      CTCS,    0, CTC},
    {"DM",   false, {10, 5, ""},   WORDS,   0, NONE},
    {"EM",   false, {10, 5, ""},   WORDS,   0, NONE},
    {"FM",   false, {10, 5, ""},   WORDS,   0, NONE},
    {"LR",   false, {10, 3, "00"}, WORDS,   1, NONE},
    {"MR",   false, {10, 3, "00"}, WORDS,   1, NONE},
    {"PCTC", false, NO_WORDS,      PRESETS, 0, NONE},
    {"R",    false, {10, 3, "00"}, WORDS,   1, NONE},
    {"T",    true,  NO_WORDS,      TIMERS,  0, TIMER},
    {"TC",   false, NO_WORDS,      NUMBERS, 0, TIMER},
    {"TM",   false, {10, 3, ""},   WORDS,   0, TIMER},
    {"TS",   false, NO_WORDS,      NUMBERS, 0, TIMER},
    {"VB",   false, {16, 3, "0"},  WORDS,   2, NONE},
    {"VM",   false, {10, 5, ""},   WORDS,   0, NONE},
    {"W",    false, {16, 4, ""},   WORDS,   0, NONE},
    {"Z",    true,  {10, 2, ""},   WORDS,   0, NONE},
    {"ZF",   false, {10, 5, ""},   WORDS,   0, NONE},
};
// clang-format on
constexpr int DEVICE_COUNT = sizeof DEVICES / sizeof *DEVICES;

// Exceptions: addresses that name no device but begin like one. They go into lines as they stand,
// but for Z, of whose words the PLC has no line.
// clang-format off
const Device GROUPS[] = {
    {"A",    true,  NO_WORDS, NUMBERS, 0, NONE},
    {"A?",   false, NO_WORDS, NUMBERS, 0, NONE},
    {"CT?",  false, NO_WORDS, OTHERS,  0, COUNTER},
    {"C?",   false, NO_WORDS, OTHERS,  0, COUNTER},
    {"D?",   false, NO_WORDS, OTHERS,  0, NONE},
    {"E?",   false, NO_WORDS, OTHERS,  0, NONE},
    {"F?",   false, NO_WORDS, OTHERS,  0, NONE},
    {"L?",   false, NO_WORDS, OTHERS,  1, NONE},
    {"M?",   false, NO_WORDS, OTHERS,  1, NONE},
    {"P???", false, NO_WORDS, OTHERS,  0, NONE},
    {"T?",   false, NO_WORDS, OTHERS,  0, TIMER},
    {"Z?",   false, NO_WORDS, WORDS,   0, NONE},
    {"",     false, NO_WORDS, OTHERS,  0, NONE},
};
// clang-format on

// Index of the first device that begins with a letter or with one behind it.
constexpr unsigned char firstOf(char letter, int i = 0)
{
    return i == DEVICE_COUNT || DEVICES[i].prefix[0] >= letter ? static_cast<unsigned char>(i)
                                                               : firstOf(letter, i + 1);
}

constexpr bool isInOrder(int i = 1)
{
    return i >= DEVICE_COUNT ||
           (DEVICES[i - 1].prefix[0] <= DEVICES[i].prefix[0] && isInOrder(i + 1));
}
static_assert(isInOrder(), "the devices are not in the order of their first letters");

// The devices of the letter c have the indexes FIRST[c - 'A'] to FIRST[c - 'A' + 1] - 1.
constexpr unsigned char FIRST[] = {
    firstOf('A'), firstOf('B'), firstOf('C'), firstOf('D'), firstOf('E'), firstOf('F'),
    firstOf('G'), firstOf('H'), firstOf('I'), firstOf('J'), firstOf('K'), firstOf('L'),
    firstOf('M'), firstOf('N'), firstOf('O'), firstOf('P'), firstOf('Q'), firstOf('R'),
    firstOf('S'), firstOf('T'), firstOf('U'), firstOf('V'), firstOf('W'), firstOf('X'),
    firstOf('Y'), firstOf('Z'), DEVICE_COUNT,
};

const int LOWER = 0x20; // the bit by which a letter in lower case differs

// Locale-free.
bool isLetter(char c, char letter)
{
    return (c | LOWER) == (letter | LOWER);
}

// Whether a row whose prefix begins with an address's first letter is the row of the address. The
// zero behind the address is not a letter of a prefix.
bool isRowOf(const Device &row, const char *address)
{
    const char *letter = row.prefix + 1;
    for (++address; *letter != '\0' && *letter != '?'; ++letter, ++address) {
        if (!isLetter(*address, *letter))
            return false;
    }
    return !row.beforeDigit || (*address >= '0' && *address <= '9') ||
           (*address == '\0' && row.number.digits > 0);
}

} // namespace

const KV_L20V_Device &KV_L20V_DeviceOf(const QByteArray &address)
{
    const char *const text = address.constData();
    const unsigned int letter = static_cast<unsigned char>((*text | LOWER) - 'a');
    if (letter < 26) {
        const Device *const end = DEVICES + FIRST[letter + 1];
        for (const Device *row = DEVICES + FIRST[letter]; row != end; ++row) {
            if (isRowOf(*row, text))
                return *row;
        }
    }
    const Device *group = GROUPS;
    while (*group->prefix != '\0' && !(isLetter(*text, *group->prefix) && isRowOf(*group, text)))
        ++group;
    return *group;
}

const KV_L20V_Device *KV_L20V_DeviceAt(int i)
{
    return i < DEVICE_COUNT ? &DEVICES[i] : 0;
}

int KV_L20V_IndexOf(const KV_L20V_Device &device)
{
    return static_cast<int>(&device - DEVICES);
}

QByteArray KV_L20V_NumberFormat(const KV_L20V_Device &device)
{
    return "%0" + QByteArray::number(device.number.digits) +
           (device.number.base == 16 ? 'X' : 'u') + device.number.firstBit + ".H";
}

// Exception: a CTC in lower case, its first letter aside, is read as bits.
KV_L20V_Form KV_L20V_BitForm(const KV_L20V_Device &device, const QByteArray &address)
{
    if (device.forms.bits != KV_L20V_Contacts)
        return device.forms.bits;
    const char *const rest = device.prefix + 1;
    const bool asInTable = std::strncmp(address.constData() + 1, rest, std::strlen(rest)) == 0;
    return asInTable ? KV_L20V_Contacts : KV_L20V_Bits;
}

// Exception: the bits of a relay in lower case are written one by one.
bool KV_L20V_IsBitRun(const KV_L20V_Device &device, const QByteArray &address)
{
    for (int i = 0; i < device.runLetters; ++i) {
        if (address.constData()[i] != device.prefix[i])
            return false;
    }
    return device.runLetters > 0;
}
