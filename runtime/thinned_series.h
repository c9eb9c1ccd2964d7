/// A series of any length, thinned out to a bounded number of points.
#ifndef RUNTIME_THINNED_SERIES_H
#define RUNTIME_THINNED_SERIES_H

#include <QtCore/QPointF>
#include <QtCore/QVector>

/// Keeps the lowest and the highest point of each run of points; runs grow with the series.
class ThinnedSeries
{
public:
    /// @param limit most points that are kept; at least 4
    explicit ThinnedSeries(int limit) : m_limit(limit), m_runLength(1), m_lastLength(0) {}

    /// Adds a point behind those so far.
    void add(const QPointF &point)
    {
        if (m_runs.isEmpty() || m_lastLength == m_runLength) {
            if (2 * (m_runs.size() + 1) > m_limit)
                halve();
            m_runs.append({point, point});
            m_lastLength = 0;
        }
        m_runs.last().take(point);
        ++m_lastLength;
    }

    bool isEmpty() const { return m_runs.isEmpty(); }

    /// The points that are kept, in the order in which they came.
    QVector<QPointF> points() const
    {
        QVector<QPointF> kept;
        for (const Run &run : m_runs) {
            const bool lowFirst = run.low.x() <= run.high.x();
            kept.append(lowFirst ? run.low : run.high);
            if (run.low.y() < run.high.y())
                kept.append(lowFirst ? run.high : run.low);
        }
        return kept;
    }

private:
    struct Run {
        QPointF low;
        QPointF high;

        void take(const QPointF &point)
        {
            low = point.y() < low.y() ? point : low;
            high = point.y() > high.y() ? point : high;
        }
    };

    void halve()
    {
        const int half = (m_runs.size() + 1) / 2;
        for (int i = 0; i < half; ++i) {
            Run run = m_runs.at(2 * i);
            if (2 * i + 1 < m_runs.size()) {
                run.take(m_runs.at(2 * i + 1).low);
                run.take(m_runs.at(2 * i + 1).high);
            }
            m_runs[i] = run;
        }
        m_runs.resize(half);
        m_runLength *= 2;
    }

    int m_limit;
    qint64 m_runLength;  // points in a whole run
    qint64 m_lastLength; // points in the last one
    QVector<Run> m_runs;
};

#endif
