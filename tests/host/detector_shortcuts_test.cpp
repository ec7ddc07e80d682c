// What the depth detector leaves out, and works out in fewer steps, against the plain forms over
// whole images.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <opencv2/core.hpp>
#include <random>
#include <utility>
#include <vector>

#include "detector_test_scene.h"
#include "host/inference/head_peaks.h"
#include "host/inference/head_shape.h"
#include "host/inference/hole_filler.h"
#include "host/inference/plan_view.h"
#include "host/inference/summit_samples.h"

namespace {

constexpr int kFloor_mm = 3300;

// A floor with blobs of all heights and holes of all sizes, some of them at the edges.
cv::Mat random_depth(std::mt19937& random, int blobs, int holes) {
    cv::Mat depth(host::kDepthHeight, host::kDepthWidth, CV_16U, cv::Scalar(kFloor_mm));
    std::uniform_int_distribution<int> column(-10, host::kDepthWidth + 10);
    std::uniform_int_distribution<int> row(-10, host::kDepthHeight + 10);
    std::uniform_int_distribution<int> size(1, 40);
    std::uniform_int_distribution<int> height(300, 2600);
    const cv::Rect picture(0, 0, depth.cols, depth.rows);
    for (int i = 0; i < blobs + holes; ++i) {
        const cv::Rect area =
            cv::Rect(column(random), row(random), size(random), size(random)) & picture;
        depth(area).setTo(i < blobs ? kFloor_mm - height(random) : 0);
    }
    std::uniform_int_distribution<int> noise(0, 30);
    for (auto pixel = depth.begin<std::uint16_t>(); pixel != depth.end<std::uint16_t>(); ++pixel) {
        const int lot = noise(random);
        if (lot == 0)
            *pixel = 0;
        else if (*pixel != 0)
            *pixel = static_cast<std::uint16_t>(*pixel + lot - 15);
    }
    return depth;
}

host::PlanView plan_of(float height_mm) {
    return host::PlanView(test_scene::camera_at(height_mm).model());
}

// The nearest value from a hole on in one direction.
std::uint16_t side_of(const cv::Mat& depth, int u, int v, int du, int dv, int reach) {
    for (int away = 1; away <= reach; ++away) {
        const int x = u + away * du, y = v + away * dv;
        if (x < 0 || y < 0 || x >= depth.cols || y >= depth.rows) return 0;
        const auto value = depth.at<std::uint16_t>(y, x);
        if (value != 0) return value;
    }
    return 0;
}

std::uint16_t plain_fill(const cv::Mat& depth, int u, int v, int reach) {
    const auto value = depth.at<std::uint16_t>(v, u);
    if (value != 0) return value;
    std::array sides{side_of(depth, u, v, -1, 0, reach), side_of(depth, u, v, 1, 0, reach),
                     side_of(depth, u, v, 0, -1, reach), side_of(depth, u, v, 0, 1, reach)};
    std::sort(sides.begin(), sides.end());
    return sides[1] == 0 ? std::uint16_t{0} : sides[2];
}

TEST(HoleFiller, FillsAPartAsThePlainFormFillsTheWhole) {
    std::mt19937 random(1);
    host::HoleFiller filler;
    cv::Mat filled;
    for (int round = 0; round < 12; ++round) {
        const cv::Mat depth = random_depth(random, 20, 10 * round);
        const cv::Rect room = round % 3 == 0 ? cv::Rect(0, 0, depth.cols, depth.rows)
                                             : cv::Rect(16 * round, 9 * round, 160, 100);
        const int reach = 3 + 5 * round;
        filler.fill(depth, reach, room, filled);
        ASSERT_EQ(filled.size(), room.size());
        for (int v = 0; v < room.height; ++v)
            for (int u = 0; u < room.width; ++u)
                ASSERT_EQ(filled.at<std::uint16_t>(v, u),
                          plain_fill(depth, room.x + u, room.y + v, reach))
                    << round << " at " << u << ", " << v;
    }
}

TEST(PlanView, NothingOfInterestOrBesideItLiesOutsideItsRoom) {
    std::mt19937 random(2);
    const host::PlanView plan = plan_of(kFloor_mm);
    for (int blobs = 0; blobs < 8; ++blobs) {
        const cv::Mat depth = random_depth(random, blobs, 20);
        const cv::Rect room = plan.room_of_surfaces(depth);
        for (int v = 0; v < depth.rows; ++v) {
            for (int u = 0; u < depth.cols; ++u) {
                const auto z = depth.at<std::uint16_t>(v, u);
                if (z == 0 || static_cast<float>(z) > kFloor_mm - host::kLowestSurface_mm) continue;
                const cv::Rect beside =
                    cv::Rect(u - 1, v - 1, 3, 3) & cv::Rect(0, 0, depth.cols, depth.rows);
                ASSERT_EQ(room & beside, beside) << u << ", " << v;
            }
        }
    }
}

// Surface of each cell, and the cells of the pixels, -1 outside the bounds of height.
cv::Mat plain_surface(const cv::Mat& depth, const host::PlanView& plan,
                      const test_scene::Lens& lens, std::vector<int>& cells) {
    cv::Mat surface = cv::Mat::zeros(plan.surface_mm().size(), CV_32F);
    const float farthest = lens.height_mm - host::kLowestSurface_mm;
    cells.assign(depth.total(), -1);
    for (int v = 0; v < depth.rows; ++v) {
        for (int u = 0; u < depth.cols; ++u) {
            const auto z = static_cast<float>(depth.at<std::uint16_t>(v, u));
            if (z < lens.height_mm - host::kHighestSurface_mm || z < 1.0f || z > farthest) continue;
            const float x_cells =
                (static_cast<float>(u) + 0.5f - lens.cx) / lens.fx / plan.cell_mm();
            const float y_cells =
                (static_cast<float>(v) + 0.5f - lens.cy) / lens.fy / plan.cell_mm();
            const float left = -lens.cx / lens.fx * farthest / plan.cell_mm();
            const float top = -lens.cy / lens.fy * farthest / plan.cell_mm();
            const int col = static_cast<int>(x_cells * z - left);
            const int row = static_cast<int>(y_cells * z - top);
            if (col < 0 || row < 0 || col >= surface.cols || row >= surface.rows) continue;
            cells[static_cast<std::size_t>(v * depth.cols + u)] = row * surface.cols + col;
            float& cell = surface.at<float>(row, col);
            cell = std::max(cell, lens.height_mm - z);
        }
    }
    const cv::Mat seen = surface.clone();
    for (int row = 1; row + 1 < seen.rows; ++row) {
        for (int col = 1; col + 1 < seen.cols; ++col) {
            const cv::Mat around = seen(cv::Rect(col - 1, row - 1, 3, 3));
            const int count = cv::countNonZero(around);
            if (seen.at<float>(row, col) == 0.0f && count >= 5)
                surface.at<float>(row, col) = static_cast<float>(cv::sum(around)[0] / count);
        }
    }
    return surface;
}

TEST(PlanView, IsThatOfTheWholeImage) {
    std::mt19937 random(3);
    for (const float height : {2600.0f, 3300.0f, 6000.0f}) {
        const test_scene::Lens lens = test_scene::camera_at(height);
        host::PlanView plan = plan_of(height);
        for (const int blobs : {0, 1, 3, 60}) {
            cv::Mat depth = random_depth(random, blobs, 5);
            depth += static_cast<int>(height) - kFloor_mm;
            depth.setTo(0, depth < 40);
            std::vector<int> cells;
            const cv::Mat expected = plain_surface(depth, plan, lens, cells);
            plan.build(depth, plan.room_of_surfaces(depth));
            EXPECT_LE(cv::norm(plan.surface_mm(), expected, cv::NORM_INF), 0.001)
                << height << ", " << blobs << " blobs";
            EXPECT_EQ(cv::countNonZero(plan.surface_mm()),
                      cv::countNonZero(plan.surface_mm()(plan.seen())));
            std::vector<int> placed(depth.total(), -1);
            for (const host::SurfacePixel& pixel : plan.pixels())
                placed[static_cast<std::size_t>(pixel.v * depth.cols + pixel.u)] = pixel.cell;
            EXPECT_EQ(placed, cells) << height << ", " << blobs << " blobs";
        }
    }
}

TEST(PeakFinder, SplitsAPartAsItSplitsTheWhole) {
    std::mt19937 random(4);
    cv::Mat heights = cv::Mat::zeros(90, 160, CV_32F);
    std::uniform_real_distribution<float> height(400.0f, 2000.0f);
    const cv::Rect room(20, 10, 100, 60);
    cv::Mat inner = heights(cv::Rect(21, 11, 98, 58));
    for (auto cell = inner.begin<float>(); cell != inner.end<float>(); ++cell)
        *cell = height(random);
    const host::PeakRules rules{
        .lowest_mm = 530.0f, .lowest_peak_mm = 650.0f, .saddle_mm = 60.0f, .distance_mm = 220.0f};
    host::PeakFinder finder;
    cv::Mat labels(heights.size(), CV_32S, cv::Scalar(77));
    const std::size_t in_part = finder.find(heights, room, 30.0f, rules, labels).size();
    cv::Mat all(heights.size(), CV_32S);
    const std::size_t in_whole =
        finder.find(heights, cv::Rect(0, 0, 160, 90), 30.0f, rules, all).size();
    EXPECT_GT(in_part, 10u);
    EXPECT_EQ(in_part, in_whole);
    EXPECT_EQ(cv::countNonZero(labels(room) != all(room)), 0);
}

TEST(Quantiles, AreThoseOfTheSortedValues) {
    std::mt19937 random(5);
    host::Quantiles quantiles(420.0f);
    for (std::size_t count = 1; count < 400; ++count) {
        std::uniform_real_distribution<float> value(-static_cast<float>(count), 420.0f);
        std::vector<float> values(count);
        for (float& each : values)
            each = count % 7 == 0 ? 420.0f : value(random);
        const auto [low, high] = quantiles.of(values, 0.02f, 0.98f);
        std::sort(values.begin(), values.end());
        const auto last = static_cast<float>(count - 1);
        ASSERT_EQ(low, values[static_cast<std::size_t>(0.02f * last)]) << count;
        ASSERT_EQ(high, values[static_cast<std::size_t>(0.98f * last)]) << count;
    }
    EXPECT_EQ(quantiles.of({}, 0.02f, 0.98f), (std::array{0.0f, 0.0f}));
}

TEST(SummitSamples, AreThePixelsOfEachSummitInReadingOrder) {
    std::mt19937 random(7);
    host::PlanView plan = plan_of(kFloor_mm);
    host::SummitSamples samples;
    for (const int summits : {0, 1, 3, 40}) {
        const cv::Mat depth = random_depth(random, 60, 0);
        cv::Mat raw = depth.clone();
        raw.setTo(0, depth > 2000);
        plan.build(depth, plan.room_of_surfaces(depth));
        std::uniform_int_distribution<int> any(0, summits);
        cv::Mat labels(plan.surface_mm().size(), CV_32S);
        for (auto cell = labels.begin<int>(); cell != labels.end<int>(); ++cell)
            *cell = any(random);
        samples.gather(plan, depth, raw, labels, static_cast<std::size_t>(summits));
        std::vector<std::size_t> next(static_cast<std::size_t>(summits));
        for (const host::SurfacePixel& pixel : plan.pixels()) {
            const int label = labels.ptr<int>()[pixel.cell];
            if (label == 0) continue;
            const auto summit = static_cast<std::size_t>(label - 1);
            ASSERT_LT(next[summit], samples.of(summit).size());
            const host::HeadSample& sample = samples.of(summit)[next[summit]++];
            ASSERT_EQ(std::pair(sample.u, sample.v), std::pair(pixel.u, pixel.v));
            ASSERT_EQ(sample.depth_mm, depth.at<std::uint16_t>(pixel.v, pixel.u));
            ASSERT_EQ(sample.filled, sample.depth_mm > 2000);
            const cv::Point cell = plan.cell_of(pixel.u, pixel.v, sample.depth_mm);
            ASSERT_EQ(cell.y * labels.cols + cell.x, pixel.cell);
        }
        for (std::size_t summit = 0; summit < next.size(); ++summit)
            EXPECT_EQ(samples.of(summit).size(), next[summit]);
    }
}

// Where a sample lies, from the lens alone.
struct Placed {
    float x_mm = 0.0f, y_mm = 0.0f, height_mm = 0.0f, area_m2 = 0.0f;
    bool filled = false;
};

std::vector<Placed> placed(const std::vector<host::HeadSample>& samples) {
    const test_scene::Lens lens = test_scene::camera_at(kFloor_mm);
    std::vector<Placed> places;
    for (const host::HeadSample& sample : samples) {
        const auto z = static_cast<float>(sample.depth_mm);
        places.push_back({(static_cast<float>(sample.u) + 0.5f - lens.cx) / lens.fx * z,
                          (static_cast<float>(sample.v) + 0.5f - lens.cy) / lens.fy * z,
                          static_cast<float>(kFloor_mm) - z, z * z * 1e-6f / (lens.fx * lens.fy),
                          sample.filled});
    }
    return places;
}

// A head on shoulders, sampled in any order.
std::vector<host::HeadSample> random_samples(std::mt19937& random, std::size_t count) {
    std::normal_distribution<float> away(0.0f, 1.0f);
    std::uniform_int_distribution<int> lot(0, 9);
    std::vector<host::HeadSample> samples(count);
    for (host::HeadSample& sample : samples) {
        const float across = 18.0f * away(random);
        const float along = 18.0f * away(random);
        sample.u = static_cast<std::uint16_t>(std::clamp(370.0f + across, 0.0f, 479.0f));
        sample.v = static_cast<std::uint16_t>(std::clamp(80.0f + along, 0.0f, 255.0f));
        sample.depth_mm = static_cast<std::uint16_t>(1600.0f + 13.0f * std::hypot(across, along) +
                                                     8.0f * away(random));
        sample.filled = lot(random) == 0;
    }
    return samples;
}

double area_above(const std::vector<Placed>& samples, float lowest_mm) {
    double area = 0.0;
    for (const Placed& sample : samples)
        area += sample.height_mm >= lowest_mm ? static_cast<double>(sample.area_m2) : 0.0;
    return area;
}

TEST(HeadMeter, MeasuresWhatTheSortedSamplesShow) {
    std::mt19937 random(6);
    host::HeadMeter meter;
    const host::PlanView plan = plan_of(kFloor_mm);
    for (const std::size_t count : {60u, 500u, 4000u}) {
        const std::vector<host::HeadSample> samples = random_samples(random, count);
        const host::HeadShape shape = meter.measure(samples, plan);
        std::vector<Placed> sorted = placed(samples);
        std::stable_sort(sorted.begin(), sorted.end(),
                         [](const auto& a, const auto& b) { return a.height_mm > b.height_mm; });
        double area = 0.0;
        float top = 0.0f;
        for (const Placed& sample : sorted) {
            area += static_cast<double>(sample.area_m2);
            top = sample.height_mm;
            if (area >= 0.0015) break;
        }
        ASSERT_EQ(shape.top_mm, top) << count;
        EXPECT_NEAR(shape.head_area_m2, area_above(sorted, top - 150.0f), 1e-6) << count;
        EXPECT_NEAR(shape.crown_area_m2, area_above(sorted, top - 40.0f), 1e-6) << count;
        double holes = 0.0, body = 0.0;
        std::vector<float> xs;
        for (const Placed& sample : sorted) {
            if (sample.filled && sample.height_mm >= top - 150.0f)
                holes += static_cast<double>(sample.area_m2);
            const float dx = sample.x_mm - shape.centre.x_mm;
            const float dy = sample.y_mm - shape.centre.y_mm;
            if (sample.height_mm < top - 450.0f || std::hypot(dx, dy) > 420.0f) continue;
            body += static_cast<double>(sample.area_m2);
            xs.push_back(dx);
        }
        EXPECT_NEAR(shape.hole_area_m2, holes, 1e-6) << count;
        EXPECT_NEAR(shape.body_area_m2, body, 1e-4 * body) << count;
        std::sort(xs.begin(), xs.end());
        EXPECT_NEAR(shape.right_mm,
                    xs[static_cast<std::size_t>(0.98f * static_cast<float>(xs.size() - 1))], 0.01)
            << count;
    }
    EXPECT_EQ(meter.measure(random_samples(random, 3), plan).top_mm, 0.0f);
    EXPECT_EQ(meter.measure({}, plan).top_mm, 0.0f);
}

}  // namespace
