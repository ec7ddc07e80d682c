// Reading of the devices' results, and the site's own.
#include "host/report/site_results.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "host/base/result_files.h"
#include "host/base/text.h"
#include "host/base/version.h"
#include "host/score/site_scene.h"
#include "host/settings/site_config.h"
#include "vca/base.h"

namespace host {
namespace {

using Json = nlohmann::ordered_json;

Json read_json(const std::string& path) {
    std::ifstream in(path);
    Json json = Json::parse(in, nullptr, false);
    if (!json.is_object()) throw std::runtime_error("cannot read \"" + path + "\"");
    return json;
}

DelaySummary read_delay(const Json& json) {
    return {json.at("messages"), json.at("median_ms"), json.at("p99_ms"), json.at("greatest_ms")};
}

LinkFigures read_link(const Json& json) {
    LinkFigures link;
    link.master = json.at("role") == "master";
    link.reached = json.at("reached");
    if (!link.master) {
        link.sent = json.at("sent");
        link.withheld = json.at("withheld");
        link.disconnected = json.at("disconnected");
        link.answers = json.at("frame_counts");
        return link;
    }
    link.requests = json.at("requests");
    link.unknown = json.at("unknown");
    for (const Json& s : json.at("slaves")) {
        link.slaves.push_back({s.at("name"),
                               {s.at("received"), s.at("delivered"), s.at("late"),
                                s.at("foreign_clock"), s.at("repeated"), s.at("out_of_order"),
                                s.at("refused"), s.at("stale_periods"), s.at("cleared")},
                               read_delay(s.at("delivery")),
                               read_delay(s.at("counting"))});
    }
    return link;
}

// What the master reported, frame by frame.
struct MasterMessages {
    std::map<std::int64_t, std::vector<MergedTrack>> tracks;
    std::map<std::int64_t, RegionArray> people;  // in each region
    std::vector<std::pair<int, int>> counted;    // line and direction
};

MasterMessages read_messages(const std::string& path) {
    MasterMessages messages;
    std::ifstream in(path);
    if (!in) throw std::runtime_error("cannot read \"" + path + "\"");
    for (std::string text; std::getline(in, text);) {
        const Json event = Json::parse(text);
        const std::string& name = event.at("message").get_ref<const std::string&>();
        if (name == "person_counted")
            messages.counted.emplace_back(event.at("line"), event.at("direction"));
        if (name == "regions") {
            const std::vector<int> inside = event.at("inside");
            RegionArray& people = messages.people[event.at("frame")];
            std::copy_n(inside.begin(), std::min(inside.size(), people.size()), people.begin());
        }
        if (name != "tracks") continue;
        std::vector<MergedTrack>& tracks = messages.tracks[event.at("frame")];
        for (const Json& t : event.at("tracks")) {
            tracks.push_back({t.at("track"),
                              {t.at("x").get<double>() + 0.5 * t.at("w").get<double>(),
                               t.at("y").get<double>() + 0.5 * t.at("h").get<double>()},
                              t.at("height_mm")});
        }
    }
    return messages;
}

LineCounts count_messages(const Site& site, const std::vector<std::pair<int, int>>& counted) {
    LineCounts counts = no_counts(site, "merged");
    for (auto& line : counts.lines)
        line = std::array<int, 2>{};
    for (const auto& [line, direction] : counted) {
        if (line < 0 || static_cast<std::size_t>(line) >= counts.lines.size()) continue;
        if (direction != VCA_DIR_1 && direction != VCA_DIR_2) continue;
        ++(*counts.lines[static_cast<std::size_t>(line)])[static_cast<std::size_t>(direction -
                                                                                   VCA_DIR_1)];
    }
    return counts;
}

std::string slave_row(const HeardDevice& slave) {
    const auto number = [](std::size_t width, std::size_t gap) {
        return TextColumn{TextColumn::kRight, width, gap};
    };
    const auto ms = [](double value) { return format_text("%.1f", value); };
    const DeviceCounters& c = slave.counters;
    const std::int64_t dropped = c.foreign_clock + c.repeated + c.out_of_order + c.refused;
    return table_row(
        {{TextColumn::kLeft, 16, 2},
         number(8, 1),
         number(9, 1),
         number(5, 1),
         number(7, 1),
         number(6, 1),
         number(6, 3),
         number(6, 1),
         number(7, 3),
         number(6, 1)},
        {slave.name, std::to_string(c.received), std::to_string(c.delivered),
         std::to_string(c.late), std::to_string(dropped), std::to_string(c.stale_periods),
         ms(slave.delivery.median_ms), ms(slave.delivery.p99_ms), ms(slave.counting.median_ms),
         ms(slave.counting.p99_ms)});
}

Json counts_json(const Site& site, const LineCounts& counts, const LineCounts& truth) {
    Json lines = Json::array();
    for (std::size_t i = 0; i < site.lines.size(); ++i) {
        const auto& line = counts.lines.at(i);
        if (!line) continue;
        lines.push_back({{"name", site.lines[i].name},
                         {"direction_1", (*line)[0]},
                         {"direction_2", (*line)[1]}});
    }
    Json out{{"lines", std::move(lines)}};
    if (const auto error = count_error(counts, truth); error && &counts != &truth)
        out["error"] = std::round(*error * 1e4) / 1e4;
    return out;
}

Json merge_json(const MergeScore& merge) {
    return {{"people", merge.people},
            {"people_one_object", merge.people_one_object},
            {"person_frames", merge.person_frames},
            {"one_object", merge.one_object},
            {"no_object", merge.no_object},
            {"several_objects", merge.several_objects},
            {"duplicate_frames", merge.duplicate_frames},
            {"id_changes", merge.id_changes},
            {"objects", merge.objects},
            {"stray_objects", merge.stray_objects}};
}

Json regions_json(const Site& site, const SiteResult& result) {
    Json list = Json::array();
    for (std::size_t i = 0; i < result.regions.size(); ++i) {
        const Occupancy& o = result.regions[i];
        Json region{{"name", site.regions[i].name}, {"people", o.mean}, {"peak", o.peak}};
        if (result.has_truth) {
            region["true_people"] = o.true_mean;
            region["true_peak"] = o.true_peak;
            region["mean_abs_error"] = o.mean_abs_error;
        }
        list.push_back(std::move(region));
    }
    return list;
}

}  // namespace

DeviceAccount read_account(const std::string& folder, const std::string& name) {
    const Json summary = read_json(folder + "/" + kSummaryFile);
    try {
        PaceFigures figures;
        // A live camera keeps its own.
        if (const auto pace = summary.find("pace"); pace != summary.end())
            figures = {pace->at("frames"), pace->at("late"), pace->at("most_late_ms")};
        return {name, summary.at("run").at("frames"), figures, read_link(summary.at("link"))};
    } catch (const Json::exception&) {
        throw std::runtime_error("\"" + folder + "/summary.json\" is not of a device of a site");
    }
}

namespace {

// What the master says of everybody, of whom nobody else knows.
SiteResult tell_merged(const Site& site, MasterMessages messages) {
    SiteResult result;
    result.has_truth = false;
    RegionMeter regions = region_meter(site);
    for (auto& [number, tracks] : messages.tracks) {
        regions.add_report(messages.people[number], {});
        regions.add_frame(static_cast<double>(number) / site.frames_per_second.value, {});
        result.frames.push_back({number, {}, std::move(tracks)});
    }
    result.truth = no_counts(site, "true");
    result.merged = count_messages(site, messages.counted);
    result.regions = regions.occupancy();
    return result;
}

}  // namespace

SiteResult evaluate_site(const Site& site, const std::string& events_path, std::int64_t frames) {
    MasterMessages messages = read_messages(events_path);
    if (!is_simulated(site)) return tell_merged(site, std::move(messages));
    SiteResult result;
    SiteScene scene(site);
    SiteTruth truth(site);
    MergeMeter meter(site);
    RegionMeter regions = region_meter(site);
    std::vector<TrueCrossing> crossings;
    SiteFrame frame;
    while (frames-- > 0 && scene.next(frame)) {
        frame.tracks = std::move(messages.tracks[frame.number]);
        for (const TrueCrossing& c : truth.add_frame(frame))
            crossings.push_back(c);
        meter.add_frame(frame);
        regions.add_report(messages.people[frame.number], {});
        regions.add_frame(static_cast<double>(frame.number) / site.frames_per_second.value,
                          people_in_view(frame));
        result.frames.push_back(frame);
    }
    result.truth = count_truth(site, crossings);
    result.merged = count_messages(site, messages.counted);
    result.merge = meter.score();
    result.regions = regions.occupancy();
    return result;
}

LineCounts read_alone_counts(const Site& site, const SiteDevice& device,
                             const std::string& folder) {
    const Json summary = read_json(folder + "/" + kSummaryFile);
    LineCounts counts = no_counts(site, device.name);
    const std::vector<CountingLine> own = own_lines(site, device);
    const Json& lines = summary.at("lines");
    for (std::size_t i = 0; i < own.size() && i < lines.size(); ++i) {
        if (own[i].points.empty()) continue;
        counts.lines[i] = {lines[i].at("direction_1").at("counted").get<int>(),
                           lines[i].at("direction_2").at("counted").get<int>()};
    }
    return counts;
}

std::string link_text(const std::vector<DeviceAccount>& accounts) {
    std::string text;
    for (const DeviceAccount& account : accounts) {
        if (!account.link.master || account.link.slaves.empty()) continue;
        text +=
            "\n  messages of       received delivered  late dropped  stale   delivered ms   "
            "counted ms\n";
        text +=
            "                                                             median   99 %    "
            "median   99 %\n";
        for (const HeardDevice& slave : account.link.slaves)
            text += slave_row(slave);
    }
    for (const DeviceAccount& account : accounts) {
        if (!is_too_slow(account.pace)) continue;
        text += format_text(
            "  %s: %lld of %lld frames came late because this machine is too slow, the worst "
            "by %.0f ms\n",
            account.name.c_str(), static_cast<long long>(account.pace.late),
            static_cast<long long>(account.pace.frames), account.pace.most_late_ms);
    }
    return text;
}

std::vector<LostMessages> lost_messages(const Site& site,
                                        const std::vector<DeviceAccount>& accounts) {
    std::map<std::string, std::int64_t> received;
    for (const DeviceAccount& account : accounts) {
        for (const HeardDevice& slave : account.link.slaves)
            received[slave.name] = slave.counters.received;
    }
    const auto last_second = static_cast<std::int64_t>(std::ceil(site.frames_per_second.value));
    std::vector<LostMessages> list;
    for (const DeviceAccount& account : accounts) {
        if (account.link.master) continue;
        const std::int64_t on_the_way = account.link.sent - received[account.name];
        const std::int64_t lost =
            account.link.disconnected + (on_the_way > last_second ? on_the_way : 0);
        if (lost == 0) continue;
        list.push_back({account.name, lost, account.link.sent + account.link.disconnected});
    }
    return list;
}

std::string loss_text(const std::vector<LostMessages>& lost, int broker_restarts) {
    std::string text;
    for (const LostMessages& device : lost) {
        text += "  warning: " + std::to_string(device.lost) + " of " + std::to_string(device.of) +
                " messages of " + device.name +
                " were lost; people only it could see at the time were not counted\n";
    }
    if (broker_restarts > 0) {
        text += "  warning: the broker died and was restarted";
        if (broker_restarts > 1) text += ' ' + std::to_string(broker_restarts) + " times";
        text += '\n';
    }
    return text;
}

void write_site_summary(const Site& site, const SiteResult& result,
                        const std::vector<DeviceAccount>& accounts, int broker_restarts,
                        const std::string& path) {
    Json root;
    root["site"] = site.name;
    root["commit"] = version_commit();
    root["frames"] = result.frames.size();
    if (result.has_truth) root["true"] = counts_json(site, result.truth, result.truth);
    root["merged"] = counts_json(site, result.merged, result.truth);
    for (const LineCounts& counts : result.alone)
        root["alone"][counts.who] = counts_json(site, counts, result.truth);
    root["regions"] = regions_json(site, result);
    if (result.has_truth) root["seen_by_two"] = merge_json(result.merge);
    root["broker_restarts"] = broker_restarts;
    for (const LostMessages& device : lost_messages(site, accounts))
        root["lost_messages"][device.name] = device.lost;
    for (const DeviceAccount& account : accounts) {
        root["late_frames"][account.name] = account.pace.late;
        for (const HeardDevice& slave : account.link.slaves) {
            root["delay_ms"][slave.name] = {{"delivered_median", slave.delivery.median_ms},
                                            {"delivered_p99", slave.delivery.p99_ms},
                                            {"counted_median", slave.counting.median_ms},
                                            {"counted_p99", slave.counting.p99_ms}};
        }
    }
    std::ofstream out(path);
    out << root.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
    out.flush();
    if (!out) throw std::runtime_error("cannot write \"" + path + "\"");
}

}  // namespace host
