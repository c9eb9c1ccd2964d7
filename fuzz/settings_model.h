/// A plain reading of settings streams and likely streams, for their fuzz target.
#ifndef FUZZ_SETTINGS_MODEL_H
#define FUZZ_SETTINGS_MODEL_H

#include "fuzz/fuzz_input.h"
#include "tools/drv_dev_setting.h"

#include <QtCore/QDataStream>
#include <QtCore/QIODevice>

/// Reads as a stream does: what is cut short gives 0 or an empty text and ends the bytes.
class PlainReader
{
public:
    PlainReader(const QByteArray &bytes, bool littleEndian)
        : m_bytes(bytes), m_at(0), m_little(littleEndian)
    {}

    bool atEnd() const { return m_at >= m_bytes.size(); }

    quint32 number(int width)
    {
        quint32 value = 0;
        if (width > m_bytes.size() - m_at) {
            m_at = m_bytes.size();
            return 0;
        }
        for (int i = 0; i < width; ++i) {
            const int at = m_at + (m_little ? width - 1 - i : i);
            value = value << 8 | static_cast<unsigned char>(m_bytes.at(at));
        }
        m_at += width;
        return value;
    }

    QString text()
    {
        const quint32 length = number(4);
        if (length == 0xFFFFFFFFu || length % 2 != 0)
            return QString();
        if (length > static_cast<quint32>(m_bytes.size() - m_at)) {
            m_at = m_bytes.size();
            return QString();
        }
        QString text;
        for (quint32 i = 0; i < length; i += 2)
            text += QChar(static_cast<ushort>(number(2)));
        return text;
    }

private:
    QByteArray m_bytes;
    int m_at;
    bool m_little;
};

/// What a device setting becomes when it is read.
inline DeviceSetting plainDevice(PlainReader reader, DeviceSetting setting)
{
    setting.type = static_cast<device_type>(reader.number(4));
    setting.string = reader.text();
    int *const numbers[] = {&setting.baudrate, &setting.databits, &setting.stopbits,
                            &setting.parity,   &setting.auxValue, &setting.linkID};
    for (int *number : numbers)
        *number = static_cast<int>(reader.number(4));
    const qint32 current = static_cast<qint32>(reader.number(4));
    const quint32 count = reader.number(4);
    setting.socketData.clear();
    for (quint32 i = 0; i < count; ++i) {
        const QString ip = reader.text();
        setting.socketData.append(qMakePair(ip, static_cast<quint16>(reader.number(2))));
        if (reader.atEnd())
            break;
    }
    if (current >= 0 && current < setting.socketData.size())
        setting.currentIPIndex = current;
    return setting;
}

inline void putText(QDataStream &stream, FuzzInput &input)
{
    const QByteArray units = input.bytes(2 * static_cast<int>(input.below(6)));
    const quint32 claim = input.below(128);
    stream << (claim == 127  ? input.number()
               : claim > 120 ? claim
                             : static_cast<quint32>(units.size()));
    stream.writeRawData(units.constData(), units.size());
}

/// Bytes with the fields of a device setting, more or less: texts of any length cost much time.
inline QByteArray likelyDevice(FuzzInput &input, QDataStream::ByteOrder order)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(order);
    const int cut = static_cast<int>(input.below(256));
    stream << input.number();
    putText(stream, input);
    for (int i = 0; i < 6; ++i)
        stream << input.size();
    stream << input.size() - 1 << input.size();
    while (!input.atEnd()) {
        putText(stream, input);
        stream << static_cast<quint16>(input.size());
    }
    bytes.chop(cut < 192 ? 0 : cut - 192);
    return bytes;
}

#endif
