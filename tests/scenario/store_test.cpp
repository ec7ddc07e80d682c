// A run with a database, and the commands that read it, as a user calls them.
#include "host/store/store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

#include "host/base/utc.h"
#include "tests/support/program.h"

namespace {

using test::json_lines;
using test::Outcome;
using test::read_file;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Json = nlohmann::json;

class StoredRun : public test::Program {
  protected:
    void run(const std::string& more = "") const {
        const Outcome outcome =
            vca("run --quiet --no-live --scene doorway --seconds 25 --output run --store door.db " +
                more);
        ASSERT_EQ(outcome.status, 0) << outcome.err;
    }
    Json counts(const std::string& more) const {
        const Outcome outcome =
            vca("counts --store door.db --date 2026-01-01 --time-zone UTC --format json " + more);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return Json::parse(outcome.out);
    }
    int rows_of(const std::string& file) const {
        const std::string text = read_file(work_ / "run" / file);
        return static_cast<int>(std::count(text.begin(), text.end(), '\n')) - 1;
    }
};

TEST_F(StoredRun, HoldsWhatTheRunHasCounted) {
    run("--store-log told.jsonl");
    const Json summary = json(work_ / "run" / "summary.json");
    int all = 0;
    for (const Json& row : counts("")) {
        EXPECT_EQ(row["device"], "door");
        EXPECT_EQ(row["watched_minutes"], 1);
        all += row["adult"].get<int>() + row["child"].get<int>() + row["staff"].get<int>();
    }
    EXPECT_GT(all, 0);
    EXPECT_EQ(all, rows_of("crossings.csv"));

    const Outcome events = vca("export --store door.db --format jsonl --time-zone UTC");
    ASSERT_EQ(events.status, 0) << events.err;
    int crossings = 0;
    int stays = 0;
    std::int64_t sequence = 0;
    for (const Json& event : json_lines(events.out)) {
        crossings += event["kind"] == "crossing" ? 1 : 0;
        stays += event["kind"] == "stay" ? 1 : 0;
        sequence = std::max(sequence, event["sequence"].get<std::int64_t>());
        EXPECT_THAT(event["time"].get<std::string>(), StartsWith("2026-01-01T00:00:"));
    }
    EXPECT_EQ(crossings, all);
    EXPECT_EQ(stays, rows_of("stays.csv"));
    EXPECT_EQ(json_lines(read_file(work_ / "told.jsonl")).back()["sequence"], sequence);
}

TEST_F(StoredRun, IsTheSameRunWithADatabaseAndWithout) {
    run();
    const Outcome other = vca("run --quiet --no-live --scene doorway --seconds 25 --output other");
    ASSERT_EQ(other.status, 0) << other.err;
    EXPECT_EQ(read_file(work_ / "run" / "events.jsonl"),
              read_file(work_ / "other" / "events.jsonl"));
}

TEST_F(StoredRun, ASecondRunGoesOn) {
    run();
    const Json once = counts("");
    run();
    const Json twice = counts("");
    for (std::size_t i = 0; i < once.size(); ++i)
        EXPECT_EQ(twice[i]["adult"], once[i]["adult"].get<int>() * 2);
    EXPECT_EQ(twice[0]["watched_minutes"], 1);
}

TEST_F(StoredRun, IsShownByHourKindAndEntrance) {
    run();
    const Json lines = counts("");
    const Json hours = counts("--by hour");
    EXPECT_EQ(hours.size(), 24 * lines.size());
    EXPECT_EQ(hours[0]["hour"], "00:00");
    EXPECT_EQ(hours[0]["adult"], lines[0]["adult"]);
    EXPECT_EQ(hours[2]["watched_minutes"], 0);
    EXPECT_EQ(hours[0]["provisional_minutes"], 0);
    EXPECT_EQ(hours[0]["not_watched"], "");
    const Json kinds = counts("--by kind");
    EXPECT_EQ(kinds.size(), 3 * lines.size());
    EXPECT_EQ(kinds[0]["people"], lines[0]["adult"]);

    const std::string line = lines[0]["line"];
    const Json visitors = counts("--entrance " + line);
    EXPECT_EQ(visitors[0]["visitors"], lines[0]["adult"].get<int>() + lines[0]["child"].get<int>());
    EXPECT_EQ(counts("--entrance " + line + ":2")[0]["adults"], lines[1]["adult"]);
    EXPECT_EQ(counts("--open 01:00-02:00 --entrance " + line)[0]["visitors"], 0);
    EXPECT_EQ(counts("--open 22:00-01:00 --by hour --entrance " + line).size(), 3u);
    const Json inside = counts("--inside --reset 00:00 --capacity 1 --entrance " + line);
    EXPECT_EQ(inside[0]["inside"], inside[0]["in"].get<int>() - inside[0]["out"].get<int>());
    EXPECT_EQ(inside[0]["in"], visitors[0]["visitors"]);

    const Outcome table =
        vca("counts --store door.db --date 2026-01-01 --time-zone Asia/Kathmandu");
    EXPECT_THAT(table.out, AllOf(StartsWith("2026-01-01, Asia/Kathmandu\n"), HasSubstr(line)));
    EXPECT_THAT(vca("counts --store door.db --date 2025-06-01 --time-zone UTC").out,
                HasSubstr("watched last on 2026-01-01"));
}

// Two cameras whose lines have the same name; only one of them is an entrance.
TEST_F(StoredRun, OfAPlaceIsShownByItsFile) {
    run();
    const std::string line = counts("")[0]["line"];
    std::filesystem::create_directory(work_ / "store");
    std::filesystem::copy_file(work_ / "door.db", work_ / "store" / "door.db");
    const std::string head = "place = \"shop\"\ntime_zone = \"UTC\"\n";
    const std::string rest =
        "[[camera]]\nname = \"door\"\nscene = \"doorway\"\n"
        "[[camera]]\nname = \"back\"\nscene = \"doorway\"\n"
        "[[area]]\nname = \"hall\"\ncapacity = 1\nreset = \"00:00\"\n"
        "[[entrance]]\ncamera = \"door\"\nline = \"" +
        line + "\"\n";
    const auto place = [&](const std::string& open, const std::string& more) {
        std::ofstream(work_ / "vca.toml") << head << open << rest;
        return vca("counts --config vca.toml --date 2026-01-01 --format json " + more);
    };
    const Outcome lines = place("", "");
    EXPECT_THAT(lines.err, HasSubstr("camera \"back\" has no database yet"));
    EXPECT_EQ(Json::parse(lines.out), counts(""));
    ASSERT_EQ(vca("run --quiet --no-live --scene doorway --seconds 25 --output run "
                  "--store store/back.db")
                  .status,
              0);
    EXPECT_EQ(Json::parse(place("", "").out).size(), 2 * counts("").size());
    EXPECT_EQ(Json::parse(place("", "--visitors").out), counts("--entrance " + line));
    const Json inside = Json::parse(place("", "--inside").out);
    EXPECT_EQ(inside, counts("--inside --area hall --reset 00:00 --capacity 1 --entrance " + line));
    // The first of January was a Thursday.
    EXPECT_EQ(
        Json::parse(place("open = [\"mon-wed 00:00-24:00\"]\n", "--visitors").out)[0]["visitors"],
        0);
    EXPECT_EQ(Json::parse(place("open = \"thu 00:00-24:00\"\n", "--visitors").out),
              counts("--entrance " + line));
    EXPECT_THAT(vca("counts --config vca.toml --area yard --inside").err,
                HasSubstr("the place has no area \"yard\" with an entrance; there are \"hall\""));
    EXPECT_EQ(json_lines(vca("export --config vca.toml --format jsonl").out).size(),
              2 * json_lines(vca("export --store door.db --format jsonl").out).size());
    EXPECT_EQ(vca("status --config vca.toml").status, 1);
}

TEST_F(StoredRun, APlacesFileAndOtherOptionsAreNotMixed) {
    std::ofstream(work_ / "vca.toml") << "place = \"shop\"\n[[camera]]\nname = \"door\"\n"
                                         "scene = \"doorway\"\n";
    for (const auto& [arguments, message] : std::vector<std::pair<std::string, std::string>>{
             {"counts", "vca counts needs --store FILE.db or --config vca.toml"},
             {"export", "vca export needs --store FILE.db or --config vca.toml"},
             {"counts --config vca.toml --store a.db", "leave out --store"},
             {"counts --config vca.toml --open 09:00-10:00", "--open stands in the place's file"},
             {"counts --store a.db --visitors", "needs to know the entrances"},
             {"counts --config vca.toml", "vca serve makes them"},
             {"counts --config gone.toml", "gone.toml"},
             {"status --url http://127.0.0.1:1 --config vca.toml", "leave out the databases"},
             {"status --config vca.toml --ca-file a.pem", "add --url https://HOST:PORT"},
             {"status --url https://", "write http://HOST:PORT/ or https://HOST:PORT/"},
             {"status --url 127.0.0.1:1", "write http://HOST:PORT/ or https://HOST:PORT/"}}) {
        const Outcome outcome = vca(arguments);
        EXPECT_EQ(outcome.status, 2) << arguments;
        EXPECT_THAT(outcome.err, HasSubstr(message));
    }
}

// What was not watched stands where nobody was counted.
TEST_F(StoredRun, ShowsWhenNothingWasWatched) {
    run();
    const std::int64_t hour_us = 1767225600LL * 1'000'000;
    const std::int64_t minute_us = 60'000'000;
    const std::vector<std::array<std::int64_t, 2>> gaps{{5, 7}, {50, 130}};
    for (const auto& [from, to] : gaps) {
        host::StoreSetup setup;
        setup.path = (work_ / "door.db").string();
        setup.device = "door";
        host::Store store(setup);
        host::Batch batch;
        batch.add_gap({hour_us + from * minute_us, hour_us + to * minute_us, "the sender ended"});
        store.commit(batch);
    }
    const Json hours = counts("--by hour");
    const std::size_t lines = counts("").size();
    EXPECT_EQ(hours[0]["not_watched"],
              "00:05:00 to 00:07:00 the sender ended; 00:50:00 to 01:00:00 the sender ended");
    EXPECT_EQ(hours[lines]["not_watched"], "01:00:00 to 02:00:00 the sender ended");
    EXPECT_EQ(hours[2 * lines]["not_watched"], "02:00:00 to 02:10:00 the sender ended");
    EXPECT_EQ(hours[3 * lines]["not_watched"], "");
    const auto events =
        json_lines(vca("export --store door.db --format jsonl --time-zone UTC").out);
    EXPECT_EQ(events.back()["kind"], "gap");
    EXPECT_EQ(events.back()["why"], "the sender ended");
}

TEST_F(StoredRun, IsPruned) {
    run();
    const auto events = [&] {
        return json_lines(vca("export --store door.db --format jsonl --time-zone UTC").out).size();
    };
    const std::size_t before = events();
    ASSERT_GT(before, 0u);
    EXPECT_EQ(vca("prune --store door.db --keep-events forever --keep-people 30").status, 0);
    EXPECT_EQ(events(), before);
    const Json totals = counts("");
    const Outcome pruned = vca("prune --store door.db --keep-events 0");
    EXPECT_EQ(pruned.status, 0) << pruned.err;
    EXPECT_THAT(pruned.out, StartsWith("removed "));
    EXPECT_EQ(events(), 0u);
    EXPECT_EQ(counts(""), totals) << "minutes are kept for ever";
    EXPECT_EQ(vca("prune --store door.db --keep-events soon").status, 2);
    write("text.db", "this is no database");
    EXPECT_EQ(vca("prune --store text.db").status, 2);
}

// The run lies in the past, so its camera counts as stopped.
TEST_F(StoredRun, HasAStatus) {
    run();
    const Outcome failed = vca("status --store door.db");
    EXPECT_EQ(failed.status, 1);
    EXPECT_THAT(failed.out, AllOf(StartsWith("failed\n  door  failed\n"),
                                  HasSubstr("nothing has been watched since 2026-01-01 00:00:2")));
    const auto watched_now = [this](const std::string& level) {
        host::StoreSetup setup;
        setup.path = (work_ / "door.db").string();
        setup.device = "door";
        host::Store store(setup);
        host::Batch batch;
        batch.watched_until_us = host::utc_now_us() + host::kHour_us;
        batch.add_health({0, host::health_level(level), "frames_late", "frames are missing"});
        store.commit(batch);
    };
    watched_now("degraded");
    const Outcome degraded = vca("status --store door.db --format json");
    EXPECT_EQ(degraded.status, 3);
    const Json json = Json::parse(degraded.out);
    EXPECT_EQ(json["level"], "degraded");
    EXPECT_EQ(json["cameras"][0]["faults"][0]["text"], "frames are missing");
    watched_now("ok");
    EXPECT_EQ(vca("status --store door.db").status, 0);
    EXPECT_EQ(vca("status").status, 2);
    EXPECT_EQ(vca("status --url ftp://127.0.0.1/").status, 2);
    EXPECT_EQ(vca("status --url http://127.0.0.1:1/").status, 1) << "nobody listens";
}

TEST_F(StoredRun, IsFollowed) {
    run();
    const std::size_t events =
        json_lines(vca("export --store door.db --format jsonl --time-zone UTC").out).size();
    write("out.txt", "");
    const pid_t child = start_vca("counts --store door.db --follow --after 0 --time-zone UTC");
    EXPECT_TRUE(test::eventually([&] { return json_lines(out()).size() == events; }));
    kill(child, SIGTERM);
    EXPECT_EQ(end_of(child), 0);
}

// A follower goes on with a database that has taken the place of the one it began with.
TEST_F(StoredRun, IsFollowedAcrossARestore) {
    run();
    const std::size_t events =
        json_lines(vca("export --store door.db --format jsonl --time-zone UTC").out).size();
    ASSERT_EQ(vca("backup --store door.db --output door.backup").status, 0);
    write("followed.txt", "");
    const pid_t child =
        start_vca("counts --store door.db --follow --after 0 --time-zone UTC >followed.txt");
    const auto followed = [&] { return json_lines(read_file(work_ / "followed.txt")); };
    EXPECT_TRUE(test::eventually([&] { return followed().size() == events; }));
    ASSERT_EQ(vca("restore door.backup --store door.db --replace").status, 0);
    run();
    EXPECT_TRUE(test::eventually([&] { return followed().size() >= 2 * events; }));
    kill(child, SIGTERM);
    EXPECT_EQ(end_of(child), 0);
    EXPECT_EQ(followed().size(), 2 * events);
    EXPECT_NE(followed().front()["epoch"], followed().back()["epoch"]);
}

TEST_F(StoredRun, IsCopiedAndRestored) {
    run();
    ASSERT_EQ(vca("backup --store door.db --output door.backup").status, 0);
    EXPECT_EQ(vca("restore door.backup --store door.db").status, 2);
    const Json before = counts("");
    ASSERT_EQ(vca("restore door.backup --store door.db --replace").status, 0);
    EXPECT_EQ(counts(""), before);
    EXPECT_EQ(vca("correct --store door.db --people=-2 --who anna --why forgotten").status, 0);
    EXPECT_EQ(counts(""), before);
}

TEST_F(StoredRun, RefusesWhatIsWrong) {
    write("letter.db", std::string(5000, 'x'));
    expect_refused("run --store letter.db --output r", HasSubstr("is not a database"), "r");
    expect_refused("run --store no/door.db --output r", HasSubstr("there is no folder"), "r");
    expect_refused("run --store-log x --output r", HasSubstr("belongs to --store"), "r");
    expect_refused("counts --store none.db", HasSubstr("there is no database"), "none.db");
    expect_refused("counts --store letter.db --groups-as-one", HasSubstr("--entrance"), "r");
    expect_refused("counts --store letter.db --time-zone Mars/Base", HasSubstr("no time zone"),
                   "r");
    expect_refused("counts --store letter.db --by week", HasSubstr("known are line, hour, kind"),
                   "r");
    expect_refused("counts", HasSubstr("--store"), "r");
}

}  // namespace
