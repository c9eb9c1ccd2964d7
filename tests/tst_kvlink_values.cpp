// What kvlink's user writes as values becomes the data of a request, and back.
#include "apps/kvlink/item_values.h"

#include <QtCore/QStringList>
#include <QtCore/QTextStream>
#include <QtTest/QtTest>

class TestKvlinkValues : public QObject
{
    Q_OBJECT

private slots:
    void packsInRangeAndRefusesBeyond_data();
    void packsInRangeAndRefusesBeyond();
    void printsOneUnsignedValuePerLine_data();
    void printsOneUnsignedValuePerLine();
};

// The bytes are in hexadecimal; an empty text stands for a refusal.
void TestKvlinkValues::packsInRangeAndRefusesBeyond_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("values");
    QTest::addColumn<QByteArray>("bytes");
    const auto row = [](const char *kind, const char *values, const char *bytes) {
        QTest::addRow("%s %s", kind, values) << kind << values << QByteArray(bytes);
    };
    row("bit", "1 0 1", "010001");
    row("bit", "2", "");
    row("bit", "-1", "");
    row("bitblock", "0x1", "01");
    row("byte", "255 -128 7", "ff8007");
    row("byte", "256", "");
    row("byte", "-129", "");
    row("block", "0xAb", "ab");
    row("word", "4660 0xFFFF -1 -32768", "3412ffffffff0080");
    row("word", "010", "0a00");
    row("word", "65536", "");
    row("word", "-32769", "");
    row("dword", "4294967295 0x12345678 -2147483648", "ffffffff7856341200000080");
    row("dword", "4294967296", "");
    row("dword", "-2147483649", "");
    row("dword", "99999999999999999999", "");
    row("word", "1 12x", "");
    row("word", "0x", "");
    row("word", "+1", "");
    row("word", "1.0", "");
    row("word", "--1", "");
}

void TestKvlinkValues::packsInRangeAndRefusesBeyond()
{
    QFETCH(QString, kind);
    QFETCH(QString, values);
    QFETCH(QByteArray, bytes);
    std::vector<std::string> texts;
    const QStringList parts = values.split(QLatin1Char(' '));
    for (const QString &value : parts)
        texts.push_back(value.toStdString());
    QByteArray data("untouched");
    QString error;
    QCOMPARE(packValues(itemKind(kind.toStdString()), texts, &data, &error), !bytes.isEmpty());
    QCOMPARE(error.isEmpty(), !bytes.isEmpty());
    QCOMPARE(data.toHex(), bytes.isEmpty() ? QByteArray("untouched").toHex() : bytes);
}

void TestKvlinkValues::printsOneUnsignedValuePerLine_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("lines");
    const auto row = [](const char *kind, const char *bytes, int count, const char *lines) {
        QTest::addRow("%s", kind) << kind << QByteArray(bytes) << count << lines;
    };
    row("bit", "0102", 10, "1\n0\n0\n0\n0\n0\n0\n0\n0\n1\n");
    row("byte", "00ff", 2, "0\n255\n");
    row("word", "3412ffff", 2, "4660\n65535\n");
    row("dword", "78563412ffffffff", 2, "305419896\n4294967295\n");
    row("block", "80", 1, "128\n");
    row("bitblock", "80", 8, "0\n0\n0\n0\n0\n0\n0\n1\n");
}

void TestKvlinkValues::printsOneUnsignedValuePerLine()
{
    QFETCH(QString, kind);
    QFETCH(QByteArray, bytes);
    QFETCH(int, count);
    QString text;
    QTextStream out(&text);
    printValues(itemKind(kind.toStdString()), QByteArray::fromHex(bytes), count, out);
    QTEST(text, "lines");
}

QTEST_APPLESS_MAIN(TestKvlinkValues)

#include "tst_kvlink_values.moc"
