#include "tools/drv_dev_setting.h"

DriverSetting::DriverSetting(int timeout, int retry, int stationid, int delay)
    : timeout(timeout), retry(retry), stationid(stationid), delay(delay), auxFlag(false)
{
}

DriverSetting::DriverSetting(int timeout, int retry, int stationid, int delay, const QString &,
                             unsigned short)
    : timeout(timeout), retry(retry), stationid(stationid), delay(delay), auxFlag(false)
{
}

DriverSetting::DriverSetting(int timeout, int retry, int stationid, int delay, const QString &,
                             unsigned short, const QString &auxText, bool auxFlag)
    : timeout(timeout), retry(retry), stationid(stationid), delay(delay), auxText(auxText),
      auxFlag(auxFlag)
{
}

void DriverSetting::copy(const DriverSetting &other)
{
    timeout = other.timeout;
    retry = other.retry;
    stationid = other.stationid;
    delay = other.delay;
    auxText = other.auxText;
}

DeviceSetting::DeviceSetting(device_type type, QString string, int baudrate, int databits,
                             int stopbits, int parity)
    : type(type), string(string), baudrate(baudrate), databits(databits), stopbits(stopbits),
      parity(parity), auxValue(0), linkID(-1), currentIPIndex(0)
{
}

DeviceSetting::DeviceSetting(device_type type, QString string, int baudrate, int databits,
                             int stopbits, int parity, int auxValue, QString auxText)
    : type(type), string(string), baudrate(baudrate), databits(databits), stopbits(stopbits),
      parity(parity), auxValue(auxValue), auxText(auxText), linkID(-1), currentIPIndex(0)
{
}

// The entry that an index names, -1 when it names none.
int DeviceSetting::entryIndex(int index) const
{
    const int entry = index == -1 ? currentIPIndex : index;
    return entry >= 0 && entry < socketData.size() ? entry : -1;
}

unsigned short DeviceSetting::port(int index) const
{
    const int entry = entryIndex(index);
    return entry < 0 ? static_cast<unsigned short>(0) : socketData.at(entry).second;
}

QString DeviceSetting::socketIP(int index) const
{
    const int entry = entryIndex(index);
    return entry < 0 ? QString() : socketData.at(entry).first;
}

void DeviceSetting::setPort(unsigned short port, int index)
{
    const int entry = entryIndex(index);
    if (entry >= 0)
        socketData[entry].second = port;
}

void DeviceSetting::setSocketIP(const QString &ip, int index)
{
    const int entry = entryIndex(index);
    if (entry >= 0)
        socketData[entry].first = ip;
}

void DeviceSetting::setCurrentIPIndex(int index)
{
    if (index >= 0 && index < socketData.size())
        currentIPIndex = index;
}

void DeviceSetting::setSocketData(const QList<QPair<QString, QString> > &data)
{
    QList<QPair<QString, unsigned short> > entries;
    for (int i = 0; i < data.size(); ++i)
        entries.append(qMakePair(data.at(i).first, data.at(i).second.toUShort()));
    socketData = entries;
}
