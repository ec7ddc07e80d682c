// libcurl's easy interface.
#include "host/net/curl_handle.h"

namespace host {
namespace {

// A proxy of the environment is for peers elsewhere.
constexpr const char* kWithoutProxy = "localhost,127.0.0.1,::1";

CURL* new_handle() {
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    CURL* const curl = ready == CURLE_OK ? curl_easy_init() : nullptr;
    if (curl == nullptr) throw std::runtime_error("libcurl cannot be used");
    return curl;
}

}  // namespace

CurlHandle::CurlHandle(const HttpPeer& peer) : curl_(new_handle()) {
    set(CURLOPT_URL, peer.url.c_str());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    set(CURLOPT_NOPROXY, kWithoutProxy);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(peer.connect_time.count()));
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(peer.time.count()));
    set(CURLOPT_ERRORBUFFER, error_.data());
    if (peer.ca_file.empty()) return;
    set(CURLOPT_CAINFO, peer.ca_file.c_str());
    set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
}

CurlHandle::~CurlHandle() {
    curl_easy_cleanup(curl_);
}

std::string CurlHandle::perform() {
    error_[0] = '\0';
    const CURLcode code = curl_easy_perform(curl_);
    if (code == CURLE_OK) return "";
    return error_[0] != '\0' ? error_.data() : curl_easy_strerror(code);
}

int CurlHandle::status() const {
    long status = 0;
    curl_easy_getinfo(curl_, CURLINFO_RESPONSE_CODE, &status);
    return static_cast<int>(status);
}

std::string CurlHandle::content_type() const {
    const char* type = nullptr;
    curl_easy_getinfo(curl_, CURLINFO_CONTENT_TYPE, &type);
    return type != nullptr ? type : "";
}

}  // namespace host
