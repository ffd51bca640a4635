// Proves the type hashes: against values ROS 2 itself published, and every message type (the
// design's 89 and the further ones) against an independent computation in node from an
// independent copy of ROS 2's definitions.

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

#include <memory>
#include <vector>

#include "ChildProcess.h"
#include "MessageTypeTesting.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace {

using namespace qorROS2::typesupport;

std::string hashOf(const std::string& name) {
    return getTypeSupport(name).typeHash();
}

// The values rosidl generated for ROS 2 Jazzy, as ROS 2's own notes and generated sources give
// them.
TEST(TypeHash, MatchesPublishedValuesForStringTwistClockJointState) {
    EXPECT_EQ(hashOf("std_msgs/msg/String"),
              "RIHS01_df668c740482bbd48fb39d76a70dfd4bd59db1288021743503259e948f6b1a18");
    EXPECT_EQ(hashOf("geometry_msgs/msg/Twist"),
              "RIHS01_9c45bf16fe0983d80e3cfe750d6835843d265a9a6c46bd2e609fcddde6fb8d2a");
    EXPECT_EQ(hashOf("rosgraph_msgs/msg/Clock"),
              "RIHS01_692f7a66e93a3c83e71765d033b60349ba68023a8c689a79e48078bcb5c58564");
    EXPECT_EQ(hashOf("sensor_msgs/msg/JointState"),
              "RIHS01_a13ee3a330e346c9d87b5aa18d24e11690752bd33a0350f11c5882bc9179260e");
}

TEST(TypeHash, MatchesPublishedValuesForTimeAndPoint) {
    EXPECT_EQ(hashOf("builtin_interfaces/msg/Time"),
              "RIHS01_b106235e25a4c5ed35098aa0a61a3ee9c9b18d197f398b0e4206cea9acf9c197");
    EXPECT_EQ(hashOf("geometry_msgs/msg/Point"),
              "RIHS01_6963084842a9b04494d6b2941d11444708d892da2f4b09843b9c43f42a7f6881");
}

// The three decisions rosidl takes that a reader of the .msg text could get wrong: `byte` keeps
// its own type id, `char` is hashed as uint8, and the empty message hashes the one member its
// generated structures have. The values are those rosidl generated into std_msgs.
TEST(TypeHash, MatchesPublishedValuesForByteCharEmpty) {
    EXPECT_EQ(hashOf("std_msgs/msg/Byte"),
              "RIHS01_41e1a3345f73fe93ede006da826a6ee274af23dd4653976ff249b0f44e3e798f");
    EXPECT_EQ(hashOf("std_msgs/msg/Char"),
              "RIHS01_3ad2d04dd29ba19d04b16659afa3ccaedd691914b02a64e82e252f2fa6a586a9");
    EXPECT_EQ(hashOf("std_msgs/msg/Empty"),
              "RIHS01_20b625256f32d5dbc0d04fee44f43c41e51c70d3502f84b4a08e7a9c26a96312");
}

TEST(TypeHash, MatchesPublishedValuesForHeaderFloat64ColorRGBA) {
    EXPECT_EQ(hashOf("std_msgs/msg/Header"),
              "RIHS01_f49fb3ae2cf070f793645ff749683ac6b06203e41c891e17701b1cb597ce6a01");
    EXPECT_EQ(hashOf("std_msgs/msg/Float64"),
              "RIHS01_705ba9c3d1a09df43737eb67095534de36fd426c0587779bda2bc51fe790182a");
    EXPECT_EQ(hashOf("std_msgs/msg/ColorRGBA"),
              "RIHS01_77a7a5b9ae477306097665106e0413ba74440245b1f3d0c6d6405fe5c7813fe8");
}

// The ROS 2 Jazzy value, as ROS2-FACTS and the tf2 tools give it.
TEST(TypeHash, MatchesThePublishedValueForTFMessage) {
    EXPECT_EQ(hashOf("tf2_msgs/msg/TFMessage"),
              "RIHS01_e369d0f05a23ae52508854b66f6aa0437f3449d652e8cbf22d5abe85d020f087");
}

// The values rosidl generated into simulation_interfaces' C type support (idl__description.c of
// a Jazzy build of the package's release branch).
TEST(TypeHash, MatchesRosidlsValuesForSimulationInterfaces) {
    EXPECT_EQ(hashOf("simulation_interfaces/msg/Result"),
              "RIHS01_cf43a306adff3337a0a47143d8f5689933bc70a30478f13b077dc1fe3bc5ad17");
    EXPECT_EQ(hashOf("simulation_interfaces/msg/EntityState"),
              "RIHS01_2e0464a85eb80a939025075d6c20761eca6a4cb9d6baf2c0ba373467c8b598d0");
    EXPECT_EQ(hashOf("simulation_interfaces/msg/EntityFilters"),
              "RIHS01_8e7b12e8ea062f14c55de4877221fe1b7cd9749665a7ad8a4ab855fc4b148303");
    EXPECT_EQ(hashOf("simulation_interfaces/msg/NamedPose"),
              "RIHS01_b32da2a039b1840f605ec025b7991a18efacac662fac272818d1ae6e2b12bc27");
    EXPECT_EQ(hashOf("simulation_interfaces/msg/TagsFilter"),
              "RIHS01_5c3efc51e8ed04c266c09cb4691ec95b964cd410558e01d8c83646b038826b45");
    const ServiceTypeSupport& step =
        getServiceTypeSupport("simulation_interfaces/srv/StepSimulation");
    EXPECT_EQ(step.typeHash(),
              "RIHS01_913fe0653690ce6bf8f09f316e6a626747012e9fca31e26719910d417aa8565c");
    EXPECT_EQ(step.requestTypeHash(),
              "RIHS01_cda33f6887815f3dce0f90e61fd8efd39bda13ae264ddede15c33fbad890630e");
    EXPECT_EQ(step.responseTypeHash(),
              "RIHS01_5b4acf2d0ce7c3fc125d0bef2acb9b5a81377e80db6b696b81beeffb9824fb5c");
    const ServiceTypeSupport& poses = getServiceTypeSupport("simulation_interfaces/GetNamedPoses");
    EXPECT_EQ(poses.typeHash(),
              "RIHS01_c3d12ab920115bfd4733f6d20516adc3968fb438538540997c37e200e02b04e3");
    EXPECT_EQ(poses.requestTypeHash(),
              "RIHS01_3d85f7553c5fcb491256b6eab66204ee590edbd0ad2dd53bb4ddf8a95f16af6e");
    EXPECT_EQ(poses.responseTypeHash(),
              "RIHS01_d0459c9da6adb831b3755778bc348cc88ad2b22fe864a11062df20610a12c320");
}

TEST(TypeHash, MatchesRosidlsValuesForUUID) {
    EXPECT_EQ(hashOf("unique_identifier_msgs/msg/UUID"),
              "RIHS01_1b8e8aca958cbea28fe6ef60bf6c19b683c97a9ef60bb34752067d0f2f7ab437");
}

// No npm package carries simulation_interfaces: these hashes were computed in node, with
// rosidl's rules, from the .msg, .srv and .action files of the package's humble and jazzy
// release branches (which agree). The same computation gives every value rosidl generated that
// the tests above and below pin.
const std::map<std::string, std::string>& simulationInterfacesHashes() {
    static const std::map<std::string, std::string> hashes = {
        {"simulation_interfaces/action/SimulateSteps",
         "RIHS01_f0837c898e1219cd73bf4c041feab41e8c533e8e1057e982744dba7b093467eb"},
        {"simulation_interfaces/action/SimulateSteps_Feedback",
         "RIHS01_735661ca01115eb9bca068c3f2cb79bd790cd46962317ce7ee9081a5915c9a77"},
        {"simulation_interfaces/action/SimulateSteps_FeedbackMessage",
         "RIHS01_a30dee7ee7380769e616406ec5067b238aa2b27e1dbd7a5957fba1d908d7754d"},
        {"simulation_interfaces/action/SimulateSteps_GetResult",
         "RIHS01_a1dae0516ab5c70d6d797e1bcd55c9448dfbb1966643f1ebd3e3f153d8169ae0"},
        {"simulation_interfaces/action/SimulateSteps_GetResult_Request",
         "RIHS01_4591b0bfbcb881003bbd46a2acebcaddceb977e5352905218688ce5ed051fdeb"},
        {"simulation_interfaces/action/SimulateSteps_GetResult_Response",
         "RIHS01_5658172e771cb145a986a8ef4c2b80b5407b741038453b8539e35bed5ff23207"},
        {"simulation_interfaces/action/SimulateSteps_Goal",
         "RIHS01_3f02c5df1dcdc7c08efee7f47c953c42c11686e0df8f8bbfb2d7e901f0d440d2"},
        {"simulation_interfaces/action/SimulateSteps_Result",
         "RIHS01_a1384eaee4ca7ae9238e612dfe26939dd0922cae664be1b5886cf773718823dc"},
        {"simulation_interfaces/action/SimulateSteps_SendGoal",
         "RIHS01_504407b9ff5617a737df8222cf581452b4f2e699e11e940d8d36590c5fb07d01"},
        {"simulation_interfaces/action/SimulateSteps_SendGoal_Request",
         "RIHS01_275e6fd2fafc5d33dcdc83bdea6de5cf29f30b9df74a3b9514a8c5d501fd0fe3"},
        {"simulation_interfaces/action/SimulateSteps_SendGoal_Response",
         "RIHS01_755f44a68d1e8d116f50dfed7ab30a140137fb71ad59eca4851d55abe2b3d4c2"},
        {"simulation_interfaces/msg/Bounds",
         "RIHS01_e8624fe51f0f5548197542697d924c5699ac7198f1e4c68e50c3ca2af73f5b3f"},
        {"simulation_interfaces/msg/EntityCategory",
         "RIHS01_43bdf7933fddf75f6970f7a8fe7078524355d821d390b3954bb46ac36c03dfe1"},
        {"simulation_interfaces/msg/EntityFilters",
         "RIHS01_8e7b12e8ea062f14c55de4877221fe1b7cd9749665a7ad8a4ab855fc4b148303"},
        {"simulation_interfaces/msg/EntityInfo",
         "RIHS01_3b9a2e7fa00f9a59d325b6e47904044c421561a385682027c7fc06c359806319"},
        {"simulation_interfaces/msg/EntityState",
         "RIHS01_2e0464a85eb80a939025075d6c20761eca6a4cb9d6baf2c0ba373467c8b598d0"},
        {"simulation_interfaces/msg/NamedPose",
         "RIHS01_b32da2a039b1840f605ec025b7991a18efacac662fac272818d1ae6e2b12bc27"},
        {"simulation_interfaces/msg/Resource",
         "RIHS01_2bb1939cf80f8d2f284afba53cbec60b5ff33759bd39b714128ea8867a34c51a"},
        {"simulation_interfaces/msg/Result",
         "RIHS01_cf43a306adff3337a0a47143d8f5689933bc70a30478f13b077dc1fe3bc5ad17"},
        {"simulation_interfaces/msg/SimulationState",
         "RIHS01_bb9f87ccdd98fba113052a512d9801e84ce732d0a2b3c2b0cb281828de36e415"},
        {"simulation_interfaces/msg/SimulatorFeatures",
         "RIHS01_8b101c8529bc0ea3dcf056078254768f39832b9ef0adaf93bd5cea96c0de3305"},
        {"simulation_interfaces/msg/SpawnEntity",
         "RIHS01_94a349a865ccf673c18c080520299c88c3d8d5f4842ecf1482d6c997ac4b69f9"},
        {"simulation_interfaces/msg/SpawnResult",
         "RIHS01_dbc277304b6c24bfb2a631cea8f52e2b005d583ec0a6c86b11613f5ce6486da1"},
        {"simulation_interfaces/msg/Spawnable",
         "RIHS01_8c22025d840e7a05ab31ba56f998b06458b549a9744b4695be25b778829fc176"},
        {"simulation_interfaces/msg/TagsFilter",
         "RIHS01_5c3efc51e8ed04c266c09cb4691ec95b964cd410558e01d8c83646b038826b45"},
        {"simulation_interfaces/msg/WorldResource",
         "RIHS01_e3b65ecf904b9b115673e4a343c6aa3d28c19e185a71228faa64b783afcf2403"},
        {"simulation_interfaces/srv/DeleteEntity",
         "RIHS01_ff7e96a5b83dc8e2bb34b8b034480028b3a24d9f8376b2c0590bac3704be3e28"},
        {"simulation_interfaces/srv/DeleteEntity_Request",
         "RIHS01_4b41b2ebdc313a0c98c7c2218849edc8b7b905fd759a23b68c576496a47dc792"},
        {"simulation_interfaces/srv/DeleteEntity_Response",
         "RIHS01_2f68929b527a3bbee03637a1c8192f2aa2982807738389aa0781f8e785673ca7"},
        {"simulation_interfaces/srv/GetAvailableWorlds",
         "RIHS01_ce5589b5523f2732d1969a3c5a7e6b17a387091df8190c62f78d7fdd1109e3e3"},
        {"simulation_interfaces/srv/GetAvailableWorlds_Request",
         "RIHS01_6335180e35038ba62eb2bae3d1c1bacd4b7791209137eacbddfee12629bf6c3a"},
        {"simulation_interfaces/srv/GetAvailableWorlds_Response",
         "RIHS01_0ce98a1547f1852fd6d95f794ae4bae8b1d97b9cfa83ea22b80f634999234a18"},
        {"simulation_interfaces/srv/GetCurrentWorld",
         "RIHS01_79ed4e910e1b7a1c9f7950ff758bfba3535bf0dec669054e8af115a099724ddd"},
        {"simulation_interfaces/srv/GetCurrentWorld_Request",
         "RIHS01_414ac6e1c5fd5f8be0b828ca7ff8cbee7166297809de31a36129f1d0913cd877"},
        {"simulation_interfaces/srv/GetCurrentWorld_Response",
         "RIHS01_039f99eb4e156ac597efed7598249921f8e47e5bff8c299d86ab081983a3a52a"},
        {"simulation_interfaces/srv/GetEntities",
         "RIHS01_cb90004c48cd50f37732fb008e22c34c261dd680a723bf0f85d8437ea4498bf7"},
        {"simulation_interfaces/srv/GetEntitiesStates",
         "RIHS01_0a76170d0c1c90e1eaf805cfab78ea801d1f82df309a28c1f0fae4b570f19754"},
        {"simulation_interfaces/srv/GetEntitiesStates_Request",
         "RIHS01_0af5302d3526834e83bd9861fbcc5214af2b9a4b0c93a965840fb1a6c2891724"},
        {"simulation_interfaces/srv/GetEntitiesStates_Response",
         "RIHS01_b651848f4d93a2b0ec5ec3f36659297ca30547c499f933eb279b60f8be434315"},
        {"simulation_interfaces/srv/GetEntities_Request",
         "RIHS01_f0a4c6c0c39c87f84cbd1ea31956b9f39b3fa538ae9c4aa7fc243a32360e8c70"},
        {"simulation_interfaces/srv/GetEntities_Response",
         "RIHS01_dd1916edbdc659d355e77980b16ed6eb4d41d5ff445557931ed65c58b00f7b2c"},
        {"simulation_interfaces/srv/GetEntityBounds",
         "RIHS01_17be8d36231178a5eed0de0344b55c19975581627a9aec30a4fee9926a35deed"},
        {"simulation_interfaces/srv/GetEntityBounds_Request",
         "RIHS01_41766afd481abfa03a9dface86a487e317da516333af3f5b017df248dd5d7fee"},
        {"simulation_interfaces/srv/GetEntityBounds_Response",
         "RIHS01_728d414a3be6d7689fad9d3218c8378c68fbe08c2cfbf9878ac14de713fcf4c1"},
        {"simulation_interfaces/srv/GetEntityInfo",
         "RIHS01_953b7ab6bfc35063f5c9a72463c6ce489baa10249a7fa510926d342a34b0d29e"},
        {"simulation_interfaces/srv/GetEntityInfo_Request",
         "RIHS01_9bdd2628d931108734e304ae1fac80d268a46783fa0060d4a43831c54c30f3b3"},
        {"simulation_interfaces/srv/GetEntityInfo_Response",
         "RIHS01_eaa358f007b09b06645f93b5a1c6ae0389f27bee7747e760122994ab1308e1c8"},
        {"simulation_interfaces/srv/GetEntityState",
         "RIHS01_749c91f2a2353d98367b64f2995a0f5842ce92a08ec1ffb3e185540a91557fb5"},
        {"simulation_interfaces/srv/GetEntityState_Request",
         "RIHS01_580141cc957c4ee99a7e46bc545db351ab9ce6c3099d4092b1186ddc6a38bd5a"},
        {"simulation_interfaces/srv/GetEntityState_Response",
         "RIHS01_125f1ca9dc2fc072443deb28587bbb1026fa34db4dfaf59e9a6b7128e0c81331"},
        {"simulation_interfaces/srv/GetNamedPoseBounds",
         "RIHS01_59fa8dd2c68ba6771160cc66a628ac99fa95e2748fa0a43c2cc62a2e5f3f6fdc"},
        {"simulation_interfaces/srv/GetNamedPoseBounds_Request",
         "RIHS01_4a62596dff6478d6424267da8933b1446992f61c70c2c196aa36258a1f1d133f"},
        {"simulation_interfaces/srv/GetNamedPoseBounds_Response",
         "RIHS01_db03610df68de520b420ccc9dc8826a92547ab9e791ac2a36a7dc86e8f2aa180"},
        {"simulation_interfaces/srv/GetNamedPoses",
         "RIHS01_c3d12ab920115bfd4733f6d20516adc3968fb438538540997c37e200e02b04e3"},
        {"simulation_interfaces/srv/GetNamedPoses_Request",
         "RIHS01_3d85f7553c5fcb491256b6eab66204ee590edbd0ad2dd53bb4ddf8a95f16af6e"},
        {"simulation_interfaces/srv/GetNamedPoses_Response",
         "RIHS01_d0459c9da6adb831b3755778bc348cc88ad2b22fe864a11062df20610a12c320"},
        {"simulation_interfaces/srv/GetSimulationState",
         "RIHS01_3362dcebee4b1afebbf9c4beee5c79c1455385aded62092a892d61fde8644f30"},
        {"simulation_interfaces/srv/GetSimulationState_Request",
         "RIHS01_c6d65bc5c0a95ca2886bc57f146f803e01722c84ddb5acd5f32a4417f55eecfb"},
        {"simulation_interfaces/srv/GetSimulationState_Response",
         "RIHS01_dc80ce852a5ab04c2b23cdd47910cee1bcc46e0f1931cac85825e6916b15517f"},
        {"simulation_interfaces/srv/GetSimulatorFeatures",
         "RIHS01_abb9439c8cf196722a469fb6c68b44b484f198c2a1356ac38849a29c2a20a794"},
        {"simulation_interfaces/srv/GetSimulatorFeatures_Request",
         "RIHS01_982b8c1adef1d556f6ecdc019d1269fc39413626a9222d73b4fc874bd798b7db"},
        {"simulation_interfaces/srv/GetSimulatorFeatures_Response",
         "RIHS01_ede4dc8227cbb2f86a24612c999dcaa67d17dab21dab566cefdc233e7a2a65d1"},
        {"simulation_interfaces/srv/GetSpawnables",
         "RIHS01_3bc0266bf8236058ff589c44512e013afe4f295427c39d44cff363d1c956bf36"},
        {"simulation_interfaces/srv/GetSpawnables_Request",
         "RIHS01_3e1d1577446a80da956db3e82363c2d66364f9802f6e9572d89497933207d921"},
        {"simulation_interfaces/srv/GetSpawnables_Response",
         "RIHS01_4e532ac531e2d0bb495a8b53409a8025551f55329250537a3d5a28c5d7ce36af"},
        {"simulation_interfaces/srv/LoadWorld",
         "RIHS01_f210682338f195f6f06191b46b20ec4992bddf485d33e2cffab2dd15341b4e3e"},
        {"simulation_interfaces/srv/LoadWorld_Request",
         "RIHS01_f683da497d911d5b8d8191c457d4dd90b39ceb1a7c3ec8e2f2adf89ee6721851"},
        {"simulation_interfaces/srv/LoadWorld_Response",
         "RIHS01_7bab3265c2461d98a44dd04830c5dc997b3d8605c50861824066246c96a7716e"},
        {"simulation_interfaces/srv/ResetSimulation",
         "RIHS01_4ce285d7ff9b8ac70dcc95161f32bf54c05a6f4b13427990e41ab40c36c39646"},
        {"simulation_interfaces/srv/ResetSimulation_Request",
         "RIHS01_2c766d09c3aa30f01fadc55a42fd760b63db358c7d1d3b6a64ea9978225ffbc7"},
        {"simulation_interfaces/srv/ResetSimulation_Response",
         "RIHS01_718428121e0f1755720878d3c28f1688da7581ee5a5d56d26d10d941a28a50a0"},
        {"simulation_interfaces/srv/SetEntityInfo",
         "RIHS01_867fe2b6812f3e021859171f9b788560d66bb7079d640030baf6c0bb2dd2631e"},
        {"simulation_interfaces/srv/SetEntityInfo_Request",
         "RIHS01_d80ba71f092c702485bdffcd35713793866df4e1a16ace6632c6d4a15bb1eb55"},
        {"simulation_interfaces/srv/SetEntityInfo_Response",
         "RIHS01_d17b31f0f6db0146ceb0b711d47dbf81c9c11c87ca4f64cfa671a95d9723c3d6"},
        {"simulation_interfaces/srv/SetEntityState",
         "RIHS01_ca210e7d2b66629ae133c8e1edf5246e618106d75c78ed0556c0e7a33c59ee5e"},
        {"simulation_interfaces/srv/SetEntityState_Request",
         "RIHS01_95cdfbffcd9c4d0133b2079bdcadd4420ce86dd255c11a3dfed7f9f907fd304d"},
        {"simulation_interfaces/srv/SetEntityState_Response",
         "RIHS01_bbd9bcb2def000f1ed8cb9482abff46c5a11cfe4184203f336b920f249d757f4"},
        {"simulation_interfaces/srv/SetSimulationState",
         "RIHS01_a868b916dce49974f637ba252141258c4b07b0c06858b88af560e3eb6bfbcb30"},
        {"simulation_interfaces/srv/SetSimulationState_Request",
         "RIHS01_73283477d36ba619db2ac37a3e599077ca244502c9d8ca2a7183afcb2224f476"},
        {"simulation_interfaces/srv/SetSimulationState_Response",
         "RIHS01_6351aebf2bbf06e2993977918b944240f7403b532a9e4a344c53e71a56afd174"},
        {"simulation_interfaces/srv/SpawnEntities",
         "RIHS01_41703a359ee032bf4fc230f144f531705ba039a2e97edeae1f7997dd83b04857"},
        {"simulation_interfaces/srv/SpawnEntities_Request",
         "RIHS01_03f070057ac2ab26d723fe9f07c7d57bd39ace34ad34bb043cdbca36825c98d9"},
        {"simulation_interfaces/srv/SpawnEntities_Response",
         "RIHS01_85df56d44250220df64762bf3e769cce45f84730eff8b9823093ca3041ecbbf5"},
        {"simulation_interfaces/srv/SpawnEntity",
         "RIHS01_d4c086345d4194a5fc4c9ae45095736ca4062b5cdac4d06a42dec93d683e03cf"},
        {"simulation_interfaces/srv/SpawnEntity_Request",
         "RIHS01_fdcf97087f59eed1ad0b75696ea97ffbb44d104f62f177fcd5a31ab67c6fc923"},
        {"simulation_interfaces/srv/SpawnEntity_Response",
         "RIHS01_be8c9fc03b6faaf95570949c80195c8ca75dd99f7efc23262309d497b2923982"},
        {"simulation_interfaces/srv/StepSimulation",
         "RIHS01_913fe0653690ce6bf8f09f316e6a626747012e9fca31e26719910d417aa8565c"},
        {"simulation_interfaces/srv/StepSimulation_Request",
         "RIHS01_cda33f6887815f3dce0f90e61fd8efd39bda13ae264ddede15c33fbad890630e"},
        {"simulation_interfaces/srv/StepSimulation_Response",
         "RIHS01_5b4acf2d0ce7c3fc125d0bef2acb9b5a81377e80db6b696b81beeffb9824fb5c"},
        {"simulation_interfaces/srv/UnloadWorld",
         "RIHS01_ac7f9a73df1b5b15015d854c5ac552b7726506e22f886c6792804f0b7f88b30b"},
        {"simulation_interfaces/srv/UnloadWorld_Request",
         "RIHS01_22b41a53aecd3cd180a218b16d9428cddc10b9e592ae16eaa434be873387e972"},
        {"simulation_interfaces/srv/UnloadWorld_Response",
         "RIHS01_68d4ea5721903837edd7c7e90d86e62aafb861c1ace33b7c805931974a652d9e"}};
    return hashes;
}

TEST(TypeHash, OfEverySimulationInterfacesServiceAndActionMatchesTheIndependentComputation) {
    std::size_t checked = 0;
    for (const ServiceTypeSupport* service : serviceTypeSupports()) {
        if (service->rosName().rfind("simulation_interfaces/", 0) != 0) {
            continue;
        }
        EXPECT_EQ(service->typeHash(), simulationInterfacesHashes().at(service->rosName()));
        EXPECT_EQ(service->requestTypeHash(),
                  simulationInterfacesHashes().at(service->request().rosName()));
        EXPECT_EQ(service->responseTypeHash(),
                  simulationInterfacesHashes().at(service->response().rosName()));
        ++checked;
    }
    EXPECT_EQ(checked, 22U);
    const ActionTypeSupport& steps = getActionTypeSupport("simulation_interfaces/SimulateSteps");
    EXPECT_EQ(steps.typeHash(), simulationInterfacesHashes().at(steps.rosName()));
    for (const TypeSupport* part :
         {&steps.goal(), &steps.result(), &steps.feedback(), &steps.sendGoal().request(),
          &steps.sendGoal().response(), &steps.getResult().request(), &steps.getResult().response(),
          &steps.feedbackMessage()}) {
        EXPECT_EQ(part->typeHash(), simulationInterfacesHashes().at(part->rosName()))
            << part->rosName();
    }
    EXPECT_EQ(steps.sendGoal().typeHash(),
              simulationInterfacesHashes().at(steps.sendGoal().rosName()));
    EXPECT_EQ(steps.getResult().typeHash(),
              simulationInterfacesHashes().at(steps.getResult().rosName()));
}

// An action rosidl generated the hashes of in a user's package:
//   float32 v_x / float32 w_z / float32 drive_time --- bool complete --- float32 percent_complete
// built here from descriptions alone, to pin how an action's own hash and those of the types
// rosidl derives for it are made.
TEST(TypeHash, OfAnActionAndItsDerivedTypesMatchRosidlsValues) {
    const auto field = [](const char* name, FieldKind kind) {
        FieldDescription description;
        description.name = name;
        description.kind = kind;
        return description;
    };
    const auto nested = [](const char* name, const RecordDescription& record) {
        FieldDescription description;
        description.name = name;
        description.kind = FieldKind::record;
        description.record = &record;
        return description;
    };
    const std::string base = "action_interface/action/Robot";
    const RecordDescription goal(
        base + "_Goal",
        {field("v_x", FieldKind::float32), field("w_z", FieldKind::float32),
         field("drive_time", FieldKind::float32)},
        {});
    const RecordDescription result(base + "_Result", {field("complete", FieldKind::boolean)}, {});
    const RecordDescription feedback(base + "_Feedback",
                                     {field("percent_complete", FieldKind::float32)}, {});
    const RecordDescription& uuid = getRecordDescription("unique_identifier_msgs/msg/UUID");
    const RecordDescription& time = getRecordDescription("builtin_interfaces/msg/Time");
    const RecordDescription sendGoalRequest(base + "_SendGoal_Request",
                                            {nested("goal_id", uuid), nested("goal", goal)}, {});
    const RecordDescription sendGoalResponse(
        base + "_SendGoal_Response", {field("accepted", FieldKind::boolean), nested("stamp", time)},
        {});
    const RecordDescription getResultRequest(base + "_GetResult_Request", {nested("goal_id", uuid)},
                                             {});
    const RecordDescription getResultResponse(
        base + "_GetResult_Response", {field("status", FieldKind::int8), nested("result", result)},
        {});
    const RecordDescription feedbackMessage(
        base + "_FeedbackMessage", {nested("goal_id", uuid), nested("feedback", feedback)}, {});
    // The descriptions are all a hash needs; no sample of these types is ever made.
    const qorROS2::typesupport::detail::RecordOperations none{};
    const auto type = [&](const RecordDescription& description) {
        return std::make_unique<TypeSupport>(description, none);
    };
    const RecordDescription& info = getRecordDescription("service_msgs/msg/ServiceEventInfo");
    ActionTypeSupport::Parts parts;
    parts.goal = type(goal);
    parts.result = type(result);
    parts.feedback = type(feedback);
    parts.sendGoal = std::make_unique<ServiceTypeSupport>(base + "_SendGoal", type(sendGoalRequest),
                                                          type(sendGoalResponse), info);
    parts.getResult = std::make_unique<ServiceTypeSupport>(
        base + "_GetResult", type(getResultRequest), type(getResultResponse), info);
    parts.feedbackMessage = type(feedbackMessage);
    const ActionTypeSupport action(base, std::move(parts));
    EXPECT_EQ(action.goal().typeHash(),
              "RIHS01_1d158c99d62fcbd045e273e790d3d02c4da243e72f5469d355801a1b3d0228f6");
    EXPECT_EQ(action.sendGoal().requestTypeHash(),
              "RIHS01_a5c8d275bd328d61b8b578f62bf1f864a2c46654281880ab3e36e78092d5e5c7");
    EXPECT_EQ(action.getResult().responseTypeHash(),
              "RIHS01_e0387757e3ff274ee8a6aff2d1339ce986dc3c20537e180d57c40da38d673d13");
    EXPECT_EQ(action.feedbackMessage().typeHash(),
              "RIHS01_50dfa96f0255adcc46c0e4517fa757f2090bff34b75b7a6055de4f4b1d994b8d");
    EXPECT_EQ(action.sendGoal().typeHash(),
              "RIHS01_a730a044ea9337e18872f217680af0970e25dd7768f78267e346f7198212de35");
    EXPECT_EQ(action.typeHash(),
              "RIHS01_a9ce30d15eac1be29293ca8cb9d93d8508c12d25c1c12ecd5b0324f8b3abe170");
}

using PeerHashes = std::map<std::string, std::map<std::string, std::string>>;  // distribution, type

// Runs the peer: "<distribution> <type> <hash>" per line.
PeerHashes loadPeerHashes() {
    const std::string command = std::string("\"") + QOR_NODE_EXECUTABLE + "\" \"" +
                                QOR_TEST_PEERS_DIR + "/type-hashes.js\" ros2jazzy ros2humble";
    std::istringstream lines(qorTest::commandOutput(command));
    PeerHashes hashes;
    std::string distribution;
    std::string type;
    std::string hash;
    while (lines >> distribution >> type >> hash) {
        hashes[distribution][type] = hash;
    }
    return hashes;
}

const PeerHashes& peerHashes() {
    static const PeerHashes loaded = loadPeerHashes();
    return loaded;
}

template <typename Record>
class TypeHashOfEveryType : public ::testing::Test {};
TYPED_TEST_SUITE(TypeHashOfEveryType, qorTest::AllMessageTypeRecords, qorTest::RecordTestName);

TYPED_TEST(TypeHashOfEveryType, MatchesThePeersComputationFromRosDefinitions) {
    const std::string name = qorROS2::rosTypeName<TypeParam>();
    const auto& jazzy = peerHashes().at("ros2jazzy");
    const auto& humble = peerHashes().at("ros2humble");
    if (name == "service_msgs/msg/ServiceEventInfo") {
        // The peer's copy of the definitions has no service_msgs; rosidl generated this value
        // into the type descriptions of every Jazzy service.
        EXPECT_EQ(jazzy.count(name), 0U);
        EXPECT_EQ(hashOf(name),
                  "RIHS01_41bcbbe07a75c9b52bc96bfd5c24d7f0fc0a08c0cb7921b3373c5732345a6f45");
        return;
    }
    if (std::string(qorROS2::MessageDescription<TypeParam>::package) == "simulation_interfaces") {
        EXPECT_EQ(jazzy.count(name), 0U);
        EXPECT_EQ(hashOf(name), simulationInterfacesHashes().at(name));
        return;
    }
    ASSERT_EQ(jazzy.count(name), 1U) << "the peer has no definition of " << name;
    if (name == "sensor_msgs/msg/Range") {
        // Jazzy added `float32 variance`, which the records, following Humble, do not have: the
        // hash is checked against Humble's definition, and differs from Jazzy's.
        EXPECT_EQ(hashOf(name), humble.at(name));
        EXPECT_NE(hashOf(name), jazzy.at(name));
    } else {
        EXPECT_EQ(hashOf(name), jazzy.at(name));
    }
}

}  // namespace
