#include "qorROS2/bag/BagInfoText.h"

#include <time.h>

#include <filesystem>
#include <iomanip>
#include <limits>
#include <sstream>
#include <system_error>
#include <vector>

#include "qorROS2/bag/BagError.h"

namespace qorROS2::bag {

namespace {

// The longest field name, "Topic information:", and one space: where every value starts.
constexpr int kValueColumn = 19;

struct FormattedTime {
    std::string dateAndTime;  ///< "Nov 14 2023 22:13:20.123456789", in the local time zone
    std::string seconds;      ///< "1700000000.123456789"
};

// Whole seconds and nine digits of nanoseconds; the date and time as strftime's "%b %e %Y"
// and "%H:%M:%S" in the C locale, as rosbag2 streams them.
FormattedTime formatTime(std::int64_t nanoseconds) {
    const std::int64_t wholeSeconds = nanoseconds / 1000000000;
    std::ostringstream fraction;
    fraction << std::setw(9) << std::setfill('0') << nanoseconds % 1000000000;
    const auto epochSeconds = static_cast<std::time_t>(wholeSeconds);
    std::tm local{};
    std::ostringstream dateAndTime;
    dateAndTime.imbue(std::locale::classic());
    if (::localtime_r(&epochSeconds, &local) != nullptr) {
        dateAndTime << std::put_time(&local, "%b %e %Y") << " " << std::put_time(&local, "%H:%M:%S")
                    << "." << fraction.str();
    }
    return {dateAndTime.str(), std::to_string(wholeSeconds) + "." + fraction.str()};
}

std::string formatTimePoint(std::int64_t nanoseconds) {
    const FormattedTime time = formatTime(nanoseconds);
    return time.dateAndTime + " (" + time.seconds + ")";
}

// Bytes without decimals; larger units with one decimal, rounded, up to TiB.
std::string formatSize(std::uint64_t bytes) {
    static const char* const units[] = {"B", "KiB", "MiB", "GiB", "TiB"};
    auto size = static_cast<double>(bytes);
    std::size_t unit = 0;
    while (size >= 1024 && unit < 4) {
        size /= 1024;
        ++unit;
    }
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed << std::setprecision(unit == 0 ? 0 : 1) << size << " " << units[unit];
    return text.str();
}

// The first line after the field's name, every further one indented to the value column; an
// empty list leaves the field's line empty.
template <typename Element, typename Write>
void writeLines(std::ostringstream& out, const std::vector<Element>& elements, Write write) {
    if (elements.empty()) {
        out << "\n";
    }
    for (std::size_t i = 0; i < elements.size(); ++i) {
        out << (i == 0 ? "" : std::string(kValueColumn, ' '));
        write(elements[i]);
        out << "\n";
    }
}

}  // namespace

std::string bagInfoText(const BagMetadata& metadata, std::uint64_t bagSizeBytes) {
    if (metadata.startingTimeNanoseconds < 0 || metadata.durationNanoseconds < 0 ||
        metadata.durationNanoseconds >
            std::numeric_limits<std::int64_t>::max() - metadata.startingTimeNanoseconds) {
        throw BagError("cannot show a bag whose start (" +
                       std::to_string(metadata.startingTimeNanoseconds) + " ns) or duration (" +
                       std::to_string(metadata.durationNanoseconds) +
                       " ns) is negative or ends beyond the year 2262");
    }
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << "\nFiles:             ";
    writeLines(out, metadata.relativeFilePaths, [&out](const std::string& path) { out << path; });
    out << "Bag size:          " << formatSize(bagSizeBytes) << "\n";
    out << "Storage id:        " << metadata.storageIdentifier << "\n";
    out << "Duration:          " << formatTime(metadata.durationNanoseconds).seconds << "s\n";
    out << "Start:             " << formatTimePoint(metadata.startingTimeNanoseconds) << "\n";
    out << "End:               "
        << formatTimePoint(metadata.startingTimeNanoseconds + metadata.durationNanoseconds) << "\n";
    out << "Messages:          " << metadata.messageCount << "\n";
    out << "Topic information: ";
    writeLines(out, metadata.topicsWithMessageCount, [&out](const TopicInformation& topic) {
        out << "Topic: " << topic.topicMetadata.name << " | Type: " << topic.topicMetadata.type
            << " | Count: " << topic.messageCount
            << " | Serialization Format: " << topic.topicMetadata.serializationFormat;
    });
    // ros2 bag info prints the text with a newline of its own.
    out << "\n";
    return out.str();
}

std::uint64_t bagDirectorySize(const std::string& bagDirectory) {
    std::error_code error;
    std::filesystem::directory_iterator entries(bagDirectory, error);
    if (error) {
        throw BagError(bagDirectory + ": cannot be read as a bag directory: " + error.message());
    }
    std::uint64_t size = 0;
    for (const auto& entry : entries) {
        std::error_code entryError;
        if (entry.is_directory(entryError)) {
            continue;
        }
        const std::uintmax_t fileSize = std::filesystem::file_size(entry.path(), entryError);
        // rcutils counts what it cannot size (a dangling link) as nothing.
        size += entryError ? 0 : static_cast<std::uint64_t>(fileSize);
    }
    return size;
}

}  // namespace qorROS2::bag
