// Byte arrays are written as hexadecimal digits, byte 0 first.
#include "tools/byte_order.h"

#include <QtTest/QtTest>

typedef QByteArray B;

namespace
{

// Read as each kind of integer; what is written back shows the value.
QByteArray readIntegers(const QByteArray &a)
{
    return intToByteArray(QByteArrayToInt(a)) + wordToByteArray(QByteArrayToWord(a)) +
           intToByteArray(QByteArrayToShort(a));
}

// The copy shares its bytes with the argument, which must outlive the swap unchanged.
template <void (*Swap)(QByteArray &)>
QByteArray inPlace(const QByteArray &a)
{
    QByteArray twin(a);
    Swap(twin);
    return twin;
}

} // namespace

class TestByteOrder : public QObject
{
    Q_OBJECT

private slots:
    void writesIntegersInTheStatedOrder()
    {
        QCOMPARE(wordToByteArray(0x12F4).toHex(), B("f412"));
        QCOMPARE(shortToByteArray(-2).toHex(), B("feff"));
        QCOMPARE(intToByteArray(-0x12345678).toHex(), B("88a9cbed"));
        QByteArray a("\x7E", 1);
        appendBigEndianUShort(a, 0x12F4);
        QCOMPARE(a.toHex(), B("7e12f4"));
    }

    void copiesBigEndianUnits()
    {
        const unsigned char units[] = {0x12, 0x34, 0x56, 0x78, 0xA1, 0xB2, 0xC3, 0xD4};
        QCOMPARE(fromBigEndianUShortArray(units, 2).toHex(), B("34127856"));
        QCOMPARE(fromBigEndianULongArray(units, 2).toHex(), B("78563412d4c3b2a1"));
    }

    void convertsCopies()
    {
        const struct {
            const char *name;
            QByteArray (*convert)(const QByteArray &);
            const char *input, *expected;
        } rows[] = {
            {"integers, empty", readIntegers, "", "00000000000000000000"},
            {"integers, one byte is not extended", readIntegers, "ff", "ff000000ff00ff000000"},
            {"integers, upper halves", readIntegers, "80ff80ff05", "80ff80ff80ff80ffffff"},
            {"16 in place, odd", inPlace<toLittleEndianUShortArray>, "1234a1b2c3", "3412b2a1c3"},
            {"32 in place", inPlace<toLittleEndianULongArray>, "12345678a1b2c3", "78563412a1b2c3"},
            {"to 16, padded", toBigEndianUShortArray, "010203", "02010003"},
            {"to 32, 1 over", toBigEndianULongArray, "0102030405", "0403020100000005"},
            {"to 32, empty", toBigEndianULongArray, "", ""},
            {"pad to 16, odd", To16bitsData, "010203", "01020300"},
            {"pad to 32, 3 over", To32bitsData, "01020304050607", "0102030405060700"},
            {"pad to 32, whole", To32bitsData, "0102030405060708", "0102030405060708"},
            {"pad to 64, 3 bytes", To64bitsData, "010203", "0102030000000000"},
            {"reverse, odd", reverseArray, "010203", "030201"},
        };
        for (const auto &row : rows) {
            const QByteArray a = B::fromHex(row.input);
            // A view of bytes that the array does not own: they stay as they are, too.
            const QByteArray view = B::fromRawData(a.constData(), a.size());
            QVERIFY2(row.convert(view).toHex() == row.expected, row.name);
            QVERIFY2(row.convert(a).toHex() == row.expected, row.name);
            QVERIFY2(a.toHex() == row.input, row.name);
        }
    }

    void rotatesToTheLeft()
    {
        for (int k = 0; k <= 9; ++k) {
            for (int m = 0; m <= 9; ++m) {
                QByteArray rotated = B("ABCDEFGHIJKLMNOPQR").left(k + m);
                const QByteArray expected = rotated.mid(k) + rotated.left(k);
                RotateArray(rotated.data(), k, m);
                QCOMPARE(rotated, expected);
            }
        }
    }
};

QTEST_APPLESS_MAIN(TestByteOrder)
#include "tst_byte_order.moc"
