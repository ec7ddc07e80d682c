// A cursor is where a reader is in each camera's database: "1~NAME.EPOCH.SEQUENCE~NAME...".
#include "host/web/api_events.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <nlohmann/json.hpp>

#include "host/service/place.h"
#include "host/web/api_answer.h"
#include "host/web/query.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;
using Cursor = std::map<std::string, Committed>;  // by camera

constexpr int kGone = 410;
constexpr std::int64_t kMostEvents = 1000;
constexpr std::int64_t kUsualEvents = 100;
constexpr const char* kCursorForm = "1";
constexpr const char* kBeginning = "0";
constexpr char kBetween = '~';
constexpr char kWithin = '.';

std::vector<std::string> split(const std::string& text, char at) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == at) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

[[noreturn]] void refuse_cursor() {
    throw ApiError(kBadRequest,
                   "\"after\" is no cursor of this service; give the \"next\" of an answer "
                   "before, or 0");
}

Cursor parse_cursor(const std::string& text) {
    const std::vector<std::string> parts = split(text, kBetween);
    if (parts.front() != kCursorForm) refuse_cursor();
    Cursor cursor;
    for (std::size_t i = 1; i < parts.size(); ++i) {
        const std::vector<std::string> fields = split(parts[i], kWithin);
        if (fields.size() != 3 || fields[1].empty()) refuse_cursor();
        Committed number{fields[1], 0};
        const char* const end = fields[2].data() + fields[2].size();
        const auto [stop, error] = std::from_chars(fields[2].data(), end, number.sequence);
        if (error != std::errc{} || stop != end || number.sequence < 0) refuse_cursor();
        cursor[fields[0]] = number;
    }
    return cursor;
}

std::string cursor_text(const Cursor& cursor) {
    std::string text = kCursorForm;
    for (const auto& [camera, number] : cursor)
        text +=
            kBetween + camera + kWithin + number.epoch + kWithin + std::to_string(number.sequence);
    return text;
}

// One camera's events that a reader has not had.
struct Waiting {
    std::string camera;
    Committed before;  // the last one that it has had
    std::vector<ToldEvent> events;
    bool more = false;
};

[[noreturn]] void refuse_gone(const std::string& camera) {
    throw ApiError(kGone, "events of the camera \"" + camera +
                              "\" after this cursor are not kept any more; begin again with 0");
}

// Sequences have no gaps of their own: where one is missing, events were removed.
void check_complete(const Waiting& waiting, const Committed& last) {
    if (waiting.events.empty()) {
        if (last != waiting.before) refuse_gone(waiting.camera);
        return;
    }
    const Committed& next = waiting.events.front().number;
    const std::int64_t expected =
        next.epoch == waiting.before.epoch ? waiting.before.sequence + 1 : 1;
    if (next.sequence != expected) refuse_gone(waiting.camera);
}

Waiting waiting_events(const StoreReader& store, const Cursor& cursor, int most) {
    Waiting waiting;
    waiting.camera = store.device();
    const Committed last = store.last();
    const auto known = cursor.find(store.device());
    if (known != cursor.end()) waiting.before = known->second;
    if (!waiting.before.epoch.empty() && !store.has_epoch(waiting.before.epoch))
        refuse_gone(waiting.camera);
    waiting.events = store.events_after(waiting.before, most + 1);
    if (!waiting.before.epoch.empty()) {
        check_complete(waiting, last);
    } else if (!waiting.events.empty()) {
        // From here on what is removed is noticed.
        const Committed& first = waiting.events.front().number;
        waiting.before = {first.epoch, first.sequence - 1};
    } else {
        waiting.before = last;
    }
    waiting.more = waiting.events.size() > static_cast<std::size_t>(most);
    if (waiting.more) waiting.events.pop_back();
    return waiting;
}

// Those that can be read, and that of the place as a whole; a camera that has never counted has no
// database.
std::vector<StoreReader> stores_of(const PlaceReader& place) {
    std::vector<std::string> databases = databases_of(place.file());
    databases.push_back(place_database(place.file()));
    std::vector<StoreReader> stores;
    for (const std::string& database : databases) {
        try {
            stores.emplace_back(database);
        } catch (const std::runtime_error&) {
            continue;
        }
    }
    return stores;
}

struct Page {
    std::vector<ToldEvent> events;
    Cursor next;
    bool more = false;
};

// The oldest of all that wait, in each camera's own order.
Page page_after(const PlaceReader& place, const Cursor& cursor, std::size_t limit) {
    std::vector<Waiting> all;
    for (const StoreReader& store : stores_of(place))
        all.push_back(waiting_events(store, cursor, static_cast<int>(limit)));
    Page page;
    std::vector<std::size_t> taken(all.size(), 0);
    for (std::size_t looked = 0; looked < limit; ++looked) {
        std::optional<std::size_t> next;
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (taken[i] == all[i].events.size()) continue;
            if (!next || all[i].events[taken[i]].time_us < all[*next].events[taken[*next]].time_us)
                next = i;
        }
        if (!next) break;
        const ToldEvent& event = all[*next].events[taken[*next]++];
        all[*next].before = event.number;
        if (is_told(event)) page.events.push_back(event);
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        page.more = page.more || all[i].more || taken[i] < all[i].events.size();
        page.next[all[i].camera] = all[i].before;
    }
    return page;
}

// The last ones, and the cursor behind all that is committed.
Page newest_page(const PlaceReader& place, std::size_t limit) {
    Page page;
    for (const StoreReader& store : stores_of(place)) {
        const Committed last = store.last();
        page.next[store.device()] = last;
        for (ToldEvent& event : store.newest_counts(last, static_cast<int>(limit)))
            if (is_told(event)) page.events.push_back(std::move(event));
    }
    std::stable_sort(page.events.begin(), page.events.end(),
                     [](const ToldEvent& a, const ToldEvent& b) { return a.time_us < b.time_us; });
    if (page.events.size() > limit)
        page.events.erase(page.events.begin(),
                          page.events.end() - static_cast<std::ptrdiff_t>(limit));
    return page;
}

Json text_or_null(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

Json number_or_null(const std::optional<int>& number) {
    return number ? Json(*number) : Json();
}

}  // namespace

bool is_told(const ToldEvent& event) {
    constexpr std::array kTold{EventKind::kCrossing, EventKind::kCrossingLeftOut,
                               EventKind::kGroup,    EventKind::kStay,
                               EventKind::kSettings, EventKind::kCapacity};
    return std::any_of(kTold.begin(), kTold.end(),
                       [&](EventKind kind) { return event.kind == event_kind_name(kind); });
}

nlohmann::ordered_json event_json(const PlaceReader& place, const ToldEvent& event) {
    Json direction_name;
    if (event.direction && find_camera(place.file(), event.device) != nullptr)
        direction_name = place.direction_name(event.device, event.place, *event.direction);
    Json json{{"camera", event.device},
              {"time_us", event.time_us},
              {"time", place.zone().text(event.time_us)},
              {"kind", event.kind},
              {"place", text_or_null(event.place)},
              {"direction", number_or_null(event.direction)},
              {"direction_name", std::move(direction_name)},
              {"track", number_or_null(event.track)},
              {"person", text_or_null(event.person)},
              {"people", event.people}};
    if (event.kind == event_kind_name(EventKind::kStay)) {
        const Json sent = Json::parse(event.json, nullptr, false);
        if (sent.is_object() && sent.contains("stay_ms") && sent["stay_ms"].is_number_integer())
            json["stay_ms"] = sent["stay_ms"];
    }
    return json;
}

EventPage events_after(const ApiSources& sources, const std::optional<std::string>& after,
                       std::size_t limit) {
    const PlaceReader place(sources);
    const Page page =
        !after ? newest_page(place, limit)
               : page_after(place, *after == kBeginning ? Cursor{} : parse_cursor(*after), limit);
    EventPage result{{}, cursor_text(page.next), page.more};
    for (const ToldEvent& event : page.events)
        result.events.push_back(event_json(place, event));
    return result;
}

HttpResponse events_answer(const ApiSources& sources, const HttpRequest& request) {
    const Query query(request, {"after", "limit"});
    const auto limit =
        static_cast<std::size_t>(query.whole("limit", 1, kMostEvents).value_or(kUsualEvents));
    const EventPage page = events_after(sources, query.find("after"), limit);
    return json_answer({{"events", page.events}, {"next", page.next}, {"more", page.more}});
}

}  // namespace host
