/// Why something did not succeed.
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
    StatusDiffers = 7   ///< what was read back or replayed is not what was expected
};

/// Why something did not succeed.
struct Failure {
    Status status = StatusGood;
    QString text;
    bool isUnconfirmed = false; ///< a write that the PLC answered, but not with "OK"
};

#endif
