#pragma once

// Which file of the static directory an HTTP request target names, if any.

#include <filesystem>
#include <optional>
#include <string>

namespace qorROS2::web::detail {

/// The regular file under `root` that `target` ("/", "/app.js?x=1", "/img/a%20b.png") names:
/// "/" and any path ending in "/" name its index.html. Nothing when the target is malformed
/// (bad percent escapes, a NUL, a backslash, a ".." segment), when the file does not exist, or
/// when it lies outside `root` once symbolic links are followed.
std::optional<std::filesystem::path> staticFile(const std::filesystem::path& root,
                                                const std::string& target);

/// The Content-Type for a file's extension; "application/octet-stream" when not known.
std::string contentType(const std::filesystem::path& file);

/// The value of the query parameter `name` in `target`, percent-decoded; nothing when absent.
std::optional<std::string> queryParameter(const std::string& target, const std::string& name);

}  // namespace qorROS2::web::detail
