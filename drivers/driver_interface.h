/// @file
/// The contract that every driver plug-in implements and that the runtime calls.
#ifndef DRIVERS_DRIVER_INTERFACE_H
#define DRIVERS_DRIVER_INTERFACE_H

#include "drivers/communicator_command.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QtPlugin>

class AbstractDeviceInterface;
class DeviceSetting;
class DriverSetting;

/// A PLC driver as the runtime sees it. The order of the operations is the order of their slots in
/// the table of virtual operations: the runtime and the drivers are built apart from each other, so
/// it never changes. One object serves one link and is called from one thread at a time.
class DriverInterface
{
public:
    virtual ~DriverInterface() {}

    /// Size of the driver's address space for the runtime's block planning.
    virtual int totalSize() = 0;

    /// Performs one write request.
    /// @param device  the link's channel, borrowed for this call
    /// @param command what to write, and where to
    /// @param data    for the bit kinds one byte per bit (non-zero means 1), else words and double
    ///             words least significant byte first
    /// @return 1 when the PLC took the data, else 0 (see `hasError` and `getLastError`)
    virtual int write(AbstractDeviceInterface *device, const CommunicatorCommand &command,
                      const QByteArray &data) = 0;

    /// Performs one read request.
    /// @return the data: bits packed eight to a byte from bit 0, words and double words least
    ///         significant byte first, cut to the command's byte length; empty on failure
    virtual QByteArray read(AbstractDeviceInterface *device,
                            const CommunicatorCommand &command) = 0;

    /// Prepares the driver for a channel. @return 1 when it is ready, else 0; an int, as the
    /// runtime expects it
    virtual int initialize(AbstractDeviceInterface *device) = 0;

    /// Checks a text of the project for the driver. @return 0 or 1 as an int; the
    /// runtime defines which texts are valid
    virtual int validation(const QString &text) = 0;

    /// The driver's name, for people.
    virtual QString name() { return notAssigned(); }

    /// The PLC's vendor, for people.
    virtual QString vender() { return notAssigned(); }

    /// The driver's version, such as 1.0.0.
    virtual QString getVersionNumber() { return notAssigned(); }

    /// Serial settings that the runtime proposes for a new link; a new object, owned by the caller.
    virtual DeviceSetting *getDefaultSerialDeviceSetting() = 0;

    /// Pacing that the runtime proposes for a new link; a new object, owned by the caller.
    virtual DriverSetting *getDefaultDriverSetting() = 0;

    /// The default serial settings as text: kind, baud rate, parity, data bits, stop bits.
    virtual QString getStringBasedDefaultDriverSetting()
    {
        return QLatin1String("RS232,9600,EVEN,7,1");
    }

    /// The supported kinds of communication devices: a bitwise OR of `device_type` values.
    virtual int supportedCommunicationFlags() = 0;

    /// Switches the driver's debug mode; may be called at any time. It changes no request, no reply
    /// and no error text. What a driver sends and gets is seen in its channel: with kvlink
    /// --trace, or in a test with a `TranscriptChannel` (testkit/transcript_channel.h).
    virtual void setDebugMode(bool on) = 0;

    /// Largest block that the runtime should ask for in one request.
    virtual int getBlockAccessSize() = 0;

    /// Largest bit block that the runtime should ask for in one request.
    virtual int getBitBlockAccessSize() = 0;

    /// Whether the last `read` or `write` failed.
    virtual bool hasError() = 0;

    /// Text of the latest failure; it stays readable after later successes.
    virtual QString getLastError() = 0;

    /// The same object as a QObject.
    virtual QObject *getThisObject() = 0;

    // The operations below are optional: by default a driver takes no session commands, accepts
    // every setting and counts its channel as connected.

    /// Whether the driver makes use of the session commands below.
    virtual bool isSupportSessionCommand() { return false; }

    /// Announces the commands of a session ahead of time.
    virtual void setSessionCommand(QList<CommunicatorCommand> commands) { Q_UNUSED(commands) }

    /// Forgets the commands of `setSessionCommand`.
    virtual void clearSessionCommand() {}

    /// Tells that the link's device settings changed. @return whether the driver accepts them
    virtual bool deviceSettingChanged(const DeviceSetting *setting)
    {
        Q_UNUSED(setting)
        return true;
    }

    /// Whether the channel is connected.
    virtual bool isConnected(AbstractDeviceInterface *device)
    {
        Q_UNUSED(device)
        return true;
    }

private:
    static QString notAssigned() { return QLatin1String("Not Assigned"); }
};

Q_DECLARE_INTERFACE(DriverInterface, "com.quorvane.drivers.DriverInterface/1.1")

#endif
