// Byte strings are written as hexadecimal digits, byte 0 first.
#include "tools/data_pack.h"

#include <QtTest/QtTest>

#include <cstdlib>
#include <vector>

namespace
{

QByteArray hexOf(const std::vector<unsigned char> &bytes)
{
    return QByteArray(reinterpret_cast<const char *>(bytes.data()), static_cast<int>(bytes.size()))
        .toHex();
}

// Packs one item both ways and unpacks it again. Every buffer is exactly as long as the item, so
// that the address sanitizer sees a byte too many.
template <typename T>
void checkItem(const char *format, int count, const QByteArray &expected)
{
    const unsigned int wide[] = {0x91A2B3C4u, 0x01020304u, 0xFFEEDDCCu};
    std::vector<T> values;
    for (int k = 0; k < qMax(count, 1); ++k)
        values.push_back(static_cast<T>(wide[k % 3]));
    const int single = static_cast<int>(wide[0]);
    const int size = expected.size() / 2;
    std::vector<unsigned char> buffer(static_cast<size_t>(size));
    std::vector<T> restored(values.size());

    const int packed = count > 0 ? DataPack(buffer.data(), format, values.data())
                                 : DataPack(buffer.data(), format, single);
    QCOMPARE(hexOf(buffer), expected);
    const QByteArray grown =
        count > 0 ? ByteArrayPack(format, values.data()) : ByteArrayPack(format, single);
    QCOMPARE(grown.toHex(), expected);
    QVERIFY(packed == size && DataUnpack(buffer.data(), format, restored.data()) == size);
    QVERIFY(restored == values);
}

} // namespace

class TestDataPack : public QObject
{
    Q_OBJECT

private slots:
    void packsAndUnpacksEveryItem()
    {
        const char *const rows[][2] = {{"C c 1c", "c4"},
                                       {"S s v", "c4b3"},
                                       {"n", "b3c4"},
                                       {"I i L l V 1V", "c4b3a291"},
                                       {"N", "91a2b3c4"},
                                       {"12C", "c404ccc404ccc404ccc404cc"},
                                       {"003v", "c4b30403ccdd"},
                                       {"3n", "b3c40304ddcc"},
                                       {"3N", "91a2b3c401020304ffeeddcc"}};
        for (const auto &row : rows) {
            for (const QByteArray &format : QByteArray(row[0]).split(' ')) {
                const int count = std::atoi(format.constData());
                const size_t width = qstrlen(row[1]) / 2 / static_cast<size_t>(qMax(count, 1));
                (width == 1   ? checkItem<unsigned char>
                 : width == 2 ? checkItem<unsigned short>
                              : checkItem<unsigned int>)(format.constData(), count, row[1]);
            }
        }
    }

    // What DataPack gives for the arguments 5A and 5B, and its buffer, which starts as EE; what
    // DataUnpack gives for 11 22 33 44, and the two bytes stored; what ByteArrayPack gives.
    void handlesFillersAndFaults()
    {
        const struct {
            const char *formats, *outcome;
        } rows[] = {
            {"q| |-1C|\xC3", "0 eeeeeeee -1 eeee "},
            {"0C|0n|0N|4S|4s|1I|1i|1L|1l|4q|4|99999999999999999999999S", "-1 eeeeeeee -1 eeee "},
            {"", "0 eeeeeeee 0 eeee "},
            {"xXC", "3 00ee5aee 3 33ee 00005a"},
            {"3x", "3 000000ee 3 eeee "},
            {"2XC", "3 eeee5aee 3 33ee "},
            {"0x0XC", "1 5aeeeeee 1 11ee "},
            {"C C", "0 5aeeeeee -1 11ee "},
            {"CC4", "-1 5a5beeee -1 1122 "},
        };
        const unsigned char source[] = {0x11, 0x22, 0x33, 0x44};
        for (const auto &row : rows) {
            for (const QByteArray &format : QByteArray(row.formats).split('|')) {
                const char *const fmt = format.constData();
                std::vector<unsigned char> buffer(4, 0xEE);
                std::vector<unsigned char> stored(2, 0xEE);
                const int packed = DataPack(buffer.data(), fmt, 0x5A, 0x5B);
                const int unpacked = DataUnpack(source, fmt, &stored[0], &stored[1]);
                const QByteArray outcome = QByteArray::number(packed) + ' ' + hexOf(buffer) + ' ' +
                                           QByteArray::number(unpacked) + ' ' + hexOf(stored) +
                                           ' ' + ByteArrayPack(fmt, 0x5A, 0x5B).toHex();
                QVERIFY2(outcome == row.outcome, fmt);
            }
        }
    }

    void packsAFrameOfManyItems()
    {
        QCOMPARE(DataPack(0, "0x0X"), 0);
        const unsigned short words[] = {0x1234, 0xABCD};
        std::vector<unsigned char> buffer(17);
        QCOMPARE(DataPack(buffer.data(), "C2nx1xN2vs", 0x17E, words, 0x01020304, words, -2), 17);
        QCOMPARE(hexOf(buffer), QByteArray("7e1234abcd0000010203043412cdabfeff"));
        for (const char *beyondAnInt : {"1073741824v", "4294967297v", "18446744073709551617v"})
            QCOMPARE(ByteArrayPack(beyondAnInt, words), QByteArray());
    }
};

QTEST_APPLESS_MAIN(TestDataPack)
#include "tst_data_pack.moc"
