#include "topic/MeasuringVerb.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/ToolDomain.h"
#include "topic/TopicTaps.h"

namespace qorCli {

void printNow(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

SingleTopicMeasuringVerb::SingleTopicMeasuringVerb(CLI::App& app, const std::string& topicHelp,
                                                   const std::string& windowHelp,
                                                   const std::string& simTimeUse)
    : m_app(app) {
    addPositional(app, "topic", m_topic, true, topicHelp);
    addNonNegativeInt(app, "-w,--window", m_window, "WINDOW", windowHelp);
    addQosOptions(app, m_qos, "subscribe", "sensor_data");
    addDirectNodeOptions(app, m_node, adaptingNodeUse(simTimeUse));
}

bool SingleTopicMeasuringVerb::measureTopic(
    std::size_t defaultWindow,
    const std::function<MeasuringSteps(std::size_t window, RosClock& clock)>& start) {
    const std::size_t window = measuringWindow(m_app, m_window, defaultWindow);
    const std::int8_t domain = domainFromEnvironment();
    RosClock clock(m_node.useSimTime, domain);
    TopicTaps taps({m_topic}, "", m_qos, domain, m_node.spinTime);
    const MeasuringSteps steps = start(window, clock);
    return taps.measure(
        [&](std::size_t, const TappedSample& sample) { return steps.sample(sample); }, steps.second,
        clock);
}

}  // namespace qorCli
