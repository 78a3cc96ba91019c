#pragma once

#include <QByteArray>

#include <functional>

class QIODevice;

// Splits a byte stream into line-feed terminated lines while holding at most one partial line of
// a bounded length: a peer that floods without line feeds costs no more memory than that bound.
// A line longer than the bound is dropped whole, up to and including its line feed, so its tail
// is never taken for a line of its own. Used on the bridge helper's socket at both ends.
class BoundedLineReader
{
public:
    using LineHandler = std::function<void(const QByteArray &line)>;

    explicit BoundedLineReader(qsizetype maxLineBytes, qsizetype chunkBytes = 64 * 1024);

    // Reads everything the device has now, one chunk at a time, handing each complete line
    // (without its line feed) to onLine.
    void readFrom(QIODevice &device, const LineHandler &onLine);
    // The same for bytes already in hand.
    void feed(const QByteArray &bytes, const LineHandler &onLine);
    void clear();
    // Bytes of the partial line held for the next read.
    qsizetype buffered() const { return m_partial.size(); }
    int droppedLines() const { return m_dropped; }

private:
    qsizetype m_maxLineBytes;
    qsizetype m_chunkBytes;
    QByteArray m_partial;
    bool m_discarding = false;
    int m_dropped = 0;
};
