/// How far a long command has come, on stderr.
#ifndef APPS_KVLINK_PROGRESS_H
#define APPS_KVLINK_PROGRESS_H

#include <QtCore/QElapsedTimer>
#include <QtCore/QString>

class QTextStream;

/// On a terminal one line that is rewritten, several times a second at most; else a line of its own
/// every half minute.
class Progress
{
public:
    /// @param isTraced whether other lines go to @p err, which are not to be written over
    Progress(QTextStream &err, bool isTraced);

    /// Removes the line from the terminal.
    ~Progress() { clear(); }

    /// @param place what is at hand, such as DM306 @param done how much of @p total is done
    void show(const QString &place, qint64 done, qint64 total);

    /// Removes the line from the terminal; for what is printed next.
    void clear();

private:
    QTextStream &m_err;
    const bool m_isRewritten;
    int m_shownLength;
    qint64 m_shownAtMs;
    QElapsedTimer m_clock;
};

#endif
