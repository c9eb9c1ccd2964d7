/// Serial ports: their description as text, and their opening for one process alone.
#ifndef RUNTIME_SERIAL_PORT_H
#define RUNTIME_SERIAL_PORT_H

#include "runtime/failure.h"
#include "runtime/port.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtSerialPort/QSerialPort>

#include <memory>

/// The slowest and the fastest speed, in bits per second.
enum { MIN_BAUD_RATE = 50, MAX_BAUD_RATE = 4000000 };

/// Most bits of a character: start, 8 data, parity and 2 stop bits.
enum { MAX_BITS_PER_CHARACTER = 12 };

/// Which serial port, and its parameters.
struct SerialPortSetting {
    QString device; ///< name such as ttyS0, or a path
    qint32 baudRate = 9600;
    QSerialPort::DataBits dataBits = QSerialPort::Data8;
    QSerialPort::Parity parity = QSerialPort::EvenParity;
    QSerialPort::StopBits stopBits = QSerialPort::OneStop;
};

/// Reads the text "DEVICE[,BAUD[,FORMAT]]". BAUD is a decimal number from MIN_BAUD_RATE to
/// MAX_BAUD_RATE. FORMAT is the data bits 5 to 8, the parity n, e, o, m or s (none, even, odd, mark,
/// space) and the stop bits 1 or 2, such as 8e1. What is left out is 9600 and 8e1.
/// @param setting is changed only on success
/// @return StatusUsage for another text
Failure parseSerialPort(const QString &text, SerialPortSetting *setting);

/// The file behind a port's name; a bare name such as ttyS0 or pts/0 lies in /dev.
/// @param device as in a setting
QString serialDevicePath(const QString &device);

/// Whether a port is a pseudo-terminal, whose baud rate has no meaning.
/// @param device as in a setting
bool isPseudoTerminal(const QString &device);

/// Bits that a character takes on the wire: start, data, parity and stop bits; 7 to
/// MAX_BITS_PER_CHARACTER.
int bitsPerCharacter(const SerialPortSetting &setting);

/// The letter of a parity in such a text.
char serialParityLetter(QSerialPort::Parity parity);

/// Opens a serial port and locks it: no other process, and no second opening in this one, gets it
/// before it is closed. A character that arrives with a parity or framing error is read as a zero
/// byte, which no reply holds. Requires: no event loop runs in the port's thread.
/// @param port     gets the open port
/// @param warnings gets a text for a pseudo-terminal that refuses the parameters; it is used all
///                 the same, as they have no meaning there
/// @return StatusOpen: no such device, not a serial port, no permission, in use by another process,
///         or parameters that the port refuses
Failure openSerialPort(const SerialPortSetting &setting, std::unique_ptr<Port> *port,
                       QStringList *warnings);

#endif
