#include "simulator/plc_values.h"

namespace
{

const int WORD_DIGITS = 4;
const int DECIMAL_DIGITS = 10;
const int MAX_QUOTED = 60;

bool parseBit(const PlcField &field, quint32 *value)
{
    *value = field.is("1") ? 1 : 0;
    return *value == 1 || field.is("0");
}

bool parseWord(const PlcField &field, quint32 *value)
{
    if (field.length != WORD_DIGITS)
        return false;
    *value = 0;
    for (int i = 0; i < WORD_DIGITS; ++i) {
        const char c = field.text[i];
        if (c >= '0' && c <= '9')
            *value = *value * 16 + static_cast<quint32>(c - '0');
        else if (c >= 'A' && c <= 'F')
            *value = *value * 16 + static_cast<quint32>(c - 'A') + 10;
        else
            return false;
    }
    return true;
}

} // namespace

PlcFieldReader::PlcFieldReader(const char *line, int length) : m_at(line), m_end(line + length) {}

bool PlcFieldReader::next(PlcField *field)
{
    field->text = m_at;
    field->length = 0;
    if (!m_at)
        return false;
    const void *blank = std::memchr(m_at, ' ', static_cast<size_t>(m_end - m_at));
    const char *fieldEnd = blank ? static_cast<const char *>(blank) : m_end;
    field->length = static_cast<int>(fieldEnd - m_at);
    m_at = blank ? fieldEnd + 1 : 0;
    return true;
}

bool parsePlcDecimal(const PlcField &field, quint32 *value)
{
    quint64 number = 0;
    for (int i = 0; i < field.length; ++i) {
        const char c = field.text[i];
        if (c < '0' || c > '9')
            return false;
        number = number * 10 + static_cast<quint64>(c - '0');
        if (number > 0xFFFFFFFFu)
            return false;
    }
    *value = static_cast<quint32>(number);
    return field.length > 0;
}

bool parsePlcItem(const PlcField &field, PlcItems items, quint32 *value)
{
    if (items == PLC_BITS)
        return parseBit(field, value);
    if (items == PLC_WORDS)
        return parseWord(field, value);
    return field.length == DECIMAL_DIGITS && parsePlcDecimal(field, value);
}

quint32 largestPlcValue(PlcItems items)
{
    switch (items) {
    case PLC_BITS:
    case PLC_TIMERS:
        return 1;
    case PLC_WORDS:
        return 0xFFFF;
    case PLC_CURRENTS:
    case PLC_PRESETS:
        break;
    }
    return 0xFFFFFFFFu;
}

QByteArray quotedPlcText(const QByteArray &text)
{
    return '"' + text.left(MAX_QUOTED) + (text.size() > MAX_QUOTED ? "...\"" : "\"");
}

void appendPlcWord(quint16 value, QByteArray *text)
{
    static const char DIGITS[] = "0123456789ABCDEF";
    for (int shift = 12; shift >= 0; shift -= 4)
        text->append(DIGITS[(value >> shift) & 0xF]);
}

void appendPlcDecimal(quint32 value, QByteArray *text)
{
    char digits[DECIMAL_DIGITS];
    for (int i = DECIMAL_DIGITS - 1; i >= 0; --i, value /= 10)
        digits[i] = static_cast<char>('0' + value % 10);
    text->append(digits, DECIMAL_DIGITS);
}
