// What the commands that read a database are asked for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/base/placed.h"
#include "host/settings/retention_options.h"

namespace host {

enum class CountsBy { kLine, kHour, kKind };
enum class TextForm { kTable, kCsv, kJson, kJsonLines };

// A line through which people come in.
struct Entrance {
    std::string line;
    int direction = 1;  // of those who come in
};

struct CountsOptions {
    std::vector<std::string> stores;
    std::string place_file;  // says which databases, entrances, areas and hours; else empty
    CountsBy by = CountsBy::kLine;
    TextForm form = TextForm::kTable;
    std::string date;       // local day; empty: today
    std::string time_zone;  // empty: the machine's
    std::vector<Entrance> entrances;
    bool groups_as_one = false;
    bool visitors = false;                  // those who come in through the entrances
    std::vector<Placed<std::string>> open;  // opening hours, local; empty: all the time
    bool follow = false;
    std::string after;    // EPOCH:SEQUENCE, or 0 for the beginning; empty: from now on
    bool inside = false;  // how many people are inside now
    std::string area;     // its name; empty: all of the place's file
    std::string reset;    // local time at which nobody is inside
    std::optional<int> capacity;
};

struct ExportOptions {
    std::vector<std::string> stores;
    std::string place_file;  // says which databases; else empty
    std::string from;        // local days, both included
    std::string to;
    std::string time_zone;
    TextForm form = TextForm::kCsv;
};

struct BackupOptions {
    std::string store;
    std::string output;  // empty: beside the database
};

struct RestoreOptions {
    std::string backup;
    std::string store;
    bool replace = false;  // what is there is kept under another name
};

struct CorrectOptions {
    std::string store;
    std::string area;
    int people = 0;  // to be added; negative for too many
    std::string who;
    std::string why;
};

// How well everything is; of a service that runs, or as the databases tell.
struct StatusOptions {
    std::vector<std::string> stores;
    std::string place_file;  // says which databases; else empty
    std::string url;         // of the service; empty: none
    std::string ca_file;     // PEM, of whoever signed its certificate; empty: the system's
    TextForm form = TextForm::kTable;
};

struct PruneOptions {
    std::vector<std::string> stores;
    Retention keep;
};

}  // namespace host
