/// Settings to and from bytes, and their entries as a text.
#ifndef TESTS_TOOLS_SETTINGS_IO_H
#define TESTS_TOOLS_SETTINGS_IO_H

#include "tools/drv_dev_setting.h"

#include <QtCore/QDataStream>

template <typename Setting>
QByteArray written(const Setting &setting, QDataStream::ByteOrder order = QDataStream::BigEndian)
{
    QByteArray bytes;
    QDataStream stream(&bytes, QIODevice::WriteOnly);
    stream.setByteOrder(order);
    stream << setting;
    return bytes;
}

/// @return the stream's status
template <typename Setting>
int readInto(Setting &setting, const QByteArray &bytes,
             QDataStream::ByteOrder order = QDataStream::BigEndian)
{
    QDataStream stream(bytes);
    stream.setByteOrder(order);
    stream >> setting;
    return stream.status();
}

/// All entries, so that a comparison shows every change.
inline QString entriesOf(const DeviceSetting &device)
{
    QString text;
    for (int i = 0; i < device.socketData.size(); ++i)
        text += device.socketData.at(i).first + QLatin1Char('|') +
                QString::number(device.socketData.at(i).second) + QLatin1Char(' ');
    return text;
}

#endif
