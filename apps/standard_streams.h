/// What the programs do about standard streams that are closed or that nobody reads any more. A
/// program that cannot write its output ends with StatusOpen: a script must not take silence for a
/// value.
#ifndef APPS_STANDARD_STREAMS_H
#define APPS_STANDARD_STREAMS_H

#include "runtime/failure.h"

#include <QtCore/QTextStream>

#include <csignal>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

/// Keeps the numbers of closed standard streams from other files: values and texts must fail there
/// rather than go into a port. Writing to a reader that is gone becomes an error instead of the
/// program's end, which is to close its port and leave no half exchange behind. Requires: nothing
/// else is open yet.
inline void keepStandardStreams()
{
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        // The lowest free number is taken, so it is this one; every use of it has to fail.
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
}

/// Whether the reader of the standard output has gone, as `head` does when it has seen enough.
inline bool readerIsGone()
{
    pollfd output = {STDOUT_FILENO, POLLOUT, 0};
    return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

/// Writes out what is left of a program's output. @return its exit status: StatusOpen, with a text
/// unless the reader has gone, when not all could be written; else @p status
inline int endOfOutput(const char *program, QTextStream &out, QTextStream &err, int status)
{
    out.flush();
    if (out.status() == QTextStream::Ok)
        return status;
    if (!readerIsGone())
        err << program << ": cannot write to the standard output\n";
    return StatusOpen;
}

#endif
