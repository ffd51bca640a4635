#include <cstdio>

#include "CommandLine.h"
#include "InterfaceVerbs.h"
#include "MessageTypes.h"
#include "UsageError.h"

namespace qorCli {

namespace {

void expectArguments(const CommandLine& line, std::size_t count, const std::string& usage) {
    if (line.positional().size() != count) {
        throw UsageError("usage: qor-ros2 interface " + usage);
    }
}

InterfaceKinds kindsOf(const CommandLine& line) {
    InterfaceKinds kinds;
    kinds.messages = line.has("-m") || line.has("--only-msgs");
    kinds.services = line.has("-s") || line.has("--only-srvs");
    kinds.actions = line.has("-a") || line.has("--only-actions");
    return kinds;
}

// The options of list, packages and package, each a flag.
const std::set<std::string> kKindFlags{"-m",          "--only-msgs", "-s",
                                       "--only-srvs", "-a",          "--only-actions"};

int print(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    return 0;
}

}  // namespace

int interfaceCommand(const std::string& verb, const std::vector<std::string>& arguments) {
    if (verb == "list") {
        const CommandLine line(arguments, kKindFlags, {});
        expectArguments(line, 0, "list [-m|--only-msgs] [-s|--only-srvs] [-a|--only-actions]");
        return print(interfaceListText(kindsOf(line)));
    }
    if (verb == "packages") {
        const CommandLine line(arguments, kKindFlags, {});
        expectArguments(line, 0, "packages [-m|--only-msgs] [-s|--only-srvs] [-a|--only-actions]");
        return print(interfacePackagesText(kindsOf(line)));
    }
    if (verb == "package") {
        const CommandLine line(arguments, kKindFlags, {});
        expectArguments(line, 1,
                        "package PACKAGE [-m|--only-msgs] [-s|--only-srvs] [-a|--only-actions]");
        const InterfaceOutput output = interfacePackageOutput(line.positional()[0], kindsOf(line));
        std::fputs(output.err.c_str(), stderr);
        print(output.out);
        return output.exitCode;
    }
    if (verb == "proto") {
        const CommandLine line(arguments, {"--no-quotes"}, {});
        expectArguments(line, 1, "proto TYPE [--no-quotes]");
        return print(interfaceProtoText(line.positional()[0], line.has("--no-quotes")));
    }
    if (verb == "show") {
        const CommandLine line(arguments, {}, {});
        expectArguments(line, 1, "show TYPE");
        return print(findMessageType(line.positional()[0]).definition());
    }
    throw UsageError("unknown command 'interface " + verb +
                     "' (known: list, package, packages, proto, show)");
}

}  // namespace qorCli
