// A 1080p rgb8 camera at 30 Hz recorded by `qor-ros2 bag record` in a process of its own: this
// program publishes the frames as a ROS 2 camera driver does (reliable, keep last 10), for 60 s,
// then stops the recorder with Ctrl+C and counts the frames its bag holds. Prints frames
// published against frames recorded (the goal: none lost), the frames the publisher sent late,
// and what the recorder said beyond its [INFO] lines. The bag (about 11 GB) is written in the
// current directory and removed at the end. ROS domain 34; runs alone: qorBagRecordStreamBenchmark
// [seconds] (60).

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CountArgument.h"
#include "qorROS2/MessageCodec.h"
#include "qorROS2/QOS.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/bag/BagMetadata.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::int8_t kDomain = 34;
constexpr const char* kTopic = "/bench/camera/image_raw";
constexpr int kRate = 30;

/// Starts the recorder with its output in `log`; -1 when it cannot be started.
pid_t startRecorder(const std::string& bag, const std::string& log) {
    const pid_t pid = ::fork();
    if (pid == 0) {
        const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        ::dup2(out, STDOUT_FILENO);
        ::dup2(out, STDERR_FILENO);
        ::setenv("ROS_DOMAIN_ID", std::to_string(kDomain).c_str(), 1);
        ::execl(QOR_ROS2_CLI, QOR_ROS2_CLI, "bag", "record", kTopic, "-o", bag.c_str(),
                static_cast<char*>(nullptr));
        std::_Exit(127);
    }
    return pid;
}

std::string fileText(const std::string& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::uint8_t> frame() {
    qorROS2::sensorMsgs::Image image{};
    image.header.frame_id = "camera_optical";
    image.height = 1080;
    image.width = 1920;
    image.encoding = "rgb8";
    image.step = 1920 * 3;
    image.data.resize(static_cast<std::size_t>(image.step) * image.height);
    for (std::size_t i = 0; i < image.data.size(); ++i) {
        image.data[i] = static_cast<std::uint8_t>(i / 7);
    }
    return qorROS2::MessageCodec<qorROS2::sensorMsgs::Image>::encode(image);
}

}  // namespace

int main(int argc, char** argv) {
    int seconds = 60;
    if (!qorROS2::bench::readCountArgument(argc, argv, "qorBagRecordStreamBenchmark [seconds]",
                                           seconds)) {
        return 2;
    }
    const std::string bag =
        (std::filesystem::current_path() / "qorBagRecordStreamBenchmark.bag").string();
    const std::string log = bag + ".log";
    std::filesystem::remove_all(bag);

    const qorROS2::QOS cameraQos{qorROS2::QOS::VOLATILE, qorROS2::QOS::RELIABLE,
                                 qorROS2::QOS::KEEP_LAST, 10};
    qorROS2::RawPublisher publisher(kTopic, "sensor_msgs/msg/Image", cameraQos, kDomain);
    const pid_t recorder = startRecorder(bag, log);
    if (recorder < 0) {
        std::perror("fork");
        return 1;
    }
    const auto matchDeadline = Clock::now() + std::chrono::seconds(30);
    while (publisher.matchedSubscriptions() == 0 && Clock::now() < matchDeadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    if (publisher.matchedSubscriptions() == 0) {
        std::fprintf(stderr, "the recorder never subscribed:\n%s\n", fileText(log).c_str());
        ::kill(recorder, SIGKILL);
        ::waitpid(recorder, nullptr, 0);
        std::filesystem::remove_all(bag);
        return 1;
    }

    std::vector<std::uint8_t> bytes = frame();
    const int frames = seconds * kRate;
    int published = 0;
    int refused = 0;
    int late = 0;
    const auto start = Clock::now();
    for (int i = 0; i < frames; ++i) {
        const auto due = start + std::chrono::microseconds(1'000'000LL * i / kRate);
        if (Clock::now() > due + std::chrono::milliseconds(1000 / kRate)) {
            ++late;  // more than a frame's period behind: the sender, not the recorder, lagged
        }
        std::this_thread::sleep_until(due);
        const std::int32_t stamp = i;  // header.stamp.sec: every frame told apart
        std::memcpy(bytes.data() + 4, &stamp, sizeof stamp);
        if (publisher.publish(bytes)) {
            ++published;
        } else {
            ++refused;
        }
    }
    const double sendSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    const bool acknowledged = publisher.waitForAcknowledgments(std::chrono::seconds(60));
    ::kill(recorder, SIGINT);
    int status = 0;
    ::waitpid(recorder, &status, 0);

    std::uint64_t recorded = 0;
    std::uint64_t bagBytes = 0;
    try {
        const auto metadata = qorROS2::bag::readBagMetadata(bag);
        recorded = metadata.messageCount;
        for (const auto& file : metadata.files) {
            bagBytes += std::filesystem::file_size(bag + "/" + file.path);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "no bag metadata: %s\n", error.what());
    }
    const std::string output = fileText(log);
    std::printf("1920x1080 rgb8 at %d Hz for %d s (%.1f MB/s): %zu bytes a frame\n", kRate, seconds,
                static_cast<double>(bytes.size()) * kRate / 1e6, bytes.size());
    std::printf("published %d (refused %d, %d sent over a period late) in %.1f s, %s\n", published,
                refused, late, sendSeconds,
                acknowledged ? "all acknowledged" : "NOT all acknowledged within 60 s");
    std::printf("recorded  %llu (lost %lld), bag %.1f MB, recorder exit %d\n",
                static_cast<unsigned long long>(recorded),
                static_cast<long long>(published) - static_cast<long long>(recorded),
                static_cast<double>(bagBytes) / 1e6,
                WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status));
    // The recorder counts what its cache dropped; the rest of the loss happened before, in the
    // middleware's histories (keep last 10 on both sides), while the recorder was not taking.
    long long cacheLost = 0;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.find("[INFO]") == std::string::npos) {
            std::printf("recorder: %s\n", line.c_str());
        }
        const auto total = line.find("Total lost: ");
        if (total != std::string::npos) {
            cacheLost = std::atoll(line.c_str() + total + 12);
        }
    }
    std::printf("lost in the recorder's cache %lld, before it %lld\n", cacheLost,
                static_cast<long long>(published) - static_cast<long long>(recorded) - cacheLost);
    std::filesystem::remove_all(bag);
    std::filesystem::remove(log);
    return recorded == static_cast<std::uint64_t>(published) ? 0 : 1;
}
