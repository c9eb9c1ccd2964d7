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
    void takesAddressesApart_data()
    {
        QTest::addColumn<QByteArray>("address");
        QTest::addColumn<int>("base");
        QTest::addColumn<QByteArray>("symbol");
        QTest::addColumn<int>("number");
        for (const char *fault :
             {"DM", "DM12A", "DM2147483648", "DM4294967297", "DM18446744073709551617"})
            QTest::newRow(fault) << B(fault) << 10 << B("DM") << 0;
        QTest::newRow("empty") << B("") << 10 << B("") << 0;
        QTest::newRow("digits only") << B("100") << 10 << B("") << 100;
        QTest::newRow("underscore") << B("_TMP1") << 10 << B("_TMP") << 1;
        QTest::newRow("octal") << B("DM100") << 8 << B("DM") << 64;
        QTest::newRow("octal number behind an 8") << B("D81") << 8 << B("D") << 1;
        QTest::newRow("hexadecimal") << B("W0x1F") << 16 << B("W") << 31;
        QTest::newRow("symbol of hexadecimal letters") << B("B10") << 16 << B("B") << 2832;
        QTest::newRow("base 2") << B("DM100") << 2 << B("DM") << -1;
        QTest::newRow("minus") << B("DM-12") << 10 << B("DM") << 12;
        QTest::newRow("byte above 7F") << B("D\xC4M1") << 10 << B("D") << 1;
        QTest::newRow("blank behind") << B("T12 ") << 10 << B("T") << 0;
        QTest::newRow("vertical tab behind") << B("T12\v") << 10 << B("T") << 0;
        QTest::newRow("NUL ends the number") << B("T12\0A", 5) << 10 << B("T") << 12;
        QTest::newRow("blank before a NUL") << B("T12 \0", 5) << 10 << B("T") << 0;
        QTest::newRow("NUL before the number") << B("T\00012", 4) << 10 << B("T") << 12;
        QTest::newRow("greatest") << B("DM2147483647") << 10 << B("DM") << 2147483647;
        QTest::newRow("greatest hexadecimal + 1") << B("W80000000") << 16 << B("W") << 0;
    }

    void takesAddressesApart()
    {
        QFETCH(QByteArray, address);
        QFETCH(int, base);
        const QString wide = QString::fromLatin1(address.constData(), address.size());
        QTEST(ExtractPrefixSymbol(wide), "symbol");
        QTEST(ExtractPLCDeviceAddress(wide, base), "number");
        // A view of part of a longer text ends where its size says, not at a NUL.
        const QByteArray longer = address + "77";
        const QByteArray view = B::fromRawData(longer.constData(), address.size());
        QTEST(ExtractPrefixSymbol(view), "symbol");
        QTEST(ExtractPLCDeviceAddress(view, base), "number");
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
