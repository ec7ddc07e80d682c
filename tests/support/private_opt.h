// An empty /opt of the test's own, in which it may make the folders the library looks for.
#ifndef TESTS_SUPPORT_PRIVATE_OPT_H
#define TESTS_SUPPORT_PRIVATE_OPT_H

#include <sched.h>
#include <sys/mount.h>

#include <filesystem>

namespace test {

// Covers /opt by a file system in memory that this process alone sees and that ends with it. Where
// a mount is not allowed (a container without that privilege) it uses the real /opt, if nothing of
// the library's is there, and removes what the test made. Construct it before any thread is
// started; programs that use it take vca_lock_flag_files() in their CMakeLists.txt.
class PrivateOpt {
  public:
    PrivateOpt() : mounted_(mount_own()) {
        std::error_code error;
        const bool was_there = !mounted_ && std::filesystem::exists("/opt/app", error);
        ready_ = !was_there && std::filesystem::create_directories("/opt/app/algo", error);
    }
    ~PrivateOpt() {
        std::error_code error;
        if (ready_) std::filesystem::remove_all("/opt/app", error);
    }
    PrivateOpt(const PrivateOpt&) = delete;
    PrivateOpt& operator=(const PrivateOpt&) = delete;

    // Whether /opt/app/algo is there and was empty.
    bool ready() const { return ready_; }

  private:
    static bool mount_own() {
        if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
        if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
        return mount("none", "/opt", "tmpfs", 0, nullptr) == 0;
    }

    bool mounted_ = false;
    bool ready_ = false;
};

}  // namespace test

#endif
