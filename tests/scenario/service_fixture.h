// A place in a folder of the test's own, and the service that runs it.
#pragma once

#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/base/utc.h"
#include "host/store/database.h"
#include "host/store/store.h"
#include "tests/support/program.h"

namespace test {

// A process that was started by another one, by the files that the system keeps about it.
struct Process {
    pid_t id = 0;
    pid_t parent = 0;
    char state = '?';
    bool counts = false;  // it is the process of a camera
};

inline std::vector<Process> processes() {
    std::vector<Process> list;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const std::string name = entry.path().filename().string();
        Process process;
        if (std::from_chars(name.data(), name.data() + name.size(), process.id).ec != std::errc{})
            continue;
        const std::string stat = read_file(entry.path() / "stat");
        const std::size_t end = stat.rfind(')');
        if (end == std::string::npos) continue;
        process.state = stat[end + 2];
        process.parent = std::atoi(stat.c_str() + end + 4);
        process.counts =
            read_file(entry.path() / "cmdline").find("camera-process") != std::string::npos;
        list.push_back(process);
    }
    return list;
}

class Service : public Program {
  protected:
    ~Service() override {
        if (service_ > 0) stop();
    }

    // The test's own process is that of a shell, which becomes the service.
    void start(const std::string& more = "") {
        service_ = start_vca("serve --config vca.toml " + more);
    }
    int stop() {
        ::kill(service_, SIGTERM);
        return end_of(std::exchange(service_, 0));
    }

    std::set<pid_t> cameras() const {
        std::set<pid_t> ids;
        for (const Process& process : processes())
            if (process.parent == service_ && process.counts && process.state != 'Z')
                ids.insert(process.id);
        return ids;
    }
    static bool is_there(pid_t id) {
        const std::vector<Process> all = processes();
        return std::any_of(all.begin(), all.end(), [id](const Process& process) {
            return process.id == id && process.state != 'Z';
        });
    }

    std::string database(const std::string& camera) const {
        return (work_ / "store" / (camera + ".db")).string();
    }
    // 0 for a database that is not there yet.
    std::int64_t number(const std::string& camera, const std::string& sql) const {
        try {
            return host::Database(database(camera), host::Database::Access::kRead, 5000)
                .integer(sql);
        } catch (const host::StoreError&) {
            return 0;
        }
    }
    // What the camera "door" had counted before the service was started.
    void count(int events) const {
        host::StoreSetup setup;
        setup.path = database("door");
        setup.device = "door";
        setup.lines = {"door"};
        host::Store store(setup);
        host::Batch batch;
        for (int i = 0; i < events; ++i) {
            host::StoredEvent event;
            event.time_us = host::utc_now_us();
            event.place = "door";
            event.direction = 1 + i % 2;
            event.person = host::PersonKind::kAdult;
            event.json = "{}";
            batch.events.push_back(event);
        }
        store.commit(batch);
        store.close();
    }
    // The number of its newest event.
    std::int64_t counted() const { return number("door", "SELECT max(sequence) FROM events"); }
    std::int64_t crossings(const std::string& camera) const {
        return number(camera, "SELECT count(*) FROM events WHERE kind = 'crossing'");
    }
    // Totals, minutes and events are the same, and no number is missing or there twice.
    void expect_exact(const std::string& camera) const {
        const std::int64_t count = crossings(camera);
        EXPECT_EQ(number(camera, "SELECT sum(adult + child + staff) FROM totals"), count);
        EXPECT_EQ(number(camera, "SELECT sum(adult + child + staff) FROM minutes"), count);
        EXPECT_EQ(number(camera, "SELECT max(sequence) - count(*) FROM events"), 0);
    }

    pid_t service_ = 0;
};

}  // namespace test
