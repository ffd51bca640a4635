#pragma once

// The console table as usual, then the ratios the benchmark exists for, taken from the medians when
// repetitions were asked for and from the single run otherwise.

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

namespace qorROS2::bench {

class RatioReporter : public benchmark::ConsoleReporter {
  public:
    RatioReporter();

    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

  private:
    struct Figures {
        double cpuSeconds = 0;      ///< CPU time per iteration
        double bytesPerSecond = 0;  ///< payload bytes per second of CPU time
    };

    void printTimeRatio(const char* label, const std::string& operation, const char* target);

    std::map<std::string, Figures> m_figures;
};

}  // namespace qorROS2::bench
