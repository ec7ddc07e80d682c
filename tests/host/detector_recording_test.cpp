// The depth detector on a recorded walk under a real sensor, with its holes, noise and dark
// corners.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <opencv2/imgcodecs.hpp>
#include <string>
#include <vector>

#include "host/inference/depth_detector.h"

namespace {

constexpr int kFirstLabelled = 41;
constexpr int kLastLabelled = 360;
constexpr float kScale = 256.0f / 424.0f;
constexpr float kLeft_px = 240.0f - 256.0f * kScale;  // the recording is centred between zeros
// The authors labelled the middle of what is seen of a head. Away from the picture's centre that is
// its inner side, up to 25 pixels of the recording nearer to the centre than the top.
constexpr float kNear_px = 26.0f;
constexpr float kNearTop_px = 10.0f;
constexpr float kUnlabelled_px = 80.0f;  // somebody may hang over the left edge up to here

using Point = std::array<float, 2>;

std::string folder() {
    return VCA_SHARED_DATA_DIR "/depth_walk";
}

std::map<int, Point> labels() {
    std::ifstream file(folder() + "/heads.csv");
    std::map<int, Point> heads;
    std::string line;
    while (std::getline(file, line)) {
        int frame = 0;
        float u = 0.0f, v = 0.0f;
        if (std::sscanf(line.c_str(), "%d,%f,%f", &frame, &u, &v) == 3) heads[frame] = {u, v};
    }
    return heads;
}

cv::Mat resampled(const cv::Mat& recorded) {
    cv::Mat image = cv::Mat::zeros(host::kDepthHeight, host::kDepthWidth, CV_16U);
    for (int v = 0; v < image.rows; ++v) {
        for (int u = 0; u < image.cols; ++u) {
            const int from_u =
                static_cast<int>(std::floor((static_cast<float>(u) + 0.5f - kLeft_px) / kScale));
            const int from_v = static_cast<int>((static_cast<float>(v) + 0.5f) / kScale);
            if (from_u < 0 || from_u >= recorded.cols || from_v >= recorded.rows) continue;
            image.at<std::uint16_t>(v, u) = recorded.at<std::uint16_t>(from_v, from_u);
        }
    }
    return image;
}

Point middle_in_recording(const host::Detection& box) {
    const float u = (static_cast<float>(box.x) + 0.5f * static_cast<float>(box.w)) / 2.0f;
    const float v = (static_cast<float>(box.y) + 0.5f * static_cast<float>(box.h)) / 2.125f;
    return {(u - kLeft_px) / kScale, v / kScale};
}

// The middle of the surface within 50 mm below the highest of the pixels around a label; without
// the topmost tenth of a percent, which may be noise.
Point top_near(const cv::Mat& recorded, const Point& label) {
    constexpr int kReach_px = 45;
    std::vector<std::array<int, 3>> seen;  // millimetres from the camera, column, row
    const int label_u = static_cast<int>(label[0]);
    const int label_v = static_cast<int>(label[1]);
    for (int v = label_v - kReach_px; v <= label_v + kReach_px; ++v) {
        for (int u = label_u - kReach_px; u <= label_u + kReach_px; ++u) {
            if (u < 0 || v < 0 || u >= recorded.cols || v >= recorded.rows) continue;
            const int mm = recorded.at<std::uint16_t>(v, u);
            if (mm > 1200) seen.push_back({mm, u, v});
        }
    }
    std::sort(seen.begin(), seen.end());
    const int nearest_mm = seen[seen.size() / 1000 + 2][0];
    Point sum{0.0f, 0.0f};
    float count = 0.0f;
    for (const auto& [mm, u, v] : seen) {
        if (mm > nearest_mm + 50) break;
        sum[0] += static_cast<float>(u) + 0.5f;
        sum[1] += static_cast<float>(v) + 0.5f;
        count += 1.0f;
    }
    return {sum[0] / count, sum[1] / count};
}

TEST(RecordedWalk, TheHeadIsFoundAndNothingElse) {
    if (!std::filesystem::exists(folder())) GTEST_SKIP() << "no recorded walk at " << folder();
    const auto heads = labels();
    ASSERT_EQ(heads.size(), static_cast<std::size_t>(kLastLabelled - kFirstLabelled + 1));
    const float focal_px = 365.5f * kScale;
    host::DepthDetector detector({focal_px, focal_px, 240.0f, 212.0f * kScale, 3342.0f});
    int found = 0, at_top = 0, false_frames = 0;
    for (int frame = kFirstLabelled; frame <= kLastLabelled; ++frame) {
        char name[32];
        std::snprintf(name, sizeof(name), "/image%04d.png", frame);
        const cv::Mat recorded = cv::imread(folder() + name, cv::IMREAD_UNCHANGED);
        ASSERT_EQ(recorded.type(), CV_16U) << name;
        const cv::Mat image = resampled(recorded);
        const Point top = top_near(recorded, heads.at(frame));
        bool hit = false, top_hit = false, wrong = false;
        for (const host::Detection& box :
             detector.detect(image.ptr<std::uint16_t>(), image.step1())) {
            const Point at = middle_in_recording(box);
            const Point& head = heads.at(frame);
            const bool close = std::hypot(at[0] - head[0], at[1] - head[1]) <= kNear_px;
            hit |= close;
            top_hit |= std::hypot(at[0] - top[0], at[1] - top[1]) <= kNearTop_px;
            wrong |= !close && at[0] >= kUnlabelled_px;
        }
        found += hit ? 1 : 0;
        at_top += top_hit ? 1 : 0;
        false_frames += wrong ? 1 : 0;
    }
    const int frames = kLastLabelled - kFirstLabelled + 1;
    EXPECT_GE(found * 100, frames * 98);
    EXPECT_GE(at_top * 100, frames * 98);
    EXPECT_LE(false_frames * 100, frames);
}

}  // namespace
