#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "qor/ref_ptr.h"
#include "qorSDK/SceneSnapshot.h"
#include "qorSDK/Simulation.h"

namespace qorDemo {

/// Works one sensor's frames on a thread of its own, so that rendering (or scanning), converting
/// and publishing a frame overlap the steps that follow it. The stepping thread captures the
/// scene's state at a due step into a free snapshot (submit()); the worker hands the snapshots
/// to its work, oldest first, while the simulation steps on. Each frame thus shows, and is
/// stamped with, the state of its own step.
///
/// At most `depth` frames are captured and not yet worked; a submit() beyond them waits until
/// the oldest is done. The simulation never runs more than `depth` frames ahead of its sensor,
/// and no due frame is ever dropped: every one is published, in order, as in a step that renders
/// itself, only later.
class SensorWorker {
  public:
    /// What the worker does with a snapshot: render or scan it, convert and publish the frame.
    /// It runs on the worker's thread; what it throws ends the worker, and the next submit()
    /// throws it on.
    using Work = std::function<void(const qorSDK::SceneSnapshot& snapshot)>;

    /// Prepares `depth` snapshots of `simulation` (at least one) and starts the thread.
    SensorWorker(const qorSDK::Simulation& simulation, Work work, std::size_t depth = 2);

    /// Works the frames still held, then stops the thread.
    ~SensorWorker();

    SensorWorker(const SensorWorker&) = delete;
    SensorWorker& operator=(const SensorWorker&) = delete;

    /// On the stepping thread, between steps: captures `simulation`'s state as a frame to work,
    /// first waiting for a free snapshot when `depth` frames are held. Throws std::runtime_error
    /// with the text of what the work threw, once it has failed.
    void submit(const qorSDK::Simulation& simulation);

    /// Returns once every frame submitted so far has been worked, or the work has failed.
    void drain();

    /// What the work threw, as text; empty while it works.
    std::string failure() const;

    /// The times submit() found every snapshot taken and waited for the worker.
    std::uint64_t waits() const;

  private:
    void run();
    /// Throws the work's failure, if any; called with m_mutex held.
    void throwFailure() const;

    Work m_work;
    std::vector<qor::ref_ptr<qorSDK::SceneSnapshot>> m_snapshots;  ///< a ring, oldest at m_first
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_first = 0;    ///< the oldest frame held
    std::size_t m_held = 0;     ///< frames captured and not yet worked, the one in work included
    std::uint64_t m_waits = 0;  ///< see waits()
    std::string m_failure;      ///< what the work threw; empty while it works
    bool m_stop = false;
    std::thread m_thread;  ///< last: it starts once everything it uses is made
};

}  // namespace qorDemo
