// What an administrator does: users and tokens.
#include "host/store/epoch.h"
#include "host/web/account_checks.h"
#include "host/web/accounts.h"
#include "host/web/api_answer.h"

namespace host {
namespace {

constexpr const char* kReset = "reset";
constexpr int kNotFound = 404;
constexpr std::int64_t kUsedStep_us = 60'000'000;

std::optional<std::int64_t> time_of(const Statement& row, int column) {
    if (row.is_null(column)) return std::nullopt;
    return row.integer(column);
}

Role role_in(const Statement& row, int column) {
    return role_named(row.text(column)).value_or(Role::kNobody);
}

}  // namespace

std::vector<UserEntry> Accounts::users() {
    const std::scoped_lock lock(mutex_);
    Statement row = database_->prepare("SELECT name, role, last_login_us FROM users ORDER BY name");
    std::vector<UserEntry> list;
    while (row.step())
        list.push_back({row.text(0), role_in(row, 1), time_of(row, 2)});
    return list;
}

UserEntry Accounts::user_named(const std::string& name) const {
    Statement row =
        database_->prepare("SELECT name, role, last_login_us FROM users WHERE name = ?1");
    if (!row.bind(name).step()) throw ApiError(kNotFound, "There is no such user.");
    return {row.text(0), role_in(row, 1), time_of(row, 2)};
}

void Accounts::add_user(const UserEntry& user, const std::string& password) {
    check_account_name(user.name, "The user's name");
    check_new_password(password);
    const std::string hash = hash_in_turn(password);
    const std::scoped_lock lock(mutex_);
    Transaction transaction(*database_);
    Statement known = database_->prepare("SELECT 1 FROM users WHERE name = ?1");
    if (known.bind(user.name).step())
        throw ApiError(kBadRequest, "There is a user " + user.name + " already.");
    if (database_->integer("SELECT count(*) FROM users") >= kMostUsers) {
        throw ApiError(kBadRequest, "There can be " + std::to_string(kMostUsers) + " users.");
    }
    database_->prepare("INSERT INTO users VALUES (?1, ?2, ?3, NULL, NULL)")
        .run(user.name, role_name(user.role), hash);
    transaction.commit();
}

// Rolls back what would leave nobody who may change users.
void Accounts::keep_an_admin() const {
    Statement count = database_->prepare("SELECT count(*) FROM users WHERE role = ?1");
    count.bind(role_name(Role::kAdmin)).step();
    if (count.integer(0) == 0) throw ApiError(kBadRequest, "The last admin stays.");
}

void Accounts::change_user(const std::string& name, const UserChange& change) {
    std::string hash;
    if (change.password) {
        check_new_password(*change.password);
        hash = hash_in_turn(*change.password);
    }
    const std::scoped_lock lock(mutex_);
    Transaction transaction(*database_);
    const UserEntry before = user_named(name);
    if (change.role && *change.role != before.role) {
        database_->prepare("UPDATE users SET role = ?2 WHERE name = ?1")
            .run(name, role_name(*change.role));
        keep_an_admin();
        end_sessions(name);
    }
    if (change.password) {
        set_password(name, hash, std::nullopt);
        end_sessions(name);
    }
    transaction.commit();
}

void Accounts::remove_user(const std::string& name) {
    const std::scoped_lock lock(mutex_);
    Transaction transaction(*database_);
    user_named(name);
    end_sessions(name);
    database_->prepare("DELETE FROM users WHERE name = ?1").run(name);
    keep_an_admin();
    transaction.commit();
}

std::string Accounts::reset_password(const std::string& name) {
    std::string password = new_one_time_password();
    const std::string hash = hash_in_turn(password);
    const std::scoped_lock lock(mutex_);
    Transaction transaction(*database_);
    user_named(name);
    set_password(name, hash, kReset);
    end_sessions(name);
    transaction.commit();
    return password;
}

std::vector<TokenEntry> Accounts::tokens() {
    const std::scoped_lock lock(mutex_);
    Statement row = database_->prepare(
        "SELECT id, name, role, made_us, used_us FROM tokens ORDER BY made_us, id");
    std::vector<TokenEntry> list;
    while (row.step()) {
        TokenEntry token{row.text(0), row.text(1), role_in(row, 2), row.integer(3),
                         time_of(row, 4)};
        if (const auto used = used_.find(token.id); used != used_.end())
            token.used_us = used->second;
        list.push_back(std::move(token));
    }
    return list;
}

MadeToken Accounts::add_token(const std::string& name, Role role, const std::string& made_by) {
    check_account_name(name, "The token's name");
    MadeToken made{new_epoch(), kTokenBegin + new_secret()};
    const std::scoped_lock lock(mutex_);
    if (database_->integer("SELECT count(*) FROM tokens") >= kMostTokens) {
        throw ApiError(kBadRequest, "There can be " + std::to_string(kMostTokens) +
                                        " tokens; remove those that are not used.");
    }
    database_->prepare("INSERT INTO tokens VALUES (?1, ?2, ?3, ?4, ?5, ?6, NULL)")
        .run(made.id, secret_hash(made.secret), name, role_name(role), made_by, setup_.now_us());
    return made;
}

void Accounts::remove_token(const std::string& id) {
    const std::scoped_lock lock(mutex_);
    database_->prepare("DELETE FROM tokens WHERE id = ?1").run(id);
}

std::optional<Caller> Accounts::of_token(const std::string& secret) {
    const Blob hash = secret_hash(secret);
    const std::int64_t now_us = setup_.now_us();
    const std::scoped_lock lock(mutex_);
    Statement row =
        database_->prepare("SELECT id, name, role, used_us FROM tokens WHERE secret = ?1");
    if (!row.bind(hash).step()) return std::nullopt;
    const std::string id = row.text(0);
    if (now_us - row.integer(3) > kUsedStep_us) used_[id] = now_us;
    return Caller{role_in(row, 2), "token " + row.text(1)};
}

}  // namespace host
