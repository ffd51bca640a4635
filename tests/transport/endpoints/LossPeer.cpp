// One side of the packet-loss test: sends, or receives and tallies, four streams at once.
//
//   qorLossPeer send <domain> <prefix> <seconds>      then lingers 8 s for repairs to finish
//   qorLossPeer receive <domain> <prefix> <seconds>   or until nothing came for 10 s
//
// Streams (topics under <prefix>): commands (JointState, reliable, 50 Hz), clock (Clock,
// reliable, 500 Hz), image (a 2 MB Image, reliable, 2 Hz) and states (JointState, best effort,
// 500 Hz). Reliable streams keep ten seconds of samples on both sides, as a ROS 2 node that
// must not miss one asks for: with a history of one sample, reliable only means that the newest
// sample arrives. Every sample carries its sequence number and the wall-clock time it
// was sent. The sender prints `sent <stream> <count>`; the receiver prints, per stream,
// `received <stream> <count> <out of order> <p50 us> <p99 us> <max us>`.

#include <time.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"

namespace {

using qorROS2::Publisher;
using qorROS2::QOS;
using qorROS2::Subscriber;
using qorROS2::rosgraphMsgs::Clock;
using qorROS2::sensorMsgs::Image;
using qorROS2::sensorMsgs::JointState;

constexpr std::uint32_t kImageWidth = 1024;
constexpr std::uint32_t kImageHeight = 683;  // 1024 x 683 x 3 bytes: 2 MiB and a little more

// Ten seconds of history at the stream's rate, so that a repair that takes many rounds (a 2 MB
// image is 32 datagrams of 45 IP fragments each, and losing one fragment loses its datagram)
// still finds the lost sample in the writer's history on a loaded machine.
QOS reliable(std::uint32_t samplesPerSecond) {
    return QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10 * samplesPerSecond};
}

// Two seconds of history at 500 Hz: a receiving thread that a busy machine holds back for a
// moment must not lose what did arrive, so that the stream loses what the network drops only.
QOS bestEffort() {
    return QOS{QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 1000};
}

std::int64_t wallNanoseconds() {
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

void stamp(qorROS2::builtinInterfaces::Time& time, std::int64_t nanoseconds) {
    time.sec = static_cast<std::int32_t>(nanoseconds / 1000000000LL);
    time.nanosec = static_cast<std::uint32_t>(nanoseconds % 1000000000LL);
}

std::int64_t nanosecondsOf(const qorROS2::builtinInterfaces::Time& time) {
    return static_cast<std::int64_t>(time.sec) * 1000000000LL + time.nanosec;
}

// Sequence numbers travel in frame_id, which every stream but the clock has; the clock's own
// time is its send time, so its order is the order of its times.
void number(std::string& frame, std::uint64_t sequence) {
    frame = std::to_string(sequence);
}

template <typename Condition>
bool waitUntil(Condition condition, std::chrono::seconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

int send(std::int8_t domain, const std::string& prefix, int seconds) {
    Publisher<JointState> commands(prefix + "/commands", reliable(50), domain);
    Publisher<Clock> clock(prefix + "/clock", reliable(500), domain);
    Publisher<Image> image(prefix + "/image", reliable(2), domain);
    Publisher<JointState> states(prefix + "/states", bestEffort(), domain);
    if (!waitUntil(
            [&] {
                return commands.matchedSubscriptions() > 0 && clock.matchedSubscriptions() > 0 &&
                       image.matchedSubscriptions() > 0 && states.matchedSubscriptions() > 0;
            },
            std::chrono::seconds(60))) {
        std::fprintf(stderr, "qorLossPeer: the receiver was not found\n");
        return 1;
    }
    // Let the receiver's side finish matching too.
    std::this_thread::sleep_for(std::chrono::seconds(1));

    JointState command{};
    command.name = {"elbow"};
    command.position = {0.0};
    Clock time{};
    Image picture{};
    picture.width = kImageWidth;
    picture.height = kImageHeight;
    picture.encoding = "rgb8";
    picture.step = kImageWidth * 3;
    picture.data.assign(std::size_t{kImageWidth} * kImageHeight * 3, 0x5a);
    JointState state{};
    state.name = {"elbow"};
    state.position = {0.0};

    std::uint64_t sent[4] = {0, 0, 0, 0};
    const auto period = std::chrono::milliseconds(2);
    const int ticks = seconds * 500;
    auto next = std::chrono::steady_clock::now();
    for (int tick = 0; tick < ticks; ++tick) {
        const std::int64_t now = wallNanoseconds();
        if (tick % 10 == 0) {
            number(command.header.frame_id, sent[0]);
            stamp(command.header.stamp, now);
            sent[0] += commands.sendMessage(command) ? 1U : 0U;
        }
        stamp(time.clock, now);
        sent[1] += clock.sendMessage(time) ? 1U : 0U;
        if (tick % 250 == 0) {
            number(picture.header.frame_id, sent[2]);
            stamp(picture.header.stamp, now);
            sent[2] += image.sendMessage(picture) ? 1U : 0U;
        }
        number(state.header.frame_id, sent[3]);
        stamp(state.header.stamp, now);
        sent[3] += states.sendMessage(state) ? 1U : 0U;
        next += period;
        std::this_thread::sleep_until(next);
    }
    std::printf("sent commands %llu\nsent clock %llu\nsent image %llu\nsent states %llu\n",
                static_cast<unsigned long long>(sent[0]), static_cast<unsigned long long>(sent[1]),
                static_cast<unsigned long long>(sent[2]), static_cast<unsigned long long>(sent[3]));
    std::fflush(stdout);
    // Reliable samples lost on the way are sent again while the writers live.
    std::this_thread::sleep_for(std::chrono::seconds(8));
    return 0;
}

// What arrived on one stream.
struct Tally {
    std::uint64_t count = 0;
    std::uint64_t outOfOrder = 0;
    std::int64_t last = -1;  // the last sequence number (or clock time) seen
    std::vector<std::int64_t> latencies;

    void add(std::int64_t order, std::int64_t sentAt) {
        ++count;
        if (order <= last) {
            ++outOfOrder;
        }
        last = std::max(last, order);
        latencies.push_back(wallNanoseconds() - sentAt);
    }

    void print(const char* stream) {
        std::sort(latencies.begin(), latencies.end());
        const auto at = [&](double fraction) -> long long {
            if (latencies.empty()) {
                return -1;
            }
            const auto index =
                static_cast<std::size_t>(fraction * static_cast<double>(latencies.size() - 1));
            return static_cast<long long>(latencies[index] / 1000);
        };
        std::printf("received %s %llu %llu %lld %lld %lld\n", stream,
                    static_cast<unsigned long long>(count),
                    static_cast<unsigned long long>(outOfOrder), at(0.5), at(0.99), at(1.0));
    }
};

std::int64_t sequenceOf(const std::string& frame) {
    return std::strtoll(frame.c_str(), nullptr, 10);
}

int receive(std::int8_t domain, const std::string& prefix, int seconds) {
    Subscriber<JointState> commands(prefix + "/commands", reliable(50), domain);
    Subscriber<Clock> clock(prefix + "/clock", reliable(500), domain);
    Subscriber<Image> image(prefix + "/image", reliable(2), domain);
    Subscriber<JointState> states(prefix + "/states", bestEffort(), domain);
    Tally tallies[4];
    JointState command{};
    Clock time{};
    Image picture{};
    JointState state{};
    // Ends at the deadline, or once nothing has arrived for 10 s after the streams began: the
    // sender has stopped and every repair has come in.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    auto lastArrival = std::chrono::steady_clock::time_point::max();
    while (std::chrono::steady_clock::now() < end) {
        if (lastArrival != std::chrono::steady_clock::time_point::max() &&
            std::chrono::steady_clock::now() - lastArrival > std::chrono::seconds(10)) {
            break;
        }
        bool any = false;
        while (commands.receiveMessage(command)) {
            tallies[0].add(sequenceOf(command.header.frame_id),
                           nanosecondsOf(command.header.stamp));
            any = true;
        }
        while (clock.receiveMessage(time)) {
            tallies[1].add(nanosecondsOf(time.clock), nanosecondsOf(time.clock));
            any = true;
        }
        while (image.receiveMessage(picture)) {
            const bool intact = picture.data.size() == std::size_t{kImageWidth} * kImageHeight * 3;
            tallies[2].add(intact ? sequenceOf(picture.header.frame_id) : -1,
                           nanosecondsOf(picture.header.stamp));
            any = true;
        }
        while (states.receiveMessage(state)) {
            tallies[3].add(sequenceOf(state.header.frame_id), nanosecondsOf(state.header.stamp));
            any = true;
        }
        if (any) {
            lastArrival = std::chrono::steady_clock::now();
        } else {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }
    tallies[0].print("commands");
    tallies[1].print("clock");
    tallies[2].print("image");
    tallies[3].print("states");
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::fprintf(stderr, "usage: qorLossPeer send|receive <domain> <prefix> <seconds>\n");
        return 2;
    }
    const std::string mode = argv[1];
    const auto domain = static_cast<std::int8_t>(std::atoi(argv[2]));
    const std::string prefix = argv[3];
    const int seconds = std::atoi(argv[4]);
    if (mode == "send") {
        return send(domain, prefix, seconds);
    }
    if (mode == "receive") {
        return receive(domain, prefix, seconds);
    }
    std::fprintf(stderr, "qorLossPeer: unknown mode '%s'\n", mode.c_str());
    return 2;
}
