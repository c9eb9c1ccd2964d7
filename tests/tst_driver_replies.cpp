// The quick look at a reply must take the same replies as the form that the protocol defines.
#include "drivers/kv_l20v_host_link/kv_l20v_replies.h"
#include "tests/driver_model.h"

#include <QtTest/QtTest>

namespace
{

const struct {
    bool (*decode)(const char *rsp, int length, int count, char *out);
    Form form;
    const char *item;
} FORMS[] = {
    {hexWordsRspToByteArray, FormWords, "09aF"},
    {dec10RspToByteArray, FormNumbers, "0123456789"},
    {timerCounterFirstRspToByteArray, FormTimers, "1,0000000009,9876543210"},
    {timerCounterSecondRspToByteArray, FormTimers, "0,9876543210,0000000009"},
    {timerCounterRspToBits, FormTimers, "1,0000000000,0000000000"},
    {bitsRspToBits, FormBits, "1"},
};

// Room for the items of every reply here, however they are stored.
char values[64];

bool isCertain(bool (*decode)(const char *, int, int, char *), const QByteArray &reply)
{
    return decode(reply.constData(), reply.size(), 6, values);
}

} // namespace

class TestDriverReplies : public QObject
{
    Q_OBJECT

private slots:
    void acceptsTheFormOnly()
    {
        for (const auto &form : FORMS) {
            DriverModel model(false, CommunicatorCommand(Word, 1, QString()), QByteArray());
            model.form = form.form;
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
                        QVERIFY2(certain == model.fits(damaged),
                                 (damaged + " in " + whole).constData());
                    }
                }
                QVERIFY(!isCertain(form.decode, whole + whole));
                QVERIFY(!isCertain(form.decode, reply + "0\r\n"));
            }
        }
    }
};

QTEST_APPLESS_MAIN(TestDriverReplies)
#include "tst_driver_replies.moc"
