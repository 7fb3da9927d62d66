// The peer pool of the task benches: a few threads on one mutex-guarded queue, first in first out,
// sleeping on a condition variable. What a careful programmer writes by hand.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

class PlainPool {
public:
    explicit PlainPool(unsigned int threads) {
        for (unsigned int i = 0; i < threads; ++i)
            m_workers.emplace_back([this](std::stop_token stop) {
                std::unique_lock<std::mutex> lock(m_mutex);
                while (m_wake.wait(lock, stop, [this] { return !m_items.empty(); })) {
                    std::function<void()> item = std::move(m_items.front());
                    m_items.pop_front();
                    lock.unlock();
                    item();
                    lock.lock();
                }
            });
    }
    void Post(std::function<void()> item) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_items.push_back(std::move(item));
        }
        m_wake.notify_one();
    }

private:
    std::mutex m_mutex;
    std::condition_variable_any m_wake;
    std::deque<std::function<void()>> m_items;
    std::vector<std::jthread> m_workers; // last: stopped and joined first
};
