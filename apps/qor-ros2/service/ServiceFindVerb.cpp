// `qor-ros2 service find TYPE`: the services of a type, as `ros2 service find` prints them.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "service/ServiceListing.h"

namespace qorCli {
namespace {

class ServiceFindVerb : public Verb {
  public:
    explicit ServiceFindVerb(CLI::App& app) : m_app(app) {
        addPositional(app, "service_type", m_type, true,
                      "Name of the ROS service type to filter for (e.g. "
                      "'rcl_interfaces/srv/ListParameters')");
        addFlag(app, "-c,--count-services", m_countOnly,
                "Only display the number of services discovered");
        app.add_flag("--include-hidden-services", "Consider hidden services as well");
    }

    int run() override {
        // The whole type name must match, as ros2 compares it.
        const std::string text = namesOfTypeText(
            settledServices(domainFromEnvironment(), includeHiddenServices(m_app), {}), m_type,
            m_countOnly);
        std::fwrite(text.data(), 1, text.size(), stdout);
        return 0;
    }

  private:
    const CLI::App& m_app;
    std::string m_type;
    bool m_countOnly = false;
};

}  // namespace

std::unique_ptr<Verb> makeServiceFindVerb(CLI::App& app) {
    return std::make_unique<ServiceFindVerb>(app);
}

}  // namespace qorCli
