// Who may log in: users, their sessions, tokens of programs, and the limit of wrong passwords. All
// of it is in the service's own database, which is asked anew each time, so that whatever another
// program changes there holds at once.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <semaphore>
#include <string>
#include <vector>

#include "host/base/utc.h"
#include "host/store/database.h"
#include "host/web/login_limit.h"
#include "host/web/router.h"
#include "host/web/secrets.h"

namespace host {

inline constexpr const char* kFirstUser = "admin";
inline constexpr const char* kTokenBegin = "vca_";

struct AccountsSetup {
    std::string path;  // of the database, which is made when it is not there
    PasswordCost cost{};
    std::function<std::int64_t()> now_us = utc_now_us;
};

// What came of a name and a password.
struct LoginResult {
    std::string session;  // what the cookie holds; empty when nobody was let in
    Caller caller;
    int wait_s = 0;  // above 0: was not looked at; again after so many seconds
};

struct UserEntry {
    std::string name;
    Role role = Role::kViewer;
    std::optional<std::int64_t> last_login_us;
};

struct TokenEntry {
    std::string id;
    std::string name;
    Role role = Role::kViewer;
    std::int64_t made_us = 0;
    std::optional<std::int64_t> used_us;
};

struct MadeToken {
    std::string id;
    std::string secret;  // kept nowhere
};

// What is to be changed of a user; the rest stays.
struct UserChange {
    std::optional<Role> role;
    std::optional<std::string> password;
};

// Can be called by several threads. Every call throws StoreError when the database cannot be used.
class Accounts {
  public:
    static constexpr std::int64_t kHour_us = 3'600'000'000;
    static constexpr std::int64_t kSessionIdle_us = 12 * kHour_us;
    static constexpr std::int64_t kSessionLife_us = 30 * 24 * kHour_us;
    static constexpr int kMostUsers = 200;
    static constexpr int kMostTokens = 200;
    static constexpr int kMostSessionsOfUser = 50;  // older ones end

    // Throws ForeignDatabase and StoreError.
    explicit Accounts(AccountsSetup setup);
    // Keeps what has been put off.
    ~Accounts();
    Accounts(const Accounts&) = delete;
    Accounts& operator=(const Accounts&) = delete;

    // A new one-time password of the first user, as long as that user has chosen none; nothing
    // afterwards. Makes the user when there is none at all.
    std::optional<std::string> first_password();
    bool has_anybody_logged_in();

    // Nothing for a session or a token that is not known or has ended.
    std::optional<Caller> of_session(const std::string& secret);
    std::optional<Caller> of_token(const std::string& secret);

    LoginResult log_in(const std::string& name, const std::string& password,
                       const std::string& address);
    void log_out(const std::string& session);
    // Ends all other sessions of the user. Returns seconds to wait when there were too many wrong
    // passwords, otherwise 0. Throws ApiError for a password that is wrong or not good enough.
    int change_own_password(const std::string& name, const std::string& old,
                            const std::string& fresh, const std::string& session,
                            const std::string& address);

    // By name. These throw ApiError for what cannot be done; a user whose role or password has
    // changed has to log in again.
    std::vector<UserEntry> users();
    void add_user(const UserEntry& user, const std::string& password);
    void change_user(const std::string& name, const UserChange& change);
    void remove_user(const std::string& name);
    // A one-time password in place of one that was lost.
    std::string reset_password(const std::string& name);

    std::vector<TokenEntry> tokens();
    MadeToken add_token(const std::string& name, Role role, const std::string& made_by);
    void remove_token(const std::string& id);

    // Writes what need not be written at once: when sessions and tokens were used last, and wrong
    // passwords. To be called once a second, so that no number of requests makes the disk busy.
    void keep();

  private:
    struct Checked {
        bool right = false;
        int wait_s = 0;
        std::string hash;  // of the password that was compared
    };
    bool needs_first_password() const;
    Checked check_password(const std::string& name, const std::string& password,
                           const std::string& address);
    std::string hash_in_turn(const std::string& password);
    std::optional<std::string> hash_of(const std::string& name) const;
    int wait_s(const std::string& name, const std::string& address);
    std::string begin_session(const std::string& name, const std::string& hash);
    void end_sessions(const std::string& name, const Blob& except = {}) const;
    void set_password(const std::string& name, const std::string& hash,
                      const std::optional<std::string>& one_time) const;
    UserEntry user_named(const std::string& name) const;
    void keep_an_admin() const;

    const AccountsSetup setup_;
    mutable std::mutex mutex_;  // of everything below
    std::unique_ptr<Database> database_;
    std::unique_ptr<Database> late_;  // for what is put off: does not wait for the disk
    LoginLimit limit_;
    std::map<Blob, std::int64_t> seen_;  // sessions, since it was written
    std::map<std::string, std::int64_t> used_;
    std::string nobodys_hash_;

    std::mutex hashing_;  // one password takes 64 MB and a tenth of a second
    std::counting_semaphore<2> turns_{2};
};

}  // namespace host
