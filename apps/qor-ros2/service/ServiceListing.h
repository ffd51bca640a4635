#pragma once

// The services of a domain as the verbs that list them see them: after discovery has settled,
// sorted, hidden services left out unless asked for.

#include <cstdint>
#include <optional>

#include "cli/GraphNames.h"

namespace qorCli {

/// The services of `domain` with their types once discovery has settled (or after `spinTime`
/// seconds, when given); hidden ones (rclpy hides them as it hides topics) only with
/// `includeHidden`.
NamesAndTypes settledServices(std::int8_t domain, bool includeHidden,
                              const std::optional<double>& spinTime);

/// Whether --include-hidden-services was given to `verb` or to its command.
bool includeHiddenServices(const CLI::App& verb);

}  // namespace qorCli
