#include "SameBytesCheck.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <fastcdr/exceptions/Exception.h>

#include "BenchMessages.h"
#include "GeneratedCodec.h"
#include "cdr/CdrCodec.h"

namespace qorROS2::bench {
namespace {

using Bytes = std::vector<std::uint8_t>;

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "qorCodecBenchmark: %s\n", what.c_str());
    std::abort();
}

template <typename Record>
Bytes ourPayload(const Record& message) {
    Bytes payload(cdr::encodedSize(message));
    cdr::encode(message, payload.data(), payload.size());
    return payload;
}

template <typename Generated>
Bytes generatedPayload(const Generated& message, std::size_t capacity) {
    // Fast CDR steps over padding without writing it; the zeros CDR asks for there come from the
    // buffer, which is why every payload buffer of the benchmark starts zeroed.
    std::vector<char> buffer(capacity, 0);
    const std::size_t size = generatedSerialize(message, buffer.data(), buffer.size());
    return Bytes(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(size));
}

void compare(const std::string& what, const Bytes& ours, const Bytes& generated) {
    if (ours.size() != generated.size()) {
        fail(what + ": our payload has " + std::to_string(ours.size()) +
             " bytes, the generated one " + std::to_string(generated.size()));
    }
    for (std::size_t i = 0; i < ours.size(); ++i) {
        if (ours[i] != generated[i]) {
            fail(what + ": payloads differ first at byte " + std::to_string(i) + ": ours " +
                 std::to_string(ours[i]) + ", generated " + std::to_string(generated[i]));
        }
    }
}

template <typename Record>
void requireSame(const std::string& name, const Record& message) {
    const auto generated = toGenerated(message);
    const Bytes ours = ourPayload(message);
    try {
        // Room to spare, so that a longer generated payload shows as a size mismatch.
        compare(name, ours, generatedPayload(generated, ours.size() + 64));
        auto decoded = decltype(generated)();
        generatedDeserialize(reinterpret_cast<const char*>(ours.data()), ours.size(), decoded);
        if (!(decoded == generated)) {
            fail(name + ": the generated type support reads our payload as another message");
        }
    } catch (const eprosima::fastcdr::exception::Exception& error) {
        fail(name + ": the generated type support failed: " + error.what());
    }
    Record decoded{};
    const cdr::DecodeResult result = cdr::decode(ours.data(), ours.size(), decoded);
    if (!result.ok()) {
        fail(name + ": our decoder rejects the payload: " + result.describe());
    }
    compare(name + " decoded and encoded again", ourPayload(decoded), ours);
}

}  // namespace

void requireSameBytes() {
    requireSame("JointState", samples().jointState);
    requireSame("Image", samples().image);
}

}  // namespace qorROS2::bench
