#include "qorROS2/ROS2TransformPublisher.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "qorROS2/Publisher.h"

#include "qorROS2/QOS.h"
#include "qorROS2/TimeConversion.h"

namespace qorROS2 {

namespace {

// The SDK's callback masks: the base is first built selecting pre and post, as every bridge
// listener is, and then narrowed to post, where the joints stand at the end of the step.
constexpr int kPreAndPost = 6;
constexpr int kPostOnly = 4;

// How far from 1 an offset's quaternion may be: enough for one written with 17 digits.
constexpr double kUnitTolerance = 1e-12;

using Quaternion = std::array<double, 4>;  // w, x, y, z
using Vector = std::array<double, 3>;

Quaternion multiply(const Quaternion& a, const Quaternion& b) {
    return {a[0] * b[0] - a[1] * b[1] - a[2] * b[2] - a[3] * b[3],
            a[0] * b[1] + a[1] * b[0] + a[2] * b[3] - a[3] * b[2],
            a[0] * b[2] - a[1] * b[3] + a[2] * b[0] + a[3] * b[1],
            a[0] * b[3] + a[1] * b[2] - a[2] * b[1] + a[3] * b[0]};
}

Quaternion conjugate(const Quaternion& q) {
    return {q[0], -q[1], -q[2], -q[3]};
}

Vector rotate(const Quaternion& q, const Vector& v) {
    const Quaternion rotated = multiply(multiply(q, {0.0, v[0], v[1], v[2]}), conjugate(q));
    return {rotated[1], rotated[2], rotated[3]};
}

// `pose` followed by `offset`, given in the pose's axes.
qorSDK::Simulation::Pose compose(const qorSDK::Simulation::Pose& pose,
                                 const geometryMsgs::Transform& offset) {
    const Vector shift = rotate(pose.orientation,
                                {offset.translation.x, offset.translation.y, offset.translation.z});
    return {{pose.position[0] + shift[0], pose.position[1] + shift[1], pose.position[2] + shift[2]},
            multiply(pose.orientation,
                     {offset.rotation.w, offset.rotation.x, offset.rotation.y, offset.rotation.z})};
}

}  // namespace

// The frames and transforms, and the endpoints and messages they are sent in.
struct ROS2TransformPublisher::Impl {
    struct Frame {
        std::string name;
        qorSDK::Simulation::FrameKind kind;
        std::string object;
        geometryMsgs::Transform offset;
    };
    /// A transform: the indices into `frames` of its parent and child.
    struct Link {
        std::size_t parent;
        std::size_t child;
    };

    Impl(qorSDK::Simulation& scene, std::int8_t domainId)
        : simulation(scene),
          tfPublisher("/tf", kTfQos, domainId),
          staticPublisher("/tf_static", kTfStaticQos, domainId),
          tfMessage{},
          staticMessage{} {}

    std::size_t indexOf(const std::string& name) const {
        const auto found = std::find_if(frames.begin(), frames.end(),
                                        [&](const Frame& known) { return known.name == name; });
        if (found == frames.end()) {
            throw std::invalid_argument("ROS2TransformPublisher::addTransform: no frame '" + name +
                                        "' was added");
        }
        return static_cast<std::size_t>(found - frames.begin());
    }

    qorSDK::Simulation::Pose poseOf(const Frame& frame) const {
        return compose(simulation.getPose(frame.kind, frame.object), frame.offset);
    }

    /// Writes into `message` each link's child relative to its parent as the scene stands now,
    /// stamped with `time`.
    void update(tf2Msgs::TFMessage& message, const std::vector<Link>& links, double time) const {
        const builtinInterfaces::Time stamp = toRosTime(time);
        for (std::size_t i = 0; i < links.size(); ++i) {
            const qorSDK::Simulation::Pose parent = poseOf(frames[links[i].parent]);
            const qorSDK::Simulation::Pose child = poseOf(frames[links[i].child]);
            const Quaternion toParent = conjugate(parent.orientation);
            const Vector position = rotate(toParent, {child.position[0] - parent.position[0],
                                                      child.position[1] - parent.position[1],
                                                      child.position[2] - parent.position[2]});
            const Quaternion rotation = multiply(toParent, child.orientation);
            geometryMsgs::TransformStamped& transform = message.transforms[i];
            transform.header.stamp = stamp;
            transform.transform.translation = {position[0], position[1], position[2]};
            transform.transform.rotation = {rotation[1], rotation[2], rotation[3], rotation[0]};
        }
    }

    qorSDK::Simulation& simulation;
    Publisher<tf2Msgs::TFMessage> tfPublisher;
    Publisher<tf2Msgs::TFMessage> staticPublisher;
    std::vector<Frame> frames;
    std::vector<Link> moving;
    std::vector<Link> fixed;
    /// Reused at every step; their frame ids are written once, in addTransform().
    tf2Msgs::TFMessage tfMessage;
    tf2Msgs::TFMessage staticMessage;
    bool staticDue = true;
};

ROS2TransformPublisher::ROS2TransformPublisher(qorSDK::Simulation& simulation, std::int8_t domainId)
    : qorSDK::StepEventListener(kPreAndPost), m_impl(std::make_unique<Impl>(simulation, domainId)) {
    setMask(kPostOnly);
}

ROS2TransformPublisher::~ROS2TransformPublisher() = default;

geometryMsgs::Transform ROS2TransformPublisher::identity() {
    geometryMsgs::Transform transform{};
    transform.rotation.w = 1.0;
    return transform;
}

void ROS2TransformPublisher::addFrame(const std::string& frame, qorSDK::Simulation::FrameKind kind,
                                      const std::string& object,
                                      const geometryMsgs::Transform& offset) {
    if (frame.empty()) {
        throw std::invalid_argument("ROS2TransformPublisher::addFrame: a frame needs a name");
    }
    std::vector<Impl::Frame>& frames = m_impl->frames;
    const auto same = [&](const Impl::Frame& known) { return known.name == frame; };
    if (std::any_of(frames.begin(), frames.end(), same)) {
        throw std::invalid_argument("ROS2TransformPublisher::addFrame: frame '" + frame +
                                    "' is added already");
    }
    const geometryMsgs::Vector3& t = offset.translation;
    const geometryMsgs::Quaternion& q = offset.rotation;
    const double norm = std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
    // A rotation that is not one would shear every transform composed with it.
    if (!std::isfinite(t.x) || !std::isfinite(t.y) || !std::isfinite(t.z) ||
        !(std::abs(norm - 1.0) <= kUnitTolerance)) {
        throw std::invalid_argument("ROS2TransformPublisher::addFrame: the offset of frame '" +
                                    frame + "' needs a finite translation and a unit quaternion");
    }
    // Checks the object now, so that a step never meets an unknown one.
    m_impl->simulation.getPose(kind, object);
    frames.push_back(Impl::Frame{frame, kind, object, offset});
}

void ROS2TransformPublisher::addTransform(const std::string& parent, const std::string& child,
                                          Motion motion) {
    Impl& impl = *m_impl;
    const Impl::Link link{impl.indexOf(parent), impl.indexOf(child)};
    if (link.parent == link.child) {
        throw std::invalid_argument("ROS2TransformPublisher::addTransform: frame '" + parent +
                                    "' cannot be its own parent");
    }
    for (const std::vector<Impl::Link>* links : {&impl.moving, &impl.fixed}) {
        for (const Impl::Link& known : *links) {
            if (known.child == link.child) {
                throw std::invalid_argument("ROS2TransformPublisher::addTransform: frame '" +
                                            child + "' has the parent '" +
                                            impl.frames[known.parent].name + "' already");
            }
        }
    }
    (motion == MOVING ? impl.moving : impl.fixed).push_back(link);
    geometryMsgs::TransformStamped transform{};
    transform.header.frame_id = parent;
    transform.child_frame_id = child;
    transform.transform = identity();
    (motion == MOVING ? impl.tfMessage : impl.staticMessage).transforms.push_back(transform);
    if (motion == FIXED) {
        impl.staticDue = true;
    }
}

bool ROS2TransformPublisher::publishStatic() {
    Impl& impl = *m_impl;
    impl.update(impl.staticMessage, impl.fixed, impl.simulation.getTime());
    impl.staticDue = false;
    return impl.staticPublisher.sendMessage(impl.staticMessage);
}

void ROS2TransformPublisher::post(const double& time) {
    Impl& impl = *m_impl;
    if (impl.staticDue && !impl.fixed.empty()) {
        // A lost static set is sent again at the next step.
        impl.staticDue = !publishStatic();
    }
    if (impl.moving.empty()) {
        return;
    }
    impl.update(impl.tfMessage, impl.moving, time);
    // A lost sample is superseded by the next step's: there is nothing to do about it here.
    impl.tfPublisher.sendMessage(impl.tfMessage);
}

}  // namespace qorROS2
