#pragma once

#include <QList>
#include <QSqlQuery>
#include <QVariant>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

// Splits reading a large query across two threads: the calling thread steps the query (which is
// where Qt SQL spends its time, converting every column) and a helper thread turns the rows
// into records. Rows travel in blocks through a short bounded queue, so memory stays flat.
//
// The query and its connection stay on the calling thread; buildRow runs on the helper thread,
// one row at a time and in query order, with a pointer to the row's column values.
class RowPipeline
{
public:
    explicit RowPipeline(int columns);

    // Steps query to its end. Returns after every row has been built.
    void run(QSqlQuery &query, const std::function<void(const QVariant *row)> &buildRow);

private:
    struct Block
    {
        QList<QVariant> values;
        int rows = 0;
    };

    void push(Block &&block);
    bool pop(Block *block);
    Block takeFree();
    void recycle(Block &&block);

    static constexpr int kRowsPerBlock = 2048;
    static constexpr int kMaxQueued = 4;

    const int m_columns;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Block> m_full;
    std::deque<Block> m_free;
    bool m_closed = false;
};
