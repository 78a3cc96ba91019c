#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>

// A short bounded queue between one producer thread and one consumer.
template <typename Batch> class BatchQueue
{
public:
    // False when the consumer gave up: the producer should stop.
    bool push(Batch &&batch)
    {
        std::deque<Batch> used;
        std::unique_lock<std::mutex> locker(m_mutex);
        used.swap(m_used);
        m_changed.wait(locker, [this] { return m_aborted || int(m_batches.size()) < kMaxQueued; });
        if (m_aborted)
            return false;
        m_batches.push_back(std::move(batch));
        locker.unlock();
        m_changed.notify_all();
        // used goes out of scope here, on the producer's thread.
        return true;
    }
    // The consumer hands a written batch back, so that freeing its rows costs the producer's
    // thread rather than the writer's.
    void giveBack(Batch &&batch)
    {
        std::lock_guard<std::mutex> locker(m_mutex);
        m_used.push_back(std::move(batch));
    }
    bool pop(Batch *batch)
    {
        std::unique_lock<std::mutex> locker(m_mutex);
        m_changed.wait(locker, [this] { return m_aborted || m_closed || !m_batches.empty(); });
        if (m_aborted || m_batches.empty())
            return false;
        *batch = std::move(m_batches.front());
        m_batches.pop_front();
        locker.unlock();
        m_changed.notify_all();
        return true;
    }
    void close() { setFlag(&m_closed); }
    void abort() { setFlag(&m_aborted); }
    bool aborted()
    {
        std::lock_guard<std::mutex> locker(m_mutex);
        return m_aborted;
    }

private:
    void setFlag(bool *flag)
    {
        {
            std::lock_guard<std::mutex> locker(m_mutex);
            *flag = true;
        }
        m_changed.notify_all();
    }

    static constexpr int kMaxQueued = 4;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Batch> m_batches;
    std::deque<Batch> m_used;
    bool m_closed = false;
    bool m_aborted = false;
};
