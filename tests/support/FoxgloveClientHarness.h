#pragma once

// Starts the Foxglove client of tests/peers (@foxglove/ws-protocol's FoxgloveClient on `ws`)
// against a server of the test, and finds what it printed. The test target defines
// QOR_NODE_EXECUTABLE and QOR_TEST_PEERS_DIR.

#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "WaitFor.h"

namespace qorWebTest {

inline qorTest::ChildProcess startFoxgloveClient(const std::string& url,
                                                 const std::vector<std::string>& arguments = {}) {
    std::vector<std::string> argv = {QOR_NODE_EXECUTABLE, QOR_TEST_PEERS_DIR "/foxglove-client.js",
                                     url};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return qorTest::ChildProcess(argv, {qorTest::ChildProcess::MERGED, {}, {}});
}

/// The first line the client printed that starts with `prefix` and holds `containing`, once it
/// has printed it.
inline std::optional<std::string> lineStartingWith(
    qorTest::ChildProcess& client, const std::string& prefix,
    qorTest::Deadline deadline = qorTest::kDeliveryDeadline, const std::string& containing = "") {
    const auto index = client.waitForLine(
        [&](const std::string& line) {
            return line.rfind(prefix, 0) == 0 && line.find(containing) != std::string::npos;
        },
        deadline);
    if (!index) {
        return std::nullopt;
    }
    return client.lines()[*index];
}

inline std::string localUrl(unsigned port, const std::string& query = "") {
    return "ws://127.0.0.1:" + std::to_string(port) + "/" + query;
}

}  // namespace qorWebTest
