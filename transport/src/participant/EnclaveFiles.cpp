#include "participant/EnclaveFiles.h"

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <memory>

namespace qorROS2::detail {
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

// Whether the S/MIME document `path` is signed by `ca`, as the access control plugin checks it.
bool signedBy(const std::string& path, X509* ca) {
    Bio in(BIO_new_file(path.c_str(), "r"));
    BIO* content = nullptr;
    std::unique_ptr<PKCS7, Pkcs7Free> p7(in ? SMIME_read_PKCS7(in.get(), &content) : nullptr);
    Bio contentOwner(content);
    std::unique_ptr<X509_STORE, StoreFree> store(X509_STORE_new());
    if (!p7 || !store || X509_STORE_add_cert(store.get(), ca) != 1) {
        return false;
    }
    Bio out(BIO_new(BIO_s_null()));
    return PKCS7_verify(p7.get(), nullptr, store.get(), content, out.get(), PKCS7_TEXT) == 1;
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
    for (const auto& [path, read] :
         {std::pair{identityCaPath, identityCa.get()},
          std::pair{permissionsCaPath, permissionsCa.get()}, std::pair{certPath, cert.get()}}) {
        if (read == nullptr) {
            return "the security file '" + path + "' is not a PEM certificate";
        }
    }
    std::unique_ptr<EVP_PKEY, KeyFree> caKey(X509_get_pubkey(identityCa.get()));
    if (!caKey || X509_verify(cert.get(), caKey.get()) != 1) {
        return "the security file '" + certPath + "' is not signed by '" + identityCaPath + "'";
    }
    Bio keyBio(BIO_new_file(keyPath.c_str(), "r"));
    std::unique_ptr<EVP_PKEY, KeyFree> key(
        keyBio ? PEM_read_bio_PrivateKey(keyBio.get(), nullptr, nullptr, nullptr) : nullptr);
    if (!key || X509_check_private_key(cert.get(), key.get()) != 1) {
        return "the security file '" + keyPath + "' is not the private key of '" + certPath + "'";
    }
    for (const char* name : {"/governance.p7s", "/permissions.p7s"}) {
        const std::string path = directory + name;
        if (!signedBy(path, permissionsCa.get())) {
            return "the security file '" + path + "' does not verify against '" +
                   permissionsCaPath + "': it was changed, or signed by another CA";
        }
    }
    return std::string();
}

}  // namespace qorROS2::detail
