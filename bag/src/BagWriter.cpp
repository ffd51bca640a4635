#include "qorROS2/bag/BagWriter.h"

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <limits>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "qorROS2/bag/BagError.h"
#include "qorROS2/bag/McapWriter.h"

namespace qorROS2::bag {

namespace {

// rosbag2 starts every time span at the largest time, so that the first message sets it; a bag
// without messages keeps it.
constexpr std::int64_t kNoTime = std::numeric_limits<std::int64_t>::max();

struct QueuedItem {
    std::size_t topic = 0;
    bool registration = false;  // a topic to register rather than a message
    std::vector<std::uint8_t> data;
    std::int64_t receiveTimeNs = 0;
    std::int64_t sendTimeNs = 0;
};

std::string distributionFor(const BagWriterOptions& options) {
    if (!options.rosDistro.empty()) {
        return options.rosDistro;
    }
    const char* fromEnvironment = std::getenv("ROS_DISTRO");
    if (fromEnvironment != nullptr && *fromEnvironment != '\0') {
        return fromEnvironment;
    }
    return options.metadataVersion == kHumbleMetadataVersion ? "humble" : "jazzy";
}

// The bag's name as rosbag2 takes it for its files: the directory's last component.
std::string bagName(const std::string& directory) {
    std::filesystem::path path(directory);
    if (!path.has_filename()) {
        path = path.parent_path();
    }
    return path.filename().string();
}

// The metadata as the rosbag2 Metadata record of a version 9 file holds it: the map under
// metadata.yaml's top key, indented from the left margin.
std::string serializedMetadata(const BagMetadata& metadata) {
    const std::string text = bagMetadataToYaml(metadata);
    std::string inner;
    std::size_t lineStart = text.find('\n');
    while (lineStart != std::string::npos && lineStart + 1 < text.size()) {
        const std::size_t next = text.find('\n', lineStart + 1);
        std::string line = text.substr(
            lineStart + 1, next == std::string::npos ? std::string::npos : next - lineStart - 1);
        inner += line.rfind("  ", 0) == 0 ? line.substr(2) : line;
        inner += '\n';
        lineStart = next;
    }
    return inner;
}

}  // namespace

struct BagWriter::Impl {
    std::string directory;
    std::string name;
    BagWriterOptions options;
    std::string distribution;

    mutable std::mutex mutex;
    std::condition_variable wake;
    std::condition_variable room;  // the writing thread took a message or stopped
    std::deque<QueuedItem> queue;
    std::size_t queuedBytes = 0;
    bool closing = false;
    bool closed = false;
    std::string error;
    std::map<std::string, std::size_t> topicIndex;
    std::vector<BagTopic> topics;
    std::map<std::string, std::uint64_t> drops;
    BagMetadata metadata;  // counts and time spans, kept by the writing thread
    std::uint64_t written = 0;

    // The writing thread's alone while it runs.
    std::unique_ptr<McapWriter> file;
    std::map<std::string, std::uint16_t> schemaIds;
    std::vector<std::uint16_t> channelIds;  // per registered topic in this file
    std::vector<std::size_t> topicOrder;    // registered topics, as metadata lists them
    bool firstMessage = true;
    std::thread thread;

    BagMetadata finishedMetadata() const {
        BagMetadata finished = metadata;
        finished.messageCount = 0;
        for (const auto& topic : finished.topicsWithMessageCount) {
            finished.messageCount += topic.messageCount;
        }
        return finished;
    }

    void openFile() {
        const std::string relative =
            name + "_" + std::to_string(metadata.relativeFilePaths.size()) + ".mcap";
        const std::string path = (std::filesystem::path(directory) / relative).string();
        McapWriterOptions fileOptions;
        fileOptions.compression = options.compression;
        fileOptions.chunkSize = options.chunkSize;
        file = std::make_unique<McapWriter>(path, "ros2", fileOptions);
        if (options.metadataVersion == kHumbleMetadataVersion) {
            file->addMetadata("rosbag2", {{"ROS_DISTRO", distribution}});
        }
        schemaIds.clear();
        {
            std::lock_guard<std::mutex> lock(mutex);
            channelIds.assign(topics.size(), 0);
            metadata.relativeFilePaths.push_back(relative);
            FileInformation information;
            information.path = relative;
            information.startingTimeNanoseconds = kNoTime;
            metadata.files.push_back(information);
        }
        for (const std::size_t topic : topicOrder) {
            registerInFile(topic);
        }
    }

    void closeFile() {
        if (!file) {
            return;
        }
        if (options.metadataVersion != kHumbleMetadataVersion) {
            BagMetadata snapshot;
            {
                std::lock_guard<std::mutex> lock(mutex);
                snapshot = finishedMetadata();
            }
            file->addMetadata("rosbag2", {{"serialized_metadata", serializedMetadata(snapshot)}});
        }
        file->close();
    }

    void registerInFile(std::size_t index) {
        // A copy, taken under the lock: the caller's thread may add topics meanwhile, and the
        // vector that holds them moves when it grows.
        BagTopic topic;
        {
            std::lock_guard<std::mutex> lock(mutex);
            topic = topics[index];
        }
        auto schema = schemaIds.find(topic.type);
        if (schema == schemaIds.end()) {
            // rosbag2's MCAP storage leaves the encoding empty when it has no definition.
            const std::string encoding = topic.schemaText.empty() ? "" : "ros2msg";
            schema =
                schemaIds
                    .emplace(topic.type, file->addSchema(topic.type, encoding, topic.schemaText))
                    .first;
        }
        std::map<std::string, std::string> channelMetadata;
        if (options.metadataVersion == kHumbleMetadataVersion) {
            channelMetadata["offered_qos_profiles"] =
                offeredQosToYamlString(topic.offeredQosProfiles);
        } else {
            channelMetadata["offered_qos_profiles"] =
                offeredQosToYamlList(topic.offeredQosProfiles);
            channelMetadata["topic_type_hash"] = topic.typeHash;
        }
        if (channelIds.size() <= index) {
            channelIds.resize(index + 1, 0);
        }
        channelIds[index] = file->addChannel(topic.name, schema->second, topic.serializationFormat,
                                             channelMetadata);
    }

    void registerTopic(std::size_t index) {
        topicOrder.push_back(index);
        {
            std::lock_guard<std::mutex> lock(mutex);
            TopicInformation information;
            information.topicMetadata.name = topics[index].name;
            information.topicMetadata.type = topics[index].type;
            information.topicMetadata.serializationFormat = topics[index].serializationFormat;
            information.topicMetadata.offeredQosProfiles = topics[index].offeredQosProfiles;
            if (options.metadataVersion != kHumbleMetadataVersion) {
                information.topicMetadata.typeDescriptionHash = topics[index].typeHash;
            }
            metadata.topicsWithMessageCount.push_back(information);
        }
        registerInFile(index);
    }

    bool shouldSplit(std::int64_t time) const {
        // A file without messages is never split off, so that headers alone cannot make
        // empty files one after another.
        const FileInformation& current = metadata.files.back();
        if (current.messageCount == 0) {
            return false;
        }
        if (options.maxBagSize != 0 && file->bytesWritten() >= options.maxBagSize) {
            return true;
        }
        const auto maxDuration =
            static_cast<std::int64_t>(options.maxBagDurationSeconds) * 1'000'000'000;
        return options.maxBagDurationSeconds != 0 &&
               time - current.startingTimeNanoseconds > maxDuration;
    }

    void writeMessage(const QueuedItem& item) {
        const std::int64_t time = std::max<std::int64_t>(item.receiveTimeNs, 0);
        if (shouldSplit(time)) {
            const std::string closedFile = file->path();
            closeFile();
            openFile();
            if (options.onSplit) {
                options.onSplit({closedFile, file->path()});
            }
        }
        // rosbag2 writes no sequence numbers.
        file->addMessage(channelIds[item.topic], 0, static_cast<std::uint64_t>(time),
                         static_cast<std::uint64_t>(std::max<std::int64_t>(item.sendTimeNs, 0)),
                         item.data.data(), item.data.size());
        std::lock_guard<std::mutex> lock(mutex);
        if (firstMessage) {
            metadata.startingTimeNanoseconds = time;
            firstMessage = false;
        }
        metadata.startingTimeNanoseconds = std::min(metadata.startingTimeNanoseconds, time);
        metadata.durationNanoseconds =
            std::max(metadata.durationNanoseconds, time - metadata.startingTimeNanoseconds);
        FileInformation& current = metadata.files.back();
        current.startingTimeNanoseconds = std::min(current.startingTimeNanoseconds, time);
        current.durationNanoseconds =
            std::max(current.durationNanoseconds, time - current.startingTimeNanoseconds);
        ++current.messageCount;
        // Topics are registered in the order they were added, so their indexes agree.
        ++metadata.topicsWithMessageCount[item.topic].messageCount;
        ++written;
    }

    bool enqueue(const std::string& topicName, const std::uint8_t* data, std::size_t size,
                 std::int64_t receiveTimeNs, std::int64_t sendTimeNs, bool waitForRoom) {
        std::unique_lock<std::mutex> lock(mutex);
        const auto found = topicIndex.find(topicName);
        if (found == topicIndex.end()) {
            throw BagError("Failed to write on topic '" + topicName +
                           "'. Call create_topic() before first write.");
        }
        // A message larger than the whole queue would wait for ever: it is dropped either way.
        if (waitForRoom && size <= options.queueBytes) {
            room.wait(lock, [&] {
                return closing || !error.empty() || size <= options.queueBytes - queuedBytes;
            });
        }
        if (closing || !error.empty()) {
            return false;
        }
        if (size > options.queueBytes - queuedBytes) {
            ++drops[topicName];
            return false;
        }
        QueuedItem item;
        item.topic = found->second;
        item.data.assign(data, data + size);
        item.receiveTimeNs = receiveTimeNs;
        item.sendTimeNs = sendTimeNs;
        queuedBytes += size;
        queue.push_back(std::move(item));
        wake.notify_one();
        return true;
    }

    void run() {
        bool stopped = false;
        for (;;) {
            QueuedItem item;
            {
                std::unique_lock<std::mutex> lock(mutex);
                wake.wait(lock, [this] { return !queue.empty() || closing; });
                if (queue.empty()) {
                    return;
                }
                item = std::move(queue.front());
                queue.pop_front();
                queuedBytes -= item.data.size();
            }
            room.notify_all();
            if (stopped) {
                continue;
            }
            try {
                if (item.registration) {
                    registerTopic(item.topic);
                } else {
                    writeMessage(item);
                }
            } catch (const std::exception& failure) {
                {
                    std::lock_guard<std::mutex> lock(mutex);
                    error = failure.what();
                    stopped = true;
                }
                room.notify_all();
            }
        }
    }
};

BagWriter::BagWriter(const std::string& directory, BagWriterOptions options)
    : m_impl(std::make_unique<Impl>()) {
    if (options.metadataVersion != kHumbleMetadataVersion &&
        options.metadataVersion != kJazzyMetadataVersion) {
        throw BagError("cannot write bag metadata version " +
                       std::to_string(options.metadataVersion) + ": only " +
                       std::to_string(kHumbleMetadataVersion) + " and " +
                       std::to_string(kJazzyMetadataVersion) + " are written");
    }
    if (options.maxBagSize != 0 && options.maxBagSize < kMinimumSplitSize) {
        throw BagError("Invalid bag splitting size given. Please provide a value greater than " +
                       std::to_string(kMinimumSplitSize) + ". Specified value of " +
                       std::to_string(options.maxBagSize));
    }
    if (options.maxBagDurationSeconds >
        static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() / 1'000'000'000)) {
        throw BagError("the bag duration limit of " +
                       std::to_string(options.maxBagDurationSeconds) +
                       " seconds is beyond what a bag's times can hold");
    }
    std::error_code failure;
    if (directory.empty() || std::filesystem::exists(directory, failure)) {
        throw BagError("Database directory already exists (" + directory +
                       "), can't overwrite existing database");
    }
    if (!std::filesystem::create_directories(directory, failure)) {
        throw BagError("Failed to create database directory (" + directory +
                       "): " + failure.message());
    }
    Impl& impl = *m_impl;
    impl.directory = directory;
    impl.name = bagName(directory);
    impl.options = std::move(options);
    impl.distribution = distributionFor(impl.options);
    impl.metadata.version = impl.options.metadataVersion;
    impl.metadata.storageIdentifier = "mcap";
    impl.metadata.startingTimeNanoseconds = kNoTime;
    if (impl.options.metadataVersion != kHumbleMetadataVersion) {
        impl.metadata.rosDistro = impl.distribution;
    }
    impl.openFile();
    impl.thread = std::thread([&impl] { impl.run(); });
}

BagWriter::~BagWriter() {
    try {
        close();
    } catch (const std::exception&) {
        // close() reports the error to a caller who asks; a destructor has nobody to tell.
    }
}

void BagWriter::addTopic(const BagTopic& topic) {
    if (topic.name.empty() || topic.type.empty()) {
        throw BagError("cannot record a topic without a name and a type (name '" + topic.name +
                       "', type '" + topic.type + "')");
    }
    std::lock_guard<std::mutex> lock(m_impl->mutex);
    if (m_impl->closing || m_impl->topicIndex.count(topic.name) != 0) {
        return;
    }
    const std::size_t index = m_impl->topics.size();
    m_impl->topics.push_back(topic);
    m_impl->topicIndex.emplace(topic.name, index);
    QueuedItem item;
    item.topic = index;
    item.registration = true;
    m_impl->queue.push_back(std::move(item));
    m_impl->wake.notify_one();
}

bool BagWriter::write(const std::string& topic, const std::uint8_t* data, std::size_t size,
                      std::int64_t receiveTimeNs, std::int64_t sendTimeNs) {
    return m_impl->enqueue(topic, data, size, receiveTimeNs, sendTimeNs, false);
}

bool BagWriter::writeWaiting(const std::string& topic, const std::uint8_t* data, std::size_t size,
                             std::int64_t receiveTimeNs, std::int64_t sendTimeNs) {
    return m_impl->enqueue(topic, data, size, receiveTimeNs, sendTimeNs, true);
}

void BagWriter::close() {
    Impl& impl = *m_impl;
    {
        std::lock_guard<std::mutex> lock(impl.mutex);
        if (impl.closed) {
            return;
        }
        impl.closing = true;
        impl.closed = true;
    }
    impl.wake.notify_all();
    impl.room.notify_all();
    if (impl.thread.joinable()) {
        impl.thread.join();
    }
    std::string failure;
    {
        std::lock_guard<std::mutex> lock(impl.mutex);
        failure = impl.error;
    }
    try {
        impl.closeFile();
    } catch (const std::exception& closing) {
        if (failure.empty()) {
            failure = closing.what();
        }
    }
    impl.file.reset();
    BagMetadata finished;
    {
        std::lock_guard<std::mutex> lock(impl.mutex);
        impl.metadata = impl.finishedMetadata();
        finished = impl.metadata;
        impl.error = failure;
    }
    writeBagMetadata(impl.directory, finished);
    if (!failure.empty()) {
        throw BagError(failure);
    }
}

std::string BagWriter::error() const {
    std::lock_guard<std::mutex> lock(m_impl->mutex);
    return m_impl->error;
}

std::map<std::string, std::uint64_t> BagWriter::dropped() const {
    std::lock_guard<std::mutex> lock(m_impl->mutex);
    return m_impl->drops;
}

std::uint64_t BagWriter::written() const {
    std::lock_guard<std::mutex> lock(m_impl->mutex);
    return m_impl->written;
}

const std::string& BagWriter::directory() const {
    return m_impl->directory;
}

BagMetadata BagWriter::metadata() const {
    std::lock_guard<std::mutex> lock(m_impl->mutex);
    return m_impl->finishedMetadata();
}

std::string lostMessagesText(const std::map<std::string, std::uint64_t>& dropped) {
    if (dropped.empty()) {
        return std::string();
    }
    std::string text = "Cache buffers lost messages per topic: ";
    std::uint64_t total = 0;
    for (const auto& [topic, count] : dropped) {
        text += "\n\t" + topic + ": " + std::to_string(count);
        total += count;
    }
    return text + "\nTotal lost: " + std::to_string(total);
}

}  // namespace qorROS2::bag
