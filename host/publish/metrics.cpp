// Heads, labels and values.
#include "host/publish/metrics.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include "host/base/text.h"
#include "host/base/version.h"
#include "host/settings/service_file.h"
#include "host/store/database.h"
#include "host/store/store_reader.h"

namespace host {
namespace {

struct Head {
    const char* name;
    const char* type;
    const char* help;
};

constexpr std::array kHeads{
    Head{metric::kCrossings, "counter", "People who have crossed a line, as kept in the database."},
    Head{metric::kSuppressed, "counter",
         "Crossings that were not counted since the camera was started, by reason."},
    Head{metric::kRegionPeople, "gauge", "People in a region now."},
    Head{metric::kRegionStay, "histogram", "Time that people have stayed in a region."},
    Head{metric::kOccupancy, "gauge", "People in an area: in less out since its last reset."},
    Head{metric::kFrames, "counter", "Frames analysed since the camera was started."},
    Head{metric::kMissing, "counter", "Frames that did not come or came too fast."},
    Head{metric::kLate, "counter", "Frames that came late."},
    Head{metric::kGaps, "counter", "Times in which no frame came."},
    Head{metric::kProcessing, "histogram", "Time for the analysis of a frame."},
    Head{metric::kDepthValid, "gauge", "Share of the depth picture that was measured."},
    Head{metric::kWaiting, "gauge", "Events that a subscriber has not confirmed."},
    Head{metric::kOldest, "gauge", "Age of the oldest event that waits for a subscriber."},
    Head{metric::kLastEvent, "gauge", "Time of the last event."},
    Head{metric::kLastWatched, "gauge", "Time of the last frame that was watched."},
    Head{metric::kFaults, "gauge", "Faults that last, by level."},
    Head{metric::kDatabase, "gauge", "Size of a camera's database with its log."},
    Head{metric::kDiskFree, "gauge", "Room that is left on the disk of a database."},
    Head{metric::kUnreadable, "gauge", "1 when a camera's database cannot be read."},
    Head{metric::kBuild, "gauge", "Always 1; the version is its label."},
};

std::string escaped(const std::string& value) {
    std::string text;
    for (const char c : value) {
        if (c == '\\' || c == '"') text += '\\';
        if (c == '\n') {
            text += "\\n";
        } else {
            text += c;
        }
    }
    return text;
}

std::string labels_text(const MetricsWriter::Labels& labels) {
    std::string text;
    for (const auto& [name, value] : labels) {
        text += text.empty() ? "{" : ",";
        text += std::string(name) + "=\"" + escaped(value) + "\"";
    }
    return text.empty() ? text : text + "}";
}

// Whole numbers have no point, however large.
std::string number_text(double value) {
    constexpr double kExact = 9e15;
    if (std::abs(value) < kExact && value == std::floor(value))
        return format_text("%lld", static_cast<long long>(value));
    return format_text("%.15g", value);
}

double seconds(std::int64_t us) {
    return static_cast<double>(us) / 1e6;
}

using Labels = MetricsWriter::Labels;

void add_counts(MetricsWriter& out, const StoreReader& store, const Labels& camera) {
    for (const LineCount& line : store.totals()) {
        const std::array<std::int64_t, kPersonKinds> people{line.people.adult, line.people.child,
                                                            line.people.staff};
        for (std::size_t kind = 0; kind < kPersonKinds; ++kind) {
            Labels labels = camera;
            labels.emplace_back("line", line.line);
            labels.emplace_back("direction", std::to_string(line.direction));
            labels.emplace_back("kind", person_kind_name(static_cast<PersonKind>(kind)));
            out.add(metric::kCrossings, labels, static_cast<double>(people.at(kind)));
        }
    }
}

void add_subscribers(MetricsWriter& out, const StoreReader& store, const Labels& camera,
                     std::int64_t now_us) {
    for (const Subscriber& subscriber : store.subscribers()) {
        Labels labels = camera;
        labels.emplace_back("subscriber", subscriber.name);
        out.add(metric::kWaiting, labels, static_cast<double>(subscriber.waiting));
        const std::int64_t age_us = subscriber.oldest_us ? now_us - *subscriber.oldest_us : 0;
        out.add(metric::kOldest, labels, seconds(std::max<std::int64_t>(age_us, 0)));
    }
}

void add_faults(MetricsWriter& out, const std::vector<HealthNote>& faults, const Labels& camera) {
    for (const HealthLevel level : {HealthLevel::kDegraded, HealthLevel::kFailed}) {
        Labels labels = camera;
        labels.emplace_back("level", health_level_name(level));
        out.add(metric::kFaults, labels,
                static_cast<double>(
                    std::count_if(faults.begin(), faults.end(),
                                  [level](const HealthNote& f) { return f.level == level; })));
    }
}

// In a place where nothing can be asked the sample is left out.
void add_sizes(MetricsWriter& out, const std::string& database, const Labels& camera) {
    namespace fs = std::filesystem;
    std::error_code error;
    std::uintmax_t bytes = 0;
    for (const char* const ending : {"", "-wal"}) {
        const std::uintmax_t size = fs::file_size(database + ending, error);
        if (!error) bytes += size;
    }
    out.add(metric::kDatabase, camera, static_cast<double>(bytes));
    const fs::space_info space = fs::space(fs::absolute(database).parent_path(), error);
    if (!error) out.add(metric::kDiskFree, camera, static_cast<double>(space.available));
}

void add_figures(MetricsWriter& out, const CameraFigures& figures, const Labels& camera) {
    out.add(metric::kFrames, camera, static_cast<double>(figures.frames));
    out.add(metric::kMissing, camera, static_cast<double>(figures.missing));
    out.add(metric::kLate, camera, static_cast<double>(figures.late));
    out.add(metric::kGaps, camera, static_cast<double>(figures.gaps));
    out.add(metric::kProcessing, camera, figures.processing);
    out.add(metric::kDepthValid, camera, figures.depth_valid_ratio);
    for (const LineFigures& line : figures.lines) {
        for (std::size_t i = 0; i < line.suppressed.size(); ++i) {
            Labels labels = camera;
            labels.emplace_back("line", line.name);
            labels.emplace_back("reason", kSuppressionNames.at(i));
            out.add(metric::kSuppressed, labels, static_cast<double>(line.suppressed.at(i)));
        }
    }
    for (const RegionFigures& region : figures.regions) {
        Labels labels = camera;
        labels.emplace_back("region", region.name);
        out.add(metric::kRegionPeople, labels, region.people);
        out.add(metric::kRegionStay, labels, region.stays);
    }
}

void add_store(MetricsWriter& out, const StoreReader& store, const Labels& camera,
               std::int64_t now_us) {
    add_counts(out, store, camera);
    add_subscribers(out, store, camera, now_us);
    add_faults(out, store.open_faults(), camera);
    if (const auto last = store.last_event_us())
        out.add(metric::kLastEvent, camera, seconds(*last));
    if (const auto until = store.watched_until_us())
        out.add(metric::kLastWatched, camera, seconds(*until));
}

// What happens to the place as a whole is told as if it were of one more camera.
void add_place(MetricsWriter& out, const MetricsInput& input, std::vector<StoreReader>& stores) {
    Labels labels{{"place", input.place}, {"camera", kPlaceDevice}};
    add_faults(out, input.faults, labels);
    std::error_code error;
    if (!std::filesystem::exists(input.place_database, error)) return;
    StoreReader& store = stores.emplace_back(input.place_database);
    add_subscribers(out, store, labels, input.now_us);
}

// With a camera left out the balance would be wrong, so it needs them all.
void add_areas(MetricsWriter& out, const MetricsInput& input,
               const std::vector<StoreReader>& stores) {
    const TimeZone zone(input.time_zone);
    for (const Area& area : input.areas) {
        out.add(metric::kOccupancy, {{"place", input.place}, {"area", area.name}},
                static_cast<double>(area_balance(stores, area, zone, input.now_us).inside()));
    }
}

}  // namespace

std::string& MetricsWriter::samples_of(const char* metric) {
    const auto found = std::find_if(families_.begin(), families_.end(),
                                    [metric](const Family& f) { return f.name == metric; });
    if (found != families_.end()) return found->samples;
    families_.push_back({metric, ""});
    return families_.back().samples;
}

void MetricsWriter::add(const char* metric, const Labels& labels, double value) {
    samples_of(metric) += metric + labels_text(labels) + " " + number_text(value) + "\n";
}

void MetricsWriter::add(const char* metric, const Labels& labels, const Histogram& histogram) {
    const std::string name = metric;
    const auto bucket = [&](const std::string& bound, std::int64_t count) {
        Labels with = labels;
        with.emplace_back("le", bound);
        samples_of(metric) +=
            name + "_bucket" + labels_text(with) + " " + std::to_string(count) + "\n";
    };
    for (std::size_t i = 0; i < histogram.bounds_s.size(); ++i)
        bucket(number_text(histogram.bounds_s[i]), histogram.at_most.at(i));
    bucket("+Inf", histogram.count);
    samples_of(metric) += name + "_sum" + labels_text(labels) + " " + number_text(histogram.sum_s) +
                          "\n" + name + "_count" + labels_text(labels) + " " +
                          std::to_string(histogram.count) + "\n";
}

std::string MetricsWriter::text() const {
    std::string text;
    for (const Head& head : kHeads) {
        const auto family = std::find_if(families_.begin(), families_.end(),
                                         [&head](const Family& f) { return f.name == head.name; });
        if (family == families_.end()) continue;
        text += std::string("# HELP ") + head.name + " " + head.help + "\n# TYPE " + head.name +
                " " + head.type + "\n" + family->samples;
    }
    return text;
}

std::string metrics_text(const MetricsInput& input) {
    MetricsWriter out;
    out.add(metric::kBuild, {{"version", version_number()}}, 1.0);
    std::vector<StoreReader> stores;
    for (const MetricsCamera& camera : input.cameras) {
        Labels labels{{"place", input.place},
                      {"camera", std::filesystem::path(camera.database).stem().string()}};
        bool readable = true;
        try {
            StoreReader store(camera.database);
            labels.back().second = store.device();
            add_store(out, store, labels, input.now_us);
            stores.push_back(std::move(store));
        } catch (const std::runtime_error&) {
            readable = false;
        }
        out.add(metric::kUnreadable, labels, readable ? 0.0 : 1.0);
        add_sizes(out, camera.database, labels);
        if (camera.figures) add_figures(out, *camera.figures, labels);
    }
    const bool all = stores.size() == input.cameras.size();
    try {
        add_place(out, input, stores);
        if (all) add_areas(out, input, stores);
    } catch (const std::runtime_error&) {
        // The database of the place is being made, or cannot be read: nothing is known of areas.
    }
    return out.text();
}

}  // namespace host
