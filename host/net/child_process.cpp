// Start, output and end of a child.
#include "host/net/child_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "host/base/exit_status.h"

namespace host {
namespace {

constexpr const char* kThisProgram = "/proc/self/exe";
constexpr std::chrono::seconds kEndTime{5};
constexpr std::chrono::milliseconds kPoll{10};

[[noreturn]] void fail(const char* what) {
    throw std::runtime_error(std::string(what) + ": " + std::generic_category().message(errno));
}

// Moves the files to where the program looks for them; one of them may stand in another's place.
void hand_on(int* files, int count) {
    for (int i = 0; i < count; ++i)
        files[i] = fcntl(files[i], F_DUPFD_CLOEXEC, ChildProcess::kHandedFile + count);
    for (int i = 0; i < count; ++i)
        dup2(files[i], ChildProcess::kHandedFile + i);
}

// Between fork and exec only calls that are safe there.
[[noreturn]] void become_child(char* const* arguments, int output, std::vector<int>& handed,
                               pid_t parent) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(1);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    hand_on(handed.data(), static_cast<int>(handed.size()));
    execv(kThisProgram, arguments);
    _exit(127);
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::vector<int>& handed_files) {
    std::vector<std::string> texts{"vca"};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) fail("cannot start a process");
    std::vector<int> handed = handed_files;
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) become_child(pointers.data(), ends[1], handed, parent);
    close(ends[1]);
    output_ = ends[0];
    if (pid_ < 0) {
        close(output_);
        fail("cannot start a process");
    }
    fcntl(output_, F_SETFL, O_NONBLOCK);
}

ChildProcess::~ChildProcess() {
    ask_to_end();
    const auto end = std::chrono::steady_clock::now() + kEndTime;
    while (!end_status()) {
        read_lines();  // a full pipe would hold it up
        if (std::chrono::steady_clock::now() > end) kill(pid_, SIGKILL);
        std::this_thread::sleep_for(kPoll);
    }
    if (output_ >= 0) close(output_);
}

std::vector<std::string> ChildProcess::read_lines() {
    std::array<char, 4096> bytes{};
    ssize_t count = 0;
    while (output_ >= 0 && (count = read(output_, bytes.data(), bytes.size())) > 0)
        unfinished_.append(bytes.data(), static_cast<std::size_t>(count));
    const bool waiting = count < 0 && (errno == EAGAIN || errno == EINTR);
    if (output_ >= 0 && !waiting) {
        close(output_);
        output_ = -1;
        if (!unfinished_.empty() && unfinished_.back() != '\n') unfinished_ += '\n';
    }
    std::vector<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = unfinished_.find('\n', begin)) != std::string::npos;
         begin = end + 1) {
        lines.push_back(unfinished_.substr(begin, end - begin));
    }
    unfinished_.erase(0, begin);
    return lines;
}

void ChildProcess::ask_to_end() {
    if (!end_status()) kill(pid_, SIGTERM);
}

void ChildProcess::end_now() {
    if (!end_status()) kill(pid_, SIGKILL);
}

std::optional<int> ChildProcess::end_status() {
    int status = 0;
    if (!status_ && waitpid(pid_, &status, WNOHANG) == pid_) status_ = status;
    return status_;
}

bool left_results(int status) {
    return WIFEXITED(status) &&
           (WEXITSTATUS(status) == kExitOk || WEXITSTATUS(status) == kExitIncomplete);
}

std::string end_text(int status) {
    if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
    return "exit status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace host
