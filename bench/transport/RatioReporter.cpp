#include "RatioReporter.h"

#include <unistd.h>
#include <cstdio>

namespace qorROS2::bench {

// Colours only on a terminal, so that saved output stays plain text.
RatioReporter::RatioReporter()
    : ConsoleReporter(isatty(fileno(stdout)) != 0 ? OO_ColorTabular : OO_Tabular) {}

void RatioReporter::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        const bool useful = run.run_type == Run::RT_Iteration || run.aggregate_name == "median";
        if (!useful || run.error_occurred) {
            continue;
        }
        Figures& figures = m_figures[run.run_name.function_name];
        figures.cpuSeconds =
            run.GetAdjustedCPUTime() / benchmark::GetTimeUnitMultiplier(run.time_unit);
        const auto rate = run.counters.find("bytes_per_second");
        figures.bytesPerSecond = rate != run.counters.end() ? rate->second.value : 0;
    }
    ConsoleReporter::ReportRuns(runs);
}

void RatioReporter::printTimeRatio(const char* label, const std::string& operation,
                                   const char* target) {
    const double ours = m_figures[operation + "/ours"].cpuSeconds;
    const double generated = m_figures[operation + "/generated"].cpuSeconds;
    if (ours > 0 && generated > 0) {
        std::printf("  %-26s %6.3f%s\n", label, ours / generated, target);
    }
}

void RatioReporter::Finalize() {
    ConsoleReporter::Finalize();
    std::printf("\nours / generated, CPU time per message:\n");
    printTimeRatio("JointState encode", "JointState/encode", "  (target <= 1.0)");
    printTimeRatio("JointState decode", "JointState/decode", "  (target <= 1.0)");
    printTimeRatio("Image encode", "Image/encode", "  (target <= 1.0)");
    printTimeRatio("Image decode", "Image/decode", "  (target <= 1.0)");
    printTimeRatio("JointState decode, fresh", "JointState/decodeFresh", "");
    printTimeRatio("Image decode, fresh", "Image/decodeFresh", "");
    const double ours = m_figures["Image/encode/ours"].bytesPerSecond;
    const double copy = m_figures["Image/memcpy"].bytesPerSecond;
    if (ours > 0 && copy > 0) {
        std::printf("\nour Image encode bandwidth / memcpy bandwidth: %.3f  (target >= 0.8)\n",
                    ours / copy);
    }
}

}  // namespace qorROS2::bench
