// What a live source tells beside its frames.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace host {

// No frame has come since this scene time. Told while it lasts; an InputGap ends it.
struct InputSilent {
    std::int64_t since_us = 0;
    std::string why;
};

// Between these scene times nothing was seen. Told when it has ended.
struct InputGap {
    std::int64_t from_us = 0;
    std::int64_t to_us = 0;
    std::string why;
};

enum class InputFaultKind {
    kFrozen,     // the depth picture does not change
    kOtherSize,  // pictures of another size than the first ones come
    kNoColour,   // no colour pictures come
};

// A word that stays the same, for files and messages.
const char* input_fault_name(InputFaultKind kind);

// Something is wrong with the pictures. Told when it begins, and again when it ends.
struct InputFault {
    InputFaultKind kind = InputFaultKind::kFrozen;
    std::string what;
    std::int64_t since_us = 0;             // scene time
    std::optional<std::int64_t> until_us;  // nothing while it lasts
};

// Somebody has set the wall clock; scene time does not notice.
struct ClockStep {
    std::int64_t at_us = 0;  // scene time of the first frame after it
    std::int64_t by_us = 0;  // forward; negative for back
};

using InputNotice = std::variant<InputSilent, InputGap, InputFault, ClockStep>;

// One sentence.
std::string notice_text(const InputNotice& notice);
// "the clock was set forward by 3600 s".
std::string clock_step_text(std::int64_t by_us);

}  // namespace host
