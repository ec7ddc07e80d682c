// The tables of a database, and how older ones are brought to this form.
#pragma once

#include <span>
#include <stdexcept>

#include "host/store/database.h"

namespace host {

inline constexpr int kSchemaVersion = 2;

// In the header of a file, "vca" and a running number, so that other programs can tell what it is.
inline constexpr int kCountsApplication = 0x76636101;
inline constexpr int kServiceApplication = 0x76636102;

// A database that a later program or another one has made; neither must be touched.
struct ForeignDatabase : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Makes the tables of an empty database and brings an older one up to this version, step by step in
// one transaction. Throws ForeignDatabase and StoreError.
void migrate(Database& database);

// The same with these steps; the one at index n leads from version n to n + 1.
void migrate(Database& database, std::span<const char* const> steps,
             int application = kCountsApplication);

// For those who only read: throws ForeignDatabase for one of another version or program.
void check_schema(const Database& database);

// The version of a database; 0 for an empty one.
int schema_version(const Database& database);

}  // namespace host
