#include "qorROS2/ROS2Util.h"

#include <array>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "qorROS2/TimeConversion.h"
#include "qorSensor/CameraCMOSSensor.h"
#include "qorSensor/CameraColorOutput.h"
#include "qorSensor/CameraLensSingleElement.h"
#include "qorSensor/CameraModel.h"
#include "qorSensor/LensDistortionBrownConrady.h"
#include "qorSensor/RtOutput.h"

namespace qorROS2 {
namespace detail {
namespace {

using ColorMappingMatrix = qorSensor::CameraColorOutput::ColorMappingMatrix;
using MatrixRow = std::array<double, 4>;

// The pure rows: output channel r carries exactly one source colour.
constexpr MatrixRow kRed = {1.0, 0.0, 0.0, 0.0};
constexpr MatrixRow kGreen = {0.0, 1.0, 0.0, 0.0};
constexpr MatrixRow kBlue = {0.0, 0.0, 1.0, 0.0};
constexpr MatrixRow kAlpha = {0.0, 0.0, 0.0, 1.0};

// The channel codes that have names of their own in ROS 2's encodings.
constexpr std::int32_t kNoType = 0;
constexpr std::int32_t kUnsigned8 = 2;
constexpr std::int32_t kUnsigned16 = 5;

// A channel layout with a ROS 2 name: its channel count, the rows of the colour mapping matrix
// from row 0 on (as many as it has channels), and its names for 8-bit and 16-bit channels.
struct NamedLayout {
    std::uint64_t channels;
    std::array<const MatrixRow*, 4> rows;
    const char* name8;
    const char* name16;
};

// Tried in this order; no two layouts of one channel count can both match.
constexpr NamedLayout kNamedLayouts[] = {
    {1, {&kRed, nullptr, nullptr, nullptr}, "mono8", "mono16"},
    {3, {&kRed, &kGreen, &kBlue, nullptr}, "rgb8", "rgb16"},
    {3, {&kBlue, &kGreen, &kRed, nullptr}, "bgr8", "bgr16"},
    {4, {&kRed, &kGreen, &kBlue, &kAlpha}, "rgba8", "rgba16"},
    {4, {&kRed, &kGreen, &kGreen, &kBlue}, "bayer_rggb8", "bayer_rggb16"},
    {4, {&kBlue, &kGreen, &kRed, &kAlpha}, "bgra8", "bgra16"},
    {4, {&kBlue, &kGreen, &kGreen, &kRed}, "bayer_bggr8", "bayer_bggr16"},
    {4, {&kGreen, &kBlue, &kRed, &kGreen}, "bayer_gbrg8", "bayer_gbrg16"},
    {4, {&kGreen, &kRed, &kBlue, &kGreen}, "bayer_grbg8", "bayer_grbg16"},
};

// Exact comparison on purpose: no tolerance, a NaN never matches, and -0.0 equals 0.0.
bool rowMatches(const ColorMappingMatrix& matrix, std::uint64_t row, const MatrixRow& pattern) {
    for (std::size_t column = 0; column < 4; ++column) {
        if (!(matrix[row * 4 + column] == pattern[column])) {
            return false;
        }
    }
    return true;
}

const NamedLayout* namedLayoutOf(std::uint64_t channels, const ColorMappingMatrix& matrix) {
    for (const NamedLayout& layout : kNamedLayouts) {
        if (layout.channels != channels) {
            continue;
        }
        bool matches = true;
        for (std::uint64_t row = 0; matches && row < channels; ++row) {
            matches = rowMatches(matrix, row, *layout.rows[row]);
        }
        if (matches) {
            return &layout;
        }
    }
    return nullptr;
}

// Bit depth, type letter and channel count, as "32F3". There is deliberately no "C" between
// the letter and the count.
std::string genericEncoding(std::uint64_t channels, std::int32_t code,
                            qorSensor::CameraColorOutput::ChannelType type) {
    const std::uint64_t bits = 8 * qorSensor::CameraColorOutput::sizeOf(type);
    const auto letterIndex = static_cast<std::uint64_t>(static_cast<std::int64_t>(code) - 1) % 3;
    return std::to_string(bits) + "SUF"[letterIndex] + std::to_string(channels);
}

// Names the ROS 2 encoding of output: a standard name for a recognised layout of 8-bit or
// 16-bit channels, otherwise the generic name, and "" for an output without a channel type.
std::string imageEncodingOfOutput(qorSensor::CameraColorOutput* output) {
    const std::uint64_t channels = output->getChannelCount();
    const qorSensor::CameraColorOutput::ChannelType type = output->getChannelType();
    const ColorMappingMatrix matrix = output->getColorMappingMatrix();
    const auto code = static_cast<std::int32_t>(type);
    if (channels == 1 || channels == 3 || channels == 4) {
        if (const NamedLayout* layout = namedLayoutOf(channels, matrix)) {
            if (code == kUnsigned8) {
                return layout->name8;
            }
            if (code == kUnsigned16) {
                return layout->name16;
            }
        }
    }
    if (code == kNoType) {
        return {};
    }
    return genericEncoding(channels, code, type);
}

}  // namespace
}  // namespace detail

namespace {

// Copies count bytes from source into bytes with one allocation of exactly that size. A count
// that no vector can hold raises the standard library's own length error before anything is
// read.
void copyBytes(std::vector<std::uint8_t>& bytes, const std::uint8_t* source, std::uint64_t count) {
    if (count > bytes.max_size()) {
        bytes = std::vector<std::uint8_t>(count);
    }
    if (count != 0) {
        bytes.assign(source, source + count);
    }
}

}  // namespace

sensorMsgs::Image convertCameraOutput(qorSensor::CameraColorOutput* output, double timeStamp,
                                      std::string frameId) {
    sensorMsgs::Image image{};
    image.header.frame_id = std::move(frameId);
    image.header.stamp = toSensorStamp(timeStamp);
    const qorSensor::Resolution resolution = output->getResolution();
    image.height = static_cast<std::uint32_t>(resolution.height);
    image.width = static_cast<std::uint32_t>(resolution.width);
    image.encoding = detail::imageEncodingOfOutput(output);
    // The bytes go out in the platform's order, which is little-endian.
    image.is_bigendian = 0;
    const std::uint64_t elementSize = output->getElementSize();
    image.step = static_cast<std::uint32_t>(elementSize) * image.width;
    const std::uint64_t byteCount = elementSize * static_cast<std::uint64_t>(resolution.width) *
                                    static_cast<std::uint64_t>(resolution.height);
    copyBytes(image.data, output->getData().data, byteCount);
    return image;
}

sensorMsgs::CameraInfo convertCameraInfo(qorSensor::CameraModel* model, double timeStamp,
                                         std::string frameId) {
    sensorMsgs::CameraInfo info{};
    info.header.frame_id = std::move(frameId);
    info.header.stamp = toSensorStamp(timeStamp);
    info.height = 0;
    info.width = 0;
    auto* lens = dynamic_cast<qorSensor::CameraLensSingleElement*>(model->getLens());
    auto* sensor = dynamic_cast<qorSensor::CameraCMOSSensor*>(model->getPhotodetector());
    if (lens == nullptr || sensor == nullptr) {
        return info;
    }
    const qorSensor::Resolution resolution = sensor->getResolution();
    info.height = static_cast<std::uint32_t>(resolution.height);
    info.width = static_cast<std::uint32_t>(resolution.width);
    if (auto* distortion =
            dynamic_cast<qorSensor::LensDistortionBrownConrady*>(lens->getDistortion())) {
        // The model's name is spelt this way on purpose; its readers expect exactly this text.
        info.distortion_model = "plump_bob";
        info.d = {distortion->getK1(), distortion->getK2(), distortion->getP1(),
                  distortion->getP2(), distortion->getK3()};
    }
    // The focal length goes in as the lens gives it, and the principal point stays at (0, 0).
    const double f = lens->getFocalLength();
    info.k = {f, 0.0, 0.0, 0.0, f, 0.0, 0.0, 0.0, 1.0};
    info.r = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
    info.p = {f, 0.0, 0.0, 0.0, 0.0, f, 0.0, 0.0, 0.0, 0.0, 1.0, 0.0};
    info.binning_x = 1;
    info.binning_y = 1;
    info.roi = sensorMsgs::RegionOfInterest{};
    return info;
}

sensorMsgs::PointCloud2 convertLidarOutput(qorSensor::RtOutput* output, double timeStamp,
                                           std::string frameId, bool isDense,
                                           unsigned int rowCount) {
    using qorSensor::RtOutput;
    sensorMsgs::PointCloud2 cloud{};
    cloud.header.frame_id = std::move(frameId);
    cloud.header.stamp = toSensorStamp(timeStamp);
    cloud.is_bigendian = false;
    cloud.width = 0;
    cloud.row_step = 0;
    cloud.is_dense = isDense;
    cloud.height = isDense ? 1U : rowCount;
    if (output == nullptr) {
        return cloud;
    }

    std::uint32_t offset = 0;
    for (const RtOutput::Field field : output->getFields()) {
        const std::uint64_t size = RtOutput::sizeOf(field);
        if ((static_cast<std::uint32_t>(field) & RtOutput::PADDING_BIT) != 0) {
            offset += static_cast<std::uint32_t>(size);
            continue;
        }
        const std::uint64_t count = RtOutput::getFieldElementCount(field);
        const auto type = static_cast<std::uint32_t>(RtOutput::getFieldElementType(field));
        const std::vector<std::string>& names = RtOutput::getFieldElementNames(field);
        if (count == 0) {
            continue;
        }
        const std::uint64_t elementSize = size / count;
        for (std::uint64_t i = 0; i < count; ++i) {
            // The output's element type codes are ROS 2's PointField codes: no translation.
            cloud.fields.push_back(
                sensorMsgs::PointField{names[i], offset, static_cast<std::uint8_t>(type), 1});
            offset += static_cast<std::uint32_t>(elementSize);
        }
    }
    cloud.point_step = offset;

    const RtOutput::SynchronizedData points = output->getSynchronizedData();
    copyBytes(cloud.data, points.data, points.elementCount * points.elementSize);
    // With no row count there are no rows to spread the points over: the cloud is 0 wide.
    const std::uint64_t width =
        isDense ? points.elementCount : (rowCount == 0 ? 0 : points.elementCount / rowCount);
    cloud.width = static_cast<std::uint32_t>(width);
    // The point count, on purpose: neither bytes nor a per-row figure.
    cloud.row_step = static_cast<std::uint32_t>(points.elementCount);
    return cloud;
}

}  // namespace qorROS2
