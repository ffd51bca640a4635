#pragma once

// A verb of a command ("topic echo"): it declares its arguments on its CLI11 app and runs once
// they are parsed. Each verb lives in a file of its own; CommandTree.cpp lists them all.

#include <memory>

namespace CLI {
class App;
}  // namespace CLI

namespace qorCli {

/// What a verb does once its arguments have been read into it.
class Verb {
  public:
    virtual ~Verb() = default;
    /// Runs the verb and returns the exit code. Throws ArgumentError, CommandFailure or UsageError
    /// for bad input.
    virtual int run() = 0;
};

/// Declares a verb's arguments on `app` (the verb's own subcommand) and returns the verb, which
/// reads them when it runs.
using VerbFactory = std::unique_ptr<Verb> (*)(CLI::App& app);

std::unique_ptr<Verb> makeActionInfoVerb(CLI::App& app);
std::unique_ptr<Verb> makeActionListVerb(CLI::App& app);
std::unique_ptr<Verb> makeActionSendGoalVerb(CLI::App& app);
std::unique_ptr<Verb> makeBagInfoVerb(CLI::App& app);
std::unique_ptr<Verb> makeBagPlayVerb(CLI::App& app);
std::unique_ptr<Verb> makeBagRecordVerb(CLI::App& app);
std::unique_ptr<Verb> makeBridgeWebVerb(CLI::App& app);
std::unique_ptr<Verb> makeInterfaceListVerb(CLI::App& app);
std::unique_ptr<Verb> makeInterfacePackageVerb(CLI::App& app);
std::unique_ptr<Verb> makeInterfacePackagesVerb(CLI::App& app);
std::unique_ptr<Verb> makeInterfaceProtoVerb(CLI::App& app);
std::unique_ptr<Verb> makeInterfaceShowVerb(CLI::App& app);
std::unique_ptr<Verb> makeNodeInfoVerb(CLI::App& app);
std::unique_ptr<Verb> makeNodeListVerb(CLI::App& app);
std::unique_ptr<Verb> makeParamDeleteVerb(CLI::App& app);
std::unique_ptr<Verb> makeParamDescribeVerb(CLI::App& app);
std::unique_ptr<Verb> makeParamDumpVerb(CLI::App& app);
std::unique_ptr<Verb> makeParamGetVerb(CLI::App& app);
std::unique_ptr<Verb> makeParamListVerb(CLI::App& app);
std::unique_ptr<Verb> makeParamLoadVerb(CLI::App& app);
std::unique_ptr<Verb> makeParamSetVerb(CLI::App& app);
std::unique_ptr<Verb> makeSecurityCreateEnclaveVerb(CLI::App& app);
std::unique_ptr<Verb> makeSecurityCreateKeystoreVerb(CLI::App& app);
std::unique_ptr<Verb> makeServiceCallVerb(CLI::App& app);
std::unique_ptr<Verb> makeServiceFindVerb(CLI::App& app);
std::unique_ptr<Verb> makeServiceListVerb(CLI::App& app);
std::unique_ptr<Verb> makeServiceTypeVerb(CLI::App& app);
std::unique_ptr<Verb> makeTopicBwVerb(CLI::App& app);
std::unique_ptr<Verb> makeTopicDelayVerb(CLI::App& app);
std::unique_ptr<Verb> makeTopicEchoVerb(CLI::App& app);
std::unique_ptr<Verb> makeTopicFindVerb(CLI::App& app);
std::unique_ptr<Verb> makeTopicHzVerb(CLI::App& app);
std::unique_ptr<Verb> makeTopicInfoVerb(CLI::App& app);
std::unique_ptr<Verb> makeTopicListVerb(CLI::App& app);
std::unique_ptr<Verb> makeTopicPubVerb(CLI::App& app);
std::unique_ptr<Verb> makeTopicTypeVerb(CLI::App& app);

}  // namespace qorCli
