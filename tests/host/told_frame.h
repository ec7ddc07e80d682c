// A frame with everything that the engine tells of it, for sinks under test.
#pragma once

#include <vector>

#include "host/engine/sink.h"

namespace test {

struct ToldFrame {
    host::PassReport pass;  // its number and time are those of the frame
    std::vector<host::TruePerson> people{};
    std::vector<host::TrueCrossing> crossings{};
    std::vector<host::Event> events{};  // in the order in which they are sent
    host::FramePlanes planes{};
};

// Makes the calls that the engine makes for the frame.
inline void tell(host::Sink& sink, const ToldFrame& frame) {
    sink.on_frame({frame.pass.number, frame.pass.time_s, frame.planes, frame.people,
                   frame.crossings, frame.pass.source_ms});
    for (const host::Event& event : frame.events)
        sink.on_event(event);
    sink.end_frame(frame.pass);
}

}  // namespace test
