#pragma once

// A file with given content in the system's temporary folder, removed again when it goes.

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

namespace qorTest {

class ScratchFile {
  public:
    /// Writes `content` to a file named after `name` and this process, so that tests running at
    /// once never share one.
    ScratchFile(const std::string& name, const std::string& content)
        : m_path(
              (std::filesystem::temp_directory_path() / (std::to_string(::getpid()) + "_" + name))
                  .string()) {
        std::ofstream(m_path) << content;
    }
    ~ScratchFile() { std::remove(m_path.c_str()); }
    ScratchFile(const ScratchFile&) = delete;
    ScratchFile& operator=(const ScratchFile&) = delete;

    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

}  // namespace qorTest
