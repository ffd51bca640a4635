#pragma once

// What the cross-process benchmark programs share: their domain, their numeric options and their
// entry point, which either measures or plays the peer.

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

namespace qorROS2::bench {

/// A DDS domain that no test uses, per process, so that two benchmark runs do not meet.
std::uint32_t benchmarkDomain();

/// One "--name N" option of a benchmark program.
struct NumericOption {
    const char* name;  ///< "--repetitions"
    int* value;        ///< where N goes
    int minimum;       ///< the smallest N accepted
};

/// Reads argv[1..] as "--name N" pairs of `known`; throws std::invalid_argument naming the
/// option when one is unknown, lacks its number or is below its minimum.
void parseNumericOptions(int argc, char** argv, std::initializer_list<NumericOption> known);

/// Runs `peer` with the arguments after `peerFlag` when argv[1] is `peerFlag`, `benchmark`
/// otherwise; an exception becomes a line on stderr and exit status 1.
int runBenchmarkProgram(int argc, char** argv, const char* program, const char* peerFlag,
                        const std::function<int(const std::vector<std::string>&)>& peer,
                        const std::function<int()>& benchmark);

}  // namespace qorROS2::bench
