// Temporary names, renaming and clean-up of the output folder; redirection of standard output.
#include "host/report/output_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "host/base/result_files.h"
#include "host/frames/frame_source.h"

namespace host {
namespace fs = std::filesystem;

namespace {

constexpr const char* kTemporarySuffix = ".part";
constexpr const char* kFormerSuffix = ".former";

// What a signal handler has to remove, files before folders; null where there is nothing. The
// texts belong to the folder being written.
constexpr std::size_t kMostEmergencyPaths = 64;
std::array<std::atomic<const char*>, kMostEmergencyPaths> emergency_files{};
std::array<std::atomic<const char*>, kMostEmergencyPaths> emergency_folders{};
static_assert(std::atomic<const char*>::is_always_lock_free);

void forget_emergency_paths() {
    for (auto* list : {&emergency_files, &emergency_folders}) {
        for (std::atomic<const char*>& path : *list)
            path = nullptr;
    }
}

[[noreturn]] void refuse(const fs::path& path) {
    throw InputError("cannot write into the output folder \"" + path.string() +
                     "\"; name a writable one with --output");
}

// Writes a file with a fresh name, so that none of the user's files can be overwritten.
bool can_write_into(const fs::path& folder) {
    constexpr std::size_t kMarks = 6;  // letters X that mkstemp replaces
    std::string name = (folder / ".write-test-").string() + std::string(kMarks, 'X');
    const int file = ::mkstemp(name.data());
    if (file < 0) return false;
    const bool written = ::write(file, "\n", 1) == 1;
    const bool closed = ::close(file) == 0;
    ::unlink(name.c_str());
    return written && closed;
}

}  // namespace

FolderLock::~FolderLock() {
    if (file_ >= 0) ::close(file_);
}

// The lock disappears with the process, however it ends. A file system without locks gives none.
bool FolderLock::take(const std::string& folder) {
    file_ = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    return file_ < 0 || ::flock(file_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

OutputFolder::OutputFolder(const std::string& path, std::vector<std::string> names)
    : path_(path), names_(std::move(names)) {
    std::error_code error;
    const fs::path whole = fs::absolute(path_, error).lexically_normal();
    std::vector<fs::path> missing;
    for (fs::path p = whole; !p.empty(); p = p.parent_path()) {
        if (fs::symlink_status(p, error).type() != fs::file_type::not_found) break;
        if (!p.filename().empty()) missing.push_back(p);
        if (p == p.root_path()) break;
    }
    fs::create_directories(whole, error);
    made_ = std::move(missing);
    if (!fs::is_directory(whole, error) || !can_write_into(path_)) {
        remove_made_folders();
        refuse(path_);
    }
    if (!lock_.take(path_.string())) {
        throw InputError("another run is writing into the output folder \"" + path_.string() +
                         "\"; name another one with --output");
    }
    check_names();
    remember_for_emergency();
}

OutputFolder::~OutputFolder() {
    forget_emergency_paths();
    if (committed_) return;
    std::error_code error;
    for (const std::string& name : names_)
        fs::remove(temporary(name), error);
    forget_former();
    remove_made_folders();
}

void OutputFolder::begin() {
    std::error_code error;
    for (const std::string& name : names_) {
        fs::remove(temporary(name), error);
        fs::rename(path_ / name, former(name), error);
        if (!error) former_.push_back(name);
    }
}

void OutputFolder::leave_out(const std::string& name) {
    std::error_code error;
    if (!grows(name)) fs::remove(temporary(name), error);
    std::erase(names_, name);
}

void OutputFolder::discard() {
    std::error_code error;
    for (const std::string& name : names_)
        fs::remove(file(name), error);
    for (const std::string& name : former_)
        fs::rename(former(name), path_ / name, error);
    former_.clear();
}

void OutputFolder::forget_former() {
    std::error_code error;
    for (const std::string& name : former_)
        fs::remove(former(name), error);
    former_.clear();
}

fs::path OutputFolder::former(const std::string& name) const {
    return path_ / (name + kFormerSuffix);
}

void OutputFolder::remove_made_folders() {
    std::error_code error;
    for (const fs::path& folder : made_)
        fs::remove(folder, error);  // only when it is empty
}

// Only a file, or nothing, may be where a result goes; anything else would be noticed only after
// the run.
void OutputFolder::check_names() const {
    const auto check = [](const fs::path& path, bool link_allowed) {
        std::error_code error;
        const fs::file_type type = fs::symlink_status(path, error).type();
        if (type == fs::file_type::not_found || type == fs::file_type::regular) return;
        if (link_allowed && type == fs::file_type::symlink) return;
        throw InputError("\"" + path.string() +
                         "\" is in the way of a result and is not a file; move it or name another "
                         "folder with --output");
    };
    for (const std::string& name : names_) {
        check(path_ / name, true);
        check(temporary(name), false);
    }
}

void OutputFolder::remember_for_emergency() {
    forget_emergency_paths();
    const auto remember = [this](auto& list, std::size_t i, const std::string& path) {
        if (i < list.size()) list[i] = emergency_paths_.emplace_back(path).c_str();
    };
    for (std::size_t i = 0; i < names_.size(); ++i) {
        remember(emergency_files, 2 * i, temporary(names_[i]));
        remember(emergency_files, 2 * i + 1, former(names_[i]).string());
    }
    for (std::size_t i = 0; i < made_.size(); ++i)
        remember(emergency_folders, i, made_[i].string());
}

std::string OutputFolder::file(const std::string& name) const {
    return grows(name) ? (path_ / name).string() : temporary(name);
}

std::string OutputFolder::temporary(const std::string& name) const {
    return (path_ / (name + kTemporarySuffix)).string();
}

void OutputFolder::commit() {
    std::error_code error;
    for (const std::string& name : names_) {
        if (!fs::exists(file(name), error)) {
            throw std::runtime_error("the file \"" + name + "\" was not written");
        }
    }
    for (const std::string& name : names_) {
        if (!grows(name)) fs::rename(temporary(name), path_ / name, error);
        if (error) {
            throw std::runtime_error("cannot write \"" + (path_ / name).string() +
                                     "\": " + error.message());
        }
    }
    committed_ = true;
    forget_former();
    forget_emergency_paths();
}

void remove_unfinished_output() {
    for (const std::atomic<const char*>& file : emergency_files) {
        if (const char* path = file) ::unlink(path);
    }
    for (const std::atomic<const char*>& folder : emergency_folders) {
        if (const char* path = folder) ::rmdir(path);
    }
}

void open_missing_standard_files() {
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(number, F_GETFD) >= 0 || errno != EBADF) continue;
        // The lowest free number is given, which is this one.
        if (::open("/dev/null", O_RDWR) != number) ::_exit(1);
    }
}

void write_text(std::FILE* out, const std::string& text) {
    errno = 0;
    const bool taken = std::fwrite(text.data(), 1, text.size(), out) == text.size();
    const bool flushed = std::fflush(out) == 0;
    if (taken && flushed && std::ferror(out) == 0) return;
    throw std::runtime_error(std::string("cannot write to standard output") +
                             (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
}

StandardOutput::StandardOutput(const std::string& log_path) {
    const int log = ::open(log_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (log < 0) refuse(fs::path(log_path).parent_path());
    std::fflush(stdout);
    const int kept = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    host_ = kept < 0 ? nullptr : ::fdopen(kept, "w");
    if (host_ == nullptr || ::dup2(log, STDOUT_FILENO) < 0) {
        ::close(log);
        throw std::system_error(errno, std::generic_category(), "standard output");
    }
    ::close(log);
    redirected_ = true;
}

StandardOutput::~StandardOutput() {
    restore();
    if (host_ != nullptr) std::fclose(host_);
}

void StandardOutput::restore() {
    if (!redirected_) return;
    std::fflush(stdout);
    std::fflush(host_);
    ::dup2(::fileno(host_), STDOUT_FILENO);
    redirected_ = false;
}

}  // namespace host
