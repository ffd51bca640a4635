#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qor/Referenced.h"

namespace qorSensor {

// The output of a ray-traced sensor (a lidar): an array of points of equal size, each the
// concatenation of its fields in the order of getFields(). A lidar writes a whole scan at once
// (qorSensor::Lidar); the points can also be set by hand.
//
// A field identifier is a 32-bit value that says everything about the field:
//
//     bits 24-31  what the elements mean, which names them (1 position, 2 intensity, 3 range,
//                 4 ring; 0 for none)
//     bits 16-23  bytes the field occupies in a point
//     bits 12-15  number of elements
//     bit  10     set for padding: bytes in the point that carry no data (0x400)
//     bits 0-7    element type, coded as ROS 2 sensor_msgs/PointField codes (ElementType)
class RtOutput : public qor::Referenced {
  public:
    // The fields this platform writes, plus padding of several sizes.
    enum Field : std::uint32_t {
        XYZ_VEC3_F32 = 0x010C3007,   // position in the sensor's frame: x, y, z as float32, metres
        INTENSITY_F32 = 0x02041007,  // brightness of the surface hit, 0 to 1, as float32
        RANGE_F32 = 0x03041007,      // distance along the beam as float32, metres
        RING_U16 = 0x04021004,       // row of the beam in the scan pattern, 0 at the top, uint16
        PADDING_1 = 0x00010400,      // one byte without data
        PADDING_2 = 0x00020400,      // two bytes without data
        PADDING_4 = 0x00040400,      // four bytes without data
        PADDING_8 = 0x00080400       // eight bytes without data
    };

    // The type of a field's elements, with the codes of ROS 2 sensor_msgs/PointField.
    enum ElementType : std::uint32_t {
        NO_TYPE = 0,  // padding, or a field without elements
        INT8 = 1,
        UINT8 = 2,
        INT16 = 3,
        UINT16 = 4,
        INT32 = 5,
        UINT32 = 6,
        FLOAT32 = 7,
        FLOAT64 = 8
    };

    // The bit that marks a padding field.
    static constexpr std::uint32_t PADDING_BIT = 0x400;

    // The points of the last complete scan: data points at the first byte of the first point.
    struct SynchronizedData {
        const std::uint8_t* data;    // first byte; nullptr when there are no points
        std::uint64_t elementCount;  // number of points
        std::uint64_t elementSize;   // bytes per point: the sizes of all fields together
    };

    // Returns the bytes that field occupies in one point (bits 16-23 of its identifier).
    static std::uint64_t sizeOf(Field field) noexcept;

    // Returns the number of elements of field (bits 12-15 of its identifier).
    static std::uint64_t getFieldElementCount(Field field) noexcept;

    // Returns the type of field's elements (bits 0-7 of its identifier).
    static ElementType getFieldElementType(Field field) noexcept;

    // Returns the names of field's elements, one per element: "x", "y", "z" for a position,
    // "intensity", "range", "ring"; empty for padding and for meanings this platform does not
    // know. The reference stays valid for the life of the process.
    static const std::vector<std::string>& getFieldElementNames(Field field);

    // Returns true when field is padding (bit 0x400 set).
    static bool isPadding(Field field) noexcept;

    // Creates an output whose points hold fields, in that order, and no point yet. Throws
    // std::invalid_argument when there is no field, or a field that is not padding has elements
    // whose names or sizes this platform does not know (a field of no elements is allowed: its
    // bytes are reserved).
    explicit RtOutput(std::vector<Field> fields);

    // Returns the fields of a point, in the order in which they lie in it.
    const std::vector<Field>& getFields() const noexcept;

    // Returns the bytes of one point: the sizes of all fields together.
    std::uint64_t getElementSize() const noexcept;

    // Returns the points of the last complete scan. The view stays valid until the points are
    // next replaced.
    SynchronizedData getSynchronizedData() const noexcept;

    // Replaces the points with bytes, a whole number of points. Throws std::invalid_argument
    // when their length is not a multiple of the element size.
    void setData(std::vector<std::uint8_t> bytes);

    // Exchanges the points with bytes, a whole number of points, so that a writer can reuse the
    // storage of the previous scan; the new points become visible all at once. Throws
    // std::invalid_argument, exchanging nothing, when the length is not a multiple of the element
    // size.
    void swapData(std::vector<std::uint8_t>& bytes);

  protected:
    ~RtOutput() override;

  private:
    std::vector<Field> m_fields;
    std::uint64_t m_elementSize;
    std::vector<std::uint8_t> m_points;
};

}  // namespace qorSensor
