// `qor-ros2 service type SERVICE`: the types of a service, as `ros2 service type` prints them;
// exit code 1 when no such service is seen.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "cli/CommandOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "service/ServiceListing.h"

namespace qorCli {
namespace {

class ServiceTypeVerb : public Verb {
  public:
    // ros2 gives this verb neither the node options nor its own --include-hidden-services: the
    // command's flag decides.
    explicit ServiceTypeVerb(CLI::App& app) : m_app(app) {
        addPositional(app, "service_name", m_service, true,
                      "Name of the ROS service to get type (e.g. '/talker/list_parameters')");
    }

    int run() override {
        return printTypesOf(
            settledServices(domainFromEnvironment(), includeHiddenServices(m_app), {}), m_service);
    }

  private:
    const CLI::App& m_app;
    std::string m_service;
};

}  // namespace

std::unique_ptr<Verb> makeServiceTypeVerb(CLI::App& app) {
    return std::make_unique<ServiceTypeVerb>(app);
}

}  // namespace qorCli
