#pragma once

// A test tool that writes payload bytes exactly as given, so tests can send what a broken or
// hostile peer would send. Not part of the library: it is built into a static library that only
// the tests link.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/QOS.h"

namespace qorROS2::transport::endpoints {

/// A DDS writer on `ddsTopic` with the type name `ddsTypeName` whose samples are raw payloads.
/// It has a participant of its own, so it can claim a type name that this process's endpoints
/// also register, with a different meaning.
class RawPayloadWriter {
  public:
    /// Throws std::invalid_argument for a `qos` an endpoint would refuse and std::runtime_error
    /// when the middleware refuses; both name `ddsTopic`.
    RawPayloadWriter(const std::string& ddsTopic, const std::string& ddsTypeName, const QOS& qos,
                     std::uint32_t domain);
    ~RawPayloadWriter();

    RawPayloadWriter(const RawPayloadWriter&) = delete;
    RawPayloadWriter& operator=(const RawPayloadWriter&) = delete;

    /// Sends `payload` (encapsulation header included) as one sample.
    bool write(const std::vector<std::uint8_t>& payload);

    /// The number of readers this writer has matched right now.
    std::size_t matchedSubscriptions() const;

    /// How often this writer found a reader on its topic whose policies it could not serve.
    std::uint32_t incompatibleReaders() const;

    /// The policy (a Fast DDS QosPolicyId_t) named by the last incompatibility.
    std::uint32_t lastIncompatiblePolicy() const;

  private:
    struct Entities;
    std::unique_ptr<Entities> m_entities;
};

}  // namespace qorROS2::transport::endpoints
