// Hands texts to a receiver over HTTP or HTTPS, one after the other, over a connection that stays
// open between them.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

namespace host {

struct HttpPostSetup {
    std::string url;
    std::string ca_file;  // PEM, of whoever signed the receiver's certificate; empty: the system's
    std::chrono::milliseconds connect_time{10'000};
    std::chrono::milliseconds time{30'000};  // for one text, its answer included
    std::size_t answer_bytes = 65'536;       // more of an answer is not read
};

// What a receiver made of a text.
struct HttpPosted {
    int status = 0;     // 0: none came
    std::string error;  // why there is no status
};

class HttpPoster {
  public:
    // Throws std::runtime_error when there is no memory for it.
    explicit HttpPoster(const HttpPostSetup& setup);
    ~HttpPoster();
    HttpPoster(const HttpPoster&) = delete;
    HttpPoster& operator=(const HttpPoster&) = delete;

    // Waits for the answer, for at most three seconds more once `stop` is asked for. Redirects are
    // not followed: their status is the answer. What the answer says is thrown away.
    HttpPosted post(const std::vector<std::pair<std::string, std::string>>& headers,
                    const std::string& body, const std::stop_token& stop);

  private:
    struct Parts;
    std::unique_ptr<Parts> parts_;
};

}  // namespace host
