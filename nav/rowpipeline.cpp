#include "nav/rowpipeline.h"

#include <thread>

RowPipeline::RowPipeline(int columns) : m_columns(columns) {}

void RowPipeline::run(QSqlQuery &query, const std::function<void(const QVariant *row)> &buildRow)
{
    // A thread of its own rather than the global pool: the load itself usually runs in the pool,
    // and waiting on a queued pool task from inside it could wait forever.
    std::thread builder([this, &buildRow] {
        Block block;
        while (pop(&block)) {
            const QVariant *values = block.values.constData();
            for (int r = 0; r < block.rows; ++r)
                buildRow(values + qsizetype(r) * m_columns);
            recycle(std::move(block));
        }
    });

    Block block = takeFree();
    while (query.next()) {
        for (int c = 0; c < m_columns; ++c)
            block.values.append(query.value(c));
        if (++block.rows == kRowsPerBlock) {
            push(std::move(block));
            block = takeFree();
        }
    }
    if (block.rows > 0)
        push(std::move(block));
    {
        std::lock_guard<std::mutex> locker(m_mutex);
        m_closed = true;
    }
    m_changed.notify_all();
    builder.join();
}

void RowPipeline::push(Block &&block)
{
    std::unique_lock<std::mutex> locker(m_mutex);
    m_changed.wait(locker, [this] { return int(m_full.size()) < kMaxQueued; });
    m_full.push_back(std::move(block));
    locker.unlock();
    m_changed.notify_all();
}

bool RowPipeline::pop(Block *block)
{
    std::unique_lock<std::mutex> locker(m_mutex);
    m_changed.wait(locker, [this] { return !m_full.empty() || m_closed; });
    if (m_full.empty())
        return false;
    *block = std::move(m_full.front());
    m_full.pop_front();
    locker.unlock();
    m_changed.notify_all();
    return true;
}

RowPipeline::Block RowPipeline::takeFree()
{
    std::lock_guard<std::mutex> locker(m_mutex);
    Block block;
    if (!m_free.empty()) {
        block = std::move(m_free.front());
        m_free.pop_front();
    } else {
        block.values.reserve(qsizetype(kRowsPerBlock) * m_columns);
    }
    return block;
}

void RowPipeline::recycle(Block &&block)
{
    // Clearing on the builder thread also frees the row values there, off the reading thread.
    block.values.clear();
    block.rows = 0;
    std::lock_guard<std::mutex> locker(m_mutex);
    m_free.push_back(std::move(block));
}
