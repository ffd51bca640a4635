// Where a program finds the live view's page: share/qorROS2/web a few folders above its own, as
// installed (bin/..) and in the build tree (apps/<program>/../..).

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "qorROS2/web/BundledPage.h"

namespace {

namespace fs = std::filesystem;
using qorROS2::web::bundledPageDirectory;

class BundledPage : public ::testing::Test {
  protected:
    void SetUp() override {
        m_scratch = fs::temp_directory_path() / ("qor-web-page-" + std::to_string(::getpid()));
        fs::remove_all(m_scratch);
    }
    void TearDown() override { fs::remove_all(m_scratch); }

    // A prefix with an installed page and an empty folder `program` in it.
    fs::path install(const fs::path& prefix, const fs::path& program, bool withIndex = true) {
        fs::create_directories(prefix / "share/qorROS2/web");
        fs::create_directories(prefix / program);
        if (withIndex) {
            std::ofstream(prefix / "share/qorROS2/web/index.html") << "<h1>live</h1>";
        }
        return prefix / program;
    }

    fs::path m_scratch;
};

TEST_F(BundledPage, IsFoundBesideAnInstalledProgram) {
    const fs::path bin = install(m_scratch / "usr", "bin");
    EXPECT_EQ(bundledPageDirectory(bin.string()), (m_scratch / "usr/share/qorROS2/web").string());
}

TEST_F(BundledPage, IsFoundFromAProgramOfTheBuildTree) {
    const fs::path program = install(m_scratch / "build", "apps/qor-ros2");
    EXPECT_EQ(bundledPageDirectory(program.string()),
              (m_scratch / "build/share/qorROS2/web").string());
}

TEST_F(BundledPage, IsNotLookedForFurtherThanThreeFoldersUp) {
    const fs::path deep = install(m_scratch / "prefix", "a/b/c/bin");
    EXPECT_EQ(bundledPageDirectory(deep.string()), "");
    EXPECT_EQ(bundledPageDirectory((m_scratch / "prefix/a/b/c").string()),
              (m_scratch / "prefix/share/qorROS2/web").string());
}

TEST_F(BundledPage, NeedsItsIndexPage) {
    const fs::path bin = install(m_scratch / "usr", "bin", false);
    EXPECT_EQ(bundledPageDirectory(bin.string()), "");
    EXPECT_EQ(bundledPageDirectory(""), "");
}

// This test's own program lies in the build tree, whose copy of the page holds every file the
// index loads.
TEST(BundledPageOfTheBuild, HoldsThePageAndWhatItLoads) {
    const std::string folder = bundledPageDirectory();
    ASSERT_FALSE(folder.empty());
    for (const char* file : {"index.html", "app.js", "cdr.js", "style.css"}) {
        EXPECT_TRUE(fs::is_regular_file(fs::path(folder) / file)) << folder << "/" << file;
    }
}

}  // namespace
