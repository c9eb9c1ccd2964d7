// Byte strings are written as hexadecimal digits, byte 0 first.
#include "tools/data_pack.h"

#include <QtTest/QtTest>

#include <vector>

namespace
{

QByteArray hexOf(const std::vector<unsigned char> &bytes)
{
    return QByteArray(reinterpret_cast<const char *>(bytes.data()), static_cast<int>(bytes.size()))
        .toHex();
}

// Packs one item both ways and unpacks it again. Every buffer is exactly as long as the item, so that
// the address sanitizer sees a byte too many.
template <typename T>
void checkItem(const QByteArray &format, const QByteArray &expected)
{
    const unsigned int wide[] = {0x91A2B3C4u, 0x01020304u, 0xFFEEDDCCu};
    const size_t size = static_cast<size_t>(expected.size()) / 2;
    std::vector<T> values(size / sizeof(T));
    for (size_t k = 0; k < values.size(); ++k)
        values[k] = static_cast<T>(wide[k % 3]);
    const bool counted = format.at(0) >= '0' && format.at(0) <= '9';
    const int single = static_cast<int>(wide[0]);
    const char *const fmt = format.constData();
    const T *const array = values.data();

    std::vector<unsigned char> buffer(size);
    QCOMPARE(counted ? DataPack(buffer.data(), fmt, array) : DataPack(buffer.data(), fmt, single),
             static_cast<int>(size));
    QCOMPARE(hexOf(buffer), expected);
    const QByteArray packed = counted ? ByteArrayPack(fmt, array) : ByteArrayPack(fmt, single);
    QCOMPARE(packed.toHex(), expected);

    std::vector<T> restored(values.size());
    QCOMPARE(DataUnpack(buffer.data(), fmt, restored.data()), static_cast<int>(size));
    QVERIFY(restored == values);
}

// One row for every single type of `types`.
void addSingles(const QByteArray &types, int width, const char *expected)
{
    for (int k = 0; k < types.size(); ++k) {
        const QByteArray format = types.mid(k, 1);
        QTest::newRow(format.constData()) << format << width << QByteArray(expected);
    }
}

void addCounted(const char *format, int width, const char *expected)
{
    QTest::newRow(format) << QByteArray(format) << width << QByteArray(expected);
}

void addFormat(const char *format, int packed, const char *buffer, const char *array, int unpacked,
               const char *stored)
{
    QTest::newRow(*format ? format : "empty")
        << QByteArray(format) << packed << QByteArray(buffer) << QByteArray(array) << unpacked
        << QByteArray(stored);
}

} // namespace

class TestDataPack : public QObject
{
    Q_OBJECT

private slots:
    void packsAndUnpacksEveryItem_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<int>("width");
        QTest::addColumn<QByteArray>("expected");
        addSingles("Cc", 1, "c4");
        addSingles("Ssv", 2, "c4b3");
        addSingles("n", 2, "b3c4");
        addSingles("IiLlV", 4, "c4b3a291");
        addSingles("N", 4, "91a2b3c4");
        addCounted("12C", 1, "c404ccc404ccc404ccc404cc");
        addCounted("2c", 1, "c404");
        addCounted("003v", 2, "c4b30403ccdd");
        addCounted("3n", 2, "b3c40304ddcc");
        addCounted("3V", 4, "c4b3a29104030201ccddeeff");
        addCounted("1N", 4, "91a2b3c4");
        addCounted("3N", 4, "91a2b3c401020304ffeeddcc");
    }

    void packsAndUnpacksEveryItem()
    {
        QFETCH(QByteArray, format);
        QFETCH(int, width);
        QFETCH(QByteArray, expected);
        if (width == 1)
            checkItem<unsigned char>(format, expected);
        else if (width == 2)
            checkItem<unsigned short>(format, expected);
        else
            checkItem<unsigned int>(format, expected);
    }

    // Buffers start as EE and pack the arguments 5A and 5B; 11 22 33 44 is unpacked into two bytes.
    void handlesFillersAndFaults_data()
    {
        QTest::addColumn<QByteArray>("format");
        QTest::addColumn<int>("packed");
        QTest::addColumn<QByteArray>("buffer");
        QTest::addColumn<QByteArray>("array");
        QTest::addColumn<int>("unpacked");
        QTest::addColumn<QByteArray>("stored");
        const char *const unknown[] = {"q", "?", " ", "-1C", "\xC3"};
        for (int k = 0; k < 5; ++k)
            addFormat(unknown[k], 0, "eeeeeeee", "", -1, "eeee");
        const char *const badCounts[] = {
            "0C", "0c", "0v", "0n", "00V", "0N", "4S", "4s",
            "1I", "1i", "1L", "1l", "4q",  "4",  "0",  "99999999999999999999999S"};
        for (int k = 0; k < 16; ++k)
            addFormat(badCounts[k], -1, "eeeeeeee", "", -1, "eeee");
        addFormat("", 0, "eeeeeeee", "", 0, "eeee");
        addFormat("xXC", 3, "00ee5aee", "00005a", 3, "33ee");
        addFormat("3x", 3, "000000ee", "", 3, "eeee");
        addFormat("2XC", 3, "eeee5aee", "", 3, "33ee");
        addFormat("0x0XC", 1, "5aeeeeee", "", 1, "11ee");
        addFormat("C C", 0, "5aeeeeee", "", -1, "11ee");
        addFormat("C4S", -1, "5aeeeeee", "", -1, "11ee");
        addFormat("CC4", -1, "5a5beeee", "", -1, "1122");
    }

    void handlesFillersAndFaults()
    {
        QFETCH(QByteArray, format);
        std::vector<unsigned char> buffer(4, 0xEE);
        QTEST(DataPack(buffer.data(), format.constData(), 0x5A, 0x5B), "packed");
        QTEST(hexOf(buffer), "buffer");
        QTEST(ByteArrayPack(format.constData(), 0x5A, 0x5B).toHex(), "array");

        const unsigned char source[] = {0x11, 0x22, 0x33, 0x44};
        std::vector<unsigned char> stored(2, 0xEE);
        QTEST(DataUnpack(source, format.constData(), &stored[0], &stored[1]), "unpacked");
        QTEST(hexOf(stored), "stored");
    }

    void refusesArraysBeyondAnInt()
    {
        const unsigned short words[] = {1};
        QCOMPARE(ByteArrayPack("1073741824v", words), QByteArray());
    }

    void packsAndUnpacksAFrameOfManyItems()
    {
        const unsigned short words[] = {0x1234, 0xABCD};
        const QByteArray frame = ByteArrayPack("C2nXN2vs", 0x17E, words, 0x01020304, words, -2);
        QCOMPARE(frame.toHex(), QByteArray("7e1234abcd00010203043412cdabfeff"));
        std::vector<unsigned char> buffer(17);
        QCOMPARE(DataPack(buffer.data(), "C2nx1xN2vs", 0x17E, words, 0x01020304, words, -2), 17);
        QCOMPARE(hexOf(buffer), QByteArray("7e1234abcd0000010203043412cdabfeff"));

        unsigned char head = 0;
        unsigned short bigEndian[2] = {0, 0};
        unsigned int number = 0;
        unsigned short littleEndian[2] = {0, 0};
        QCOMPARE(DataUnpack(buffer.data(), "C2nx1XN2v", &head, bigEndian, &number, littleEndian),
                 15);
        QCOMPARE(static_cast<int>(head), 0x7E);
        QVERIFY(bigEndian[0] == 0x1234 && bigEndian[1] == 0xABCD);
        QCOMPARE(number, 0x01020304u);
        QVERIFY(littleEndian[0] == 0x1234 && littleEndian[1] == 0xABCD);
    }
};

QTEST_APPLESS_MAIN(TestDataPack)
#include "tst_data_pack.moc"
