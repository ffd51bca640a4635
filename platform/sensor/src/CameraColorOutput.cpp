#include "qorSensor/CameraColorOutput.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

namespace qorSensor {
namespace {

std::string describe(Resolution resolution) {
    return std::to_string(resolution.width) + "x" + std::to_string(resolution.height);
}

bool isKnownType(CameraColorOutput::ChannelType type) {
    return type == CameraColorOutput::NONE || CameraColorOutput::sizeOf(type) != 0;
}

// Bytes of one pixel: all channels, or the one channel of a mosaic pixel.
std::uint64_t elementSizeOf(std::uint64_t channelCount, CameraColorOutput::ChannelType type,
                            CameraColorOutput::PixelLayout layout) {
    const std::uint64_t channels = layout == CameraColorOutput::MOSAIC_2X2 ? 1 : channelCount;
    return channels * CameraColorOutput::sizeOf(type);
}

// Bytes of the whole image, refusing sizes that cannot be allocated rather than wrapping.
std::uint64_t imageBytes(Resolution resolution, std::uint64_t elementSize) {
    const auto width = static_cast<std::uint64_t>(resolution.width);
    const auto height = static_cast<std::uint64_t>(resolution.height);
    const std::uint64_t limit = std::numeric_limits<std::int64_t>::max();
    if ((width != 0 && elementSize > limit / width) ||
        (height != 0 && elementSize * width > limit / height)) {
        throw std::invalid_argument("CameraColorOutput: an image of " + describe(resolution) +
                                    " pixels of " + std::to_string(elementSize) +
                                    " bytes is too large");
    }
    return elementSize * width * height;
}

// Stores a mapped value: integers scale 0..1 to their full positive range, rounding halves away
// from zero and saturating (NaN gives 0); floating-point types keep the value as it is.
template <class T>
void store(double value, std::uint8_t* at) {
    T converted{};
    if constexpr (std::is_floating_point_v<T>) {
        converted = static_cast<T>(value);
    } else {
        constexpr double lowest = static_cast<double>(std::numeric_limits<T>::lowest());
        constexpr double highest = static_cast<double>(std::numeric_limits<T>::max());
        const double scaled = std::round(value * highest);
        converted = std::isnan(scaled) ? T{0} : static_cast<T>(std::clamp(scaled, lowest, highest));
    }
    std::memcpy(at, &converted, sizeof(T));
}

struct SourceImage {
    const std::uint8_t* pixels;
    std::uint64_t channels;
    bool bottomUp;
};

struct TargetImage {
    Resolution resolution;
    std::uint64_t channelCount;
    bool mosaic;
    const CameraColorOutput::ColorMappingMatrix* matrix;
    std::uint8_t* bytes;
};

template <class T>
void mapImage(const SourceImage& source, const TargetImage& target) {
    const auto width = static_cast<std::uint64_t>(target.resolution.width);
    const auto height = static_cast<std::uint64_t>(target.resolution.height);
    const CameraColorOutput::ColorMappingMatrix& matrix = *target.matrix;
    constexpr double kToUnit = 1.0 / 255.0;
    std::uint8_t* out = target.bytes;
    for (std::uint64_t y = 0; y < height; ++y) {
        const std::uint64_t sourceRow = source.bottomUp ? height - 1 - y : y;
        const std::uint8_t* pixel = source.pixels + sourceRow * width * source.channels;
        for (std::uint64_t x = 0; x < width; ++x, pixel += source.channels) {
            const double colour[4] = {pixel[0] * kToUnit, pixel[1] * kToUnit, pixel[2] * kToUnit,
                                      source.channels == 4 ? pixel[3] * kToUnit : 1.0};
            const std::uint64_t first = target.mosaic ? (y % 2) * 2 + x % 2 : 0;
            const std::uint64_t last = target.mosaic ? first + 1 : target.channelCount;
            for (std::uint64_t channel = first; channel < last; ++channel) {
                const double* weights = &matrix[channel * 4];
                store<T>(weights[0] * colour[0] + weights[1] * colour[1] + weights[2] * colour[2] +
                             weights[3] * colour[3],
                         out);
                out += sizeof(T);
            }
        }
    }
}

// Where each channel of a byte output comes from when the matrix only moves channels: a source
// channel, or a constant (kZero, kFull) that the general mapping would give for every pixel.
constexpr int kZero = -1;
constexpr int kFull = -2;

// Fills picks and returns true when every target channel's row is all zeros or one weight of
// exactly 1 among zeros; such a matrix maps byte to byte unchanged, so its pixels can be moved
// instead of computed. The general path computes the same bytes: c / 255 * 255 rounds back to c.
bool channelPicks(const SourceImage& source, const TargetImage& target, int picks[4]) {
    if (target.mosaic) {
        return false;
    }
    const CameraColorOutput::ColorMappingMatrix& matrix = *target.matrix;
    for (std::uint64_t channel = 0; channel < target.channelCount; ++channel) {
        const double* weights = &matrix[channel * 4];
        int pick = kZero;
        for (int column = 0; column < 4; ++column) {
            if (weights[column] == 0.0) {
                continue;
            }
            if (weights[column] != 1.0 || pick != kZero) {
                return false;
            }
            pick = column;
        }
        // A source without alpha is opaque: its fourth component is 1 everywhere.
        picks[channel] = pick == 3 && source.channels == 3 ? kFull : pick;
    }
    return true;
}

// Moves the picked channels of every pixel, turning the rows when the source lies bottom-up.
void pickImage(const SourceImage& source, const TargetImage& target, const int picks[4]) {
    const auto width = static_cast<std::uint64_t>(target.resolution.width);
    const auto height = static_cast<std::uint64_t>(target.resolution.height);
    const std::uint64_t targetRow = width * target.channelCount;
    const std::uint64_t sourceRow = width * source.channels;
    bool straight = target.channelCount == source.channels;
    for (std::uint64_t channel = 0; channel < target.channelCount; ++channel) {
        straight = straight && picks[channel] == static_cast<int>(channel);
    }
    for (std::uint64_t y = 0; y < height; ++y) {
        const std::uint8_t* in = source.pixels + (source.bottomUp ? height - 1 - y : y) * sourceRow;
        std::uint8_t* out = target.bytes + y * targetRow;
        if (straight) {
            std::memcpy(out, in, targetRow);
            continue;
        }
        for (std::uint64_t x = 0; x < width; ++x, in += source.channels) {
            for (std::uint64_t channel = 0; channel < target.channelCount; ++channel, ++out) {
                const int pick = picks[channel];
                *out = pick >= 0 ? in[pick] : pick == kFull ? std::uint8_t{255} : std::uint8_t{0};
            }
        }
    }
}

using ImageMapper = void (*)(const SourceImage&, const TargetImage&);

// The mapping that stores values of type; nullptr for NONE.
ImageMapper mapperOf(CameraColorOutput::ChannelType type) {
    switch (type) {
        case CameraColorOutput::INT8:
            return &mapImage<std::int8_t>;
        case CameraColorOutput::UINT8:
            return &mapImage<std::uint8_t>;
        case CameraColorOutput::INT16:
            return &mapImage<std::int16_t>;
        case CameraColorOutput::UINT16:
            return &mapImage<std::uint16_t>;
        case CameraColorOutput::INT32:
            return &mapImage<std::int32_t>;
        case CameraColorOutput::UINT32:
            return &mapImage<std::uint32_t>;
        case CameraColorOutput::FLOAT32:
            return &mapImage<float>;
        case CameraColorOutput::FLOAT64:
            return &mapImage<double>;
        case CameraColorOutput::NONE:
        default:
            return nullptr;
    }
}

}  // namespace

std::uint64_t CameraColorOutput::sizeOf(ChannelType type) noexcept {
    switch (type) {
        case INT8:
        case UINT8:
            return 1;
        case INT16:
        case UINT16:
            return 2;
        case INT32:
        case UINT32:
        case FLOAT32:
            return 4;
        case FLOAT64:
            return 8;
        case NONE:
        default:
            return 0;
    }
}

CameraColorOutput::ColorMappingMatrix CameraColorOutput::identityMatrix() noexcept {
    return {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
}

CameraColorOutput::CameraColorOutput(Resolution resolution, std::uint64_t channelCount,
                                     ChannelType channelType, const ColorMappingMatrix& matrix,
                                     PixelLayout layout)
    : m_resolution(resolution),
      m_channelCount(channelCount),
      m_channelType(channelType),
      m_matrix(matrix),
      m_layout(layout) {
    if (resolution.width < 0 || resolution.height < 0) {
        throw std::invalid_argument("CameraColorOutput: the resolution " + describe(resolution) +
                                    " is negative");
    }
    if (!isKnownType(channelType)) {
        throw std::invalid_argument("CameraColorOutput: channel type " +
                                    std::to_string(static_cast<std::int32_t>(channelType)) +
                                    " is not a type of this platform");
    }
    if (layout != INTERLEAVED && layout != MOSAIC_2X2) {
        throw std::invalid_argument("CameraColorOutput: pixel layout " +
                                    std::to_string(static_cast<std::int32_t>(layout)) +
                                    " is not a layout of this platform");
    }
    if (layout == MOSAIC_2X2 && channelCount != 4) {
        throw std::invalid_argument(
            "CameraColorOutput: a 2x2 mosaic needs 4 channels, one per place in the cell; " +
            std::to_string(channelCount) + " were given");
    }
    m_pixels.resize(imageBytes(resolution, elementSizeOf(channelCount, channelType, layout)));
}

CameraColorOutput::~CameraColorOutput() = default;

Resolution CameraColorOutput::getResolution() const {
    return m_resolution;
}

std::uint64_t CameraColorOutput::getElementSize() const {
    return elementSizeOf(m_channelCount, m_channelType, m_layout);
}

CameraColorOutput::Buffer CameraColorOutput::getData() const {
    return Buffer{m_pixels.empty() ? nullptr : m_pixels.data(), m_pixels.size()};
}

std::uint64_t CameraColorOutput::getChannelCount() const noexcept {
    return m_channelCount;
}

CameraColorOutput::ChannelType CameraColorOutput::getChannelType() const noexcept {
    return m_channelType;
}

CameraColorOutput::ColorMappingMatrix CameraColorOutput::getColorMappingMatrix() const noexcept {
    return m_matrix;
}

CameraColorOutput::PixelLayout CameraColorOutput::getPixelLayout() const noexcept {
    return m_layout;
}

void CameraColorOutput::setData(std::vector<std::uint8_t> bytes) {
    const std::uint64_t needed =
        imageBytes(m_resolution, elementSizeOf(m_channelCount, m_channelType, m_layout));
    if (bytes.size() < needed) {
        throw std::invalid_argument("CameraColorOutput::setData: " + std::to_string(bytes.size()) +
                                    " bytes given; an image of " + describe(m_resolution) +
                                    " needs " + std::to_string(needed));
    }
    m_pixels = std::move(bytes);
}

void CameraColorOutput::setFromColors(const std::uint8_t* pixels, std::uint64_t sourceChannels,
                                      bool bottomUp) {
    if (sourceChannels != 3 && sourceChannels != 4) {
        throw std::invalid_argument("CameraColorOutput::setFromColors: source pixels of " +
                                    std::to_string(sourceChannels) +
                                    " channels; only 3 (RGB) and 4 (RGBA) can be mapped");
    }
    const ImageMapper mapper = mapperOf(m_channelType);
    if (mapper == nullptr || m_channelCount > 4) {
        throw std::invalid_argument(
            "CameraColorOutput::setFromColors: an output of " + std::to_string(m_channelCount) +
            " channels of type " + std::to_string(static_cast<std::int32_t>(m_channelType)) +
            " cannot be mapped from colours; it needs a channel type and at most 4 channels");
    }
    const SourceImage source{pixels, sourceChannels, bottomUp};
    const TargetImage target{m_resolution, m_channelCount, m_layout == MOSAIC_2X2, &m_matrix,
                             m_pixels.data()};
    // Cameras mostly publish their colours as they are or reordered (RGB, BGR): those bytes are
    // moved, not computed per channel in floating point.
    int picks[4] = {kZero, kZero, kZero, kZero};
    if (m_channelType == UINT8 && channelPicks(source, target, picks)) {
        pickImage(source, target, picks);
        return;
    }
    mapper(source, target);
}

}  // namespace qorSensor
