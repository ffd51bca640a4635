// `qor-ros2 topic hz`: prints the receive rate of one topic or several once a second, as
// `ros2 topic hz` does.

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>

#include "CommandOptions.h"
#include "MessageTypes.h"
#include "RateMeter.h"
#include "ToolDomain.h"
#include "TopicTaps.h"
#include "UsageError.h"
#include "Verb.h"

namespace qorCli {
namespace {

// Whether `word`, given last, names the type of the topics rather than one more topic.
bool namesAType(const std::string& word) {
    if (word.empty() || word[0] == '/') {
        return false;
    }
    try {
        findMessageType(word);
        return true;
    } catch (const UsageError&) {
        return false;
    }
}

class TopicHzVerb : public Verb {
  public:
    explicit TopicHzVerb(CLI::App& app) : m_app(app) {
        addPositionals(app, "topic_name", m_words,
                       "Names of the ROS topics to listen to (e.g. '/chatter'), optionally "
                       "followed by their type (e.g. 'std_msgs/msg/String'); without it, the type "
                       "each topic's endpoints announce");
        addNonNegativeInt(app, "-w,--window", m_window, "WINDOW",
                          "window size, in # of messages, for calculating rate (default: 10000)");
        addQosOptions(app, m_qos, "subscribe", "sensor_data");
    }

    int run() override {
        const std::size_t window = measuringWindow(m_app, m_window, RateMeter::kDefaultWindow);
        std::vector<std::string> topics = m_words;
        std::string type;
        if (topics.size() > 1 && namesAType(topics.back())) {
            type = topics.back();
            topics.pop_back();
        }
        TopicTaps taps(topics, type, m_qos, domainFromEnvironment());
        RateMeter meter(window);
        const auto report = [&] {
            if (const auto text = meter.report(topics)) {
                std::fwrite(text->data(), 1, text->size(), stdout);
                std::fflush(stdout);
            }
        };
        // One topic is reported as its messages come; several in one table a second.
        const bool table = topics.size() > 1;
        taps.measure(
            [&](std::size_t topic, const TappedSample&) {
                // ROS time without a simulation clock: the system's time.
                const auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                    std::chrono::system_clock::now().time_since_epoch());
                meter.add(taps.topic(topic), now.count());
                if (!table) {
                    report();
                }
                return true;
            },
            [&] {
                if (table) {
                    report();
                }
            });
        return 0;
    }

  private:
    const CLI::App& m_app;
    std::vector<std::string> m_words;
    std::optional<std::uint64_t> m_window;
    QosFlags m_qos;
};

}  // namespace

std::unique_ptr<Verb> makeTopicHzVerb(CLI::App& app) {
    return std::make_unique<TopicHzVerb>(app);
}

}  // namespace qorCli
