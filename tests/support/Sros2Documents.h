#pragma once

// The documents that SROS2 (ros2/sros2) writes into a keystore, byte for byte but for the root
// element, left bare (its schema location attributes serve editors; no plugin reads them): its
// default governance (policy/defaults/dds/governance.xml) and its default policy (policy/defaults/
// policy.xml) through its permissions template (policy/templates/dds/permissions.xsl), as lxml
// writes them out, without an XML declaration. Written out here from those files, so that tests
// can compare our keystores with them and build keystores of SROS2's own.

#include <string>

namespace qorTest {

/// enclaves/governance.xml, made with ROS_DOMAIN_ID=`domain`: everything protected in that domain.
/// SROS2 keeps its template's indentation, the <id> line's included.
inline std::string sros2Governance(int domain) {
    return R"(<dds>
    <domain_access_rules>
        <domain_rule>
            <domains>
              <id>)" +
           std::to_string(domain) + R"(</id>
            </domains>
            <allow_unauthenticated_participants>false</allow_unauthenticated_participants>
            <enable_join_access_control>true</enable_join_access_control>
            <discovery_protection_kind>ENCRYPT</discovery_protection_kind>
            <liveliness_protection_kind>ENCRYPT</liveliness_protection_kind>
            <rtps_protection_kind>SIGN</rtps_protection_kind>
            <topic_access_rules>
                <topic_rule>
                    <topic_expression>*</topic_expression>
                    <enable_discovery_protection>true</enable_discovery_protection>
                    <enable_liveliness_protection>true</enable_liveliness_protection>
                    <enable_read_access_control>true</enable_read_access_control>
                    <enable_write_access_control>true</enable_write_access_control>
                    <metadata_protection_kind>ENCRYPT</metadata_protection_kind>
                    <data_protection_kind>ENCRYPT</data_protection_kind>
                </topic_rule>
            </topic_access_rules>
        </domain_rule>
    </domain_access_rules>
</dds>
)";
}

/// The <topics> of an <allow_rule> that SROS2's permissions template writes for the default
/// policy, under <publish> and again under <subscribe>: every topic, service and action ("/*"),
/// sorted as the template sorts them.
const char* const kSros2DefaultTopics = R"(          <topics>
            <topic>rq/*/_action/cancel_goalRequest</topic>
            <topic>rq/*/_action/get_resultRequest</topic>
            <topic>rq/*/_action/send_goalRequest</topic>
            <topic>rq/*Request</topic>
            <topic>rr/*/_action/cancel_goalReply</topic>
            <topic>rr/*/_action/get_resultReply</topic>
            <topic>rr/*/_action/send_goalReply</topic>
            <topic>rt/*/_action/feedback</topic>
            <topic>rt/*/_action/status</topic>
            <topic>rr/*Reply</topic>
            <topic>rt/*</topic>
          </topics>
)";

/// An <allow_rule> of SROS2's permissions: `topics` published and subscribed in `domain`.
inline std::string sros2AllowRule(int domain, const std::string& topics) {
    return "      <allow_rule>\n        <domains>\n          <id>" + std::to_string(domain) +
           "</id>\n        </domains>\n        <publish>\n" + topics +
           "        </publish>\n        <subscribe>\n" + topics +
           "        </subscribe>\n      </allow_rule>\n";
}

/// enclaves/<enclave>/permissions.xml, made with ROS_DOMAIN_ID=`domain` for a certificate valid
/// from `notBefore` to `notAfter` ("2026-11-24T17:02:35", UTC): the default policy, then the
/// graph topic ros_discovery_info, which SROS2 adds for rmw_fastrtps_cpp and rmw_cyclonedds_cpp.
inline std::string sros2Permissions(const std::string& enclave, int domain,
                                    const std::string& notBefore, const std::string& notAfter) {
    return R"(<dds>
  <permissions>
    <grant name=")" +
           enclave + R"(">
      <subject_name>CN=)" +
           enclave + R"(</subject_name>
      <validity>
        <not_before>)" +
           notBefore + R"(</not_before>
        <not_after>)" +
           notAfter + R"(</not_after>
      </validity>
)" + sros2AllowRule(domain, kSros2DefaultTopics) +
           sros2AllowRule(domain, R"(          <topics>
            <topic>ros_discovery_info</topic>
          </topics>
)") + R"(      <default>DENY</default>
    </grant>
  </permissions>
</dds>
)";
}

}  // namespace qorTest
