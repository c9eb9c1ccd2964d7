/// Why something failed, and the exit status that goes with it.
#ifndef RUNTIME_FAILURE_H
#define RUNTIME_FAILURE_H

#include <QtCore/QString>

/// How something ended. A program that ends with it exits with its number.
enum Status {
    StatusGood = 0,
    StatusPlcError = 1, ///< the PLC answered with an error
    StatusUsage = 2,    ///< the command line is wrong
    StatusOpen = 3,     ///< a port, the plug-in, a project or the output cannot be used
    StatusNoReply = 4,  ///< the PLC did not answer
    StatusUnusable = 5, ///< the reply was unusable, or the request was refused
    StatusSome = 6,     ///< some items failed, others succeeded
    StatusDiffers = 7   ///< other values were read back or replayed than expected, and nothing else
                        ///< failed; else StatusSome; or a panel would refuse a plug-in
};

/// Why something did not succeed, or that it did. It is true where something failed, so that a
/// caller writes `if (Failure failure = open()) return failure;`.
class Failure
{
public:
    /// Nothing failed.
    Failure() : m_status(StatusGood), m_isUnconfirmedWrite(false) {}

    /// @param status anything but StatusGood
    /// @param text   what failed and why, for people
    Failure(Status status, const QString &text)
        : m_status(status), m_text(text), m_isUnconfirmedWrite(false)
    {}

    /// A write that the PLC answered, but not with "OK".
    static Failure unconfirmedWrite(const QString &text)
    {
        Failure failure(StatusUnusable, text);
        failure.m_isUnconfirmedWrite = true;
        return failure;
    }

    explicit operator bool() const { return m_status != StatusGood; }
    bool isGood() const { return m_status == StatusGood; }
    bool isUnconfirmedWrite() const { return m_isUnconfirmedWrite; }

    Status status() const { return m_status; }

    /// Empty where nothing failed.
    const QString &text() const { return m_text; }

private:
    Status m_status;
    QString m_text;
    bool m_isUnconfirmedWrite;
};

#endif
