// One frame as a screen beside the camera would show it: the camera's picture with what the
// library's messages say about this frame.
#pragma once

#include <array>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/engine/events.h"
#include "host/frames/frame_source.h"
#include "vca/config.h"

namespace host {

// The camera's picture, and below it a strip with time and totals.
inline const cv::Rect kLiveCamera(0, 0, 960, 544);
inline const cv::Size kLivePicture(960, 576);

// What is configured and therefore not in any message; points in picture coordinates.
struct LiveScene {
    std::string title;
    std::vector<CountingLine> lines;
    std::vector<CountingRegion> regions;
    std::vector<std::vector<PicturePoint>> exclusions{};
};

// Colours of the marks.
cv::Scalar live_class_colour(int class_id);
cv::Scalar live_region_colour(std::size_t region);
extern const cv::Scalar kLiveStaffColour;
extern const cv::Scalar kLiveMaleColour;
extern const cv::Scalar kLiveFemaleColour;

class LiveView {
  public:
    explicit LiveView(LiveScene scene) : scene_(std::move(scene)) {}

    // Takes messages 6045, 6069, 6070 and 6090; the others have nothing to show.
    void add_event(const Event& event);

    // The picture of one frame: the people and regions of its own messages, and all counts so far.
    // `camera` is a 960 x 544 colour picture or empty; the memory of `picture` is reused.
    void draw(const cv::Mat& camera, std::int64_t frame_number, double time_s,
              cv::Mat& picture) const;

    // People counted at a line; direction 1 or 2.
    int counted(std::size_t line, int direction) const;

  private:
    struct LineCount {
        std::array<int, 2> people{};   // in directions 1 and 2
        std::int64_t last_frame = -1;  // -1: nobody yet
    };

    class Painter;

    LiveScene scene_;
    std::array<LineCount, VCA_LINE_NUM> counts_{};
    std::optional<Event> tracks_;    // the last 6069
    std::optional<Event> detected_;  // the last 6090
    std::optional<Event> regions_;   // the last 6070
};

}  // namespace host
