/// How kvlink ends.
#ifndef APPS_KVLINK_EXIT_STATUS_H
#define APPS_KVLINK_EXIT_STATUS_H

/// kvlink's exit statuses.
enum ExitStatus {
    StatusGood = 0,
    StatusPlcError = 1, ///< the PLC answered with an error
    StatusUsage = 2,    ///< the command line is wrong
    StatusOpen = 3,     ///< a port, the plug-in, a project or the output cannot be used
    StatusNoReply = 4,  ///< the PLC did not answer
    StatusUnusable = 5, ///< the reply was unusable, or the request was refused
    StatusSome = 6,     ///< some items failed, others succeeded
    StatusDiffers = 7   ///< what was read back or replayed is not what was expected
};

#endif
