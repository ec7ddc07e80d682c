// Which lines and regions are said to count wrong.
#include "host/settings/place_warnings.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Points = std::vector<host::PicturePoint>;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class Places : public ::testing::Test {
  protected:
    void line(const Points& points) { lines_.push_back({"gate", points, false, {}, false}); }
    void region(const Points& points) { regions_.push_back({"till", points}); }
    void exclude(const Points& points) { exclusions_.push_back(points); }

    std::vector<std::string> warnings() const {
        return texts_of(host::place_warnings({lines_, regions_, exclusions_}));
    }
    std::vector<std::string> edges(const host::CameraModel& camera = {},
                                   bool foot_point = false) const {
        const host::CountedPlaces places{lines_, regions_, exclusions_};
        std::vector<host::PlaceWarning> warnings =
            host::line_edge_warnings(places, 960, 544, camera, foot_point);
        for (const host::PlaceWarning& warning : host::region_edge_warnings(places, 960, 544))
            warnings.push_back(warning);
        return texts_of(warnings);
    }

    std::vector<std::string> unseen(const host::Tilt& tilt, bool foot_point) const {
        const host::CameraModel camera{257.37, 242.23, 240.0, 128.0, 3000.0, tilt};
        return texts_of(
            host::unseen_line_warnings({lines_, regions_, exclusions_}, camera, foot_point));
    }

  private:
    std::vector<host::CountingLine> lines_;
    std::vector<host::CountingRegion> regions_;
    std::vector<Points> exclusions_;
};

// Under a camera that looks 10 degrees to the right the level picture is black at the left.
TEST_F(Places, ALineWhereACrookedCameraSeesNoHeadsIsMentioned) {
    line({{300, 200}, {300, 340}});
    EXPECT_THAT(unseen({10.0, 0.0}, false), IsEmpty());
    EXPECT_THAT(unseen({10.0, 0.0}, true), ElementsAre(HasSubstr("a part of the line \"gate\"")));
    EXPECT_THAT(unseen({-10.0, 0.0}, true), IsEmpty());
    line({{30, 200}, {300, 200}});
    EXPECT_EQ(unseen({10.0, 0.0}, false).size(), 1u);
}

TEST_F(Places, GoodOnesAreNotMentioned) {
    line({{0, 272}, {959, 272}});
    line({{100, 100}, {500, 400}, {800, 100}});
    line({{480, 272}, {500, 272}});
    region({{0, 0}, {959, 0}, {959, 543}, {0, 543}});
    exclude({{0, 450}, {300, 450}, {300, 543}, {0, 543}});
    EXPECT_THAT(warnings(), IsEmpty());
    EXPECT_THAT(edges(), IsEmpty());
}

TEST_F(Places, ThatCrossThemselves) {
    line({{100, 100}, {500, 400}, {500, 100}, {100, 400}});
    region({{100, 100}, {400, 400}, {400, 100}, {100, 400}});
    EXPECT_THAT(warnings(), ElementsAre(HasSubstr("the line \"gate\" crosses itself"),
                                        HasSubstr("the region \"till\" crosses itself")));
}

TEST_F(Places, ThatNobodyMeets) {
    line({{480, 272}, {481, 272}});
    EXPECT_THAT(warnings(), ElementsAre(HasSubstr("is shorter than people are wide")));
}

TEST_F(Places, ThatAreExcludedAltogether) {
    line({{100, 200}, {400, 200}});
    region({{100, 100}, {400, 100}, {400, 300}, {100, 300}});
    exclude({{50, 50}, {250, 50}, {250, 350}, {50, 350}});
    EXPECT_THAT(warnings(),
                ElementsAre(HasSubstr("the line \"gate\" lies partly in exclusion areas")));
    exclude({{250, 50}, {450, 50}, {450, 350}, {250, 350}});
    EXPECT_THAT(warnings(),
                ElementsAre(HasSubstr("the line \"gate\" lies entirely in exclusion areas"),
                            HasSubstr("the region \"till\" lies entirely in exclusion areas")));
}

// 26 pixels past a line are needed on either side.
TEST_F(Places, AtTheEdgeOfThePicture) {
    line({{0, 27}, {959, 27}});
    EXPECT_THAT(edges(), IsEmpty());
    line({{0, 20}, {959, 20}});
    line({{950, 0}, {950, 543}});
    region({{0, 0}, {959, 0}, {959, 18}, {0, 18}});
    EXPECT_THAT(edges(), ElementsAre(HasSubstr("the line \"gate\" runs along the edge"),
                                     HasSubstr("the line \"gate\" runs along the edge"),
                                     HasSubstr("the region \"till\" lies at the edge")));
}

// 3 m below the lens a pixel is 5.83 mm wide: 26 of them are 0.15 m. Whoever is 1.7 m tall shows
// the head 2.3 times as far from the middle as the feet.
TEST_F(Places, AtTheEdgeAreToldInMetres) {
    const host::CameraModel camera{257.37, 242.23, 240.0, 128.0, 3000.0, {}};
    line({{0, 20}, {959, 20}});
    line({{0, 27}, {959, 27}});
    EXPECT_THAT(edges(camera, false),
                ElementsAre("the line \"gate\" is too near the edge: people are seen only 0.1 m "
                            "beyond it, 0.2 m are needed"));
    line({{300, 370}, {600, 370}});
    EXPECT_THAT(edges(camera, true),
                ElementsAre(HasSubstr("hardly in the picture"), HasSubstr("hardly in the picture"),
                            HasSubstr("only 0.1 m beyond it")));
}

TEST_F(Places, ThatACameraDoesNotSee) {
    line({});
    region({});
    EXPECT_THAT(warnings(), IsEmpty());
    EXPECT_THAT(edges(), IsEmpty());
}

}  // namespace
