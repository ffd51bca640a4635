#include "bag/PlaybackClock.h"

#include <cmath>

namespace qorCli {

PlaybackClock::PlaybackClock(std::int64_t start, double rate, bool paused, SteadyNow steadyNow)
    : m_steadyNow(std::move(steadyNow)),
      m_referenceBag(start),
      m_referenceSteady(m_steadyNow()),
      m_rate(rate > 0.0 ? rate : 1.0),
      m_paused(paused) {}

std::int64_t PlaybackClock::nowLocked(SteadyTime steady) const {
    if (m_paused) {
        return m_referenceBag;
    }
    const double elapsed = static_cast<double>((steady - m_referenceSteady).count());
    return m_referenceBag + static_cast<std::int64_t>(std::llround(elapsed * m_rate));
}

std::int64_t PlaybackClock::now() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return nowLocked(m_steadyNow());
}

PlaybackClock::SteadyTime PlaybackClock::steadyTimeOf(std::int64_t bagTime) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    const SteadyTime reference = m_paused ? m_steadyNow() : m_referenceSteady;
    const double span = static_cast<double>(bagTime - m_referenceBag) / m_rate;
    return reference + std::chrono::nanoseconds(static_cast<std::int64_t>(std::llround(span)));
}

bool PlaybackClock::sleepUntil(std::int64_t bagTime, std::chrono::nanoseconds slice) {
    std::unique_lock<std::mutex> lock(m_mutex);
    const std::uint64_t generation = m_generation;
    if (m_paused) {
        m_changed.wait_for(lock, slice, [&] { return m_generation != generation; });
        return false;
    }
    const double span = static_cast<double>(bagTime - m_referenceBag) / m_rate;
    const SteadyTime due =
        m_referenceSteady + std::chrono::nanoseconds(static_cast<std::int64_t>(std::llround(span)));
    const SteadyTime until = std::min(due, m_steadyNow() + slice);
    m_changed.wait_until(lock, until, [&] { return m_generation != generation; });
    return m_generation == generation && !m_paused && m_steadyNow() >= due;
}

void PlaybackClock::jump(std::int64_t bagTime) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_referenceBag = bagTime;
    m_referenceSteady = m_steadyNow();
    ++m_generation;
    m_changed.notify_all();
}

bool PlaybackClock::setRate(double rate) {
    if (!(rate > 0.0) || !std::isfinite(rate)) {
        return false;
    }
    std::lock_guard<std::mutex> lock(m_mutex);
    const SteadyTime steady = m_steadyNow();
    m_referenceBag = nowLocked(steady);
    m_referenceSteady = steady;
    m_rate = rate;
    ++m_generation;
    m_changed.notify_all();
    return true;
}

double PlaybackClock::rate() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_rate;
}

void PlaybackClock::pause() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (!m_paused) {
        m_referenceBag = nowLocked(m_steadyNow());
        m_paused = true;
        ++m_generation;
        m_changed.notify_all();
    }
}

void PlaybackClock::resume() {
    std::lock_guard<std::mutex> lock(m_mutex);
    if (m_paused) {
        m_referenceSteady = m_steadyNow();
        m_paused = false;
        ++m_generation;
        m_changed.notify_all();
    }
}

bool PlaybackClock::paused() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_paused;
}

void PlaybackClock::wake() {
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_generation;
    m_changed.notify_all();
}

}  // namespace qorCli
