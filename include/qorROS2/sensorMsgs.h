#pragma once

// Records of the ROS 2 package sensor_msgs.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "qorROS2/geometryMsgs.h"
#include "qorROS2/stdMsgs.h"

namespace qorROS2::sensorMsgs {

/// The state of a battery.
struct BatteryState {
    stdMsgs::Header header;                ///< stamp and frame
    float voltage;                         ///< voltage, in V
    float temperature;                     ///< temperature, in degrees Celsius
    float current;                         ///< current, in A; negative while discharging
    float charge;                          ///< remaining charge, in Ah
    float capacity;                        ///< capacity when full, in Ah
    float design_capacity;                 ///< capacity when new, in Ah
    float percentage;                      ///< charge as a fraction of capacity, in [0, 1]
    std::uint8_t power_supply_status;      ///< charging, discharging, full and so on
    std::uint8_t power_supply_health;      ///< good, overheated, dead and so on
    std::uint8_t power_supply_technology;  ///< the cell chemistry
    bool present;                          ///< whether a battery is there at all
    std::vector<float> cell_voltage;       ///< voltage of each cell, in V
    std::vector<float> cell_temperature;   ///< temperature of each cell, in degrees Celsius
    std::string location;                  ///< where the battery sits
    std::string serial_number;             ///< the battery's serial number
};

/// A rectangular part of an image.
struct RegionOfInterest {
    std::uint32_t x_offset;  ///< leftmost column of the region
    std::uint32_t y_offset;  ///< topmost row of the region
    std::uint32_t height;    ///< rows in the region
    std::uint32_t width;     ///< columns in the region
    bool do_rectify;         ///< whether the region is to be rectified
};

/// Calibration of a camera: image size, distortion and projection.
struct CameraInfo {
    stdMsgs::Header header;        ///< stamp and the camera's optical frame
    std::uint32_t height;          ///< image rows at calibration
    std::uint32_t width;           ///< image columns at calibration
    std::string distortion_model;  ///< the name of the distortion model, "plumb_bob" say
    std::vector<double> d;         ///< the distortion parameters of that model
    std::array<double, 9> k;       ///< 3x3 row-major intrinsic matrix of the raw image
    std::array<double, 9> r;       ///< 3x3 row-major rectification rotation
    std::array<double, 12> p;      ///< 3x4 row-major projection matrix of the rectified image
    std::uint32_t binning_x;       ///< horizontal binning; 0 and 1 both mean none
    std::uint32_t binning_y;       ///< vertical binning; 0 and 1 both mean none
    RegionOfInterest roi;          ///< the part of the image that was captured
};

/// One named value per point of a point cloud.
struct ChannelFloat32 {
    std::string name;           ///< what the values are, "intensity" say
    std::vector<float> values;  ///< one value per point
};

/// An image in a compressed format.
struct CompressedImage {
    stdMsgs::Header header;          ///< stamp and the camera's optical frame
    std::string format;              ///< the compression, "jpeg" or "png"
    std::vector<std::uint8_t> data;  ///< the compressed image
};

/// A pressure in a fluid.
struct FluidPressure {
    stdMsgs::Header header;  ///< stamp and frame of the sensor
    double fluid_pressure;   ///< pressure, in Pa
    double variance;         ///< variance of the pressure; 0 if unknown
};

/// An illuminance.
struct Illuminance {
    stdMsgs::Header header;  ///< stamp and frame of the sensor
    double illuminance;      ///< illuminance, in lx
    double variance;         ///< variance of the illuminance; 0 if unknown
};

/// An uncompressed image.
struct Image {
    stdMsgs::Header header;          ///< stamp and the camera's optical frame
    std::uint32_t height;            ///< rows
    std::uint32_t width;             ///< columns
    std::string encoding;            ///< pixel layout, "rgb8" say
    std::uint8_t is_bigendian;       ///< whether multi-byte pixel values are big-endian
    std::uint32_t step;              ///< bytes per row
    std::vector<std::uint8_t> data;  ///< the pixels, step * height bytes
};

/// Orientation, angular velocity and linear acceleration from an inertial unit.
struct Imu {
    stdMsgs::Header header;                                ///< stamp and frame of the unit
    geometryMsgs::Quaternion orientation;                  ///< orientation
    std::array<double, 9> orientation_covariance;          ///< 3x3 row-major; -1 first if unknown
    geometryMsgs::Vector3 angular_velocity;                ///< angular velocity, in rad/s
    std::array<double, 9> angular_velocity_covariance;     ///< 3x3 row-major
    geometryMsgs::Vector3 linear_acceleration;             ///< linear acceleration, in m/s^2
    std::array<double, 9> linear_acceleration_covariance;  ///< 3x3 row-major
};

/// Positions, velocities and efforts of named joints; each list is empty or one per name.
struct JointState {
    stdMsgs::Header header;         ///< stamp
    std::vector<std::string> name;  ///< the joints
    std::vector<double> position;   ///< positions, in rad or m
    std::vector<double> velocity;   ///< velocities, in rad/s or m/s
    std::vector<double> effort;     ///< efforts, in N m or N
};

/// Axes and buttons of a joystick.
struct Joy {
    stdMsgs::Header header;             ///< stamp
    std::vector<float> axes;            ///< axis positions
    std::vector<std::int32_t> buttons;  ///< button states
};

/// One feedback output of a joystick: a light, a rumble motor or a buzzer.
struct JoyFeedback {
    std::uint8_t type;  ///< the kind of output
    std::uint8_t id;    ///< which output of that kind
    float intensity;    ///< how strongly to drive it, in [0, 1]
};

/// Several joystick feedback outputs at once.
struct JoyFeedbackArray {
    std::vector<JoyFeedback> array;  ///< the outputs
};

/// All echoes returned along one beam of a laser scanner.
struct LaserEcho {
    std::vector<float> echoes;  ///< the echoes, ranges or intensities
};

/// One sweep of a planar laser scanner.
struct LaserScan {
    stdMsgs::Header header;          ///< stamp of the first ray and frame of the scanner
    float angle_min;                 ///< angle of the first ray, in rad
    float angle_max;                 ///< angle of the last ray, in rad
    float angle_increment;           ///< angle between rays, in rad
    float time_increment;            ///< time between rays, in s
    float scan_time;                 ///< time between sweeps, in s
    float range_min;                 ///< shortest valid range, in m
    float range_max;                 ///< longest valid range, in m
    std::vector<float> ranges;       ///< range of each ray, in m
    std::vector<float> intensities;  ///< intensity of each ray; empty if not measured
};

/// A magnetic field.
struct MagneticField {
    stdMsgs::Header header;                           ///< stamp and frame of the sensor
    geometryMsgs::Vector3 magnetic_field;             ///< field, in T
    std::array<double, 9> magnetic_field_covariance;  ///< 3x3 row-major; all 0 if unknown
};

/// State of joints with several degrees of freedom; each list is empty or one per name.
struct MultiDOFJointState {
    stdMsgs::Header header;                           ///< stamp
    std::vector<std::string> joint_names;             ///< the joints
    std::vector<geometryMsgs::Transform> transforms;  ///< poses of the joints
    std::vector<geometryMsgs::Twist> twist;           ///< velocities of the joints
    std::vector<geometryMsgs::Wrench> wrench;         ///< efforts on the joints
};

/// One sweep of a planar laser scanner that reports several echoes per ray.
struct MultiEchoLaserScan {
    stdMsgs::Header header;              ///< stamp of the first ray and frame of the scanner
    float angle_min;                     ///< angle of the first ray, in rad
    float angle_max;                     ///< angle of the last ray, in rad
    float angle_increment;               ///< angle between rays, in rad
    float time_increment;                ///< time between rays, in s
    float scan_time;                     ///< time between sweeps, in s
    float range_min;                     ///< shortest valid range, in m
    float range_max;                     ///< longest valid range, in m
    std::vector<LaserEcho> ranges;       ///< ranges of each ray, in m
    std::vector<LaserEcho> intensities;  ///< intensities of each ray; empty if not measured
};

/// Whether and how a satellite navigation receiver has a fix.
struct NavSatStatus {
    std::int8_t status;     ///< no fix, fix, or fix with augmentation
    std::uint16_t service;  ///< the satellite systems in use, as bits
};

/// A position from a satellite navigation receiver.
struct NavSatFix {
    stdMsgs::Header header;                     ///< stamp and frame of the antenna
    NavSatStatus status;                        ///< the receiver's fix
    double latitude;                            ///< latitude, in degrees; north is positive
    double longitude;                           ///< longitude, in degrees; east is positive
    double altitude;                            ///< height above the ellipsoid, in m
    std::array<double, 9> position_covariance;  ///< 3x3 row-major, in east-north-up m^2
    std::uint8_t position_covariance_type;      ///< how much of the covariance is known
};

/// A collection of points, with optional values per point.
struct PointCloud {
    stdMsgs::Header header;                     ///< stamp and frame of the points
    std::vector<geometryMsgs::Point32> points;  ///< the points
    std::vector<ChannelFloat32> channels;       ///< further values, one per point each
};

/// One field of a point in a PointCloud2. Datatypes: 1 int8, 2 uint8, 3 int16, 4 uint16,
/// 5 int32, 6 uint32, 7 float32, 8 float64.
struct PointField {
    std::string name;       ///< the field's name, "x" say
    std::uint32_t offset;   ///< its byte offset within a point
    std::uint8_t datatype;  ///< the element type, by the codes above
    std::uint32_t count;    ///< elements in the field
};

/// A collection of points in a packed binary layout described by its fields.
struct PointCloud2 {
    stdMsgs::Header header;          ///< stamp and frame of the points
    std::uint32_t height;            ///< rows; 1 for an unordered cloud
    std::uint32_t width;             ///< points per row
    std::vector<PointField> fields;  ///< the layout of one point
    bool is_bigendian;               ///< whether the data is big-endian
    std::uint32_t point_step;        ///< bytes per point
    std::uint32_t row_step;          ///< bytes per row
    std::vector<std::uint8_t> data;  ///< the points, row_step * height bytes
    bool is_dense;                   ///< true if no point is invalid
};

/// One distance from a single-beam range sensor.
struct Range {
    stdMsgs::Header header;       ///< stamp and frame of the sensor
    std::uint8_t radiation_type;  ///< ultrasound or infrared
    float field_of_view;          ///< opening angle of the beam, in rad
    float min_range;              ///< shortest valid range, in m
    float max_range;              ///< longest valid range, in m
    float range;                  ///< the range, in m
};

/// A relative humidity.
struct RelativeHumidity {
    stdMsgs::Header header;    ///< stamp and frame of the sensor
    double relative_humidity;  ///< humidity, in [0, 1]
    double variance;           ///< variance of the humidity; 0 if unknown
};

/// A temperature.
struct Temperature {
    stdMsgs::Header header;  ///< stamp and frame of the sensor
    double temperature;      ///< temperature, in degrees Celsius
    double variance;         ///< variance of the temperature; 0 if unknown
};

/// A time from an external clock, to relate it to the local one.
struct TimeReference {
    stdMsgs::Header header;            ///< local stamp of the reading
    builtinInterfaces::Time time_ref;  ///< the time the external clock gave
    std::string source;                ///< the name of the external clock
};

}  // namespace qorROS2::sensorMsgs

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(sensorMsgs, BatteryState, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(voltage), QORROS2_FIELD(temperature), QORROS2_FIELD(current),
                         QORROS2_FIELD(charge), QORROS2_FIELD(capacity),
                         QORROS2_FIELD(design_capacity), QORROS2_FIELD(percentage),
                         QORROS2_FIELD(power_supply_status), QORROS2_FIELD(power_supply_health),
                         QORROS2_FIELD(power_supply_technology), QORROS2_FIELD(present),
                         QORROS2_FIELD(cell_voltage), QORROS2_FIELD(cell_temperature),
                         QORROS2_FIELD(location), QORROS2_FIELD(serial_number));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, RegionOfInterest, "sensor_msgs", QORROS2_FIELD(x_offset),
                         QORROS2_FIELD(y_offset), QORROS2_FIELD(height), QORROS2_FIELD(width),
                         QORROS2_FIELD(do_rectify));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, CameraInfo, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(height), QORROS2_FIELD(width),
                         QORROS2_FIELD(distortion_model), QORROS2_FIELD(d), QORROS2_FIELD(k),
                         QORROS2_FIELD(r), QORROS2_FIELD(p), QORROS2_FIELD(binning_x),
                         QORROS2_FIELD(binning_y), QORROS2_FIELD(roi));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, ChannelFloat32, "sensor_msgs", QORROS2_FIELD(name),
                         QORROS2_FIELD(values));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, CompressedImage, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(format), QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, FluidPressure, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(fluid_pressure), QORROS2_FIELD(variance));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, Illuminance, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(illuminance), QORROS2_FIELD(variance));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, Image, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(height), QORROS2_FIELD(width), QORROS2_FIELD(encoding),
                         QORROS2_FIELD(is_bigendian), QORROS2_FIELD(step), QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, Imu, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(orientation), QORROS2_FIELD(orientation_covariance),
                         QORROS2_FIELD(angular_velocity),
                         QORROS2_FIELD(angular_velocity_covariance),
                         QORROS2_FIELD(linear_acceleration),
                         QORROS2_FIELD(linear_acceleration_covariance));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, JointState, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(name), QORROS2_FIELD(position), QORROS2_FIELD(velocity),
                         QORROS2_FIELD(effort));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, Joy, "sensor_msgs", QORROS2_FIELD(header), QORROS2_FIELD(axes),
                         QORROS2_FIELD(buttons));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, JoyFeedback, "sensor_msgs", QORROS2_FIELD(type),
                         QORROS2_FIELD(id), QORROS2_FIELD(intensity));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, JoyFeedbackArray, "sensor_msgs", QORROS2_FIELD(array));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, LaserEcho, "sensor_msgs", QORROS2_FIELD(echoes));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, LaserScan, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(angle_min), QORROS2_FIELD(angle_max),
                         QORROS2_FIELD(angle_increment), QORROS2_FIELD(time_increment),
                         QORROS2_FIELD(scan_time), QORROS2_FIELD(range_min),
                         QORROS2_FIELD(range_max), QORROS2_FIELD(ranges),
                         QORROS2_FIELD(intensities));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, MagneticField, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(magnetic_field), QORROS2_FIELD(magnetic_field_covariance));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, MultiDOFJointState, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(joint_names), QORROS2_FIELD(transforms),
                         QORROS2_FIELD(twist), QORROS2_FIELD(wrench));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, MultiEchoLaserScan, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(angle_min), QORROS2_FIELD(angle_max),
                         QORROS2_FIELD(angle_increment), QORROS2_FIELD(time_increment),
                         QORROS2_FIELD(scan_time), QORROS2_FIELD(range_min),
                         QORROS2_FIELD(range_max), QORROS2_FIELD(ranges),
                         QORROS2_FIELD(intensities));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, NavSatStatus, "sensor_msgs", QORROS2_FIELD(status),
                         QORROS2_FIELD(service));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, NavSatFix, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(status), QORROS2_FIELD(latitude), QORROS2_FIELD(longitude),
                         QORROS2_FIELD(altitude), QORROS2_FIELD(position_covariance),
                         QORROS2_FIELD(position_covariance_type));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, PointCloud, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(points), QORROS2_FIELD(channels));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, PointField, "sensor_msgs", QORROS2_FIELD(name),
                         QORROS2_FIELD(offset), QORROS2_FIELD(datatype), QORROS2_FIELD(count));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, PointCloud2, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(height), QORROS2_FIELD(width), QORROS2_FIELD(fields),
                         QORROS2_FIELD(is_bigendian), QORROS2_FIELD(point_step),
                         QORROS2_FIELD(row_step), QORROS2_FIELD(data), QORROS2_FIELD(is_dense));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, Range, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(radiation_type), QORROS2_FIELD(field_of_view),
                         QORROS2_FIELD(min_range), QORROS2_FIELD(max_range), QORROS2_FIELD(range));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, RelativeHumidity, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(relative_humidity), QORROS2_FIELD(variance));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, Temperature, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(temperature), QORROS2_FIELD(variance));
QORROS2_DESCRIBE_MESSAGE(sensorMsgs, TimeReference, "sensor_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(time_ref), QORROS2_FIELD(source));

}  // namespace qorROS2
