/// What the pack language has to make of a format, for its fuzz target.
#ifndef FUZZ_PACK_MODEL_H
#define FUZZ_PACK_MODEL_H

#include "fuzz/fuzz_input.h"

#include <algorithm>
#include <cstring>
#include <vector>

const unsigned int MOST_ARGUMENTS = 8;
const int MOST_BYTES = 1024;
const char UNTOUCHED = '\xEE';

typedef std::vector<unsigned char> Bytes; // of the exact size, so that a byte too far is noticed

/// What a format says up to its first fault.
struct Model {
    enum Fault { None, UnknownCharacter, WrongCount };

    Model() : fault(None), arrayFault(false) {}

    Fault fault;
    bool arrayFault;            // the array packer takes no counted fillers
    QByteArray format;          // as far as buffers and arguments go
    QByteArray packed;          // into a buffer that held UNTOUCHED
    QByteArray appended;        // into a new array
    std::vector<Bytes> values;  // of each argument in memory, of a single one 4 bytes
    std::vector<size_t> widths; // what unpacking stores of each
    std::vector<bool> counted;  // the argument is a pointer
};

inline int widthOf(char type)
{
    if (type == '\0')
        return 0;
    return std::strchr("CcxX", type)     ? 1
           : std::strchr("Ssvn", type)   ? 2
           : std::strchr("IiLlVN", type) ? 4
                                         : 0;
}

inline QByteArray ordered(const unsigned char *value, char type)
{
    QByteArray bytes(reinterpret_cast<const char *>(value), widthOf(type));
    const bool bigEndian = type == 'n' || type == 'N';
    if (bigEndian != (Q_BYTE_ORDER == Q_BIG_ENDIAN))
        std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

/// Takes one item off the text into the model. @return whether the format goes on
inline bool takeItem(Model &model, const QByteArray &text, int &at, FuzzInput &input)
{
    const int start = at;
    qulonglong count = 0;
    for (; at < text.size() && text.at(at) >= '0' && text.at(at) <= '9'; ++at)
        count = qMin(count * 10 + static_cast<qulonglong>(text.at(at) - '0'), Q_UINT64_C(1) << 40);
    const bool counted = at > start;
    const char type = at < text.size() ? text.at(at++) : '\0';
    const bool filler = type == 'x' || type == 'X';
    const int width = widthOf(type);
    const bool takesCount = filler || (count > 0 && type && std::strchr("CcvnVN", type));
    if (counted && !takesCount)
        model.fault = Model::WrongCount;
    else if (width == 0)
        model.fault = Model::UnknownCharacter;
    const int items = counted ? static_cast<int>(qMin<qulonglong>(count, MOST_BYTES + 1)) : 1;
    if (model.fault == Model::None && (model.packed.size() + items * width > MOST_BYTES ||
                                       (!filler && model.values.size() == MOST_ARGUMENTS)))
        return false;
    model.format += text.mid(start, at - start);
    if (model.fault != Model::None)
        return false;
    model.arrayFault = model.arrayFault || (counted && filler);
    if (filler) {
        model.packed += QByteArray(items, type == 'x' ? '\0' : UNTOUCHED);
        model.appended += QByteArray(items, '\0');
        return true;
    }
    const QByteArray pattern = fuzzPattern(counted ? items * width : 4, input);
    model.values.push_back(Bytes(pattern.begin(), pattern.end()));
    model.counted.push_back(counted);
    model.widths.push_back(static_cast<size_t>(items * width));
    for (int i = 0; i < items; ++i) {
        const QByteArray bytes =
            ordered(&model.values.back()[static_cast<size_t>(i * width)], type);
        model.packed += bytes;
        model.appended += bytes;
    }
    return true;
}

#endif
