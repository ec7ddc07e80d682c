// Statements, faults and the steps between versions of the tables.
#include "host/store/database.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <fstream>

#include "host/store/epoch.h"
#include "host/store/schema.h"
#include "tests/host/store/store_folder.h"

namespace {

using host::Database;
using host::StoreError;
using host::StoreFault;
using ::testing::HasSubstr;

class DatabaseFile : public test::StoreFolder {
  protected:
    Database open(Database::Access access = Database::Access::kCreate) const {
        return Database(path(), access, 20);
    }
    static StoreFault fault_of(const std::function<void()>& call) {
        try {
            call();
        } catch (const StoreError& error) {
            return error.fault;
        }
        ADD_FAILURE() << "nothing was thrown";
        return StoreFault::kOther;
    }
};

TEST_F(DatabaseFile, KeepsWhatIsBound) {
    const Database db = open();
    db.execute("CREATE TABLE t (a INTEGER, b TEXT, c BLOB, d INTEGER) STRICT");
    const host::Blob bytes{1, 0, 255};
    db.prepare("INSERT INTO t VALUES (?1, ?2, ?3, ?4)")
        .run(INT64_MIN, std::string("with\0 zero", 10), bytes, std::optional<int>());
    host::Statement row = db.prepare("SELECT a, b, c, d FROM t");
    ASSERT_TRUE(row.step());
    EXPECT_EQ(row.integer(0), INT64_MIN);
    EXPECT_EQ(row.text(1), std::string("with\0 zero", 10));
    EXPECT_EQ(row.blob(2), bytes);
    EXPECT_TRUE(row.is_null(3));
    EXPECT_EQ(row.name(2), "c");
    EXPECT_FALSE(row.step());
}

TEST_F(DatabaseFile, RollsBackWhatIsNotCommitted) {
    Database db = open();
    db.execute("CREATE TABLE t (a INTEGER) STRICT");
    {
        host::Transaction lost(db);
        db.execute("INSERT INTO t VALUES (1)");
    }
    host::Transaction kept(db);
    db.execute("INSERT INTO t VALUES (2)");
    kept.commit();
    EXPECT_EQ(db.integer("SELECT sum(a) FROM t"), 2);
}

TEST_F(DatabaseFile, TellsFaultsApart) {
    Database db = open();
    db.execute("CREATE TABLE t (a INTEGER) STRICT");
    Database other = open();
    {
        const host::Transaction writing(db);
        EXPECT_EQ(fault_of([&] { host::Transaction second(other); }), StoreFault::kBusy);
    }
    db.execute("PRAGMA max_page_count = 3");
    EXPECT_EQ(fault_of([&] {
                  for (int i = 0; i < 100; ++i)
                      db.execute("CREATE TABLE t" + std::to_string(i) + " (a INTEGER) STRICT");
              }),
              StoreFault::kFull);
    const Database reader = open(Database::Access::kRead);
    EXPECT_EQ(fault_of([&] { reader.execute("INSERT INTO t VALUES (1)"); }), StoreFault::kReadOnly);
    EXPECT_EQ(fault_of([] { Database("/nonexistent/a.db", Database::Access::kRead, 20); }),
              StoreFault::kReadOnly);
    std::ofstream(path("text.db")) << std::string(5000, 'x');
    const Database text(path("text.db"), Database::Access::kWrite, 20);
    EXPECT_EQ(fault_of([&] { text.integer("SELECT count(*) FROM sqlite_schema"); }),
              StoreFault::kDamaged);
    EXPECT_EQ(fault_of([&] { db.execute("INSERT INTO t VALUES ('text')"); }), StoreFault::kOther);
}

TEST_F(DatabaseFile, EpochsDiffer) {
    const std::string epoch = host::new_epoch();
    EXPECT_THAT(epoch, ::testing::MatchesRegex("[0-9a-f]{16}"));
    EXPECT_NE(epoch, host::new_epoch());
}

TEST_F(DatabaseFile, ComesFromAnEmptyOneToThisVersion) {
    Database db = open();
    host::migrate(db);
    EXPECT_EQ(host::schema_version(db), host::kSchemaVersion);
    const std::int64_t tables = db.integer("SELECT count(*) FROM sqlite_schema");
    host::migrate(db);
    EXPECT_EQ(db.integer("SELECT count(*) FROM sqlite_schema"), tables);
    // Every view can be read.
    for (const char* view :
         {"crossings", "crossings_by_hour", "crossings_by_day", "regions_by_hour"})
        EXPECT_EQ(db.integer(std::string("SELECT count(*) FROM ") + view), 0);
}

// Every table and view and every column of an event is explained on the page about the database.
TEST_F(DatabaseFile, IsDocumented) {
    std::ifstream file(VCA_DATABASE_PAGE);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    Database db = open();
    host::migrate(db);
    host::Statement row = db.prepare(
        "SELECT name FROM sqlite_schema WHERE type IN ('table', 'view') AND name NOT LIKE "
        "'sqlite_%' UNION SELECT c.name FROM sqlite_schema t JOIN pragma_table_info(t.name) c "
        "WHERE t.name = 'events'");
    int names = 0;
    for (; row.step(); ++names)
        EXPECT_THAT(page, HasSubstr("`" + row.text(0) + "`"));
    EXPECT_GT(names, 20);
}

// As later versions will do it: what is in the tables stays.
TEST_F(DatabaseFile, StepsKeepWhatThereIs) {
    constexpr std::array<const char*, 3> kSteps{
        "CREATE TABLE t (a INTEGER NOT NULL) STRICT",
        "ALTER TABLE t ADD COLUMN b INTEGER NOT NULL DEFAULT 5",
        "UPDATE t SET b = b + a",
    };
    Database db = open();
    const std::span<const char* const> all = kSteps;
    for (std::size_t from = 1; from <= 2; ++from) {
        db.execute("DROP TABLE IF EXISTS t; PRAGMA user_version = 0");
        host::migrate(db, all.first(from));
        db.execute("INSERT INTO t (a) VALUES (2)");
        EXPECT_EQ(host::schema_version(db), static_cast<int>(from));
        host::migrate(db, all);
        EXPECT_EQ(host::schema_version(db), 3);
        EXPECT_EQ(db.integer("SELECT b FROM t"), 7) << "from version " << from;
    }
}

TEST_F(DatabaseFile, AStepThatFailsChangesNothing) {
    constexpr std::array<const char*, 3> kSteps{"CREATE TABLE t (a INTEGER) STRICT",
                                                "CREATE TABLE u (a INTEGER) STRICT",
                                                "CREATE TABLE t (a INTEGER) STRICT"};
    Database db = open();
    const std::span<const char* const> all = kSteps;
    host::migrate(db, all.first(1));
    EXPECT_THROW(host::migrate(db, all), StoreError);
    EXPECT_EQ(host::schema_version(db), 1);
    EXPECT_EQ(db.integer("SELECT count(*) FROM sqlite_schema"), 1);
}

TEST_F(DatabaseFile, RefusesOthers) {
    Database db = open();
    host::migrate(db);
    db.execute("PRAGMA user_version = 99");
    try {
        host::migrate(db);
        ADD_FAILURE() << "a later version was taken";
    } catch (const host::ForeignDatabase& error) {
        EXPECT_THAT(error.what(), HasSubstr("has version 99"));
    }
    db.execute("PRAGMA application_id = 1; PRAGMA user_version = 1");
    EXPECT_THROW(host::migrate(db), host::ForeignDatabase);
}

}  // namespace
