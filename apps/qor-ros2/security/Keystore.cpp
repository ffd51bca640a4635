#include "security/Keystore.h"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace qorCli {
namespace {

namespace fs = std::filesystem;

// As SROS2's, certificates start a day before they are made, so that a machine whose clock runs
// behind still takes them as valid, and end 3650 days after.
constexpr long kBackdateSeconds = 24L * 3600L;
constexpr long kLifetimeSeconds = 3650L * 24L * 3600L;
// The subject of the one certificate authority of a keystore.
const char* const kCaName = "qor-ros2 keystore CA";

struct BioFree {
    void operator()(BIO* bio) const { BIO_free_all(bio); }
};
struct KeyFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct CertFree {
    void operator()(X509* cert) const { X509_free(cert); }
};
struct Pkcs7Free {
    void operator()(PKCS7* p7) const { PKCS7_free(p7); }
};
using Bio = std::unique_ptr<BIO, BioFree>;
using Key = std::unique_ptr<EVP_PKEY, KeyFree>;
using Cert = std::unique_ptr<X509, CertFree>;
using Pkcs7 = std::unique_ptr<PKCS7, Pkcs7Free>;

std::runtime_error failure(const std::string& what) {
    return std::runtime_error("security: " + what);
}

// An elliptic-curve key on P-256, the curve DDS Security's PKI-DH requires.
Key newKey() {
    Key key(EVP_EC_gen("prime256v1"));
    if (!key) {
        throw failure("OpenSSL could not generate a P-256 key");
    }
    return key;
}

X509_NAME* nameOf(const std::string& commonName) {
    X509_NAME* name = X509_NAME_new();
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(commonName.c_str()), -1, -1,
                               0);
    return name;
}

void addExtension(X509* cert, X509* issuer, int nid, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, issuer, cert, nullptr, nullptr, 0);
    X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value);
    if (extension == nullptr) {
        throw failure("OpenSSL refused a certificate extension");
    }
    X509_add_ext(cert, extension, -1);
    X509_EXTENSION_free(extension);
}

// A certificate for `subject`'s key, signed by `issuerKey` (itself when `issuer` is null).
Cert newCertificate(const std::string& subject, EVP_PKEY* subjectKey, X509* issuer,
                    EVP_PKEY* issuerKey, long serial) {
    Cert cert(X509_new());
    X509_set_version(cert.get(), 2);
    ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), serial);
    std::time_t now = std::time(nullptr);
    X509_time_adj(X509_getm_notBefore(cert.get()), -kBackdateSeconds, &now);
    X509_time_adj(X509_getm_notAfter(cert.get()), kLifetimeSeconds, &now);
    X509_NAME* subjectName = nameOf(subject);
    X509_set_subject_name(cert.get(), subjectName);
    X509_set_issuer_name(cert.get(),
                         issuer == nullptr ? subjectName : X509_get_subject_name(issuer));
    X509_NAME_free(subjectName);
    X509_set_pubkey(cert.get(), subjectKey);
    const bool authority = issuer == nullptr;
    addExtension(cert.get(), authority ? cert.get() : issuer, NID_basic_constraints,
                 authority ? "critical,CA:TRUE" : "CA:FALSE");
    addExtension(cert.get(), authority ? cert.get() : issuer, NID_key_usage,
                 authority ? "critical,keyCertSign,cRLSign,digitalSignature"
                           : "critical,digitalSignature,keyEncipherment");
    if (X509_sign(cert.get(), issuerKey, EVP_sha256()) == 0) {
        throw failure("OpenSSL could not sign the certificate of \"" + subject + "\"");
    }
    return cert;
}

Bio openForWriting(const fs::path& path) {
    Bio bio(BIO_new_file(path.c_str(), "w"));
    if (!bio) {
        throw failure("cannot write " + path.string());
    }
    return bio;
}

void writeKey(const fs::path& path, EVP_PKEY* key) {
    Bio bio = openForWriting(path);
    if (PEM_write_bio_PrivateKey(bio.get(), key, nullptr, nullptr, 0, nullptr, nullptr) != 1) {
        throw failure("cannot write " + path.string());
    }
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
}

void writeCertificate(const fs::path& path, X509* cert) {
    Bio bio = openForWriting(path);
    if (PEM_write_bio_X509(bio.get(), cert) != 1) {
        throw failure("cannot write " + path.string());
    }
}

// Reads the PEM object of `path` with `read` (PEM_read_bio_PrivateKey, PEM_read_bio_X509).
template <typename Object, typename Owner, typename Reader>
std::unique_ptr<Object, Owner> readPem(const fs::path& path, Reader read, const char* what) {
    Bio bio(BIO_new_file(path.c_str(), "r"));
    std::unique_ptr<Object, Owner> object(bio ? read(bio.get(), nullptr, nullptr, nullptr)
                                              : nullptr);
    if (!object) {
        throw failure(std::string("cannot read the ") + what + " " + path.string() +
                      ": is this a keystore?");
    }
    return object;
}

Key readKey(const fs::path& path) {
    return readPem<EVP_PKEY, KeyFree>(path, PEM_read_bio_PrivateKey, "key");
}

Cert readCertificate(const fs::path& path) {
    return readPem<X509, CertFree>(path, PEM_read_bio_X509, "certificate");
}

void writeText(const fs::path& path, const std::string& text) {
    std::ofstream out(path);
    out << text;
    if (!out) {
        throw failure("cannot write " + path.string());
    }
}

// Signs `document` as S/MIME with the text option and a detached signature: what DDS Security's
// access control plugin verifies.
void writeSigned(const fs::path& documentPath, const fs::path& signedPath, X509* ca,
                 EVP_PKEY* caKey) {
    Bio in(BIO_new_file(documentPath.c_str(), "r"));
    if (!in) {
        throw failure("cannot read " + documentPath.string());
    }
    const int flags = PKCS7_DETACHED | PKCS7_TEXT;
    Pkcs7 p7(PKCS7_sign(ca, caKey, nullptr, in.get(), flags));
    Bio again(BIO_new_file(documentPath.c_str(), "r"));
    Bio out = openForWriting(signedPath);
    if (!p7 || !again || SMIME_write_PKCS7(out.get(), p7.get(), again.get(), flags) != 1) {
        throw failure("cannot sign " + documentPath.string() + " into " + signedPath.string());
    }
}

// A certificate's time as SROS2 writes it into permissions: ISO 8601, UTC, without a zone.
std::string isoTime(const ASN1_TIME* time) {
    std::tm utc{};
    char text[32];
    if (ASN1_TIME_to_tm(time, &utc) != 1 ||
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc) == 0) {
        throw failure("OpenSSL could not read a certificate's validity");
    }
    return text;
}

// The text SROS2 writes from its default governance, with a bare root element (its schema
// location attributes serve editors; no security plugin reads them): everything protected, for
// one domain.
// Unauthenticated participants are refused, and discovery, liveliness and the data of every
// topic are encrypted. SROS2 keeps its template's indentation, the <id> line's included.
std::string governanceXml(int domain) {
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

// What SROS2's default policy grants an enclave: every topic, service and action ("/*"), both
// ways, in the order its permissions template sorts them.
const std::vector<std::string>& defaultPolicyTopics() {
    static const std::vector<std::string> topics = {"rq/*/_action/cancel_goalRequest",
                                                    "rq/*/_action/get_resultRequest",
                                                    "rq/*/_action/send_goalRequest",
                                                    "rq/*Request",
                                                    "rr/*/_action/cancel_goalReply",
                                                    "rr/*/_action/get_resultReply",
                                                    "rr/*/_action/send_goalReply",
                                                    "rt/*/_action/feedback",
                                                    "rt/*/_action/status",
                                                    "rr/*Reply",
                                                    "rt/*"};
    return topics;
}

// One <allow_rule> of SROS2's permissions: `topics` published and subscribed in `domain`.
std::string allowRule(int domain, const std::vector<std::string>& topics) {
    std::string list;
    for (const std::string& topic : topics) {
        list += "            <topic>" + topic + "</topic>\n";
    }
    std::string rule = "      <allow_rule>\n        <domains>\n          <id>" +
                       std::to_string(domain) + "</id>\n        </domains>\n";
    for (const char* way : {"publish", "subscribe"}) {
        rule += std::string("        <") + way + ">\n          <topics>\n" + list +
                "          </topics>\n        </" + way + ">\n";
    }
    return rule + "      </allow_rule>\n";
}

// The text SROS2 writes for an enclave from its default policy: valid as long as the enclave's
// certificate, the policy's topics and the graph topic ros_discovery_info in one domain, nothing
// else.
std::string permissionsXml(const std::string& enclave, int domain, X509* cert) {
    return "<dds>\n  <permissions>\n    <grant name=\"" +
           enclave + "\">\n      <subject_name>CN=" + enclave +
           "</subject_name>\n      <validity>\n        <not_before>" +
           isoTime(X509_get0_notBefore(cert)) + "</not_before>\n        <not_after>" +
           isoTime(X509_get0_notAfter(cert)) + "</not_after>\n      </validity>\n" +
           allowRule(domain, defaultPolicyTopics()) + allowRule(domain, {"ros_discovery_info"}) +
           "      <default>DENY</default>\n    </grant>\n  </permissions>\n</dds>\n";
}

// An enclave name is "/" followed by path segments of letters, digits and underscores.
void checkEnclaveName(const std::string& name) {
    bool valid = name.size() > 1 && name.front() == '/' && name.back() != '/';
    for (std::size_t i = 1; valid && i < name.size(); ++i) {
        const char c = name[i];
        valid = std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' ||
                (c == '/' && name[i - 1] != '/');
    }
    if (!valid) {
        throw failure("invalid enclave name '" + name +
                      "': it is '/' followed by names of letters, digits and '_' separated by '/'");
    }
}

}  // namespace

void createKeystore(const std::string& directory, int domain) {
    const fs::path root(directory);
    if (fs::exists(root / "public" / "ca.cert.pem")) {
        throw failure("a keystore already exists in " + root.string());
    }
    fs::create_directories(root / "public");
    fs::create_directories(root / "private");
    fs::create_directories(root / "enclaves");
    Key caKey = newKey();
    Cert ca = newCertificate(kCaName, caKey.get(), nullptr, caKey.get(), 1);
    writeKey(root / "private" / "ca.key.pem", caKey.get());
    writeCertificate(root / "public" / "ca.cert.pem", ca.get());
    for (const char* role : {"identity_ca", "permissions_ca"}) {
        fs::create_symlink("ca.cert.pem", root / "public" / (std::string(role) + ".cert.pem"));
        fs::create_symlink("ca.key.pem", root / "private" / (std::string(role) + ".key.pem"));
    }
    writeText(root / "enclaves" / "governance.xml", governanceXml(domain));
    writeSigned(root / "enclaves" / "governance.xml", root / "enclaves" / "governance.p7s",
                ca.get(), caKey.get());
}

void createEnclave(const std::string& directory, const std::string& name, int domain) {
    checkEnclaveName(name);
    const fs::path root(directory);
    Cert permissionsCa = readCertificate(root / "public" / "permissions_ca.cert.pem");
    Key permissionsCaKey = readKey(root / "private" / "permissions_ca.key.pem");
    if (!fs::exists(root / "enclaves" / "governance.p7s")) {
        throw failure("no enclaves/governance.p7s in " + root.string() + ": is this a keystore?");
    }
    const fs::path enclave = root / "enclaves" / name.substr(1);
    fs::create_directories(enclave);
    // As SROS2: an enclave keeps its identity, and only one without a key or a certificate gets
    // both anew, so that what its peers know of it stays true.
    if (!fs::is_regular_file(enclave / "cert.pem") || !fs::is_regular_file(enclave / "key.pem")) {
        Cert identityCa = readCertificate(root / "public" / "identity_ca.cert.pem");
        Key identityCaKey = readKey(root / "private" / "identity_ca.key.pem");
        Key key = newKey();
        const long serial =
            static_cast<long>(std::chrono::duration_cast<std::chrono::microseconds>(
                                  std::chrono::system_clock::now().time_since_epoch())
                                  .count() &
                              0x7fffffff);
        Cert cert = newCertificate(name, key.get(), identityCa.get(), identityCaKey.get(), serial);
        writeKey(enclave / "key.pem", key.get());
        writeCertificate(enclave / "cert.pem", cert.get());
    }
    // Links, relative to the enclave's folder, to the keystore's shared files.
    const fs::path up = fs::relative(root, enclave);
    for (const char* role : {"identity_ca", "permissions_ca"}) {
        const fs::path link = enclave / (std::string(role) + ".cert.pem");
        fs::remove(link);
        fs::create_symlink(up / "public" / (std::string(role) + ".cert.pem"), link);
    }
    fs::remove(enclave / "governance.p7s");
    fs::create_symlink(up / "enclaves" / "governance.p7s", enclave / "governance.p7s");
    // The permissions are written again each time, for the domain of now, and last as long as
    // the certificate.
    Cert cert = readCertificate(enclave / "cert.pem");
    writeText(enclave / "permissions.xml", permissionsXml(name, domain, cert.get()));
    writeSigned(enclave / "permissions.xml", enclave / "permissions.p7s", permissionsCa.get(),
                permissionsCaKey.get());
}

}  // namespace qorCli
