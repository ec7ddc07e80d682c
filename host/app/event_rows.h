// Events of a database as rows of a table.
#pragma once

#include <vector>

#include "host/store/result_table.h"
#include "host/store/store_reader.h"

namespace host {

// The columns of an event, and its row.
ResultTable event_table();
std::vector<ResultTable::Cell> event_row(const ToldEvent& event, const TimeZone& zone);

}  // namespace host
