// `qor-ros2 topic list`: the topics of the domain, as `ros2 topic list` prints them.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "topic/TopicListing.h"

namespace qorCli {
namespace {

class TopicListVerb : public Verb {
  public:
    explicit TopicListVerb(CLI::App& app) : m_app(app) {
        addStrategyNodeOptions(app, m_node, listingNodeUse());
        addFlag(app, "-t,--show-types", m_showTypes, "Additionally show the topic type");
        addFlag(app, "-c,--count-topics", m_countOnly,
                "Only display the number of topics discovered");
        app.add_flag("--include-hidden-topics", "Consider hidden topics as well");
    }

    int run() override {
        const auto topics =
            settledTopics(domainFromEnvironment(), includeHiddenTopics(m_app), m_node.spinTime);
        if (m_countOnly) {
            std::printf("%zu\n", topics.size());
            return 0;
        }
        std::string text;
        for (const qorROS2::DiscoveredTopic& topic : topics) {
            text += topic.name;
            if (m_showTypes) {
                text += " [";
                for (std::size_t i = 0; i < topic.types.size(); ++i) {
                    text += (i == 0 ? "" : ", ") + topic.types[i];
                }
                text += "]";
            }
            text += "\n";
        }
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    const CLI::App& m_app;
    NodeFlags m_node;
    bool m_showTypes = false;
    bool m_countOnly = false;
};

}  // namespace

std::unique_ptr<Verb> makeTopicListVerb(CLI::App& app) {
    return std::make_unique<TopicListVerb>(app);
}

}  // namespace qorCli
