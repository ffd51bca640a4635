#pragma once

// Before anything is timed: both codecs must produce the same bytes for both messages, or the
// comparison would not be of the same work.

namespace qorROS2::bench {

/// Encodes both messages with our codec and with the generated type support and compares the
/// payloads byte for byte; decodes each payload with the other side and checks it comes back
/// whole. Prints what differs and aborts on any mismatch.
void requireSameBytes();

}  // namespace qorROS2::bench
