#include "tools/command.h"

#include <QtTest/QtTest>

#include <climits>

namespace
{

typedef QByteArray B;

CommunicatorCommand commandOf(uint kind, uint count)
{
    return CommunicatorCommand(static_cast<CommandKind>(kind), count, "DM100");
}

} // namespace

class TestCommand : public QObject
{
    Q_OBJECT

private slots:
    void classifiesByExactlyOneKind()
    {
        const uint kinds[] = {0, 1, 2, 3, 4, 5, 6, 7, 256};
        const char *const classes[] = {"bit", "byte", "word", "double", "", "block", "", "", ""};
        for (int k = 0; k < 9; ++k) {
            const CommunicatorCommand command = commandOf(kinds[k], 1);
            QByteArray found(isBitCommand(command) ? "bit" : "");
            found += isByteCommand(command) ? "byte" : "";
            found += isWordCommand(command) ? "word" : "";
            found += isDoubleWordCommand(command) ? "double" : "";
            found += isBlockCommand(command) ? "block" : "";
            QCOMPARE(found, B(classes[k]));
        }
    }

    void givesTheLowestBitOfTheFirstByte()
    {
        QVERIFY(getBitData(B("\x03\x00", 2)) == 1 && getBitData(B("\xFF")) == 1);
        QVERIFY(getBitData(B("\x02\x01")) == 0 && getBitData(B()) == 0);
    }

    void computesTheDataLength()
    {
        const uint kinds[] = {0, 0, 0, 0, 6, 6, 1, 5, 2, 3, 4, 7, 256};
        const uint counts[] = {0, 1, 8, 9, 8, 9, 3, 3, 3, 3, 3, 3, 3};
        const int lengths[] = {0, 1, 1, 2, 1, 2, 3, 3, 6, 12, 24, 0, 0};
        for (int k = 0; k < 13; ++k)
            QCOMPARE(GetSafeDataLen(commandOf(kinds[k], counts[k])), lengths[k]);
    }

    void wrapsTheDataLength()
    {
        QCOMPARE(GetSafeDataLen(commandOf(0, 0xFFFFFFFF)), 0x20000000);
        QCOMPARE(GetSafeDataLen(commandOf(2, 0x40000000)), INT_MIN);
        QCOMPARE(GetSafeDataLen(commandOf(2, 0x80000000)), 0);
        QCOMPARE(GetSafeDataLen(commandOf(4, 0x20000001)), 8);
    }

    void cutsAndPadsData_data()
    {
        QTest::addColumn<uint>("kind");
        QTest::addColumn<uint>("count");
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QByteArray>("safe");
        QTest::newRow("padded") << 2u << 3u << B("01020304") << B("010203040000");
        QTest::newRow("cut") << 2u << 3u << B("0102030405060708") << B("010203040506");
        QTest::newRow("fits") << 2u << 2u << B("01020304") << B("01020304");
        QTest::newRow("padded from none") << 3u << 1u << B("") << B("00000000");
        QTest::newRow("unknown kind") << 7u << 3u << B("0102") << B("");
        QTest::newRow("negative length") << 2u << 0x40000000u << B("0102") << B("");
        QTest::newRow("negative length, no data") << 2u << 0x40000000u << B("") << B("");
    }

    void cutsAndPadsData()
    {
        QFETCH(uint, kind);
        QFETCH(uint, count);
        QFETCH(QByteArray, data);
        QTEST(ToSafeData(commandOf(kind, count), B::fromHex(data)).toHex(), "safe");
    }
};

QTEST_APPLESS_MAIN(TestCommand)
#include "tst_command.moc"
