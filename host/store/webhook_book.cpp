// A row for each webhook.
#include "host/store/webhook_book.h"

#include <algorithm>
#include <filesystem>

#include "host/store/epoch.h"
#include "host/store/service_database.h"

namespace host {
namespace {

constexpr const char* kFailing = "webhook_failing";
constexpr const char* kEnded = "webhook_ended";
constexpr const char* kLeftOut = "webhook_left_out";
constexpr std::int64_t kDay_us = 24 * kHour_us;
constexpr int kBusy_ms = 1000;

constexpr const char* kSelect =
    "SELECT id, settings, hours_us, days_us, ended, fault, since_us, left_out, left_out_us, name "
    "FROM webhooks";

std::optional<std::int64_t> maybe(const Statement& row, int column) {
    if (row.is_null(column)) return std::nullopt;
    return row.integer(column);
}

WebhookStand stand_of(const Statement& row) {
    WebhookStand stand;
    stand.id = row.text(0);
    stand.settings = row.text(1);
    stand.hours_us = maybe(row, 2);
    stand.days_us = maybe(row, 3);
    stand.ended = row.integer(4) != 0;
    stand.fault = row.text(5);
    stand.since_us = row.integer(6);
    stand.left_out = row.integer(7);
    stand.left_out_us = row.integer(8);
    return stand;
}

void add_faults(std::vector<HealthNote>& faults, const std::string& name, const WebhookStand& stand,
                std::int64_t now_us) {
    const std::string who = "webhook \"" + name + "\"";
    if (!stand.fault.empty()) {
        faults.push_back({stand.since_us, HealthLevel::kDegraded, stand.ended ? kEnded : kFailing,
                          who + ": " + stand.fault});
    }
    if (stand.left_out > 0 && now_us - stand.left_out_us < kDay_us) {
        faults.push_back({stand.left_out_us, HealthLevel::kDegraded, kLeftOut,
                          who + " has left out " + std::to_string(stand.left_out) +
                              (stand.left_out == 1 ? " message" : " messages") +
                              " that its receiver refused for a day"});
    }
}

}  // namespace

WebhookBook::WebhookBook(const std::string& service_database)
    : database_(open_service_database(service_database)) {}

WebhookStand WebhookBook::stand(const std::string& name) const {
    Statement row = database_->prepare(std::string(kSelect) + " WHERE name = ?1");
    if (row.bind(name).step()) return stand_of(row);
    WebhookStand stand;
    stand.id = new_epoch();
    return stand;
}

void WebhookBook::keep(const std::string& name, const WebhookStand& stand) const {
    database_
        ->prepare(
            "INSERT OR REPLACE INTO webhooks (name, id, settings, hours_us, days_us, ended, fault, "
            "since_us, left_out, left_out_us) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10)")
        .run(name, stand.id, stand.settings, stand.hours_us, stand.days_us, stand.ended ? 1 : 0,
             stand.fault, stand.since_us, stand.left_out, stand.left_out_us);
}

void WebhookBook::forget_others(const std::vector<std::string>& names) const {
    std::vector<std::string> others;
    Statement row = database_->prepare("SELECT name FROM webhooks");
    while (row.step())
        others.push_back(row.text(0));
    for (const std::string& name : others) {
        if (std::find(names.begin(), names.end(), name) == names.end())
            database_->prepare("DELETE FROM webhooks WHERE name = ?1").run(name);
    }
}

std::vector<HealthNote> webhook_faults(const std::string& service_database,
                                       const std::vector<std::string>& names, std::int64_t now_us) {
    std::vector<HealthNote> faults;
    std::error_code error;
    if (names.empty() || !std::filesystem::exists(service_database, error)) return faults;
    try {
        const Database database(service_database, Database::Access::kRead, kBusy_ms);
        Statement row = database.prepare(std::string(kSelect) + " ORDER BY name");
        while (row.step()) {
            const std::string name = row.text(9);
            if (std::find(names.begin(), names.end(), name) != names.end())
                add_faults(faults, name, stand_of(row), now_us);
        }
    } catch (const StoreError&) {
        // One of an earlier version has no webhooks yet.
    }
    return faults;
}

}  // namespace host
