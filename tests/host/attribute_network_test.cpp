// Networks on crops: answers that can be worked out by hand, and files of the wrong form.
#include "host/inference/attribute_network.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "host/frames/frame_source.h"
#include "tests/host/crop_image.h"
#include "tests/support/unique_path.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

std::string network(const std::string& name) {
    return std::string(VCA_TEST_NETWORKS) + "/" + name;
}

std::string gender_error(const std::string& path) {
    try {
        host::open_gender_network(path);
    } catch (const host::InputError& e) {
        EXPECT_THAT(e.what(), AllOf(HasSubstr("the gender network"), HasSubstr(path)));
        EXPECT_EQ(std::string(e.what()).find('\n'), std::string::npos);
        return e.what();
    }
    return "no error";
}

using Rgb = std::array<double, 3>;  // 0 to 1

// The networks of the tests: scores are weights * mean + offset, the answer their softmax.
template <std::size_t N>
std::array<double, N> softmax_of(const std::array<Rgb, N>& weights,
                                 const std::array<double, N>& offsets, const Rgb& mean) {
    std::array<double, N> p{};
    double sum = 0.0;
    for (std::size_t i = 0; i < N; ++i) {
        double score = offsets[i];
        for (std::size_t c = 0; c < 3; ++c)
            score += weights[i][c] * mean[c];
        sum += p[i] = std::exp(score);
    }
    for (double& value : p)
        value /= sum;
    return p;
}

constexpr std::array<Rgb, 3> kGenderWeights{{{0, 6, 0}, {0, 0, 6}, {6, 0, 0}}};
constexpr std::array<double, 3> kGenderOffsets{0.5, 0, 0};
constexpr std::array<Rgb, 2> kStaffWeights{{{0, 0, 8}, {4, 4, 0}}};
constexpr std::array<double, 2> kStaffOffsets{1, 0};

// A part of 100 x 50 pixels of a plain picture: it fills the middle half of the crop, and the bars
// above and below are grey (luma 128 is 130.4 of 255 in red, green and blue).
class LetterboxedCrop {
  public:
    LetterboxedCrop(int r, int g, int b) : picture_(960, 544), crop_(224, 224) {
        picture_.paint(cv::Mat(544, 960, CV_8UC3, test::rgb(r, g, b)));
        const VCA_RGN_S part{300, 200, 100, 50};
        EXPECT_EQ(vca_image_crop_letter(picture_.record(), &part, crop_.record()), 0);
        const double bar = (128 - 16) * 255.0 / 219.0;
        mean_ = {(r + bar) / 510.0, (g + bar) / 510.0, (b + bar) / 510.0};
    }
    host::CropView view() const { return crop_.crop(); }
    const Rgb& mean() const { return mean_; }

  private:
    test::Nv12Image picture_;
    test::Nv12Image crop_;
    Rgb mean_{};
};

// Eight-bit luma and chroma keep a colour to about 1.5 of 255, which moves a score by 0.02.
constexpr double kRounding = 0.01;

TEST(GenderNetwork, AnswersWithTheSoftmaxOfTheMeanColour) {
    const auto model = host::open_gender_network(network("gender.onnx"));
    const int colours[][4] = {
        {220, 40, 60, 2}, {40, 60, 220, 1}, {60, 210, 60, 0}, {90, 90, 90, 0}};
    for (const auto& [r, g, b, best] : colours) {
        const LetterboxedCrop crop(r, g, b);
        const auto expected = softmax_of(kGenderWeights, kGenderOffsets, crop.mean());
        const auto answer = model->classify(crop.view());
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->best, best) << r << " " << g << " " << b;
        EXPECT_NEAR(static_cast<double>(answer->male), expected[1], kRounding);
        EXPECT_NEAR(static_cast<double>(answer->female), expected[2], kRounding);
    }
}

TEST(GenderNetwork, IgnoresABranchThatNobodyAsksFor) {
    const auto plain = host::open_gender_network(network("gender.onnx"));
    const auto branched = host::open_gender_network(network("unused_branch.onnx"));
    const LetterboxedCrop crop(200, 100, 50);
    EXPECT_EQ(plain->classify(crop.view())->male, branched->classify(crop.view())->male);
}

TEST(StaffNetwork, AnswersWithTheSoftmaxOfTheMeanColour) {
    const auto model = host::open_staff_network(network("staff.onnx"));
    for (const auto& [r, g, b, staff] : {std::array<int, 4>{230, 220, 40, 1}, {50, 60, 200, 0}}) {
        const LetterboxedCrop crop(r, g, b);
        const auto expected = softmax_of(kStaffWeights, kStaffOffsets, crop.mean());
        const auto answer = model->detect(crop.view());
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->staff, staff == 1);
        EXPECT_NEAR(static_cast<double>(answer->score), expected[1], kRounding);
    }
}

TEST(GenderNetwork, GivesTheSameBitsEveryTime) {
    const LetterboxedCrop crop(180, 120, 70);
    const auto first = host::open_gender_network(network("gender.onnx"))->classify(crop.view());
    const auto model = host::open_gender_network(network("gender.onnx"));
    for (int i = 0; i < 20; ++i) {
        const auto again = model->classify(crop.view());
        EXPECT_EQ(std::memcmp(&first->male, &again->male, sizeof(float)), 0);
        EXPECT_EQ(std::memcmp(&first->female, &again->female, sizeof(float)), 0);
    }
}

TEST(NetworkFile, ARefusalSaysWhatTheFileHasAndWhatIsNeeded) {
    EXPECT_THAT(gender_error(network("small_input.onnx")),
                AllOf(HasSubstr("1 x 3 x 112 x 112"), HasSubstr("1 x 3 x 224 x 224")));
    EXPECT_THAT(gender_error(network("byte_input.onnx")), HasSubstr("not floats"));
    EXPECT_THAT(gender_error(network("open_batch.onnx")), HasSubstr("? x 3 x 224 x 224"));
    EXPECT_THAT(gender_error(network("other_order.onnx")),
                AllOf(HasSubstr("\"male_female_unknown\""), HasSubstr("\"unknown_male_female\"")));
    EXPECT_THAT(gender_error(network("staff.onnx")),
                AllOf(HasSubstr("\"other_staff\" of 1 x 2"), HasSubstr("1 x 3 floats is needed")));
    EXPECT_THAT(gender_error(network("two_outputs.onnx")), HasSubstr("has 2 outputs"));
    EXPECT_THAT(gender_error(network("logits.onnx")),
                AllOf(HasSubstr("0.5, 0, 0"), HasSubstr("softmax")));
    EXPECT_THAT(gender_error(network("not_finite.onnx")),
                AllOf(HasSubstr("nan"), HasSubstr("finite numbers")));
    EXPECT_THAT(gender_error(network("misdeclared.onnx")), HasSubstr("answers with 4 numbers"));
    EXPECT_THAT(gender_error(network("unknown_layer.onnx")),
                AllOf(HasSubstr("cannot be run"), HasSubstr("NoSuchLayer")));
    EXPECT_THAT(gender_error(network("truncated.onnx")),
                HasSubstr("not an ONNX file, or not a complete one"));
}

TEST(NetworkFile, WhatIsNoFileIsRefused) {
    EXPECT_THAT(gender_error(network("absent.onnx")),
                AllOf(HasSubstr("does not exist"), HasSubstr("an ONNX file or none")));
    EXPECT_THAT(gender_error(VCA_TEST_NETWORKS), HasSubstr("is a folder"));
    EXPECT_THAT(gender_error("/dev/zero"), HasSubstr("cannot be read"));
    const auto path = test::unique_path("vca-network-test", ".onnx");
    std::ofstream(path).close();
    EXPECT_THAT(gender_error(path.string()), HasSubstr("not an ONNX file, or not a complete one"));
    std::filesystem::remove(path);
    EXPECT_THROW(host::open_staff_network("visitors"), host::InputError);
}

TEST(AttributeModels, AreChosenByName) {
    const host::AttributeModels none = host::open_attribute_models("none", "none");
    EXPECT_FALSE(none.gender);
    EXPECT_FALSE(none.staff);
    EXPECT_TRUE(host::open_attribute_models("none", "vest").staff);
    const auto both = host::open_attribute_models(network("gender.onnx"), network("staff.onnx"));
    EXPECT_TRUE(both.gender);
    EXPECT_TRUE(both.staff);
    EXPECT_THROW(host::open_attribute_models("vest", "none"), host::InputError);
}

}  // namespace
