// `qor-ros2 topic list`: the topics of the domain, as `ros2 topic list` prints them.

#include "cli/NamesListVerb.h"
#include "topic/TopicListing.h"

namespace qorCli {

std::unique_ptr<Verb> makeTopicListVerb(CLI::App& app) {
    return makeNamesListVerb(app, ListedNames{"topic", &settledTopics});
}

}  // namespace qorCli
