#pragma once

// A test peer running as a child process: its standard output is read line by line as it comes,
// its standard error is kept, and the test waits for lines, for samples or for its end with a
// deadline.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"

namespace qorInterop {

class PeerProcess : public qorTest::ChildProcess {
  public:
    /// Starts `arguments[0]` with the arguments that follow, keeping its output and its errors
    /// apart. Throws std::runtime_error when the process cannot be started.
    explicit PeerProcess(const std::vector<std::string>& arguments);

    /// The lines between "sample <index>" and the "end" after it, once both have been written.
    std::optional<std::vector<std::string>> waitForSample(std::size_t index,
                                                          qorTest::Deadline deadline);

    using ChildProcess::stop;
    /// Asks the peer to finish (SIGTERM).
    void stop();

    /// Output and error output so far, to explain a failure.
    std::string transcript() const;
};

}  // namespace qorInterop
