// Cursors, filters and times.
#include "host/publish/webhook_streams.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <utility>

#include "host/base/utc.h"

namespace host {
namespace {

constexpr int kAtOnce = 100;
constexpr std::chrono::seconds kRetry{1};
constexpr std::int64_t kLook_us = 1'000'000;
// A camera that is away holds a report up no longer.
constexpr std::int64_t kPatience_us = 5 * kMinute_us;
// Opening hours that begin on a day end on the next one at the latest.
constexpr std::int64_t kLongestDay_us = 50 * kHour_us;

bool exists(const std::string& database) {
    std::error_code error;
    return std::filesystem::exists(database, error);
}

}  // namespace

EventStream::EventStream(EventStreamSetup setup)
    : setup_(std::move(setup)),
      zone_(setup_.time_zone),
      begin_(exists(setup_.database) ? Subscription::Begin::kNow : Subscription::Begin::kFirst) {}

bool EventStream::open() {
    if (subscription_) return true;
    const auto now = std::chrono::steady_clock::now();
    if (now < next_attempt_ || !exists(setup_.database)) return false;
    next_attempt_ = now + kRetry;
    subscription_.emplace(Subscription::Setup{setup_.database, setup_.subscriber, begin_});
    return true;
}

bool EventStream::is_wanted(const ToldEvent& event) const {
    return setup_.kinds.empty() || setup_.kinds.contains(event.kind);
}

void EventStream::skip() {
    while (!waiting_.empty() && !is_wanted(waiting_.front()))
        arrived();
}

std::optional<WebhookMessage> EventStream::next(std::int64_t /*now_us*/) {
    try {
        if (!open()) return std::nullopt;
        skip();
        if (waiting_.empty()) {
            for (ToldEvent& event : subscription_->take(kAtOnce))
                waiting_.push_back(std::move(event));
            skip();
        }
    } catch (const std::runtime_error&) {
        // It is being made, or cannot be read; health tells. It is looked at again a little later.
        subscription_.reset();
        waiting_.clear();
    }
    if (waiting_.empty()) return std::nullopt;
    return event_message(setup_.place, waiting_.front(), zone_);
}

void EventStream::arrived() {
    const Committed number = waiting_.front().number;
    waiting_.pop_front();
    subscription_->confirm(number);
}

void EventStream::save() {
    if (subscription_) subscription_->save();
}

ReportStream::ReportStream(ReportStreamSetup setup)
    : setup_(std::move(setup)), zone_(setup_.time_zone) {}

std::vector<ReportStream::Due> ReportStream::of_day(const Date& date) const {
    std::vector<Due> list;
    const std::vector<TimeSpan> open = setup_.open.spans(zone_, date);
    if (open.empty()) return list;
    if (setup_.of == ReportOf::kDays) {
        list.push_back({date, {"", open}, std::max(zone_.day(date).to_us, open.back().to_us)});
        return list;
    }
    for (CountedPart& part : open_hours(zone_, date, open)) {
        const std::int64_t end_us = part.spans.back().to_us;
        list.push_back({date, std::move(part), end_us});
    }
    return list;
}

std::optional<ReportStream::Due> ReportStream::first_after(std::int64_t told_us,
                                                           std::int64_t now_us) const {
    const Date today = zone_.date_of(now_us);
    for (Date date = zone_.date_of(told_us - kLongestDay_us); date <= today;
         date = zone_.next(date)) {
        for (Due& due : of_day(date))
            if (due.end_us > told_us) return std::move(due);
    }
    return std::nullopt;
}

std::optional<WebhookMessage> ReportStream::next(std::int64_t now_us) {
    if (message_) return message_;
    if (std::abs(now_us - looked_us_) < kLook_us) return std::nullopt;
    looked_us_ = now_us;
    if (!due_) due_ = first_after(setup_.told_us, now_us);
    if (!due_ || now_us < due_->end_us) return std::nullopt;
    std::vector<StoreReader> stores;
    std::vector<std::string> missing;
    bool behind = false;
    for (const std::string& database : setup_.databases) {
        try {
            StoreReader store(database);
            behind = behind || store.watched_until_us().value_or(0) < due_->end_us;
            stores.push_back(std::move(store));
        } catch (const std::runtime_error&) {
            behind = true;
            missing.push_back(std::filesystem::path(database).stem().string());
        }
    }
    if (behind && now_us < due_->end_us + kPatience_us) return std::nullopt;
    try {
        message_ = message_of(*due_, stores, std::move(missing));
    } catch (const std::runtime_error&) {
        // Reading failed; it is tried again.
    }
    return message_;
}

WebhookMessage ReportStream::message_of(const Due& due, const std::vector<StoreReader>& stores,
                                        std::vector<std::string> missing) const {
    const bool hours = setup_.of == ReportOf::kHours;
    CountReport report;
    report.type = hours ? "counts.hour" : "counts.day";
    report.place = setup_.place;
    report.date = due.date;
    report.hour = due.part.label;
    report.span = {due.part.spans.front().from_us, due.part.spans.back().to_us};
    report.table = line_table(stores, {due.part}, zone_, hours);
    report.missing = std::move(missing);
    report.csv = setup_.csv;
    // Of 2026-01-31T08-05-00.250Z, as the id has no full stops.
    report.id = setup_.place + (hours ? "_hour_" : "_day_") + setup_.id + "_" +
                utc_name(report.span.from_us).substr(0, 19);
    return report_message(report, zone_);
}

void ReportStream::arrived() {
    setup_.told_us = due_->end_us;
    due_.reset();
    message_.reset();
    looked_us_ = 0;
    setup_.keep(setup_.told_us);
}

}  // namespace host
