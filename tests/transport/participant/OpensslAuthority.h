#pragma once

// Keys, certificates and signed documents made with the openssl command, independently of our
// own keystore code, with the validity that the test chooses: `openssl ca` takes any start and
// end date, in the past or the future.

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

namespace qorTest {

/// `when` in UTC, written with the strftime format `format`.
inline std::string utcText(std::time_t when, const char* format) {
    std::tm utc{};
    gmtime_r(&when, &utc);
    char text[32];
    std::strftime(text, sizeof text, format, &utc);
    return text;
}

/// `when` as `openssl ca` takes it, "20261124170235Z".
inline std::string opensslTime(std::time_t when) {
    return utcText(when, "%Y%m%d%H%M%SZ");
}

/// `when` in ISO 8601 without a zone, "2026-11-24T17:02:35", as SROS2 writes validity times.
inline std::string isoTime(std::time_t when) {
    return utcText(when, "%Y-%m-%dT%H:%M:%S");
}

class OpensslAuthority {
  public:
    /// Keeps `openssl ca`'s bookkeeping in `workFolder`, made here.
    explicit OpensslAuthority(const std::string& workFolder) : m_work(workFolder) {
        run("mkdir -p " + m_work + " && touch " + m_work + "/index.txt");
        // No key identifiers: certificates carry the basic constraints only, as SROS2's do.
        std::ofstream(m_work + "/ca.cnf") << "[ca]\ndefault_ca = authority\n"
                                             "[authority]\ndatabase = index.txt\n"
                                             "serial = serial\nnew_certs_dir = .\n"
                                             "default_md = sha256\npolicy = anything\n"
                                             "unique_subject = no\n"
                                             "[anything]\ncommonName = supplied\n"
                                             "[authority_extensions]\n"
                                             "basicConstraints = critical,CA:true,pathlen:1\n"
                                             "subjectKeyIdentifier = none\n"
                                             "authorityKeyIdentifier = none\n"
                                             "[identity_extensions]\n"
                                             "basicConstraints = CA:false\n"
                                             "subjectKeyIdentifier = none\n"
                                             "authorityKeyIdentifier = none\n";
    }

    /// Empty while every command succeeded; otherwise the first one that failed.
    const std::string& error() const { return m_error; }

    /// A P-256 key in PKCS #8, unencrypted.
    void makeKey(const std::string& key) {
        run("openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:prime256v1 -out " + key);
    }

    /// A self-signed authority "CN=`name`" for `key`, valid from `start` to `end`.
    void makeAuthority(const std::string& cert, const std::string& key, const std::string& name,
                       std::time_t start, std::time_t end) {
        issue(cert, key, name, start, end, "-selfsign -keyfile " + key, "authority_extensions");
    }

    /// An identity "CN=`name`" for `key`, signed by the authority `caCert`/`caKey`.
    void makeIdentity(const std::string& cert, const std::string& key, const std::string& name,
                      std::time_t start, std::time_t end, const std::string& caCert,
                      const std::string& caKey) {
        issue(cert, key, name, start, end, "-cert " + caCert + " -keyfile " + caKey,
              "identity_extensions");
    }

    /// `document` signed by the authority into `signedDocument`, as S/MIME with the text option
    /// and a detached signature, as DDS Security reads it.
    void sign(const std::string& document, const std::string& signedDocument,
              const std::string& caCert, const std::string& caKey) {
        run("openssl smime -sign -text -in " + document + " -out " + signedDocument + " -signer " +
            caCert + " -inkey " + caKey);
    }

    void run(const std::string& command) {
        if (m_error.empty() && std::system((command + " >/dev/null 2>&1").c_str()) != 0) {
            m_error = "command failed: " + command;
        }
    }

  private:
    void issue(const std::string& cert, const std::string& key, const std::string& name,
               std::time_t start, std::time_t end, const std::string& signer,
               const std::string& extensions) {
        // The subject's fields are separated by '/': those of the name are escaped.
        std::string escaped;
        for (const char c : name) {
            escaped += c == '/' ? std::string("\\/") : std::string(1, c);
        }
        run("openssl req -new -key " + key + " -subj '/CN=" + escaped + "' -out " + m_work +
            "/request.csr");
        run("cd " + m_work + " && openssl ca -batch -config ca.cnf -rand_serial -notext " + signer +
            " -in request.csr -out " + cert + " -startdate " + opensslTime(start) + " -enddate " +
            opensslTime(end) + " -extensions " + extensions);
    }

    std::string m_work;
    std::string m_error;
};

}  // namespace qorTest
