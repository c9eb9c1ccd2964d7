/// Collects what Qt code prints while an object of this class lives.
#ifndef TESTS_MESSAGE_CAPTURE_H
#define TESTS_MESSAGE_CAPTURE_H

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

/// Takes the place of the message handler and gives it back at its end. One at a time, and for
/// messages of one thread.
class MessageCapture
{
public:
    MessageCapture()
    {
        current() = this;
        m_previous = install(collect);
    }

    ~MessageCapture() { install(m_previous); }

    QList<QtMsgType> types; ///< one of each message, in order
    QList<QString> texts;   ///< the same messages' texts

private:
    Q_DISABLE_COPY(MessageCapture)

    static MessageCapture *&current()
    {
        static MessageCapture *capture = 0;
        return capture;
    }

#if QT_VERSION >= 0x050000
    typedef QtMessageHandler Handler;
    static Handler install(Handler handler)
    {
        return qInstallMessageHandler(handler);
    }
    static void collect(QtMsgType type, const QMessageLogContext &, const QString &text)
#else
    typedef QtMsgHandler Handler;
    static Handler install(Handler handler)
    {
        return qInstallMsgHandler(handler);
    }
    static void collect(QtMsgType type, const char *text)
#endif
    {
        current()->types.append(type);
        current()->texts.append(textOf(text));
    }

    static QString textOf(const QString &text)
    {
        return text;
    }
    static QString textOf(const char *text)
    {
        return QString::fromLocal8Bit(text);
    }

    Handler m_previous;
};

#endif
