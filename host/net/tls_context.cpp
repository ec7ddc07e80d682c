// OpenSSL's reasons become sentences about the files.
#include "host/net/tls_context.h"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "host/base/input_error.h"
#include "host/base/readable_file.h"
#include "host/base/text.h"

namespace host {
namespace {

using Context = boost::asio::ssl::context;
using boost::system::error_code;

void check_readable(const std::string& path) {
    if (const std::string why = why_unreadable(path); !why.empty())
        throw InputError("cannot read \"" + visible(path) + "\": " + why);
}

[[noreturn]] void refuse(const TlsFiles& files, const std::string& path, const char* what,
                         const error_code& error) {
    const auto code = static_cast<unsigned long>(error.value());
    if (ERR_GET_LIB(code) == ERR_LIB_X509 && ERR_GET_REASON(code) == X509_R_KEY_VALUES_MISMATCH) {
        throw InputError("the key \"" + visible(files.key) +
                         "\" does not belong to the certificate \"" + visible(files.certificate) +
                         "\"");
    }
    const char* const reason = ERR_reason_error_string(code);
    throw InputError(
        "\"" + visible(path) + "\" holds no " + what +
        " in PEM form that can be used: " + (reason != nullptr ? reason : error.message()));
}

}  // namespace

std::shared_ptr<Context> make_tls_context(const TlsFiles& files) {
    check_readable(files.certificate);
    check_readable(files.key);
    auto context = std::make_shared<Context>(Context::tls_server);
    SSL_CTX_set_min_proto_version(context->native_handle(), TLS1_2_VERSION);
    // Nobody is at hand to type the password of a key.
    context->set_password_callback([](std::size_t, Context::password_purpose) { return ""; });
    error_code error;
    context->use_certificate_chain_file(files.certificate, error);
    if (error) refuse(files, files.certificate, "certificate", error);
    context->use_private_key_file(files.key, Context::pem, error);
    if (error) refuse(files, files.key, "key without a password", error);
    return context;
}

void check_tls_files(const TlsFiles& files) {
    make_tls_context(files);
}

}  // namespace host
