// What the demo's live web view (qor-ros2-demo --web) costs, in one run, on the demo's scene
// with its default sensors (camera 640x480 at 10 Hz, lidar 16x1024 at 10 Hz), stepped as the
// demo steps it:
//
//   rtf           simulated seconds per wall-clock second, as fast as possible (--fast), over 4
//                 simulated seconds, with camera, cloud and joints read
//                   - by raw subscribers in this process (the sensors render: the baseline)
//                   - by one web client through the feed (the same work, plus the web view)
//                 and without any reader (no rendering), for reference; the runs alternate,
//                 three each, and the medians are compared.
//   latency       from the demo's publish (the sample's source time, which the web view gives as
//                 its log time) to the frame's arrival at a web client on this machine, on the
//                 system clock both share: median and 99th percentile for JointState (every
//                 step) and the 640x480 image, over 6 simulated seconds paced in real time.
//   fan-out       steps per second with 20 web clients subscribed to the camera against a raw
//                 subscriber of the camera only, as fast as possible; the same with the web
//                 view's threads at the step loop's priority instead of the demo's niceness, to
//                 show what that buys; and with the 20 clients paced in real time, where 500
//                 steps per second are due. The clients are threads of this process at the
//                 step loop's priority, as browsers on the same machine would be.
//
// Goals: the web view within 5 % of the baseline for both ratios.

// Asio's scheduler, inlined, trips GCC's null dereference check; see WebTestClient.h.
#include "WebTestClient.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "DemoBridge.h"
#include "DemoOptions.h"
#include "DemoWebFeed.h"
#include "qorROS2/RawSubscriber.h"

namespace {

constexpr std::int8_t kDomain = 100;
constexpr int kStepsPerSecond = 500;  // the scene's 2 ms steps
constexpr int kRuns = 3;

std::int64_t nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0.0 : values[values.size() / 2];
}

double percentile(std::vector<double> values, double fraction) {
    std::sort(values.begin(), values.end());
    if (values.empty()) {
        return 0.0;
    }
    const auto index = static_cast<std::size_t>(fraction * static_cast<double>(values.size() - 1));
    return values[index];
}

// A web client that subscribes to `topics` and reads every frame on a thread of its own, keeping
// for each topic how long its samples took from their log time to their arrival.
class WebReader {
  public:
    WebReader(std::uint16_t port, const std::vector<std::string>& topics) : m_socket(port) {
        const auto advertised = m_socket.readTextWith("\"advertise\"");
        if (!advertised) {
            throw std::runtime_error("the server advertised nothing");
        }
        const auto channels = nlohmann::json::parse(*advertised).at("channels");
        nlohmann::json subscriptions = nlohmann::json::array();
        for (const auto& channel : channels) {
            const std::string topic = channel.at("topic");
            if (std::find(topics.begin(), topics.end(), topic) != topics.end()) {
                const auto id = static_cast<std::uint32_t>(m_topics.size() + 1);
                m_topics[id] = topic;
                subscriptions.push_back({{"id", id}, {"channelId", channel.at("id")}});
            }
        }
        m_socket.sendText(
            nlohmann::json{{"op", "subscribe"}, {"subscriptions", subscriptions}}.dump());
        m_thread = std::thread([this] { run(); });
    }
    ~WebReader() { stop(); }

    // Ends the connection and the reading.
    void stop() {
        if (m_thread.joinable()) {
            boost::system::error_code ignored;
            m_socket.socket().shutdown(boost::asio::ip::tcp::socket::shutdown_both, ignored);
            m_thread.join();
        }
    }

    // Latencies in milliseconds of `topic`; valid once stopped.
    std::vector<double> latencies(const std::string& topic) const {
        const auto found = m_latencies.find(topic);
        return found == m_latencies.end() ? std::vector<double>() : found->second;
    }

  private:
    // Reads each message into one buffer that is kept, as a client that shows frames would,
    // rather than into a new string each time.
    void run() {
        boost::beast::flat_buffer buffer;
        boost::beast::error_code error;
        for (m_socket.stream().read(buffer, error); !error; m_socket.stream().read(buffer, error)) {
            const std::int64_t arrived = nowNs();
            const auto* bytes = static_cast<const char*>(buffer.data().data());
            if (!m_socket.stream().got_text() && buffer.size() >= 13 && bytes[0] == 1) {
                std::uint32_t subscription = 0;
                std::int64_t logTime = 0;
                std::memcpy(&subscription, bytes + 1, sizeof subscription);
                std::memcpy(&logTime, bytes + 5, sizeof logTime);
                m_latencies[m_topics[subscription]].push_back(
                    static_cast<double>(arrived - logTime) / 1e6);
            }
            buffer.consume(buffer.size());
        }
    }

    qorWebTest::RawWebSocket m_socket;
    std::map<std::uint32_t, std::string> m_topics;
    std::map<std::string, std::vector<double>> m_latencies;
    std::thread m_thread;
};

// Raw subscribers of `topics` in this process, taking every sample on a thread of their own, as
// a ROS 2 node that reads them would.
class DdsReaders {
  public:
    DdsReaders(const qorDemo::DemoBridge& bridge, const std::vector<std::string>& topics) {
        for (const qorDemo::DemoTopic& topic : bridge.topics()) {
            if (std::find(topics.begin(), topics.end(), topic.name) != topics.end()) {
                m_readers.push_back(std::make_unique<qorROS2::RawSubscriber>(topic.name, topic.type,
                                                                             topic.qos, kDomain));
            }
        }
        m_thread = std::thread([this] {
            qorROS2::RawSample sample;
            while (!m_stop) {
                bool took = false;
                for (const auto& reader : m_readers) {
                    while (reader->takeSample(sample)) {
                        took = true;
                    }
                }
                if (!took) {
                    m_readers.front()->waitForSample(std::chrono::milliseconds(5));
                }
            }
        });
    }
    ~DdsReaders() {
        m_stop = true;
        m_thread.join();
    }

  private:
    std::vector<std::unique_ptr<qorROS2::RawSubscriber>> m_readers;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

// The demo's web view on any free port, its threads at `niceness` (the demo's unless told).
qorROS2::web::ServerOptions anyPort(int niceness = qorDemo::kWebViewNiceness) {
    qorROS2::web::ServerOptions options;
    options.port = 0;
    options.niceness = niceness;
    return options;
}

// Steps until the camera renders (its readers have matched), so that a run measures work only.
void untilRendering(qorDemo::DemoBridge& bridge) {
    const std::uint64_t frames = bridge.cameraFrames();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (bridge.cameraFrames() == frames && std::chrono::steady_clock::now() < deadline) {
        bridge.step();
    }
}

// Simulated seconds per wall-clock second over `seconds` of simulated time, unpaced.
double realTimeFactor(qorDemo::DemoBridge& bridge, qorDemo::DemoWebFeed* feed, double seconds) {
    const double start = bridge.time();
    const auto began = std::chrono::steady_clock::now();
    const int steps = static_cast<int>(seconds * kStepsPerSecond);
    for (int step = 0; step < steps; ++step) {
        if (feed != nullptr) {
            feed->setTime(bridge.time());
        }
        bridge.step();
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - began;
    return (bridge.time() - start) / wall.count();
}

void compareRealTimeFactors(qorDemo::DemoBridge& bridge) {
    const std::vector<std::string> topics = {"/camera/image_raw", "/lidar/points", "/joint_states"};
    std::vector<double> none;
    std::vector<double> dds;
    std::vector<double> web;
    for (int run = 0; run < kRuns; ++run) {
        none.push_back(realTimeFactor(bridge, nullptr, 4.0));
        {
            DdsReaders readers(bridge, topics);
            untilRendering(bridge);
            dds.push_back(realTimeFactor(bridge, nullptr, 4.0));
        }
        {
            qorDemo::DemoWebFeed feed(bridge.topics(), kDomain, anyPort());
            WebReader client(feed.port(), topics);
            untilRendering(bridge);
            web.push_back(realTimeFactor(bridge, &feed, 4.0));
        }
        std::printf("  run %d: rtf no reader %.2f, ROS 2 readers %.2f, web client %.2f\n", run + 1,
                    none.back(), dds.back(), web.back());
    }
    const double ratio = median(web) / median(dds);
    std::printf("rtf (median of %d): no reader %.2f, ROS 2 readers %.2f, web client %.2f\n", kRuns,
                median(none), median(dds), median(web));
    std::printf("rtf web / ROS 2 readers: %.3f (goal >= 0.95: %s)\n", ratio,
                ratio >= 0.95 ? "met" : "missed");
}

// Steps `seconds` of simulated time paced against the wall clock as the demo at --rate 1 does, and
// returns the steps made per wall-clock second.
double pacedStepRate(qorDemo::DemoBridge& bridge, qorDemo::DemoWebFeed& feed, double seconds) {
    const auto start = std::chrono::steady_clock::now();
    const double startTime = bridge.time();
    const int steps = static_cast<int>(seconds * kStepsPerSecond);
    for (int step = 0; step < steps; ++step) {
        feed.setTime(bridge.time());
        bridge.step();
        std::this_thread::sleep_until(
            start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                        std::chrono::duration<double>(bridge.time() - startTime)));
    }
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
    return steps / wall.count();
}

void measureLatency(qorDemo::DemoBridge& bridge) {
    std::vector<double> joints;
    std::vector<double> images;
    {
        qorDemo::DemoWebFeed feed(bridge.topics(), kDomain, anyPort());
        WebReader client(feed.port(), {"/joint_states", "/camera/image_raw"});
        untilRendering(bridge);
        pacedStepRate(bridge, feed, 6.0);
        // What is on its way arrives.
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        client.stop();
        joints = client.latencies("/joint_states");
        images = client.latencies("/camera/image_raw");
    }
    std::printf("latency JointState: median %.3f ms, p99 %.3f ms (%zu frames)\n", median(joints),
                percentile(joints, 0.99), joints.size());
    std::printf("latency Image 640x480: median %.3f ms, p99 %.3f ms (%zu frames)\n", median(images),
                percentile(images, 0.99), images.size());
}

// `count` web clients of the camera.
std::vector<std::unique_ptr<WebReader>> cameraClients(const qorDemo::DemoWebFeed& feed, int count) {
    std::vector<std::unique_ptr<WebReader>> clients;
    for (int client = 0; client < count; ++client) {
        clients.push_back(std::make_unique<WebReader>(
            feed.port(), std::vector<std::string>{"/camera/image_raw"}));
    }
    return clients;
}

// Steps per second, as fast as possible, with 20 web clients of the camera served by threads
// at `niceness`.
double fanOutStepRate(qorDemo::DemoBridge& bridge, int niceness) {
    qorDemo::DemoWebFeed feed(bridge.topics(), kDomain, anyPort(niceness));
    const auto clients = cameraClients(feed, 20);
    untilRendering(bridge);
    return realTimeFactor(bridge, &feed, 4.0) * kStepsPerSecond;
}

void compareFanOut(qorDemo::DemoBridge& bridge) {
    std::vector<double> dds;
    std::vector<double> web;
    std::vector<double> level;
    for (int run = 0; run < kRuns; ++run) {
        {
            DdsReaders readers(bridge, {"/camera/image_raw"});
            untilRendering(bridge);
            dds.push_back(realTimeFactor(bridge, nullptr, 4.0) * kStepsPerSecond);
        }
        web.push_back(fanOutStepRate(bridge, qorDemo::kWebViewNiceness));
        level.push_back(fanOutStepRate(bridge, 0));
        std::printf(
            "  run %d: steps/s ROS 2 reader %.0f, 20 web clients %.0f (served at the "
            "step loop's priority: %.0f)\n",
            run + 1, dds.back(), web.back(), level.back());
    }
    {
        qorDemo::DemoWebFeed feed(bridge.topics(), kDomain, anyPort());
        const auto clients = cameraClients(feed, 20);
        untilRendering(bridge);
        std::printf("steps/s at --rate 1 with 20 web clients of the camera: %.0f (due: %d)\n",
                    pacedStepRate(bridge, feed, 4.0), kStepsPerSecond);
    }
    const double ratio = median(web) / median(dds);
    std::printf(
        "steps/s (median of %d): ROS 2 reader of the camera %.0f, 20 web clients %.0f, "
        "served at the step loop's priority %.0f\n",
        kRuns, median(dds), median(web), median(level));
    std::printf(
        "steps/s 20 web clients / ROS 2 reader: %.3f (goal >= 0.95: %s); at the step "
        "loop's priority: %.3f\n",
        ratio, ratio >= 0.95 ? "met" : "missed", median(level) / median(dds));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1) {
        std::fprintf(stderr,
                     "usage: %s\n  takes no arguments; measures the demo's web view (see the top "
                     "of DemoWebBenchmark.cpp)\n",
                     argv[0]);
        return 2;
    }
    qorDemo::DemoOptions options;
    options.scenePath = QOR_DEMO_SCENE;
    options.domainId = kDomain;
    options.asFastAsPossible = true;
    qorDemo::DemoBridge bridge(options);
    compareRealTimeFactors(bridge);
    measureLatency(bridge);
    compareFanOut(bridge);
    return 0;
}
