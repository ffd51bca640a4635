#include "bag/BagPlayer.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <thread>

#include "bag/KeyboardControls.h"
#include "bag/PlaybackClock.h"
#include "bag/RosLog.h"
#include "cli/StopSignal.h"
#include "cli/UsageError.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/bag/BagError.h"
#include "qorROS2/bag/BagReader.h"
#include "qorROS2/rosgraphMsgs.h"

namespace qorCli {
namespace {

using qorROS2::bag::BagMessage;
using qorROS2::bag::BagReader;

constexpr const char* kPlayerLogger = "rosbag2_player";
constexpr const char* kStorageLogger = "rosbag2_storage";
// How long play waits at its end for the subscribers of each reliable topic to acknowledge the
// last samples.
constexpr std::chrono::seconds kAcknowledgmentWait{2};

std::string fullName(const std::string& name) {
    return !name.empty() && name[0] == '/' ? name : "/" + name;
}

// A number as a C++ stream writes it, as rosbag2's log lines show the rate.
std::string streamed(double value) {
    std::ostringstream text;
    text << value;
    return text.str();
}

void reportProblems(BagReader& reader) {
    for (const std::string& problem : reader.newProblems()) {
        rosLog(LogLevel::WARN, kStorageLogger, problem);
    }
}

// Sleeps `seconds` in slices, so that a stop signal ends the sleep at once.
void sleepUnlessStopped(double seconds) {
    const auto until =
        std::chrono::steady_clock::now() +
        std::chrono::nanoseconds(static_cast<std::int64_t>(std::llround(seconds * 1e9)));
    while (!stopRequested() && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::min<std::chrono::steady_clock::duration>(
            std::chrono::milliseconds(20), until - std::chrono::steady_clock::now()));
    }
}

// Publishes the bag's time on /clock at a fixed rate of the wall clock, on a thread of its own,
// as rosbag2's wall timer does.
class ClockTicker {
  public:
    ClockTicker(const PlaybackClock& clock, double hz, std::int8_t domain)
        : m_publisher("/clock", qorROS2::createClockQOS(), domain),
          m_thread([this, &clock, hz] { tick(clock, hz); }) {}
    ~ClockTicker() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_done = true;
        }
        m_wake.notify_all();
        m_thread.join();
    }
    ClockTicker(const ClockTicker&) = delete;
    ClockTicker& operator=(const ClockTicker&) = delete;

  private:
    void tick(const PlaybackClock& clock, double hz) {
        const auto period =
            std::chrono::nanoseconds(static_cast<std::int64_t>(std::llround(1e9 / hz)));
        auto next = std::chrono::steady_clock::now() + period;
        std::unique_lock<std::mutex> lock(m_mutex);
        while (!m_wake.wait_until(lock, next, [this] { return m_done; })) {
            const std::int64_t now = std::max<std::int64_t>(0, clock.now());
            qorROS2::rosgraphMsgs::Clock message{};
            message.clock.sec = static_cast<std::int32_t>(now / 1'000'000'000);
            message.clock.nanosec = static_cast<std::uint32_t>(now % 1'000'000'000);
            m_publisher.sendMessage(message);
            // Timers keep their period: a late tick does not move the later ones.
            next += period;
        }
    }

    qorROS2::Publisher<qorROS2::rosgraphMsgs::Clock> m_publisher;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_done = false;
    std::thread m_thread;
};

class Player {
  public:
    Player(const std::string& path, const PlayOptions& options, std::int8_t domain)
        : m_options(options),
          m_reader(path, {options.readAheadQueueSize, options.topics}),
          m_start(m_reader.metadata().startingTimeNanoseconds +
                  static_cast<std::int64_t>(std::llround(options.startOffsetSeconds * 1e9))),
          m_clock(m_start, 1.0, options.startPaused) {
        reportProblems(m_reader);
        setRate(options.rate);
        preparePublishers(domain);
        if (options.clockHz > 0.0) {
            m_ticker = std::make_unique<ClockTicker>(m_clock, options.clockHz, domain);
        }
        if (options.keyboardControls && KeyboardControls::available()) {
            addKeyboardControls();
        }
    }

    void play() {
        do {
            if (m_options.delaySeconds > 0.0) {
                rosLog(
                    LogLevel::INFO, kPlayerLogger,
                    "Sleep " + std::to_string(std::llround(m_options.delaySeconds * 1e9)) + " ns");
                sleepUnlessStopped(m_options.delaySeconds);
            }
            m_reader.seek(static_cast<std::uint64_t>(std::max<std::int64_t>(0, m_start)));
            m_clock.jump(m_start);
            BagMessage message;
            while (!stopRequested() && m_reader.next(message)) {
                reportProblems(m_reader);
                playWhenDue(message);
            }
            reportProblems(m_reader);
            // A paused player stays at the end until resumed or stopped.
            while (m_clock.paused() && !stopRequested()) {
                m_playNext = false;
                m_clock.sleepUntil(m_clock.now());
            }
        } while (m_options.loop && !stopRequested());
        waitForTheLastSamples();
    }

  private:
    // The publishers go when play ends, and a reliable sample not yet acknowledged goes with
    // them: the subscribers would miss the end of the bag. Each gets a bounded wait, so that a
    // subscriber that stopped reading cannot hold the player.
    void waitForTheLastSamples() const {
        if (stopRequested()) {
            return;
        }
        for (const auto& publisher : m_publishers) {
            if (publisher != nullptr) {
                (void)publisher->waitForAcknowledgments(kAcknowledgmentWait);
            }
        }
    }

    void setRate(double rate) {
        if (m_clock.setRate(rate)) {
            rosLog(LogLevel::INFO, kPlayerLogger, "Set rate to " + streamed(rate));
        } else {
            rosLog(LogLevel::WARN, kPlayerLogger,
                   "Failed to set rate to invalid value " + streamed(rate));
        }
    }

    void preparePublishers(std::int8_t domain) {
        const auto& topics = m_reader.metadata().topicsWithMessageCount;
        m_publishers.resize(topics.size());
        for (std::size_t i = 0; i < topics.size(); ++i) {
            const auto& topic = topics[i].topicMetadata;
            const auto& selected = m_options.topics;
            if (!selected.empty() &&
                std::find(selected.begin(), selected.end(), topic.name) == selected.end()) {
                continue;
            }
            try {
                const auto choice = qorROS2::bag::playbackQos(topic.name, topic.offeredQosProfiles,
                                                              m_options.overrides);
                for (const auto& line : choice.log) {
                    rosLog(line.level == qorROS2::bag::BagQosLog::INFO ? LogLevel::INFO
                                                                       : LogLevel::WARN,
                           kPlayerLogger, line.text);
                }
                if (topic.type.empty()) {
                    throw std::runtime_error("its type is not recorded");
                }
                const auto remapped = m_options.remaps.find(topic.name);
                m_publishers[i] = std::make_unique<qorROS2::RawPublisher>(
                    remapped == m_options.remaps.end() ? topic.name : remapped->second, topic.type,
                    choice.qos, domain, topic.typeDescriptionHash);
            } catch (const std::exception& error) {
                // A topic that cannot be published is left out, the others still play.
                rosLog(LogLevel::WARN, kPlayerLogger,
                       "Ignoring a topic '" + topic.name + "', reason: " + error.what() + ".");
            }
        }
    }

    void addKeyboardControls() {
        rosLog(LogLevel::INFO, kPlayerLogger, "Adding keyboard callbacks.");
        const std::pair<PlaybackKey, const char*> bindings[] = {
            {PlaybackKey::SPACE, "Pause/Resume"},
            {PlaybackKey::CURSOR_RIGHT, "Play Next Message"},
            {PlaybackKey::CURSOR_UP, "Increase Rate 10%"},
            {PlaybackKey::CURSOR_DOWN, "Decrease Rate 10%"}};
        for (const auto& [key, operation] : bindings) {
            rosLog(LogLevel::INFO, kPlayerLogger,
                   std::string("Press ") + playbackKeyName(key) + " for " + operation);
        }
        m_keyboard = std::make_unique<KeyboardControls>([this](PlaybackKey key) { onKey(key); });
    }

    void onKey(PlaybackKey key) {
        switch (key) {
            case PlaybackKey::SPACE:
                if (m_clock.paused()) {
                    m_clock.resume();
                    rosLog(LogLevel::INFO, kPlayerLogger, "Resuming play.");
                } else {
                    m_clock.pause();
                    rosLog(LogLevel::INFO, kPlayerLogger, "Pausing play.");
                }
                break;
            case PlaybackKey::CURSOR_RIGHT:
                if (!m_clock.paused()) {
                    rosLog(LogLevel::WARN, kPlayerLogger,
                           "Called play next, but not in paused state.");
                    break;
                }
                rosLog(LogLevel::INFO, kPlayerLogger, "Playing next message.");
                m_playNext = true;
                m_clock.wake();
                break;
            // rosbag2 Humble steps the rate by 0.1, whatever the keys' names say.
            case PlaybackKey::CURSOR_UP:
                setRate(m_clock.rate() + 0.1);
                break;
            case PlaybackKey::CURSOR_DOWN:
                setRate(m_clock.rate() - 0.1);
                break;
        }
    }

    void playWhenDue(const BagMessage& message) {
        const auto due = static_cast<std::int64_t>(message.logTime);
        while (!stopRequested()) {
            if (m_playNext.exchange(false) && m_clock.paused()) {
                publish(message);
                m_clock.jump(due);
                return;
            }
            if (m_clock.sleepUntil(due)) {
                publish(message);
                return;
            }
        }
    }

    void publish(const BagMessage& message) {
        const auto& publisher = m_publishers[message.topic];
        if (!publisher) {
            return;
        }
        try {
            publisher->publish(message.data);
        } catch (const std::exception& error) {
            // rosbag2's words, once a topic: a bag of such messages must not flood the output.
            if (m_failedTopics.insert(message.topic).second) {
                const auto& topic = m_reader.metadata().topicsWithMessageCount[message.topic];
                rosLog(LogLevel::ERROR, kPlayerLogger,
                       "Failed to publish message on '" + topic.topicMetadata.name +
                           "' topic. \nError: %s" + error.what() +
                           " (further failures on this topic are not reported)");
            }
        }
    }

    const PlayOptions& m_options;
    BagReader m_reader;
    std::int64_t m_start;
    PlaybackClock m_clock;
    std::vector<std::unique_ptr<qorROS2::RawPublisher>> m_publishers;
    std::unique_ptr<ClockTicker> m_ticker;
    std::atomic<bool> m_playNext{false};
    std::set<std::size_t> m_failedTopics;
    // Last, so that the terminal is given back before anything else goes.
    std::unique_ptr<KeyboardControls> m_keyboard;
};

}  // namespace

std::map<std::string, std::string> remapRules(const std::vector<std::string>& rules) {
    std::map<std::string, std::string> remaps;
    for (const std::string& rule : rules) {
        const std::size_t separator = rule.find(":=");
        if (separator == std::string::npos || separator == 0 || separator + 2 == rule.size()) {
            throw UsageError("cannot read the remap rule '" + rule +
                             "': it must be old_topic:=new_topic");
        }
        remaps[fullName(rule.substr(0, separator))] = fullName(rule.substr(separator + 2));
    }
    return remaps;
}

void playBag(const std::string& path, const PlayOptions& options, std::int8_t domain) {
    Player player(path, options, domain);
    player.play();
}

}  // namespace qorCli
