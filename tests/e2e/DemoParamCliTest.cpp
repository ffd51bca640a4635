// The demo's parameters through qor-ros2's param verbs: a rate set from the command line changes
// the images' stamps and is announced on /parameter_events; a dump read back by a new demo with
// --params-file and loaded onto a running one; files param load cannot use, in ros2's words.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "CliRuns.h"
#include "ScratchFile.h"
#include "WaitFor.h"

namespace {

constexpr int kRateDomain = 1;
constexpr int kDumpDomain = 2;
constexpr int kCopyDomain = 3;
const std::string kNode = "/qor_ros2_demo";

using namespace std::chrono_literals;

// The demo in `domain` with the small camera and without the lidar unless `arguments` say
// otherwise, once its parameter services answer.
std::unique_ptr<qorTest::ChildProcess> startDemo(int domain,
                                                 const std::vector<std::string>& arguments) {
    std::vector<std::string> argv = {QOR_DEMO, "--duration", "600", "--lidar-rate", "0"};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    auto demo = std::make_unique<qorTest::ChildProcess>(
        argv,
        qorTest::ChildProcess::Options{
            qorTest::ChildProcess::SEPARATE, {"ROS_DOMAIN_ID=" + std::to_string(domain)}, ""});
    EXPECT_TRUE(demo->started()) << demo->startError();
    qorTest::RunResult get;
    const bool ready = qorTest::waitFor(
        [&] {
            get = qorCliTest::runCliSplit("param get " + kNode + " use_sim_time", domain);
            return get.exitCode == 0;
        },
        60s);
    EXPECT_TRUE(ready) << "param get never answered: " << get.output << get.errors
                       << "\nthe demo wrote:\n"
                       << demo->errors();
    return demo;
}

// The stamps in seconds of the lines "sec,nanosec" that `echo --csv` printed.
std::vector<double> stampsOf(const std::string& csv) {
    std::vector<double> stamps;
    static const std::regex kLine("^(\\d+),(\\d+)$");
    for (const std::string& line : qorCliTest::linesOf(csv)) {
        std::smatch match;
        if (std::regex_match(line, match, kLine)) {
            stamps.push_back(std::stod(match[1]) + std::stod(match[2]) * 1e-9);
        }
    }
    return stamps;
}

TEST(DemoParamCli, ASetCameraRateSpacesTheImagesAndIsAnnouncedOnParameterEvents) {
    const auto demo = startDemo(kRateDomain, {"--camera-size", "32x24"});
    const auto events = qorCliTest::startCli("topic echo --once /parameter_events", kRateDomain);
    // The event of a set goes only to readers matched by then: set until the echo has one.
    bool announced = false;
    for (int attempt = 0; attempt < 10 && !announced; ++attempt) {
        const auto set =
            qorCliTest::runCliSplit("param set " + kNode + " camera.rate 5.0", kRateDomain);
        ASSERT_TRUE(qorCliTest::exitedPrinting(set, 0, "Set parameter successful\n")) << set.errors;
        announced = events->readUntil(
            [](const std::string& text) { return text.find("---") != std::string::npos; }, 5s);
    }
    ASSERT_TRUE(announced) << "topic echo printed no event:\n" << events->output();
    // The echo writes to a terminal, which ends its lines with "\r\n".
    const std::string event = std::regex_replace(events->output(), std::regex("\r"), "");
    EXPECT_NE(event.find("node: " + kNode + "\n"), std::string::npos) << event;
    EXPECT_NE(event.find("changed_parameters:\n- name: camera.rate\n"), std::string::npos) << event;
    EXPECT_NE(event.find("    double_value: 5.0\n"), std::string::npos) << event;

    const auto get = qorCliTest::runCliSplit("param get " + kNode + " camera.rate", kRateDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(get, 0, "Double value is: 5.0\n"));

    // The camera is due at multiples of its period of simulated time: 0.2 s apart, or a
    // multiple of it should the reader have missed one.
    const auto echo =
        qorCliTest::runCliUntilPrinted("topic echo /camera/image_raw --csv --field header.stamp",
                                       "[ $(grep -c , \"$out\") -ge 8 ]", kRateDomain);
    const std::vector<double> stamps = stampsOf(echo.output);
    ASSERT_GE(stamps.size(), 8U) << echo.output;
    std::size_t single = 0;
    for (std::size_t i = 1; i < stamps.size(); ++i) {
        const double periods = (stamps[i] - stamps[i - 1]) / 0.2;
        EXPECT_GE(periods, 0.95) << echo.output;
        EXPECT_NEAR(periods, std::round(periods), 0.05) << echo.output;
        single += std::round(periods) == 1.0 ? 1 : 0;
    }
    EXPECT_GE(single * 2, stamps.size() - 1) << echo.output;

    // hz times the images by /clock: about 5 per simulated second.
    const auto hz =
        qorCliTest::runCliUntilPrinted("topic hz -s /camera/image_raw",
                                       "[ $(grep -c 'average rate' \"$out\") -ge 3 ]", kRateDomain);
    std::smatch rate;
    static const std::regex kRate("average rate: ([0-9.]+)\n");
    std::string last;
    for (auto it = std::sregex_iterator(hz.output.begin(), hz.output.end(), kRate);
         it != std::sregex_iterator(); ++it) {
        last = (*it)[1];
    }
    ASSERT_FALSE(last.empty()) << hz.output;
    EXPECT_NEAR(std::stod(last), 5.0, 1.0) << hz.output;
}

// What qor-ros2 `arguments` printed on stderr, having printed nothing else and exited with 1 as
// ros2 does after a verb's error.
std::string refusalOf(const std::string& arguments) {
    const auto run = qorCliTest::runCliSplit(arguments, kDumpDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(run, 1, "")) << arguments << ": " << run.errors;
    return run.errors;
}

TEST(DemoParamCli, ADumpStartsANewDemoWithTheSameValuesAndLoadsOntoARunningOne) {
    const auto demo = startDemo(kDumpDomain, {"--camera-size", "32x24", "--ros-args", "-p",
                                              "camera.rate:=7.5", "-p", "real_time_factor:=0.5"});
    const auto dump = qorCliTest::runCliSplit("param dump " + kNode, kDumpDomain);
    ASSERT_EQ(dump.exitCode, 0) << dump.errors;
    ASSERT_NE(dump.output.find("    camera:\n      height: 24\n      rate: 7.5\n      width: 32\n"),
              std::string::npos)
        << dump.output;
    const qorTest::ScratchFile file("demo_dump.yaml", dump.output);

    // The file alone gives the camera its size and rate.
    {
        const auto copy = startDemo(kCopyDomain, {"--ros-args", "--params-file", file.path()});
        const auto again = qorCliTest::runCliSplit("param dump " + kNode, kCopyDomain);
        EXPECT_TRUE(qorCliTest::exitedPrinting(again, 0, dump.output));
        const auto get =
            qorCliTest::runCliSplit("param get " + kNode + " real_time_factor", kCopyDomain);
        EXPECT_TRUE(qorCliTest::exitedPrinting(get, 0, "Double value is: 0.5\n"));
    }

    // Humble's deprecated ways of dump: saved to a folder, or --print, which does nothing.
    const std::string folder = std::filesystem::path(file.path()).parent_path().string();
    const std::string saved = folder + "/qor_ros2_demo.yaml";
    std::remove(saved.c_str());
    const auto toFolder =
        qorCliTest::runCliSplit("param dump " + kNode + " --output-dir " + folder, kDumpDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(toFolder, 0, "Saving to:  " + saved + "\n"));
    EXPECT_EQ(toFolder.errors,
              "WARNING: '--output-dir' is deprecated; use redirection to save to a file\n");
    std::ostringstream savedText;
    savedText << std::ifstream(saved).rdbuf();
    EXPECT_EQ(savedText.str() + "\n", dump.output);
    std::remove(saved.c_str());
    const auto printed = qorCliTest::runCliSplit("param dump " + kNode + " --print", kDumpDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(printed, 0, dump.output));
    EXPECT_EQ(printed.errors,
              "WARNING: '--print' is deprecated; this utility prints to stdout by default\n");
    EXPECT_EQ(refusalOf("param dump " + kNode + " --output-dir /nonexistent/folder"),
              "'/nonexistent/folder' is not a valid directory.\n");

    const auto prefixed = qorCliTest::runCliSplit(
        "param list " + kNode + " --param-prefixes camera sensor_qos", kDumpDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        prefixed, 0, "  camera.height\n  camera.rate\n  camera.width\n  sensor_qos\n"));

    const auto load = qorCliTest::runCliSplit(
        "param load " + kNode + " " + qorCliTest::shellQuoted(file.path()), kDumpDomain);
    EXPECT_EQ(load.exitCode, 0) << load.errors;
    EXPECT_NE(load.output.find("Set parameter camera.rate successful\n"), std::string::npos)
        << load.output;
    EXPECT_NE(load.output.find("Set parameter real_time_factor successful\n"), std::string::npos)
        << load.output;
    for (const char* readOnly : {"use_sim_time", "camera.width", "sensor_qos"}) {
        const std::string name = readOnly;
        EXPECT_NE(load.errors.find("Set parameter " + name + " failed: parameter '" + name +
                                   "' cannot be set because it is read-only\n"),
                  std::string::npos)
            << load.errors;
    }
    // One line per parameter of the dump, each as ros2 words it.
    const auto listed = qorCliTest::runCliSplit("param list " + kNode, kDumpDomain);
    const std::vector<std::string> names = qorCliTest::linesOf(listed.output);
    std::vector<std::string> lines = qorCliTest::linesOf(load.output);
    const std::vector<std::string> failed = qorCliTest::linesOf(load.errors);
    lines.insert(lines.end(), failed.begin(), failed.end());
    EXPECT_EQ(lines.size(), names.size()) << load.output << load.errors;
    for (const std::string& line : lines) {
        EXPECT_EQ(line.rfind("Set parameter ", 0), 0U) << line;
    }

    // Bad input: ros2's words, the exit code ros2 gives, and the demo still serving.
    EXPECT_EQ(refusalOf("param load " + kNode + " /nonexistent/demo_params.yaml"),
              "FileNotFoundError: [Errno 2] No such file or directory: "
              "'/nonexistent/demo_params.yaml'\n");
    const qorTest::ScratchFile malformed("demo_malformed.yaml",
                                         "/qor_ros2_demo:\n  ros__parameters:\n    camera: [1\n");
    const std::string broken =
        refusalOf("param load " + kNode + " " + qorCliTest::shellQuoted(malformed.path()));
    EXPECT_EQ(broken.rfind("yaml.YAMLError: ", 0), 0U) << broken;
    EXPECT_NE(broken.find("\n  in \"" + malformed.path() + "\", line "), std::string::npos)
        << broken;
    const qorTest::ScratchFile mismatched(
        "demo_mismatched.yaml",
        "/qor_ros2_demo:\n  ros__parameters:\n    camera:\n      rate: fast\n");
    const auto refused = qorCliTest::runCliSplit(
        "param load " + kNode + " " + qorCliTest::shellQuoted(mismatched.path()), kDumpDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(refused, 0, ""));
    EXPECT_EQ(refused.errors,
              "Set parameter camera.rate failed: Wrong parameter type, parameter {camera.rate} is "
              "of type {double}, setting it to {string} is not allowed.\n");
    const qorTest::ScratchFile other("demo_other.yaml", "/other:\n  ros__parameters: {}\n");
    EXPECT_EQ(refusalOf("param load " + kNode + " " + qorCliTest::shellQuoted(other.path())),
              "Param file does not contain parameters for /qor_ros2_demo,  only for nodes: "
              "dict_keys(['/other'])\n");
    EXPECT_EQ(refusalOf("param load /nobody " + qorCliTest::shellQuoted(file.path())),
              "Node not found\n");

    const auto get = qorCliTest::runCliSplit("param get " + kNode + " camera.rate", kDumpDomain);
    EXPECT_TRUE(qorCliTest::exitedPrinting(get, 0, "Double value is: 7.5\n"));
}

}  // namespace
