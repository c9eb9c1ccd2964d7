/// @file
/// The byte-stream channel between a driver and its PLC.
#ifndef DRIVERS_ABSTRACT_DEVICE_INTERFACE_H
#define DRIVERS_ABSTRACT_DEVICE_INTERFACE_H

class QVariant;

/// A channel to a PLC (a serial port, a socket, ...), owned by the runtime and lent to the driver
/// for one call. The transport contract is this short: bytes in, bytes out, and the pacing values
/// of the link. A driver never waits by itself for input; waiting is the business of `read`.
class AbstractDeviceInterface
{
public:
    /// The codes of `control` that drivers use.
    enum ControlCode {
        DiscardInput = 12 ///< throw away input that has not been read yet; takes the integer 0
    };

    virtual ~AbstractDeviceInterface() {}

    /// Receives up to @p maxLength bytes into @p buffer.
    /// @return how many bytes were stored; 0 or less when nothing arrived within the channel's own
    ///         time-out or the channel is broken
    virtual int read(char *buffer, int maxLength) = 0;

    /// Sends @p length bytes from @p buffer.
    /// @return how many bytes were taken, or less than 0 when the channel is broken
    virtual int write(const char *buffer, int length) = 0;

    /// A command to the channel itself. Drivers issue `DiscardInput` before they ask a question
    /// whose answer they are about to read.
    /// @return 1 when the channel knows the code, else 0
    virtual int control(int code, const QVariant &value) = 0;

    /// Number of further attempts after a failed one. A driver asks for it when an attempt has
    /// failed, and only then.
    virtual int getRetry() = 0;

    /// The PLC's station number.
    virtual int getStationId() = 0;

    /// Delay before every attempt, in milliseconds.
    virtual unsigned long getDelay() = 0;
};

#endif
