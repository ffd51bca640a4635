#include "cli/NamesListVerb.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <utility>

#include "cli/CommandOptions.h"
#include "cli/NodeOptions.h"
#include "cli/ToolDomain.h"

namespace qorCli {
namespace {

class NamesListVerb : public Verb {
  public:
    NamesListVerb(CLI::App& app, ListedNames listed)
        : m_app(app),
          m_listed(std::move(listed)),
          m_hiddenFlag("--include-hidden-" + m_listed.noun + "s") {
        const std::string& noun = m_listed.noun;
        addStrategyNodeOptions(app, m_node, listingNodeUse());
        addFlag(app, "-t,--show-types", m_showTypes, "Additionally show the " + noun + " type");
        addFlag(app, "-c,--count-" + noun + "s", m_countOnly,
                "Only display the number of " + noun + "s discovered");
        // The command has the flag too; ros2 repeats it on the verb for its help.
        addFlag(app, m_hiddenFlag, m_hiddenOnVerb, "Consider hidden " + noun + "s as well");
    }

    int run() override {
        const NamesAndTypes names = m_listed.settled(
            domainFromEnvironment(), givenToVerbOrCommand(m_app, m_hiddenFlag), m_node.spinTime);
        const std::string text =
            m_countOnly ? std::to_string(names.size()) + "\n" : namesText(names, m_showTypes);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    const CLI::App& m_app;
    ListedNames m_listed;
    std::string m_hiddenFlag;
    NodeFlags m_node;
    bool m_showTypes = false;
    bool m_countOnly = false;
    bool m_hiddenOnVerb = false;
};

}  // namespace

std::unique_ptr<Verb> makeNamesListVerb(CLI::App& app, ListedNames listed) {
    return std::make_unique<NamesListVerb>(app, std::move(listed));
}

}  // namespace qorCli
