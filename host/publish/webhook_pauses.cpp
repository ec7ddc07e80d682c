// Failures in a row.
#include "host/publish/webhook_pauses.h"

#include <algorithm>
#include <utility>

namespace host {

WebhookPauses::WebhookPauses(std::vector<std::chrono::milliseconds> pauses)
    : pauses_(std::move(pauses)) {}

std::vector<std::chrono::milliseconds> WebhookPauses::usual() {
    return {kWebhookPauses.begin(), kWebhookPauses.end()};
}

void WebhookPauses::fail(Clock::time_point now) {
    if (failures_ == 0) first_ = now;
    next_ = now + pauses_.at(std::min(failures_, pauses_.size() - 1));
    ++failures_;
}

void WebhookPauses::succeed() {
    failures_ = 0;
    next_ = {};
}

WebhookPauses::Clock::duration WebhookPauses::lasts(Clock::time_point now) const {
    return failures_ == 0 ? Clock::duration{} : now - first_;
}

}  // namespace host
