// Events of databases, one after the other, as soon as they are safe.
#include "host/app/follow_counts.h"

#include <chrono>
#include <cstdio>
#include <thread>

#include "host/app/event_rows.h"
#include "host/app/place_stores.h"
#include "host/base/input_error.h"
#include "host/report/output_folder.h"

namespace host {
namespace {

Committed first_number(const CountsOptions& options, const StoreReader& store) {
    if (options.after.empty()) return store.last();
    if (options.after == "0") return {};
    const std::size_t colon = options.after.find(':');
    const std::string digits = colon == std::string::npos ? "" : options.after.substr(colon + 1);
    constexpr std::size_t kMostDigits = 18;
    if (digits.empty() || digits.size() > kMostDigits ||
        digits.find_first_not_of("0123456789") != std::string::npos) {
        throw InputError("--after is \"" + options.after + "\"; write EPOCH:SEQUENCE, or 0");
    }
    return {options.after.substr(0, colon), std::stoll(digits)};
}

// One database that is followed.
struct Followed {
    StoreReader store;
    Committed number;
    std::int64_t version = -1;
};

// A restored database knows the epoch that was followed, one that has begun anew does not.
void open_again(Followed& followed) {
    try {
        followed.store = StoreReader(followed.store.path());
    } catch (const InputError&) {
        return;  // it is being made
    }
    followed.version = -1;
    if (!followed.store.has_epoch(followed.number.epoch)) followed.number = {};
}

void print_new(Followed& followed, const TimeZone& zone) {
    constexpr int kAtOnce = 1000;
    if (followed.store.replaced()) open_again(followed);
    const std::int64_t version = followed.store.version();
    if (version == followed.version) return;
    while (true) {
        const std::vector<ToldEvent> events = followed.store.events_after(followed.number, kAtOnce);
        if (events.empty()) break;
        for (const ToldEvent& event : events) {
            ResultTable table = event_table();
            table.rows.push_back(event_row(event, zone));
            write_text(stdout, json_line(table, 0) + "\n");
            followed.number = event.number;
        }
    }
    followed.version = version;
}

}  // namespace

void follow_counts(const CountsOptions& options, const std::atomic<bool>& stop) {
    constexpr std::chrono::milliseconds kPause{20};
    const GivenStores given = given_stores(options.stores, options.place_file, options.time_zone);
    const TimeZone zone(given.time_zone);
    std::vector<Followed> all;
    for (const std::string& path : given.stores) {
        StoreReader store(path);
        Committed number = first_number(options, store);
        all.push_back({std::move(store), std::move(number)});
    }
    while (!stop) {
        for (Followed& followed : all)
            print_new(followed, zone);
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace host
