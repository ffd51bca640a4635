#pragma once

// The bundled arm as the demo's tests see it: its MJCF scene as MuJoCo loads it, its URDF as
// urdfdom (robot_state_publisher's parser) parses it, the link frames the URDF composes, and
// where a point appears in an image by ROS's pinhole convention. QOR_DEMO_SCENE and
// QOR_DEMO_URDF name the two files.

#include <gtest/gtest.h>
#include <mujoco/mujoco.h>
#include <urdf_parser/urdf_parser.h>

#include <array>
#include <map>
#include <memory>
#include <string>

#include "RigidFrame.h"

namespace qorDemoTest {

struct ModelDeleter {
    void operator()(mjModel* model) const { mj_deleteModel(model); }
};
struct DataDeleter {
    void operator()(mjData* data) const { mj_deleteData(data); }
};

struct Scene {
    std::unique_ptr<mjModel, ModelDeleter> model;
    std::unique_ptr<mjData, DataDeleter> data;
};

inline Scene loadScene() {
    char error[1000] = "";
    Scene scene;
    scene.model.reset(mj_loadXML(QOR_DEMO_SCENE, nullptr, error, sizeof(error)));
    if (scene.model) {
        scene.data.reset(mj_makeData(scene.model.get()));
    }
    EXPECT_TRUE(scene.model) << error;
    return scene;
}

inline urdf::ModelInterfaceSharedPtr loadDescription() {
    urdf::ModelInterfaceSharedPtr description = urdf::parseURDFFile(QOR_DEMO_URDF);
    EXPECT_TRUE(description) << QOR_DEMO_URDF;
    return description;
}

inline RigidFrame originOf(const urdf::Joint& joint) {
    const urdf::Pose& origin = joint.parent_to_joint_origin_transform;
    RigidFrame frame;
    frame.rotation =
        fromQuaternion(origin.rotation.w, origin.rotation.x, origin.rotation.y, origin.rotation.z);
    frame.translation = {origin.position.x, origin.position.y, origin.position.z};
    return frame;
}

// Every link's frame in `world`, composed from the URDF's origins and axes at the positions
// given by joint name.
inline std::map<std::string, RigidFrame> linkFrames(
    const urdf::ModelInterface& description, const std::map<std::string, double>& positions) {
    std::map<std::string, RigidFrame> frames{{description.getRoot()->name, RigidFrame{}}};
    bool grew = true;
    while (grew) {
        grew = false;
        for (const auto& [jointName, joint] : description.joints_) {
            if (frames.count(joint->child_link_name) != 0 ||
                frames.count(joint->parent_link_name) == 0) {
                continue;
            }
            RigidFrame motion;
            const Vec3 axis{joint->axis.x, joint->axis.y, joint->axis.z};
            const auto position = positions.find(jointName);
            const double q = position != positions.end() ? position->second : 0.0;
            if (joint->type == urdf::Joint::REVOLUTE || joint->type == urdf::Joint::CONTINUOUS) {
                motion.rotation = fromAxisAngle(axis, q);
            } else if (joint->type == urdf::Joint::PRISMATIC) {
                motion.translation = {axis[0] * q, axis[1] * q, axis[2] * q};
            }
            frames[joint->child_link_name] =
                compose(compose(frames[joint->parent_link_name], originOf(*joint)), motion);
            grew = true;
        }
    }
    return frames;
}

// The position of a body of the scene, in the world, after mj_forward.
inline Vec3 bodyPosition(const Scene& scene, const char* body) {
    const int id = mj_name2id(scene.model.get(), mjOBJ_BODY, body);
    EXPECT_GE(id, 0) << body;
    if (id < 0) {
        return {0, 0, 0};
    }
    const mjtNum* position = scene.data->xpos + 3 * id;
    return {position[0], position[1], position[2]};
}

struct Pixel {
    double u;  ///< column, from the left; pixel i is centred on u = i
    double v;  ///< row, from the top; pixel j is centred on v = j
};

// Where a world point appears by ROS's conventions: into the optical frame (z forward, x right,
// y down), then through a camera info's K.
inline Pixel projectThroughOpticalFrame(const RigidFrame& optical, const Vec3& point,
                                        const std::array<double, 9>& k) {
    const Vec3 offset{point[0] - optical.translation[0], point[1] - optical.translation[1],
                      point[2] - optical.translation[2]};
    const Vec3 local = qorDemoTest::apply(transpose(optical.rotation), offset);
    EXPECT_GT(local[2], 0.0) << "z of the optical frame points forward, at what the camera sees";
    return {(k[0] * local[0] + k[1] * local[1]) / local[2] + k[2],
            k[4] * local[1] / local[2] + k[5]};
}

}  // namespace qorDemoTest
