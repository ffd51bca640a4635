#pragma once

// Generic helpers for tests that must treat every message record alike: fill a record with
// recognisable values, check that it is in its default state, compare two records. They walk the
// records' own field lists, so they need no per-record code.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "qorROS2/MessageFields.h"

namespace qorTest {

/// How fillRecord fills a record.
struct FillOptions {
    std::size_t sequenceLength = 3;  ///< elements put in every sequence
    bool longStrings = true;         ///< strings too long to live inside the string object
    bool reserveOnly = false;        ///< sequences and strings get storage but stay empty
    std::uint32_t seed = 1;          ///< first value; every filled scalar takes the next one
};

/// `bound` is the most elements a bounded sequence holds, 0 for any other value.
template <typename T>
void fillValue(T& value, FillOptions& options, std::size_t bound = 0) {
    if constexpr (qorROS2::isMessageRecord<T>) {
        qorROS2::forEachField(value, [&](const auto& field, auto& member) {
            fillValue(member, options, field.bound);
        });
    } else if constexpr (qorROS2::isSequence<T>) {
        const std::size_t length =
            bound != 0 && bound < options.sequenceLength ? bound : options.sequenceLength;
        if (options.reserveOnly) {
            value.clear();
            value.reserve(length);
            return;
        }
        value.resize(length);
        if constexpr (std::is_same_v<T, std::vector<bool>>) {
            // Its elements are bits, reached through proxies: alternate them so that each counts.
            for (std::size_t i = 0; i < value.size(); ++i) {
                value[i] = options.seed++ % 2U == 1U;
            }
        } else {
            for (auto& element : value) {
                fillValue(element, options);
            }
        }
    } else if constexpr (qorROS2::isFixedArray<T>) {
        for (auto& element : value) {
            fillValue(element, options);
        }
    } else if constexpr (std::is_same_v<T, std::string>) {
        const std::uint32_t seed = options.seed++;
        if (options.reserveOnly) {
            value.clear();
            value.reserve(64);
            return;
        }
        value = options.longStrings ? std::string(40, static_cast<char>('a' + seed % 26U))
                                    : std::string(1, static_cast<char>('a' + seed % 26U));
    } else if constexpr (std::is_same_v<T, bool>) {
        value = true;
        ++options.seed;
    } else {
        static_assert(std::is_arithmetic_v<T>);
        value = static_cast<T>(options.seed++ % 100U + 1U);
    }
}

/// Gives every number of `record` a non-zero value and every sequence and string content (or only
/// storage, with reserveOnly), recursively.
template <typename Record>
void fillRecord(Record& record, FillOptions options = {}) {
    fillValue(record, options);
}

// `reference` is the same member of a value-initialised record: a number differs when its bits
// differ from that one's, which is zero unless the definition declares a default ("uint64 steps
// 1").
template <typename T>
void collectNonDefault(const T& value, const std::string& path, std::vector<std::string>& out,
                       const T* reference = nullptr) {
    if constexpr (qorROS2::isMessageRecord<T>) {
        const T fresh{};
        qorROS2::forEachField(value, [&](const auto& field, const auto& member) {
            collectNonDefault(member, path + "." + field.name, out, &(fresh.*(field.member)));
        });
    } else if constexpr (qorROS2::isSequence<T>) {
        if (!value.empty() || value.capacity() != 0) {
            out.push_back(path + ": size " + std::to_string(value.size()) + ", capacity " +
                          std::to_string(value.capacity()));
        }
    } else if constexpr (qorROS2::isFixedArray<T>) {
        for (std::size_t i = 0; i < value.size(); ++i) {
            collectNonDefault(value[i], path + "[" + std::to_string(i) + "]", out,
                              reference != nullptr ? &(*reference)[i] : nullptr);
        }
    } else if constexpr (std::is_same_v<T, std::string>) {
        if (!value.empty() || value.capacity() != std::string().capacity()) {
            out.push_back(path + ": \"" + value + "\", capacity " +
                          std::to_string(value.capacity()));
        }
    } else {
        static_assert(std::is_arithmetic_v<T>);
        const T expected = reference != nullptr ? *reference : T{};
        if (std::memcmp(&value, &expected, sizeof(T)) != 0) {
            out.push_back(path + ": not its default");
        }
    }
}

/// The members of `record` that differ from a default-constructed record's: numbers whose bits
/// differ from the default (zero unless the definition declares one), strings with content or heap
/// storage, sequences with elements or capacity. Empty when the record is in its default state.
template <typename Record>
std::vector<std::string> nonDefaultMembers(const Record& record) {
    std::vector<std::string> out;
    collectNonDefault(record, "", out);
    return out;
}

/// True when both values hold the same contents; numbers are compared bit for bit, so NaN equals
/// the same NaN.
template <typename T>
bool sameContents(const T& a, const T& b) {
    if constexpr (qorROS2::isMessageRecord<T>) {
        bool same = true;
        qorROS2::forEachField(a, [&](const auto& field, const auto& member) {
            same = same && sameContents(member, b.*(field.member));
        });
        return same;
    } else if constexpr (qorROS2::isSequence<T> || qorROS2::isFixedArray<T>) {
        if (a.size() != b.size()) {
            return false;
        }
        for (std::size_t i = 0; i < a.size(); ++i) {
            if (!sameContents(a[i], b[i])) {
                return false;
            }
        }
        return true;
    } else if constexpr (std::is_same_v<T, std::string>) {
        return a == b;
    } else {
        static_assert(std::is_arithmetic_v<T>);
        return std::memcmp(&a, &b, sizeof(T)) == 0;
    }
}

}  // namespace qorTest
