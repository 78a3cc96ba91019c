#include "sim/boundedlinereader.h"

#include <QIODevice>

BoundedLineReader::BoundedLineReader(qsizetype maxLineBytes, qsizetype chunkBytes)
    : m_maxLineBytes(maxLineBytes), m_chunkBytes(chunkBytes)
{
}

void BoundedLineReader::readFrom(QIODevice &device, const LineHandler &onLine)
{
    while (device.bytesAvailable() > 0) {
        const QByteArray chunk = device.read(m_chunkBytes);
        if (chunk.isEmpty())
            break;
        feed(chunk, onLine);
    }
}

void BoundedLineReader::feed(const QByteArray &bytes, const LineHandler &onLine)
{
    qsizetype start = 0;
    while (start < bytes.size()) {
        const qsizetype newline = bytes.indexOf('\n', start);
        const qsizetype end = newline < 0 ? bytes.size() : newline;
        if (m_discarding) {
            // The rest of an overlong line: skip it up to its line feed.
            if (newline >= 0)
                m_discarding = false;
        } else if (m_partial.size() + (end - start) > m_maxLineBytes) {
            m_partial.clear();
            ++m_dropped;
            m_discarding = newline < 0;
        } else {
            m_partial.append(bytes.constData() + start, end - start);
            if (newline >= 0) {
                const QByteArray line = m_partial;
                m_partial.clear();
                onLine(line);
            }
        }
        if (newline < 0)
            break;
        start = newline + 1;
    }
}

void BoundedLineReader::clear()
{
    m_partial.clear();
    m_discarding = false;
}
