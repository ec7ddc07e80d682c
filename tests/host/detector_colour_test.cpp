// The colour detector on flat-coloured bodies over a patterned floor.
#include <gtest/gtest.h>

#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "detector_test_scene.h"
#include "host/inference/colour_detector.h"

namespace {

using host::Detection;
using test_scene::Scene;

constexpr float kCamera_mm = 3500.0f;

struct Walker {
    float x_mm;
    float y_mm;
    cv::Scalar colour;
    float height_mm = 1700.0f;
};

class Film {
  public:
    Film() : detector_(test_scene::kFocalColour_px, kCamera_mm), floor_(544, 960, CV_8UC3) {
        std::mt19937 random(11);
        for (int v = 0; v < floor_.rows; v += 16) {
            for (int u = 0; u < floor_.cols; u += 16) {
                const double level = 120.0 + static_cast<double>(random() % 40);
                floor_(cv::Rect(u, v, 16, 16)).setTo(cv::Scalar(level, level, level));
            }
        }
    }

    // Shows the next frame with these people in it.
    const std::vector<Detection>& show(const std::vector<Walker>& people) {
        cv::Mat image = floor_.clone();
        for (const Walker& walker : people) {
            Scene scene(kCamera_mm);
            scene.person(walker.x_mm, walker.y_mm, walker.height_mm);
            auto& depth = scene.render();
            const cv::Mat view(host::kDepthHeight, host::kDepthWidth, CV_16U, depth.data());
            cv::Mat body = view < kCamera_mm - 30.0f;
            cv::resize(body, body, image.size(), 0.0, 0.0, cv::INTER_NEAREST);
            image.setTo(walker.colour, body);
        }
        cv::Mat noise(image.size(), CV_8UC3);
        cv::theRNG().state = ++frame_;
        cv::randn(noise, cv::Scalar::all(10.0), cv::Scalar::all(3.0));
        return detector_.detect_bgr(image + noise);
    }

    const std::vector<Detection>& show_nv12(const std::vector<std::uint8_t>& nv12) {
        return detector_.detect_nv12(nv12.data(), nv12.data() + 960 * 544, 960);
    }

    void learn(int frames = 40) {
        for (int i = 0; i < frames; ++i)
            show({});
    }

    static Detection truth(const Walker& walker) {
        return Scene(kCamera_mm).truth(walker.x_mm, walker.y_mm, walker.height_mm);
    }

  private:
    host::ColourDetector detector_;
    cv::Mat floor_;
    std::uint64_t frame_ = 0;
};

const cv::Scalar kRed(40, 40, 200);
const cv::Scalar kBlue(180, 60, 30);

TEST(ColourDetector, EmptySceneStaysEmpty) {
    Film film;
    for (int frame = 0; frame < 100; ++frame)
        EXPECT_TRUE(film.show({}).empty()) << frame;
}

TEST(ColourDetector, FollowsAWalkerAcrossTheView) {
    Film film;
    film.learn();
    int seen = 0, right = 0;
    for (int frame = 0; frame < 50; ++frame) {
        const Walker walker{-1250.0f + 50.0f * static_cast<float>(frame), 300.0f, kRed};
        const auto boxes = film.show({walker});
        ASSERT_LE(boxes.size(), 1u);
        if (boxes.empty()) continue;
        ++seen;
        EXPECT_EQ(boxes[0].class_id, host::kClassPerson);
        EXPECT_GE(boxes[0].score, 0.5f);
        right += host::box_iou(boxes[0], Film::truth(walker)) >= 0.5f ? 1 : 0;
    }
    EXPECT_GE(seen, 45);
    EXPECT_GE(right, 45);
}

TEST(ColourDetector, TwoPeopleApartAreTwo) {
    Film film;
    film.learn();
    const Walker left{-700.0f, 100.0f, kRed}, right{700.0f, -200.0f, kBlue};
    const auto boxes = film.show({left, right});
    ASSERT_EQ(boxes.size(), 2u);
    for (const Walker& walker : {left, right}) {
        EXPECT_GE(std::max(host::box_iou(boxes[0], Film::truth(walker)),
                           host::box_iou(boxes[1], Film::truth(walker))),
                  0.5f);
    }
}

TEST(ColourDetector, IsNeverSureWhereBlobsMerge) {
    Film film;
    film.learn();
    std::vector<Walker> people;
    for (int i = 0; i < 9; ++i) {
        people.push_back({-450.0f + 420.0f * static_cast<float>(i % 3),
                          -350.0f + 330.0f * static_cast<float>(i / 3), i % 2 != 0 ? kRed : kBlue});
    }
    for (const Detection& box : film.show(people))
        EXPECT_LT(box.score, 0.7f);
}

TEST(ColourDetector, SomebodyWhoStandsStillStaysVisible) {
    Film film;
    film.learn();
    const Walker walker{500.0f, 200.0f, kRed};
    int seen = 0;
    for (int frame = 0; frame < 250; ++frame)
        seen += film.show({walker}).empty() ? 0 : 1;
    EXPECT_GE(seen, 245);
}

TEST(ColourDetector, WhoLeavesTheFirstFramesLeavesNoGhost) {
    Film film;
    const Walker standing{500.0f, 200.0f, kRed};
    for (int frame = 0; frame < 40; ++frame)
        film.show({standing});
    for (int frame = 0; frame < 30; ++frame)
        film.show({});
    int ghosts = 0;
    for (int frame = 0; frame < 50; ++frame) {
        const Walker walker{-1250.0f + 20.0f * static_cast<float>(frame), 0.0f, kBlue};
        for (const Detection& box : film.show({walker})) {
            ghosts += host::box_iou(box, Film::truth(standing)) > 0.1f ? 1 : 0;
        }
    }
    EXPECT_EQ(ghosts, 0);
    const auto boxes = film.show({standing});
    ASSERT_EQ(boxes.size(), 1u) << "somebody new on the same spot is seen again";
}

TEST(ColourDetector, Nv12AndBgrAgree) {
    host::ColourDetector from_nv12(test_scene::kFocalColour_px, kCamera_mm);
    std::vector<std::uint8_t> luma(960 * 544, 120), chroma(960 * 272, 128);
    for (int frame = 0; frame < 40; ++frame)
        from_nv12.detect_nv12(luma.data(), chroma.data(), 960);
    Scene scene(kCamera_mm);
    scene.person(300.0f, -100.0f, 1700.0f);
    const auto& depth = scene.render();
    for (int v = 0; v < 544; ++v) {
        for (int u = 0; u < 960; ++u) {
            const auto pixel = static_cast<std::size_t>((v * 256 / 544) * 480 + u / 2);
            if (static_cast<float>(depth[pixel]) < kCamera_mm - 30.0f) {
                luma[static_cast<std::size_t>(v * 960 + u)] = 40;
            }
        }
    }
    const auto boxes = from_nv12.detect_nv12(luma.data(), chroma.data(), 960);
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_GE(host::box_iou(boxes[0], Scene(kCamera_mm).truth(300.0f, -100.0f, 1700.0f)), 0.5f);
}

// Such a picture differs everywhere from the floor that was learned, yet shows nobody: this is what
// a covered lens sees, and what is fed after the end of a source.
TEST(ColourDetector, NobodyOnAUniformPictureAfterAScene) {
    for (const int level : {16, 90, 128, 200, 235}) {
        Film film;
        film.learn();
        const Walker walker{300.0f, 200.0f, {40, 40, 200}};
        for (int i = 0; i < 15; ++i)
            film.show({walker});
        std::vector<std::uint8_t> nv12(960 * 544 * 3 / 2, 128);
        std::fill_n(nv12.begin(), 960 * 544, static_cast<std::uint8_t>(level));
        for (int i = 0; i < 10; ++i)
            EXPECT_TRUE(film.show_nv12(nv12).empty()) << "level " << level << ", frame " << i;
    }
}

}  // namespace
