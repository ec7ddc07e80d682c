// Notices as sentences.
#include "host/frames/input_notice.h"

#include <array>
#include <cmath>
#include <cstddef>

#include "host/base/text.h"

namespace host {
namespace {

double seconds(std::int64_t us) {
    return static_cast<double>(us) / 1e6;
}

struct Sentence {
    std::string operator()(const InputSilent& silent) const {
        return "no frames come: " + silent.why;
    }
    std::string operator()(const InputGap& gap) const {
        return "no frames for " + format_text("%.1f s", seconds(gap.to_us - gap.from_us)) + ": " +
               gap.why;
    }
    std::string operator()(const InputFault& fault) const {
        return fault.what + (fault.until_us ? " no longer" : "");
    }
    std::string operator()(const ClockStep& step) const { return clock_step_text(step.by_us); }
};

}  // namespace

const char* input_fault_name(InputFaultKind kind) {
    static constexpr std::array kNames{"picture_frozen", "other_size", "no_colour"};
    return kNames.at(static_cast<std::size_t>(kind));
}

std::string notice_text(const InputNotice& notice) {
    return std::visit(Sentence{}, notice);
}

std::string clock_step_text(std::int64_t by_us) {
    return std::string("the clock was set ") + (by_us < 0 ? "back" : "forward") + " by " +
           format_text("%.3f s", std::abs(seconds(by_us)));
}

}  // namespace host
