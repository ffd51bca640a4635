// Steps per second of the bundled arm scene: with every joint locked through the platform, with
// no controllers through the platform, and stepped by MuJoCo directly. Run with
// --benchmark_min_time=2 for steady figures.
//
// Without controllers the arm falls onto the ground and props, and its contacts make MuJoCo's
// step dearer than that of the held arm. armPlainMujocoPinned therefore also steps MuJoCo alone
// with the arm's coordinates written back before every step: the same contacts as the locked
// arm, so that the ratio of the two is the cost of the platform's step and its controllers.

#include <benchmark/benchmark.h>
#include <mujoco/mujoco.h>

#include <unistd.h>
#include <array>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "qorSDK/Simulation.h"

namespace {

// Steps the props take to come to rest on the ground, so that every benchmark measures the same
// resting contacts.
constexpr int kSettlingSteps = 1000;

void stepsPerSecond(benchmark::State& state) {
    state.counters["steps/s"] =
        benchmark::Counter(static_cast<double>(state.iterations()), benchmark::Counter::kIsRate);
}

void armEveryJointLocked(benchmark::State& state) {
    const qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromFile(QOR_ARM_SCENE);
    std::vector<qor::ref_ptr<qor::Constraint1DOF>> joints;
    for (const std::string& name : simulation->getJointNames()) {
        joints.push_back(simulation->createConstraint(name));
        joints.back()->getLock1D()->setEnabled(true);
        joints.back()->getLock1D()->setPosition(joints.back()->getAngle());
        simulation->add(joints.back().get());
    }
    for (int step = 0; step < kSettlingSteps; ++step) {
        simulation->stepForward();
    }
    for (auto _ : state) {
        simulation->stepForward();
    }
    stepsPerSecond(state);
    state.counters["joints"] = static_cast<double>(joints.size());
}

void armWithoutControllers(benchmark::State& state) {
    const qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromFile(QOR_ARM_SCENE);
    for (int step = 0; step < kSettlingSteps; ++step) {
        simulation->stepForward();
    }
    for (auto _ : state) {
        simulation->stepForward();
    }
    stepsPerSecond(state);
}

void armPlainMujoco(benchmark::State& state) {
    std::array<char, 1024> error{};
    mjModel* model = mj_loadXML(QOR_ARM_SCENE, nullptr, error.data(), 1024);
    if (model == nullptr) {
        state.SkipWithError(error.data());
        return;
    }
    mjData* data = mj_makeData(model);
    for (int step = 0; step < kSettlingSteps; ++step) {
        mj_step(model, data);
    }
    for (auto _ : state) {
        mj_step(model, data);
    }
    stepsPerSecond(state);
    mj_deleteData(data);
    mj_deleteModel(model);
}

void armPlainMujocoPinned(benchmark::State& state) {
    std::array<char, 1024> error{};
    mjModel* model = mj_loadXML(QOR_ARM_SCENE, nullptr, error.data(), 1024);
    if (model == nullptr) {
        state.SkipWithError(error.data());
        return;
    }
    mjData* data = mj_makeData(model);
    // The arm's joints are the hinge and slide joints; the props hang on free joints.
    std::vector<int> positions;
    std::vector<int> speeds;
    for (int joint = 0; joint < model->njnt; ++joint) {
        if (model->jnt_type[joint] == mjJNT_HINGE || model->jnt_type[joint] == mjJNT_SLIDE) {
            positions.push_back(model->jnt_qposadr[joint]);
            speeds.push_back(model->jnt_dofadr[joint]);
        }
    }
    const std::vector<mjtNum> initial(data->qpos, data->qpos + model->nq);
    const auto pin = [&] {
        for (std::size_t i = 0; i < positions.size(); ++i) {
            data->qpos[positions[i]] = initial[static_cast<std::size_t>(positions[i])];
            data->qvel[speeds[i]] = 0.0;
        }
    };
    for (int step = 0; step < kSettlingSteps; ++step) {
        pin();
        mj_step(model, data);
    }
    for (auto _ : state) {
        pin();
        mj_step(model, data);
    }
    stepsPerSecond(state);
    mj_deleteData(data);
    mj_deleteModel(model);
}

}  // namespace

BENCHMARK(armEveryJointLocked);
BENCHMARK(armWithoutControllers);
BENCHMARK(armPlainMujoco);
BENCHMARK(armPlainMujocoPinned);

namespace {

// Prints the table as usual, then the speed of the locked arm relative to the two ways of
// stepping MuJoCo alone, from the medians when repetitions were asked for.
class RatioReporter : public benchmark::ConsoleReporter {
  public:
    // Colours only on a terminal, so that saved output stays plain text.
    RatioReporter() : ConsoleReporter(isatty(fileno(stdout)) != 0 ? OO_ColorTabular : OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            const auto rate = run.counters.find("steps/s");
            const bool useful = run.run_type == Run::RT_Iteration || run.aggregate_name == "median";
            if (rate != run.counters.end() && useful && !run.error_occurred) {
                m_rates[run.run_name.function_name] = rate->second.value;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        const double locked = m_rates["armEveryJointLocked"];
        for (const char* baseline : {"armPlainMujoco", "armPlainMujocoPinned"}) {
            if (locked > 0 && m_rates[baseline] > 0) {
                std::printf("armEveryJointLocked / %s: %.3f\n", baseline,
                            locked / m_rates[baseline]);
            }
        }
    }

  private:
    std::map<std::string, double> m_rates;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
