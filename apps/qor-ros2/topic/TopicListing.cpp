#include "topic/TopicListing.h"

namespace qorCli {

std::vector<std::string> topicsSummary(const qorROS2::TopicDiscovery& discovery) {
    return namesSummary(discovery.topics());
}

std::vector<qorROS2::DiscoveredTopic> settledTopics(std::int8_t domain, bool includeHidden,
                                                    const std::optional<double>& spinTime) {
    const qorROS2::TopicDiscovery discovery(domain);
    return settledNames([&] { return discovery.topics(); }, includeHidden, spinTime);
}

bool includeHiddenTopics(const CLI::App& verb) {
    return givenToVerbOrCommand(verb, "--include-hidden-topics");
}

}  // namespace qorCli
