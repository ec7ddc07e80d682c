// Settings that change while a camera counts: what the database has of them.
#include "host/store/settings_history.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/base/input_error.h"
#include "host/store/store_writer.h"
#include "tests/host/store/store_folder.h"

namespace {

using test::kMonday_us;

class SettingsHistory : public test::StoreFolder {
  protected:
    host::StoreSetup first() const {
        host::StoreSetup setup = this->setup();
        setup.settings = "one";
        setup.author = "file";
        return setup;
    }
    static host::Batch changed(const std::string& text) {
        host::Batch batch;
        batch.settings.push_back({{"door", "back"}, {}, text, "page", kMonday_us});
        batch.watched_minutes = {host::minute_of(kMonday_us)};
        batch.events = {test::crossing(kMonday_us, "back")};
        return batch;
    }
    static std::vector<std::string> texts(const std::vector<host::SettingsVersion>& versions) {
        std::vector<std::string> list;
        for (const host::SettingsVersion& version : versions)
            list.push_back(version.text);
        return list;
    }
};

TEST_F(SettingsHistory, HasEachVersionWithTimeAuthorAndText) {
    host::Store(first()).commit(changed("two"));
    const auto versions = host::settings_history(path());
    ASSERT_EQ(versions.size(), 2U);
    EXPECT_EQ(versions[0].text, "one");
    EXPECT_EQ(versions[0].author, "file");
    EXPECT_EQ(versions[1].text, "two");
    EXPECT_EQ(versions[1].author, "page");
    EXPECT_EQ(versions[1].applied_us, kMonday_us);
    EXPECT_GT(versions[1].number, versions[0].number);
    EXPECT_EQ(host::newest_settings(path())->text, "two");
}

TEST_F(SettingsHistory, NewLinesAreWatchedFromThenOn) {
    host::Store(first()).commit(changed("two"));
    EXPECT_EQ(integer("SELECT count(*) FROM minutes JOIN places ON places.id = place WHERE "
                      "name = 'back'"),
              2);
    EXPECT_EQ(integer("SELECT sum(adult) FROM totals"), 1);
}

TEST_F(SettingsHistory, LinesAloneAreNoVersion) {
    host::Store(first()).commit(changed(""));
    EXPECT_EQ(host::settings_history(path()).size(), 1U);
}

TEST_F(SettingsHistory, AWriterThatOpensItsDatabaseAgainHasTheNewestOnes) {
    host::StoreWriterSetup setup;
    setup.store = first();
    setup.gather = std::chrono::milliseconds(0);
    {
        host::StoreWriter writer(setup);
        writer.add(changed("two"));
        writer.finish();
    }
    EXPECT_THAT(texts(host::settings_history(path())), ::testing::ElementsAre("one", "two"));
    setup.store.settings = "two";
    {
        host::StoreWriter writer(setup);
        writer.finish();
    }
    EXPECT_THAT(texts(host::settings_history(path())), ::testing::ElementsAre("one", "two"));
}

TEST_F(SettingsHistory, NeedsADatabaseOfCounts) {
    EXPECT_THROW(host::settings_history(path("gone.db")), host::InputError);
    EXPECT_FALSE(host::newest_settings(path("gone.db")).has_value());
    { const host::Store store(setup()); }
    EXPECT_FALSE(host::newest_settings(path()).has_value());
    {
        host::Database(path("other.db"), host::Database::Access::kCreate, 50)
            .execute("CREATE TABLE a (b)");
    }
    EXPECT_THROW(host::settings_history(path("other.db")), host::InputError);
}

}  // namespace
