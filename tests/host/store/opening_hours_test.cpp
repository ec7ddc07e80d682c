// When a place is open, also across midnight and on days on which the clock is changed.
#include "host/store/opening_hours.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/base/input_error.h"

namespace {

using host::Date;
using host::OpeningHours;
using host::TimeSpan;
using host::TimeZone;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr std::int64_t kHour = 3600LL * 1'000'000;
constexpr Date kSunday{2026, 3, 29};  // the clock is set forward from 2:00 to 3:00
constexpr Date kMonday{2026, 3, 30};

OpeningHours hours(const std::vector<std::string>& texts) {
    std::vector<host::Placed<std::string>> given;
    for (const std::string& text : texts)
        given.emplace_back(text, "line 3: open");
    return OpeningHours(given);
}

class Opening : public ::testing::Test {
  protected:
    // Hours after the midnight with which a day begins.
    std::vector<std::pair<double, double>> open(const OpeningHours& hours, const Date& date) const {
        std::vector<std::pair<double, double>> list;
        const double midnight = static_cast<double>(berlin_.day(date).from_us);
        for (const TimeSpan& span : hours.spans(berlin_, date)) {
            list.emplace_back((static_cast<double>(span.from_us) - midnight) / kHour,
                              (static_cast<double>(span.to_us) - midnight) / kHour);
        }
        return list;
    }
    const TimeZone berlin_{"Europe/Berlin"};
};

using Spans = std::pair<double, double>;

TEST_F(Opening, WithoutHoursItIsTheWholeDay) {
    EXPECT_THAT(open(hours({}), kMonday), ElementsAre(Spans(0, 24)));
    EXPECT_THAT(open(hours({}), kSunday), ElementsAre(Spans(0, 23)));
}

TEST_F(Opening, DaysAreNamed) {
    const OpeningHours shop = hours({"mon-fri 09:00-20:00", "sat, sun 10:00-14:00"});
    EXPECT_THAT(open(shop, kMonday), ElementsAre(Spans(9, 20)));
    EXPECT_THAT(open(shop, {2026, 4, 4}), ElementsAre(Spans(10, 14)));
    EXPECT_EQ(shop.rules()[1].days_text(), "sat, sun");
    EXPECT_THAT(open(hours({"fri-mon 09:00-10:00"}), {2026, 4, 1}), IsEmpty());
    EXPECT_THAT(open(hours({"fri-mon 09:00-10:00"}), kMonday), ElementsAre(Spans(9, 10)));
}

TEST_F(Opening, ADayMayHaveSeveral) {
    EXPECT_THAT(open(hours({"15:00-18:30", "09:00-12:30"}), kMonday),
                ElementsAre(Spans(9, 12.5), Spans(15, 18.5)));
}

TEST_F(Opening, ANightBelongsToTheDayItBeginsOn) {
    EXPECT_THAT(open(hours({"20:00-04:00"}), kMonday), ElementsAre(Spans(20, 28)));
    // Of the hours between two and three there are none that night.
    EXPECT_THAT(open(hours({"sat 20:00-04:00"}), {2026, 3, 28}), ElementsAre(Spans(20, 27)));
    EXPECT_THAT(open(hours({"00:00-24:00"}), kSunday), ElementsAre(Spans(0, 23)));
    EXPECT_THAT(open(hours({"02:00-03:00"}), kSunday), IsEmpty());
}

TEST(OpeningHours, OthersAreRefusedWithTheirPlace) {
    for (const char* wrong :
         {"", "nine", "09:00", "9:00-20:00", "09:00-25:00", "mon09:00-20:00", "mo 09:00-20:00",
          "mon- 09:00-20:00", ",mon 09:00-20:00", "mon, 09:00-20:00", "24:00-02:00",
          "09:00-20:00 mon", "09:00_20:00"}) {
        try {
            hours({wrong});
            ADD_FAILURE() << wrong;
        } catch (const host::InputError& error) {
            EXPECT_THAT(error.what(), HasSubstr("line 3: open is")) << wrong;
        }
    }
    EXPECT_THROW(hours({"09:00-12:00", "mon 11:00-13:00"}), host::InputError);
    EXPECT_THROW(hours({"sun 20:00-04:00", "mon 03:00-09:00"}), host::InputError);
    EXPECT_NO_THROW(hours({"sun 20:00-04:00", "mon 04:00-09:00"}));
}

}  // namespace
