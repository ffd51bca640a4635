// `qor-ros2 service list`: the services of the domain, as `ros2 service list` prints them.

#include "cli/NamesListVerb.h"
#include "service/ServiceListing.h"

namespace qorCli {

std::unique_ptr<Verb> makeServiceListVerb(CLI::App& app) {
    return makeNamesListVerb(app, ListedNames{"service", &settledServices});
}

}  // namespace qorCli
