// Certificate and key by which a server speaks TLS.
#pragma once

#include <string>

namespace host {

// Paths of files in PEM form.
struct TlsFiles {
    std::string certificate;  // the server's own first, then those of whoever signed it
    std::string key;          // without a password

    bool given() const { return !certificate.empty(); }
    bool operator==(const TlsFiles&) const = default;
};

// Throws InputError when they cannot be used together.
void check_tls_files(const TlsFiles& files);

}  // namespace host
