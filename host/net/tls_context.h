// What connections of a server that speaks TLS have in common.
#pragma once

#include <boost/asio/ssl/context.hpp>
#include <memory>

#include "host/net/tls_files.h"

namespace host {

// TLS 1.2 and newer. Throws InputError when the files cannot be used together. Never null.
std::shared_ptr<boost::asio::ssl::context> make_tls_context(const TlsFiles& files);

}  // namespace host
