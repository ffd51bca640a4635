#include "topic/measure/RateMeter.h"

#include <algorithm>

#include "text/PythonText.h"
#include "topic/measure/WindowStatistics.h"

namespace qorCli {

namespace {

constexpr std::int64_t kReportPeriod = 1000000000;

// Columns left-aligned under centred headings, three spaces apart, a line of "=" below the
// headings; the table ends with an empty line.
std::string asciiTable(const std::vector<std::string>& headings,
                       const std::vector<std::vector<std::string>>& rows) {
    std::vector<std::size_t> widths;
    for (std::size_t column = 0; column < headings.size(); ++column) {
        std::size_t width = headings[column].size();
        for (const auto& row : rows) {
            width = std::max(width, row[column].size());
        }
        widths.push_back(width);
    }
    std::string header;
    std::size_t tableWidth = 0;
    for (std::size_t column = 0; column < headings.size(); ++column) {
        header += (column > 0 ? "   " : "") + pythonCenter(headings[column], widths[column]);
        tableWidth += widths[column] + (column > 0 ? 3 : 0);
    }
    std::string out = header + "\n" + std::string(tableWidth, '=') + "\n";
    for (const auto& row : rows) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            out += (column > 0 ? "   " : "") + row[column] +
                   std::string(widths[column] - row[column].size(), ' ');
        }
        out += "\n";
    }
    return out + "\n";
}

}  // namespace

RateMeter::RateMeter(std::size_t window) : m_window(std::max<std::size_t>(window, 1)) {}

void RateMeter::add(const std::string& topic, std::int64_t receiveNanoseconds) {
    Arrivals& arrivals = m_topics[topic];
    if (receiveNanoseconds == 0) {
        if (!arrivals.intervals.empty()) {
            arrivals.intervals.clear();
            ++m_untoldResets;
        }
        return;
    }
    if (arrivals.first < 0 || arrivals.first > receiveNanoseconds) {
        arrivals.first = receiveNanoseconds;
        arrivals.last = receiveNanoseconds;
        arrivals.intervals.clear();
    } else {
        arrivals.intervals.push_back(receiveNanoseconds - arrivals.last);
        arrivals.last = receiveNanoseconds;
    }
    if (arrivals.intervals.size() > m_window) {
        arrivals.intervals.pop_front();
    }
}

std::optional<RateMeter::Rate> RateMeter::dueRate(const std::string& topic) const {
    const auto found = m_topics.find(topic);
    if (found == m_topics.end() || found->second.intervals.empty()) {
        return std::nullopt;
    }
    const Arrivals& arrivals = found->second;
    if (arrivals.reported == 0) {
        arrivals.reported = arrivals.last;
        return std::nullopt;
    }
    if (arrivals.last < arrivals.reported + kReportPeriod) {
        return std::nullopt;
    }
    arrivals.reported = arrivals.last;
    const WindowStatistics intervals = windowStatistics(arrivals.intervals);
    const double rate = intervals.mean > 0.0 ? 1.0 / intervals.mean : 0.0;
    return Rate{rate * 1e9, intervals.min * 1e-9, intervals.max * 1e-9,
                intervals.standardDeviation * 1e-9, intervals.count};
}

std::optional<std::string> RateMeter::report(const std::vector<std::string>& topics) const {
    std::string notices;
    for (; m_untoldResets > 0; --m_untoldResets) {
        notices += "time has reset, resetting counters\n";
    }
    const std::optional<std::string> text = rateReport(topics);
    if (notices.empty()) {
        return text;
    }
    return notices + text.value_or("");
}

std::optional<std::string> RateMeter::rateReport(const std::vector<std::string>& topics) const {
    if (topics.size() == 1) {
        const auto rate = dueRate(topics.front());
        if (!rate) {
            return std::nullopt;
        }
        return "average rate: " + pythonFixed(rate->rate, 3) +
               "\n\tmin: " + pythonFixed(rate->minDelta, 3) +
               "s max: " + pythonFixed(rate->maxDelta, 3) +
               "s std dev: " + pythonFixed(rate->standardDeviation, 5) +
               "s window: " + std::to_string(rate->window) + "\n";
    }
    std::vector<std::vector<std::string>> rows;
    for (const std::string& topic : topics) {
        if (const auto rate = dueRate(topic)) {
            rows.push_back(
                {topic, pythonShortFloat(rate->rate, 4), pythonShortFloat(rate->minDelta, 4),
                 pythonShortFloat(rate->maxDelta, 4), pythonShortFloat(rate->standardDeviation, 4),
                 std::to_string(rate->window)});
        }
    }
    if (rows.empty()) {
        return std::nullopt;
    }
    return asciiTable({"topic", "rate", "min_delta", "max_delta", "std_dev", "window"}, rows);
}

}  // namespace qorCli
