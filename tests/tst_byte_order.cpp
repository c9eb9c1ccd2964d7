// Byte arrays are written as hexadecimal digits, byte 0 first.
#include "tools/byte_order.h"

#include <QtTest/QtTest>

typedef QByteArray (*Conversion)(const QByteArray &);
Q_DECLARE_METATYPE(Conversion)

namespace
{

QByteArray fromBigEndian16(const QByteArray &a)
{
    return fromBigEndianUShortArray(reinterpret_cast<const unsigned char *>(a.constData()),
                                    a.size() / 2);
}

QByteArray fromBigEndian32(const QByteArray &a)
{
    return fromBigEndianULongArray(reinterpret_cast<const unsigned char *>(a.constData()),
                                   a.size() / 4);
}

// The copies share their bytes with the argument, which must outlive the swap unchanged.
QByteArray toLittleEndian16(const QByteArray &a)
{
    QByteArray twin(a);
    toLittleEndianUShortArray(twin);
    return twin;
}

QByteArray toLittleEndian32(const QByteArray &a)
{
    QByteArray twin(a);
    toLittleEndianULongArray(twin);
    return twin;
}

void addRow(const char *name, Conversion conversion, const char *input, const char *expected)
{
    QTest::newRow(name) << conversion << QByteArray(input) << QByteArray(expected);
}

} // namespace

class TestByteOrder : public QObject
{
    Q_OBJECT

private slots:
    void readsIntegersLeastSignificantByteFirst_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("asInt");
        QTest::addColumn<int>("asWord");
        QTest::addColumn<int>("asShort");
        QTest::newRow("empty") << QByteArray("") << 0 << 0 << 0;
        QTest::newRow("one byte is not extended") << QByteArray("ff") << 255 << 255 << 255;
        QTest::newRow("two bytes") << QByteArray("0102") << 0x0201 << 0x0201 << 0x0201;
        QTest::newRow("third byte") << QByteArray("341299") << 0x991234 << 0x1234 << 0x1234;
        QTest::newRow("four bytes") << QByteArray("78563412") << 0x12345678 << 0x5678 << 0x5678;
        QTest::newRow("fifth byte") << QByteArray("0102030405") << 0x04030201 << 0x0201 << 0x0201;
        QTest::newRow("upper halves") << QByteArray("80ff80ff") << -8323200 << 0xFF80 << -128;
        QTest::newRow("all ones") << QByteArray("ffffffff") << -1 << 0xFFFF << -1;
    }

    void readsIntegersLeastSignificantByteFirst()
    {
        QFETCH(QByteArray, bytes);
        const QByteArray a = QByteArray::fromHex(bytes);
        QTEST(static_cast<int>(QByteArrayToInt(a)), "asInt");
        QTEST(static_cast<int>(QByteArrayToWord(a)), "asWord");
        QTEST(static_cast<int>(QByteArrayToShort(a)), "asShort");
    }

    void writesIntegersInTheStatedOrder()
    {
        QCOMPARE(wordToByteArray(0x12F4).toHex(), QByteArray("f412"));
        QCOMPARE(shortToByteArray(-2).toHex(), QByteArray("feff"));
        QCOMPARE(intToByteArray(-2).toHex(), QByteArray("feffffff"));
        QCOMPARE(intToByteArray(0x12345678).toHex(), QByteArray("78563412"));
        QByteArray a("\x7E", 1);
        appendBigEndianUShort(a, 0x12F4);
        QCOMPARE(a.toHex(), QByteArray("7e12f4"));
    }

    void convertsCopies_data()
    {
        QTest::addColumn<Conversion>("conversion");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<QByteArray>("expected");
        addRow("from big-endian 16", fromBigEndian16, "12345678", "34127856");
        addRow("from big-endian 32", fromBigEndian32, "12345678a1b2c3d4", "78563412d4c3b2a1");
        addRow("to little-endian 16", toLittleEndian16, "1234a1b2", "3412b2a1");
        addRow("to little-endian 16, odd byte stays", toLittleEndian16, "1234a1", "3412a1");
        addRow("to little-endian 32", toLittleEndian32, "12345678a1b2c3d4", "78563412d4c3b2a1");
        addRow("to little-endian 32, rest stays", toLittleEndian32, "12345678a1b2c3",
               "78563412a1b2c3");
        addRow("to big-endian 16, padded", toBigEndianUShortArray, "010203", "02010003");
        addRow("to big-endian 32, 1 over", toBigEndianULongArray, "0102030405", "0403020100000005");
        addRow("to big-endian 32, 3 over", toBigEndianULongArray, "01020304050607",
               "0403020100070605");
        addRow("pad to 16, odd", To16bitsData, "010203", "01020300");
        addRow("pad to 16, even", To16bitsData, "0102", "0102");
        addRow("pad to 32, 7 bytes", To32bitsData, "01020304050607", "0102030405060700");
        addRow("pad to 32, whole", To32bitsData, "0102030405060708", "0102030405060708");
        addRow("pad to 64, whole", To64bitsData, "0102030405060708", "0102030405060708");
        addRow("pad to 64, 9 bytes", To64bitsData, "ffffffffffffffffff",
               "ffffffffffffffffff00000000000000");
        addRow("reverse, odd", reverseArray, "010203", "030201");
    }

    void convertsCopies()
    {
        QFETCH(Conversion, conversion);
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, expected);
        const QByteArray a = QByteArray::fromHex(input);
        QCOMPARE(conversion(a).toHex(), expected);
        QCOMPARE(a.toHex(), input);
        QCOMPARE(conversion(QByteArray()), QByteArray());

        // A view of bytes that the array does not own: they stay as they are, too.
        const QByteArray owner = QByteArray::fromHex(input);
        const QByteArray view = QByteArray::fromRawData(owner.constData(), owner.size());
        QCOMPARE(conversion(view).toHex(), expected);
        QCOMPARE(owner.toHex(), input);
    }

    void rotatesToTheLeft()
    {
        for (int k = 0; k <= 9; ++k) {
            for (int m = 0; m <= 9; ++m) {
                const QByteArray before = QByteArray("ABCDEFGHIJKLMNOPQR").left(k + m);
                QByteArray rotated(before);
                RotateArray<unsigned char>(reinterpret_cast<unsigned char *>(rotated.data()), k, m);
                QCOMPARE(rotated, before.mid(k) + before.left(k));
            }
        }
    }
};

QTEST_APPLESS_MAIN(TestByteOrder)
#include "tst_byte_order.moc"
