#pragma once

// What the tests of raw endpoints share: showing payload bytes and waiting for a raw sample.

#include <cstdint>
#include <string>
#include <vector>

#include "WaitFor.h"
#include "qorROS2/RawSubscriber.h"

namespace qorTest {

/// `bytes` as lower-case hex pairs, each followed by a space, so a failing comparison shows
/// where two payloads part.
inline std::string spacedHex(const std::vector<std::uint8_t>& bytes) {
    static const char* const kDigits = "0123456789abcdef";
    std::string text;
    for (std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0x0fU];
        text += ' ';
    }
    return text;
}

/// Takes a sample of `subscriber` into `sample` once one has come; false when none came in time.
inline bool takeWithin(const qorROS2::RawSubscriber& subscriber, qorROS2::RawSample& sample) {
    return waitFor([&] { return subscriber.takeSample(sample); });
}

}  // namespace qorTest
