// What waits to be sent to one page: everything that it is told, and the newest frame only.
#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "host/net/http_message.h"

namespace host {

class LiveStream final : public HttpStream {
  public:
    // Shared by all pages; never null.
    using Text = std::shared_ptr<const std::string>;

    // A page that is so far behind is ended: it opens another stream and asks for what it missed.
    static constexpr std::size_t kMostWaiting_bytes = std::size_t{1} << 18;

    // Any thread.
    void tell(const Text& text);
    // Replaces a frame that was not sent yet.
    void show(const Text& frame);
    // The last that is sent.
    void end(const Text& text);

    void on_more(std::function<void()> more) override;
    std::optional<std::string> take() override;

  private:
    void wake() const;

    std::mutex mutex_;
    std::function<void()> more_;
    std::vector<Text> waiting_;
    std::size_t waiting_bytes_ = 0;
    Text frame_;  // null: none
    bool ended_ = false;
};

}  // namespace host
