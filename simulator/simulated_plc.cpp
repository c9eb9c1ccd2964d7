#include "simulator/simulated_plc.h"

#include "simulator/plc_values.h"

namespace
{

// The simulator's own choice of limits; a timer's item is 24 characters long in a reply.
const quint32 MAX_ITEMS = 1000;
const quint32 MAX_TIMER_ITEMS = 120;

const int LINE_END_LENGTH = 2;

QByteArray stationText(int station)
{
    return QByteArray::number(station).rightJustified(2, '0');
}

bool isStationText(const PlcField &field)
{
    quint32 station = 0;
    return field.length == 2 && parsePlcDecimal(field, &station);
}

// A run of items: device and count, with the whole run inside the device.
PlcRefusal parseRun(PlcFieldReader *fields, PlcPoint *point, quint32 *count)
{
    PlcField device;
    PlcField countText;
    if (!fields->next(&device) || !fields->next(&countText))
        return PLC_MALFORMED_LINE;
    const PlcRefusal refusal = parsePlcPoint(device.text, device.length, point);
    if (refusal != PLC_ACCEPTED)
        return refusal;
    const quint32 limit = point->read == PLC_TIMERS ? MAX_TIMER_ITEMS : MAX_ITEMS;
    if (!parsePlcDecimal(countText, count) || *count < 1 || *count > limit)
        return PLC_WRONG_COUNT;
    return *count <= point->size - point->index ? PLC_ACCEPTED : PLC_OUT_OF_RANGE;
}

} // namespace

SimulatedPlc::SimulatedPlc(int station)
    : m_ownMemory(new PlcMemory), m_memory(*m_ownMemory), m_station(station), m_open(false)
{}

SimulatedPlc::SimulatedPlc(PlcMemory &memory, int station)
    : m_memory(memory), m_station(station), m_open(false)
{}

QByteArray SimulatedPlc::receive(const QByteArray &bytes)
{
    append(bytes);
    QByteArray replies;
    QByteArray line;
    QByteArray reply;
    while (takeReply(&line, &reply))
        replies += reply;
    return replies;
}

void SimulatedPlc::append(const QByteArray &bytes)
{
    m_lines.append(bytes);
}

bool SimulatedPlc::takeReply(QByteArray *line, QByteArray *reply)
{
    const LineSplitter::Result result = m_lines.take(line);
    if (result == LineSplitter::NO_LINE)
        return false;
    *reply =
        result == LineSplitter::LINE ? answer(*line) : counted(PLC_OVERLONG_LINE, QByteArray());
    return true;
}

QByteArray SimulatedPlc::answer(const QByteArray &line)
{
    QByteArray reply;
    PlcRefusal refusal = PLC_MALFORMED_LINE;
    if (line.endsWith("\r\n"))
        refusal = obey(line.constData(), line.size() - LINE_END_LENGTH, &reply);
    return counted(refusal, reply);
}

// The single place where a refusal becomes a reply.
QByteArray SimulatedPlc::counted(PlcRefusal refusal, const QByteArray &reply)
{
    ++m_counts.requests;
    if (refusal == PLC_ACCEPTED)
        return reply;
    ++m_counts.errors;
    return QByteArray("E") + plcErrorDigit(refusal) + "\r\n";
}

PlcRefusal SimulatedPlc::obey(const char *text, int length, QByteArray *reply)
{
    struct Command {
        const char *name;
        bool whileClosed;
        PlcRefusal (SimulatedPlc::*obey)(PlcFieldReader *, QByteArray *);
    };
    static const Command COMMANDS[] = {
        {"CR", true, &SimulatedPlc::openLine},    {"CQ", false, &SimulatedPlc::closeLine},
        {"RDS", false, &SimulatedPlc::readItems}, {"WRS", false, &SimulatedPlc::writeItems},
        {"ST", false, &SimulatedPlc::setContact}, {"RS", false, &SimulatedPlc::resetContact},
    };
    PlcFieldReader fields(text, length);
    PlcField name;
    fields.next(&name);
    for (const Command &command : COMMANDS) {
        if (name.is(command.name))
            return m_open || command.whileClosed ? (this->*command.obey)(&fields, reply)
                                                 : PLC_NOT_OPEN;
    }
    return PLC_UNKNOWN_COMMAND;
}

PlcRefusal SimulatedPlc::openLine(PlcFieldReader *fields, QByteArray *reply)
{
    PlcField station;
    if (!fields->next(&station) || !fields->atEnd() || !isStationText(station))
        return PLC_MALFORMED_LINE;
    // The open line of another station closes our communication; that station answers it.
    m_open = station.is(stationText(m_station).constData());
    if (m_open)
        *reply = "CC " + stationText(m_station) + "\r\n";
    return PLC_ACCEPTED;
}

PlcRefusal SimulatedPlc::closeLine(PlcFieldReader *fields, QByteArray *reply)
{
    if (!fields->atEnd())
        return PLC_MALFORMED_LINE;
    m_open = false;
    *reply = "CF\r\n";
    return PLC_ACCEPTED;
}

PlcRefusal SimulatedPlc::readItems(PlcFieldReader *fields, QByteArray *reply)
{
    PlcPoint point;
    quint32 count = 0;
    const PlcRefusal refusal = parseRun(fields, &point, &count);
    if (refusal != PLC_ACCEPTED)
        return refusal;
    if (!fields->atEnd())
        return PLC_MALFORMED_LINE;
    for (quint32 i = 0; i < count; ++i) {
        if (i > 0)
            reply->append(' ');
        m_memory.appendItem(point.area, point.read, point.index + i, reply);
    }
    reply->append("\r\n");
    return PLC_ACCEPTED;
}

PlcRefusal SimulatedPlc::writeItems(PlcFieldReader *fields, QByteArray *reply)
{
    PlcPoint point;
    quint32 count = 0;
    const PlcRefusal refusal = parseRun(fields, &point, &count);
    if (refusal != PLC_ACCEPTED)
        return refusal;
    // A refused line changes nothing, so all values are read before the first is stored.
    m_values.clear();
    PlcField field;
    while (m_values.size() < count && fields->next(&field)) {
        quint32 value = 0;
        if (!parsePlcItem(field, point.written, &value))
            return PLC_MALFORMED_VALUE;
        m_values.push_back(value);
    }
    if (m_values.size() < count || !fields->atEnd())
        return PLC_COUNT_MISMATCH;
    if (m_memory.isReadOnly(point.area, point.written, point.index, count))
        return PLC_READ_ONLY;
    for (quint32 i = 0; i < count; ++i)
        m_memory.store(point.area, point.written, point.index + i, m_values[i]);
    *reply = "OK\r\n";
    return PLC_ACCEPTED;
}

PlcRefusal SimulatedPlc::setContact(PlcFieldReader *fields, QByteArray *reply)
{
    return storeContact(fields, true, reply);
}

PlcRefusal SimulatedPlc::resetContact(PlcFieldReader *fields, QByteArray *reply)
{
    return storeContact(fields, false, reply);
}

PlcRefusal SimulatedPlc::storeContact(PlcFieldReader *fields, bool value, QByteArray *reply)
{
    PlcField device;
    if (!fields->next(&device) || !fields->atEnd())
        return PLC_MALFORMED_LINE;
    PlcPoint point;
    const PlcRefusal refusal = parsePlcPoint(device.text, device.length, &point);
    if (refusal != PLC_ACCEPTED)
        return refusal;
    if (point.read != PLC_BITS && point.read != PLC_TIMERS)
        return PLC_UNKNOWN_DEVICE;
    if (m_memory.isReadOnly(point.area, point.read, point.index, 1))
        return PLC_READ_ONLY;
    m_memory.store(point.area, point.read, point.index, value ? 1 : 0);
    *reply = "OK\r\n";
    return PLC_ACCEPTED;
}
