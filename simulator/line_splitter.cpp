#include "simulator/line_splitter.h"

namespace
{

const char LF = '\n';

}

int lineLength(const QByteArray &bytes, int start)
{
    const int lf = bytes.indexOf(LF, start);
    return (lf < 0 ? bytes.size() : lf + 1) - start;
}

bool isWholeLine(const QByteArray &line)
{
    return line.endsWith(LF);
}

LineSplitter::LineSplitter() : m_start(0), m_searched(0), m_dropping(false) {}

void LineSplitter::append(const QByteArray &bytes)
{
    m_bytes.append(bytes);
}

LineSplitter::Result LineSplitter::take(QByteArray *line)
{
    const int lf = m_bytes.indexOf(LF, m_searched);
    if (lf < 0) {
        dropTaken();
        return NO_LINE;
    }
    const int length = lf + 1 - m_start;
    const bool overlong = m_dropping || length > MAX_LINE;
    if (!overlong)
        *line = m_bytes.mid(m_start, length);
    m_start = m_searched = lf + 1;
    m_dropping = false;
    return overlong ? OVERLONG_LINE : LINE;
}

// Once per received chunk, so that taking a line never moves the lines behind it.
void LineSplitter::dropTaken()
{
    m_bytes.remove(0, m_start);
    if (m_bytes.size() >= MAX_LINE) {
        m_bytes.clear();
        m_dropping = true;
    }
    m_start = 0;
    m_searched = m_bytes.size();
}
