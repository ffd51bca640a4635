#include "qorROS2/web/BundledPage.h"

#include <filesystem>
#include <system_error>

namespace qorROS2::web {
namespace {

// bin/ of an installed program is one folder below the prefix; apps/<program>/ of the build
// tree two below the build folder; a third allows one more level of nesting there.
constexpr int kLevelsUp = 3;

}  // namespace

std::string bundledPageDirectory(const std::string& programDirectory) {
    std::error_code error;
    std::filesystem::path folder = std::filesystem::absolute(programDirectory, error);
    if (error || programDirectory.empty()) {
        return {};
    }
    for (int level = 0; level < kLevelsUp && folder.has_parent_path(); ++level) {
        folder = folder.parent_path();
        const std::filesystem::path page = folder / QOR_WEB_PAGE_SUBDIR;
        if (std::filesystem::is_regular_file(page / "index.html", error)) {
            return page.string();
        }
    }
    return {};
}

std::string bundledPageDirectory() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::string() : bundledPageDirectory(program.parent_path().string());
}

}  // namespace qorROS2::web
