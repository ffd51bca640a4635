// The arm's URDF against the MJCF scene as MuJoCo loads it: parsed by urdfdom (the parser
// robot_state_publisher uses), the same joints and limits, the same kinematics, and a camera
// optical frame that projects points where the camera renders them.

#include <gtest/gtest.h>
#include <mujoco/mujoco.h>
#include <urdf_parser/urdf_parser.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ArmScene.h"
#include "RigidFrame.h"
#include "qorROS2/ROS2Conventions.h"
#include "qorROS2/ROS2Util.h"
#include "qorSDK/Simulation.h"
#include "qorSensor/Camera.h"
#include "qorSensor/CameraColorOutput.h"

namespace {

using qorDemoTest::linkFrames;
using qorDemoTest::loadDescription;
using qorDemoTest::loadScene;
using qorDemoTest::Pixel;
using qorDemoTest::RigidFrame;
using qorDemoTest::Scene;
using qorDemoTest::Vec3;

constexpr double kPi = 3.14159265358979323846;
constexpr double kMetres = 1e-9;
constexpr double kRadians = 1e-9;
constexpr int kConfigurations = 20;

std::string name(const mjModel* model, mjtObj type, int id) {
    const char* text = mj_id2name(model, type, id);
    return text != nullptr ? text : "";
}

bool movable(const urdf::Joint& joint) {
    return joint.type != urdf::Joint::FIXED;
}

// The limit a scene puts on a joint's force: its custom numeric "force_limit:<joint>", which
// the simulation gives the joint's drive, or else the largest force of the force-limited
// actuators that drive it, times their gear; 0 when neither exists.
double sceneEffortLimit(const mjModel* model, int joint) {
    const std::string numericName = "force_limit:" + name(model, mjOBJ_JOINT, joint);
    const int numeric = mj_name2id(model, mjOBJ_NUMERIC, numericName.c_str());
    if (numeric >= 0 && model->numeric_size[numeric] > 0) {
        return model->numeric_data[model->numeric_adr[numeric]];
    }
    double limit = 0.0;
    for (int actuator = 0; actuator < model->nu; ++actuator) {
        if (model->actuator_trntype[actuator] == mjTRN_JOINT &&
            model->actuator_trnid[2 * actuator] == joint &&
            model->actuator_forcelimited[actuator] != 0) {
            const double force = std::max(std::abs(model->actuator_forcerange[2 * actuator]),
                                          std::abs(model->actuator_forcerange[2 * actuator + 1]));
            limit = std::max(limit, force * std::abs(model->actuator_gear[6 * actuator]));
        }
    }
    return limit;
}

RigidFrame frameFrom(const mjtNum* position, const mjtNum* matrix) {
    RigidFrame frame;
    std::copy(position, position + 3, frame.translation.begin());
    std::copy(matrix, matrix + 9, frame.rotation.begin());
    return frame;
}

// A camera's frame with its axes renamed: column i of the result is `sign[i]` times column
// `column[i]` of the camera's (x right, y up, z backwards).
RigidFrame renamedAxes(const RigidFrame& camera, const std::array<std::size_t, 3>& column,
                       const std::array<double, 3>& sign) {
    RigidFrame out = camera;
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t i = 0; i < 3; ++i) {
            out.rotation[3 * row + i] = sign[i] * camera.rotation[3 * row + column[i]];
        }
    }
    return out;
}

// The scene's frame for every link of the description: bodies for the links named after them,
// the sites for the tool and the lidar, the camera for the camera's two frames.
std::map<std::string, RigidFrame> sceneFrames(const mjModel* model, const mjData* data) {
    std::map<std::string, RigidFrame> frames;
    const auto body = [&](const char* bodyName) {
        const int id = mj_name2id(model, mjOBJ_BODY, bodyName);
        EXPECT_GE(id, 0) << bodyName;
        return id < 0 ? RigidFrame{} : frameFrom(data->xpos + 3 * id, data->xmat + 9 * id);
    };
    const auto site = [&](const char* siteName) {
        const int id = mj_name2id(model, mjOBJ_SITE, siteName);
        EXPECT_GE(id, 0) << siteName;
        return id < 0 ? RigidFrame{}
                      : frameFrom(data->site_xpos + 3 * id, data->site_xmat + 9 * id);
    };
    const int cameraId = mj_name2id(model, mjOBJ_CAMERA, "overview");
    EXPECT_GE(cameraId, 0);
    const RigidFrame camera =
        cameraId < 0 ? RigidFrame{}
                     : frameFrom(data->cam_xpos + 3 * cameraId, data->cam_xmat + 9 * cameraId);

    frames["world"] = body("world");
    frames["rail_base"] = body("world");
    for (const char* bodyName :
         {"carriage", "turret", "upper_arm", "forearm", "wrist", "hand", "mast"}) {
        frames[bodyName] = body(bodyName);
    }
    frames["tool"] = site("tool");
    frames["lidar_link"] = site("lidar_mount");
    // REP 103 body: x forward (the camera's -z), y left (-x), z up (y).
    frames["camera_link"] = renamedAxes(camera, {2, 0, 1}, {-1, -1, 1});
    // Optical: z forward (-z), x right (x), y down (-y).
    frames["camera_optical_frame"] = renamedAxes(camera, {0, 1, 2}, {1, -1, -1});
    return frames;
}

TEST(RobotDescription, ParsesWithTheParserOfRobotStatePublisher) {
    const urdf::ModelInterfaceSharedPtr description = loadDescription();
    ASSERT_TRUE(description);
    EXPECT_EQ(description->getName(), "arm");
    EXPECT_EQ(description->getRoot()->name, "world");
    for (const char* frame : {"camera_link", "camera_optical_frame", "lidar_link", "tool"}) {
        EXPECT_TRUE(description->getLink(frame)) << frame;
    }
}

TEST(RobotDescription, JointsMatchTheScene) {
    const Scene scene = loadScene();
    const urdf::ModelInterfaceSharedPtr description = loadDescription();
    ASSERT_TRUE(scene.model && description);
    const mjModel* model = scene.model.get();

    std::set<std::string> sceneJoints;
    for (int joint = 0; joint < model->njnt; ++joint) {
        const int type = model->jnt_type[joint];
        if (type != mjJNT_HINGE && type != mjJNT_SLIDE) {
            continue;  // the props' free joints are not the robot's
        }
        const std::string jointName = name(model, mjOBJ_JOINT, joint);
        sceneJoints.insert(jointName);
        SCOPED_TRACE(jointName);
        const urdf::JointConstSharedPtr urdfJoint = description->getJoint(jointName);
        ASSERT_TRUE(urdfJoint);
        const bool limited = model->jnt_limited[joint] != 0;
        if (type == mjJNT_SLIDE) {
            EXPECT_EQ(urdfJoint->type, urdf::Joint::PRISMATIC);
        } else {
            EXPECT_EQ(urdfJoint->type, limited ? urdf::Joint::REVOLUTE : urdf::Joint::CONTINUOUS);
        }
        EXPECT_EQ(urdfJoint->child_link_name, name(model, mjOBJ_BODY, model->jnt_bodyid[joint]));
        // A URDF joint sits at its child link's origin.
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(model->jnt_pos[3 * joint + i], 0.0);
        }
        EXPECT_EQ(urdfJoint->axis.x, model->jnt_axis[3 * joint]);
        EXPECT_EQ(urdfJoint->axis.y, model->jnt_axis[3 * joint + 1]);
        EXPECT_EQ(urdfJoint->axis.z, model->jnt_axis[3 * joint + 2]);
        ASSERT_TRUE(urdfJoint->limits);
        if (limited) {
            EXPECT_EQ(urdfJoint->limits->lower, model->jnt_range[2 * joint]);
            EXPECT_EQ(urdfJoint->limits->upper, model->jnt_range[2 * joint + 1]);
        }
        EXPECT_EQ(urdfJoint->limits->effort, sceneEffortLimit(model, joint));
    }
    EXPECT_EQ(sceneJoints.size(), 6u);
    std::set<std::string> urdfJoints;
    for (const auto& [jointName, joint] : description->joints_) {
        if (movable(*joint)) {
            urdfJoints.insert(jointName);
        }
    }
    EXPECT_EQ(urdfJoints, sceneJoints);
}

TEST(RobotDescription, ForwardKinematicsMatchTheSceneInRandomConfigurations) {
    const Scene scene = loadScene();
    const urdf::ModelInterfaceSharedPtr description = loadDescription();
    ASSERT_TRUE(scene.model && description);
    mjModel* model = scene.model.get();
    mjData* data = scene.data.get();

    std::mt19937_64 random(20261123);
    for (int configuration = 0; configuration < kConfigurations; ++configuration) {
        std::map<std::string, double> positions;
        for (int joint = 0; joint < model->njnt; ++joint) {
            if (model->jnt_type[joint] != mjJNT_HINGE && model->jnt_type[joint] != mjJNT_SLIDE) {
                continue;
            }
            std::uniform_real_distribution<double> within(model->jnt_range[2 * joint],
                                                          model->jnt_range[2 * joint + 1]);
            const double q = within(random);
            data->qpos[model->jnt_qposadr[joint]] = q;
            positions[name(model, mjOBJ_JOINT, joint)] = q;
        }
        mj_forward(model, data);

        const std::map<std::string, RigidFrame> expected = sceneFrames(model, data);
        const std::map<std::string, RigidFrame> composed = linkFrames(*description, positions);
        ASSERT_EQ(composed.size(), description->links_.size()) << "a link not reached from world";
        for (const auto& [link, frame] : composed) {
            SCOPED_TRACE("configuration " + std::to_string(configuration) + ", link " + link);
            const auto inScene = expected.find(link);
            ASSERT_NE(inScene, expected.end()) << "a link without a frame in the scene";
            EXPECT_LT(qorDemoTest::distance(frame.translation, inScene->second.translation),
                      kMetres);
            EXPECT_LT(qorDemoTest::angleBetween(frame.rotation, inScene->second.rotation),
                      kRadians);
        }
    }
}

// Where a world point appears in the camera's image, by the camera's own geometry: MuJoCo's
// camera looks along its -z with y up through a frustum symmetric about that axis, and its images
// lie top-down. In OpenGL's window coordinates, flipped: pixel i covers [i, i + 1).
Pixel projectThroughScene(const RigidFrame& camera, const Vec3& point, double focal, double width,
                          double height) {
    const Vec3 offset{point[0] - camera.translation[0], point[1] - camera.translation[1],
                      point[2] - camera.translation[2]};
    const Vec3 local = qorDemoTest::apply(qorDemoTest::transpose(camera.rotation), offset);
    const double depth = -local[2];
    return {width / 2 + focal * local[0] / depth, height / 2 - focal * local[1] / depth};
}

TEST(RobotDescription, CameraOpticalFrameProjectsWhereTheCameraRenders) {
    constexpr std::int64_t kWidth = 320;
    constexpr std::int64_t kHeight = 240;
    const Scene scene = loadScene();
    const urdf::ModelInterfaceSharedPtr description = loadDescription();
    ASSERT_TRUE(scene.model && description);
    mj_forward(scene.model.get(), scene.data.get());
    const RigidFrame optical = linkFrames(*description, {})["camera_optical_frame"];
    const RigidFrame camera = sceneFrames(scene.model.get(), scene.data.get())["camera_link"];
    const int cameraId = mj_name2id(scene.model.get(), mjOBJ_CAMERA, "overview");
    ASSERT_GE(cameraId, 0);
    // The pinhole that MuJoCo renders through: its vertical field of view spans the image.
    const double sceneFocal = static_cast<double>(kHeight) / 2.0 /
                              std::tan(scene.model->cam_fovy[cameraId] * kPi / 360.0);

    qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromFile(QOR_DEMO_SCENE);
    qor::ref_ptr<qorSensor::Camera> renderer =
        new qorSensor::Camera(*simulation, "overview", qorSensor::Resolution{kWidth, kHeight});
    qor::ref_ptr<qorSensor::CameraColorOutput> colours = new qorSensor::CameraColorOutput(
        qorSensor::Resolution{kWidth, kHeight}, 3, qorSensor::CameraColorOutput::UINT8,
        qorSensor::CameraColorOutput::identityMatrix());
    renderer->addOutput(colours.get());
    renderer->render();
    const qorROS2::sensorMsgs::CameraInfo info =
        qorROS2::convertCameraInfoForRos(renderer->getModel(), 0.0, "camera_optical_frame");
    const qorROS2::sensorMsgs::CameraInfo design =
        qorROS2::convertCameraInfo(renderer->getModel(), 0.0, "camera_optical_frame");
    const qorROS2::sensorMsgs::Image image =
        qorROS2::convertCameraOutput(colours.get(), 0.0, "camera_optical_frame");
    ASSERT_EQ(image.data.size(), static_cast<std::size_t>(kWidth * kHeight * 3));

    // The camera's frame in the scene, back from camera_link's renaming: x right, y up, z back.
    const RigidFrame sceneCamera = renamedAxes(camera, {1, 2, 0}, {-1, 1, -1});
    struct Known {
        const char* body;
        int channel;  // the colour that dominates it: 0 red, 2 blue
    };
    for (const Known& known : {Known{"red_box", 0}, Known{"blue_ball", 2}}) {
        SCOPED_TRACE(known.body);
        const Vec3 centre = qorDemoTest::bodyPosition(scene, known.body);
        const Pixel byScene =
            projectThroughScene(sceneCamera, centre, sceneFocal, static_cast<double>(kWidth),
                                static_cast<double>(kHeight));
        // ROS centres pixel i on i: half a pixel short of the window coordinate.
        const Pixel byRos = qorDemoTest::projectThroughOpticalFrame(optical, centre, info.k);
        EXPECT_NEAR(byRos.u, byScene.u - 0.5, 1e-6);
        EXPECT_NEAR(byRos.v, byScene.v - 0.5, 1e-6);
        // The converter's own record: the same focal length, about a principal point at (0, 0).
        const Pixel byDesign = qorDemoTest::projectThroughOpticalFrame(optical, centre, design.k);
        EXPECT_NEAR(byDesign.u + static_cast<double>(kWidth) / 2, byScene.u, 1e-6);
        EXPECT_NEAR(byDesign.v + static_cast<double>(kHeight) / 2, byScene.v, 1e-6);

        // And the rendered image has the prop's colour at the nearest pixel.
        const long column = std::lround(byRos.u);
        const long row = std::lround(byRos.v);
        ASSERT_GE(column, 0);
        ASSERT_GE(row, 0);
        ASSERT_LT(column, kWidth);
        ASSERT_LT(row, kHeight);
        const std::size_t at =
            (static_cast<std::size_t>(row) * kWidth + static_cast<std::size_t>(column)) * 3;
        const int dominant =
            static_cast<int>(image.data[at + static_cast<std::size_t>(known.channel)]);
        for (int channel = 0; channel < 3; ++channel) {
            if (channel != known.channel) {
                // By a wide margin, though a highlight may lift the other channels.
                EXPECT_GT(dominant,
                          static_cast<int>(image.data[at + static_cast<std::size_t>(channel)]) + 60)
                    << "pixel (" << column << ", " << row << ")";
            }
        }
    }
}

}  // namespace
