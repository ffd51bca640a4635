#pragma once

// Calls a service whose server answers only when the test steps it (a parameter server on the
// stepping thread), stepping until the answer comes or the delivery deadline passes.

#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "WaitFor.h"
#include "qorROS2/ServiceClient.h"

namespace qorTest {

/// Sends `request` by `client`, then calls `step` (which lets the server answer) until the
/// response arrives; nullopt when none came by the deadline.
template <typename Srv, typename Step>
std::optional<typename Srv::Response> callStepping(qorROS2::ServiceClient<Srv>& client,
                                                   const typename Srv::Request& request,
                                                   Step&& step) {
    // Shared with the callback, which may still come from the middleware's thread after a
    // deadline has passed here.
    struct Answer {
        std::mutex mutex;
        std::optional<typename Srv::Response> response;
    };
    const auto answer = std::make_shared<Answer>();
    client.sendRequest(request, [answer](typename Srv::Response&& response) {
        const std::lock_guard<std::mutex> lock(answer->mutex);
        answer->response = std::move(response);
    });
    waitFor([&] {
        step();
        const std::lock_guard<std::mutex> lock(answer->mutex);
        return answer->response.has_value();
    });
    const std::lock_guard<std::mutex> lock(answer->mutex);
    return answer->response;
}

}  // namespace qorTest
