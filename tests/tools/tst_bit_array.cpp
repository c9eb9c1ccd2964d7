// The model of a bit array is a text of '0' and '1', bit 0 first.
#include "tools/bit_array.h"

#include <QtTest/QtTest>

#include <climits>
#include <limits>

namespace
{

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

} // namespace

class TestBitArray : public QObject
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
};

QTEST_APPLESS_MAIN(TestBitArray)
#include "tst_bit_array.moc"
