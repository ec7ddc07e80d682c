// Standard error, and whether the journal reads it.
#include "host/base/log_lines.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "host/base/text.h"

namespace host {
namespace {

// The system's manager of services says which file the journal reads, as "DEVICE:INODE".
bool is_read_by_journal() {
    const char* const stream = std::getenv("JOURNAL_STREAM");
    struct stat file {};
    if (stream == nullptr || ::fstat(STDERR_FILENO, &file) != 0) return false;
    return std::to_string(file.st_dev) + ":" + std::to_string(file.st_ino) == stream;
}

}  // namespace

std::string log_prefix(LogLevel level) {
    static const bool journal = is_read_by_journal();
    return journal ? "<" + std::to_string(static_cast<int>(level)) + ">" : "";
}

void LogLines::write(LogLevel level, const std::string& about, const std::string& sentence) {
    const std::lock_guard lock(mutex_);
    const auto now = Clock::now();
    if (now - since_ >= minute_) {
        if (lines_ > kMostLines) {
            std::fprintf(stderr, "%s%zu more lines were left out\n",
                         log_prefix(LogLevel::kWarning).c_str(), lines_ - kMostLines);
        }
        since_ = now;
        lines_ = 0;
    }
    if (++lines_ > kMostLines) return;
    const std::string who = about.empty() ? "" : about + ": ";
    std::fprintf(stderr, "%s%s%s\n", log_prefix(level).c_str(), visible(who).c_str(),
                 cut_to(visible(sentence), kMostCharacters).c_str());
}

}  // namespace host
