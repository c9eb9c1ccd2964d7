#include "simulator/image_rows.h"

#include "simulator/plc_values.h"

#include <QtCore/QList>

namespace
{

// Spreadsheets put it before UTF-8.
const char BYTE_ORDER_MARK[] = "\xEF\xBB\xBF";

const char HEADER[] = "device,value";

PlcImageField unquoted(const QByteArray &text, int column)
{
    const bool isQuoted = text.size() >= 2 && text.startsWith('"') && text.endsWith('"');
    if (isQuoted)
        return {text.mid(1, text.size() - 2), column + 1};
    return {text, column};
}

} // namespace

QByteArray PlcImageReader::takeLine()
{
    const int lf = m_image.indexOf('\n', m_at);
    const int end = lf < 0 ? m_image.size() : lf;
    QByteArray line = m_image.mid(m_at, end - m_at);
    m_at = end + 1;
    ++m_line;
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

bool PlcImageReader::next(PlcImageRow *row)
{
    if (m_line == 0) {
        QByteArray header = takeLine();
        if (header.startsWith(BYTE_ORDER_MARK))
            header.remove(0, 3);
        if (header != HEADER)
            refuse(unquoted(header, 1), "the first line is not device,value");
    }
    QByteArray line;
    while (m_error.isEmpty() && line.isEmpty() && m_at < m_image.size())
        line = takeLine();
    const int comma = line.indexOf(',');
    row->device = unquoted(line.left(comma), 1);
    row->value = unquoted(line.mid(comma + 1), comma + 2);
    if (!line.isEmpty() && comma < 0)
        refuse(row->device, quotedPlcText(line) + " is not device,value");
    return !line.isEmpty() && m_error.isEmpty();
}

bool PlcImageReader::readValues(const PlcImageRow &row, const std::vector<quint32> &largest,
                                std::vector<quint32> *values)
{
    const QList<QByteArray> texts =
        largest.size() > 1 ? row.value.text.split(',') : QList<QByteArray>() << row.value.text;
    if (static_cast<size_t>(texts.size()) != largest.size()) {
        refuse(row.value, quotedPlcText(row.value.text) + " is not contact,current,preset of " +
                              quotedPlcText(row.device.text));
        return false;
    }
    values->clear();
    int column = row.value.column;
    for (int i = 0; i < texts.size(); ++i) {
        const PlcImageField field = {texts.at(i), column};
        const PlcField digits = {field.text.constData(), field.text.size()};
        const quint32 limit = largest[static_cast<size_t>(i)];
        quint32 value = 0;
        if (!parsePlcDecimal(digits, &value) || value > limit) {
            refuse(field, quotedPlcText(field.text) + " for " + quotedPlcText(row.device.text) +
                              ": expected 0 to " + QByteArray::number(limit));
            return false;
        }
        values->push_back(value);
        column += field.text.size() + 1;
    }
    return true;
}

void PlcImageReader::refuse(const PlcImageField &field, const QByteArray &reason)
{
    m_error = "line " + QByteArray::number(m_line) + ", column " +
              QByteArray::number(field.column) + ": " + reason;
}

void PlcImageReader::refuseDevice(const PlcImageRow &row)
{
    refuse(row.device, "no such device: " + quotedPlcText(row.device.text));
}

QByteArray plcImageHeader()
{
    return QByteArray(HEADER) + '\n';
}

QByteArray plcImageRow(const QByteArray &device, const std::vector<quint32> &values)
{
    QByteArray text;
    for (size_t i = 0; i < values.size(); ++i)
        text += (i > 0 ? "," : "") + QByteArray::number(values[i]);
    return device + ',' + (values.size() > 1 ? '"' + text + '"' : text) + '\n';
}
