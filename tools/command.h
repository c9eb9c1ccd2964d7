/// @file
/// Classification of the runtime's commands, and data cut or padded to a command's length.
#ifndef TOOLS_COMMAND_H
#define TOOLS_COMMAND_H

#include "drivers/communicator_command.h"

#include <QtCore/QByteArray>

/// @name Classification
/// Each compares the command's kind with exactly one value; a bit block is neither a bit nor a
/// block.
/// @{
bool isBitCommand(const CommunicatorCommand &command);        ///< kind `Bit`
bool isByteCommand(const CommunicatorCommand &command);       ///< kind `Byte`
bool isWordCommand(const CommunicatorCommand &command);       ///< kind `Word`
bool isDoubleWordCommand(const CommunicatorCommand &command); ///< kind `DoubleWord`
bool isBlockCommand(const CommunicatorCommand &command);      ///< kind `Block`
/// @}

/// The lowest bit of the first byte, 0 or 1; 0 for an empty array.
int getBitData(const QByteArray &data);

/// The number of data bytes that the command's kind and count cover, bits packed eight to a byte; 0
/// for an unknown kind. Computed modulo 2^32 and returned as signed.
int GetSafeDataLen(const CommunicatorCommand &command);

/// @p data cut, or padded with zero bytes, to `GetSafeDataLen`; empty when that is negative.
/// Requires: memory for that many bytes.
QByteArray ToSafeData(const CommunicatorCommand &command, const QByteArray &data);

#endif
