// What each command does, and how its faults are told.
#include "host/app/store_commands.h"

#include <cstdio>

#include "host/app/counts_command.h"
#include "host/app/event_rows.h"
#include "host/app/follow_counts.h"
#include "host/app/place_stores.h"
#include "host/app/status_command.h"
#include "host/base/exit_status.h"
#include "host/base/input_error.h"
#include "host/base/text.h"
#include "host/base/utc.h"
#include "host/report/output_folder.h"
#include "host/store/backup.h"
#include "host/store/recovery.h"
#include "host/store/retention.h"

namespace host {
namespace {

// Ends in the middle of what could be any day.
constexpr TimeSpan kEver{INT64_MIN / 4, INT64_MAX / 4};

TimeSpan export_span(const ExportOptions& options, const TimeZone& zone) {
    TimeSpan span = kEver;
    if (!options.from.empty()) span.from_us = zone.day(parse_date(options.from, "--from")).from_us;
    if (!options.to.empty()) span.to_us = zone.day(parse_date(options.to, "--to")).to_us;
    if (span.from_us < span.to_us) return span;
    throw InputError("--to is before --from; write the first day and the last one");
}

void write_export(const ExportOptions& options) {
    const GivenStores given = given_stores(options.stores, options.place_file, options.time_zone);
    const TimeZone zone(given.time_zone);
    const TimeSpan span = export_span(options, zone);
    ResultTable table = event_table();
    const bool csv = options.form == TextForm::kCsv;
    if (csv) write_text(stdout, as_csv(table));
    for (const std::string& path : given.stores) {
        StoreReader(path).events_in(span, [&](const ToldEvent& event) {
            table.rows.assign(1, event_row(event, zone));
            write_text(stdout, csv ? csv_line(table.rows.front()) : json_line(table, 0) + "\n");
        });
    }
}

std::string back_up_text(const BackupOptions& options) {
    const std::string copy = options.output.empty()
                                 ? beside(options.store, utc_now_us(), kBackupEnding)
                                 : options.output;
    back_up(options.store, copy);
    return "copied to " + visible(copy) + "\n";
}

std::string restore_text(const RestoreOptions& options) {
    const std::string before =
        restore(options.backup, options.store, options.replace, utc_now_us());
    std::string text = "restored " + visible(options.store) + "\n";
    if (!before.empty()) text += "the one before is kept as " + visible(before) + "\n";
    return text;
}

std::string prune_text(const PruneOptions& options) {
    std::string text;
    for (const std::string& path : options.stores) {
        // A file that is no database is told as such, and not written to.
        const StoreReader known(path);
        const Pruned pruned = prune(path, options.keep, utc_now_us());
        text += "removed " + std::to_string(pruned.rows) + " rows of " + visible(path) + "\n";
        for (const std::string& lost : pruned.lost)
            text += lost + "\n";
    }
    return text;
}

void run_store_command(const CommandLine& command, const std::atomic<bool>& stop) {
    switch (command.command) {
        case Command::kCounts:
            if (command.counts.follow) return follow_counts(command.counts, stop);
            return write_text(stdout, counts_text(command.counts, utc_now_us()));
        case Command::kExport:
            return write_export(command.exported);
        case Command::kBackup:
            return write_text(stdout, back_up_text(command.backup));
        case Command::kRestore:
            return write_text(stdout, restore_text(command.restore));
        case Command::kPrune:
            return write_text(stdout, prune_text(command.prune));
        default: {
            const CorrectOptions& c = command.correct;
            correct(c.store, c.area, c.people, c.who, c.why, utc_now_us());
        }
    }
}

}  // namespace

int store_command(const CommandLine& command, const std::atomic<bool>& stop) {
    if (command.command == Command::kStatus) return status_command(command.status);
    try {
        run_store_command(command, stop);
    } catch (const StoreError& error) {
        throw std::runtime_error(std::string("the database: ") + error.what());
    }
    return kExitOk;
}

}  // namespace host
