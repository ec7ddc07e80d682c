// The live picture: every mark of the messages at its place, and nothing of other frames.
#include "host/draw/live_view.h"

#include <gtest/gtest.h>

#include <limits>
#include <opencv2/imgproc.hpp>

#include "host/draw/canvas.h"

namespace {

constexpr std::int64_t kFrame = 10;
const cv::Scalar kCamera(130, 120, 110);

host::ShownTrack person(int id, int x, int y) {
    host::ShownTrack track;
    track.track = id;
    track.x = x;
    track.y = y;
    track.w = 100;
    track.h = 60;
    track.class_id = VCA_CLASS_PERSON;
    return track;
}

host::Event shown(std::vector<host::ShownTrack> tracks, bool detected = false,
                  std::int64_t frame = kFrame) {
    return {detected ? 6090 : 6069, frame, 0.0, host::TracksShown{0, detected, std::move(tracks)}};
}

host::Event counted(int line, int direction, std::int64_t frame = kFrame) {
    host::PersonCounted person;
    person.line = line;
    person.direction = direction;
    return {6045, frame, 0.0, person};
}

host::Event regions(std::array<int, VCA_RGN_NUM> inside,
                    std::vector<host::RegionPerson> people = {}) {
    return {6070, kFrame, 0.0, host::RegionsReported{0, std::move(people), inside}};
}

host::LiveScene one_line() {
    return {"door", {{"door", {{200, 300}, {700, 300}}, false, {}, false}}, {}};
}

host::LiveScene one_region() {
    return {"hall", {}, {{"waiting", {{300, 200}, {600, 200}, {600, 450}, {300, 450}}}}};
}

cv::Mat drawn(const host::LiveView& view, std::int64_t frame = kFrame) {
    cv::Mat picture;
    view.draw(cv::Mat(544, 960, CV_8UC3, kCamera), frame, 1.0, picture);
    return picture;
}

cv::Mat drawn_from(const std::vector<host::Event>& events, host::LiveScene scene = {}) {
    host::LiveView view(std::move(scene));
    for (const host::Event& event : events)
        view.add_event(event);
    return drawn(view);
}

cv::Mat mask_of(const cv::Mat& image, const cv::Scalar& colour, double reach = 1.0) {
    cv::Mat found;
    cv::inRange(image, colour - cv::Scalar::all(reach), colour + cv::Scalar::all(reach), found);
    return found;
}

int pixels_of(const cv::Mat& image, const cv::Scalar& colour, double reach = 1.0) {
    return cv::countNonZero(mask_of(image, colour, reach));
}

bool same(const cv::Mat& a, const cv::Mat& b) {
    return cv::norm(a, b, cv::NORM_INF) == 0.0;
}

TEST(LiveView, WithoutMessagesTheCameraIsShownAsItIs) {
    const cv::Mat picture = drawn_from({});
    ASSERT_EQ(picture.size(), host::kLivePicture);
    EXPECT_EQ(pixels_of(picture(host::kLiveCamera), kCamera, 0.0), host::kLiveCamera.area());
}

TEST(LiveView, WithoutACameraTheGroundIsPlain) {
    cv::Mat picture;
    host::LiveView(host::LiveScene{}).draw({}, 0, 0.0, picture);
    const cv::Mat view = picture(host::kLiveCamera);
    EXPECT_EQ(pixels_of(view, cv::Scalar(58, 52, 48), 0.0), host::kLiveCamera.area());
}

TEST(LiveView, APersonsBoxIsDrawnAtItsPixelsInItsClassColour) {
    for (const int class_id : {1, 2, 7}) {
        host::ShownTrack track = person(4, 400, 200);
        track.class_id = class_id;
        const cv::Mat picture = drawn_from({shown({track})});
        const cv::Scalar colour = host::live_class_colour(class_id);
        // The label above has the same colour.
        const cv::Mat below_label = mask_of(picture.rowRange(199, 544), colour);
        const cv::Rect box = cv::boundingRect(below_label);
        EXPECT_NEAR(box.x, 400, 1);
        EXPECT_NEAR(box.y + 199, 200, 1);
        EXPECT_NEAR(box.width, 101, 2);
        EXPECT_NEAR(box.height, 61, 2);
        // Inside nothing is painted over.
        EXPECT_EQ(pixels_of(picture(cv::Rect(404, 204, 92, 52)), kCamera, 0.0), 92 * 52);
    }
    EXPECT_NE(host::live_class_colour(1), host::live_class_colour(2));
}

TEST(LiveView, OnlyTheFramesOwnPeopleAreShown) {
    host::LiveView view{host::LiveScene{}};
    view.add_event(shown({person(1, 400, 200)}, false, 9));
    EXPECT_TRUE(same(drawn(view, 10)(host::kLiveCamera), cv::Mat(544, 960, CV_8UC3, kCamera)));
    EXPECT_GT(pixels_of(drawn(view, 9), host::live_class_colour(1)), 300);
}

TEST(LiveView, TheTrailLeadsToItsNewestPoint) {
    host::ShownTrack track = person(4, 400, 100);
    track.trail = {{450, 250}, {450, 350}, {550, 350}};
    const cv::Mat picture = drawn_from({shown({track})});
    const cv::Scalar colour = host::live_class_colour(1);
    for (const cv::Point& p : {cv::Point(450, 250), {450, 300}, {450, 350}, {500, 350}}) {
        EXPECT_GT(pixels_of(picture(cv::Rect(p.x - 1, p.y - 1, 3, 3)), colour), 0) << p;
    }
    EXPECT_EQ(pixels_of(picture(cv::Rect(480, 240, 60, 90)), kCamera, 0.0), 60 * 90);
    // The newest has a dot, wider than the way.
    EXPECT_GT(pixels_of(picture(cv::Rect(440, 240, 20, 20)), colour),
              pixels_of(picture(cv::Rect(540, 340, 20, 20)), colour));
}

TEST(LiveView, StaffAreMarked) {
    host::ShownTrack track = person(4, 400, 200);
    EXPECT_EQ(pixels_of(drawn_from({shown({track})}), host::kLiveStaffColour), 0);
    track.staff = 1;
    const cv::Mat picture = drawn_from({shown({track})});
    // The box, 2 wide all around, and the word.
    EXPECT_GT(pixels_of(picture(cv::Rect(398, 198, 105, 66)), host::kLiveStaffColour), 500);
    EXPECT_GT(pixels_of(picture(cv::Rect(398, 150, 105, 46)), host::kLiveStaffColour, 14.0), 300);
}

TEST(LiveView, GenderHasItsMark) {
    const cv::Scalar marks[] = {host::kLiveMaleColour, host::kLiveFemaleColour};
    for (int gender = 0; gender <= 3; ++gender) {
        host::ShownTrack track = person(4, 400, 200);
        track.height_mm = 1740;
        track.gender = gender;
        const cv::Mat picture = drawn_from({shown({track})});
        for (int mark = 1; mark <= 2; ++mark) {
            const int found = pixels_of(picture, marks[mark - 1]);
            if (mark == gender) {
                EXPECT_GT(found, 80) << gender;
            } else {
                EXPECT_EQ(found, 0) << gender << " " << mark;
            }
        }
    }
}

TEST(LiveView, NumberAndHeightAreWritten) {
    host::ShownTrack track = person(4, 400, 200);
    const cv::Mat without = drawn_from({shown({track})});
    track.height_mm = 1740;
    const cv::Mat with = drawn_from({shown({track})});
    track.height_mm = 1746;
    const cv::Mat taller = drawn_from({shown({track})});
    track.height_mm = 1739;
    EXPECT_FALSE(same(without, with));
    EXPECT_FALSE(same(with, taller));                       // "1.74 m", "1.75 m"
    EXPECT_TRUE(same(with, drawn_from({shown({track})})));  // rounded to 1.74 too
    track.track = 5;
    EXPECT_FALSE(same(with, drawn_from({shown({track})})));
    // White letters on the dark ground of the height.
    EXPECT_GT(pixels_of(with(cv::Rect(400, 170, 120, 30)), host::kWhite, 40.0), 30);
    EXPECT_EQ(pixels_of(without(cv::Rect(400, 170, 120, 30)), host::kWhite, 40.0), 0);
}

TEST(LiveView, RegionsAreFilledWithTheirPeopleInside) {
    const cv::Point inside(450, 400);
    const auto blue_over_camera = [&](int people) {
        const cv::Mat picture = drawn_from({regions({people, 0, 0, 0})}, one_region());
        EXPECT_EQ(picture.at<cv::Vec3b>(500, 450), cv::Vec3b(130, 120, 110));  // outside
        return cv::norm(picture.at<cv::Vec3b>(inside) - cv::Vec3b(130, 120, 110));
    };
    const double empty = blue_over_camera(0);
    EXPECT_GT(empty, 5.0);
    EXPECT_GT(blue_over_camera(2), 1.5 * empty);
    EXPECT_TRUE(
        same(drawn_from({}, one_region()), drawn_from({regions({0, 0, 0, 0})}, one_region())));
    // "waiting: 1" and "waiting: 2" differ in the label alone.
    cv::Mat difference;
    cv::absdiff(drawn_from({regions({1, 0, 0, 0})}, one_region()),
                drawn_from({regions({2, 0, 0, 0})}, one_region()), difference);
    cv::cvtColor(difference, difference, cv::COLOR_BGR2GRAY);
    const cv::Rect changed = cv::boundingRect(difference);
    EXPECT_GT(changed.area(), 10);
    EXPECT_EQ(changed & cv::Rect(300, 200, 140, 30), changed);
}

TEST(LiveView, ExclusionAreasAreHatched) {
    host::LiveScene scene;
    scene.exclusions = {{{300, 200}, {600, 200}, {600, 450}, {300, 450}}};
    const cv::Mat picture = drawn_from({}, scene);
    const cv::Mat inside = picture(cv::Rect(310, 210, 280, 230));
    EXPECT_EQ(pixels_of(inside, kCamera, 0.0), 0);
    cv::Scalar mean;
    cv::Scalar deviation;
    cv::meanStdDev(inside, mean, deviation);
    EXPECT_GT(deviation[0], 10.0);
    EXPECT_EQ(pixels_of(picture(cv::Rect(0, 0, 290, 544)), kCamera, 0.0), 290 * 544);
}

TEST(LiveView, StayIsWrittenAtThePersonWhoIsInside) {
    host::RegionPerson stay;
    stay.track = 4;
    stay.regions[0] = {1, 12000};
    const host::Event tracks = shown({person(4, 700, 400), person(5, 100, 400)});
    const auto labels = [&](const host::RegionPerson& p) {
        const cv::Mat picture = drawn_from({tracks, regions({1, 0, 0, 0}, {p})}, one_region());
        const cv::Scalar colour = host::live_region_colour(0);
        return std::pair(pixels_of(picture(cv::Rect(690, 330, 150, 68)), colour, 10.0),
                         pixels_of(picture(cv::Rect(90, 330, 150, 68)), colour, 10.0));
    };
    EXPECT_GT(labels(stay).first, 200);
    EXPECT_EQ(labels(stay).second, 0);
    stay.regions[0].inside = 0;
    EXPECT_EQ(labels(stay).first, 0);
}

TEST(LiveView, CountsRunOverAllFrames) {
    host::LiveView view(one_line());
    view.add_event(counted(0, 1, 3));
    view.add_event(counted(0, 1, 8));
    view.add_event(counted(0, 2, 9));
    view.add_event(counted(3, 2, 9));
    EXPECT_EQ(view.counted(0, 1), 2);
    EXPECT_EQ(view.counted(0, 2), 1);
    EXPECT_EQ(view.counted(3, 2), 1);
    EXPECT_EQ(view.counted(1, 1), 0);
    for (const auto& [line, direction] : {std::pair(-1, 1), {4, 1}, {0, 0}, {0, 3}})
        view.add_event(counted(line, direction));
    EXPECT_EQ(view.counted(0, 1), 2);
    EXPECT_EQ(view.counted(0, 2), 1);
}

TEST(LiveView, TheLineLightsUpWhenSomebodyIsCounted) {
    const auto width_at = [](std::int64_t frame) {
        host::LiveView view(one_line());
        view.add_event(counted(0, 1, 20));
        // Across the line, away from the arrows.
        return pixels_of(drawn(view, frame)(cv::Rect(450, 280, 1, 40)), host::line_colour(0));
    };
    EXPECT_GT(width_at(20), width_at(40));
    EXPECT_EQ(width_at(28), width_at(20));
    EXPECT_EQ(width_at(29), width_at(40));
    EXPECT_GT(width_at(40), 0);
}

// Direction 1 is to the left of a walker from the line's start to its end.
TEST(LiveView, ArrowsPointTheWayThatIsCounted) {
    host::LiveScene scene = one_line();
    const auto above_first = [&scene] {
        // At 8 % of the line, where direction 1 stands.
        return pixels_of(drawn_from({}, scene)(cv::Rect(220, 230, 40, 60)), host::line_colour(0),
                         3.0);
    };
    EXPECT_GT(above_first(), 100);
    scene.lines[0].flip = true;
    EXPECT_EQ(above_first(), 0);
}

TEST(LiveView, DetectedBoxesAreDashedAroundTheTracks) {
    const host::Event tracks = shown({person(4, 400, 200)});
    const host::Event detected = shown({person(4, 400, 200)}, true);
    const cv::Mat without = drawn_from({tracks});
    const cv::Mat with = drawn_from({tracks, detected});
    const cv::Scalar dim = host::live_class_colour(1) * 0.75;
    const cv::Rect left_edge(395, 200, 3, 64);
    EXPECT_EQ(pixels_of(without(left_edge), dim, 2.0), 0);
    const int dashes = pixels_of(with(left_edge), dim, 2.0);
    EXPECT_GT(dashes, 20);
    EXPECT_LT(dashes, 50);  // of 68 pixels
}

TEST(LiveView, NoNumberInAMessageDoesHarm) {
    host::ShownTrack track;
    std::vector<host::ShownTrack> tracks;
    for (const std::int32_t wild :
         {std::numeric_limits<std::int32_t>::min(), -1, std::numeric_limits<std::int32_t>::max()}) {
        track.track = wild;
        track.x = track.y = track.w = track.h = wild;
        track.height_mm = std::numeric_limits<std::uint32_t>::max();
        track.gender = track.staff = wild;
        track.trail.assign(VCA_SHOW_TRAIL_MAX, {wild, wild});
        tracks.push_back(track);
    }
    tracks.push_back(person(4, 400, 200));
    host::RegionPerson stay;
    stay.track = 4;
    stay.regions[3] = {255, std::numeric_limits<std::int32_t>::min()};
    host::LiveScene scene = one_region();
    scene.regions.resize(6, scene.regions[0]);
    const cv::Mat picture = drawn_from(
        {shown(tracks), shown(tracks, true), regions({-1, 1 << 30, 0, 0}, {stay})}, scene);
    EXPECT_GT(pixels_of(picture, host::live_class_colour(1)), 100);
}

TEST(Overlay, LabelsTakeTheFirstFreePlace) {
    host::FreePlaces places({200, 100});
    const std::vector<cv::Point> wanted{{50, 50}, {50, 20}, {150, 90}};
    EXPECT_EQ(places.take_best({40, 20}, wanted), cv::Rect(50, 50, 40, 20));
    EXPECT_EQ(places.take_best({40, 20}, wanted), cv::Rect(50, 20, 40, 20));
    EXPECT_EQ(places.take_best({40, 20}, wanted), cv::Rect(150, 80, 40, 20));  // moved inside
    EXPECT_EQ(places.take_best({40, 20}, wanted), cv::Rect(50, 50, 40, 20));
}

TEST(Overlay, ShadesMixAndKeepInside) {
    cv::Mat image(20, 20, CV_8UC3, cv::Scalar::all(100));
    host::shade(image, {-5, -5, 10, 10}, cv::Scalar(200, 100, 0), 0.5);
    EXPECT_EQ(image.at<cv::Vec3b>(4, 4), cv::Vec3b(150, 100, 50));
    EXPECT_EQ(image.at<cv::Vec3b>(5, 5), cv::Vec3b(100, 100, 100));
    host::shade(image, {50, 50, 10, 10}, cv::Scalar(200, 100, 0), 0.5);
    host::shade_polygon(image, {{10, 10}, {40, 10}, {40, 40}, {10, 40}}, cv::Scalar(0, 0, 200),
                        1.0);
    EXPECT_EQ(image.at<cv::Vec3b>(15, 15), cv::Vec3b(0, 0, 200));
    EXPECT_EQ(image.at<cv::Vec3b>(9, 15), cv::Vec3b(100, 100, 100));
}

}  // namespace
