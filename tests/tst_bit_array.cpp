// The model of a bit array is a text of '0' and '1', bit 0 first.
#include "tools/bit_array.h"

#include <QtTest/QtTest>

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

QByteArray at(const char *what, int i, int j)
{
    return QByteArray(what) + ' ' + QByteArray::number(i) + ", " + QByteArray::number(j);
}

template <typename T>
void compareWithWideModel()
{
    const quint64 values[] = {0, std::numeric_limits<T>::max(), std::numeric_limits<T>::max() / 5};
    for (int v = 0; v < 3; ++v) {
        const T value = static_cast<T>(values[v]);
        for (int bit = 0; bit <= 65535; bit += bit < 70 ? 1 : 5455) {
            const quint64 weight = bit < std::numeric_limits<T>::digits ? Q_UINT64_C(1) << bit : 0;
            const unsigned short n = static_cast<unsigned short>(bit);
            const QByteArray where = at("value, bit", v, bit);
            QVERIFY2(setBit(value, n) == (values[v] | weight), where.constData());
            QVERIFY2(clearBit(value, n) == (values[v] & ~weight), where.constData());
            QVERIFY2(getBit(value, n) == ((values[v] & weight) != 0), where.constData());
        }
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

    void readsAndChangesSingleBits()
    {
        const QByteArray before = bytes(3);
        const QByteArray text = bitText(before);
        for (int i = 0; i < 24; ++i) {
            QCOMPARE(getBit(before, i), text.at(i) == '1');
            QCOMPARE(getBit(reinterpret_cast<const unsigned char *>(before.constData()), i),
                     text.at(i) == '1');
            for (int on = 0; on < 2; ++on) {
                const QByteArray expected = overlaid(text, i, on ? "1" : "0");
                QByteArray array(before);
                setBit(array, i, on != 0);
                QCOMPARE(bitText(array), expected);
                QByteArray raw(before);
                setBit(reinterpret_cast<unsigned char *>(raw.data()), i, on != 0);
                QCOMPARE(bitText(raw), expected);
            }
        }
        QCOMPARE(bitText(before), text);
    }

    void settingBeyondTheEndExtendsWithZeros()
    {
        QByteArray array;
        setBit(array, 2, true);
        QCOMPARE(array.toHex(), QByteArray("04"));
        setBit(array, 8, false);
        QCOMPARE(array.toHex(), QByteArray("0400"));
        setBit(array, 39, true);
        QCOMPARE(array.toHex(), QByteArray("0400000080"));
    }

    // Targets shorter than the run grow by zero bytes.
    void copiesRunsOfBits_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::newRow("empty target") << QByteArray();
        QTest::newRow("one byte") << QByteArray(1, '\x5A');
        QTest::newRow("three bytes of ones") << QByteArray(3, '\xFF');
        QTest::newRow("wide zeros") << QByteArray(8, '\0');
        QTest::newRow("wide ones") << QByteArray(8, '\xFF');
    }

    void copiesRunsOfBits()
    {
        QFETCH(QByteArray, target);
        const QByteArray former = bitText(target);
        const QByteArray source = bytes(5);
        const QByteArray run = bitText(source);
        for (int start = 0; start <= 17; ++start) {
            for (int count = -1; count <= 40; ++count) {
                QByteArray dst(target);
                QByteArray src = bytes((qMax(count, 0) + 7) / 8);
                CopyBits(dst, src, start, count);
                const QByteArray expected = overlaid(former, start, run.left(qMax(count, 0)));
                QVERIFY2(bitText(dst) == expected, at("start, count", start, count).constData());
                QVERIFY(source.startsWith(src));
            }
        }
        QCOMPARE(bitText(target), former);
    }

    void copiesWithinOneArrayFromItsFormerBits()
    {
        const QByteArray twin = bytes(5);
        const QByteArray former = bitText(twin);
        for (int start = 0; start <= 17; ++start) {
            for (int count = 0; count <= 40; ++count) {
                QByteArray array(twin);
                CopyBits(array, array, start, count);
                QVERIFY2(bitText(array) == overlaid(former, start, former.left(count)),
                         at("start, count", start, count).constData());
            }
        }
        QCOMPARE(bitText(twin), former);
    }

    void expandsBitsToBytes()
    {
        QCOMPARE(ExpandBitsToBytes(QByteArray("\x05"), 0, 4).toHex(), QByteArray("01000100"));
        const QByteArray array = bytes(4);
        for (int start = 0; start < 32; ++start) {
            for (int count = -1; count <= 32 - start; ++count) {
                QByteArray digits =
                    ExpandBitsToBytes(array, static_cast<unsigned short>(start), count);
                digits.replace('\0', '0').replace('\x01', '1');
                const QByteArray expected = bitText(array).mid(start, qMax(count, 0));
                QVERIFY2(digits == expected, at("start, count", start, count).constData());
            }
        }
    }

    void fitsAnArrayToABitCount()
    {
        const int counts[] = {0, 1, 8, 9, 16, 17, 24, 25};
        const char *const fitted[] = {"",     "a9",     "a9",     "a95c",
                                      "a95c", "a95ce3", "a95ce3", "a95ce300"};
        for (int k = 0; k < 8; ++k) {
            QByteArray array = bytes(3);
            FitBitArray(array, counts[k]);
            QCOMPARE(array.toHex(), QByteArray(fitted[k]));
        }
    }

    void clearsOnlyTheUnusedBits()
    {
        const int counts[] = {0, 1, 7, 8, 9, 10, 15, 16};
        const char *const cleared[] = {"ffff", "01ff", "7fff", "ffff",
                                       "ff01", "ff03", "ff7f", "ffff"};
        const QByteArray twin(2, '\xFF');
        for (int k = 0; k < 8; ++k) {
            QByteArray array(twin);
            clearUnnecessaryBits(array, counts[k]);
            QCOMPARE(array.toHex(), QByteArray(cleared[k]));
        }
        QCOMPARE(twin.toHex(), QByteArray("ffff"));
    }

    void shiftsTowardBitZero()
    {
        for (int size = 0; size <= 6; ++size) {
            const QByteArray former = bytes(size);
            const QByteArray text = bitText(former);
            for (int n = 0; n < qMax(8, 8 * size); ++n) {
                QByteArray array(former);
                RightShiftNBits(array, n);
                const int whole = n / 8;
                const QByteArray kept = text.mid(n) + QByteArray(qMin(n % 8, text.size()), '0');
                const QByteArray expected = kept + text.left(8 * whole);
                QVERIFY2(bitText(array) == expected, at("size, shift", size, n).constData());
            }
            QCOMPARE(bitText(former), text);
        }
    }

    void roundsCountsUp()
    {
        QCOMPARE(NumOfBitsToNumOfBytes(0, 0), 0u);
        QCOMPARE(NumOfBitsToNumOfBytes(0, 8), 1u);
        QCOMPARE(NumOfBitsToNumOfBytes(3, 6), 2u);
        QCOMPARE(NumOfBitsToNumOfBytes(0xFFFFFFFFu, 0), 0x20000000u);
        QCOMPARE(NumOfBitsToNumOfBytes(0xFFFFFFFFu, 2), 1u); // the sum is taken modulo 2^32
        QCOMPARE(NumOfBitsToNumOfWords(0, 17), 2u);
        QCOMPARE(NumOfBitsToNumOfWords(15, 1), 1u);
        QCOMPARE(NumOfBitsToNumOfDWords(0, 32), 1u);
        QCOMPARE(NumOfBitsToNumOfDWords(31, 2), 2u);
        QCOMPARE(NumOfBytesToNumOfWords(0xFFFFFFFFu), 0x80000000u);
        QCOMPARE(NumOfBytesToNumOfDWords(5), 2u);
        QCOMPARE(NumOfBytesToNumOfQuadWords(0), 0u);
        QCOMPARE(NumOfBytesToNumOfQuadWords(9), 2u);
    }
};

QTEST_APPLESS_MAIN(TestBitArray)
#include "tst_bit_array.moc"
