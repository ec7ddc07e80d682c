// Webhooks that come, go and change.
#include "host/service/webhook_task.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "host/base/utc.h"
#include "host/media/digest.h"
#include "host/service/place.h"
#include "host/settings/secret_file.h"

namespace host {
namespace {

constexpr std::chrono::seconds kLook{1};

std::string settings_of(const ServiceFile& file, const WebhookOptions& options,
                        const std::string& secret) {
    std::string text = file.place + '\n' + file.time_zone.value + '\n' + options.url + '\n' +
                       options.ca_file + '\n' + secret + (options.events ? "\nevents" : "") +
                       (options.hours ? "\nhours" : "") + (options.days ? "\ndays" : "") +
                       (options.csv ? "\ncsv" : "");
    for (const auto& kind : options.kinds)
        text += "\n" + kind.value;
    for (const auto& hours : file.open)
        text += "\n" + hours.value;
    for (const std::string& database : databases_of(file))
        text += "\n" + database;
    return sha256_of_text(text);
}

}  // namespace

WebhookTask::WebhookTask(LivePlace& place, Say say)
    : place_(place), say_(std::move(say)), ticker_(kLook, [this] { work(); }) {}

void WebhookTask::work() {
    auto file = place_.file();
    if (file != file_) {
        file_ = std::move(file);
        forget_others(*file_);
    }
    for (const WebhookOptions& options : file_->webhooks) {
        try {
            run_one(*file_, options);
            complaints_.erase(options.name);
        } catch (const std::exception& fault) {
            complain(*file_, options, fault.what());
        }
    }
}

// What it is told with may change while it waits, as the secret does when somebody changes it.
void WebhookTask::run_one(const ServiceFile& file, const WebhookOptions& options) {
    const std::string secret = read_secret(options.secret, "secret", options.place);
    std::string settings = settings_of(file, options, secret);
    std::unique_ptr<Webhook>& running = running_[options.name];
    if (running && running->settings() == settings) return;
    WebhookSetup setup;
    setup.key = parse_webhook_key(secret, options.place);
    setup.settings = std::move(settings);
    setup.place = file.place;
    setup.name = options.name;
    setup.host = options.host;
    setup.post.url = options.url;
    setup.post.ca_file = options.ca_file;
    setup.time_zone = file.time_zone.value;
    setup.open = OpeningHours(file.open);
    setup.cameras = databases_of(file);
    setup.place_database = place_database(file);
    setup.events = options.events;
    setup.hours = options.hours;
    setup.days = options.days;
    setup.csv = options.csv;
    for (const auto& kind : options.kinds)
        setup.kinds.insert(kind.value);
    setup.service_database = service_database(file);
    setup.say = say_;
    running.reset();
    running = std::make_unique<Webhook>(std::move(setup));
}

void WebhookTask::forget_others(const ServiceFile& file) {
    const std::vector<std::string> names = webhook_names(file);
    std::erase_if(running_, [&](const auto& each) {
        return std::find(names.begin(), names.end(), each.first) == names.end();
    });
    std::vector<std::string> subscribers;
    for (const std::string& name : names)
        subscribers.push_back(kWebhookSubscribers + name);
    try {
        if (!names.empty()) WebhookBook(service_database(file)).forget_others(names);
        for (const std::string& database : area_databases(file))
            forget_subscribers(database, kWebhookSubscribers, subscribers);
    } catch (const std::exception&) {
        // They are forgotten at another time.
    }
}

// One that runs goes on as it was.
void WebhookTask::complain(const ServiceFile& file, const WebhookOptions& options,
                           const std::string& why) {
    if (why == std::exchange(complaints_[options.name], why)) return;
    say_(LogLevel::kWarning, "", "webhook \"" + options.name + "\" is not sent: " + why);
    if (running_[options.name]) return;
    try {
        const WebhookBook book(service_database(file));
        WebhookStand stand = book.stand(options.name);
        stand.fault = why;
        stand.since_us = utc_now_us();
        book.keep(options.name, stand);
    } catch (const std::exception&) {
        // It has been said.
    }
}

}  // namespace host
