#pragma once

// What every endpoint hands to the middleware as a sample: a pointer and what it points at. A
// participant registers one data type per type name, so a raw and a typed endpoint of one type
// in one process and domain share it, and it tells their samples apart by this tag.

#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace qorROS2::transport::endpoints {

/// The bytes a raw writer hands over: a whole payload, encapsulation header included, which the
/// writer's caller keeps alive during the write.
struct RawPayloadView {
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};

/// The object given to DataWriter::write() and DataReader::take_next_sample() by every endpoint,
/// and made by the data types' createData(). It lives on the caller's stack: tagging a sample
/// neither copies nor allocates.
struct WireSample {
    enum class Form : std::uint8_t {
        /// `data` is the record to encode (a const T*) or the DecodeSlot<T> to decode into.
        record,
        /// `data` is the RawPayloadView to copy out or the std::vector<std::uint8_t> to copy into.
        payload,
    };

    Form form = Form::record;
    void* data = nullptr;
};

/// A record of the endpoint's type to write. DataWriter::write() takes a mutable pointer but
/// only reads the sample.
inline WireSample recordToWrite(const void* record) {
    return WireSample{WireSample::Form::record, const_cast<void*>(record)};
}

/// Payload bytes to write.
inline WireSample payloadToWrite(const RawPayloadView& bytes) {
    return WireSample{WireSample::Form::payload, const_cast<RawPayloadView*>(&bytes)};
}

/// The DecodeSlot<T> of the endpoint's type to take a record into.
inline WireSample recordToTake(void* decodeSlot) {
    return WireSample{WireSample::Form::record, decodeSlot};
}

/// The buffer to take payload bytes into; its capacity is reused.
inline WireSample payloadToTake(std::vector<std::uint8_t>& bytes) {
    return WireSample{WireSample::Form::payload, &bytes};
}

/// What a data type's createData() makes: a sample of `form` that owns a new `Storage` to take
/// into; null when memory ran out, as the middleware expects.
template <typename Storage>
void* newOwningSample(WireSample::Form form) {
    auto* storage = new (std::nothrow) Storage();
    auto* sample = storage != nullptr ? new (std::nothrow) WireSample{form, storage} : nullptr;
    if (sample == nullptr) {
        delete storage;
    }
    return sample;
}

/// Deletes what newOwningSample<Storage>() made.
template <typename Storage>
void deleteOwningSample(void* data) {
    auto* sample = static_cast<WireSample*>(data);
    delete static_cast<Storage*>(sample->data);
    delete sample;
}

}  // namespace qorROS2::transport::endpoints
