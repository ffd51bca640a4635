// `qor-ros2 bag info BAG`: what `ros2 bag info` prints about a bag directory or a single MCAP
// file. A bag that a killed recorder left without metadata.yaml is described from its files, and
// what was found wrong with it is warned about on standard error.

#include <CLI/CLI.hpp>
#include <cstdio>

#include "bag/BagArguments.h"
#include "bag/RosLog.h"
#include "cli/Verb.h"
#include "qorROS2/bag/BagInfoText.h"
#include "qorROS2/bag/BagReader.h"

namespace qorCli {
namespace {

class BagInfoVerb : public Verb {
  public:
    explicit BagInfoVerb(CLI::App& app) : m_app(app) { addBagPathArguments(app, m_bag); }

    int run() override {
        requireBagPath(m_app, m_bag);
        qorROS2::bag::BagReader reader(m_bag.path);
        for (const std::string& problem : reader.problems()) {
            rosLog(LogLevel::WARN, "rosbag2_storage", problem);
        }
        std::fputs(qorROS2::bag::bagInfoText(reader.metadata(), reader.sizeBytes()).c_str(),
                   stdout);
        return 0;
    }

  private:
    const CLI::App& m_app;
    BagPathArguments m_bag;
};

}  // namespace

std::unique_ptr<Verb> makeBagInfoVerb(CLI::App& app) {
    return std::make_unique<BagInfoVerb>(app);
}

}  // namespace qorCli
