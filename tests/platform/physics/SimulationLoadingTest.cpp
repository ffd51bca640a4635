#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mujoco/mujoco.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "PhysicsTesting.h"
#include "ScratchFile.h"
#include "qor/Notify.h"
#include "qorSDK/Simulation.h"

namespace qor::test {
namespace {

using qorSDK::Simulation;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What MuJoCo itself says about a file, without our words around it.
std::string mujocoErrorFor(const std::string& path) {
    std::array<char, 4096> error{};
    mjModel* model =
        mj_loadXML(path.c_str(), nullptr, error.data(), static_cast<int>(error.size()));
    if (model != nullptr) {
        mj_deleteModel(model);
        return "";
    }
    std::string text = error.data();
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    return text;
}

using qorTest::ScratchFile;

std::string loadErrorOfFile(const std::string& path) {
    try {
        Simulation::createFromFile(path);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no exception";
}

std::string loadErrorOfText(const std::string& mjcf) {
    try {
        Simulation::createFromString(mjcf);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "no exception";
}

TEST(SimulationLoading, MissingFileGivesMuJoCosMessage) {
    const std::string path = "/nonexistent/scene.xml";
    const std::string mujoco = mujocoErrorFor(path);

    ASSERT_THAT(mujoco, ::testing::HasSubstr("XML_ERROR_FILE_NOT_FOUND"));
    EXPECT_EQ(loadErrorOfFile(path), "Simulation: cannot load MJCF file '" + path + "': " + mujoco);
}

TEST(SimulationLoading, InvalidFileGivesMuJoCosMessage) {
    const ScratchFile file("qor-physics-invalid.xml",
                           "<mujoco><worldbody><geom type='bogus' size='1'/></worldbody></mujoco>");
    const std::string mujoco = mujocoErrorFor(file.path());

    ASSERT_THAT(mujoco, ::testing::HasSubstr("bogus"));
    EXPECT_EQ(loadErrorOfFile(file.path()),
              "Simulation: cannot load MJCF file '" + file.path() + "': " + mujoco);
}

TEST(SimulationLoading, InvalidTextGivesMuJoCosMessage) {
    const std::string text = "<mujoco><worldbody><body></worldbody></mujoco>";
    const ScratchFile file("qor-physics-mismatched.xml", text);
    const std::string mujoco = mujocoErrorFor(file.path());

    ASSERT_THAT(mujoco, ::testing::HasSubstr("XML_ERROR_MISMATCHED_ELEMENT"));
    EXPECT_EQ(loadErrorOfText(text), "Simulation: cannot load MJCF text: " + mujoco);
}

TEST(SimulationLoading, EmptyTextGivesMuJoCosMessage) {
    const ScratchFile file("qor-physics-empty.xml", "");
    const std::string mujoco = mujocoErrorFor(file.path());

    ASSERT_THAT(mujoco, ::testing::HasSubstr("XML_ERROR_EMPTY_DOCUMENT"));
    EXPECT_EQ(loadErrorOfText(""), "Simulation: cannot load MJCF text: " + mujoco);
}

TEST(SimulationLoading, FileAndTextGiveTheSameSimulation) {
    const std::string text = spinnerScene(0.5, 0.001);
    const ScratchFile file("qor-physics-spinner.xml", text);
    const ref_ptr<Simulation> fromFile = Simulation::createFromFile(file.path());
    const ref_ptr<Simulation> fromText = Simulation::createFromString(text);

    EXPECT_EQ(fromFile->getModelName(), "spinner");
    EXPECT_EQ(fromText->getModelName(), "spinner");
    EXPECT_EQ(fromFile->getTimeStep(), 0.001);
    EXPECT_EQ(fromText->getTimeStep(), 0.001);
    EXPECT_THAT(fromFile->getJointNames(), ElementsAre("spin"));
    EXPECT_THAT(fromText->getJointNames(), ElementsAre("spin"));
}

TEST(SimulationLoading, CleanSceneLogsNothing) {
    const NotifyLineCollector collector;
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, 0.001));
    for (int i = 0; i < 10; ++i) {
        simulation->stepForward();
    }
    EXPECT_THAT(collector.lines(), IsEmpty());
}

TEST(SimulationLoading, BundledArmSceneHasItsJointsCameraAndLidarMount) {
    const ref_ptr<Simulation> simulation = Simulation::createFromFile(QOR_ARM_SCENE);

    EXPECT_EQ(simulation->getModelName(), "arm");
    EXPECT_THAT(simulation->getJointNames(), ElementsAre("rail", "shoulder_yaw", "shoulder_pitch",
                                                         "elbow", "wrist_pitch", "wrist_roll"));
    EXPECT_EQ(simulation->createPrismatic("rail")->getType(), Constraint1DOF::Type::PRISMATIC);
    for (const char* hinge :
         {"shoulder_yaw", "shoulder_pitch", "elbow", "wrist_pitch", "wrist_roll"}) {
        EXPECT_EQ(simulation->createHinge(hinge)->getType(), Constraint1DOF::Type::HINGE);
    }

    std::array<char, 1024> error{};
    mjModel* model = mj_loadXML(QOR_ARM_SCENE, nullptr, error.data(), 1024);
    ASSERT_NE(model, nullptr) << error.data();
    EXPECT_GE(mj_name2id(model, mjOBJ_CAMERA, "overview"), 0);
    EXPECT_GE(mj_name2id(model, mjOBJ_SITE, "lidar_mount"), 0);
    EXPECT_GE(mj_name2id(model, mjOBJ_GEOM, "ground"), 0);
    int props = 0;
    for (int joint = 0; joint < model->njnt; ++joint) {
        props += model->jnt_type[joint] == mjJNT_FREE ? 1 : 0;
    }
    EXPECT_GE(props, 3);
    mj_deleteModel(model);
}

TEST(SimulationLoading, BundledArmSceneStaysPutWhenLocked) {
    const ref_ptr<Simulation> simulation = Simulation::createFromFile(QOR_ARM_SCENE);
    const NotifyLineCollector collector;
    std::vector<ref_ptr<Constraint1DOF>> joints;
    std::vector<double> start;
    for (const std::string& name : simulation->getJointNames()) {
        joints.push_back(simulation->createConstraint(name));
        joints.back()->getLock1D()->setEnabled(true);
        joints.back()->getLock1D()->setPosition(joints.back()->getAngle());
        start.push_back(joints.back()->getAngle());
        simulation->add(joints.back().get());
    }
    // Two seconds: the props settle on the ground meanwhile, and must not disturb the arm.
    for (int step = 0; step < 1000; ++step) {
        simulation->stepForward();
    }
    for (std::size_t i = 0; i < joints.size(); ++i) {
        EXPECT_NEAR(joints[i]->getAngle(), start[i], 1e-9) << joints[i]->getName();
    }
    EXPECT_THAT(collector.lines(), IsEmpty());
}

TEST(SimulationLoading, UnknownJointIsNamed) {
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, 0.001));
    try {
        simulation->createHinge("elbow");
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "Simulation::createHinge: model 'spinner' has no joint named 'elbow'");
    }
}

TEST(SimulationLoading, JointOfTheWrongTypeIsNamed) {
    const ref_ptr<Simulation> spinner = Simulation::createFromString(spinnerScene(0.5, 0.001));
    const ref_ptr<Simulation> slider = Simulation::createFromString(sliderScene(2.0, 0.001));
    try {
        spinner->createPrismatic("spin");
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "Simulation::createPrismatic: joint 'spin' of model 'spinner' is a hinge "
                     "joint, not a slide joint");
    }
    try {
        slider->createHinge("track");
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "Simulation::createHinge: joint 'track' of model 'slider' is a slide joint, "
                     "not a hinge joint");
    }
    EXPECT_EQ(slider->createConstraint("track")->getType(), Constraint1DOF::Type::PRISMATIC);
    EXPECT_EQ(spinner->createConstraint("spin")->getType(), Constraint1DOF::Type::HINGE);
}

TEST(SimulationLoading, BallJointCannotBeBound) {
    const ref_ptr<Simulation> simulation = Simulation::createFromString(
        "<mujoco model='ball'><worldbody><body><joint name='socket' type='ball'/>"
        "<geom size='0.1'/></body></worldbody></mujoco>");
    EXPECT_THAT(simulation->getJointNames(), IsEmpty());
    try {
        simulation->createConstraint("socket");
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "Simulation::createConstraint: joint 'socket' of model 'ball' is a ball "
                     "joint; only hinge and slide joints can be bound");
    }
}

}  // namespace
}  // namespace qor::test
