/// @file
/// The runtime's request record: which device, what kind of items and how many of them.
#ifndef DRIVERS_COMMUNICATOR_COMMAND_H
#define DRIVERS_COMMUNICATOR_COMMAND_H

#include <QtCore/QString>
#include <QtCore/QtGlobal>

/// Width of the items of a request. The runtime may hand over other values than those named here; a
/// driver compares and never assumes that the value is one of them.
enum CommandKind : quint32 {
    Bit = 0,        ///< one bit
    Byte = 1,       ///< 8 bits
    Word = 2,       ///< 16 bits
    DoubleWord = 3, ///< 32 bits
    QuadWord = 4,   ///< 64 bits
    Block = 5,      ///< a run of bytes
    BitBlock = 6    ///< a run of bits
};

/// One read or write request as the runtime hands it to a driver. The driver borrows it for one
/// call and never creates, copies or keeps one.
class CommunicatorCommand
{
public:
    /// A request for some items of one kind from an address on.
    /// @param itemKind      width of the items
    /// @param itemCount     number of items, in the unit that @p itemKind gives
    /// @param deviceAddress a device prefix and a number, such as DM100 or T12
    CommunicatorCommand(CommandKind itemKind, quint32 itemCount, const QString &deviceAddress)
        : m_runtimeValue(0), kind(itemKind), count(itemCount), address(deviceAddress)
    {}

    /// Number of data bytes that the request covers: `count` items of the width of `kind`, bits
    /// packed eight to a byte; 0 for an unknown kind. Computed modulo 2^32 and returned as signed,
    /// so an absurd count may give a negative number.
    virtual int byteLength() const
    {
        quint32 bytes = 0;
        switch (kind) {
        case Bit:
        case BitBlock:
            bytes = count / 8 + (count % 8 != 0 ? 1 : 0);
            break;
        case Byte:
        case Block:
            bytes = count;
            break;
        case Word:
            bytes = 2 * count;
            break;
        case DoubleWord:
            bytes = 4 * count;
            break;
        case QuadWord:
            bytes = 8 * count;
            break;
        }
        return static_cast<int>(bytes);
    }

    virtual ~CommunicatorCommand() {}

protected:
    /// Belongs to the runtime and holds its place in the record; no driver reads it.
    quint32 m_runtimeValue;

public:
    CommandKind kind; ///< width of the items
    quint32 count;    ///< number of items
    QString address;  ///< device address text
};

#endif
