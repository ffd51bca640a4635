#pragma once

// A plain Fast DDS reader, set up by hand, that sees the exact bytes our writers send: the
// independent side of the wire tests.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace qorTest {

/// The reader's DDS policies, spelled out by the test rather than derived from a QOS.
struct RawReaderPolicies {
    bool reliable = true;
    bool transientLocal = false;
    std::int32_t depth = 10;
};

/// A writer as its participant announced it in discovery.
struct DiscoveredWriter {
    std::string topic;
    std::string typeName;
    bool keyed = false;
    bool sentTypeIdentifier = false;
    bool sentTypeObject = false;
    bool sentTypeInformation = false;
    bool reliable = false;
    bool transientLocal = false;
    std::vector<std::int16_t> representations;  ///< Fast DDS DataRepresentationId values
};

/// A reader with a participant of its own on `ddsTopic`, under the type name `ddsTypeName`,
/// whose samples are the payloads as received (encapsulation header included).
class RawReader {
  public:
    RawReader(std::uint32_t domain, const std::string& ddsTopic, const std::string& ddsTypeName,
              RawReaderPolicies policies);
    ~RawReader();

    RawReader(const RawReader&) = delete;
    RawReader& operator=(const RawReader&) = delete;

    /// Takes the oldest waiting payload; false when none waits.
    bool take(std::vector<std::uint8_t>& payload);

    /// The number of writers matched right now.
    std::size_t matchedPublications() const;

    /// How often the reader found a writer on its topic whose policies it could not accept.
    std::uint32_t incompatibleWriters() const;

    /// The policy (a Fast DDS QosPolicyId_t) named by the last incompatibility.
    std::uint32_t lastIncompatiblePolicy() const;

    /// The user data of every participant this reader's participant has discovered.
    std::vector<std::vector<std::uint8_t>> discoveredUserData() const;

    /// Every writer this reader's participant has discovered, in any process.
    std::vector<DiscoveredWriter> discoveredWriters() const;

  private:
    struct Entities;
    std::unique_ptr<Entities> m_entities;
};

}  // namespace qorTest
