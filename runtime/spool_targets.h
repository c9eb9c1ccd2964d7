/// Where the samples of a spool go.
#ifndef RUNTIME_SPOOL_TARGETS_H
#define RUNTIME_SPOOL_TARGETS_H

#include "runtime/failure.h"

#include <QtCore/QByteArray>

#include <atomic>

/// How many bytes a target has got since it began: `taken` will not be needed again, the rest of
/// `given` is on its way.
struct HandedOver {
    qint64 given;
    qint64 taken;
};

/// Takes rows in order. Used by one thread.
class SpoolTarget
{
public:
    virtual ~SpoolTarget() {}

    /// Gives rows, as many as there is room for, and looks how far they have got.
    /// @param rows  whole lines, or the rest of what was given in part; may be empty
    /// @param total is raised, also by a call that fails
    /// @return StatusOpen when the target does not take them, with the reason; without a text when
    ///         the reader has gone, as `head` does when it has seen enough
    virtual Failure give(const QByteArray &rows, HandedOver *total) = 0;

    /// Whether it is worth while to give the same rows again after a failure.
    virtual bool mayRecover() const = 0;
};

/// A pipe, whose reader takes rows by reading them; or a file, a terminal or a socket, which takes
/// what is written to it.
class DescriptorTarget : public SpoolTarget
{
public:
    /// Requires: @p descriptor outlives the target, and SIGPIPE is ignored.
    explicit DescriptorTarget(int descriptor);

    /// Returns after 100 ms when there is no room.
    Failure give(const QByteArray &rows, HandedOver *total) override;

    /// A reader that went away does not come back.
    bool mayRecover() const override { return false; }

private:
    const int m_descriptor;
    bool m_isPipe;
};

/// A command of /bin/sh, which runs for each batch of rows.
class CommandTarget : public SpoolTarget
{
public:
    /// @param timeoutMs after which the command is killed, in milliseconds
    /// @param isOver    ends a command that runs; outlives the target
    CommandTarget(const QString &command, int timeoutMs, const std::atomic<bool> &isOver);

    /// Runs the command with the rows on its standard input, a file that holds all of them even if
    /// this program is killed. They are taken when it exits with status 0.
    Failure give(const QByteArray &rows, HandedOver *total) override;

    bool mayRecover() const override { return true; }

private:
    Failure run(int input) const;

    const QString m_command;
    const int m_timeoutMs;
    const std::atomic<bool> &m_isOver;
};

#endif
