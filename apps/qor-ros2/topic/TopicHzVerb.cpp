// `qor-ros2 topic hz`: prints the receive rate of one topic or several once a second, as
// `ros2 topic hz` does.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/RosClock.h"
#include "cli/ToolDomain.h"
#include "cli/UsageError.h"
#include "cli/Verb.h"
#include "topic/MessageFilter.h"
#include "topic/TopicTaps.h"
#include "topic/measure/RateMeter.h"
#include "types/MessageTypes.h"

namespace qorCli {
namespace {

// Whether `word`, given last, names the type of the topics rather than one more topic.
bool namesAType(const std::string& word) {
    if (word.empty() || word[0] == '/') {
        return false;
    }
    try {
        knownTypeSupport(word);
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
        addText(app, "--filter", m_filter, "EXPR",
                "only measure messages matching the specified Python expression (qor-ros2 "
                "evaluates " +
                    std::string(kFilterSubset) + ")");
        addFlag(app, "--wall-time", m_wallTime,
                "calculates rate using wall time which can be helpful when clock is not "
                "published during simulation");
        addQosOptions(app, m_qos, "subscribe", "sensor_data");
        addDirectNodeOptions(
            app, m_node,
            adaptingNodeUse(
                "here: the rate is timed by the rosgraph_msgs/msg/Clock messages on /clock, unless "
                "--wall-time"));
    }

    int run() override {
        const std::size_t window = measuringWindow(m_app, m_window, RateMeter::kDefaultWindow);
        std::vector<std::string> topics = m_words;
        std::string type;
        if (topics.size() > 1 && namesAType(topics.back())) {
            type = topics.back();
            topics.pop_back();
        }
        const std::int8_t domain = domainFromEnvironment();
        const std::unique_ptr<MessageFilter> filter =
            m_filter.empty() ? nullptr : std::make_unique<MessageFilter>("--filter", m_filter);
        RosClock clock(m_node.useSimTime, domain);
        TopicTaps taps(topics, type, m_qos, domain, m_node.spinTime);
        for (std::size_t topic = 0; filter != nullptr && topic < taps.size(); ++topic) {
            filter->check(taps.prototype(topic));
        }
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
            [&](std::size_t topic, const TappedSample& sample) {
                // ros2 counts the messages it could decode only.
                if (!sample.decodes() ||
                    (filter != nullptr && !filter->matches(sample.message()))) {
                    return true;
                }
                meter.add(taps.topic(topic), m_wallTime ? systemNanoseconds() : clock.now());
                if (!table) {
                    report();
                }
                return true;
            },
            [&] {
                if (table) {
                    report();
                }
            },
            clock);
        return 0;
    }

  private:
    const CLI::App& m_app;
    std::vector<std::string> m_words;
    std::optional<std::uint64_t> m_window;
    std::string m_filter;
    bool m_wallTime = false;
    QosFlags m_qos;
    NodeFlags m_node;
};

}  // namespace

std::unique_ptr<Verb> makeTopicHzVerb(CLI::App& app) {
    return std::make_unique<TopicHzVerb>(app);
}

}  // namespace qorCli
