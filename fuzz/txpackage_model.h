/// What a transmit frame has to be, for its fuzz target.
#ifndef FUZZ_TXPACKAGE_MODEL_H
#define FUZZ_TXPACKAGE_MODEL_H

#include <QtCore/QByteArray>
#include <QtCore/QList>

#include <climits>
#include <cstdio>

/// The frame as its header describes it, in plain lists.
struct FrameModel {
    FrameModel() : appended(0) {}

    QByteArray bytes;
    QList<int> sizes;
    int appended;

    void append(QByteArray added)
    {
        bytes += added;
        sizes += added.size();
        appended += added.size();
    }

    int check(bool isSum) const
    {
        int value = 0;
        for (int i = 0; i < bytes.size(); ++i) {
            const int byte = static_cast<unsigned char>(bytes.at(i));
            value = isSum ? (value + byte) % 256 : value ^ byte;
        }
        return value;
    }

    QByteArray dump() const
    {
        QByteArray text("(");
        for (int i = 0; i < bytes.size(); ++i)
            text += "0X" + bytes.mid(i, 1).toHex() + ' ';
        return text.replace("0X0", "0X") + ") : " + bytes.constData();
    }

    qint64 start(int section) const
    {
        qint64 sum = 0;
        for (int i = 0; i < section; ++i)
            sum = qBound<qint64>(INT_MIN, sum + size(i), INT_MAX);
        return sum;
    }

    qint64 size(int section) const
    {
        const qint64 stored = sizes.at(section);
        if (stored >= 0)
            return stored;
        const qint64 field = -stored;
        if (field >= section || sizes.at(static_cast<int>(field)) < 4)
            return 0;
        const qint64 at = start(static_cast<int>(field));
        qint64 value = 0;
        for (int i = 3; i >= 0 && at >= 0 && at + 4 <= bytes.size(); --i)
            value = value * 256 + static_cast<unsigned char>(bytes.at(static_cast<int>(at) + i));
        return value > INT_MAX ? value - (Q_INT64_C(1) << 32) : value;
    }
};

inline QByteArray hexadecimal(int byte)
{
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned int>(byte));
    return digits;
}

#endif
