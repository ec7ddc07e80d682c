// Events of areas that become full, by the crossings of two cameras.
#include "host/service/area_watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>

#include "host/base/utc.h"
#include "host/service/place.h"
#include "host/store/area_history.h"
#include "tests/host/store/store_folder.h"

namespace {

const host::Say quiet = [](host::LogLevel, const std::string&, const std::string&) {};

using host::Store;
using test::crossing;
using ::testing::ElementsAre;

constexpr const char* kPlace =
    "place = \"shop\"\n[[camera]]\nname = \"door\"\nscene = \"doorway\"\n"
    "[[camera]]\nname = \"back\"\nscene = \"doorway\"\n[[area]]\nname = \"hall\"\ncapacity = 2\n"
    "[[entrance]]\ncamera = \"door\"\nline = \"door\"\narea = \"hall\"\n"
    "[[entrance]]\ncamera = \"back\"\nline = \"door\"\narea = \"hall\"\nin = 2\n";

class Areas : public test::StoreFolder {
  protected:
    Areas() : file_(host::parse_service_file(kPlace, path("vca.toml"))) {
        std::filesystem::create_directories(file_.folder);
        // The reset lies twelve hours off.
        const host::TimeZone zone(file_.time_zone.value);
        const std::string now = zone.text(host::utc_now_us()).substr(11, 2);
        file_.areas[0].reset.value = std::stoi(now) < 12 ? "18:00" : "06:00";
    }
    void cross(const std::string& camera, int direction) const {
        host::StoreSetup setup = this->setup();
        setup.path = host::database_of(file_, camera);
        setup.device = camera;
        Store store(setup);
        store.commit(test::batch_of({crossing(host::utc_now_us(), "door", direction)}));
    }
    // What the place was told of, as soon as there are so many events.
    std::vector<std::string> told(std::size_t count) const {
        std::vector<std::string> list;
        for (int i = 0; i < 6000; ++i) {
            list.clear();
            try {
                for (const host::ToldEvent& event :
                     host::StoreReader(host::place_database(file_)).events_after({}, 100)) {
                    const auto json = nlohmann::json::parse(event.json);
                    list.push_back(event.place + (json["full"] == true ? " full " : " free ") +
                                   std::to_string(event.people));
                }
            } catch (const host::InputError&) {  // it is being made
            }
            if (list.size() >= count) return list;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return list;
    }
    host::ServiceFile file_;
};

TEST_F(Areas, BecomeFullByAllTheirDoors) {
    cross("door", 1);
    const host::AreaWatch watch(file_, quiet);
    cross("back", 2);
    EXPECT_THAT(told(1), ElementsAre("hall full 2"));
    cross("door", 2);
    EXPECT_THAT(told(2), ElementsAre("hall full 2", "hall free 1"));
}

TEST_F(Areas, AreNotToldTwiceByAServiceThatBeginsAgain) {
    cross("door", 1);
    cross("back", 2);
    {
        const host::AreaWatch watch(file_, quiet);
        EXPECT_THAT(told(1), ElementsAre("hall full 2"));
    }
    cross("door", 1);
    const host::AreaWatch watch(file_, quiet);
    cross("back", 1);
    cross("back", 1);
    EXPECT_THAT(told(2), ElementsAre("hall full 2", "hall free 1"));
}

TEST_F(Areas, TakeOverAnotherCapacity) {
    cross("door", 1);
    host::AreaWatch watch(file_, quiet);
    file_.areas[0].capacity = 1;
    watch.change(file_);
    EXPECT_THAT(told(1), ElementsAre("hall full 1"));
}

class AreaResets : public Areas {
  protected:
    AreaResets() { file_.areas[0].capacity.reset(); }

    host::AreaBalance balance() const {
        std::vector<host::StoreReader> stores;
        for (const std::string& path : host::area_databases(file_))
            if (std::filesystem::exists(path)) stores.emplace_back(path);
        return host::area_balance(stores, host::areas_of(file_).at(0), zone_, host::utc_now_us());
    }
    // How many were inside at the end of this hour, as a history tells.
    std::int64_t history() const {
        std::vector<host::HistoryReader> stores;
        for (const std::string& path : host::area_databases(file_))
            stores.emplace_back(path);
        const std::int64_t now_us = host::utc_now_us();
        host::HistorySpan hour;
        hour.span = {now_us - host::kHour_us, now_us + 1};
        hour.counted = {hour.span};
        return host::area_history(stores, host::areas_of(file_).at(0), zone_, {hour}, now_us + 1)
            .at(0)
            .value()
            .at_end;
    }
    bool until(const std::function<bool()>& condition) const {
        for (int i = 0; i < 12000; ++i) {
            if (condition()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
    std::vector<std::int64_t> resets() const {
        std::vector<std::int64_t> list;
        try {
            for (const host::ToldEvent& event :
                 host::StoreReader(host::place_database(file_)).events_after({}, 100))
                if (event.kind == "reset" && event.place == "hall") list.push_back(event.people);
        } catch (const host::InputError&) {  // it is being made
        }
        return list;
    }

    const host::TimeZone zone_{file_.time_zone.value};
};

TEST_F(AreaResets, RemoveTheBalanceAndNoCount) {
    cross("door", 1);
    cross("back", 2);
    std::vector<std::string> said;
    std::mutex mutex;
    {
        host::AreaWatch watch(file_,
                              [&](host::LogLevel, const std::string&, const std::string& sentence) {
                                  const std::lock_guard lock(mutex);
                                  said.push_back(sentence);
                              });
        EXPECT_EQ(balance().inside(), 2);
        watch.reset("hall");
        watch.reset("yard");
        ASSERT_TRUE(until([this] { return resets().size() == 1; }));
        EXPECT_THAT(resets(), ElementsAre(2));
        EXPECT_EQ(balance().inside(), 0);
        EXPECT_EQ(balance().in, 2) << "what was counted stays";
        EXPECT_EQ(balance().removed, 2);
        EXPECT_EQ(history(), 0);
        // Uncounted ones leave: the balance is below nobody until it is reset once more.
        cross("door", 2);
        EXPECT_EQ(balance().inside(), 0);
        watch.reset("hall");
        ASSERT_TRUE(until([this] { return resets().size() == 2; }));
        EXPECT_EQ(resets()[1], -1);
        cross("door", 1);
        EXPECT_EQ(balance().inside(), 1);
        EXPECT_EQ(history(), 1);
    }
    EXPECT_THAT(said, ElementsAre(::testing::HasSubstr("its balance was 2"),
                                  ::testing::HasSubstr("its balance was -1")));
}

TEST_F(AreaResets, AreNotWrittenWhereNobodyIsInside) {
    cross("door", 1);
    host::AreaWatch watch(file_, quiet);
    for (int i = 0; i < 50; ++i) {
        watch.reset("hall");
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ASSERT_TRUE(until([this] { return !resets().empty(); }));
    EXPECT_THAT(resets(), ElementsAre(1)) << "many wishes are one";
}

TEST_F(Areas, OfAPlaceWithoutCapacitiesAreNotFollowed) {
    file_.areas[0].capacity.reset();
    { const host::AreaWatch watch(file_, quiet); }
    EXPECT_FALSE(std::filesystem::exists(host::place_database(file_)));
}

}  // namespace
