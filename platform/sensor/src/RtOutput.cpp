#include "qorSensor/RtOutput.h"

#include <cstdio>
#include <stdexcept>
#include <string>
#include <utility>

namespace qorSensor {
namespace {

constexpr std::uint32_t kKindShift = 24;
constexpr std::uint32_t kSizeShift = 16;
constexpr std::uint32_t kCountShift = 12;

std::uint32_t bitsOf(RtOutput::Field field) {
    return static_cast<std::uint32_t>(field);
}

std::string hex(RtOutput::Field field) {
    char text[11];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned int>(bitsOf(field)));
    return text;
}

// Bytes of one element of type; 0 for NO_TYPE and unknown codes.
std::uint64_t bytesOf(RtOutput::ElementType type) {
    switch (type) {
        case RtOutput::INT8:
        case RtOutput::UINT8:
            return 1;
        case RtOutput::INT16:
        case RtOutput::UINT16:
            return 2;
        case RtOutput::INT32:
        case RtOutput::UINT32:
        case RtOutput::FLOAT32:
            return 4;
        case RtOutput::FLOAT64:
            return 8;
        case RtOutput::NO_TYPE:
        default:
            return 0;
    }
}

// Says what is wrong with a field that is not padding, or returns an empty text.
std::string problemOf(RtOutput::Field field) {
    const std::uint64_t count = RtOutput::getFieldElementCount(field);
    if (count == 0) {
        return {};
    }
    const std::uint64_t names = RtOutput::getFieldElementNames(field).size();
    if (names != count) {
        return "its meaning " + std::to_string(bitsOf(field) >> kKindShift) + " names " +
               std::to_string(names) + " elements, not " + std::to_string(count);
    }
    const std::uint64_t elementBytes = bytesOf(RtOutput::getFieldElementType(field));
    if (elementBytes == 0) {
        return "its element type " + std::to_string(RtOutput::getFieldElementType(field)) +
               " is not a point field type";
    }
    if (elementBytes * count != RtOutput::sizeOf(field)) {
        return "its " + std::to_string(count) + " elements of " + std::to_string(elementBytes) +
               " bytes do not fill its " + std::to_string(RtOutput::sizeOf(field)) + " bytes";
    }
    return {};
}

}  // namespace

std::uint64_t RtOutput::sizeOf(Field field) noexcept {
    return (bitsOf(field) >> kSizeShift) & 0xFFU;
}

std::uint64_t RtOutput::getFieldElementCount(Field field) noexcept {
    return (bitsOf(field) >> kCountShift) & 0xFU;
}

RtOutput::ElementType RtOutput::getFieldElementType(Field field) noexcept {
    return static_cast<ElementType>(bitsOf(field) & 0xFFU);
}

const std::vector<std::string>& RtOutput::getFieldElementNames(Field field) {
    static const std::vector<std::string> none;
    static const std::vector<std::string> position = {"x", "y", "z"};
    static const std::vector<std::string> intensity = {"intensity"};
    static const std::vector<std::string> range = {"range"};
    static const std::vector<std::string> ring = {"ring"};
    if (isPadding(field)) {
        return none;
    }
    switch (bitsOf(field) >> kKindShift) {
        case 1:
            return position;
        case 2:
            return intensity;
        case 3:
            return range;
        case 4:
            return ring;
        default:
            return none;
    }
}

bool RtOutput::isPadding(Field field) noexcept {
    return (bitsOf(field) & PADDING_BIT) != 0;
}

RtOutput::RtOutput(std::vector<Field> fields) : m_fields(std::move(fields)), m_elementSize(0) {
    if (m_fields.empty()) {
        throw std::invalid_argument("RtOutput: no field given; a point needs at least one");
    }
    for (std::size_t i = 0; i < m_fields.size(); ++i) {
        const Field field = m_fields[i];
        const std::string problem = isPadding(field) ? std::string() : problemOf(field);
        if (!problem.empty()) {
            throw std::invalid_argument("RtOutput: field " + std::to_string(i) + " (" + hex(field) +
                                        ") is not a field of this platform: " + problem);
        }
        m_elementSize += sizeOf(field);
    }
}

RtOutput::~RtOutput() = default;

const std::vector<RtOutput::Field>& RtOutput::getFields() const noexcept {
    return m_fields;
}

std::uint64_t RtOutput::getElementSize() const noexcept {
    return m_elementSize;
}

RtOutput::SynchronizedData RtOutput::getSynchronizedData() const noexcept {
    const std::uint64_t count = m_elementSize == 0 ? 0 : m_points.size() / m_elementSize;
    return SynchronizedData{m_points.empty() ? nullptr : m_points.data(), count, m_elementSize};
}

void RtOutput::setData(std::vector<std::uint8_t> bytes) {
    swapData(bytes);
}

void RtOutput::swapData(std::vector<std::uint8_t>& bytes) {
    const bool whole = m_elementSize == 0 ? bytes.empty() : bytes.size() % m_elementSize == 0;
    if (!whole) {
        throw std::invalid_argument("RtOutput: " + std::to_string(bytes.size()) +
                                    " bytes are no whole number of points of " +
                                    std::to_string(m_elementSize) + " bytes");
    }
    m_points.swap(bytes);
}

}  // namespace qorSensor
