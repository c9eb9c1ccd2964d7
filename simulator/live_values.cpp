#include "simulator/live_values.h"

#include "simulator/plc_values.h"

#include <QtCore/QList>

#include <cmath>

bool LiveValues::add(const QByteArray &text, QByteArray *error)
{
    const int equals = text.indexOf('=');
    LiveValue value;
    if (equals < 0 || parsePlcItemName(text.left(equals), &value.point) != PLC_ACCEPTED) {
        *error = "no such device in " + quotedPlcText(text) +
                 ", expected for example DM100=counter:1,1000";
        return false;
    }
    if (!parseShape(text.mid(equals + 1), &value)) {
        *error = quotedPlcText(text.mid(equals + 1)) +
                 " is not counter:STEP,MS, ramp:MIN,MAX,MS or sine:MIN,MAX,MS with values from 0 "
                 "to " +
                 QByteArray::number(largestPlcValue(value.point.written)) + " and 1 ms or more";
        return false;
    }
    m_values.push_back(value);
    return true;
}

bool LiveValues::parseShape(const QByteArray &text, LiveValue *value)
{
    static const struct {
        const char *name;
        Shape shape;
    } SHAPES[] = {{"counter", COUNTER}, {"ramp", RAMP}, {"sine", SINE}};
    const int colon = text.indexOf(':');
    bool known = false;
    for (const auto &row : SHAPES) {
        if (text.left(colon) == row.name) {
            value->shape = row.shape;
            known = true;
        }
    }
    QList<QByteArray> numbers = text.mid(colon + 1).split(',');
    if (!known || colon < 0 || numbers.size() != (value->shape == COUNTER ? 2 : 3))
        return false;
    if (value->shape == COUNTER)
        numbers.insert(1, numbers.first());
    quint32 *const parts[] = {&value->low, &value->high, &value->periodMs};
    for (int i = 0; i < numbers.size(); ++i) {
        const PlcField field = {numbers[i].constData(), numbers[i].size()};
        if (!parsePlcDecimal(field, parts[i]))
            return false;
    }
    return value->low <= value->high && value->high <= largestPlcValue(value->point.written) &&
           value->periodMs >= 1;
}

void LiveValues::refresh(qint64 elapsedMs, PlcMemory *memory) const
{
    for (const LiveValue &value : m_values)
        memory->store(value.point.area, value.point.written, value.point.index,
                      valueAt(value, elapsedMs));
}

quint32 LiveValues::valueAt(const LiveValue &value, qint64 elapsedMs)
{
    const quint64 elapsed = static_cast<quint64>(elapsedMs);
    const quint64 phase = elapsed % value.periodMs;
    const quint64 span = quint64(value.high) - value.low;
    if (value.shape == COUNTER) {
        const quint64 values = quint64(largestPlcValue(value.point.written)) + 1;
        return static_cast<quint32>(elapsed / value.periodMs % values * value.low % values);
    }
    if (value.shape == RAMP)
        return static_cast<quint32>(value.low + (span + 1) * phase / value.periodMs);
    const double turn = 6.283185307179586 * static_cast<double>(phase) / value.periodMs;
    const double swing = static_cast<double>(span) / 2 * (1 + std::sin(turn));
    return value.low + static_cast<quint32>(std::llround(swing));
}
