// Attempts, and what becomes of them.
#include "host/publish/webhook.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "host/base/text.h"
#include "host/base/utc.h"
#include "host/store/database.h"

namespace host {
namespace {

constexpr std::chrono::milliseconds kLook{200};
// One failure passes; what fails again is told.
constexpr std::size_t kTold = 2;

bool is_receipt(int status) {
    return status >= 200 && status < 300;
}

bool is_trouble(int status) {
    constexpr int kTimeout = 408;
    constexpr int kTooEarly = 425;
    constexpr int kTooMany = 429;
    return status == 0 || status == kTimeout || status == kTooEarly || status == kTooMany ||
           status >= 500;
}

constexpr int kGone = 410;

}  // namespace

Webhook::Webhook(WebhookSetup setup)
    : setup_(std::move(setup)),
      book_(setup_.service_database),
      stand_(book_.stand(setup_.name)),
      poster_(setup_.post),
      receiver_(setup_.pauses) {
    if (stand_.settings != setup_.settings) {
        stand_.ended = false;
        stand_.settings = setup_.settings;
    }
    if (setup_.events) {
        for (const std::string& database : setup_.cameras)
            add_events(database);
        add_events(setup_.place_database);
    }
    if (setup_.hours) add_reports(ReportOf::kHours, stand_.hours_us);
    if (setup_.days) add_reports(ReportOf::kDays, stand_.days_us);
    if (!setup_.hours) stand_.hours_us.reset();
    if (!setup_.days) stand_.days_us.reset();
    keep_stand();
    thread_ = std::jthread([this](const std::stop_token& stop) { run(stop); });
}

Webhook::~Webhook() = default;

void Webhook::add(std::unique_ptr<WebhookStream> messages) {
    streams_.push_back({std::move(messages), WebhookPauses(setup_.pauses), 0});
}

void Webhook::add_events(const std::string& database) {
    add(std::make_unique<EventStream>(EventStreamSetup{setup_.place,
                                                       kWebhookSubscribers + setup_.name, database,
                                                       setup_.kinds, setup_.time_zone}));
}

// `told_us` is one of the stand's.
void Webhook::add_reports(ReportOf of, std::optional<std::int64_t>& told_us) {
    if (!told_us) told_us = utc_now_us();
    add(std::make_unique<ReportStream>(ReportStreamSetup{
        of, setup_.place, stand_.id, setup_.cameras, setup_.open, setup_.time_zone, setup_.csv,
        *told_us, [this, &told_us](std::int64_t us) {
            told_us = us;
            keep_stand();
        }}));
}

void Webhook::run(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        try {
            if (deliver_round(stop)) continue;
        } catch (const std::exception& fault) {
            // Such as no memory: the cameras count on, and it is tried again.
            trouble_ = fault.what();
            receiver_.fail(Clock::now());
            look_at_faults();
        }
        if (!kept_) keep_stand();
        std::unique_lock lock(mutex_);
        stopped_.wait_for(lock, stop, kLook, [] { return false; });
    }
    for (const Stream& stream : streams_)
        stream.messages->save();
}

// One message of each stream at most, so that none holds up the others.
bool Webhook::deliver_round(const std::stop_token& stop) {
    bool delivered = false;
    for (Stream& stream : streams_) {
        const auto now = Clock::now();
        if (stop.stop_requested() || stand_.ended || !receiver_.over(now)) break;
        if (stream.pauses.over(now)) delivered = deliver(stream, stop) || delivered;
    }
    return delivered;
}

bool Webhook::deliver(Stream& stream, const std::stop_token& stop) {
    const auto message = stream.messages->next(utc_now_us());
    if (!message) return false;
    const std::int64_t time_s = utc_now_us() / 1'000'000;
    const HttpPosted answer =
        poster_.post(webhook_headers(setup_.key, *message, time_s), message->body, stop);
    if (answer.status == 0 && stop.stop_requested()) return false;
    if (is_trouble(answer.status)) {
        trouble_ = answer.status == 0
                       ? "no answer from " + setup_.host + ": " + answer.error
                       : setup_.host + " answers with status " + std::to_string(answer.status);
        receiver_.fail(Clock::now());
    } else {
        receiver_.succeed();
        if (is_receipt(answer.status)) {
            stream.pauses.succeed();
            stream.messages->arrived();
        } else if (answer.status == kGone) {
            stand_.ended = true;
        } else {
            refuse(stream, *message, answer.status);
        }
    }
    look_at_faults();
    return is_receipt(answer.status);
}

void Webhook::refuse(Stream& stream, const WebhookMessage& message, int status) {
    stream.status = status;
    stream.pauses.fail(Clock::now());
    if (stream.pauses.lasts(Clock::now()) < setup_.refusals) return;
    setup_.say(LogLevel::kWarning, "",
               "webhook \"" + setup_.name + "\" leaves out the message " + message.id + ", which " +
                   setup_.host + " has refused for a day, with status " + std::to_string(status));
    stream.pauses.succeed();
    stream.messages->arrived();
    ++stand_.left_out;
    stand_.left_out_us = utc_now_us();
    keep_stand();
}

std::string Webhook::fault_now() const {
    if (stand_.ended) {
        return setup_.host +
               " wants no more messages (status 410); they wait until the settings of the webhook "
               "change";
    }
    if (receiver_.failures() >= kTold) return trouble_ + "; messages wait";
    const auto refused = std::find_if(streams_.begin(), streams_.end(), [](const Stream& stream) {
        return stream.pauses.failures() >= kTold;
    });
    if (refused == streams_.end()) return "";
    return setup_.host + " refuses a message with status " + std::to_string(refused->status) +
           "; it is left out when that lasts for a day";
}

void Webhook::look_at_faults() {
    const std::string fault = fault_now();
    if (fault == stand_.fault) return;
    const std::string who = "webhook \"" + setup_.name + "\": ";
    setup_.say(fault.empty() ? LogLevel::kNews : LogLevel::kWarning, "",
               who + (fault.empty() ? setup_.host + " takes messages again" : fault));
    if (stand_.fault.empty()) stand_.since_us = utc_now_us();
    stand_.fault = fault;
    keep_stand();
}

void Webhook::keep_stand() {
    try {
        book_.keep(setup_.name, stand_);
        kept_ = true;
    } catch (const StoreError&) {
        kept_ = false;
    }
}

}  // namespace host
