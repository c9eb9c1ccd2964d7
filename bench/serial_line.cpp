#include "bench/serial_line.h"

#include "runtime/serial_port.h"

#include <iostream>

namespace
{

const int TIMEOUT_MS = 5000;

} // namespace

CountingChannel::CountingChannel(Port &port)
    : DeviceChannel(port, DriverSetting(TIMEOUT_MS, 0, 0, 0)), m_characters(0)
{}

int CountingChannel::read(char *buffer, int maxLength)
{
    return counted(DeviceChannel::read(buffer, maxLength));
}

int CountingChannel::write(const char *buffer, int length)
{
    return counted(DeviceChannel::write(buffer, length));
}

int CountingChannel::counted(int length)
{
    m_characters += qMax(0, length);
    return length;
}

SerialLine::SerialLine() {}
SerialLine::~SerialLine() {}

bool SerialLine::open(const char *device)
{
    SerialPortSetting setting;
    setting.device = QString::fromLocal8Bit(device);
    setting.parity = QSerialPort::NoParity; // a pseudo-terminal has none
    QStringList warnings;
    const Failure failure = openSerialPort(setting, &m_port, &warnings);
    if (failure)
        std::cerr << device << ": " << qPrintable(failure.text()) << "\n";
    else
        m_channel.reset(new CountingChannel(*m_port));
    return failure.isGood();
}
