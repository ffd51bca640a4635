#pragma once

// Records filled with the values that catch codec mistakes: extreme integers, NaN, infinities,
// negative zero and subnormals, strings whose odd lengths force padding before 8-byte values,
// long strings that live on the heap, sequences of varying lengths including empty ones. The
// filling is deterministic: a sample is named by its record type and a variant number, so two
// programs that build the same sample get the same record.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "qorROS2/Messages.h"

namespace qorTest {

namespace detail {

constexpr bool sameText(const char* a, const char* b) {
    while (*a != '\0' && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}

}  // namespace detail

/// Variants of each sample; the variant picks the shape of the containers and where the cycle
/// through the extreme values starts.
inline constexpr unsigned kSampleVariants = 6;

/// The shape of the containers of a variant.
enum class SampleShape {
    threeElements,    ///< every sequence holds 3 elements
    randomLengths,    ///< each sequence and string gets its own length, empty included
    oneElement,       ///< every sequence holds 1 element
    emptyContainers,  ///< every sequence and string is empty
};

inline SampleShape sampleShape(unsigned variant) {
    return static_cast<SampleShape>(variant % 4);
}

class SampleFiller {
  public:
    SampleFiller(std::uint64_t seed, unsigned variant)
        : m_random(seed), m_shape(sampleShape(variant)), m_next(variant) {}

    template <typename T>
    void fill(T& value) {
        if constexpr (qorROS2::isMessageRecord<T>) {
            qorROS2::forEachField(value, [&](const auto& field, auto& member) {
                // The placeholder that ROS 2 gives an empty message holds no value: ROS 2 always
                // writes 0 there.
                if (!detail::sameText(field.name, "structure_needs_at_least_one_member")) {
                    fill(member);
                }
            });
        } else if constexpr (qorROS2::isSequence<T>) {
            value.resize(sequenceLength());
            fillElements(value);
        } else if constexpr (qorROS2::isFixedArray<T>) {
            fillElements(value);
        } else if constexpr (std::is_same_v<T, std::string>) {
            value = text();
        } else {
            value = number<T>();
        }
    }

  private:
    template <typename Container>
    void fillElements(Container& elements) {
        for (std::size_t i = 0; i < elements.size(); ++i) {
            typename Container::value_type element{};
            fill(element);
            elements[i] = element;
        }
    }

    std::size_t sequenceLength() {
        switch (m_shape) {
            case SampleShape::threeElements:
                return 3;
            case SampleShape::randomLengths:
                return static_cast<std::size_t>(m_random() % 7);
            case SampleShape::oneElement:
                return 1;
            case SampleShape::emptyContainers:
                return 0;
        }
        return 0;
    }

    std::string text() {
        // Odd lengths leave the next value misaligned; 17 and 31 are too long for the string
        // object's own buffer.
        constexpr std::size_t lengths[] = {1, 3, 17, 5, 31, 7, 2, 13};
        constexpr char characters[] = "abcxyzABCXYZ0189 _-./\"\\\t\n{}";
        std::size_t length = lengths[m_next++ % std::size(lengths)];
        if (m_shape == SampleShape::emptyContainers) {
            length = 0;
        } else if (m_shape == SampleShape::randomLengths) {
            length = static_cast<std::size_t>(m_random() % 20);
        }
        std::string result(length, ' ');
        for (char& c : result) {
            c = characters[m_random() % (std::size(characters) - 1)];
        }
        return result;
    }

    template <typename T>
    T number() {
        const std::size_t index = m_next++;
        const std::uint64_t bits = m_random();
        if constexpr (std::is_same_v<T, bool>) {
            return index % 3 != 2;
        } else if constexpr (std::is_floating_point_v<T>) {
            using Limits = std::numeric_limits<T>;
            const T values[] = {Limits::quiet_NaN(),
                                Limits::infinity(),
                                -Limits::infinity(),
                                T(-0.0),
                                Limits::denorm_min(),
                                Limits::max(),
                                Limits::lowest(),
                                Limits::min(),
                                T(-1.5),
                                T(0.1),
                                randomReal<T>(bits)};
            return values[index % std::size(values)];
        } else if constexpr (std::is_same_v<T, char>) {
            const char values[] = {'A', '\x7f', '\xff', '\0', static_cast<char>(' ' + bits % 95)};
            return values[index % std::size(values)];
        } else if constexpr (std::is_signed_v<T>) {
            using Limits = std::numeric_limits<T>;
            const T values[] = {Limits::min(), Limits::max(), T(-1),
                                T(0),          T(1),          static_cast<T>(bits)};
            return values[index % std::size(values)];
        } else {
            using Limits = std::numeric_limits<T>;
            const T values[] = {Limits::max(), T(0), T(1), static_cast<T>(Limits::max() / 2 + 1),
                                static_cast<T>(bits)};
            return values[index % std::size(values)];
        }
    }

    template <typename T>
    static T randomReal(std::uint64_t bits) {
        // A finite value with a fraction and a sign, from the random bits.
        const double magnitude = static_cast<double>(bits % 2000001U) / 7.0;
        return static_cast<T>((bits >> 40) % 2 == 0 ? magnitude : -magnitude);
    }

    std::mt19937_64 m_random;
    SampleShape m_shape;
    std::size_t m_next;
};

/// FNV-1a: a hash that is the same in every program and on every run.
inline std::uint64_t stableHash(const std::string& text) {
    std::uint64_t hash = 14695981039346656037ULL;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ULL;
    }
    return hash;
}

/// The sample `variant` of Record.
template <typename Record>
Record sampleRecord(unsigned variant) {
    Record record{};
    SampleFiller(stableHash(qorROS2::rosTypeName<Record>()) + variant, variant).fill(record);
    return record;
}

namespace detail {

template <typename Kept, typename... Rest>
struct KeepStandard;
template <typename... Kept>
struct KeepStandard<qorROS2::TypeList<Kept...>> {
    using type = qorROS2::TypeList<Kept...>;
};
template <typename... Kept, typename First, typename... Rest>
struct KeepStandard<qorROS2::TypeList<Kept...>, First, Rest...> {
    using type = typename KeepStandard<
        std::conditional_t<sameText(qorROS2::MessageDescription<First>::package, "qor_msgs"),
                           qorROS2::TypeList<Kept...>, qorROS2::TypeList<Kept..., First>>,
        Rest...>::type;
};

template <typename List>
struct StandardOf;
template <typename... Records>
struct StandardOf<qorROS2::TypeList<Records...>> {
    using type = typename KeepStandard<qorROS2::TypeList<>, Records...>::type;
};

}  // namespace detail

/// The records of the standard ROS 2 packages: every record but those of qor_msgs.
using StandardRecords = detail::StandardOf<qorROS2::MessageRecords>::type;

}  // namespace qorTest
