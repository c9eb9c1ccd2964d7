// What a driver object holds, what it says of itself, and its error state.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "drivers/kv_l20v_host_link/kv_l20v_limits.h"
#include "tools/drv_dev_setting.h"

namespace
{

const QString VERSION_STRING = QLatin1String("1.0.0");

const int USUAL_ADDRESS_LENGTH = 16;

} // namespace

bool DriverKV_L20V_HostLink::ci_less::operator()(const QByteArray &a, const QByteArray &b) const
{
    return qstrnicmp(a.constData(), b.constData(), static_cast<uint>(qMax(a.size(), b.size()))) < 0;
}

DriverKV_L20V_HostLink::DriverKV_L20V_HostLink()
    : m_hasError(false), m_debugMode(false), m_rspLen(0),
      m_rspBuf(KV_L20V_RESPONSE_BUFFER_SIZE, '\0'), m_cmdBuf(KV_L20V_COMMAND_BUFFER_SIZE, '\0'),
      m_givenAddress(0), m_row(0), m_words()
{
    m_address.reserve(USUAL_ADDRESS_LENGTH);
    for (int i = 0; const KV_L20V_Device *device = KV_L20V_DeviceAt(i); ++i) {
        const char *format = 0;
        if (device->number.digits > 0) {
            QByteArray &entry = m_map[device->prefix];
            entry = KV_L20V_NumberFormat(*device);
            format = entry.constData();
        }
        m_formats.push_back(format);
    }
}

QString DriverKV_L20V_HostLink::name()
{
    return QLatin1String("KEYENCE KV-L20V Host Link");
}

QString DriverKV_L20V_HostLink::vender()
{
    return QLatin1String("KEYENCE");
}

QString DriverKV_L20V_HostLink::getVersionNumber()
{
    return VERSION_STRING;
}

int DriverKV_L20V_HostLink::supportedCommunicationFlags()
{
    return 16 | RS232Device | 64;
}

DeviceSetting *DriverKV_L20V_HostLink::getDefaultSerialDeviceSetting()
{
    return new DeviceSetting(RS232Device, QLatin1String("COM2"), 9600, 8, OneStopBitCode,
                             EvenParityCode);
}

DriverSetting *DriverKV_L20V_HostLink::getDefaultDriverSetting()
{
    return new DriverSetting(500, 3, 0, 0);
}

QString DriverKV_L20V_HostLink::getStringBasedDefaultDriverSetting()
{
    return QLatin1String("RS232,9600,EVEN,8,1");
}

int DriverKV_L20V_HostLink::totalSize()
{
    return 1024;
}

int DriverKV_L20V_HostLink::getBlockAccessSize()
{
    return 1024;
}

int DriverKV_L20V_HostLink::getBitBlockAccessSize()
{
    return 1024;
}

int DriverKV_L20V_HostLink::initialize(AbstractDeviceInterface *)
{
    return 1;
}

int DriverKV_L20V_HostLink::validation(const QString &)
{
    return 0;
}

void DriverKV_L20V_HostLink::setDebugMode(bool on)
{
    m_debugMode = on;
}

QObject *DriverKV_L20V_HostLink::getThisObject()
{
    return this;
}

bool DriverKV_L20V_HostLink::hasError()
{
    return m_hasError;
}

QString DriverKV_L20V_HostLink::getLastError()
{
    return m_lastError;
}

void DriverKV_L20V_HostLink::setCommError(const QString &text)
{
    m_hasError = true;
    m_lastError = text;
}

void DriverKV_L20V_HostLink::clearError()
{
    m_hasError = false;
}
