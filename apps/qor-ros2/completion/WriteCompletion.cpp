// Writes the bash completion script of qor-ros2: the template with the option tables of the
// command tree, run at build time so that the script can never offer what the program refuses.

#include <cstdio>
#include <exception>
#include <fstream>
#include <sstream>
#include <string>

#include "cli/CommandTree.h"
#include "cli/CompletionTable.h"

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s TEMPLATE OUTPUT\n", argv[0]);
        return 2;
    }
    const std::string templatePath = argv[1];
    const std::string outputPath = argv[2];
    try {
        std::ifstream in(templatePath);
        if (!in) {
            std::fprintf(stderr, "%s: cannot read '%s'\n", argv[0], templatePath.c_str());
            return 1;
        }
        std::ostringstream text;
        text << in.rdbuf();
        const qorCli::CommandTree commands;
        const std::string script = qorCli::completionScript(text.str(), commands.root());
        std::ofstream out(outputPath, std::ios::binary | std::ios::trunc);
        out << script;
        out.close();
        if (!out) {
            std::fprintf(stderr, "%s: cannot write '%s'\n", argv[0], outputPath.c_str());
            return 1;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
    return 0;
}
