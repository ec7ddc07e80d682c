// Temporary names, renaming and clean-up of the output folder; redirection of standard output.
#include "host/app/output_folder.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <system_error>

#include "host/frames/frame_source.h"

namespace host {
namespace fs = std::filesystem;

namespace {

constexpr const char* kTemporarySuffix = ".part";

[[noreturn]] void refuse(const fs::path& path) {
    throw InputError("cannot write into the output folder \"" + path.string() +
                     "\"; name a writable one with --output");
}

bool can_write(const fs::path& file) {
    const bool written = static_cast<bool>(std::ofstream(file) << "\n" << std::flush);
    std::error_code error;
    fs::remove(file, error);
    return written;
}

}  // namespace

OutputFolder::OutputFolder(const std::string& path) : path_(path) {
    std::vector<fs::path> missing;
    std::error_code error;
    const fs::path whole = fs::absolute(path_).lexically_normal();
    for (fs::path p = whole; !p.empty() && !fs::exists(p, error); p = p.parent_path()) {
        if (!p.filename().empty()) missing.push_back(p);
        if (p == p.root_path()) break;
    }
    fs::create_directories(whole, error);
    if (!fs::is_directory(whole)) refuse(path_);
    made_ = std::move(missing);
    if (!can_write(path_ / "write-test.part")) {
        for (const fs::path& folder : made_)
            fs::remove(folder, error);
        refuse(path_);
    }
}

OutputFolder::~OutputFolder() {
    if (committed_) return;
    std::error_code error;
    for (const std::string& name : names_)
        fs::remove(path_ / (name + kTemporarySuffix), error);
    for (const fs::path& folder : made_)
        fs::remove(folder, error);  // only when it is empty
}

std::string OutputFolder::temporary(const std::string& name) {
    names_.push_back(name);
    return (path_ / (name + kTemporarySuffix)).string();
}

void OutputFolder::commit() {
    for (const std::string& name : names_) {
        if (!fs::exists(path_ / (name + kTemporarySuffix))) {
            throw std::runtime_error("the file \"" + name + "\" was not written");
        }
    }
    for (const std::string& name : names_) {
        fs::rename(path_ / (name + kTemporarySuffix), path_ / name);
    }
    committed_ = true;
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
