#include "bench/child_runs.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <exception>
#include <stdexcept>
#include <thread>

namespace {

std::string text_of(const std::function<std::string()>& work) {
    const int null = open("/dev/null", O_WRONLY);
    dup2(null, STDOUT_FILENO);
    close(null);
    try {
        return work();
    } catch (const std::exception& e) {
        return "failed: " + std::string(e.what()) + "\n";
    }
}

struct Child {
    pid_t pid = 0;
    int from = -1;
};

Child start(const std::function<std::string()>& work) {
    std::fflush(stdout);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    const pid_t pid = fork();
    if (pid == 0) {
        close(ends[0]);
        const std::string text = text_of(work);
        size_t done = 0;
        while (done < text.size()) {
            const ssize_t n = write(ends[1], text.data() + done, text.size() - done);
            if (n <= 0) _exit(1);
            done += static_cast<size_t>(n);
        }
        _exit(0);
    }
    close(ends[1]);
    return {pid, ends[0]};
}

std::string wait_for(const Child& child) {
    std::string text;
    char buffer[4096];
    for (ssize_t n = 0; (n = read(child.from, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<size_t>(n));
    close(child.from);
    int status = 0;
    waitpid(child.pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) text += "(ended abnormally)\n";
    return text;
}

}  // namespace

std::string run_in_child(const std::function<std::string()>& work) {
    return wait_for(start(work));
}

// Each child is started by this thread, since one that forks while another holds a lock of the C
// library would leave that lock taken in the child.
std::vector<std::string> run_in_children(const std::vector<std::function<std::string()>>& works) {
    const size_t at_once = std::max(std::thread::hardware_concurrency(), 1u);
    std::vector<std::string> texts;
    std::deque<Child> running;
    const auto finish_oldest = [&] {
        texts.push_back(wait_for(running.front()));
        running.pop_front();
    };
    for (const auto& work : works) {
        if (running.size() == at_once) finish_oldest();
        running.push_back(start(work));
    }
    while (!running.empty())
        finish_oldest();
    return texts;
}
