#include "tools/plc_address.h"

#include <QtTest/QtTest>

#include <cstring>

namespace
{

// A literal with its embedded NULs, without its terminator.
template <int Size>
QByteArray text(const char (&literal)[Size])
{
    return QByteArray(literal, Size - 1);
}

typedef QByteArray B;

} // namespace

class TestPlcAddress : public QObject
{
    Q_OBJECT

private slots:
    void splitsOffTheSymbol_data()
    {
        QTest::addColumn<QByteArray>("address");
        QTest::addColumn<QByteArray>("symbol");
        QTest::newRow("letters") << B("DM100") << B("DM");
        QTest::newRow("leading underscore") << B("_TMP1") << B("_TMP");
        QTest::newRow("digits only") << B("100") << B("");
        QTest::newRow("empty") << B("") << B("");
        QTest::newRow("blank inside") << B("D M1") << B("D");
        QTest::newRow("embedded NUL") << text("D\0M1") << B("D");
        QTest::newRow("byte above 7F") << B("D\xC4M1") << B("D");
    }

    void splitsOffTheSymbol()
    {
        QFETCH(QByteArray, address);
        QTEST(ExtractPrefixSymbol(address), "symbol");
        QTEST(ExtractPrefixSymbol(QString::fromLatin1(address.constData(), address.size())),
              "symbol");
    }

    void readsTheElementNumber_data()
    {
        QTest::addColumn<QByteArray>("address");
        QTest::addColumn<int>("base");
        QTest::addColumn<int>("number");
        const char *const noDecimal[] = {"DM", "DM12A", "DM2147483648", "DM4294967297",
                                         "DM18446744073709551617"};
        for (int k = 0; k < 5; ++k)
            QTest::newRow(noDecimal[k]) << B(noDecimal[k]) << 10 << 0;
        const char *const noOctal[] = {"D8", "D18"};
        for (int k = 0; k < 2; ++k)
            QTest::newRow(noOctal[k]) << B(noOctal[k]) << 8 << 0;
        QTest::newRow("empty") << B("") << 10 << 0;
        QTest::newRow("decimal") << B("DM100") << 10 << 100;
        QTest::newRow("octal") << B("DM100") << 8 << 64;
        QTest::newRow("hexadecimal") << B("W1F") << 16 << 31;
        QTest::newRow("symbol of hexadecimal letters") << B("B10") << 16 << 2832;
        QTest::newRow("hexadecimal prefix") << B("W0x1F") << 16 << 31;
        QTest::newRow("minus belongs to the symbol") << B("DM-12") << 10 << 12;
        QTest::newRow("octal number behind an 8") << B("D81") << 8 << 1;
        QTest::newRow("base 2") << B("DM100") << 2 << -1;
        QTest::newRow("empty in base 36") << B("") << 36 << -1;
        QTest::newRow("blank behind") << B("T12 ") << 10 << 0;
        QTest::newRow("tab behind") << B("T12\t") << 10 << 0;
        QTest::newRow("vertical tab behind") << B("T12\v") << 10 << 0;
        QTest::newRow("NUL ends the number") << text("T12\0A") << 10 << 12;
        QTest::newRow("blank before a NUL") << text("T12 \0") << 10 << 0;
        QTest::newRow("NUL before the number") << text("T\00012") << 10 << 12;
        QTest::newRow("greatest") << B("DM2147483647") << 10 << 2147483647;
        QTest::newRow("greatest hexadecimal") << B("W7FFFFFFF") << 16 << 2147483647;
        QTest::newRow("greatest hexadecimal + 1") << B("W80000000") << 16 << 0;
    }

    void readsTheElementNumber()
    {
        QFETCH(QByteArray, address);
        QFETCH(int, base);
        QTEST(ExtractPLCDeviceAddress(address, base), "number");
        QTEST(
            ExtractPLCDeviceAddress(QString::fromLatin1(address.constData(), address.size()), base),
            "number");
        // A view of part of a longer text ends where its size says, not at a NUL.
        const QByteArray longer = address + "77";
        QTEST(ExtractPLCDeviceAddress(QByteArray::fromRawData(longer.constData(), address.size()),
                                      base),
              "number");
    }

    void readsHexWithinItsLength_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("length");
        QTest::addColumn<uint>("value");
        const char *const faults[] = {"0", "0x", "1G", "0G", "0xG1", "00x1", "-1", "1\xC1"};
        for (int k = 0; k < 8; ++k)
            QTest::newRow(faults[k]) << B(faults[k]) << static_cast<int>(qstrlen(faults[k])) << 0u;
        QTest::newRow("two digits") << B("1A") << 2 << 26u;
        QTest::newRow("lower case") << B("1a") << 2 << 26u;
        QTest::newRow("prefix 0x") << B("0x1A") << 4 << 26u;
        QTest::newRow("prefix 0X") << B("0X1a") << 4 << 26u;
        QTest::newRow("leading zero") << B("01A") << 3 << 26u;
        QTest::newRow("cut by the length") << B("1A2B") << 2 << 26u;
        QTest::newRow("fault beyond the length") << B("1AG") << 2 << 26u;
        QTest::newRow("eight digits") << B("12345678") << 8 << 0x12345678u;
        QTest::newRow("nine digits") << B("123456789") << 9 << 0x23456789u;
        QTest::newRow("NUL before the length") << B("1A") << 9 << 26u;
        QTest::newRow("NUL behind a zero") << B("0") << 9 << 0u;
        QTest::newRow("NUL behind the prefix") << B("0x") << 9 << 0u;
        QTest::newRow("embedded NUL") << text("1\0G") << 3 << 1u;
        QTest::newRow("no length") << B("1A") << 0 << 0u;
        QTest::newRow("negative length") << B("1A") << -1 << 0u;
    }

    void readsHexWithinItsLength()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, length);
        // The block ends with the last character that may be read, so that the address sanitizer
        // sees one more, even when it is the first.
        const size_t size = static_cast<size_t>(qBound(0, length, text.size() + 1));
        QScopedArrayPointer<char> block(new char[8 + size]);
        char *const characters = block.data() + 8;
        std::memcpy(characters, text.constData(), size);
        QTEST(HexToUInt(characters, length), "value");
    }

    void readsWholeNumberTexts_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("base");
        QTest::addColumn<bool>("expectedOk");
        QTest::addColumn<uint>("value");
        QTest::newRow("prefix") << B("0x1F") << 16 << true << 31u;
        QTest::newRow("leading blank and plus") << B(" +12") << 10 << true << 12u;
        QTest::newRow("greatest") << B("4294967295") << 10 << true << 0xFFFFFFFFu;
        QTest::newRow("greatest + 1") << B("4294967296") << 10 << false << 0u;
        QTest::newRow("negative") << B("-1") << 10 << false << 0u;
        QTest::newRow("empty") << B("") << 10 << false << 0u;
        QTest::newRow("blank only") << B(" ") << 10 << false << 0u;
        QTest::newRow("blank behind") << B("12 ") << 10 << false << 0u;
        QTest::newRow("NUL behind") << text("12\0A") << 10 << true << 12u;
        QTest::newRow("blank before a NUL") << text("12 \0") << 10 << false << 0u;
    }

    void readsWholeNumberTexts()
    {
        QFETCH(QByteArray, text);
        QFETCH(int, base);
        QFETCH(bool, expectedOk);
        bool ok = !expectedOk;
        QTEST(NumberTextToUInt(text, base, &ok), "value");
        QCOMPARE(ok, expectedOk);
        QTEST(NumberTextToUInt(text, base), "value");
    }
};

QTEST_APPLESS_MAIN(TestPlcAddress)
#include "tst_plc_address.moc"
