#include "tools/command.h"

#include <QtTest/QtTest>

#include <climits>

namespace
{

CommunicatorCommand commandOf(uint kind, uint count)
{
    return CommunicatorCommand(static_cast<CommandKind>(kind), count, "DM100");
}

struct LongerCommand : CommunicatorCommand {
    LongerCommand() : CommunicatorCommand(Word, 2, "DM100") {}
    int byteLength() const override { return 100; }
};

} // namespace

class TestCommand : public QObject
{
    Q_OBJECT

private slots:
    void classifiesByExactlyOneKind()
    {
        bool (*const tests[])(const CommunicatorCommand &) = {
            isBitCommand, isByteCommand, isWordCommand, isDoubleWordCommand, isBlockCommand};
        const uint kinds[] = {0, 1, 2, 3, 5};
        for (uint kind : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 256u})
            for (int k = 0; k < 5; ++k)
                QCOMPARE(tests[k](commandOf(kind, 1)), kind == kinds[k]);
    }

    void givesTheLowestBitOfTheFirstByte()
    {
        QVERIFY(getBitData(QByteArray("\x03\x00", 2)) == 1 && getBitData(QByteArray("\xFF")) == 1);
        QVERIFY(getBitData(QByteArray("\x02\x01")) == 0 && getBitData(QByteArray()) == 0);
    }

    // The length wraps as a 32-bit number.
    void computesTheDataLength()
    {
        const uint kinds[] = {0, 0, 0, 6, 6, 1, 5, 2, 3, 4, 7, 256, 0, 2, 2, 4};
        const uint counts[] = {0, 8, 9, 8, 9,          3,          3,          3,
                               3, 3, 3, 3, 0xFFFFFFFF, 0x40000000, 0x80000000, 0x20000001};
        const int lengths[] = {0, 1, 2, 1, 2, 3, 3, 6, 12, 24, 0, 0, 0x20000000, INT_MIN, 0, 8};
        for (int k = 0; k < 16; ++k)
            QCOMPARE(GetSafeDataLen(commandOf(kinds[k], counts[k])), lengths[k]);
        QCOMPARE(GetSafeDataLen(LongerCommand()), 4);
    }

    // The kinds are those of words, bytes, words, none and words; the last length is negative.
    void cutsAndPadsData()
    {
        const uint kinds[] = {2, 1, 2, 7, 2};
        const uint counts[] = {3, 3, 2, 3, 0x40000000};
        const char *const safe[] = {"010203040000", "010203", "01020304", "", ""};
        for (int k = 0; k < 5; ++k)
            QCOMPARE(
                ToSafeData(commandOf(kinds[k], counts[k]), QByteArray("\x01\x02\x03\x04")).toHex(),
                QByteArray(safe[k]));
    }
};

QTEST_APPLESS_MAIN(TestCommand)
#include "tst_command.moc"
