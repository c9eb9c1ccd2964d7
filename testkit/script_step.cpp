#include "testkit/script_step.h"

#include "drivers/abstract_device_interface.h"

#include <QtCore/QVariant>

namespace
{

const struct {
    char byte;
    const char *name;
} NAMED_BYTES[] = {{'\r', "{CR}"}, {'\n', "{LF}"}, {'\0', "{NUL}"}};

QByteArray bytesOf(const QByteArray &text)
{
    QByteArray bytes;
    for (int i = 0; i < text.size(); ++i) {
        const int end = text.at(i) == '{' ? text.indexOf('}', i) : -1;
        const QByteArray name = end < 0 ? QByteArray() : text.mid(i, end + 1 - i);
        QByteArray byte = name.size() == 4 ? QByteArray::fromHex(name.mid(1, 2)) : QByteArray();
        for (const auto &named : NAMED_BYTES) {
            if (name == named.name)
                byte = QByteArray(1, named.byte);
        }
        bytes += byte.size() == 1 ? byte : text.mid(i, 1);
        i = byte.size() == 1 ? end : i;
    }
    return bytes;
}

QByteArray textOf(const QByteArray &bytes)
{
    QByteArray text;
    for (const char byte : bytes) {
        const bool isPlain = byte >= ' ' && byte <= '~' && byte != '{' && byte != '|';
        QByteArray shown =
            isPlain ? QByteArray(1, byte) : "{" + QByteArray(1, byte).toHex().toUpper() + "}";
        for (const auto &named : NAMED_BYTES) {
            if (byte == named.byte)
                shown = named.name;
        }
        text += shown;
    }
    return text;
}

} // namespace

ScriptStep parseStep(const QByteArray &text, const QByteArray &lineEnd)
{
    ScriptStep step = {text.isEmpty() ? '\0' : text.at(0), QByteArray()};
    const bool hasBytes = step.direction == '<' || step.direction == '>';
    if (hasBytes) {
        const bool isExact = text.size() > 1 && text.at(1) == step.direction;
        step.bytes = bytesOf(text.mid(isExact ? 2 : 1)) + (isExact ? QByteArray() : lineEnd);
    } else if (text != "!" && text != "?" && text != "~") {
        step.direction = '\0';
    }
    return step;
}

QByteArray stepText(const ScriptStep &step, const QByteArray &lineEnd)
{
    const QByteArray start(1, step.direction);
    if (step.direction != '<' && step.direction != '>')
        return step.direction == '\0' ? QByteArray("no step") : start;
    if (!step.bytes.endsWith(lineEnd) || step.bytes.startsWith(step.direction))
        return start + start + textOf(step.bytes);
    return start + textOf(step.bytes.left(step.bytes.size() - lineEnd.size()));
}

ScriptStep controlStep(int code, const QVariant &value)
{
    const bool discards = code == AbstractDeviceInterface::DiscardInput &&
                          value.type() == QVariant::Int && value.toInt() == 0;
    ScriptStep step = {discards ? '!' : '?', QByteArray()};
    return step;
}

QByteArray joinedSteps(const QList<QByteArray> &texts)
{
    QByteArray joined;
    for (int i = 0; i < texts.size(); ++i)
        joined += (i == 0 ? "" : "|") + texts.at(i);
    return joined;
}
