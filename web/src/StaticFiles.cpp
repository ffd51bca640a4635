#include "StaticFiles.h"

#include <algorithm>
#include <cctype>
#include <system_error>
#include <utility>

namespace qorROS2::web::detail {
namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    const int lower = std::tolower(static_cast<unsigned char>(c));
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

std::optional<std::string> percentDecoded(const std::string& text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        if (i + 2 >= text.size()) {
            return std::nullopt;
        }
        const int high = hexValue(text[i + 1]);
        const int low = hexValue(text[i + 2]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        decoded += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return decoded;
}

bool within(const std::filesystem::path& root, const std::filesystem::path& file) {
    const auto [rootEnd, fileAt] =
        std::mismatch(root.begin(), root.end(), file.begin(), file.end());
    return rootEnd == root.end();
}

}  // namespace

std::optional<std::filesystem::path> staticFile(const std::filesystem::path& root,
                                                const std::string& target) {
    const std::optional<std::string> path = percentDecoded(target.substr(0, target.find('?')));
    if (!path || path->empty() || path->front() != '/' ||
        path->find_first_of(std::string("\\\0", 2)) != std::string::npos) {
        return std::nullopt;
    }
    std::filesystem::path relative;
    std::size_t start = 1;
    while (start <= path->size()) {
        const std::size_t end = std::min(path->find('/', start), path->size());
        const std::string segment = path->substr(start, end - start);
        if (segment == "..") {
            return std::nullopt;
        }
        if (!segment.empty() && segment != ".") {
            relative /= segment;
        }
        start = end + 1;
    }
    if (path->back() == '/') {
        relative /= "index.html";
    }
    std::error_code error;
    const std::filesystem::path canonicalRoot = std::filesystem::canonical(root, error);
    if (error) {
        return std::nullopt;
    }
    // Following links may lead out of the directory: the file's real place decides.
    const std::filesystem::path file = std::filesystem::canonical(canonicalRoot / relative, error);
    if (error || !within(canonicalRoot, file) || !std::filesystem::is_regular_file(file, error)) {
        return std::nullopt;
    }
    return file;
}

std::string contentType(const std::filesystem::path& file) {
    static const std::pair<const char*, const char*> kTypes[] = {
        {".html", "text/html; charset=utf-8"},
        {".js", "text/javascript; charset=utf-8"},
        {".mjs", "text/javascript; charset=utf-8"},
        {".css", "text/css; charset=utf-8"},
        {".json", "application/json"},
        {".svg", "image/svg+xml"},
        {".png", "image/png"},
        {".jpg", "image/jpeg"},
        {".ico", "image/x-icon"},
        {".wasm", "application/wasm"},
        {".txt", "text/plain; charset=utf-8"},
    };
    const std::string extension = file.extension().string();
    for (const auto& [suffix, type] : kTypes) {
        if (extension == suffix) {
            return type;
        }
    }
    return "application/octet-stream";
}

std::optional<std::string> queryParameter(const std::string& target, const std::string& name) {
    const std::size_t query = target.find('?');
    if (query == std::string::npos) {
        return std::nullopt;
    }
    std::size_t start = query + 1;
    while (start <= target.size()) {
        const std::size_t end = std::min(target.find('&', start), target.size());
        const std::string pair = target.substr(start, end - start);
        const std::size_t equals = pair.find('=');
        if (pair.substr(0, equals) == name) {
            return percentDecoded(equals == std::string::npos ? "" : pair.substr(equals + 1));
        }
        start = end + 1;
    }
    return std::nullopt;
}

}  // namespace qorROS2::web::detail
