// HTTP on the server's port: files of the directory given, nothing outside it.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "WebTestClient.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace {

namespace fs = std::filesystem;
using qorROS2::web::FoxgloveServer;
using qorROS2::web::ServerOptions;
using qorWebTest::httpRequest;

void write(const fs::path& file, const std::string& text) {
    fs::create_directories(file.parent_path());
    std::ofstream(file) << text;
}

class StaticFiles : public ::testing::Test {
  protected:
    void SetUp() override {
        m_scratch = fs::temp_directory_path() / ("qor-web-files-" + std::to_string(::getpid()));
        fs::remove_all(m_scratch);
        write(m_scratch / "site" / "index.html", "<h1>live</h1>");
        write(m_scratch / "site" / "js" / "app.js", "let x = 1;");
        write(m_scratch / "secret.txt", "do not serve");
        fs::create_symlink(m_scratch / "secret.txt", m_scratch / "site" / "linked.txt");
        ServerOptions options;
        options.port = 0;
        options.staticDirectory = (m_scratch / "site").string();
        m_server = std::make_unique<FoxgloveServer>(options);
    }
    void TearDown() override {
        m_server.reset();
        fs::remove_all(m_scratch);
    }
    std::uint16_t port() const { return m_server->port(); }

    fs::path m_scratch;
    std::unique_ptr<FoxgloveServer> m_server;
};

TEST_F(StaticFiles, TheRootIsTheIndexPage) {
    const auto answer = httpRequest(port(), "/");
    EXPECT_EQ(answer.status, 200u);
    EXPECT_EQ(answer.contentType, "text/html; charset=utf-8");
    EXPECT_EQ(answer.body, "<h1>live</h1>");
}

TEST_F(StaticFiles, FilesInFoldersComeWithTheirType) {
    const auto answer = httpRequest(port(), "/js/app.js?version=3");
    EXPECT_EQ(answer.status, 200u);
    EXPECT_EQ(answer.contentType, "text/javascript; charset=utf-8");
    EXPECT_EQ(answer.body, "let x = 1;");
}

TEST_F(StaticFiles, MissingFilesAre404) {
    EXPECT_EQ(httpRequest(port(), "/nothing.html").status, 404u);
    EXPECT_EQ(httpRequest(port(), "/js/").status, 404u);
}

TEST_F(StaticFiles, NoPathLeadsOutOfTheDirectory) {
    for (const char* target :
         {"/../secret.txt", "/js/../../secret.txt", "/%2e%2e/secret.txt",
          "/js%2f..%2f..%2fsecret.txt", "/linked.txt", "/..%5csecret.txt", "/%zz", "secret.txt"}) {
        const auto answer = httpRequest(port(), target);
        EXPECT_EQ(answer.status, 404u) << target;
        EXPECT_EQ(answer.body.find("do not serve"), std::string::npos) << target;
    }
}

TEST_F(StaticFiles, OnlyReadingIsAllowed) {
    EXPECT_EQ(httpRequest(port(), "/", {}, qorWebTest::http::verb::post).status, 405u);
}

TEST(StaticFilesNone, AServerWithoutADirectoryAnswers404) {
    ServerOptions options;
    options.port = 0;
    FoxgloveServer server(options);
    EXPECT_EQ(httpRequest(server.port(), "/").status, 404u);
}

}  // namespace
