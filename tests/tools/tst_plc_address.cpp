#include "tools/plc_address.h"

#include <QtTest/QtTest>

#include <cstring>

namespace
{

typedef QByteArray B;

} // namespace

class TestPlcAddress : public QObject
{
    Q_OBJECT

private slots:
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
};

QTEST_APPLESS_MAIN(TestPlcAddress)
#include "tst_plc_address.moc"
