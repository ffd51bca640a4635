#pragma once

// Parameters as a Foxglove WebSocket server offers them: values that a client reads, sets and
// subscribes to, while the program that owns them answers through ParameterReply.

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "qorROS2/web/Export.h"

namespace qorROS2::web {

namespace detail {
class ServerCore;
}

/// A parameter's value. The alternatives follow ROS 2's parameter types, so that index() is the
/// type's number there: not set (0), bool, integer, double, string, byte array, bool array,
/// integer array, double array (8) and string array (9).
using ParameterValue =
    std::variant<std::monostate, bool, std::int64_t, double, std::string, std::vector<std::uint8_t>,
                 std::vector<bool>, std::vector<std::int64_t>, std::vector<double>,
                 std::vector<std::string>>;

/// One named value, as clients see it.
struct Parameter {
    std::string name;  ///< "/qor_ros2_demo.camera.rate"
    ParameterValue value;
};

/// The way back to the client that asked for parameters or set them. Copyable, and usable from
/// any thread, now or later: the first answer is sent and every later one ignored, as is one that
/// comes after the client left or the server stopped.
class QORWEB_EXPORT ParameterReply {
  public:
    /// Answers nothing: respond() returns false.
    ParameterReply() = default;
    /// Made by the server for each request it hands over. `sendsValues` is false for a
    /// setParameters without an id, which asks for no values back.
    ParameterReply(std::weak_ptr<detail::ServerCore> core, std::uint64_t clientId,
                   std::optional<std::string> requestId, bool sendsValues)
        : m_core(std::move(core)),
          m_clientId(clientId),
          m_requestId(std::move(requestId)),
          m_sendsValues(sendsValues),
          m_answered(std::make_shared<std::atomic<bool>>(false)) {}

    /// Sends `parameters` to the client as the answer (a parameterValues with the request's id),
    /// after a status warning that says `refusal` when it is not empty: the parameters a set
    /// could not change come back with the values they keep. Returns whether the client was sent
    /// anything.
    bool respond(const std::vector<Parameter>& parameters, const std::string& refusal = {}) const;

  private:
    std::weak_ptr<detail::ServerCore> m_core;
    std::uint64_t m_clientId = 0;
    std::optional<std::string> m_requestId;
    bool m_sendsValues = false;
    std::shared_ptr<std::atomic<bool>> m_answered;
};

}  // namespace qorROS2::web
