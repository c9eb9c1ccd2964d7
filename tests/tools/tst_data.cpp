// Bits, byte order, the pack language, addresses and the data of commands. Byte arrays are written
// as hexadecimal digits, byte 0 first; the model of a bit array is a text of '0' and '1', bit 0
// first.
#include "tools/bit_array.h"
#include "tools/byte_order.h"
#include "tools/command.h"
#include "tools/data_pack.h"
#include "tools/plc_address.h"

#include <QtTest/QTest>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

namespace
{

typedef QByteArray B;

QByteArray bytes(int size)
{
    return QByteArray::fromHex("a95ce3170f8bd246").left(size);
}

QByteArray bitText(const QByteArray &a)
{
    QByteArray text;
    for (int i = 0; i < a.size(); ++i)
        for (int weight = 1; weight < 256; weight *= 2)
            text.append((a.at(i) & weight) != 0 ? '1' : '0');
    return text;
}

// The text of `bits` after `run` was laid over it from bit `start` on.
QByteArray overlaid(QByteArray bits, int start, const QByteArray &run)
{
    while (!run.isEmpty() && bits.size() < start + run.size())
        bits.append("00000000");
    return bits.replace(start, run.size(), run);
}

template <typename T>
void compareWithWideModel()
{
    const quint64 value = std::numeric_limits<T>::max() / 3; // every other bit is 1
    for (int bit = 0; bit <= 65535; bit += bit < 70 ? 1 : 5455) {
        const quint64 weight = bit < std::numeric_limits<T>::digits ? Q_UINT64_C(1) << bit : 0;
        const unsigned short n = static_cast<unsigned short>(bit);
        QCOMPARE(quint64(setBit(static_cast<T>(value), n)), value | weight);
        QCOMPARE(quint64(clearBit(static_cast<T>(value), n)), value & ~weight);
        QCOMPARE(getBit(static_cast<T>(value), n), (value & weight) != 0);
    }
}

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

CommunicatorCommand commandOf(uint kind, uint count)
{
    return CommunicatorCommand(static_cast<CommandKind>(kind), count, "DM100");
}

struct LongerCommand : CommunicatorCommand {
    LongerCommand() : CommunicatorCommand(Word, 2, "DM100") {}
    int byteLength() const override { return 100; }
};

} // namespace

class TestData : public QObject
{
    Q_OBJECT

private slots:
    void scalarBitsAgreeWithAWiderType()
    {
        compareWithWideModel<unsigned char>();
        compareWithWideModel<unsigned short>();
        compareWithWideModel<unsigned int>();
    }

    // Setting beyond the end extends the array with zeros.
    void readsAndChangesSingleBits()
    {
        const QByteArray before = bytes(3);
        const QByteArray text = bitText(before);
        for (int i = 0; i < 80; ++i) {
            const int bit = i / 2;
            QVERIFY(bit >= text.size() || getBit(before, bit) == (text.at(bit) == '1'));
            QByteArray array(before);
            setBit(array, bit, i % 2 != 0);
            QCOMPARE(bitText(array), overlaid(text, bit, i % 2 != 0 ? "1" : "0"));
            setBit(reinterpret_cast<unsigned char *>(array.data()), bit, i % 2 == 0);
            QCOMPARE(bitText(array), overlaid(text, bit, i % 2 == 0 ? "1" : "0"));
        }
        QCOMPARE(bitText(before), text);
    }

    // Targets shorter than the run grow by zero bytes.
    void copiesRunsOfBits()
    {
        const QByteArray targets[] = {"", "\xFF\xFF\xFF", QByteArray(8, '\xFF'), bytes(5)};
        for (const QByteArray &target : targets) {
            const QByteArray former = bitText(target);
            for (int start = 0; start <= 17; ++start) {
                for (int count = -1; count <= 40; ++count) {
                    QByteArray src = bytes((qMax(count, 0) + 7) / 8);
                    const QByteArray run = bitText(src).left(qMax(count, 0));
                    QByteArray dst(target);
                    // The last target is the source itself.
                    CopyBits(dst, target == bytes(5) ? dst : src, start, count);
                    QCOMPARE(bitText(dst), overlaid(former, start, run));
                    QVERIFY(bytes(5).startsWith(src));
                }
            }
            QCOMPARE(bitText(target), former);
        }
    }

    void copiesToTheLastBit()
    {
        QByteArray dst;
        QByteArray src("\xFF\x01");
        CopyBits(dst, src, INT_MAX, 9);
        QCOMPARE(dst.mid(INT_MAX / 8).toHex(), QByteArray("80ff"));
    }

    void expandsBitsToBytes()
    {
        const QByteArray array = bytes(4);
        for (unsigned short start = 0; start < 32; ++start) {
            for (int count = -1; count <= 32 - start; ++count) {
                QByteArray digits = ExpandBitsToBytes(array, start, count);
                digits.replace('\0', '0').replace('\x01', '1');
                QCOMPARE(digits, bitText(array).mid(start, qMax(count, 0)));
            }
        }
    }

    void fitsAndClearsToABitCount()
    {
        for (int n = 0; n < 32; ++n) {
            const int unused = (32 - n) % 8;
            QByteArray fitted = bytes(3);
            FitBitArray(fitted, n);
            QCOMPARE(fitted, (bytes(3) + '\0').left((n + unused) / 8));
            QByteArray cleared(4, '\xFF');
            clearUnnecessaryBits(cleared, n);
            QCOMPARE(bitText(cleared), overlaid(QByteArray(32, '1'), n, QByteArray(unused, '0')));
        }
    }

    void shiftsTowardBitZero()
    {
        for (int size = 0; size <= 6; ++size) {
            const QByteArray former = bytes(size);
            const QByteArray text = bitText(former);
            for (int n = 0; n < qMax(8, 8 * size); ++n) {
                QByteArray array(former);
                RightShiftNBits(array, n);
                const QByteArray kept = text.mid(n) + QByteArray(qMin(n % 8, text.size()), '0');
                QCOMPARE(bitText(array), kept + text.left(n / 8 * 8));
            }
            QCOMPARE(bitText(former), text);
        }
    }

    void roundsCountsUp()
    {
        for (unsigned int n = 0; n <= 64; ++n) {
            QCOMPARE(NumOfBitsToNumOfBytes(n, 1), n / 8 + 1);
            QCOMPARE(NumOfBitsToNumOfWords(n, 1), n / 16 + 1);
            QCOMPARE(NumOfBitsToNumOfDWords(1, n), n / 32 + 1);
            QCOMPARE(NumOfBytesToNumOfWords(n + 1), n / 2 + 1);
            QCOMPARE(NumOfBytesToNumOfDWords(n + 1), n / 4 + 1);
            QCOMPARE(NumOfBytesToNumOfQuadWords(n + 1), n / 8 + 1);
        }
        QCOMPARE(NumOfBytesToNumOfWords(0xFFFFFFFFu), 0x80000000u);
        QCOMPARE(NumOfBitsToNumOfBytes(0xFFFFFFFFu, 2), 1u); // the sum is taken modulo 2^32
    }

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

    void takesAddressesApart()
    {
        // Faulty numbers are 0; "#" stands for a NUL.
        const struct {
            const char *addresses;
            int base;
            B symbol;
            int number;
        } rows[] = {
            {"DM|DM12A|DM2147483648|DM4294967297|DM18446744073709551617", 10, "DM", 0},
            {"DM2147483647", 10, "DM", 2147483647},
            {"", 10, "", 0},
            {"100", 10, "", 100},
            {"_TMP1", 10, "_TMP", 1},
            {"DM100", 8, "DM", 64},
            {"D81", 8, "D", 1},
            {"W0x1F", 16, "W", 31},
            {"B10", 16, "B", 2832}, // a symbol of hexadecimal letters
            {"W80000000", 16, "W", 0},
            {"DM100", 2, "DM", -1},
            {"DM-12", 10, "DM", 12},
            {"D\xC4M1", 10, "D", 1},
            {"T12 |T12\v|T12 #", 10, "T", 0},
            {"T12#A|T#12", 10, "T", 12},
        };
        for (const auto &row : rows) {
            for (const B &address : B(row.addresses).replace('#', '\0').split('|')) {
                const QString wide = QString::fromLatin1(address.constData(), address.size());
                // A view of part of a longer text ends where its size says, not at a NUL.
                const B longer = address + "77";
                const B view = B::fromRawData(longer.constData(), address.size());
                QCOMPARE(ExtractPrefixSymbol(wide), row.symbol);
                QCOMPARE(ExtractPrefixSymbol(view), row.symbol);
                QVERIFY2(ExtractPLCDeviceAddress(wide, row.base) == row.number,
                         address.constData());
                QVERIFY2(ExtractPLCDeviceAddress(view, row.base) == row.number,
                         address.constData());
            }
        }
    }

    void readsHexWithinItsLength()
    {
        const char *const texts[] = {"0x1A", "0X1f", "01A",  "1aG",  "123456789", "1F",
                                     "0",    "0x",   "1A",   "1A",   "0",         "0x",
                                     "1G",   "0G",   "0xG1", "00x1", "-1",        "1\xC1"};
        const int lengths[] = {4, 4, 3, 2, 9, 9, 9, 9, 0, -1, 1, 2, 2, 2, 4, 4, 2, 2};
        const uint values[] = {26, 31, 26, 26, 0x23456789, 31};
        for (int k = 0; k < 18; ++k) {
            // The block ends with the last character that may be read, so that the address
            // sanitizer sees one more, even when it is the first.
            const int size = qBound(0, lengths[k], static_cast<int>(qstrlen(texts[k])) + 1);
            const QScopedArrayPointer<char> block(new char[static_cast<size_t>(8 + size)]);
            std::memcpy(block.data() + 8, texts[k], static_cast<size_t>(size));
            QVERIFY2(HexToUInt(block.data() + 8, lengths[k]) == (k < 6 ? values[k] : 0), texts[k]);
        }
    }

    // A value of 0 stands for a text that is refused.
    void readsWholeNumberTexts()
    {
        const char *const texts[] = {"0x1F", "\v +12", "4294967295", "4294967296", "-1", "", "12 "};
        const uint values[] = {31, 12, 0xFFFFFFFF, 0, 0, 0, 0};
        for (int k = 0; k < 7; ++k) {
            bool ok = values[k] == 0;
            QVERIFY2(NumberTextToUInt(texts[k], k == 0 ? 16 : 10, &ok) == values[k], texts[k]);
            QVERIFY2(ok == (values[k] != 0), texts[k]);
        }
        QCOMPARE(NumberTextToUInt(B("12\0A", 4), 10), 12u);
    }

    void classifiesByExactlyOneKind()
    {
        bool (*const tests[])(const CommunicatorCommand &) = {
            isBitCommand, isByteCommand, isWordCommand, isDoubleWordCommand, isBlockCommand};
        const uint kinds[] = {0, 1, 2, 3, 5};
        for (uint kind : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 256u})
            for (int k = 0; k < 5; ++k)
                QCOMPARE(tests[k](commandOf(kind, 1)), kind == kinds[k]);
    }

    void givesTheLowestBitOfTheFirstByte()
    {
        QVERIFY(getBitData(QByteArray("\x03\x00", 2)) == 1 && getBitData(QByteArray("\xFF")) == 1);
        QVERIFY(getBitData(QByteArray("\x02\x01")) == 0 && getBitData(QByteArray()) == 0);
    }

    // The length wraps as a 32-bit number.
    void computesTheDataLength()
    {
        const uint kinds[] = {0, 0, 0, 6, 6, 1, 5, 2, 3, 4, 7, 256, 0, 2, 2, 4};
        const uint counts[] = {0, 8, 9, 8, 9,          3,          3,          3,
                               3, 3, 3, 3, 0xFFFFFFFF, 0x40000000, 0x80000000, 0x20000001};
        const int lengths[] = {0, 1, 2, 1, 2, 3, 3, 6, 12, 24, 0, 0, 0x20000000, INT_MIN, 0, 8};
        for (int k = 0; k < 16; ++k)
            QCOMPARE(GetSafeDataLen(commandOf(kinds[k], counts[k])), lengths[k]);
        QCOMPARE(GetSafeDataLen(LongerCommand()), 4);
    }

    // The kinds are those of words, bytes, words, none and words; the last length is negative.
    void cutsAndPadsData()
    {
        const uint kinds[] = {2, 1, 2, 7, 2};
        const uint counts[] = {3, 3, 2, 3, 0x40000000};
        const char *const safe[] = {"010203040000", "010203", "01020304", "", ""};
        for (int k = 0; k < 5; ++k)
            QCOMPARE(
                ToSafeData(commandOf(kinds[k], counts[k]), QByteArray("\x01\x02\x03\x04")).toHex(),
                QByteArray(safe[k]));
    }
};

QTEST_APPLESS_MAIN(TestData)
#include "tst_data.moc"
