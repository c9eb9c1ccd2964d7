// A whole driver for a weighing scale that answers "W" CR LF with its weight in grams, such as
// "001250" CR LF. It knows one device, W0, a double word.
#include "drivers/abstract_device_interface.h"
#include "drivers/driver_interface.h"
#include "tools/drv_dev_setting.h"
#include "tools/qt_compat.h"
#include "tools/tools.h"

#include <QtCore/QVariant>

class ScaleDriver : public QObject, public DriverInterface
{
    Q_OBJECT
    Q_INTERFACES(DriverInterface)
    Q_PLUGIN_METADATA(IID "com.quorvane.drivers.DriverInterface/1.1")

public:
    ScaleDriver() : m_failed(false) {}

    QString name() { return QLatin1String("Example scale"); }
    QString vender() { return QLatin1String("Example"); }
    QString getVersionNumber() { return QLatin1String("1.0.0"); }

    QByteArray read(AbstractDeviceInterface *device, const CommunicatorCommand &command)
    {
        m_failed = false;
        if (command.address != QLatin1String("W0") || !isDoubleWordCommand(command) ||
            command.count != 1)
            return failure(QLatin1String("no such value: ") + command.address);
        // Whatever came unasked is not the answer to this question.
        device->control(AbstractDeviceInterface::DiscardInput, QVariant(0));
        device->write("W\r\n", 3);
        char reply[16];
        int length = 0;
        while (length < 16 && (length == 0 || reply[length - 1] != '\n')) {
            const int count = device->read(reply + length, 16 - length);
            if (count <= 0)
                return failure(QLatin1String("no answer"));
            length += qMin(count, 16 - length);
        }
        const QByteArray line(reply, length);
        bool good = false;
        const unsigned int grams = NumberTextToUInt(line.left(length - 2), 10, &good);
        if (!line.endsWith("\r\n") || !good)
            return failure(QLatin1String("not a weight"));
        return ToSafeData(command, intToByteArray(static_cast<int>(grams)));
    }

    int write(AbstractDeviceInterface *, const CommunicatorCommand &, const QByteArray &)
    {
        failure(QLatin1String("a scale cannot be written"));
        return 0;
    }

    bool hasError() { return m_failed; }
    QString getLastError() { return m_error; }

    int initialize(AbstractDeviceInterface *) { return 1; }
    int validation(const QString &) { return 0; }
    int totalSize() { return 1; }
    int getBlockAccessSize() { return 4; }
    int getBitBlockAccessSize() { return 0; }
    int supportedCommunicationFlags() { return RS232Device; }
    void setDebugMode(bool) {}
    QObject *getThisObject() { return this; }
    DriverSetting *getDefaultDriverSetting() { return new DriverSetting(500, 3, 0, 0); }

    DeviceSetting *getDefaultSerialDeviceSetting()
    {
        return new DeviceSetting(RS232Device, QLatin1String("COM2"), 9600, 8, OneStopBitCode,
                                 EvenParityCode);
    }

private:
    QByteArray failure(const QString &text)
    {
        m_failed = true;
        m_error = text;
        return QByteArray();
    }

    bool m_failed;
    QString m_error;
};

#if QT_VERSION < 0x050000
Q_EXPORT_PLUGIN2(scale_driver, ScaleDriver)
#endif

#include "scale_driver.moc"
