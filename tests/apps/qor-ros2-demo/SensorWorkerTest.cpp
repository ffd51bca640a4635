// A sensor's worker off the stepping thread: it works every frame taken, oldest first, each with
// the time of its own step; the stepping thread waits, and loses nothing, when the worker is
// `depth` frames behind; what the work throws is thrown on the stepping thread.

#include "SensorWorker.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorSDK/SceneSnapshot.h"
#include "qorSDK/Simulation.h"

namespace {

const char* const kFallingBall = R"(
<mujoco model="falling_ball">
  <worldbody>
    <body name="ball" pos="0 0 1">
      <freejoint/>
      <geom type="sphere" size="0.1"/>
    </body>
  </worldbody>
</mujoco>)";

// The snapshots' times, as the worker's thread saw them.
class Frames {
  public:
    void add(double time) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_times.push_back(time);
    }

    std::vector<double> times() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_times;
    }

  private:
    mutable std::mutex m_mutex;
    std::vector<double> m_times;
};

// Holds the work until opened.
class Gate {
  public:
    void passThrough() {
        std::unique_lock<std::mutex> lock(m_mutex);
        ++m_waiting;
        m_changed.wait(lock, [&] { return m_open; });
    }

    void open() {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_open = true;
        }
        m_changed.notify_all();
    }

    int waiting() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_waiting;
    }

  private:
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    bool m_open = false;
    int m_waiting = 0;
};

TEST(SensorWorker, WorksEveryFrameInTheOrderTakenWithTheTimeOfItsStep) {
    qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromString(kFallingBall);
    Frames frames;
    qorDemo::SensorWorker worker(*simulation, [&](const qorSDK::SceneSnapshot& snapshot) {
        frames.add(snapshot.getTime());
    });
    std::vector<double> taken;
    for (int step = 1; step <= 200; ++step) {
        simulation->stepForward();
        if (step % 3 == 0) {
            worker.submit(*simulation);
            taken.push_back(simulation->getTime());
        }
    }
    worker.drain();
    EXPECT_EQ(frames.times(), taken);
    EXPECT_EQ(worker.failure(), "");
}

TEST(SensorWorker, TheSteppingThreadWaitsForAFreeSnapshotInsteadOfLosingAFrame) {
    qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromString(kFallingBall);
    Gate gate;
    Frames frames;
    qorDemo::SensorWorker worker(
        *simulation,
        [&](const qorSDK::SceneSnapshot& snapshot) {
            gate.passThrough();
            frames.add(snapshot.getTime());
        },
        2);
    std::vector<double> taken;
    for (int frame = 0; frame < 2; ++frame) {
        simulation->stepForward();
        worker.submit(*simulation);
        taken.push_back(simulation->getTime());
    }
    // One frame in work, held at the gate, and one waiting: both snapshots are taken.
    ASSERT_TRUE(qorTest::waitFor([&] { return gate.waiting() == 1; }));
    EXPECT_EQ(worker.waits(), 0u);
    simulation->stepForward();
    taken.push_back(simulation->getTime());
    std::atomic<bool> submitted{false};
    std::thread stepping([&] {
        worker.submit(*simulation);
        submitted = true;
    });
    ASSERT_TRUE(qorTest::waitFor([&] { return worker.waits() == 1; }))
        << "the third frame found a free snapshot with two held";
    EXPECT_FALSE(submitted) << "the third frame did not wait for the worker";
    gate.open();
    stepping.join();
    worker.drain();
    EXPECT_EQ(frames.times(), taken) << "a frame was lost or worked out of order";
}

TEST(SensorWorker, WhatTheWorkThrowsIsThrownOnTheSteppingThread) {
    qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromString(kFallingBall);
    const std::string lost = "Camera: cannot render: eglMakeCurrent failed with EGL error 0x3002";
    qorDemo::SensorWorker worker(*simulation, [&](const qorSDK::SceneSnapshot& /*snapshot*/) {
        throw std::runtime_error(lost);
    });
    simulation->stepForward();
    worker.submit(*simulation);
    worker.drain();
    EXPECT_EQ(worker.failure(), lost);
    try {
        worker.submit(*simulation);
        ADD_FAILURE() << "the failure was not thrown";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()), lost);
    }
}

}  // namespace
