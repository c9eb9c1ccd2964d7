/// Counts and times of a command's requests.
#ifndef RUNTIME_STATISTICS_H
#define RUNTIME_STATISTICS_H

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVector>

/// The figures of one request.
struct RequestFigures {
    bool replied;  ///< the PLC's final answer came, also when it was an error reply or unusable
    bool failed;   ///< no data came of it
    int attempts;  ///< attempts made, 0 when nothing was sent
    int timeOuts;  ///< waits that ended without a byte
    qint64 timeNs; ///< how long it took with all its attempts
};

/// The requests with a reply whose times lie in a range.
struct TimeBin {
    double fromMs; ///< is part of the range
    double toMs;   ///< is part of the range after it, where there is one
    int requests;
};

/// Sums up requests. Times are kept to three digits, so that memory stays small however long a
/// command runs.
class Statistics
{
public:
    Statistics();

    /// Counts a request.
    void add(const RequestFigures &request);

    int requests() const { return m_requests; }
    int errors() const { return m_errors; }

    /// The time that @p percent of the requests with a reply did not exceed, in milliseconds; 0
    /// without such requests. @param percent 0 (the shortest) to 100 (the longest)
    double timeMs(int percent) const;

    /// How the times are spread: ranges from the shortest to the longest time, each as many times as
    /// wide as the one before. @param bins at most so many; at least 1
    QVector<TimeBin> histogram(int bins) const;

    int retries() const { return m_retries; }

    /// One line for people: "4 requests, 3 replies, 2 retries, 3 time-outs, 1 error; min 1.20,
    /// median 1.30, p99 5.00, max 5.00 ms". The times are left out when nothing was answered.
    QString text() const;

    /// The times of it: "min 1.20, median 1.30, p99 5.00, max 5.00 ms".
    QString timesText() const;

private:
    int m_requests;
    int m_replies;
    int m_retries;
    int m_timeOuts;
    int m_errors;
    QMap<qint64, int> m_times; // how many requests took so many microseconds
};

#endif
