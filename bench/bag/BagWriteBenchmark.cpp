// Write throughput of bags: a robot's recording (640x480 rgb8 images, point clouds, joint
// states), written by McapWriter and by BagWriter with each chunk compression, beside the same
// bytes written with write(2) to the same directory, which is the baseline the ratios are
// against. The clock stops when the writer has closed its files, not when the disk has them:
// what is measured is what writing costs a recorder, as the disk then takes the same bytes from
// the page cache whoever wrote them (and flushing made one run differ from the next by 5x on a
// shared disk). Prints MB/s of message bytes and the file's size.
// Writes in the current directory. Runs alone: qorBagWriteBenchmark [frames] (150 by default).

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "CountArgument.h"
#include "qorROS2/MessageCodec.h"
#include "qorROS2/bag/BagWriter.h"
#include "qorROS2/bag/McapWriter.h"

namespace {

using Clock = std::chrono::steady_clock;
using Bytes = std::vector<std::uint8_t>;
using namespace qorROS2;
using bag::McapCompression;

struct Message {
    std::size_t topic;  // index into kTopics
    Bytes bytes;
};

struct Topic {
    const char* name;
    const char* type;
};
const Topic kTopics[] = {{"/camera/image_raw", "sensor_msgs/msg/Image"},
                         {"/lidar/points", "sensor_msgs/msg/PointCloud2"},
                         {"/joint_states", "sensor_msgs/msg/JointState"}};

stdMsgs::Header header(std::uint32_t frame, const char* id) {
    return {{static_cast<std::int32_t>(frame / 30), frame % 30 * 33'333'333}, id};
}

// A camera's frame: smooth shading plus sensor noise, which compresses as real images do
// (somewhat), not as zeros or white noise.
Bytes image(std::uint32_t frame, std::mt19937& random) {
    sensorMsgs::Image image{header(frame, "camera_optical"), 480, 640, "rgb8", 0, 640 * 3, {}};
    image.data.resize(640 * 480 * 3);
    for (std::size_t y = 0; y < 480; ++y) {
        for (std::size_t x = 0; x < 640 * 3; ++x) {
            const std::size_t shade = (x / 3 + y + frame * 4u) % 256;
            image.data[y * 640 * 3 + x] = static_cast<std::uint8_t>(shade + random() % 8);
        }
    }
    return MessageCodec<sensorMsgs::Image>::encode(image);
}

// 10,000 points of x, y, z, intensity as float32 on a noisy sphere.
Bytes cloud(std::uint32_t frame, std::mt19937& random) {
    constexpr std::uint32_t points = 10'000;
    sensorMsgs::PointCloud2 cloud{
        header(frame, "lidar"), 1, points, {}, false, 16, 16 * points, {}, true};
    for (const auto* name : {"x", "y", "z", "intensity"}) {
        cloud.fields.push_back({name, static_cast<std::uint32_t>(cloud.fields.size() * 4), 7, 1});
    }
    std::normal_distribution<float> noise(0.0f, 0.01f);
    cloud.data.resize(16 * points);
    for (std::uint32_t i = 0; i < points; ++i) {
        const float angle = 0.000628f * static_cast<float>(i);
        const float values[4] = {5.0f * std::cos(angle) + noise(random),
                                 5.0f * std::sin(angle) + noise(random),
                                 0.001f * static_cast<float>(i % 64) + noise(random),
                                 static_cast<float>(random() % 256)};
        std::memcpy(&cloud.data[i * 16], values, sizeof values);
    }
    return MessageCodec<sensorMsgs::PointCloud2>::encode(cloud);
}

Bytes joints(std::uint32_t frame, std::mt19937& random) {
    sensorMsgs::JointState joints{header(frame, ""), {}, {}, {}, {}};
    for (int j = 0; j < 7; ++j) {
        joints.name.push_back("joint_" + std::to_string(j));
        joints.position.push_back(std::uniform_real_distribution<double>(-3, 3)(random));
        joints.velocity.push_back(std::uniform_real_distribution<double>(-1, 1)(random));
        joints.effort.push_back(std::uniform_real_distribution<double>(-50, 50)(random));
    }
    return MessageCodec<sensorMsgs::JointState>::encode(joints);
}

// Per frame of a 30 Hz camera: one image, one cloud (a 10 Hz lidar, every third frame) and ten
// joint states (300 Hz).
std::vector<Message> recording(std::uint32_t frames) {
    std::mt19937 random(42);
    std::vector<Message> messages;
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
        messages.push_back({0, image(frame, random)});
        if (frame % 3 == 0) {
            messages.push_back({1, cloud(frame, random)});
        }
        for (int j = 0; j < 10; ++j) {
            messages.push_back({2, joints(frame, random)});
        }
    }
    return messages;
}

std::uint64_t timeOf(std::size_t index) {
    return 1'700'000'000'000'000'000ULL + index * 3'333'333ULL;
}

std::uint64_t sizeOf(const std::filesystem::path& path) {
    std::uint64_t size = 0;
    for (const auto& file : std::filesystem::recursive_directory_iterator(path)) {
        size += file.is_regular_file() ? file.file_size() : 0;
    }
    return size;
}

void writeRaw(const std::filesystem::path& directory, const std::vector<Message>& messages) {
    const int fd = ::open((directory / "raw.bin").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0) {
        std::perror("raw.bin");
        std::exit(1);
    }
    for (const auto& message : messages) {
        std::size_t done = 0;
        while (done < message.bytes.size()) {
            const ssize_t wrote =
                ::write(fd, message.bytes.data() + done, message.bytes.size() - done);
            if (wrote < 0) {
                std::perror("write");
                std::exit(1);
            }
            done += static_cast<std::size_t>(wrote);
        }
    }
    ::close(fd);
}

void writeMcap(const std::filesystem::path& directory, const std::vector<Message>& messages,
               McapCompression compression) {
    bag::McapWriter writer((directory / "bag.mcap").string(), "ros2", {768 * 1024, compression});
    std::vector<std::uint16_t> channels;
    for (const auto& topic : kTopics) {
        channels.push_back(writer.addChannel(topic.name, 0, "cdr"));
    }
    for (std::size_t i = 0; i < messages.size(); ++i) {
        writer.addMessage(channels[messages[i].topic], static_cast<std::uint32_t>(i), timeOf(i),
                          timeOf(i), messages[i].bytes.data(), messages[i].bytes.size());
    }
    writer.close();
}

// BagWriter queues what a recorder receives; a benchmark that outran its queue would measure
// drops, so it keeps at most 64 messages waiting.
void writeBag(const std::filesystem::path& directory, const std::vector<Message>& messages,
              McapCompression compression) {
    bag::BagWriterOptions options;
    options.compression = compression;
    bag::BagWriter writer((directory / "bag").string(), options);
    for (const auto& topic : kTopics) {
        writer.addTopic({topic.name, topic.type, "cdr", {}, "", ""});
    }
    for (std::size_t i = 0; i < messages.size(); ++i) {
        while (i > writer.written() + 64) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        const auto time = static_cast<std::int64_t>(timeOf(i));
        if (!writer.write(kTopics[messages[i].topic].name, messages[i].bytes.data(),
                          messages[i].bytes.size(), time, time)) {
            std::fprintf(stderr, "BagWriter dropped message %zu: %s\n", i, writer.error().c_str());
        }
    }
    writer.close();
}

}  // namespace

int main(int argc, char** argv) {
    int frames = 150;
    if (!qorROS2::bench::readCountArgument(argc, argv, "qorBagWriteBenchmark [frames]", frames)) {
        return 2;
    }
    const std::filesystem::path base = std::filesystem::current_path();
    const std::vector<Message> messages = recording(static_cast<std::uint32_t>(frames));
    std::uint64_t bytes = 0;
    for (const auto& message : messages) {
        bytes += message.bytes.size();
    }
    std::printf(
        "%zu messages, %.1f MB (%d frames: 640x480 rgb8 images, 10,000-point clouds, "
        "JointStates), written to %s\n",
        messages.size(), static_cast<double>(bytes) / 1e6, frames, base.c_str());

    struct Run {
        std::string name;
        std::function<void(const std::filesystem::path&)> write;
    };
    std::vector<Run> runs = {{"write(2)", [&](const auto& d) { writeRaw(d, messages); }}};
    const std::pair<const char*, McapCompression> compressions[] = {
        {"none", McapCompression::none},
        {"lz4", McapCompression::lz4},
        {"zstd", McapCompression::zstd}};
    for (const auto& [name, compression] : compressions) {
        runs.push_back({std::string("McapWriter ") + name,
                        [&, c = compression](const auto& d) { writeMcap(d, messages, c); }});
    }
    for (const auto& [name, compression] : compressions) {
        runs.push_back({std::string("BagWriter ") + name,
                        [&, c = compression](const auto& d) { writeBag(d, messages, c); }});
    }
    // Each writer right after a write(2) of the same bytes, its ratio against that one: the
    // disk's pace drifts on a shared machine, and a neighbour is the fairest comparison.
    const auto measure = [&](const Run& run, std::uint64_t& fileBytes) {
        const std::filesystem::path directory = base / "qorBagWriteBenchmark.scratch";
        std::filesystem::remove_all(directory);
        std::filesystem::create_directories(directory);
        const auto start = Clock::now();
        run.write(directory);
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        fileBytes = sizeOf(directory);
        std::filesystem::remove_all(directory);
        return static_cast<double>(bytes) / 1e6 / seconds;
    };
    std::printf("%-18s %10s %14s %8s %10s\n", "writer", "MB/s", "write(2) MB/s", "ratio",
                "file MB");
    // A first write(2) unmeasured: the first files of a run are slow to make, whoever writes.
    std::uint64_t warmUp = 0;
    (void)measure(runs[0], warmUp);
    for (std::size_t r = 1; r < runs.size(); ++r) {
        std::uint64_t fileBytes = 0;
        const double baseline = measure(runs[0], fileBytes);
        const double rate = measure(runs[r], fileBytes);
        std::printf("%-18s %10.1f %14.1f %8.2f %10.1f\n", runs[r].name.c_str(), rate, baseline,
                    rate / baseline, static_cast<double>(fileBytes) / 1e6);
        std::fflush(stdout);
    }
    return 0;
}
