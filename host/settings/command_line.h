// The command line of the program.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/settings/audit_options.h"
#include "host/settings/record_options.h"
#include "host/settings/run_options.h"
#include "host/settings/site_options.h"
#include "host/settings/store_options.h"

namespace host {

enum class Command {
    kRun,
    kRecord,
    kScenes,
    kText,
    kSite,
    kSiteDevice,
    kCheck,
    kCameraCheck,
    kWhy,
    kCounts,
    kExport,
    kBackup,
    kRestore,
    kCorrect,
    kPrune,
    kStatus,
    kAudit,
    kCompare,
    kWhatIf,
    kServe,
    kSettings,
    kResetUser,
    kCameraProcess
};

// The command that the service starts for each camera; people never write it.
inline constexpr const char* kCameraProcessCommand = "camera-process";

struct ServeOptions {
    std::string file;  // of the place
};

// What is asked about the settings of a camera of a place.
struct SettingsOptions {
    enum class Action { kHistory, kRestore, kSchema };
    Action action = Action::kHistory;
    std::string file;  // of the place
    std::string camera;
    std::optional<std::int64_t> version;  // kRestore has one
};

// Who has lost the password of the page.
struct ResetUserOptions {
    std::string file;  // of the place
    std::string name;
};

// A user's file to be checked.
struct CheckOptions {
    std::string file;
    std::string output;    // folder for a site's plan; empty: the file's own
    bool as_site = false;  // regardless of its contents
};

// A camera to be looked at; no output: no picture.
struct CameraCheckOptions {
    RunOptions run;
    std::optional<double> person_mm;  // height of somebody who walks through
};

// Whose story is told.
struct WhyOptions {
    std::string folder;               // results of a run
    std::optional<int> track;         // the whole story of this one
    std::optional<double> time_s;     // who was seen around then
    std::optional<std::string> line;  // who came to this line and was not counted on it
};

struct CommandLine {
    Command command = Command::kText;
    RunOptions run;
    RecordOptions record;
    SiteOptions site;  // of kSite and kSiteDevice
    CheckOptions check;
    CameraCheckOptions camera_check;
    WhyOptions why;
    CountsOptions counts;
    ExportOptions exported;
    BackupOptions backup;
    RestoreOptions restore;
    CorrectOptions correct;
    PruneOptions prune;
    StatusOptions status;
    AuditOptions audit;
    CompareOptions compare;
    WhatIfOptions what_if;
    ServeOptions serve;
    SettingsOptions settings;
    ResetUserOptions reset_user;
    std::string text;  // help or version, when that was asked for
};

// Throws InputError for anything that cannot be understood.
CommandLine parse_command_line(int argc, const char* const* argv);

}  // namespace host
