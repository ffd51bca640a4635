#include "service/ServiceListing.h"

namespace qorCli {

NamesAndTypes settledServices(std::int8_t domain, bool includeHidden,
                              const std::optional<double>& spinTime) {
    const qorROS2::TopicDiscovery discovery(domain);
    return settledNames([&] { return discovery.services(); }, includeHidden, spinTime);
}

bool includeHiddenServices(const CLI::App& verb) {
    return givenToVerbOrCommand(verb, "--include-hidden-services");
}

}  // namespace qorCli
