#include "SensorWorker.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

namespace qorDemo {

SensorWorker::SensorWorker(const qorSDK::Simulation& simulation, Work work, std::size_t depth)
    : m_work(std::move(work)) {
    for (std::size_t i = 0; i < std::max<std::size_t>(depth, 1); ++i) {
        m_snapshots.emplace_back(new qorSDK::SceneSnapshot(simulation));
    }
    m_thread = std::thread(&SensorWorker::run, this);
}

SensorWorker::~SensorWorker() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void SensorWorker::submit(const qorSDK::Simulation& simulation) {
    std::size_t slot = 0;
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_held == m_snapshots.size()) {
            ++m_waits;
            m_changed.wait(lock, [&] { return m_held < m_snapshots.size() || !m_failure.empty(); });
        }
        throwFailure();
        slot = (m_first + m_held) % m_snapshots.size();
    }
    // The worker never reads a snapshot that is not held, so this one is captured unlocked.
    m_snapshots[slot]->capture(simulation);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_held;
    }
    m_changed.notify_all();
}

void SensorWorker::drain() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [&] { return m_held == 0 || !m_failure.empty(); });
}

std::string SensorWorker::failure() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_failure;
}

std::uint64_t SensorWorker::waits() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_waits;
}

void SensorWorker::throwFailure() const {
    if (!m_failure.empty()) {
        throw std::runtime_error(m_failure);
    }
}

void SensorWorker::run() {
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_changed.wait(lock, [&] { return m_held > 0 || m_stop; });
        if (m_held == 0) {
            return;  // stopped, with every frame worked
        }
        const qorSDK::SceneSnapshot& snapshot = *m_snapshots[m_first];
        lock.unlock();
        std::string failure;
        try {
            m_work(snapshot);
        } catch (const std::exception& error) {
            failure = *error.what() != '\0' ? error.what() : "the sensor's work failed";
        } catch (...) {
            failure = "the sensor's work failed";
        }
        lock.lock();
        if (!failure.empty()) {
            // Nothing more is worked: the stepping thread hears of it at its next call.
            m_failure = failure;
            m_changed.notify_all();
            return;
        }
        m_first = (m_first + 1) % m_snapshots.size();
        --m_held;
        m_changed.notify_all();
    }
}

}  // namespace qorDemo
