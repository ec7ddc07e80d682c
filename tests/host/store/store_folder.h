// A folder of the test's own for databases, and records to put into them.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "host/store/store.h"
#include "tests/support/unique_path.h"

namespace test {

// 2026-03-02 08:00 UTC, a Monday.
inline constexpr std::int64_t kMonday_us = 1772438400LL * 1'000'000;

inline host::StoredEvent crossing(std::int64_t time_us, const std::string& line = "door",
                                  int direction = 1,
                                  host::PersonKind person = host::PersonKind::kAdult) {
    host::StoredEvent event;
    event.time_us = time_us;
    event.place = line;
    event.direction = direction;
    event.track = 7;
    event.person = person;
    event.json = R"({"message":"person_counted"})";
    return event;
}

inline host::Batch batch_of(std::vector<host::StoredEvent> events) {
    host::Batch batch;
    batch.events = std::move(events);
    return batch;
}

class StoreFolder : public ::testing::Test {
  protected:
    StoreFolder() : folder_(unique_path("vca-store-test")) {
        std::filesystem::create_directories(folder_);
    }
    ~StoreFolder() override { std::filesystem::remove_all(folder_); }

    std::string path(const std::string& name = "entrance.db") const {
        return (folder_ / name).string();
    }
    host::StoreSetup setup(const std::string& name = "entrance.db") const {
        host::StoreSetup setup;
        setup.path = path(name);
        setup.device = "entrance";
        setup.lines = {"door"};
        setup.regions = {"till"};
        setup.busy_ms = 50;
        return setup;
    }
    std::int64_t integer(const std::string& sql, const std::string& name = "entrance.db") const {
        return host::Database(path(name), host::Database::Access::kRead, 50).integer(sql);
    }
    std::string text(const std::string& sql, const std::string& name = "entrance.db") const {
        return host::Database(path(name), host::Database::Access::kRead, 50).text(sql);
    }

    std::filesystem::path folder_;
};

}  // namespace test
