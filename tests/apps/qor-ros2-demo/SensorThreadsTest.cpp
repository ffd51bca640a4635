// The demo's sensors on threads of their own, against the same sensors working inside the step:
// two bridges of the scene, stepped in lockstep with the ball thrown across the view, publish the
// same frames with the same stamps on the grid of their rates, so each frame shows the scene of
// its own step and none is lost. A reset publishes every frame of the old timeline before its
// clock. What the bridges send is seen as they send it (a publication observer), not through a
// reader that could drop a sample.

#include <gtest/gtest.h>

#include <cmath>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "DemoBridge.h"
#include "DemoBridgeTesting.h"
#include "DemoOptions.h"
#include "NetworkNamespaces.h"
#include "qorROS2/PublicationObserver.h"
#include "qorROS2/simulationInterfaces.h"

namespace {

// Each test runs in a network of its own (enterPrivateNetwork): no other test sees these domains.
constexpr std::int8_t kThreadsDomain = 104;
constexpr std::int8_t kInStepDomain = 107;
constexpr std::int8_t kResetDomain = 108;

constexpr double kCameraRate = 30.0;
constexpr double kLidarRate = 10.0;
constexpr std::int64_t kStepNs = 2'000'000;  // the scene's step
constexpr int kSteps = 250;                  // 0.5 s: 16 images and 6 scans, the first at 2 ms
constexpr int kReleaseStep = 26;  // after the second image's step (17), before the third's (34)

constexpr const char* kClock = "/clock";
constexpr const char* kImages = "/camera/image_raw";
constexpr const char* kInfos = "/camera/camera_info";
constexpr const char* kClouds = "/lidar/points";

// A sample of the clock or of a sensor, as its publisher sent it.
struct Sent {
    std::string topic;
    std::int64_t stampNs;  ///< the clock's time, or the header's stamp
    std::vector<std::uint8_t> payload;
};

// Every clock and sensor sample that the publishers made under it send, in the order sent.
// Made `holding`, it holds the thread that sends the first image until open() is called.
class SentSamples final : public qorROS2::PublicationObserver {
  public:
    explicit SentSamples(bool holding = false) : m_holding(holding) {}

    void advertised(const qorROS2::PublishedTopic& /*topic*/) override {}

    void published(const qorROS2::PublishedTopic& topic, const std::uint8_t* data,
                   std::size_t size) override {
        const bool watched = topic.name == kClock || topic.name == kImages ||
                             topic.name == kInfos || topic.name == kClouds;
        if (!watched || size < 12) {
            return;
        }
        if (topic.name == kImages) {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_opened.wait(lock, [&] { return !m_holding; });
        }
        // After the CDR header (little endian, as ours are encoded), the clock and each sensor
        // message start with their time: seconds (int32), nanoseconds (uint32).
        std::uint32_t sec = 0;
        std::uint32_t nanosec = 0;
        for (std::size_t i = 4; i-- > 0;) {
            sec = sec << 8U | data[4 + i];
            nanosec = nanosec << 8U | data[8 + i];
        }
        const std::int64_t stamp =
            static_cast<std::int64_t>(static_cast<std::int32_t>(sec)) * 1'000'000'000 + nanosec;
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_sent.push_back(Sent{topic.name, stamp, {data, data + size}});
    }

    void open() {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_holding = false;
        }
        m_opened.notify_all();
    }

    std::vector<Sent> all() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_sent;
    }

    std::vector<Sent> of(const std::string& topic) const {
        std::vector<Sent> chosen;
        for (const Sent& sent : all()) {
            if (sent.topic == topic) {
                chosen.push_back(sent);
            }
        }
        return chosen;
    }

  private:
    mutable std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_holding;
    std::vector<Sent> m_sent;
};

qorDemo::DemoOptions options(std::int8_t domain, bool threads) {
    qorDemo::DemoOptions chosen = qorDemoTest::smallDemo(domain, 160, 120);
    chosen.cameraRate = kCameraRate;
    chosen.lidarRate = kLidarRate;
    chosen.sensorThreads = threads;
    // Seen by the observer, without a reader.
    chosen.sensorsUnsubscribed = true;
    return chosen;
}

// A bridge whose publishers show what they send to `sent`.
std::unique_ptr<qorDemo::DemoBridge> observedBridge(const qorDemo::DemoOptions& chosen,
                                                    const std::shared_ptr<SentSamples>& sent) {
    qorROS2::observePublications(sent);
    auto bridge = std::make_unique<qorDemo::DemoBridge>(chosen);
    qorROS2::observePublications(nullptr);
    return bridge;
}

// Throws the ball up and across the camera's view, so that every frame differs from the last.
void throwBall(qorDemo::DemoBridge& bridge) {
    qorROS2::simulationInterfaces::srv::SetEntityState::Request request{};
    request.entity = "blue_ball";
    request.state.header.frame_id = "world";
    request.state.pose.position = {0.5, 0.4, 0.06};
    request.state.pose.orientation.w = 1.0;
    request.state.twist.linear = {0.0, -1.2, 1.5};
    const auto response = bridge.entities().setEntityState(request);
    ASSERT_EQ(response.result.result, 1) << response.result.error_message;
}

// Checks that `threads` sent the samples of `topic` that `inStep` sent, byte for byte, and that
// the i-th lies on the i-th multiple of `rate`'s period, in the step that reaches it.
void expectSameFrames(const SentSamples& threads, const SentSamples& inStep,
                      const std::string& topic, double rate, std::size_t expected) {
    SCOPED_TRACE(topic);
    const std::vector<Sent> ours = threads.of(topic);
    const std::vector<Sent> reference = inStep.of(topic);
    ASSERT_EQ(reference.size(), expected);
    ASSERT_EQ(ours.size(), expected) << "frames were lost or repeated";
    for (std::size_t i = 0; i < expected; ++i) {
        const auto due =
            static_cast<std::int64_t>(std::llround(static_cast<double>(i) / rate * 1e9));
        EXPECT_GE(ours[i].stampNs, due - kStepNs / 2) << "frame " << i;
        EXPECT_LT(ours[i].stampNs, due + kStepNs + kStepNs / 2) << "frame " << i;
        EXPECT_EQ(ours[i].stampNs, reference[i].stampNs) << "frame " << i;
        EXPECT_TRUE(ours[i].payload == reference[i].payload)
            << "frame " << i << " at " << ours[i].stampNs
            << " ns differs from the one rendered in its step";
    }
}

TEST(SensorThreads, PublishTheFramesAStepThatRendersItselfPublishes) {
    ASSERT_EQ(qorTest::enterPrivateNetwork(), "");
    // The first image is held until the simulation is well past the second's step, so that a
    // frame rendered from the scene as it stands at render time, rather than from its snapshot,
    // would show a later step.
    const auto threadsSent = std::make_shared<SentSamples>(true);
    const auto inStepSent = std::make_shared<SentSamples>();
    const std::unique_ptr<qorDemo::DemoBridge> threads =
        observedBridge(options(kThreadsDomain, true), threadsSent);
    const std::unique_ptr<qorDemo::DemoBridge> inStep =
        observedBridge(options(kInStepDomain, false), inStepSent);
    ASSERT_NO_FATAL_FAILURE(throwBall(*threads));
    ASSERT_NO_FATAL_FAILURE(throwBall(*inStep));
    for (int step = 1; step <= kSteps; ++step) {
        threads->step();
        inStep->step();
        if (step == kReleaseStep) {
            threadsSent->open();
        }
    }
    threads->finishSensors();
    EXPECT_EQ(threads->cameraFrames(), 16u);
    EXPECT_EQ(threads->lidarScans(), 6u);

    expectSameFrames(*threadsSent, *inStepSent, kImages, kCameraRate, 16);
    expectSameFrames(*threadsSent, *inStepSent, kInfos, kCameraRate, 16);
    expectSameFrames(*threadsSent, *inStepSent, kClouds, kLidarRate, 6);
    // The ball flies for about a quarter of a second: a frame that showed a later step than its
    // own would show it elsewhere.
    const std::vector<Sent> images = threadsSent->of(kImages);
    for (std::size_t i = 1; i < 8 && i < images.size(); ++i) {
        EXPECT_FALSE(images[i].payload == images[i - 1].payload)
            << "frames " << i - 1 << " and " << i << " are alike";
    }
}

TEST(SensorThreads, AResetPublishesEveryFrameOfTheOldTimelineBeforeItsClock) {
    ASSERT_EQ(qorTest::enterPrivateNetwork(), "");
    const auto sent = std::make_shared<SentSamples>();
    const std::unique_ptr<qorDemo::DemoBridge> bridge =
        observedBridge(options(kResetDomain, true), sent);
    // Up to the step that takes the image of 1/3 s: the reset comes while it is rendered.
    while (bridge->cameraFrames() < 11) {
        bridge->step();
    }
    ASSERT_EQ(bridge->simulationControl().reset(0).result, 1);
    for (int step = 0; step < 50; ++step) {
        bridge->step();
    }
    bridge->finishSensors();

    // A frame goes out after the clock its step sent (the time the step starts from); after the
    // reset's clock of 0, one of the old timeline would be far ahead of the clock.
    std::int64_t clock = -1;
    std::size_t resets = 0;
    std::size_t images = 0;
    for (const Sent& each : sent->all()) {
        if (each.topic == kClock) {
            resets += each.stampNs < clock ? 1U : 0U;
            clock = each.stampNs;
            continue;
        }
        images += each.topic == kImages ? 1U : 0U;
        // Stamps are rounded to whole nanoseconds: a step may come out one longer.
        EXPECT_LE(each.stampNs, clock + kStepNs + 1)
            << each.topic << " of " << each.stampNs << " ns after the clock of " << clock << " ns ("
            << resets << " resets seen)";
    }
    EXPECT_EQ(resets, 1u);
    EXPECT_EQ(images, bridge->cameraFrames()) << "every image taken is published";
    EXPECT_EQ(bridge->cameraFrames(), 11u + 4u) << "0.1 s after the reset: at 2 ms, 1/30 s, ...";
}

}  // namespace
