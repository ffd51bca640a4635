#pragma once

// The topics of a domain as the verbs that list them see them: after discovery has settled,
// sorted, hidden topics left out unless asked for.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/GraphNames.h"
#include "qorROS2/TopicDiscovery.h"

namespace CLI {
class App;
}  // namespace CLI

namespace qorCli {

/// What discovery sees of the topics: names and types, in one list that changes whenever they do.
std::vector<std::string> topicsSummary(const qorROS2::TopicDiscovery& discovery);

/// The topics of `domain` once discovery has settled (or after `spinTime` seconds, when given);
/// hidden ones only with `includeHidden`.
std::vector<qorROS2::DiscoveredTopic> settledTopics(std::int8_t domain, bool includeHidden,
                                                    const std::optional<double>& spinTime);

/// Whether --include-hidden-topics was given to `verb` or to its command.
bool includeHiddenTopics(const CLI::App& verb);

}  // namespace qorCli
