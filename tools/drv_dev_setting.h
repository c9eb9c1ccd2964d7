/// @file
/// The records by which the runtime and its drivers describe one communication link.
#ifndef TOOLS_DRV_DEV_SETTING_H
#define TOOLS_DRV_DEV_SETTING_H

#include <QtCore/QList>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

class QDataStream;

/// Kinds of communication devices. They are distinct bits: a set of kinds is the bitwise OR of its
/// members, and the runtime may use further ones.
enum device_type : quint32 {
    RS232Device = 32 ///< an RS-232 serial port
};

/// Codes of `DeviceSetting::stopbits` and `DeviceSetting::parity` that are known here.
enum { OneStopBitCode = 0, EvenParityCode = 2 };

/// How a driver paces its exchanges with the PLC.
class DriverSetting
{
public:
    /// @param timeoutMs time-out of one answer, applied by the runtime's channel, in milliseconds
    /// @param retries   number of further attempts after a failed exchange
    /// @param station   PLC station number
    /// @param delayMs   delay before each attempt, in milliseconds
    DriverSetting(int timeoutMs, int retries, int station, int delayMs);

    /// The same record as the four-argument form; @p text and @p number are not kept.
    DriverSetting(int timeoutMs, int retries, int station, int delayMs, const QString &text,
                  unsigned short number);

    /// Keeps the four numbers, @p extraText (as `auxText`) and @p extraFlag (as `auxFlag`); @p text
    /// and @p number are not kept.
    DriverSetting(int timeoutMs, int retries, int station, int delayMs, const QString &text,
                  unsigned short number, const QString &extraText, bool extraFlag);

    /// Takes everything but `auxFlag` from @p other.
    void copy(const DriverSetting &other);

    /// Prints the four numbers as one debug message.
    void dump();

    int timeout;     ///< milliseconds
    int retry;       ///< further attempts
    int stationid;   ///< PLC station number
    int delay;       ///< milliseconds
    QString auxText; ///< a text of the runtime's; no driver reads it
    bool auxFlag;    ///< a flag of the runtime's; no driver reads it
};

/// Which channel the runtime opens, and how: a serial port with its serial parameters, or a list of
/// Ethernet entries (address and port) of which one is current.
class DeviceSetting
{
public:
    /// @param kind         kind of device
    /// @param name         device name, such as COM2; ETHERNET... is the Ethernet port
    /// @param bitsPerSecond  baud rate
    /// @param dataBits     data bits per character
    /// @param stopBitCode  stop-bit code (0: one stop bit)
    /// @param parityCode   parity code (2: even)
    DeviceSetting(device_type kind, QString name, int bitsPerSecond, int dataBits, int stopBitCode,
                  int parityCode);

    /// The same, with the runtime's two further values.
    DeviceSetting(device_type kind, QString name, int bitsPerSecond, int dataBits, int stopBitCode,
                  int parityCode, int extraValue, QString extraText);

    /// Port number of entry @p index; -1 is the current entry. 0 when there is no such entry.
    unsigned short port(int index) const;

    /// Address text of entry @p index; -1 is the current entry. Empty when there is no such entry.
    QString socketIP(int index) const;

    /// Replaces the port of entry @p index (-1: the current one); nothing when there is no such
    /// entry.
    void setPort(unsigned short number, int index);

    /// Replaces the address of entry @p index (-1: the current one); nothing when there is no such
    /// entry.
    void setSocketIP(const QString &ip, int index);

    /// Makes entry @p index the current one; ignored when there is no such entry.
    void setCurrentIPIndex(int index);

    /// Replaces the entries by pairs of an address text and a port text. A port text that is not a
    /// decimal number in 0 to 65535 becomes port 0. The current index stays, even beyond the new
    /// list.
    void setSocketData(const QList<QPair<QString, QString>> &data);

    /// Prints the record, of its entries the current one, as one debug message.
    void dump();

    device_type type;   ///< kind of device
    QString string;     ///< device name, such as COM2
    int baudrate;       ///< bits per second
    int databits;       ///< data bits per character
    int stopbits;       ///< stop-bit code (0: one stop bit)
    int parity;         ///< parity code (2: even)
    int auxValue;       ///< a value of the runtime's; no driver reads it
    QString auxText;    ///< a text of the runtime's; no driver reads it
    int linkID;         ///< link id in the project database; -1 until it is known
    int currentIPIndex; ///< index of the current entry; may lie beyond a list that was replaced
    QList<QPair<QString, unsigned short>> socketData; ///< Ethernet entries: address and port

private:
    int entryIndex(int index) const;
};

/// @name Streams
/// The format that the runtime and its drivers share: every integer as 32 bits (a port as 16),
/// every text in Qt's encoding, in the byte order that the stream is set to. The auxiliary texts
/// and flags are not in it. A stream that ends early gives zeros and empty texts and its status
/// tells; a list of entries ends with the entry at whose reading the stream ended, whatever its
/// count claims. A sequential device that gives nothing more counts as ended, whatever its
/// bytesAvailable() says: a list on an endless device without data has one entry. The stored
/// current index counts only when it names an entry.
/// @return the stream
/// @{
/// Writes the four numbers.
QDataStream &operator<<(QDataStream &stream, const DriverSetting &setting);
/// Reads the four numbers and leaves the rest.
QDataStream &operator>>(QDataStream &stream, DriverSetting &setting);
/// Writes everything but `auxText`.
QDataStream &operator<<(QDataStream &stream, const DeviceSetting &setting);
/// Reads everything but `auxText`, which stays.
QDataStream &operator>>(QDataStream &stream, DeviceSetting &setting);
/// @}

#endif
