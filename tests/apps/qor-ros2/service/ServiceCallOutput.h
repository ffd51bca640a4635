#pragma once

// What the service call tests compare of `service call`'s output.

#include <string>

#include "ChildProcess.h"

namespace qorCliTest {

/// `run` without the "waiting for service to become available..." line it may start with: ros2
/// prints it only when the server was not known the moment the client was made, which is up to
/// discovery's timing.
inline qorTest::RunResult withoutWaitingLine(qorTest::RunResult run) {
    const std::string waiting = "waiting for service to become available...\n";
    if (run.output.rfind(waiting, 0) == 0) {
        run.output.erase(0, waiting.size());
    }
    return run;
}

}  // namespace qorCliTest
