#include "qorROS2/bag/BagReader.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <thread>
#include <utility>

#include "qorROS2/bag/BagError.h"
#include "qorROS2/bag/BagInfoText.h"
#include "qorROS2/bag/McapReader.h"
#include "qorROS2/bag/QosProfileYaml.h"

namespace qorROS2::bag {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kNoTopic = static_cast<std::size_t>(-1);

// The number a recorder puts at the end of a split file's name ("run_12.mcap"), so that file 10
// comes after file 9 when the files are listed without metadata.
std::pair<std::string, std::uint64_t> splitOrder(const std::string& name) {
    const std::string stem = fs::path(name).stem().string();
    std::size_t digits = stem.size();
    while (digits > 0 && stem[digits - 1] >= '0' && stem[digits - 1] <= '9') {
        --digits;
    }
    if (digits == stem.size() || stem.size() - digits > 18) {
        return {stem, 0};
    }
    return {stem.substr(0, digits), std::stoull(stem.substr(digits))};
}

std::vector<std::string> mcapFilesIn(const fs::path& directory) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        std::error_code entryError;
        if (entry.path().extension() == ".mcap" && entry.is_regular_file(entryError)) {
            names.push_back(entry.path().filename().string());
        }
    }
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        return splitOrder(a) < splitOrder(b);
    });
    return names;
}

// The file's path in the bag: relative paths are the bag directory's, as from version 4 on.
std::string resolvedPath(const fs::path& directory, const std::string& relative) {
    const fs::path path(relative);
    return path.is_absolute() ? relative : (directory / path).string();
}

}  // namespace

struct BagReader::Impl {
    BagReaderOptions options;
    BagMetadata metadata;
    bool rebuilt = false;
    std::uint64_t size = 0;
    std::vector<std::string> paths;
    std::vector<std::unique_ptr<McapReader>> files;
    // Per file: channel id → index of its topic in metadata.topicsWithMessageCount.
    std::vector<std::map<std::uint16_t, std::size_t>> topicOfChannel;
    std::vector<bool> wanted;  // per topic, as options.topics selects

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> problems;
    std::size_t problemsTaken = 0;
    std::deque<BagMessage> queue;
    bool filling = false;  // the read-ahead thread runs
    bool exhausted = false;
    bool stopping = false;
    std::uint64_t from = 0;
    std::thread reader;

    void addProblem(std::string text) {
        std::lock_guard<std::mutex> lock(mutex);
        problems.push_back(std::move(text));
    }

    void openFiles() {
        for (const std::string& path : paths) {
            std::error_code error;
            if (!fs::is_regular_file(path, error)) {
                throw BagError(path + ": the bag's file does not exist or is not a file");
            }
            files.push_back(std::make_unique<McapReader>(path));
            for (const std::string& problem : files.back()->problems()) {
                problems.push_back(path + ": " + problem);
            }
            if (!files.back()->indexed() && !rebuilt) {
                problems.push_back(path +
                                   ": the file has no usable summary (its recording did not "
                                   "finish): its messages were found by reading it through");
            }
        }
    }

    std::size_t topicIndex(const std::string& name) const {
        for (std::size_t i = 0; i < metadata.topicsWithMessageCount.size(); ++i) {
            if (metadata.topicsWithMessageCount[i].topicMetadata.name == name) {
                return i;
            }
        }
        return kNoTopic;
    }

    // The metadata a recorder would have written for the files, from their channels, schemas
    // and statistics.
    void rebuildMetadata(const std::vector<std::string>& relativePaths, bool withFiles) {
        metadata = BagMetadata{};
        metadata.version = kHumbleMetadataVersion;
        metadata.storageIdentifier = "mcap";
        metadata.relativeFilePaths = relativePaths;
        bool any = false;
        std::uint64_t start = 0;
        std::uint64_t end = 0;
        for (std::size_t f = 0; f < files.size(); ++f) {
            const McapReader& file = *files[f];
            const McapStatistics& statistics = file.statistics();
            for (const McapChannel& channel : file.channels()) {
                std::size_t index = topicIndex(channel.topic);
                if (index == kNoTopic) {
                    index = metadata.topicsWithMessageCount.size();
                    metadata.topicsWithMessageCount.push_back({topicOf(file, channel, f), 0});
                }
                const auto count = statistics.channelMessageCounts.find(channel.id);
                if (count != statistics.channelMessageCounts.end()) {
                    metadata.topicsWithMessageCount[index].messageCount += count->second;
                }
            }
            metadata.messageCount += statistics.messageCount;
            if (statistics.messageCount > 0) {
                start = any ? std::min(start, statistics.messageStartTime)
                            : statistics.messageStartTime;
                end = any ? std::max(end, statistics.messageEndTime) : statistics.messageEndTime;
                any = true;
            }
            if (withFiles) {
                FileInformation information;
                information.path = relativePaths[f];
                information.startingTimeNanoseconds =
                    static_cast<std::int64_t>(statistics.messageStartTime);
                information.durationNanoseconds = static_cast<std::int64_t>(
                    statistics.messageEndTime - statistics.messageStartTime);
                information.messageCount = statistics.messageCount;
                metadata.files.push_back(information);
            }
        }
        metadata.startingTimeNanoseconds = static_cast<std::int64_t>(start);
        metadata.durationNanoseconds = static_cast<std::int64_t>(end - start);
    }

    TopicMetadata topicOf(const McapReader& file, const McapChannel& channel, std::size_t f) {
        TopicMetadata topic;
        topic.name = channel.topic;
        topic.serializationFormat = channel.messageEncoding;
        for (const McapSchema& schema : file.schemas()) {
            if (schema.id == channel.schemaId && channel.schemaId != 0) {
                topic.type = schema.name;
            }
        }
        if (topic.type.empty()) {
            problems.push_back(paths[f] + ": the channel of topic " + channel.topic +
                               " has no schema, so its type is unknown");
        }
        const auto offered = channel.metadata.find("offered_qos_profiles");
        if (offered != channel.metadata.end()) {
            try {
                topic.offeredQosProfiles = offeredQosFromYaml(
                    offered->second, paths[f] + ": the channel of topic " + channel.topic);
            } catch (const BagError& error) {
                problems.push_back(std::string(error.what()) +
                                   "; the topic is read without its recorded QoS");
            }
        }
        return topic;
    }

    void mapChannels() {
        for (std::size_t f = 0; f < files.size(); ++f) {
            std::map<std::uint16_t, std::size_t> channels;
            for (const McapChannel& channel : files[f]->channels()) {
                const std::size_t index = topicIndex(channel.topic);
                if (index == kNoTopic) {
                    problems.push_back(paths[f] + ": topic " + channel.topic +
                                       " is not in the bag's metadata; its messages are skipped");
                }
                channels[channel.id] = index;
            }
            topicOfChannel.push_back(std::move(channels));
        }
        for (const TopicInformation& topic : metadata.topicsWithMessageCount) {
            const auto& selected = options.topics;
            wanted.push_back(selected.empty() ||
                             std::find(selected.begin(), selected.end(),
                                       topic.topicMetadata.name) != selected.end());
        }
    }

    // The read-ahead thread: merges the files' messages by log time into the queue.
    void fill(std::uint64_t start) {
        std::vector<McapReader::Cursor> cursors;
        std::vector<std::optional<BagMessage>> heads(files.size());
        std::vector<std::size_t> reported(files.size());
        for (std::size_t f = 0; f < files.size(); ++f) {
            cursors.push_back(files[f]->messages());
            reported[f] = files[f]->problems().size();
        }
        McapMessage message;
        auto advance = [&](std::size_t f) {
            heads[f].reset();
            while (cursors[f].next(message)) {
                const auto topic = topicOfChannel[f].find(message.channelId);
                if (message.logTime < start || topic == topicOfChannel[f].end() ||
                    topic->second == kNoTopic || !wanted[topic->second]) {
                    continue;
                }
                heads[f] = BagMessage{
                    topic->second, message.logTime, message.publishTime,
                    std::vector<std::uint8_t>(message.data, message.data + message.size)};
                break;
            }
            const std::vector<std::string>& found = files[f]->problems();
            for (; reported[f] < found.size(); ++reported[f]) {
                addProblem(paths[f] + ": " + found[reported[f]]);
            }
        };
        for (std::size_t f = 0; f < files.size(); ++f) {
            advance(f);
        }
        const std::size_t capacity = std::max<std::size_t>(1, options.readAheadQueueSize);
        while (true) {
            std::size_t earliest = files.size();
            for (std::size_t f = 0; f < files.size(); ++f) {
                if (heads[f] &&
                    (earliest == files.size() || heads[f]->logTime < heads[earliest]->logTime)) {
                    earliest = f;
                }
            }
            std::unique_lock<std::mutex> lock(mutex);
            changed.wait(lock, [&] { return stopping || queue.size() < capacity; });
            if (stopping) {
                return;
            }
            if (earliest == files.size()) {
                exhausted = true;
                changed.notify_all();
                return;
            }
            queue.push_back(std::move(*heads[earliest]));
            changed.notify_all();
            lock.unlock();
            advance(earliest);
        }
    }

    void stop() {
        {
            std::lock_guard<std::mutex> lock(mutex);
            stopping = true;
        }
        changed.notify_all();
        if (reader.joinable()) {
            reader.join();
        }
        std::lock_guard<std::mutex> lock(mutex);
        stopping = false;
        filling = false;
        exhausted = false;
        queue.clear();
    }
};

BagReader::BagReader(const std::string& path, BagReaderOptions options)
    : m_impl(std::make_unique<Impl>()) {
    Impl& impl = *m_impl;
    impl.options = std::move(options);
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (error || !fs::exists(status)) {
        throw BagError("Bag path " + path + " does not exist.");
    }
    if (fs::is_directory(status)) {
        const fs::path directory(path);
        impl.size = bagDirectorySize(path);
        if (fs::exists(directory / "metadata.yaml", error)) {
            impl.metadata = readBagMetadata(path);
            if (impl.metadata.storageIdentifier != "mcap") {
                throw BagError(path + ": the bag's storage is '" + impl.metadata.storageIdentifier +
                               "'; only 'mcap' bags are read");
            }
            for (const std::string& relative : impl.metadata.relativeFilePaths) {
                impl.paths.push_back(resolvedPath(directory, relative));
            }
            impl.openFiles();
        } else {
            const std::vector<std::string> names = mcapFilesIn(directory);
            if (names.empty()) {
                throw BagError("Could not find metadata in bag directory " + path +
                               ", nor any .mcap file");
            }
            impl.rebuilt = true;
            for (const std::string& name : names) {
                impl.paths.push_back((directory / name).string());
            }
            impl.problems.push_back(
                path +
                ": the bag has no metadata.yaml (its recording did not finish); its "
                "metadata was rebuilt from its " +
                std::to_string(names.size()) + " MCAP file" + (names.size() == 1 ? "" : "s"));
            impl.openFiles();
            impl.rebuildMetadata(names, true);
        }
    } else {
        impl.size = static_cast<std::uint64_t>(fs::file_size(path, error));
        impl.rebuilt = true;
        impl.paths.push_back(path);
        impl.openFiles();
        impl.rebuildMetadata({path}, false);
    }
    impl.mapChannels();
}

BagReader::~BagReader() {
    m_impl->stop();
}

const BagMetadata& BagReader::metadata() const {
    return m_impl->metadata;
}

bool BagReader::metadataRebuilt() const {
    return m_impl->rebuilt;
}

std::uint64_t BagReader::sizeBytes() const {
    return m_impl->size;
}

const std::vector<std::string>& BagReader::filePaths() const {
    return m_impl->paths;
}

bool BagReader::next(BagMessage& message) {
    Impl& impl = *m_impl;
    std::unique_lock<std::mutex> lock(impl.mutex);
    if (!impl.filling) {
        impl.filling = true;
        impl.reader = std::thread([&impl, from = impl.from] { impl.fill(from); });
    }
    impl.changed.wait(lock, [&] { return !impl.queue.empty() || impl.exhausted; });
    if (impl.queue.empty()) {
        return false;
    }
    message = std::move(impl.queue.front());
    impl.queue.pop_front();
    impl.changed.notify_all();
    return true;
}

void BagReader::seek(std::uint64_t time) {
    m_impl->stop();
    m_impl->from = time;
}

std::vector<std::string> BagReader::problems() const {
    std::lock_guard<std::mutex> lock(m_impl->mutex);
    return m_impl->problems;
}

std::vector<std::string> BagReader::newProblems() {
    std::lock_guard<std::mutex> lock(m_impl->mutex);
    std::vector<std::string> found(
        m_impl->problems.begin() + static_cast<std::ptrdiff_t>(m_impl->problemsTaken),
        m_impl->problems.end());
    m_impl->problemsTaken = m_impl->problems.size();
    return found;
}

}  // namespace qorROS2::bag
