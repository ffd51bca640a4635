// `qor-ros2 service call SERVICE TYPE [VALUES] [-r N]`: calls a service, as `ros2 service call`
// does.

#include <CLI/CLI.hpp>

#include "cli/CommandOptions.h"
#include "cli/ToolDomain.h"
#include "cli/Verb.h"
#include "service/ServiceCall.h"

namespace qorCli {
namespace {

class ServiceCallVerb : public Verb {
  public:
    explicit ServiceCallVerb(CLI::App& app) {
        addPositional(app, "service_name", m_request.service, true,
                      "Name of the ROS service to call to (e.g. '/add_two_ints')");
        addPositional(app, "service_type", m_request.type, true,
                      "Type of the ROS service (e.g. 'std_srvs/srv/Empty')");
        addPositional(app, "values", m_request.values, false,
                      "Values to fill the service request with in YAML format (e.g. '{a: 1, b: "
                      "2}'), otherwise the service request will be published with default values");
        addFloat(app, "-r,--rate", m_request.rate, "N", "Repeat the call at a specific rate in Hz");
    }

    int run() override {
        m_request.domain = domainFromEnvironment();
        return callService(m_request);
    }

  private:
    ServiceCallRequest m_request;
};

}  // namespace

std::unique_ptr<Verb> makeServiceCallVerb(CLI::App& app) {
    return std::make_unique<ServiceCallVerb>(app);
}

}  // namespace qorCli
