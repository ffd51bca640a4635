// `qor-ros2 bag record`: records the topics of the domain into a bag, as `ros2 bag record` of
// ROS 2 Humble does: its options, its messages, its QoS choices and its bag layout.

#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "cli/ArgumentError.h"
#include "cli/CommandFailure.h"
#include "cli/CommandOptions.h"
#include "cli/RosClock.h"
#include "cli/StopSignal.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/RosNames.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/bag/BagError.h"
#include "qorROS2/bag/BagQos.h"
#include "qorROS2/bag/BagWriter.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace qorCli {
namespace {

using qorROS2::bag::BagError;
using qorROS2::bag::BagWriter;
using qorROS2::bag::OfferedQosProfile;

// rclcpp's console lines: "[INFO] [1700000000.123456789] [rosbag2_recorder]: Recording...".
void logLine(const char* level, const char* logger, const std::string& text) {
    const std::int64_t now = systemNanoseconds();
    std::fprintf(stderr, "[%s] [%lld.%09lld] [%s]: %s\n", level,
                 static_cast<long long>(now / 1'000'000'000),
                 static_cast<long long>(now % 1'000'000'000), logger, text.c_str());
    std::fflush(stderr);
}

void recorderInfo(const std::string& text) {
    logLine("INFO", "rosbag2_recorder", text);
}
void recorderWarning(const std::string& text) {
    logLine("WARN", "rosbag2_recorder", text);
}
void transportWarning(const std::string& text) {
    logLine("WARN", "rosbag2_transport", text);
}
void transportError(const std::string& text) {
    logLine("ERROR", "rosbag2_transport", text);
}

// ros2bag's words for a refused combination, returned as the verb's error.
CommandFailure ros2bagError(const std::string& text) {
    return CommandFailure("[ERROR] [ros2bag]: " + text);
}

// rosbag2's default bag name: the local time the recording starts.
std::string defaultBagName() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    char name[64];
    std::strftime(name, sizeof name, "rosbag2_%Y_%m_%d-%H_%M_%S", &local);
    return name;
}

// What the recorder needs to know of a topic now.
struct SeenTopic {
    std::vector<std::string> types;         // of every endpoint, sorted, without repeats
    std::vector<OfferedQosProfile> offers;  // one per publisher
    std::string announcedHash;              // a publisher's type hash, "" when none
    bool published = false;
};

std::map<std::string, SeenTopic> seenTopics(const qorROS2::TopicDiscovery& discovery) {
    std::map<std::string, SeenTopic> topics;
    for (const auto& endpoint : discovery.endpoints()) {
        SeenTopic& topic = topics[endpoint.topic];
        if (std::find(topic.types.begin(), topic.types.end(), endpoint.type) == topic.types.end()) {
            topic.types.push_back(endpoint.type);
            std::sort(topic.types.begin(), topic.types.end());
        }
        if (endpoint.publisher) {
            topic.published = true;
            topic.offers.push_back(qorROS2::bag::offeredQosFromDiscovered(endpoint.qos));
            if (endpoint.typeHash.rfind("RIHS01_", 0) == 0) {
                topic.announcedHash = endpoint.typeHash;
            }
        }
    }
    return topics;
}

class BagRecordVerb : public Verb {
  public:
    explicit BagRecordVerb(CLI::App& app) : m_app(app) {
        addOptionalPositionals(app, "topics", m_topics, "List of topics to record.");
        addFlag(app, "-a,--all", m_all,
                "Record all topics. Required if no explicit topic list or regex filters.");
        addText(app, "-e,--regex", m_regex, "REGEX",
                "Record only topics containing provided regular expression. Applies on top of "
                "topics list.");
        addText(app, "-x,--exclude", m_exclude, "EXCLUDE",
                "Exclude topics containing provided regular expression. Works on top of --all, "
                "--regex, or topics list.");
        addFlag(app, "--include-hidden-topics", m_includeHidden,
                "Discover and record hidden topics as well. These are topics used internally by "
                "ROS 2 implementation.");
        addText(app, "-o,--output", m_output, "OUTPUT",
                "destination of the bagfile to create, defaults to a timestamped folder in the "
                "current directory");
        addChoice(app, "-s,--storage", m_storage, {"mcap"},
                  "storage identifier to be used, defaults to 'mcap'");
        addNonNegativeInt(app, "-p,--polling-interval", m_pollingInterval, "POLLING_INTERVAL",
                          "time in ms to wait between querying available topics for recording.");
        addNonNegativeInt(app, "-b,--max-bag-size", m_maxBagSize, "MAX_BAG_SIZE",
                          "maximum size in bytes before the bagfile will be split. Default it is "
                          "zero, recording written in single bagfile and splitting is disabled.");
        addNonNegativeInt(app, "-d,--max-bag-duration", m_maxBagDuration, "MAX_BAG_DURATION",
                          "maximum duration in seconds before the bagfile will be split. Default "
                          "is zero, recording written in single bagfile and splitting is "
                          "disabled. If both splitting by size and duration are enabled, the bag "
                          "will split at whichever threshold is reached first.");
        addChoice(app, "--compression-format", m_compression, {"zstd", "lz4"},
                  "Compress the chunks inside each MCAP file with this format. Default is none. "
                  "Unlike rosbag2's file and message compression, the files stay MCAP files "
                  "that any MCAP reader opens.");
        addText(app, "--qos-profile-overrides-path", m_overridesPath, "QOS_PROFILE_OVERRIDES_PATH",
                "Path to a yaml file defining overrides of the QoS profile for specific topics.");
        addFlag(app, "--use-sim-time", m_useSimTime,
                "Use simulation time for message timestamps by subscribing to the /clock topic. "
                "Until first /clock message is received, no messages will be written to bag.");
        addChoice(app, "--rosbag2-version", m_version, {"5", "9"},
                  "version of metadata.yaml and of the files' layout: 5 as ROS 2 Humble writes "
                  "them (default), 9 as ROS 2 Jazzy does");
    }

    int run() override {
        checkCombinations();
        const std::string uri = m_output.empty() ? defaultBagName() : m_output;
        if (std::filesystem::is_directory(uri)) {
            throw ros2bagError("Output folder '" + uri + "' already exists.");
        }
        m_overrides = readOverrides();
        compileFilters();
        for (std::string& topic : m_topics) {
            topic = qorROS2::resolveTopicName(topic);
        }
        m_domain = domainFromEnvironment();
        try {
            m_writer = std::make_unique<BagWriter>(uri, writerOptions());
        } catch (const BagError& error) {
            throw CommandFailure(error.what());
        }
        qorROS2::TopicDiscovery discovery(m_domain);
        RosClock clock(m_useSimTime, m_domain);
        recorderInfo("Listening for topics...");
        if (!m_useSimTime) {
            discover(discovery);
        }
        recorderInfo("Recording...");
        const bool failed = record(discovery, clock);
        const bool closingFailed = finish();
        // ros2 bag record ends on Ctrl-C as on its own: with 0 unless writing failed.
        acknowledgeStop();
        return failed || closingFailed ? 1 : 0;
    }

  private:
    void checkCombinations() const {
        if (m_all && !m_topics.empty()) {
            throw ros2bagError("Specify either --all or topics, but not both simultaneously.");
        }
        if (!m_all && m_topics.empty() && m_regex.empty()) {
            throw ros2bagError("Invalid choice: Must specify topic(s), --regex or --all");
        }
        if (m_all && !m_regex.empty()) {
            std::printf("[WARN] [ros2bag]: --all will override --regex.\n");
        }
        if (!m_topics.empty() && !m_exclude.empty()) {
            throw ros2bagError(
                "--exclude argument cannot be used when specifying a list of topics explicitly");
        }
        if (!m_exclude.empty() && m_regex.empty() && !m_all) {
            throw ros2bagError("--exclude argument requires either --all or --regex");
        }
    }

    qorROS2::bag::QosOverrides readOverrides() const {
        if (m_overridesPath.empty()) {
            return {};
        }
        try {
            return qorROS2::bag::readQosOverrides(m_overridesPath);
        } catch (const BagError& error) {
            const std::string text = error.what();
            // argparse opens the file while it reads the arguments.
            if (text.rfind("can't open '", 0) == 0) {
                throw ArgumentError(m_app, "argument --qos-profile-overrides-path: " + text);
            }
            throw ros2bagError(text);
        }
    }

    void compileFilters() {
        try {
            // An empty expression filters nothing, as rosbag2 ignores it.
            if (!m_regex.empty()) {
                m_include = std::regex(m_regex);
            }
            if (!m_exclude.empty()) {
                m_excluded = std::regex(m_exclude);
            }
        } catch (const std::regex_error& error) {
            throw ros2bagError(std::string("invalid regular expression: ") + error.what());
        }
    }

    qorROS2::bag::BagWriterOptions writerOptions() const {
        qorROS2::bag::BagWriterOptions options;
        options.maxBagSize = m_maxBagSize.value_or(0);
        options.maxBagDurationSeconds = m_maxBagDuration.value_or(0);
        if (m_compression == "zstd") {
            options.compression = qorROS2::bag::McapCompression::zstd;
        } else if (m_compression == "lz4") {
            options.compression = qorROS2::bag::McapCompression::lz4;
        }
        options.metadataVersion = m_version == "9" ? qorROS2::bag::kJazzyMetadataVersion
                                                   : qorROS2::bag::kHumbleMetadataVersion;
        return options;
    }

    // rosbag2's topic filter, in its order; its warnings once per topic, not once per poll.
    bool wanted(const std::string& name, const SeenTopic& topic) {
        if (!topic.published) {
            return false;
        }
        if (!m_topics.empty() &&
            std::find(m_topics.begin(), m_topics.end(), name) == m_topics.end()) {
            return false;
        }
        if (m_excluded && std::regex_search(name, *m_excluded)) {
            return false;
        }
        if (!m_all && m_include && !std::regex_search(name, *m_include)) {
            return false;
        }
        if (topic.types.size() != 1) {
            if (m_warned.insert(name).second) {
                transportError("Topic '" + name +
                               "' has more than one type associated. Only topics with one type "
                               "are supported");
            }
            return false;
        }
        if (!m_includeHidden && qorROS2::isHiddenTopicName(name)) {
            if (!m_hiddenWarned) {
                m_hiddenWarned = true;
                transportWarning(
                    "Hidden topics are not recorded. Enable them with --include-hidden-topics");
            }
            return false;
        }
        return true;
    }

    void discover(const qorROS2::TopicDiscovery& discovery) {
        for (const auto& [name, topic] : seenTopics(discovery)) {
            if (!wanted(name, topic)) {
                continue;
            }
            const auto subscribed = m_subscriptions.find(name);
            if (subscribed == m_subscriptions.end()) {
                subscribe(name, topic);
            } else if (!subscribed->second.warnedLate) {
                const auto warnings =
                    qorROS2::bag::lateOfferWarnings(name, subscribed->second.qos, topic.offers);
                for (const auto& warning : warnings) {
                    recorderWarning(warning);
                }
                subscribed->second.warnedLate = !warnings.empty();
            }
        }
        if (!m_topics.empty() && m_subscriptions.size() == m_topics.size()) {
            recorderInfo("All requested topics are subscribed. Stopping discovery...");
            m_discovering = false;
        }
    }

    void subscribe(const std::string& name, const SeenTopic& topic) {
        const std::string& type = topic.types.front();
        if (m_failed.count(name) != 0) {
            return;
        }
        try {
            const auto choice = qorROS2::bag::recordingQos(name, topic.offers, m_overrides);
            for (const auto& line : choice.log) {
                if (line.level == qorROS2::bag::BagQosLog::INFO) {
                    recorderInfo(line.text);
                } else {
                    transportWarning(line.text);
                }
            }
            const auto* support = qorROS2::typesupport::findTypeSupport(type);
            qorROS2::bag::BagTopic bagTopic;
            bagTopic.name = name;
            bagTopic.type = type;
            bagTopic.offeredQosProfiles = topic.offers;
            bagTopic.typeHash = support != nullptr ? support->typeHash() : topic.announcedHash;
            bagTopic.schemaText = support != nullptr ? support->schemaText() : std::string();
            // The topic is in the bag before its first message can arrive, as rosbag2 does it.
            m_writer->addTopic(bagTopic);
            Subscription subscription{std::make_unique<qorROS2::RawSubscriber>(
                                          name, type, choice.qos, m_domain,
                                          support != nullptr ? support->typeHash() : std::string()),
                                      choice.qos, false};
            subscription.reader->onSample([this] {
                std::lock_guard<std::mutex> lock(m_wakeMutex);
                m_woken = true;
                m_wake.notify_one();
            });
            m_subscriptions.emplace(name, std::move(subscription));
            recorderInfo("Subscribed to topic '" + name + "'");
        } catch (const std::exception& error) {
            // Told once; the topic is not tried again on every poll.
            m_failed.insert(name);
            transportError("Failed to subscribe to topic '" + name + "': " + error.what());
        }
    }

    // Takes what waits on every subscription into the bag; false once writing has failed.
    bool drain(RosClock& clock) {
        for (auto& [name, subscription] : m_subscriptions) {
            while (subscription.reader->takeSample(m_sample)) {
                const std::int64_t received =
                    m_useSimTime ? clock.now() : m_sample.receptionTimestampNs;
                m_writer->write(name, m_sample.bytes.data(), m_sample.bytes.size(), received,
                                m_sample.sourceTimestampNs);
            }
        }
        return m_writer->error().empty();
    }

    // Records until a stop signal or a write error; true after a write error.
    bool record(const qorROS2::TopicDiscovery& discovery, RosClock& clock) {
        const auto polling = std::chrono::milliseconds(
            std::max<std::uint64_t>(m_pollingInterval.value_or(kDefaultPollingMs), 1));
        bool clockFound = !m_useSimTime;
        if (m_useSimTime) {
            recorderInfo("use_sim_time set, waiting for /clock before starting recording...");
        }
        auto nextPoll = std::chrono::steady_clock::now();
        while (!stopRequested()) {
            const auto now = std::chrono::steady_clock::now();
            if (!clockFound && clock.now() != 0) {
                clockFound = true;
                recorderInfo("Sim time /clock found, starting recording.");
            }
            if (clockFound && m_discovering && now >= nextPoll) {
                discover(discovery);
                nextPoll = now + polling;
            }
            if (!drain(clock)) {
                return true;
            }
            std::unique_lock<std::mutex> lock(m_wakeMutex);
            m_wake.wait_for(lock, std::min<std::chrono::milliseconds>(polling, kLongestWait),
                            [this] { return m_woken; });
            m_woken = false;
        }
        return !drain(clock);
    }

    // Ends the recording: the subscriptions go, the bag is closed; true when writing failed.
    bool finish() {
        for (auto& [name, subscription] : m_subscriptions) {
            subscription.reader->onSample({});
        }
        m_subscriptions.clear();
        bool failed = false;
        try {
            m_writer->close();
        } catch (const BagError& error) {
            logLine("ERROR", "rosbag2_cpp", error.what());
            failed = true;
        }
        const std::string lost = qorROS2::bag::lostMessagesText(m_writer->dropped());
        if (!lost.empty()) {
            logLine("WARN", "rosbag2_cpp", lost);
        }
        recorderInfo("Recording stopped");
        return failed;
    }

    static constexpr std::uint64_t kDefaultPollingMs = 100;
    // The stop signal wakes nothing: a wait is cut this short to see it.
    static constexpr std::chrono::milliseconds kLongestWait{50};

    struct Subscription {
        std::unique_ptr<qorROS2::RawSubscriber> reader;
        qorROS2::QOS qos;
        bool warnedLate = false;
    };

    CLI::App& m_app;
    std::vector<std::string> m_topics;
    bool m_all = false;
    std::string m_regex;
    std::string m_exclude;
    bool m_includeHidden = false;
    std::string m_output;
    std::string m_storage;
    std::optional<std::uint64_t> m_pollingInterval;
    std::optional<std::uint64_t> m_maxBagSize;
    std::optional<std::uint64_t> m_maxBagDuration;
    std::string m_compression;
    std::string m_overridesPath;
    bool m_useSimTime = false;
    std::string m_version;

    qorROS2::bag::QosOverrides m_overrides;
    std::optional<std::regex> m_include;
    std::optional<std::regex> m_excluded;
    std::int8_t m_domain = 0;
    std::unique_ptr<BagWriter> m_writer;
    // The subscriptions' callbacks wake the recording loop: these outlive them.
    std::mutex m_wakeMutex;
    std::condition_variable m_wake;
    bool m_woken = false;
    std::map<std::string, Subscription> m_subscriptions;
    std::set<std::string> m_warned;
    std::set<std::string> m_failed;
    bool m_hiddenWarned = false;
    bool m_discovering = true;
    qorROS2::RawSample m_sample;
};

}  // namespace

std::unique_ptr<Verb> makeBagRecordVerb(CLI::App& app) {
    return std::make_unique<BagRecordVerb>(app);
}

}  // namespace qorCli
