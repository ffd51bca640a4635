#include "bag/RosLog.h"

#include <chrono>
#include <cstdio>

namespace qorCli {

void rosLog(LogLevel level, const std::string& logger, const std::string& text) {
    const char* name = level == LogLevel::INFO   ? "INFO"
                       : level == LogLevel::WARN ? "WARN"
                                                 : "ERROR";
    const auto now = std::chrono::duration_cast<std::chrono::nanoseconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
    // One fprintf a line: lines of other threads never cut into it.
    std::fprintf(stderr, "[%s] [%lld.%09lld] [%s]: %s\n", name,
                 static_cast<long long>(now / 1'000'000'000),
                 static_cast<long long>(now % 1'000'000'000), logger.c_str(), text.c_str());
}

}  // namespace qorCli
