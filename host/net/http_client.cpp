// A handle for each request, with one time limit over all.
#include "host/net/http_client.h"

#include <memory>
#include <stdexcept>

#include "host/base/input_error.h"
#include "host/net/curl_handle.h"

namespace host {
namespace {

constexpr std::size_t kMostBytes = 16'000'000;

// libcurl passes over a slash too many and takes the next word for the name.
bool has_name(const std::string& text) {
    const std::size_t scheme_end = text.find("://");
    return scheme_end != std::string::npos && !text.substr(scheme_end).starts_with(":///");
}

bool is_address(const std::string& text) {
    if (!has_name(text)) return false;
    const std::unique_ptr<CURLU, void (*)(CURLU*)> url(curl_url(), curl_url_cleanup);
    if (!url || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) return false;
    char* scheme = nullptr;
    if (curl_url_get(url.get(), CURLUPART_SCHEME, &scheme, 0) != CURLUE_OK) return false;
    const std::string found = scheme;
    curl_free(scheme);
    return found == "http" || found == "https";
}

std::size_t append(const char* data, std::size_t size, std::size_t count, void* text) {
    auto& body = *static_cast<std::string*>(text);
    if (body.size() + size * count > kMostBytes) return 0;
    body.append(data, size * count);
    return size * count;
}

}  // namespace

HttpResponse http_get(const std::string& url, std::chrono::milliseconds time,
                      const std::string& ca_file) {
    if (!is_address(url))
        throw InputError("\"" + url + "\" is not an address; write http://HOST:PORT/ or " +
                         "https://HOST:PORT/");
    CurlHandle curl({url, ca_file, time, time});
    HttpResponse response;
    curl.set(CURLOPT_WRITEFUNCTION, &append);
    curl.set(CURLOPT_WRITEDATA, &response.body);
    const std::string why = curl.perform();
    if (!why.empty()) throw std::runtime_error("no answer from " + url + ": " + why);
    response.status = curl.status();
    response.type = curl.content_type();
    return response;
}

}  // namespace host
