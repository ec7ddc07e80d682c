// Another instance of this program, run as a child whose output is read.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace host {

class ChildProcess {
  public:
    static constexpr int kHandedFile = 3;

    // Starts the program with these arguments. It ends with the calling thread at the latest, but
    // does not receive the terminal's Ctrl-C: ask_to_end() passes that on. Throws
    // std::runtime_error. Open files can be handed on, which the program then has as kHandedFile
    // and the numbers after it.
    explicit ChildProcess(const std::vector<std::string>& arguments,
                          const std::vector<int>& handed_files = {});
    // Ends it.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t process_id() const { return pid_; }
    // Standard output and error, never blocking; -1 after their end.
    int output() const { return output_; }
    // The lines received so far; once the output has ended, the last one may lack its line end.
    std::vector<std::string> read_lines();

    void ask_to_end();
    void end_now();
    // The status of waitpid() once the process has ended.
    std::optional<int> end_status();

  private:
    pid_t pid_ = -1;
    int output_ = -1;
    std::string unfinished_;  // line
    std::optional<int> status_;
};

// Whether a child with this status of waitpid() left the results of a whole run.
bool left_results(int status);

// "exit status 1" or "signal 9".
std::string end_text(int status);

}  // namespace host
