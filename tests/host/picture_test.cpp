// The picture of a run: text that the font can show, and a colour for each line.
#include "host/report/picture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <stdexcept>

#include "host/draw/canvas.h"
#include "host/report/picture_parts.h"
#include "tests/support/unique_path.h"

namespace {

TEST(PictureText, LettersWithMarksBecomePlainOnes) {
    EXPECT_EQ(host::to_ascii("T\xC3\xBCr S\xC3\xBC"
                             "d"),
              "Tur Sud");
    EXPECT_EQ(host::to_ascii("\xC3\x80\xC3\xBF\xC4\x80\xC5\xA0\xC5\xBE\xC5\xBF"), "AyASzs");
    EXPECT_EQ(host::to_ascii("\xC5\x81\xC3\xB3"
                             "d\xC5\xBA"),
              "Lodz");
}

TEST(PictureText, OtherCharactersAreOneMarkEach) {
    EXPECT_EQ(host::to_ascii("\xE5\x87\xBA\xE5\x8F\xA3 1"), "?? 1");  // two of three bytes
    EXPECT_EQ(host::to_ascii("\xF0\x9F\x9A\xAA!"), "?!");             // one of four
    EXPECT_EQ(host::to_ascii("a\tb\x7f"), "a?b?");
    EXPECT_EQ(host::to_ascii("\xE5\x87"), "?");  // cut short
    EXPECT_EQ(host::to_ascii("\xFC\x62\x80"), "?b?");
    EXPECT_EQ(host::to_ascii(""), "");
}

TEST(PictureText, LongNamesAreShortened) {
    EXPECT_EQ(host::shortened("entrance", 8), "entrance");
    EXPECT_EQ(host::shortened("entrances", 8), "entra...");
}

host::RunFacts four_lines() {
    host::RunFacts facts;
    facts.source.name = "four";
    for (int i = 0; i < 4; ++i) {
        const double y = 100.0 + 110.0 * i;
        facts.lines.push_back({"T\xC3\xBCr mit einem langen Namen " + std::to_string(i),
                               {{100.0, y}, {860.0, y}},
                               false,
                               {},
                               false});
    }
    return facts;
}

host::Scores nobody_counted() {
    host::Scores scores;
    scores.counts.resize(4);
    return scores;
}

int pixels_of(const cv::Mat& image, const cv::Scalar& colour) {
    cv::Mat found;
    cv::inRange(image, colour, colour, found);
    return cv::countNonZero(found);
}

TEST(Picture, EachLineHasItsOwnColourInTheView) {
    const host::RunFacts facts = four_lines();
    cv::Mat view(host::kViewHeight, host::kViewWidth, CV_8UC3);
    host::draw_view(view, facts, nobody_counted(), {});
    for (std::size_t i = 0; i < 4; ++i) {
        // 1140 pixels long and 4 wide, less what arrows and labels cover.
        EXPECT_GT(pixels_of(view, host::line_colour(i)), 3000) << i;
    }
}

// Two lines on top of each other must not have their labels on top of each other: eight labels,
// each as large as its text with its margins.
TEST(Picture, LabelsKeepOffEachOther) {
    host::RunFacts facts = four_lines();
    for (std::size_t i = 0; i < 4; ++i) {
        facts.lines[i].name = "line";
        for (host::PicturePoint& p : facts.lines[i].points)
            p.y = 272.0 + static_cast<double>(i);
    }
    cv::Mat view(host::kViewHeight, host::kViewWidth, CV_8UC3);
    host::draw_view(view, facts, nobody_counted(), {});
    const cv::Size label = host::text_size("line / 1: 0", 0.6, 1) + cv::Size(12, 10);
    for (std::size_t i = 0; i < 4; ++i) {
        const cv::Scalar on_grey = host::line_colour(i) * 0.85 + cv::Scalar::all(110 * 0.15);
        cv::Mat found;
        cv::inRange(view, on_grey - cv::Scalar::all(1.0), on_grey + cv::Scalar::all(1.0), found);
        // Text takes less than half of a label.
        EXPECT_GT(cv::countNonZero(found), label.area()) << i;
    }
}

TEST(Picture, IsWrittenWholeOrNotAtAll) {
    const std::string path = test::unique_path("vca-picture-test", ".png").string();
    host::write_picture(four_lines(), nobody_counted(), {}, path);
    EXPECT_EQ(cv::imread(path).size(), cv::Size(1880, 900));
    std::filesystem::remove(path);
    EXPECT_THROW(
        host::write_picture(four_lines(), nobody_counted(), {}, "/nonexistent/picture.png"),
        std::runtime_error);
}

}  // namespace
