// Users, sessions and tokens in the service's database.
#include "host/web/accounts.h"

#include <sys/stat.h>

#include <fstream>
#include <thread>

#include "host/store/schema.h"
#include "host/web/api_answer.h"
#include "tests/host/web/account_fixture.h"

namespace {

using host::Accounts;
using host::ApiError;
using host::Caller;
using host::Role;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

class AccountsTest : public test::AccountFolder {
  protected:
    AccountsTest() { add("admin", Role::kAdmin); }

    Role role_of(const std::string& session) const {
        return accounts_->of_session(session).value_or(Caller{}).role;
    }
    static int refused(const std::function<void()>& call) {
        try {
            call();
        } catch (const ApiError& error) {
            return error.status();
        }
        return 0;
    }
    // Everything that the folder's files hold.
    std::string bytes() const {
        std::string all;
        for (const auto& file : std::filesystem::directory_iterator(folder_)) {
            std::ifstream in(file.path(), std::ios::binary);
            all.append(std::istreambuf_iterator<char>(in), {});
        }
        return all;
    }
};

TEST_F(AccountsTest, WhoKnowsThePasswordGetsASession) {
    const host::LoginResult result = accounts_->log_in("admin", kPassword, "192.0.2.1");
    EXPECT_THAT(result.session, MatchesRegex("[-_A-Za-z0-9]{43}"));
    EXPECT_EQ(result.caller.name, "admin");
    EXPECT_EQ(role_of(result.session), Role::kAdmin);
    EXPECT_NE(session("admin"), result.session);
    EXPECT_EQ(session("admin", "a bad password"), "");
    EXPECT_EQ(session("nobody"), "");
    EXPECT_EQ(role_of(""), Role::kNobody);
    EXPECT_EQ(role_of(result.session + "x"), Role::kNobody);
}

TEST_F(AccountsTest, ASessionThatIsNotUsedEnds) {
    const std::string id = session("admin");
    for (int i = 0; i < 20; ++i) {
        now_us_ += Accounts::kSessionIdle_us - 1;
        EXPECT_EQ(role_of(id), Role::kAdmin) << i;
    }
    now_us_ += Accounts::kSessionIdle_us + 1;
    EXPECT_EQ(role_of(id), Role::kNobody);
}

TEST_F(AccountsTest, ASessionEndsHoweverMuchItIsUsed) {
    const std::string id = session("admin");
    const std::int64_t end_us = now_us_ + Accounts::kSessionLife_us;
    for (; now_us_ <= end_us; now_us_ += Accounts::kHour_us)
        EXPECT_EQ(role_of(id), Role::kAdmin);
    EXPECT_EQ(role_of(id), Role::kNobody);
    session("admin");
    EXPECT_EQ(integer("SELECT count(*) FROM sessions", "service.db"), 1) << "the old one is gone";
}

TEST_F(AccountsTest, ARestartKeepsSessionsAndWhenTheyWereUsed) {
    const std::string id = session("admin");
    now_us_ += Accounts::kSessionIdle_us - 1;
    EXPECT_EQ(role_of(id), Role::kAdmin);
    open();
    now_us_ += Accounts::kSessionIdle_us - 1;
    EXPECT_EQ(role_of(id), Role::kAdmin);
}

TEST_F(AccountsTest, ASessionEndsWithLogoutRemovalRoleAndPassword) {
    add("anna", Role::kViewer);
    std::string id = session("anna");
    accounts_->log_out(id);
    EXPECT_EQ(role_of(id), Role::kNobody);

    id = session("anna");
    accounts_->change_user("anna", {Role::kOperator, {}});
    EXPECT_EQ(role_of(id), Role::kNobody);
    id = session("anna");
    EXPECT_EQ(role_of(id), Role::kOperator);

    accounts_->change_user("anna", {{}, "another password"});
    EXPECT_EQ(role_of(id), Role::kNobody);
    EXPECT_EQ(session("anna"), "");
    id = session("anna", "another password");
    EXPECT_EQ(role_of(id), Role::kOperator);

    accounts_->remove_user("anna");
    EXPECT_EQ(role_of(id), Role::kNobody);
    EXPECT_EQ(session("anna", "another password"), "");
}

TEST_F(AccountsTest, AnOwnPasswordEndsTheOtherSessions) {
    const std::string mine = session("admin");
    const std::string stolen = session("admin");
    EXPECT_EQ(accounts_->change_own_password("admin", kPassword, "another password", mine, ""), 0);
    EXPECT_EQ(role_of(mine), Role::kAdmin);
    EXPECT_EQ(role_of(stolen), Role::kNobody);
    EXPECT_EQ(session("admin"), "");
}

TEST_F(AccountsTest, PasswordsThatWillNotDoAreRefused) {
    const std::string mine = session("admin");
    const auto change = [&](const std::string& old, const std::string& fresh) {
        return refused(
            [&] { accounts_->change_own_password("admin", old, fresh, mine, "192.0.2.1"); });
    };
    EXPECT_EQ(change("wrong", "another password"), 400);
    EXPECT_EQ(change(kPassword, kPassword), 400) << "the same again";
    EXPECT_EQ(change(kPassword, "nine char"), 400);
    EXPECT_EQ(change(kPassword, std::string(201, 'a')), 400);
    std::string umlauts;
    for (int i = 0; i < 10; ++i)
        umlauts += "\u00e4";
    EXPECT_EQ(change(kPassword, umlauts), 0) << "ten characters";
}

TEST_F(AccountsTest, NamesAreThoseThatCanBeWritten) {
    for (const char* wrong : {"", " anna", "anna ", ".", "..", "an\nna", "an\x7fna", "\xff"})
        EXPECT_EQ(refused([&] { add(wrong, Role::kViewer); }), 400) << wrong;
    EXPECT_EQ(refused([&] { add(std::string(61, 'a'), Role::kViewer); }), 400);
    EXPECT_EQ(refused([&] { add("admin", Role::kViewer); }), 400) << "is there already";
    EXPECT_EQ(refused([&] { add("J\u00f6rg M\u00fcller", Role::kViewer); }), 0);
    EXPECT_THAT(accounts_->users(),
                ElementsAre(Field(&host::UserEntry::name, "J\u00f6rg M\u00fcller"),
                            Field(&host::UserEntry::name, "admin")));
}

TEST_F(AccountsTest, TheLastAdminStays) {
    EXPECT_EQ(refused([&] { accounts_->remove_user("admin"); }), 400);
    EXPECT_EQ(refused([&] { accounts_->change_user("admin", {Role::kViewer, {}}); }), 400);
    EXPECT_EQ(role_of(session("admin")), Role::kAdmin) << "nothing has changed";
    add("second", Role::kAdmin);
    accounts_->remove_user("admin");
    EXPECT_EQ(refused([&] { accounts_->remove_user("second"); }), 400);
    EXPECT_EQ(refused([&] { accounts_->remove_user("admin"); }), 404);
}

TEST_F(AccountsTest, ATokenIsGoodUntilItIsRemoved) {
    const host::MadeToken made = accounts_->add_token("till", Role::kOperator, "admin");
    EXPECT_THAT(made.secret, MatchesRegex("vca_[-_A-Za-z0-9]{43}"));
    const auto caller = accounts_->of_token(made.secret);
    ASSERT_TRUE(caller);
    EXPECT_EQ(caller->role, Role::kOperator);
    EXPECT_EQ(caller->name, "token till");
    EXPECT_EQ(accounts_->tokens().front().used_us, now_us_);
    open();
    EXPECT_EQ(accounts_->tokens().front().used_us, now_us_);
    accounts_->remove_token(made.id);
    EXPECT_FALSE(accounts_->of_token(made.secret));
    EXPECT_TRUE(accounts_->tokens().empty());
}

TEST_F(AccountsTest, ListsHaveAnEnd) {
    for (int i = 0; i < Accounts::kMostTokens; ++i)
        accounts_->add_token("till", Role::kViewer, "admin");
    EXPECT_EQ(refused([&] { accounts_->add_token("till", Role::kViewer, "admin"); }), 400);
    for (int i = 1; i < Accounts::kMostUsers; ++i)
        add("user" + std::to_string(i), Role::kViewer);
    EXPECT_EQ(refused([&] { add("one more", Role::kViewer); }), 400);
    const std::string first = session("admin");
    for (int i = 0; i < Accounts::kMostSessionsOfUser; ++i) {
        now_us_ += 1'000'000;
        EXPECT_NE(session("admin"), "");
    }
    EXPECT_EQ(role_of(first), Role::kNobody) << "the oldest has ended";
}

TEST_F(AccountsTest, WrongPasswordsAreRememberedOverARestart) {
    for (int i = 0; i < host::LoginLimit::kMostOfName; ++i)
        session("admin", "a bad password");
    EXPECT_EQ(accounts_->log_in("admin", kPassword, "192.0.2.9").wait_s, 30);
    open();
    const host::LoginResult result = accounts_->log_in("admin", kPassword, "192.0.2.9");
    EXPECT_EQ(result.session, "");
    EXPECT_EQ(result.wait_s, 30);
    now_us_ += host::LoginLimit::kForgotten_us;
    EXPECT_NE(accounts_->log_in("admin", kPassword, "192.0.2.9").session, "");
}

// The database's own counter of transactions, seen by another connection.
TEST_F(AccountsTest, AFloodOfWrongPasswordsWritesNothingByItself) {
    const host::Database other(path("service.db"), host::Database::Access::kRead, 50);
    const auto transactions = [&] { return other.integer("PRAGMA data_version"); };
    const std::int64_t before = transactions();
    for (int i = 0; i < 300; ++i)
        accounts_->log_in("user" + std::to_string(i), "guess", "198.51.100." + std::to_string(i));
    EXPECT_EQ(transactions(), before);
    accounts_->keep();
    const std::int64_t after = transactions();
    EXPECT_NE(after, before);
    accounts_->keep();
    EXPECT_EQ(transactions(), after) << "nothing new";
    EXPECT_GE(integer("SELECT count(*) FROM login_failures", "service.db"), 500);
    now_us_ += host::LoginLimit::kForgotten_us;
    accounts_->log_in("one more", "guess", "192.0.2.1");
    accounts_->keep();
    EXPECT_LE(integer("SELECT count(*) FROM login_failures", "service.db"), 20)
        << "two, and those that two names or addresses had fallen into";
}

TEST_F(AccountsTest, NoSecretIsInTheFiles) {
    const std::string id = session("admin");
    const std::string token = accounts_->add_token("till", Role::kViewer, "admin").secret;
    accounts_->log_in("typed-in-the-wrong-field", "guess-at-it", "203.0.113.5");
    accounts_->keep();
    const std::string all = bytes();
    EXPECT_THAT(all, HasSubstr("$argon2id$"));
    for (const std::string& secret : {id, token, token.substr(4), std::string(kPassword),
                                      std::string("typed-in-the-wrong-field"),
                                      std::string("guess-at-it"), std::string("203.0.113.5")})
        EXPECT_THAT(all, Not(HasSubstr(secret)));
}

TEST_F(AccountsTest, OnlyItsOwnerReadsTheDatabase) {
    struct stat file {};
    ASSERT_EQ(::stat(path("service.db").c_str(), &file), 0);
    EXPECT_EQ(file.st_mode & 0777u, 0600u);
}

TEST_F(AccountsTest, ADatabaseOfCountsIsLeftAlone) {
    { const host::Store counts(setup()); }
    EXPECT_THROW(Accounts({path(), {1, 8192}}), host::ForeignDatabase);
}

// What is tried at the same time, also by several threads, is looked at in turn.
TEST_F(AccountsTest, ManyAtOnceAreLookedAtInTurn) {
    std::atomic<int> in{0};
    std::atomic<int> later{0};
    std::vector<std::thread> people;
    for (int i = 0; i < 8; ++i) {
        people.emplace_back([&] {
            for (int k = 0; k < 5; ++k) {
                const host::LoginResult result = accounts_->log_in("admin", kPassword, "192.0.2.1");
                in += result.session.empty() ? 0 : 1;
                later += result.wait_s;
            }
        });
    }
    for (std::thread& person : people)
        person.join();
    EXPECT_EQ(in + later, 40) << "let in, or asked to come again in a second";
    EXPECT_GT(in, 0);
}

class FirstStart : public test::AccountFolder {};

TEST_F(FirstStart, TheFirstUserHasANewPasswordUntilOneIsChosen) {
    const std::string first = accounts_->first_password().value();
    EXPECT_THAT(first, MatchesRegex("[a-z0-9]{4}-[a-z0-9]{4}-[a-z0-9]{4}"));
    open();
    const std::string second = accounts_->first_password().value();
    EXPECT_EQ(session("admin", first), "") << "was good until the next start";
    EXPECT_FALSE(accounts_->has_anybody_logged_in());
    const std::string id = session("admin", second);
    EXPECT_TRUE(accounts_->has_anybody_logged_in());
    EXPECT_TRUE(accounts_->of_session(id)->must_change_password);
    EXPECT_EQ(accounts_->change_own_password("admin", second, kPassword, id, ""), 0);
    EXPECT_FALSE(accounts_->of_session(id)->must_change_password);
    EXPECT_EQ(accounts_->first_password(), std::nullopt);
    open();
    EXPECT_EQ(accounts_->first_password(), std::nullopt);
}

TEST_F(FirstStart, ALostPasswordIsReplacedByOneForOnce) {
    accounts_->first_password();
    const std::string lost = session("admin", accounts_->first_password().value());
    const std::string once = accounts_->reset_password("admin");
    EXPECT_FALSE(accounts_->of_session(lost));
    EXPECT_EQ(accounts_->first_password(), std::nullopt) << "the one just made holds";
    EXPECT_TRUE(accounts_->of_session(session("admin", once))->must_change_password);
}

}  // namespace
