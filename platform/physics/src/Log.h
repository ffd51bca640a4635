#pragma once

#include <string>

namespace qorSDK::detail {

// Emits text as one line of the given level through qor::Notify, without a location, the way
// the rest of the platform logs. Cheap when the level is filtered out.
void log(int level, const std::string& text);

// Returns the shortest decimal text that reads back as value, so that logged times and forces
// are exact without trailing noise ("0.003", not "0.0030000000000000001").
std::string formatNumber(double value);

}  // namespace qorSDK::detail
