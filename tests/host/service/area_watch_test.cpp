// Events of areas that become full, by the crossings of two cameras.
#include "host/service/area_watch.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <thread>

#include "host/base/utc.h"
#include "host/service/place.h"
#include "tests/host/store/store_folder.h"

namespace {

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
    const host::AreaWatch watch(file_, [](const std::string&) {});
    cross("back", 2);
    EXPECT_THAT(told(1), ElementsAre("hall full 2"));
    cross("door", 2);
    EXPECT_THAT(told(2), ElementsAre("hall full 2", "hall free 1"));
}

TEST_F(Areas, AreNotToldTwiceByAServiceThatBeginsAgain) {
    cross("door", 1);
    cross("back", 2);
    {
        const host::AreaWatch watch(file_, [](const std::string&) {});
        EXPECT_THAT(told(1), ElementsAre("hall full 2"));
    }
    cross("door", 1);
    const host::AreaWatch watch(file_, [](const std::string&) {});
    cross("back", 1);
    cross("back", 1);
    EXPECT_THAT(told(2), ElementsAre("hall full 2", "hall free 1"));
}

TEST_F(Areas, TakeOverAnotherCapacity) {
    cross("door", 1);
    host::AreaWatch watch(file_, [](const std::string&) {});
    file_.areas[0].capacity = 1;
    watch.change(file_);
    EXPECT_THAT(told(1), ElementsAre("hall full 1"));
}

TEST_F(Areas, OfAPlaceWithoutCapacitiesAreNotFollowed) {
    file_.areas[0].capacity.reset();
    {
        const host::AreaWatch watch(file_, [](const std::string&) {});
    }
    EXPECT_FALSE(std::filesystem::exists(host::place_database(file_)));
}

}  // namespace
