#include "tools/checksum.h"
#include "tools/lib_crc.h"

#include <QtTest/QtTest>

#include <climits>
#include <random>

namespace
{

typedef unsigned int (*Step)(unsigned int crc, unsigned char byte);

template <unsigned short (*NarrowStep)(unsigned short, unsigned char)>
unsigned int widened(unsigned int crc, unsigned char byte)
{
    return NarrowStep(static_cast<unsigned short>(crc), byte);
}

const Step ccitt = widened<update_crc_ccitt>;
const Step arc = widened<update_crc_16>;
const Step kermit = widened<update_crc_kermit>;
const Step dnp = widened<update_crc_dnp>;
const Step crc32 = update_crc_32;

// The division that the tables shorten: message bits go through the register one by one.
unsigned int dividedLowestBitFirst(unsigned int crc, unsigned int byte, unsigned int polynomial)
{
    for (int bit = 0; bit < 8; ++bit)
        crc = (crc >> 1) ^ (((crc ^ (byte >> bit)) & 1) != 0 ? polynomial : 0);
    return crc;
}

unsigned int dividedHighestBitFirst(unsigned int crc, unsigned int byte, unsigned int polynomial)
{
    for (int bit = 7; bit >= 0; --bit)
        crc = (crc << 1) ^ ((((crc >> 15) ^ (byte >> bit)) & 1) != 0 ? polynomial : 0);
    return crc & 0xFFFF;
}

} // namespace

class TestChecksum : public QObject
{
    Q_OBJECT

private slots:
    void sumsTheBuffer()
    {
        const QByteArray buffers[] = {"123456789", "\x80\xFF", QByteArray(300, '\xFF')};
        const int sum8[] = {0xDD, 0x7F, 0xD4};
        const int sum16[] = {0x01DD, 0x017F, 0x2AD4};
        const int exclusiveOr[] = {0x31, 0x7F, 0};
        const int crc16[] = {0xBB3D, 0x8021, 0xEB55};
        for (int k = 0; k < 3; ++k) {
            const int size = buffers[k].size();
            const unsigned char *data =
                reinterpret_cast<const unsigned char *>(buffers[k].constData());
            QCOMPARE(static_cast<int>(UInt8CheckSum(data, size)), sum8[k]);
            QCOMPARE(static_cast<int>(UShortCheckSum(data, size)), sum16[k]);
            QCOMPARE(static_cast<int>(XorUInt8CheckSum(data, size)), exclusiveOr[k]);
            QCOMPARE(static_cast<int>(CRC16Calculate(data, size)), crc16[k]);
        }
    }

    void givesZeroWithoutReadingForNoLength()
    {
        const int lengths[] = {0, -1, INT_MIN};
        for (int k = 0; k < 3; ++k) {
            QVERIFY(UInt8CheckSum(0, lengths[k]) == 0 && UShortCheckSum(0, lengths[k]) == 0);
            QVERIFY(XorUInt8CheckSum(0, lengths[k]) == 0 && CRC16Calculate(0, lengths[k]) == 0);
            QVERIFY(update_crc_16_bytes(0xABCD, 0, lengths[k]) == 0xABCD);
        }
    }

    void givesPublishedCheckValues()
    {
        const struct {
            const char *name;
            Step step;
            unsigned int start, finalXor, check;
        } rows[] = {
            {"CRC-16/XMODEM", ccitt, 0, 0, 0x31C3},
            {"CRC-16/CCITT-FALSE", ccitt, 0xFFFF, 0, 0x29B1},
            {"CRC-16/AUG-CCITT", ccitt, 0x1D0F, 0, 0xE5CC},
            {"CRC-16/ARC", arc, 0, 0, 0xBB3D},
            {"CRC-16/MODBUS", arc, 0xFFFF, 0, 0x4B37},
            {"CRC-16/KERMIT", kermit, 0, 0, 0x2189},
            {"CRC-16/X-25", kermit, 0xFFFF, 0xFFFF, 0x906E},
            {"CRC-16/DNP", dnp, 0, 0xFFFF, 0xEA82},
            {"CRC-32", crc32, 0xFFFFFFFF, 0xFFFFFFFF, 0xCBF43926},
        };
        for (int k = 0; k < 9; ++k) {
            unsigned int crc = rows[k].start;
            for (unsigned char digit = '1'; digit <= '9'; ++digit)
                crc = rows[k].step(crc, digit);
            QVERIFY2((crc ^ rows[k].finalXor) == rows[k].check, rows[k].name);
        }
    }

    // From register 0 a step gives the table's entry for the byte.
    void holdsTheStandardTables()
    {
        const struct {
            Step step;
            unsigned int entry1, entry128, entry255;
        } rows[] = {
            {ccitt, 0x1021, 0x9188, 0x1EF0},
            {arc, 0xC0C1, 0xA001, 0x4040},
            {kermit, 0x1189, 0x8408, 0x0F78},
            {crc32, 0x77073096, 0xEDB88320, 0x2D02EF8D},
        };
        for (int k = 0; k < 4; ++k) {
            QCOMPARE(rows[k].step(0, 1), rows[k].entry1);
            QCOMPARE(rows[k].step(0, 128), rows[k].entry128);
            QCOMPARE(rows[k].step(0, 255), rows[k].entry255);
        }
    }

    void stepsAsTheBitwiseDivision()
    {
        std::mt19937 random(20240229);
        for (int round = 0; round < 20000; ++round) {
            const unsigned int crc = static_cast<unsigned int>(random());
            const unsigned char byte = static_cast<unsigned char>(random() & 0xFF);
            const unsigned int low = crc & 0xFFFF;
            QCOMPARE(ccitt(low, byte), dividedHighestBitFirst(low, byte, 0x1021));
            QCOMPARE(arc(low, byte), dividedLowestBitFirst(low, byte, 0xA001));
            QCOMPARE(kermit(low, byte), dividedLowestBitFirst(low, byte, 0x8408));
            QCOMPARE(dnp(low, byte), dividedLowestBitFirst(low, byte, 0xA6BC));
            QCOMPARE(crc32(crc, byte), dividedLowestBitFirst(crc, byte, 0xEDB88320));
        }
    }

    void stepsTheSensorsCrc()
    {
        unsigned short crc = 0;
        unsigned char previous = 0;
        for (unsigned char digit = '1'; digit <= '9'; previous = digit++)
            crc = update_crc_sick(crc, digit, previous);
        QCOMPARE(static_cast<int>(crc), 0xA656);
        QCOMPARE(static_cast<int>(update_crc_sick(0x8001, 0x12, 0x34)), 0xB415);
        QCOMPARE(static_cast<int>(update_crc_sick(0x7FFF, 0xFF, 0xFF)), 0x0001);
    }
};

QTEST_APPLESS_MAIN(TestChecksum)
#include "tst_checksum.moc"
