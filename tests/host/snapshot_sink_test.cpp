// Which frame is shown.
#include "host/sinks/snapshot_sink.h"

#include <gtest/gtest.h>

namespace {

void frame(host::SnapshotSink& sink, std::int64_t number, int people, bool blank = false) {
    const double time_s = static_cast<double>(number) / 15.0;
    host::FramePlanes planes;
    planes.blank = blank;
    planes.colour_nv12.assign(3, static_cast<std::uint8_t>(number));
    sink.on_frame({number, time_s, planes, {}, {}});
    host::PassReport report;
    report.number = number;
    report.time_s = time_s;
    report.blank = blank;
    for (int id = 0; id < people; ++id)
        report.tracks.push_back({id, {}});
    sink.end_frame(report);
}

TEST(Snapshot, IsTheFullestFrameWheneverItWas) {
    host::SnapshotSink sink;
    const int people[] = {0, 1, 3, 2, 3, 1, 0};
    for (int n = 0; n < 7; ++n)
        frame(sink, n, people[n]);
    EXPECT_EQ(sink.evidence().frame, 4);
    EXPECT_EQ(sink.evidence().tracks.size(), 3u);
    EXPECT_EQ(sink.evidence().colour_nv12.at(0), 4);
}

TEST(Snapshot, OfARunWithoutPeopleIsTheLastFrame) {
    host::SnapshotSink sink;
    for (int n = 0; n < 3; ++n)
        frame(sink, n, 0);
    frame(sink, 3, 0, true);
    EXPECT_EQ(sink.evidence().frame, 2);
}

}  // namespace
