#include "participant/EnclaveFiles.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <memory>
#include <optional>
#include <sstream>
#include <utility>
#include <vector>

namespace qorROS2::transport::participant {
namespace {

struct BioFree {
    void operator()(BIO* bio) const { BIO_free_all(bio); }
};
struct CertFree {
    void operator()(X509* cert) const { X509_free(cert); }
};
struct KeyFree {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct Pkcs7Free {
    void operator()(PKCS7* p7) const { PKCS7_free(p7); }
};
struct StoreFree {
    void operator()(X509_STORE* store) const { X509_STORE_free(store); }
};
using Bio = std::unique_ptr<BIO, BioFree>;
using Cert = std::unique_ptr<X509, CertFree>;

Cert readCertificate(const std::string& path) {
    Bio bio(BIO_new_file(path.c_str(), "r"));
    return Cert(bio ? PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr) : nullptr);
}

// What the memory BIO `bio` holds.
std::string memoryText(BIO* bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    return size > 0 ? std::string(data, static_cast<std::size_t>(size)) : std::string();
}

// The document that the S/MIME file `path` carries, when it is signed by `ca` as the access
// control plugin checks it; nothing otherwise.
std::optional<std::string> signedDocument(const std::string& path, X509* ca) {
    Bio in(BIO_new_file(path.c_str(), "r"));
    BIO* content = nullptr;
    std::unique_ptr<PKCS7, Pkcs7Free> p7(in ? SMIME_read_PKCS7(in.get(), &content) : nullptr);
    Bio contentOwner(content);
    std::unique_ptr<X509_STORE, StoreFree> store(X509_STORE_new());
    Bio out(BIO_new(BIO_s_mem()));
    if (!p7 || !store || !out || X509_STORE_add_cert(store.get(), ca) != 1 ||
        PKCS7_verify(p7.get(), nullptr, store.get(), content, out.get(), PKCS7_TEXT) != 1) {
        return std::nullopt;
    }
    return memoryText(out.get());
}

std::string fileProblem(const std::string& path, const std::string& what) {
    return "the security file '" + path + "' " + what;
}

// A certificate's time as "2026-11-24T17:02:35 UTC".
std::string utcText(const ASN1_TIME* time) {
    std::tm utc{};
    char text[32] = "an unreadable time";
    if (ASN1_TIME_to_tm(time, &utc) == 1) {
        std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S UTC", &utc);
    }
    return text;
}

// Why the certificate `cert` of `path` is not valid now, or an empty text. OpenSSL would only
// fail the signatures it makes, and the wrong file would be blamed.
std::string certificateTimeProblem(const std::string& path, X509* cert) {
    if (X509_cmp_current_time(X509_get0_notBefore(cert)) > 0) {
        return fileProblem(path, "is not valid before " + utcText(X509_get0_notBefore(cert)));
    }
    if (X509_cmp_current_time(X509_get0_notAfter(cert)) < 0) {
        return fileProblem(path, "expired on " + utcText(X509_get0_notAfter(cert)));
    }
    return std::string();
}

// The trimmed text of the first <tag> element of `xml` within [from, to), or nothing.
std::optional<std::string> elementText(const std::string& xml, const std::string& tag,
                                       std::size_t from, std::size_t to) {
    const std::string open = "<" + tag + ">";
    const std::size_t start = xml.find(open, from);
    const std::size_t end = xml.find("</" + tag + ">", start);
    if (start == std::string::npos || end == std::string::npos || end > to) {
        return std::nullopt;
    }
    const std::string text = xml.substr(start + open.size(), end - start - open.size());
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    const std::size_t last = text.find_last_not_of(" \t\r\n");
    return first == std::string::npos ? std::string() : text.substr(first, last - first + 1);
}

// A permissions time read as Fast DDS reads it: "%Y-%m-%dT%T", in the local time zone.
std::optional<std::time_t> permissionsTime(const std::string& text) {
    std::tm time{};
    std::istringstream stream(text);
    stream >> std::get_time(&time, "%Y-%m-%dT%T");
    if (stream.fail()) {
        return std::nullopt;
    }
    return std::mktime(&time);
}

// The subject of `cert` as permissions name it, "CN=/talker".
std::string subjectOf(X509* cert) {
    Bio out(BIO_new(BIO_s_mem()));
    if (!out ||
        X509_NAME_print_ex(out.get(), X509_get_subject_name(cert), 0, XN_FLAG_RFC2253) < 0) {
        return std::string();
    }
    return memoryText(out.get());
}

// Why the grant of `cert`'s subject in the permissions document `xml` (from `path`) is not valid
// now, or an empty text. Fast DDS only says that it could not create the participant.
std::string permissionsTimeProblem(const std::string& path, const std::string& xml, X509* cert) {
    const std::string subject = subjectOf(cert);
    const std::time_t now = std::time(nullptr);
    for (std::size_t grant = xml.find("<grant"); grant != std::string::npos;
         grant = xml.find("<grant", grant + 1)) {
        const std::size_t end = std::min(xml.find("</grant>", grant), xml.size());
        if (elementText(xml, "subject_name", grant, end) != subject) {
            continue;
        }
        const std::optional<std::string> notBefore = elementText(xml, "not_before", grant, end);
        const std::optional<std::string> notAfter = elementText(xml, "not_after", grant, end);
        const std::optional<std::time_t> start =
            notBefore ? permissionsTime(*notBefore) : std::nullopt;
        const std::optional<std::time_t> finish =
            notAfter ? permissionsTime(*notAfter) : std::nullopt;
        if (start && std::difftime(now, *start) < 0) {
            return fileProblem(path, "is not valid before " + *notBefore);
        }
        if (finish && std::difftime(*finish, now) < 0) {
            return fileProblem(path, "expired on " + *notAfter);
        }
    }
    return std::string();
}

}  // namespace

std::string enclaveFilesProblem(const std::string& directory) {
    const std::string identityCaPath = directory + "/identity_ca.cert.pem";
    const std::string permissionsCaPath = directory + "/permissions_ca.cert.pem";
    const std::string certPath = directory + "/cert.pem";
    const std::string keyPath = directory + "/key.pem";
    const Cert identityCa = readCertificate(identityCaPath);
    const Cert permissionsCa = readCertificate(permissionsCaPath);
    const Cert cert = readCertificate(certPath);
    const std::vector<std::pair<std::string, X509*>> certificates = {
        {identityCaPath, identityCa.get()},
        {permissionsCaPath, permissionsCa.get()},
        {certPath, cert.get()}};
    for (const auto& [path, read] : certificates) {
        if (read == nullptr) {
            return fileProblem(path, "is not a PEM certificate");
        }
    }
    for (const auto& [path, read] : certificates) {
        const std::string problem = certificateTimeProblem(path, read);
        if (!problem.empty()) {
            return problem;
        }
    }
    std::unique_ptr<EVP_PKEY, KeyFree> caKey(X509_get_pubkey(identityCa.get()));
    if (!caKey || X509_verify(cert.get(), caKey.get()) != 1) {
        return fileProblem(certPath, "is not signed by '" + identityCaPath + "'");
    }
    Bio keyBio(BIO_new_file(keyPath.c_str(), "r"));
    std::unique_ptr<EVP_PKEY, KeyFree> key(
        keyBio ? PEM_read_bio_PrivateKey(keyBio.get(), nullptr, nullptr, nullptr) : nullptr);
    if (!key || X509_check_private_key(cert.get(), key.get()) != 1) {
        return fileProblem(keyPath, "is not the private key of '" + certPath + "'");
    }
    std::string permissions;
    for (const char* name : {"/governance.p7s", "/permissions.p7s"}) {
        const std::string path = directory + name;
        const std::optional<std::string> document = signedDocument(path, permissionsCa.get());
        if (!document) {
            return fileProblem(path, "does not verify against '" + permissionsCaPath +
                                         "': it was changed, or signed by another CA");
        }
        permissions = *document;
    }
    return permissionsTimeProblem(directory + "/permissions.p7s", permissions, cert.get());
}

}  // namespace qorROS2::transport::participant
