// One text after the other through one handle.
#include "host/net/http_post.h"

#include <chrono>
#include <new>
#include <optional>

#include "host/net/curl_handle.h"

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

}  // namespace

struct HttpPoster::Parts {
    CurlHandle curl;
    std::size_t answer_bytes;

    explicit Parts(const HttpPostSetup& setup)
        : curl({setup.url, setup.ca_file, setup.connect_time, setup.time}),
          answer_bytes(setup.answer_bytes) {}
};

HttpPoster::HttpPoster(const HttpPostSetup& setup) : parts_(std::make_unique<Parts>(setup)) {
    const CurlHandle& curl = parts_->curl;
    curl.set(CURLOPT_WRITEFUNCTION, &Answer::take);
    curl.set(CURLOPT_HEADERFUNCTION, &Answer::take);
    curl.set(CURLOPT_XFERINFOFUNCTION, &Farewell::is_over);
    curl.set(CURLOPT_NOPROGRESS, 0L);
}

HttpPoster::~HttpPoster() = default;

HttpPosted HttpPoster::post(const std::vector<std::pair<std::string, std::string>>& headers,
                            const std::string& body, const std::stop_token& stop) {
    CurlHandle& curl = parts_->curl;
    List list;
    for (const auto& [name, value] : headers)
        list.add(name + ": " + value);
    // Without asking first whether the text may come.
    list.add("Expect:");
    Answer answer{parts_->answer_bytes};
    Farewell farewell(stop);
    curl.set(CURLOPT_HTTPHEADER, list.items);
    curl.set(CURLOPT_POSTFIELDS, body.c_str());
    curl.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl.set(CURLOPT_WRITEDATA, &answer);
    curl.set(CURLOPT_HEADERDATA, &answer);
    curl.set(CURLOPT_XFERINFODATA, &farewell);
    const std::string why = curl.perform();
    curl.set(CURLOPT_HTTPHEADER, static_cast<curl_slist*>(nullptr));
    // With its head an answer has said what matters, whatever becomes of the rest.
    constexpr int kFirstFinal = 200;
    if (curl.status() >= kFirstFinal) return {curl.status(), ""};
    return {0, why};
}

}  // namespace host
