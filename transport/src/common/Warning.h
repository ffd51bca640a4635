#pragma once

#include <string>

namespace qorROS2::transport::common {

/// Emits `text` as one warning line through the platform's logger.
void warn(const std::string& text);

}  // namespace qorROS2::transport::common
