// Logging in, sessions, and what is put off.
#include "host/web/accounts.h"

#include "host/store/service_database.h"
#include "host/web/account_checks.h"
#include "host/web/api_answer.h"

namespace host {
namespace {

constexpr const char* kFirst = "first";
constexpr std::int64_t kSeenStep_us = 60'000'000;

Blob failure_key(const Database& database) {
    Statement row = database.prepare("SELECT failure_key FROM service");
    row.step();
    return row.blob(0);
}

Role role_of(const std::string& name) {
    return role_named(name).value_or(Role::kNobody);
}

}  // namespace

Accounts::Accounts(AccountsSetup setup)
    : setup_(std::move(setup)),
      database_(open_service_database(setup_.path)),
      late_(open_service_database(setup_.path)),
      limit_(failure_key(*database_)),
      nobodys_hash_(password_hash(new_secret(), setup_.cost)) {
    late_->execute("PRAGMA synchronous = NORMAL");
    Statement row = database_->prepare("SELECT bucket, empty_us FROM login_failures");
    while (row.step())
        limit_.restore({static_cast<int>(row.integer(0)), row.integer(1)});
}

Accounts::~Accounts() {
    try {
        keep();
    } catch (const StoreError&) {
        // Some failures are forgotten, and a session ends up to a minute early.
    }
}

bool Accounts::needs_first_password() const {
    const std::scoped_lock lock(mutex_);
    if (database_->integer("SELECT count(*) FROM users") == 0) return true;
    Statement row = database_->prepare("SELECT 1 FROM users WHERE name = ?1 AND one_time = ?2");
    return row.bind(kFirstUser, kFirst).step();
}

std::optional<std::string> Accounts::first_password() {
    if (!needs_first_password()) return std::nullopt;
    const std::string password = new_one_time_password();
    const std::string hash = hash_in_turn(password);
    const std::scoped_lock lock(mutex_);
    Transaction transaction(*database_);
    database_->prepare("INSERT OR IGNORE INTO users VALUES (?1, ?2, ?3, ?4, NULL)")
        .run(kFirstUser, role_name(Role::kAdmin), hash, kFirst);
    set_password(kFirstUser, hash, kFirst);
    end_sessions(kFirstUser);
    transaction.commit();
    return password;
}

bool Accounts::has_anybody_logged_in() {
    const std::scoped_lock lock(mutex_);
    return database_->integer("SELECT count(*) FROM users WHERE last_login_us IS NOT NULL") > 0;
}

std::optional<Caller> Accounts::of_session(const std::string& secret) {
    const Blob id = secret_hash(secret);
    const std::int64_t now_us = setup_.now_us();
    const std::scoped_lock lock(mutex_);
    Statement row = database_->prepare(
        "SELECT users.name, users.role, users.one_time IS NOT NULL, begun_us, seen_us "
        "FROM sessions JOIN users ON users.name = sessions.user WHERE sessions.id = ?1");
    if (!row.bind(id).step()) return std::nullopt;
    const auto put_off = seen_.find(id);
    const std::int64_t seen_us =
        std::max(row.integer(4), put_off == seen_.end() ? 0 : put_off->second);
    if (now_us - row.integer(3) > kSessionLife_us || now_us - seen_us > kSessionIdle_us)
        return std::nullopt;
    if (now_us - seen_us > kSeenStep_us) seen_[id] = now_us;
    return Caller{role_of(row.text(1)), row.text(0), row.integer(2) != 0};
}

LoginResult Accounts::log_in(const std::string& name, const std::string& password,
                             const std::string& address) {
    const Checked checked = check_password(name, password, address);
    LoginResult result;
    result.wait_s = checked.wait_s;
    if (!checked.right) return result;
    result.session = begin_session(name, checked.hash);
    if (const auto caller = of_session(result.session)) result.caller = *caller;
    return result;
}

Accounts::Checked Accounts::check_password(const std::string& name, const std::string& password,
                                           const std::string& address) {
    Checked checked;
    if ((checked.wait_s = wait_s(name, address)) > 0) return checked;
    if (!turns_.try_acquire()) {
        checked.wait_s = 1;
        return checked;
    }
    struct Turn {
        std::counting_semaphore<2>& turns;
        ~Turn() { turns.release(); }
    } const turn{turns_};
    const std::scoped_lock one_at_a_time(hashing_);
    if ((checked.wait_s = wait_s(name, address)) > 0) return checked;
    const std::optional<std::string> known = hash_of(name);
    // An unknown name takes as long as a known one.
    checked.hash = known.value_or(nobodys_hash_);
    checked.right = is_password(checked.hash, password) && known.has_value();
    const std::scoped_lock lock(mutex_);
    if (checked.right) {
        limit_.succeeded(name);
    } else {
        limit_.failed(name, address, setup_.now_us());
    }
    return checked;
}

int Accounts::wait_s(const std::string& name, const std::string& address) {
    const std::scoped_lock lock(mutex_);
    return limit_.wait_s(name, address, setup_.now_us());
}

std::string Accounts::hash_in_turn(const std::string& password) {
    const std::scoped_lock one_at_a_time(hashing_);
    return password_hash(password, setup_.cost);
}

std::optional<std::string> Accounts::hash_of(const std::string& name) const {
    const std::scoped_lock lock(mutex_);
    Statement row = database_->prepare("SELECT password FROM users WHERE name = ?1");
    if (!row.bind(name).step()) return std::nullopt;
    return row.text(0);
}

// Empty when the password is no longer the one that was compared.
std::string Accounts::begin_session(const std::string& name, const std::string& hash) {
    std::string secret = new_secret();
    const std::int64_t now_us = setup_.now_us();
    const std::scoped_lock lock(mutex_);
    Transaction transaction(*database_);
    Statement session = database_->prepare(
        "INSERT INTO sessions SELECT ?1, name, ?2, ?2 FROM users "
        "WHERE name = ?3 AND password = ?4 RETURNING user");
    if (!session.bind(secret_hash(secret), now_us, name, hash).step()) return {};
    while (session.step()) {
    }
    database_->prepare("UPDATE users SET last_login_us = ?2 WHERE name = ?1").run(name, now_us);
    database_->prepare("DELETE FROM sessions WHERE begun_us < ?1 OR seen_us < ?2")
        .run(now_us - kSessionLife_us, now_us - kSessionIdle_us - kSeenStep_us);
    database_
        ->prepare(
            "DELETE FROM sessions WHERE id IN (SELECT id FROM sessions WHERE user = ?1 "
            "ORDER BY seen_us DESC, begun_us DESC LIMIT -1 OFFSET ?2)")
        .run(name, kMostSessionsOfUser);
    transaction.commit();
    return secret;
}

void Accounts::log_out(const std::string& session) {
    const Blob id = secret_hash(session);
    const std::scoped_lock lock(mutex_);
    database_->prepare("DELETE FROM sessions WHERE id = ?1").run(id);
    seen_.erase(id);
}

void Accounts::end_sessions(const std::string& name, const Blob& except) const {
    database_->prepare("DELETE FROM sessions WHERE user = ?1 AND id IS NOT ?2").run(name, except);
}

int Accounts::change_own_password(const std::string& name, const std::string& old,
                                  const std::string& fresh, const std::string& session,
                                  const std::string& address) {
    check_new_password(fresh);
    if (fresh == old)
        throw ApiError(kBadRequest, "The new password is the old one; choose another.");
    const Checked checked = check_password(name, old, address);
    if (checked.wait_s > 0) return checked.wait_s;
    if (!checked.right) throw ApiError(kBadRequest, "The old password is wrong.");
    const std::string hash = hash_in_turn(fresh);
    const std::scoped_lock lock(mutex_);
    Transaction transaction(*database_);
    set_password(name, hash, std::nullopt);
    end_sessions(name, secret_hash(session));
    transaction.commit();
    return 0;
}

void Accounts::set_password(const std::string& name, const std::string& hash,
                            const std::optional<std::string>& one_time) const {
    database_->prepare("UPDATE users SET password = ?2, one_time = ?3 WHERE name = ?1")
        .run(name, hash, one_time);
}

void Accounts::keep() {
    const std::scoped_lock lock(mutex_);
    const auto failures = limit_.changed();
    if (failures.empty() && seen_.empty() && used_.empty()) return;
    Transaction transaction(*late_);
    for (const auto& [bucket, empty_us] : failures) {
        late_->prepare("INSERT OR REPLACE INTO login_failures VALUES (?1, ?2)")
            .run(bucket, empty_us);
    }
    late_->prepare("DELETE FROM login_failures WHERE empty_us <= ?1").run(setup_.now_us());
    for (const auto& [id, time_us] : seen_)
        late_->prepare("UPDATE sessions SET seen_us = ?2 WHERE id = ?1").run(id, time_us);
    for (const auto& [id, time_us] : used_)
        late_->prepare("UPDATE tokens SET used_us = ?2 WHERE id = ?1").run(id, time_us);
    transaction.commit();
    limit_.kept();
    seen_.clear();
    used_.clear();
}

}  // namespace host
