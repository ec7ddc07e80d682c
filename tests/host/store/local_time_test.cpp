// Days on which the clock is changed, in three time zones.
#include "host/store/local_time.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "host/base/input_error.h"

namespace {

using host::Date;
using host::LocalHour;
using host::TimeSpan;
using host::TimeZone;

constexpr std::int64_t kHour_us = 3600LL * 1'000'000;

struct ChangedDay {
    const char* zone;
    Date date;
    double hours;        // length of the day
    std::size_t rows;    // hours by the clock on the wall
    const char* before;  // label of the last hour before the change, and of the first after it
    const char* after;
    std::int64_t change_us;  // UTC
};

void PrintTo(const ChangedDay& day, std::ostream* out) {
    *out << day.zone << " " << host::date_text(day.date);
}

class ChangedDays : public ::testing::TestWithParam<ChangedDay> {};

TEST_P(ChangedDays, HaveTheirOwnHours) {
    const ChangedDay& expected = GetParam();
    const TimeZone zone(expected.zone);
    const TimeSpan day = zone.day(expected.date);
    EXPECT_EQ(day.to_us - day.from_us, static_cast<std::int64_t>(expected.hours * kHour_us));
    const std::vector<LocalHour> hours = zone.hours(expected.date);
    EXPECT_EQ(hours.size(), expected.rows);
    // They follow each other without a gap, and each has a label of its own.
    std::set<std::string> labels;
    bool changed = false;
    EXPECT_EQ(hours.front().span.from_us, day.from_us);
    EXPECT_EQ(hours.back().span.to_us, day.to_us);
    for (std::size_t i = 0; i < hours.size(); ++i) {
        EXPECT_TRUE(labels.insert(hours[i].label).second) << hours[i].label;
        if (i > 0) {
            EXPECT_EQ(hours[i].span.from_us, hours[i - 1].span.to_us);
        }
        if (hours[i].span.from_us != expected.change_us) continue;
        changed = true;
        EXPECT_EQ(hours[i - 1].label, expected.before);
        EXPECT_EQ(hours[i].label, expected.after);
    }
    EXPECT_TRUE(changed);
    // Every hour of it belongs to that day, and the moments around it do not.
    for (const LocalHour& hour : hours)
        EXPECT_EQ(zone.date_of(hour.span.from_us), expected.date);
    EXPECT_EQ(zone.date_of(day.to_us), zone.next(expected.date));
    EXPECT_EQ(zone.next(zone.date_of(day.from_us - 1)), expected.date);
}

INSTANTIATE_TEST_SUITE_P(Zones, ChangedDays,
                         ::testing::Values(ChangedDay{"Europe/Berlin",
                                                      {2026, 3, 29},
                                                      23.0,
                                                      23,
                                                      "01:00+01:00",
                                                      "03:00+02:00",
                                                      1774746000LL * 1'000'000},
                                           ChangedDay{"Europe/Berlin",
                                                      {2026, 10, 25},
                                                      25.0,
                                                      25,
                                                      "02:00+02:00",
                                                      "02:00+01:00",
                                                      1792890000LL * 1'000'000},
                                           ChangedDay{"America/St_Johns",
                                                      {2026, 3, 8},
                                                      23.0,
                                                      23,
                                                      "01:00-03:30",
                                                      "03:00-02:30",
                                                      1772947800LL * 1'000'000},
                                           ChangedDay{"America/St_Johns",
                                                      {2026, 11, 1},
                                                      25.0,
                                                      25,
                                                      "01:00-02:30",
                                                      "01:00-03:30",
                                                      1793507400LL * 1'000'000},
                                           // Half an hour is left out, and comes twice.
                                           ChangedDay{"Australia/Lord_Howe",
                                                      {2026, 10, 4},
                                                      23.5,
                                                      24,
                                                      "01:00+10:30",
                                                      "02:30+11:00",
                                                      1791041400LL * 1'000'000},
                                           ChangedDay{"Australia/Lord_Howe",
                                                      {2026, 4, 5},
                                                      24.5,
                                                      25,
                                                      "01:00+11:00",
                                                      "01:30+10:30",
                                                      1775314800LL * 1'000'000}));

TEST(LocalTime, OtherDaysHave24Hours) {
    for (const char* name : {"Europe/Berlin", "America/St_Johns", "Asia/Kathmandu", "UTC"}) {
        const TimeZone zone(name);
        for (const Date& date : {Date{2026, 3, 28}, Date{2026, 3, 30}, Date{2028, 2, 29}}) {
            const std::vector<LocalHour> hours = zone.hours(date);
            ASSERT_EQ(hours.size(), 24u) << name;
            EXPECT_EQ(hours[7].label, "07:00");
            for (const LocalHour& hour : hours)
                EXPECT_EQ(hour.span.to_us - hour.span.from_us, kHour_us);
        }
    }
}

TEST(LocalTime, FindsMomentsOnTheWall) {
    const TimeZone berlin("Europe/Berlin");
    const std::int64_t noon = berlin.at({2026, 3, 29}, 12 * 60);
    EXPECT_EQ(berlin.text(noon), "2026-03-29T12:00:00.000+02:00");
    // 02:30 is left out in spring and comes twice in autumn.
    EXPECT_EQ(berlin.text(berlin.at({2026, 3, 29}, 150)), "2026-03-29T03:00:00.000+02:00");
    EXPECT_EQ(berlin.text(berlin.at({2026, 10, 25}, 150)), "2026-10-25T02:30:00.000+02:00");
    EXPECT_EQ(berlin.at({2026, 3, 29}, 24 * 60), berlin.day({2026, 3, 29}).to_us);
    EXPECT_EQ(TimeZone("America/St_Johns").text(0), "1969-12-31T20:30:00.000-03:30");
}

TEST(LocalTime, ReadsDaysAndTimes) {
    EXPECT_EQ(host::parse_date("2024-02-29", "--date"), (Date{2024, 2, 29}));
    for (const char* wrong : {"2026-02-29", "2026-2-01", "01.02.2026", "", "2026-13-01x"})
        EXPECT_THROW(host::parse_date(wrong, "--date"), host::InputError) << wrong;
    EXPECT_EQ(host::parse_time_of_day("09:30", "--open"), 570);
    EXPECT_EQ(host::parse_time_of_day("24:00", "--open"), 1440);
    for (const char* wrong : {"9:30", "24:01", "12:60", "noon", "12-30"})
        EXPECT_THROW(host::parse_time_of_day(wrong, "--open"), host::InputError) << wrong;
    EXPECT_THROW(TimeZone("Europe/Atlantis"), host::InputError);
    EXPECT_FALSE(TimeZone("").name().empty());
}

}  // namespace
