// What a live source tells beside its frames.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace host {

// Between these scene times nothing was seen. Told when it has ended.
struct InputGap {
    std::int64_t from_us = 0;
    std::int64_t to_us = 0;
    std::string why;
};

// Something is wrong with the pictures. Told when it begins, and again when it ends.
struct InputFault {
    std::string what;
    std::int64_t since_us = 0;             // scene time
    std::optional<std::int64_t> until_us;  // nothing while it lasts
};

using InputNotice = std::variant<InputGap, InputFault>;

// One sentence.
std::string notice_text(const InputNotice& notice);

}  // namespace host
