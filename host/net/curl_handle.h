// A handle of libcurl with what all requests of the host have in common.
#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <string>

namespace host {

struct HttpPeer {
    std::string url;      // http or https
    std::string ca_file;  // PEM, of whoever signed the peer's certificate; empty: the system's
    std::chrono::milliseconds connect_time{0};
    std::chrono::milliseconds time{0};  // for one request, its answer included
};

// Redirects are not followed: their status is the answer.
class CurlHandle {
  public:
    // Throws std::runtime_error when there is no memory for it.
    explicit CurlHandle(const HttpPeer& peer);
    ~CurlHandle();
    CurlHandle(const CurlHandle&) = delete;
    CurlHandle& operator=(const CurlHandle&) = delete;

    template <typename Value>
    void set(CURLoption option, Value value) const {
        if (curl_easy_setopt(curl_, option, value) != CURLE_OK)
            throw std::runtime_error("libcurl on this system lacks what is needed");
    }

    // Sends the request and waits for the answer; empty, or why it did not come whole.
    std::string perform();
    // Of the last answer; 0: none came.
    int status() const;
    std::string content_type() const;

  private:
    CURL* const curl_;
    std::array<char, CURL_ERROR_SIZE> error_{};
};

}  // namespace host
