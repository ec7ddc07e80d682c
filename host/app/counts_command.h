// Counts of a local day.
#pragma once

#include <atomic>
#include <string>

#include "host/settings/store_options.h"
#include "host/store/result_table.h"
#include "host/store/store_reader.h"

namespace host {

// What the command prints for a moment, in microseconds since 1970. Throws InputError.
std::string counts_text(const CountsOptions& options, std::int64_t now_us);

// Prints the events as they become safe, until `stop` turns true. Throws InputError, and
// std::runtime_error when standard output takes no more.
void follow_counts(const CountsOptions& options, const std::atomic<bool>& stop);

// The columns of an event, and its row.
ResultTable event_table();
std::vector<ResultTable::Cell> event_row(const ToldEvent& event, const TimeZone& zone);

}  // namespace host
