#include "tools/checksum.h"
#include "tools/lib_crc.h"

#include <QtTest/QtTest>

#include <climits>
#include <random>

namespace
{

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
};

QTEST_APPLESS_MAIN(TestChecksum)
#include "tst_checksum.moc"
