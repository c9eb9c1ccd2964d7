/// The fields of a line to the simulated PLC, and the texts of values in lines and replies. Only
/// the exact forms are taken, so that a mistake of the driver shows.
#ifndef SIMULATOR_PLC_VALUES_H
#define SIMULATOR_PLC_VALUES_H

#include "simulator/plc_devices.h"

#include <QtCore/QByteArray>

#include <cstring>

/// A piece of a line. It holds any bytes, and is not ended by a zero.
struct PlcField {
    const char *text;
    int length;

    bool is(const char *other) const
    {
        return static_cast<size_t>(length) == std::strlen(other) &&
               std::memcmp(text, other, static_cast<size_t>(length)) == 0;
    }
};

/// Cuts a line at single blanks: two blanks in a row, or one at an end, enclose an empty field.
/// Requires: the line stays unchanged meanwhile.
class PlcFieldReader
{
public:
    PlcFieldReader(const char *line, int length);

    /// Takes the next field; without one, @p field becomes empty. @return whether there was one
    bool next(PlcField *field);

    /// Whether all fields have been taken.
    bool atEnd() const { return m_at == 0; }

private:
    const char *m_at; // null at the end
    const char *m_end;
};

/// Reads one or more decimal digits whose number fits 32 bits. @return whether @p field is that
bool parsePlcDecimal(const PlcField &field, quint32 *value);

/// Reads a value in the exact form that a write of @p items takes: "0" or "1", 4 upper-case
/// hexadecimal digits, or 10 decimal digits up to 4294967295. @return whether @p field is that
bool parsePlcItem(const PlcField &field, PlcItems items, quint32 *value);

/// The largest value that one item holds; for PLC_TIMERS that of the contact.
quint32 largestPlcValue(PlcItems items);

/// @return @p text in quotes, as an error text shows it; of a longer one the first 60 bytes and
///         three dots. Control characters stay: they are escaped where the text is printed
QByteArray quotedPlcText(const QByteArray &text);

/// Appends 4 upper-case hexadecimal digits.
void appendPlcWord(quint16 value, QByteArray *text);

/// Appends 10 decimal digits.
void appendPlcDecimal(quint32 value, QByteArray *text);

#endif
