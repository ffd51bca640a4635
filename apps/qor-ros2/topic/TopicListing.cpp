#include "topic/TopicListing.h"

#include <CLI/CLI.hpp>

#include "cli/CommandOptions.h"
#include "cli/GraphWait.h"

namespace qorCli {

bool isHiddenTopic(const std::string& topic) {
    std::size_t start = 0;
    while (start < topic.size()) {
        const std::size_t slash = topic.find('/', start);
        const std::size_t end = slash == std::string::npos ? topic.size() : slash;
        if (end > start && topic[start] == '_') {
            return true;
        }
        start = end + 1;
    }
    return false;
}

std::vector<std::string> topicsSummary(const qorROS2::TopicDiscovery& discovery) {
    std::vector<std::string> summary;
    for (const qorROS2::DiscoveredTopic& topic : discovery.topics()) {
        summary.push_back(topic.name);
        summary.insert(summary.end(), topic.types.begin(), topic.types.end());
    }
    return summary;
}

std::vector<qorROS2::DiscoveredTopic> settledTopics(std::int8_t domain, bool includeHidden,
                                                    const std::optional<double>& spinTime) {
    const qorROS2::TopicDiscovery discovery(domain);
    waitUntilSettled([&] { return topicsSummary(discovery); }, spinTime);
    std::vector<qorROS2::DiscoveredTopic> topics;
    for (qorROS2::DiscoveredTopic& topic : discovery.topics()) {
        if (includeHidden || !isHiddenTopic(topic.name)) {
            topics.push_back(std::move(topic));
        }
    }
    return topics;
}

bool includeHiddenTopics(const CLI::App& verb) {
    const std::string flag = "--include-hidden-topics";
    return given(verb, flag) || (verb.get_parent() != nullptr && given(*verb.get_parent(), flag));
}

}  // namespace qorCli
