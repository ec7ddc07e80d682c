// libcurl's easy interface.
#include "host/net/http_post.h"

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <optional>
#include <stdexcept>

namespace host {
namespace {

struct List {
    curl_slist* items = nullptr;

    List() = default;
    ~List() { curl_slist_free_all(items); }
    List(const List&) = delete;
    List& operator=(const List&) = delete;

    void add(const std::string& line) {
        curl_slist* const longer = curl_slist_append(items, line.c_str());
        if (longer == nullptr) throw std::bad_alloc();
        items = longer;
    }
};

// What is taken of an answer is counted, its head included, and thrown away.
struct Answer {
    std::size_t left = 0;

    static std::size_t take(char* /*data*/, std::size_t size, std::size_t count, void* self) {
        auto& left = static_cast<Answer*>(self)->left;
        if (size * count > left) return 0;
        left -= size * count;
        return size * count;
    }
};

// An answer that is on its way is waited for a little longer: without it the text would be sent
// again.
class Farewell {
  public:
    explicit Farewell(const std::stop_token& stop) : stop_(stop) {}

    static int is_over(void* self, curl_off_t /*to_come*/, curl_off_t /*come*/,
                       curl_off_t /*to_go*/, curl_off_t /*gone*/) {
        return static_cast<Farewell*>(self)->look() ? 1 : 0;
    }

  private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::seconds kLength{2};

    bool look() {
        if (!stop_.stop_requested()) return false;
        if (!since_) since_ = Clock::now();
        return Clock::now() - *since_ >= kLength;
    }

    const std::stop_token& stop_;
    std::optional<Clock::time_point> since_;
};

// A proxy of the environment is for receivers elsewhere.
constexpr const char* kWithoutProxy = "localhost,127.0.0.1,::1";

}  // namespace

struct HttpPoster::Parts {
    HttpPostSetup setup;
    CURL* curl = nullptr;
    std::array<char, CURL_ERROR_SIZE> error{};

    ~Parts() { curl_easy_cleanup(curl); }

    template <typename Value>
    void set(CURLoption option, Value value) const {
        if (curl_easy_setopt(curl, option, value) != CURLE_OK)
            throw std::runtime_error("libcurl on this system lacks what webhooks need");
    }
};

HttpPoster::HttpPoster(HttpPostSetup setup) : parts_(std::make_unique<Parts>()) {
    static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
    parts_->setup = std::move(setup);
    parts_->curl = ready == CURLE_OK ? curl_easy_init() : nullptr;
    if (parts_->curl == nullptr) throw std::runtime_error("libcurl cannot be used");
    const Parts& parts = *parts_;
    parts.set(CURLOPT_URL, parts.setup.url.c_str());
    parts.set(CURLOPT_PROTOCOLS_STR, "http,https");
    parts.set(CURLOPT_FOLLOWLOCATION, 0L);
    parts.set(CURLOPT_NETRC, static_cast<long>(CURL_NETRC_IGNORED));
    parts.set(CURLOPT_NOPROXY, kWithoutProxy);
    parts.set(CURLOPT_NOSIGNAL, 1L);
    parts.set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(parts.setup.connect_time.count()));
    parts.set(CURLOPT_TIMEOUT_MS, static_cast<long>(parts.setup.time.count()));
    parts.set(CURLOPT_WRITEFUNCTION, &Answer::take);
    parts.set(CURLOPT_HEADERFUNCTION, &Answer::take);
    parts.set(CURLOPT_XFERINFOFUNCTION, &Farewell::is_over);
    parts.set(CURLOPT_NOPROGRESS, 0L);
    parts.set(CURLOPT_ERRORBUFFER, parts_->error.data());
    if (!parts.setup.ca_file.empty()) {
        parts.set(CURLOPT_CAINFO, parts.setup.ca_file.c_str());
        parts.set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
}

HttpPoster::~HttpPoster() = default;

HttpPosted HttpPoster::post(const std::vector<std::pair<std::string, std::string>>& headers,
                            const std::string& body, const std::stop_token& stop) {
    const Parts& parts = *parts_;
    List list;
    for (const auto& [name, value] : headers)
        list.add(name + ": " + value);
    // Without asking first whether the text may come.
    list.add("Expect:");
    Answer answer{parts.setup.answer_bytes};
    Farewell farewell(stop);
    parts_->error[0] = '\0';
    parts.set(CURLOPT_HTTPHEADER, list.items);
    parts.set(CURLOPT_POSTFIELDS, body.c_str());
    parts.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    parts.set(CURLOPT_WRITEDATA, &answer);
    parts.set(CURLOPT_HEADERDATA, &answer);
    parts.set(CURLOPT_XFERINFODATA, &farewell);
    const CURLcode code = curl_easy_perform(parts.curl);
    parts.set(CURLOPT_HTTPHEADER, static_cast<curl_slist*>(nullptr));
    long status = 0;
    curl_easy_getinfo(parts.curl, CURLINFO_RESPONSE_CODE, &status);
    // With its head an answer has said what matters, whatever becomes of the rest.
    constexpr long kFirstFinal = 200;
    if (status >= kFirstFinal) return {static_cast<int>(status), ""};
    const std::string why = parts.error[0] != '\0' ? parts.error.data() : curl_easy_strerror(code);
    return {0, why};
}

}  // namespace host
