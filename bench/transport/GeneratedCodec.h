#pragma once

// The generated types' side of the benchmark, done the way Fast DDS's generated type support does
// it per sample: a Fast CDR stream over the payload buffer, the encapsulation, then the type's own
// serialize or deserialize.

#include <cstddef>

#include <fastcdr/Cdr.h>
#include <fastcdr/FastBuffer.h>

namespace qorROS2::bench {

/// Writes `message` with its encapsulation into `buffer` of `capacity` bytes and returns the
/// payload's size. Throws eprosima::fastcdr::exception::NotEnoughMemoryException if it does not
/// fit.
template <typename Generated>
std::size_t generatedSerialize(const Generated& message, char* buffer, std::size_t capacity) {
    eprosima::fastcdr::FastBuffer bytes(buffer, capacity);
    eprosima::fastcdr::Cdr stream(bytes, eprosima::fastcdr::Cdr::DEFAULT_ENDIAN,
                                  eprosima::fastcdr::Cdr::DDS_CDR);
    stream.serialize_encapsulation();
    message.serialize(stream);
    return stream.getSerializedDataLength();
}

/// Reads `out` from the payload of `size` bytes at `payload`. Throws a Fast CDR exception when
/// the payload is malformed.
template <typename Generated>
void generatedDeserialize(const char* payload, std::size_t size, Generated& out) {
    // Fast CDR only reads through the buffer; its constructor just takes no pointer to const.
    eprosima::fastcdr::FastBuffer bytes(const_cast<char*>(payload), size);
    eprosima::fastcdr::Cdr stream(bytes, eprosima::fastcdr::Cdr::DEFAULT_ENDIAN,
                                  eprosima::fastcdr::Cdr::DDS_CDR);
    stream.read_encapsulation();
    out.deserialize(stream);
}

}  // namespace qorROS2::bench
