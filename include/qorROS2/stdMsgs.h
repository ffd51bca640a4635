#pragma once

// Records of the ROS 2 package std_msgs.

#include <cstdint>
#include <string>
#include <vector>

#include "qorROS2/builtinInterfaces.h"

namespace qorROS2::stdMsgs {

/// Stamp and frame of a stamped message.
struct Header {
    builtinInterfaces::Time stamp;  ///< when the data was taken
    std::string frame_id;           ///< the coordinate frame the data is expressed in
};

/// A message without content. A C++ record cannot be empty, so it holds one meaningless byte,
/// which is also what goes on the wire.
struct Empty {
    std::uint8_t structure_needs_at_least_one_member;  ///< always 0
};

/// A colour with red, green, blue and alpha in [0, 1].
struct ColorRGBA {
    float r;  ///< red
    float g;  ///< green
    float b;  ///< blue
    float a;  ///< alpha (opacity)
};

/// A plain text.
struct String {
    std::string data;  ///< the text
};

/// Carries a boolean.
struct Bool {
    bool data;  ///< the value
};

/// Carries one byte (ROS 2 `byte`).
struct Byte {
    std::uint8_t data;  ///< the value
};

/// Carries one 8-bit character (ROS 2 `char`).
struct Char {
    char data;  ///< the value
};

/// Carries a single-precision number.
struct Float32 {
    float data;  ///< the value
};

/// Carries a double-precision number.
struct Float64 {
    double data;  ///< the value
};

/// Carries a signed 8-bit integer.
struct Int8 {
    std::int8_t data;  ///< the value
};

/// Carries a signed 16-bit integer.
struct Int16 {
    std::int16_t data;  ///< the value
};

/// Carries a signed 32-bit integer.
struct Int32 {
    std::int32_t data;  ///< the value
};

/// Carries a signed 64-bit integer.
struct Int64 {
    std::int64_t data;  ///< the value
};

/// Carries an unsigned 8-bit integer.
struct UInt8 {
    std::uint8_t data;  ///< the value
};

/// Carries an unsigned 16-bit integer.
struct UInt16 {
    std::uint16_t data;  ///< the value
};

/// Carries an unsigned 32-bit integer.
struct UInt32 {
    std::uint32_t data;  ///< the value
};

/// Carries an unsigned 64-bit integer.
struct UInt64 {
    std::uint64_t data;  ///< the value
};

/// One dimension of a multi-array: its name, element count and stride.
struct MultiArrayDimension {
    std::string label;     ///< name of the dimension
    std::uint32_t size;    ///< number of elements along it
    std::uint32_t stride;  ///< elements spanned by one step along the previous dimension
};

/// How the flat `data` of a multi-array is laid out.
struct MultiArrayLayout {
    std::vector<MultiArrayDimension> dim;  ///< the dimensions, outermost first
    std::uint32_t data_offset;             ///< elements before the first one of the array
};

/// A multi-dimensional array of bytes.
struct ByteMultiArray {
    MultiArrayLayout layout;         ///< how `data` is laid out
    std::vector<std::uint8_t> data;  ///< the elements, flat
};

/// A multi-dimensional array of single-precision numbers.
struct Float32MultiArray {
    MultiArrayLayout layout;  ///< how `data` is laid out
    std::vector<float> data;  ///< the elements, flat
};

/// A multi-dimensional array of double-precision numbers.
struct Float64MultiArray {
    MultiArrayLayout layout;   ///< how `data` is laid out
    std::vector<double> data;  ///< the elements, flat
};

/// A multi-dimensional array of signed 8-bit integers.
struct Int8MultiArray {
    MultiArrayLayout layout;        ///< how `data` is laid out
    std::vector<std::int8_t> data;  ///< the elements, flat
};

/// A multi-dimensional array of signed 16-bit integers.
struct Int16MultiArray {
    MultiArrayLayout layout;         ///< how `data` is laid out
    std::vector<std::int16_t> data;  ///< the elements, flat
};

/// A multi-dimensional array of signed 32-bit integers.
struct Int32MultiArray {
    MultiArrayLayout layout;         ///< how `data` is laid out
    std::vector<std::int32_t> data;  ///< the elements, flat
};

/// A multi-dimensional array of signed 64-bit integers.
struct Int64MultiArray {
    MultiArrayLayout layout;         ///< how `data` is laid out
    std::vector<std::int64_t> data;  ///< the elements, flat
};

/// A multi-dimensional array of unsigned 8-bit integers.
struct UInt8MultiArray {
    MultiArrayLayout layout;         ///< how `data` is laid out
    std::vector<std::uint8_t> data;  ///< the elements, flat
};

/// A multi-dimensional array of unsigned 16-bit integers.
struct UInt16MultiArray {
    MultiArrayLayout layout;          ///< how `data` is laid out
    std::vector<std::uint16_t> data;  ///< the elements, flat
};

/// A multi-dimensional array of unsigned 32-bit integers.
struct UInt32MultiArray {
    MultiArrayLayout layout;          ///< how `data` is laid out
    std::vector<std::uint32_t> data;  ///< the elements, flat
};

/// A multi-dimensional array of unsigned 64-bit integers.
struct UInt64MultiArray {
    MultiArrayLayout layout;          ///< how `data` is laid out
    std::vector<std::uint64_t> data;  ///< the elements, flat
};

}  // namespace qorROS2::stdMsgs

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(stdMsgs, Header, "std_msgs", QORROS2_FIELD(stamp),
                         QORROS2_FIELD(frame_id));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Empty, "std_msgs",
                         QORROS2_FIELD(structure_needs_at_least_one_member));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, ColorRGBA, "std_msgs", QORROS2_FIELD(r), QORROS2_FIELD(g),
                         QORROS2_FIELD(b), QORROS2_FIELD(a));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, String, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Bool, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Byte, "std_msgs", QORROS2_BYTE_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Char, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Float32, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Float64, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Int8, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Int16, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Int32, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Int64, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, UInt8, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, UInt16, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, UInt32, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, UInt64, "std_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, MultiArrayDimension, "std_msgs", QORROS2_FIELD(label),
                         QORROS2_FIELD(size), QORROS2_FIELD(stride));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, MultiArrayLayout, "std_msgs", QORROS2_FIELD(dim),
                         QORROS2_FIELD(data_offset));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, ByteMultiArray, "std_msgs", QORROS2_FIELD(layout),
                         QORROS2_BYTE_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Float32MultiArray, "std_msgs", QORROS2_FIELD(layout),
                         QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Float64MultiArray, "std_msgs", QORROS2_FIELD(layout),
                         QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Int8MultiArray, "std_msgs", QORROS2_FIELD(layout),
                         QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Int16MultiArray, "std_msgs", QORROS2_FIELD(layout),
                         QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Int32MultiArray, "std_msgs", QORROS2_FIELD(layout),
                         QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, Int64MultiArray, "std_msgs", QORROS2_FIELD(layout),
                         QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, UInt8MultiArray, "std_msgs", QORROS2_FIELD(layout),
                         QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, UInt16MultiArray, "std_msgs", QORROS2_FIELD(layout),
                         QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, UInt32MultiArray, "std_msgs", QORROS2_FIELD(layout),
                         QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(stdMsgs, UInt64MultiArray, "std_msgs", QORROS2_FIELD(layout),
                         QORROS2_FIELD(data));

}  // namespace qorROS2
