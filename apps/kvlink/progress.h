/// How far a long command has come, on stderr.
#ifndef APPS_KVLINK_PROGRESS_H
#define APPS_KVLINK_PROGRESS_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

class QTextStream;

/// A line on the terminal that is written over again and again; nothing where stderr is none.
class RewrittenLine
{
public:
    /// @param trace where the link's trace goes: lines on @p err are not to be written over
    RewrittenLine(QTextStream &err, const QString &trace);
    ~RewrittenLine() { clear(); }

    /// Whether there is a terminal for it.
    bool isShown() const { return m_isShown; }

    void show(const QString &text);

    /// Removes the line; to be called before other lines are printed.
    void clear();

private:
    QTextStream &m_err;
    const bool m_isShown;
    int m_length;
};

/// A rewritten line on a terminal; else a line of its own every half minute.
class Progress
{
public:
    /// @param trace as for `RewrittenLine`
    Progress(QTextStream &err, const QString &trace);

    /// @param place what is at hand, such as DM306 @param done how much of @p total is done
    void show(const QString &place, qint64 done, qint64 total);

    /// As for `RewrittenLine`.
    void clear() { m_line.clear(); }

private:
    QTextStream &m_err;
    RewrittenLine m_line;
    qint64 m_shownAtMs;
    QElapsedTimer m_clock;
};

#endif
