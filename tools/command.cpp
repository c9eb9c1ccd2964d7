#include "tools/command.h"

#include <cstring>

bool isBitCommand(const CommunicatorCommand &command)
{
    return command.kind == Bit;
}

bool isByteCommand(const CommunicatorCommand &command)
{
    return command.kind == Byte;
}

bool isWordCommand(const CommunicatorCommand &command)
{
    return command.kind == Word;
}

bool isDoubleWordCommand(const CommunicatorCommand &command)
{
    return command.kind == DoubleWord;
}

bool isBlockCommand(const CommunicatorCommand &command)
{
    return command.kind == Block;
}

int getBitData(const QByteArray &data)
{
    return data.isEmpty() ? 0 : data.at(0) & 1;
}

int GetSafeDataLen(const CommunicatorCommand &command)
{
    // The record's own rule, whatever a class derived from it says.
    return command.CommunicatorCommand::byteLength();
}

QByteArray ToSafeData(const CommunicatorCommand &command, const QByteArray &data)
{
    const int length = GetSafeDataLen(command);
    if (length <= data.size())
        return data.left(length);
    QByteArray padded(data);
    padded.resize(length);
    std::memset(padded.data() + data.size(), 0, static_cast<size_t>(length - data.size()));
    return padded;
}
