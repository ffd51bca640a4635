#pragma once

// Publishes the simulation's ground truth as ROS 2 transforms, so that rviz2 and tf2 place a
// robot and its sensor data without robot_state_publisher.

#include <cstdint>
#include <memory>
#include <string>

#include "qorROS2/Export.h"
#include "qorROS2/QOS.h"
#include "qorROS2/geometryMsgs.h"
#include "qorROS2/tf2Msgs.h"
#include "qorSDK/Simulation.h"
#include "qorSDK/StepEventListener.h"

namespace qorROS2 {

/// A step listener that publishes, on "/tf" (reliable, volatile, keep last 100), the transform
/// of each moving frame relative to its parent at the end of every step, stamped with the
/// simulation time; and on "/tf_static" (reliable, transient local, keep last 1) the whole set
/// of fixed transforms in one message, once, as tf2's static broadcaster does, so that a late
/// subscriber gets it too. Both names resolve as every topic's do (remap rules apply). Each
/// frame is a body, site or camera of the simulation's scene, placed at a fixed offset from it:
///
///     qor::ref_ptr<qorROS2::ROS2TransformPublisher> tf =
///         new qorROS2::ROS2TransformPublisher(*simulation, 0);
///     tf->addFrame("world", qorSDK::Simulation::FrameKind::BODY, "world");
///     tf->addFrame("carriage", qorSDK::Simulation::FrameKind::BODY, "carriage");
///     tf->addTransform("world", "carriage", qorROS2::ROS2TransformPublisher::MOVING);
///     simulation->add(tf.get());
///
/// It has no thread of its own; its methods are called on the simulation's thread.
class QORROS2_EXPORT ROS2TransformPublisher : public qorSDK::StepEventListener {
  public:
    /// tf2's broadcasters' QOS: every transform of a burst is kept for a slow reader on "/tf";
    /// the static set is one latched message that supersedes the previous one.
    static constexpr QOS kTfQos{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 100};
    static constexpr QOS kTfStaticQos{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1};

    /// Whether a transform changes as the simulation runs.
    enum Motion { MOVING, FIXED };

    /// Creates the publishers of "/tf" and "/tf_static" in ROS 2 domain `domainId` for frames of
    /// `simulation`'s scene, which must outlive the listener (a listener added to it must not
    /// hold it), and selects the `post` callback alone. Throws what the transport
    /// throws when it cannot create the endpoints.
    ROS2TransformPublisher(qorSDK::Simulation& simulation, std::int8_t domainId);

    // One listener stands for its endpoints: it is neither copied nor moved.
    ROS2TransformPublisher(const ROS2TransformPublisher&) = delete;
    ROS2TransformPublisher& operator=(const ROS2TransformPublisher&) = delete;
    ROS2TransformPublisher(ROS2TransformPublisher&&) = delete;
    ROS2TransformPublisher& operator=(ROS2TransformPublisher&&) = delete;

    /// Names `frame` the pose of the scene's `kind` object `object` followed by `offset` (the
    /// frame in the object's axes). Throws std::invalid_argument when `frame` is empty or named
    /// already, or `offset` has a translation that is not finite or a rotation that is not a
    /// unit quaternion, and what qorSDK::Simulation::getPose throws when the scene has no such
    /// object.
    void addFrame(const std::string& frame, qorSDK::Simulation::FrameKind kind,
                  const std::string& object, const geometryMsgs::Transform& offset = identity());

    /// Publishes `child` relative to `parent`, both added with addFrame(): a MOVING transform on
    /// "/tf" at every step, a FIXED one, as it stands when the set is next sent, on "/tf_static".
    /// Throws std::invalid_argument when a frame is unknown, the two are the same, or `child`
    /// has a parent already (tf2 allows one).
    void addTransform(const std::string& parent, const std::string& child, Motion motion);

    /// Sends the fixed transforms now, as one message on "/tf_static", stamped with the
    /// simulation time. The first post() sends them unless this was called; a transform added
    /// later makes the next post() send the whole set again. False when sending failed.
    bool publishStatic();

    /// The transform of no motion.
    static geometryMsgs::Transform identity();

    /// Sends the moving transforms on "/tf", stamped with `time`, and the fixed ones when they
    /// changed. Allocates nothing in steady state.
    void post(const double& time) override;

  protected:
    ~ROS2TransformPublisher() override;

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace qorROS2
