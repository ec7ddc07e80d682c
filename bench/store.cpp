// A database after a year in a busy shop: how long it takes to open, and to show a day by hours and
// the year by days; prints rows for results.md. The first argument is the folder for it, which must
// have 2 GB.
#include "host/store/store.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "host/store/history_reader.h"
#include "host/store/local_time.h"
#include "host/store/retention.h"
#include "host/store/store_reader.h"

namespace {

using host::Date;
using host::kMinute_us;

constexpr int kEvents = 2'000'000;
constexpr int kDays = 365;
constexpr int kOpenMinutes = 11 * 60;  // from 9 to 20 o'clock
constexpr int kRepeats = 15;

double ms_of(const std::function<void()>& call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

double median_ms(const std::function<void()>& call) {
    std::vector<double> times;
    for (int i = 0; i < kRepeats; ++i)
        times.push_back(ms_of(call));
    std::nth_element(times.begin(), times.begin() + kRepeats / 2, times.end());
    return times[kRepeats / 2];
}

// As long as what is sent for a count.
std::string event_json(int track, int line, int direction) {
    return R"({"message":"person_counted","id":6045,"frame":1234567,"time_s":82304.466667,"track":)" +
           std::to_string(track) + R"(,"line":)" + std::to_string(line) + R"(,"direction":)" +
           std::to_string(direction) +
           R"(,"height_mm":1721.5,"gender":0,"staff":0,"box":{"x":412,"y":250,"w":96,"h":96,)"
           R"("class":0,"score":0.97,"height_mm":1721.5}})";
}

void write_day(host::Store& store, std::int64_t open_us, std::mt19937& random) {
    constexpr int kPerDay = kEvents / kDays;
    host::Batch batch;
    for (int minute = 0; minute < kOpenMinutes; ++minute)
        batch.watched_minutes.push_back(host::minute_of(open_us) + minute);
    std::vector<std::int64_t> times(kPerDay);
    for (std::int64_t& time_us : times)
        time_us = open_us + static_cast<std::int64_t>(random() % (kOpenMinutes * 60)) * 1'000'000;
    std::sort(times.begin(), times.end());
    for (const std::int64_t time_us : times) {
        const int line = static_cast<int>(random() % 2);
        host::StoredEvent event;
        event.time_us = time_us;
        event.place = line == 0 ? "door" : "back";
        event.direction = 1 + static_cast<int>(random() % 2);
        event.track = static_cast<int>(random() % 100'000);
        event.person = static_cast<host::PersonKind>(random() % host::kPersonKinds);
        event.json = event_json(*event.track, line, event.direction);
        batch.events.push_back(std::move(event));
    }
    store.commit(batch);
}

void row(const char* what, double value, const char* unit) {
    std::printf("| %s | %.1f %s |\n", what, value, unit);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_store FOLDER\n");
        return 2;
    }
    host::StoreSetup setup;
    setup.path = (std::filesystem::path(argv[1]) / "bench.db").string();
    setup.device = "bench";
    setup.lines = {"door", "back"};
    std::filesystem::remove(setup.path);
    const host::TimeZone zone("Europe/Berlin");
    std::mt19937 random(1);
    Date date{2026, 1, 1};
    const double write_ms = ms_of([&] {
        host::Store store(setup);
        for (int day = 0; day < kDays; ++day, date = zone.next(date))
            write_day(store, zone.at(date, 9 * 60), random);
        store.close();
    });
    std::printf("| a year of a shop, %d events | |\n|---|---:|\n", kEvents / kDays * kDays);
    row("written in", write_ms / 1000.0, "s");
    row("database", static_cast<double>(std::filesystem::file_size(setup.path)) / 1e6, "MB");
    row("opened by the camera", median_ms([&] { host::Store(setup).close(); }), "ms");
    row("opened by a reader", median_ms([&] { host::StoreReader reader(setup.path); }), "ms");
    const host::StoreReader reader(setup.path);
    std::int64_t people = 0;
    row("a day by hours", median_ms([&] {
            people = 0;
            for (const host::LocalHour& hour : zone.hours({2026, 7, 15}))
                for (const host::LineCount& count : reader.counts(hour.span))
                    people += count.people.adult + count.people.child + count.people.staff;
        }),
        "ms");
    if (people != kEvents / kDays) {
        std::fprintf(stderr, "the day has %lld people\n", static_cast<long long>(people));
        return 1;
    }
    std::int64_t year = 0;
    row("a year by days", median_ms([&] {
            const auto days =
                host::history_spans(zone, {2026, 1, 1}, {2026, 12, 31}, host::SpanLength::kDay);
            year = 0;
            for (const host::LineHistory& line : host::HistoryReader(setup.path).lines(days))
                for (const host::PeopleCount& count : line.people)
                    year += count.adult + count.child + count.staff;
        }),
        "ms");
    if (year != kEvents / kDays * kDays) {
        std::fprintf(stderr, "the year has %lld people\n", static_cast<long long>(year));
        return 1;
    }
    row("a batch of one count", median_ms([&, store = std::make_shared<host::Store>(setup)] {
            host::StoredEvent event;
            event.time_us = zone.at({2026, 12, 31}, 12 * 60);
            event.place = "door";
            event.direction = 1;
            event.person = host::PersonKind::kAdult;
            event.json = event_json(1, 0, 1);
            host::Batch batch;
            batch.events.push_back(event);
            store->commit(batch);
        }),
        "ms");
    host::Retention keep;
    keep.events = 358;
    const double prune_ms = ms_of([&] {
        host::prune(setup.path, keep, zone.at({2026, 12, 31}, 24 * 60));
    });
    row("a week of events removed", prune_ms / 1000.0, "s");
    std::filesystem::remove(setup.path);
    return 0;
}
