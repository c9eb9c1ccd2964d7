#include "tools/txpackage.h"

#include <QtTest/QtTest>

#include <climits>

namespace
{

typedef QByteArray B;

QList<int> sizesOf(const QString &texts)
{
    QList<int> sizes;
    foreach (const QString &text, texts.split(' '))
        sizes.append(text.toInt());
    return sizes;
}

// "start+size:bytes" of every section.
QString sectionsOf(const TxPackage &package)
{
    QStringList texts;
    for (int i = 0; i < package.numberOfSections(); ++i)
        texts += QString("%1+%2:").arg(package.sectionStartIndex(i)).arg(package.sectionSize(i)) +
                 QString(package.dataAt(i).toHex());
    return texts.join(" ");
}

void frame(const char *name, const char *sizes, const char *bytes, const char *sections)
{
    QTest::newRow(name) << QString(sizes) << B::fromHex(bytes) << QString(sections);
}

} // namespace

class TestTxPackage : public QObject
{
    Q_OBJECT

private slots:
    void appendsOneSectionEach()
    {
        TxPackage package;
        QVERIFY(package.appendDWord(0x92345678) && package.appendWord(0x1234));
        QVERIFY(package.appendByte(0xAB) && package.appendSection(B("\x00\xFF", 2)));
        QVERIFY(package.appendString(QString::fromUtf8("A\xC3\xA9\xE2\x82\xAC\n")));
        QVERIFY(package.appendByte2Ascii(0x0A) && package.appendByte2Ascii(0xF9));
        QVERIFY(package.appendString(QString()) && package.appendSection(package.buffer));
        QCOMPARE(sectionsOf(package),
                 QString("0+4:78563492 4+2:3412 6+1:ab 7+2:00ff 9+4:41e93f0a 13+2:3041 15+2:4639 "
                         "17+0: 17+17:785634923412ab00ff41e93f0a30414639"));
        QVERIFY(package.totalSize() == 34 && package.appendedCount == 34);
        package.clearAll();
        QVERIFY(package.totalSize() == 0 && package.appendedCount == 0);
        QVERIFY(package.numberOfSections() == 0 && package.sectionStartIndex(0) == -1);
    }

    void closesFramesWithCheckValues()
    {
        const B bytes[] = {"", "\x01\x02\xFF", "123456789"};
        const B lrc[] = {B("\0", 1), "\x02", "\xDD"};
        const B lrcAscii[] = {"00", "02", "DD"};
        const B fcsAscii[] = {"00", "FC", "31"};
        for (int k = 0; k < 3; ++k) {
            TxPackage packages[3];
            for (int i = 0; i < 3; ++i)
                packages[i].appendSection(bytes[k]);
            QVERIFY(packages[0].appendLRCByte() && packages[1].appendLRCAscii());
            QVERIFY(packages[2].appendFCSAscii(2));
            QCOMPARE(packages[0].dataAt(1), lrc[k]);
            QCOMPARE(packages[1].dataAt(1), lrcAscii[k]);
            QCOMPARE(packages[2].dataAt(1), fcsAscii[k]);
        }
    }

    void leavesTheLastBytesOutOfTheFcs()
    {
        TxPackage package;
        package.setData(B("\x01\x02\xFF"));
        const int excluded[] = {0, 1, 2, 3, 4, INT_MAX};
        const int check[] = {0xFC, 0x03, 0x01, 0, 0, 0};
        for (int k = 0; k < 6; ++k)
            QCOMPARE(TxPackage::calculateFCS(&package, excluded[k]), check[k]);
    }

    void resizesTheBufferToItsSections()
    {
        const char *const sizes[] = {"2 3",
                                     "2 0",
                                     "3 4 -5",
                                     "1 -1",
                                     "1 -9",
                                     "-2147483648 -2147483648 4",
                                     "2147483647 2147483647",
                                     "2147483647 -2147483648 3"};
        const int total[] = {5, 2, 2, 0, 0, 0, 0, 2};
        for (int k = 0; k < 8; ++k) {
            TxPackage package;
            package.appendSection("abc");
            package.setSectionSize(sizesOf(sizes[k]));
            QCOMPARE(package.totalSize(), total[k]);
            QVERIFY(package.byteArrayData().startsWith(B("abc").left(total[k])));
            QVERIFY(package.sectionSizes == sizesOf(sizes[k]) && package.appendedCount == 3);
        }
    }

    void replacesItsBytesOnly()
    {
        TxPackage package;
        package.appendByte(7);
        char source[] = {'a', '\0', 'c'};
        QVERIFY(package.setData(source, 3));
        source[0] = 'x';
        const QByteArray copy = package.byteArrayData();
        package.data()[1] = 'b';
        QVERIFY(copy == B("a\0c", 3) && package.byteArrayData() == "abc");
        QVERIFY(package.appendedCount == 1 && package.sectionSizes == sizesOf("1"));
        QVERIFY(package.setData(source, 0) && package.totalSize() == 0);
        QVERIFY(package.setData(source, -1) && package.totalSize() == 0);
    }

    void takesFramesApart_data()
    {
        QTest::addColumn<QString>("sizes");
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("sections");
        frame("length", "1 4 -1", "02 03000000 414243", "0+1:02 1+4:03000000 5+3:414243");
        frame("bytes left", "1 4 -1", "02 01000000 4142", "0+1:02 1+4:01000000 5+1:41");
        frame("bytes missing", "1 4 -1", "02 03000000 41", "0+1:02 1+4:03000000 5+3:41");
        frame("more sections", "1 4 -1 4 -3 1", "02 01000000 41 02000000 4243 0D",
              "0+1:02 1+4:01000000 5+1:41 6+4:02000000 10+2:4243 12+1:0d");
        frame("two of one length", "0 4 2 -1 -1", "01000000 4142 43 44",
              "0+0: 0+4:01000000 4+2:4142 6+1:43 7+1:44");
        frame("long length field", "1 6 -1", "02 01000000FFFF 41 42",
              "0+1:02 1+6:01000000ffff 7+1:41");
        frame("short length field", "1 3 -1", "02 010000 0041", "0+1:02 1+3:010000 4+0:");
        frame("cut length field", "1 4 -1", "02 010000", "0+1:02 1+4:010000 5+0:");
        frame("no bytes", "1 4 -1", "", "0+1: 1+4: 5+0:");
        frame("length -1", "1 4 -1 1", "02 FFFFFFFF 41", "0+1:02 1+4:ffffffff 5+0: 5+1:41");
        frame("least length", "1 4 -1", "02 00000080 41", "0+1:02 1+4:00000080 5+0:");
        frame("greatest length", "1 4 -1 3", "02 FFFFFF7F 4142",
              "0+1:02 1+4:ffffff7f 5+2147483647:4142 2147483647+3:");
        frame("itself", "1 -1", "02 0300000003", "0+1:02 1+0:");
        frame("section ahead", "1 -2 4 1", "02 01000000 41", "0+1:02 1+0: 1+4:01000000 5+1:41");
        frame("cycle", "1 -2 -1", "02 01000000", "0+1:02 1+0: 1+0:");
        frame("reference to a reference", "1 4 -1 -2", "02 04000000 01000000 41",
              "0+1:02 1+4:04000000 5+4:01000000 9+0:");
        frame("no such section", "1 -9", "02 0300000003", "0+1:02 1+0:");
        frame("least reference", "1 -2147483648", "02 0300000003", "0+1:02 1+0:");
        frame("beyond an int", "2147483647 2147483647 1", "0203",
              "0+2147483647:0203 2147483647+2147483647: 2147483647+1:");
    }

    void takesFramesApart()
    {
        QFETCH(QString, sizes);
        QFETCH(QByteArray, bytes);
        TxPackage package;
        package.setSectionSize(sizesOf(sizes));
        package.setData(bytes);
        QTEST(sectionsOf(package), "sections");
        const int invalid[] = {package.numberOfSections(), -1, INT_MAX, INT_MIN};
        for (int k = 0; k < 4; ++k) {
            QVERIFY(!package.validSectionNumber(invalid[k]));
            QVERIFY(package.sectionStartIndex(invalid[k]) == -1);
            QVERIFY(package.sectionSize(invalid[k]) == 0 && package.dataAt(invalid[k]).isEmpty());
        }
    }

    void readsTheFirstByteAsANumber()
    {
        QVERIFY(TxPackage().arrayToInt(B()) == 0);
        QVERIFY(TxPackage().arrayToInt(B("\xFF\x01")) == 255);
    }

    void rendersBytesForALog()
    {
        const B bytes[] = {B(), "\x02\x41\x0D", B("A\0B", 3), B("\0B", 2), "\xE9"};
        const char *const texts[] = {"() : ", "(0X2 0X41 0Xd ) : \x02\x41\x0D",
                                     "(0X41 0X0 0X42 ) : A", "(0X0 0X42 ) : ", "(0Xe9 ) : \xE9"};
        for (int k = 0; k < 5; ++k) {
            TxPackage package;
            package.setData(bytes[k]);
            QCOMPARE(package.toString(), QString::fromLatin1(texts[k]));
            // A view of part of a longer array ends where its size says.
            const B longer = bytes[k] + "77";
            QCOMPARE(dumpByteArray(B::fromRawData(longer.constData(), bytes[k].size())),
                     QString::fromLatin1(texts[k]));
        }
    }
};

QTEST_APPLESS_MAIN(TestTxPackage)
#include "tst_txpackage.moc"
