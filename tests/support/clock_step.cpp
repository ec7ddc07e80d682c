// Loaded into a program before everything else: its wall clock is off by as many seconds as stand
// in the file that VCA_TEST_CLOCK_STEP names, from the moment on at which they stand there.
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const long result = ::syscall(SYS_clock_gettime, clock, time);
    const char* const path = clock == CLOCK_REALTIME ? std::getenv("VCA_TEST_CLOCK_STEP") : nullptr;
    std::FILE* const file = path == nullptr ? nullptr : std::fopen(path, "r");
    if (file == nullptr) return static_cast<int>(result);
    long step_s = 0;
    if (std::fscanf(file, "%ld", &step_s) == 1) time->tv_sec += step_s;
    std::fclose(file);
    return static_cast<int>(result);
}
