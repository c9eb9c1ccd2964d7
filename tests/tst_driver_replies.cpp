// The quick look at a reply must never accept what the reply pattern, which defines the form, refuses.
#include "drivers/kv_l20v_host_link/kv_l20v_replies.h"

#include <QtCore/QRegExp>
#include <QtTest/QtTest>

namespace
{

// The forms as the protocol defines them, written out here once more on purpose.
const struct {
    const char *name;
    bool (*decode)(const char *rsp, int length, int count, char *out);
    const char *pattern;
    const char *item;
} FORMS[] = {
    {"words", hexWordsRspToByteArray, "[\\da-fA-F]{4}(?: [\\da-fA-F]{4})*\\r\\n", "09aF"},
    {"values", dec10RspToByteArray, "\\d{10}(?: \\d{10})*\\r\\n", "0123456789"},
    {"items", timerCounterFirstRspToByteArray,
     "[01],\\d{10},\\d{10}(?: [01],\\d{10},\\d{10})*\\r\\n", "1,0000000009,9876543210"},
    {"bits", bitsRspToBits, "[01](?: [01])*\\r\\n", "1"},
};

// Room for the items of every reply here, however they are stored.
char values[64];

bool isCertain(bool (*decode)(const char *, int, int, char *), const QByteArray &reply)
{
    return decode(reply.constData(), reply.size(), 6, values);
}

bool matches(const char *pattern, const QByteArray &reply)
{
    return QRegExp(QLatin1String(pattern)).exactMatch(QString::fromLatin1(reply));
}

} // namespace

class TestDriverReplies : public QObject
{
    Q_OBJECT

private slots:
    void acceptsNothingThatThePatternRefuses();
};

void TestDriverReplies::acceptsNothingThatThePatternRefuses()
{
    for (const auto &form : FORMS) {
        QByteArray reply;
        for (int count = 1; count <= 3; ++count) {
            reply += (count == 1 ? "" : " ") + QByteArray(form.item);
            const QByteArray whole = reply + "\r\n";
            QVERIFY2(isCertain(form.decode, whole), whole.constData());
            for (int length = 0; length < whole.size(); ++length)
                QVERIFY2(!isCertain(form.decode, whole.left(length)), whole.constData());
            for (int at = 0; at < whole.size(); ++at) {
                for (int byte = 0; byte < 256; ++byte) {
                    QByteArray damaged(whole);
                    damaged[at] = static_cast<char>(byte);
                    const bool certain = isCertain(form.decode, damaged);
                    if (certain != matches(form.pattern, damaged))
                        QFAIL(qPrintable(QString::fromLatin1("%1: byte 0x%2 at %3 of %4 items")
                                             .arg(QLatin1String(form.name))
                                             .arg(byte, 2, 16, QLatin1Char('0'))
                                             .arg(at)
                                             .arg(count)));
                }
            }
            QVERIFY(!isCertain(form.decode, whole + whole));
            QVERIFY(!isCertain(form.decode, reply + "0\r\n"));
        }
    }
}

QTEST_APPLESS_MAIN(TestDriverReplies)
#include "tst_driver_replies.moc"
