// Check values, and the frames that carry them.
#include "tools/checksum.h"
#include "tools/lib_crc.h"
#include "tools/txpackage.h"

#include <QtTest/QTest>

#include <climits>
#include <random>

namespace
{

typedef QByteArray B;

// The division that the tables shorten: message bits go through the register one by one.
unsigned int lowestBitFirst(unsigned int crc, unsigned int byte, unsigned int polynomial)
{
    for (int bit = 0; bit < 8; ++bit)
        crc = (crc >> 1) ^ (((crc ^ (byte >> bit)) & 1) != 0 ? polynomial : 0);
    return crc;
}

unsigned int highestBitFirst(unsigned int crc, unsigned int byte, unsigned int polynomial)
{
    for (int bit = 7; bit >= 0; --bit)
        crc = (crc << 1) ^ ((((crc >> 15) ^ (byte >> bit)) & 1) != 0 ? polynomial : 0);
    return crc & 0xFFFF;
}

QList<int> sizesOf(const QString &texts)
{
    QList<int> sizes;
    for (const QString &text : texts.split(' '))
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

} // namespace

class TestChecksum : public QObject
{
    Q_OBJECT

private slots:
    void sumsTheBufferAndReadsNoneWithoutLength()
    {
        const QByteArray buffers[] = {"123456789", "\x80\xFF", QByteArray(300, '\xFF'), "", "", ""};
        const int lengths[] = {9, 2, 300, 0, -1, INT_MIN};
        const int sums[] = {0x01DD, 0x017F, 0x2AD4, 0, 0, 0};
        const int exclusiveOr[] = {0x31, 0x7F, 0, 0, 0, 0};
        const int crc16[] = {0xBB3D, 0x8021, 0xEB55, 0, 0, 0};
        for (int k = 0; k < 6; ++k) {
            const int length = lengths[k];
            const void *bytes = length > 0 ? buffers[k].constData() : 0;
            const unsigned char *data = static_cast<const unsigned char *>(bytes);
            QCOMPARE(static_cast<int>(UInt8CheckSum(data, length)), sums[k] % 256);
            QCOMPARE(static_cast<int>(UShortCheckSum(data, length)), sums[k]);
            QCOMPARE(static_cast<int>(XorUInt8CheckSum(data, length)), exclusiveOr[k]);
            QCOMPARE(static_cast<int>(CRC16Calculate(data, length)), crc16[k]);
            QVERIFY(length > 0 || update_crc_16_bytes(0xABCD, data, length) == 0xABCD);
        }
    }

    void stepsAsTheBitwiseDivision()
    {
        std::mt19937 random(20240229);
        for (int round = 0; round < 20000; ++round) {
            const unsigned int crc = static_cast<unsigned int>(random());
            const unsigned short low = static_cast<unsigned short>(crc & 0xFFFF);
            const unsigned char byte = static_cast<unsigned char>(random() & 0xFF);
            QCOMPARE(uint(update_crc_ccitt(low, byte)), highestBitFirst(low, byte, 0x1021));
            QCOMPARE(uint(update_crc_16(low, byte)), lowestBitFirst(low, byte, 0xA001));
            QCOMPARE(uint(update_crc_kermit(low, byte)), lowestBitFirst(low, byte, 0x8408));
            QCOMPARE(uint(update_crc_dnp(low, byte)), lowestBitFirst(low, byte, 0xA6BC));
            QCOMPARE(update_crc_32(crc, byte), lowestBitFirst(crc, byte, 0xEDB88320));
        }
    }

    void stepsTheSensorsCrc()
    {
        QCOMPARE(static_cast<int>(update_crc_sick(0x8001, 0x12, 0x34)), 0xB415);
        QCOMPARE(static_cast<int>(update_crc_sick(0x7FFF, 0xFF, 0xFF)), 0x0001);
    }

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
        QCOMPARE(sectionsOf(package), QString());
        QVERIFY(package.totalSize() == 0 && package.appendedCount == 0);
    }

    // Each check value covers the ones before it.
    void closesFramesWithCheckValues()
    {
        const B bytes[] = {"", "\x01\x02\xFF", "123456789"};
        const char *const frames[] = {"0+0: 0+1:00 1+2:3030 3+2:3030",
                                      "0+3:0102ff 3+1:02 4+2:3034 6+2:4641",
                                      "0+9:313233343536373839 9+1:dd 10+2:4241 12+2:4546"};
        for (int k = 0; k < 3; ++k) {
            TxPackage package;
            package.appendSection(bytes[k]);
            QVERIFY(package.appendLRCByte() && package.appendLRCAscii());
            QVERIFY(package.appendFCSAscii(2));
            QCOMPARE(sectionsOf(package), QString(frames[k]));
        }
        TxPackage package;
        package.setData(bytes[1]);
        for (int excluded : {2, 3, 4, INT_MAX})
            QCOMPARE(TxPackage::calculateFCS(&package, excluded), excluded == 2 ? 1 : 0);
    }

    void resizesTheBufferToItsSections()
    {
        const char *const sizes[] = {"2 3", "3 4 -5", "1 -9", "2147483647 2147483647 3",
                                     "2147483647 -2147483648 3"};
        const char *const bytes[] = {"6162630000", "6162", "", "", "6162"};
        for (int k = 0; k < 5; ++k) {
            TxPackage package;
            package.appendSection("abc");
            package.setSectionSize(sizesOf(sizes[k]));
            QCOMPARE(package.byteArrayData().toHex(), B(bytes[k]));
            QVERIFY(package.sectionSizes == sizesOf(sizes[k]) && package.appendedCount == 3);
        }
        TxPackage large;
        large.setSectionSize(sizesOf("67108864 1"));
        QCOMPARE(large.totalSize(), 67108865);
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
        QVERIFY(package.setData(source, -1) && package.totalSize() == 0);
    }

    void takesFramesApart()
    {
        const struct {
            const char *name, *sizes, *bytes, *sections;
        } rows[] = {
            {"more sections", "1 4 -1 4 -3 1", "02 01000000 41 02000000 4243 0D",
             "0+1:02 1+4:01000000 5+1:41 6+4:02000000 10+2:4243 12+1:0d"},
            {"long length field", "1 6 -1", "02 01000000FFFF 41", "0+1:02 1+6:01000000ffff 7+1:41"},
            {"short length field", "1 3 -1", "02 010000 0041", "0+1:02 1+3:010000 4+0:"},
            {"cut length field", "1 4 -1", "02 010000", "0+1:02 1+4:010000 5+0:"},
            {"nothing behind the length", "0 4 -1", "02000000", "0+0: 0+4:02000000 4+2:"},
            {"length -1", "1 4 -1 1", "02 FFFFFFFF 41", "0+1:02 1+4:ffffffff 5+-1:41 4+1:ff"},
            {"least length", "0 4 -1 4 -3 9", "00000080 4142434445464748",
             "0+0: 0+4:00000080 4+-2147483648:4142434445464748 -2147483644+4: "
             "-2147483640+0: -2147483640+9:"},
            {"start below 0", "0 4 -1 9 -3", "FAFFFFFF 0100000041",
             "0+0: 0+4:faffffff 4+-6:0100000041 -2+9:faffffff010000 7+0:"},
            {"greatest length", "0 4 -1", "FFFFFF7F 4142", "0+0: 0+4:ffffff7f 4+2147483647:4142"},
            {"itself", "1 -1", "02 0300000003", "0+1:02 1+0:"},
            {"ahead", "1 -2 4 1", "02 01000000 41", "0+1:02 1+0: 1+4:01000000 5+1:41"},
            {"nested", "0 4 -1 -2", "04000000 01000000 41", "0+0: 0+4:04000000 4+4:01000000 8+0:"},
            {"least reference", "1 -2147483648", "02 0300000003", "0+1:02 1+0:"},
            {"beyond an int", "2147483647 2147483647 1", "0203",
             "0+2147483647:0203 2147483647+2147483647: 2147483647+1:"},
        };
        for (const auto &row : rows) {
            TxPackage package;
            package.setSectionSize(sizesOf(row.sizes));
            package.setData(B::fromHex(row.bytes));
            QVERIFY2(sectionsOf(package) == row.sections, row.name);
            for (int invalid : {package.numberOfSections(), -1, INT_MAX, INT_MIN}) {
                QVERIFY(!package.validSectionNumber(invalid) && package.sectionSize(invalid) == 0);
                QCOMPARE(package.sectionStartIndex(invalid), -1);
                QCOMPARE(package.dataAt(invalid), B());
            }
        }
    }

    void rendersBytesForALog()
    {
        const B bytes[] = {B(), "\x02\x41\x0D", B("A\0B", 3), "\xE9"};
        const char *const texts[] = {"() : ", "(0X2 0X41 0Xd ) : \x02\x41\x0D",
                                     "(0X41 0X0 0X42 ) : A", "(0Xe9 ) : \xE9"};
        const int first[] = {0, 2, 0x41, 0xE9};
        for (int k = 0; k < 4; ++k) {
            // A view of part of a longer array ends where its size says.
            const B longer = bytes[k] + "77";
            TxPackage package;
            package.setData(B::fromRawData(longer.constData(), bytes[k].size()));
            QString (TxPackage::*const toString)() = &TxPackage::toString;
            QCOMPARE((package.*toString)(), QString::fromLatin1(texts[k]));
            QCOMPARE(package.arrayToInt(bytes[k]), first[k]);
        }
    }
};

QTEST_APPLESS_MAIN(TestChecksum)
#include "tst_checksum.moc"
