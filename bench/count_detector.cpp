// The detector on depth images and the tracker behind it, without any timing, for counting their
// instructions with count_plugin.c:
//   count_detector FILE
// FILE is made by bench_chain --depth-to. The parts are the rows of people_rows.h, of the detector
// from 0 on, of the tracker from kTrackerParts on. Prints "frames ROW NUMBER FOLLOWED" with the sum
// of those who are followed here.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <opencv2/core.hpp>
#include <utility>
#include <vector>

#include "bench/count_marks.h"
#include "bench/depth_file.h"
#include "bench/people_rows.h"
#include "host/inference/depth_detector.h"
#include "host/inference/models.h"
#include "host/tracker/iou_tracker.h"

namespace {

constexpr int kTrackerParts = 8;
static_assert(bench::kPeopleRows.size() <= kTrackerParts);
static_assert(kTrackerParts + bench::kPeopleRows.size() <= COUNT_PARTS);

constexpr int kStart = 30;  // frames in which memory is taken
// What the library makes of the tracker: frames that a target may be lost for and matches that it
// needs, the least score it hands on, and how much larger its boxes are.
constexpr int kMaxLost = 12;
constexpr int kMinHits = 4;
constexpr float kLeastScore = 0.13f;
constexpr double kEnlarged = 1.3;

using Depth = std::vector<std::uint16_t>;

void mark(int part, bool begins) {
    syscall(COUNT_SYSCALL, part, begins ? 1 : 0);
}

bool read_frame(std::ifstream& in, bench::DepthFileFrame& frame, Depth& depth_mm) {
    in.read(reinterpret_cast<char*>(&frame), sizeof frame);
    in.read(reinterpret_cast<char*>(depth_mm.data()),
            static_cast<std::streamsize>(depth_mm.size() * sizeof depth_mm[0]));
    return in.good();
}

IOU_TRK_OBJ_S object_of(const host::Detection& found, int index) {
    IOU_TRK_OBJ_S object{};
    object.det_idx = index;
    object.w = static_cast<int>(found.w * kEnlarged);
    object.h = static_cast<int>(found.h * kEnlarged);
    object.x = found.x + found.w / 2 - object.w / 2;
    object.y = found.y + found.h / 2 - object.h / 2;
    object.class_id = found.class_id;
    object.score = found.score;
    return object;
}

class Chain {
  public:
    explicit Chain(const bench::DepthFileHeader& header)
        : detector_({header.fx, header.fy, header.cx, header.cy, header.height_mm}),
          tracker_(kMaxLost, kMinHits),
          interval_s_(static_cast<float>(header.interval_s)) {
        tracker_.set_conf_thresh(host::kScoreUsable, host::kScoreSure);
    }

    // Marks the parts when `row` is not negative.
    void run(const Depth& depth_mm, int row) {
        const std::vector<host::Detection>& found = detect(depth_mm, row);
        if (row >= 0) mark(kTrackerParts + row, true);
        tracker_.reset_objects();
        int index = 0;
        for (const host::Detection& one : found) {
            if (one.score >= kLeastScore)
                tracker_.add_object(object_of(one, index++), one.head, one.head_seen);
        }
        tracker_.update(followed_, interval_s_);
        expected_ = tracker_.expected_heads();
        if (row >= 0) mark(kTrackerParts + row, false);
    }

    int followed() const { return followed_.num; }

  private:
    const std::vector<host::Detection>& detect(const Depth& depth_mm, int row) {
        if (row >= 0) mark(row, true);
        const auto& found = detector_.detect(depth_mm.data(), host::kDepthWidth, expected_);
        if (row >= 0) mark(row, false);
        return found;
    }

    host::DepthDetector detector_;
    host::IouTracker tracker_;
    float interval_s_;
    std::vector<host::ExpectedHead> expected_;
    IOU_TRK_RSLT_S followed_{};
};

}  // namespace

int main(int argc, char** argv) {
    std::ifstream in(argc == 2 ? argv[1] : "", std::ios::binary);
    bench::DepthFileHeader header;
    if (!in.read(reinterpret_cast<char*>(&header), sizeof header)) {
        std::fprintf(stderr, "see the head of bench/count_detector.cpp\n");
        return 1;
    }
    cv::setNumThreads(1);
    Chain chain(header);
    Depth depth_mm(std::size_t{host::kDepthWidth} * host::kDepthHeight);
    std::array<int, bench::kPeopleRows.size()> frames{}, followed{};
    bench::DepthFileFrame frame;
    for (int i = 0; read_frame(in, frame, depth_mm); ++i) {
        const std::size_t row = bench::people_row(frame.people);
        const bool counts = i >= kStart;
        chain.run(depth_mm, counts ? static_cast<int>(row) : -1);
        if (!counts) continue;
        ++frames[row];
        followed[row] += chain.followed();
    }
    for (std::size_t row = 0; row < frames.size(); ++row)
        std::printf("frames %zu %d %d\n", row, frames[row], followed[row]);
    return 0;
}
