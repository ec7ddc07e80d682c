// Segment intersection and point-to-line distance.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <random>

#include "tests/track/fixtures.h"

namespace {

LINE_SEG_S seg(int x0, int y0, int x1, int y1) {
    return {{x0, y0}, {x1, y1}};
}

LINE_SEG_S reversed(const LINE_SEG_S& s) {
    return {s.end, s.start};
}

struct Row {
    const char* what;
    LINE_SEG_S a;
    LINE_SEG_S b;
    bool meet;
};

// The rule does not depend on the sense of either segment as long as both end points of b are
// judged alike; rows where b.start alone decides have `b` given both ways.
const Row kRows[] = {
    {"interiors cross", seg(0, 0, 10, 10), seg(0, 10, 10, 0), true},
    {"parallel", seg(0, 0, 10, 0), seg(0, 5, 10, 5), false},
    {"apart", seg(0, 0, 10, 10), seg(20, 0, 30, 7), false},
    {"b would meet a's extension", seg(0, 0, 4, 4), seg(0, 20, 20, 0), false},
    {"a would meet b's extension", seg(0, 20, 20, 0), seg(0, 0, 4, 4), false},
    {"b.start on a's interior", seg(0, 0, 10, 0), seg(5, 0, 5, 9), true},
    {"b.end on a's interior", seg(0, 0, 10, 0), seg(5, 9, 5, 0), true},
    {"b.start on a.start", seg(0, 0, 10, 0), seg(0, 0, 3, 9), true},
    {"b.end on a.end", seg(0, 0, 10, 0), seg(3, 9, 10, 0), true},
    {"b.start collinear beyond a", seg(0, 0, 10, 0), seg(11, 0, 20, 5), false},
    {"b.start collinear just beyond a, b.end elsewhere", seg(0, 0, 10, 0), seg(-1, 0, 5, 5), false},
    {"b.start collinear beyond a, b.end on a", seg(0, 0, 10, 0), seg(20, 0, 5, 0), true},
    {"b.end collinear beyond a, b.start on a", seg(0, 0, 10, 0), seg(5, 0, 20, 0), true},
    {"collinear, a inside b", seg(4, 0, 6, 0), seg(0, 0, 10, 0), false},
    {"collinear apart", seg(0, 0, 10, 0), seg(11, 0, 20, 0), false},
    {"collinear on a vertical", seg(5, 0, 5, 10), seg(5, 10, 5, 20), true},
    {"vertical, beyond in y only", seg(5, 0, 5, 10), seg(5, 11, 9, 20), false},
    {"a.end on b's interior", seg(5, 9, 5, 0), seg(0, 0, 10, 0), false},
    {"a.start on b's interior", seg(5, 0, 5, 9), seg(0, 0, 10, 0), false},
    {"a is a point on b", seg(5, 0, 5, 0), seg(0, 0, 10, 0), false},
    {"a is a point, b starts there", seg(5, 5, 5, 5), seg(5, 5, 9, 9), true},
    {"a is a point, b ends there", seg(5, 5, 5, 5), seg(9, 9, 5, 5), true},
    {"b is a point on a", seg(0, 0, 10, 10), seg(5, 5, 5, 5), true},
    {"b is a point beside a", seg(0, 0, 10, 10), seg(5, 6, 5, 6), false},
};

TEST(LinesIntersect, TableForwardAndReversed) {
    for (const Row& row : kRows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(doLinesIntersect(row.a, row.b), row.meet);
        EXPECT_EQ(doLinesIntersect(reversed(row.a), row.b), row.meet) << "a reversed";
        EXPECT_EQ(doLinesIntersect(row.a, reversed(row.b)), row.meet) << "b reversed";
        EXPECT_EQ(doLinesIntersect(reversed(row.a), reversed(row.b)), row.meet) << "both reversed";
    }
}

TEST(LinesIntersect, ProductsWrap) {
    // Widened, b ends left and right of a and a above and below b. In 32 bits
    // orient(a, b.start) = 65536 * 65536 wraps to 0, so b.start counts as collinear with a; it is
    // outside a's box, and so b.end decides: orient = -65536 * 65536 wraps to 0, outside as well.
    const LINE_SEG_S a = seg(0, 0, 0, 65536);
    const LINE_SEG_S b = seg(65536, 30000, -65536, 30000);
    EXPECT_FALSE(doLinesIntersect(a, b));
    // all four values wrap (40000 * 60000 = 2.4e9 becomes negative), the signs still differ
    EXPECT_TRUE(doLinesIntersect(seg(0, 0, 0, 40000), seg(60000, 20000, -60000, 20000)));
    // only one side wraps: 2.4e9 becomes negative like 40000 * -10
    EXPECT_FALSE(doLinesIntersect(seg(0, 0, 0, 40000), seg(60000, 20000, -10, 20000)));
}

// Unsigned arithmetic keeps the low 32 bits, which as a signed number give the sign.
int orient(POINT_POS_S u, POINT_POS_S v, POINT_POS_S w) {
    const auto less = [](int32_t a, int32_t b) {
        return static_cast<uint32_t>(a) - static_cast<uint32_t>(b);
    };
    const auto value =
        static_cast<int32_t>(less(v.y, u.y) * less(w.x, v.x) - less(v.x, u.x) * less(w.y, v.y));
    return value == 0 ? 0 : value > 0 ? 1 : -1;
}

bool within(POINT_POS_S p, const LINE_SEG_S& s) {
    return p.x >= std::min(s.start.x, s.end.x) && p.x <= std::max(s.start.x, s.end.x) &&
           p.y >= std::min(s.start.y, s.end.y) && p.y <= std::max(s.start.y, s.end.y);
}

bool meet_slowly(const LINE_SEG_S& a, const LINE_SEG_S& b) {
    const int o1 = orient(a.start, a.end, b.start);
    const int o2 = orient(a.start, a.end, b.end);
    const int o3 = orient(b.start, b.end, a.start);
    const int o4 = orient(b.start, b.end, a.end);
    if (o1 != 0 && o2 != 0 && o3 != 0 && o4 != 0 && o1 != o2 && o3 != o4) return true;
    if (o1 == 0 && within(b.start, a)) return true;
    return o2 == 0 && within(b.end, a);
}

TEST(LinesIntersect, AgreesWithThePlainRule) {
    std::mt19937 rng(4);
    for (const int reach : {3, 12, 900, 20000}) {
        std::uniform_int_distribution<int> pos(-reach, reach);
        int met = 0;
        for (int i = 0; i < 10000; ++i) {
            const LINE_SEG_S a = seg(pos(rng), pos(rng), pos(rng), pos(rng));
            const LINE_SEG_S b = seg(pos(rng), pos(rng), pos(rng), pos(rng));
            met += meet_slowly(a, b);
            ASSERT_EQ(doLinesIntersect(a, b), meet_slowly(a, b))
                << a.start.x << ',' << a.start.y << ' ' << a.end.x << ',' << a.end.y << " / "
                << b.start.x << ',' << b.start.y << ' ' << b.end.x << ',' << b.end.y;
        }
        EXPECT_GT(met, 500);
        EXPECT_LT(met, 9500);
    }
}

TEST(LinesIntersect, ExtremeCoordinatesWrap) {
    const int ends[] = {INT_MIN, INT_MIN + 1, -1, 0, 1, INT_MAX - 1, INT_MAX};
    for (const int x : ends)
        for (const int y : ends)
            for (const int z : ends) {
                const LINE_SEG_S a = seg(x, y, y, z);
                const LINE_SEG_S b = seg(z, x, y, 0);
                EXPECT_EQ(doLinesIntersect(a, b), meet_slowly(a, b)) << x << ' ' << y << ' ' << z;
            }
}

TEST(LineDistance, PointsOfAHorizontal) {
    EXPECT_EQ(point_to_line_min_dis({5, 7}, {0, 0}, {10, 0}), 7.0f);
    EXPECT_EQ(point_to_line_min_dis({5, 0}, {0, 0}, {10, 0}), 0.0f);
    EXPECT_EQ(point_to_line_min_dis({5, -7}, {10, 0}, {0, 0}), 7.0f);
}

TEST(LineDistance, FootIsNotClampedToTheSegment) {
    EXPECT_EQ(point_to_line_min_dis({20, 5}, {0, 0}, {10, 0}), 5.0f);
    EXPECT_EQ(point_to_line_min_dis({-20, 5}, {0, 0}, {10, 0}), 5.0f);
}

TEST(LineDistance, CoincidingEndsGiveThePointDistance) {
    EXPECT_EQ(point_to_line_min_dis({3, 4}, {0, 0}, {0, 0}), 5.0f);
    EXPECT_EQ(point_to_line_min_dis({1, 1}, {2, 2}, {2, 2}), sqrtf(2.0f));
}

TEST(LineDistance, FootIsTruncatedToWholePixels) {
    // dot = 5, len = sqrtf(10), t = 0.5: foot (1.5, 0.5) becomes (1, 0), 2 away from (1, 2)
    EXPECT_EQ(point_to_line_min_dis({1, 2}, {0, 0}, {3, 1}), 2.0f);
    // the same mirrored through the origin: (-1.5, -0.5) truncates toward zero to (-1, 0)
    EXPECT_EQ(point_to_line_min_dis({-1, -2}, {0, 0}, {-3, -1}), 2.0f);
}

TEST(LineDistance, DotProductWraps) {
    // dot = 65536 * 65536 wraps to 0, so the foot is a itself
    EXPECT_EQ(point_to_line_min_dis({65536, 5}, {0, 0}, {65536, 0}),
              sqrtf(65536.f * 65536.f + 25.f));
}

TEST(LineDistance, StaysWithinTwoPixelsOfTheExactDistance) {
    std::mt19937 rng(5);
    std::uniform_int_distribution<int> pos(0, 900);
    double worst = 0;
    for (int i = 0; i < 20000; ++i) {
        const POINT_POS_S p{pos(rng), pos(rng)};
        const POINT_POS_S a{pos(rng), pos(rng)};
        const POINT_POS_S b{pos(rng), pos(rng)};
        const double length = std::hypot(b.x - a.x, b.y - a.y);
        if (length < 50) continue;
        const double cross = double(b.x - a.x) * (p.y - a.y) - double(b.y - a.y) * (p.x - a.x);
        const double exact = std::fabs(cross) / length;
        worst = std::max(worst, std::fabs(double{point_to_line_min_dis(p, a, b)} - exact));
    }
    // the foot moves by less than one pixel each way, and t carries a few ulps times the length
    EXPECT_LT(worst, 1.5);
    EXPECT_GT(worst, 0.5);
}

}  // namespace
