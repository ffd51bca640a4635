#pragma once

// The live view's own page, which a program hands to its server as ServerOptions'
// staticDirectory so that a browser pointed at the server's address shows the simulation.

#include <string>

#include "qorROS2/web/Export.h"

namespace qorROS2::web {

/// The folder holding the page (index.html and what it loads): share/qorROS2/web in one of the
/// three folders above the running program's own, which finds it beside an installed program
/// (bin/..) and in the build tree (build/apps/<program>/../..). Empty when there is none.
QORWEB_EXPORT std::string bundledPageDirectory();

/// The same search, from the folder `programDirectory` instead of the running program's.
QORWEB_EXPORT std::string bundledPageDirectory(const std::string& programDirectory);

}  // namespace qorROS2::web
