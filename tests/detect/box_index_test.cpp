// The index of boxes leaves out only boxes that do not overlap.
#include "detect/box_index.h"

#include <gtest/gtest.h>

#include <climits>
#include <iterator>
#include <random>
#include <vector>

namespace {

using vca::BoxIndex;
using vca::BoxSet;

std::vector<int> numbers(const BoxSet& set) {
    std::vector<int> list;
    set.for_each([&](int32_t number) { list.push_back(number); });
    return list;
}

bool holds(const BoxSet& set, int32_t number) {
    return set.any_of([&](int32_t found) { return found == number; });
}

DET_OBJ_S box_of(int32_t x, int32_t y, int32_t w, int32_t h) {
    DET_OBJ_S box{};
    box.x = x;
    box.y = y;
    box.w = w;
    box.h = h;
    return box;
}

// Every box whose IoU with another is above 0, by the plain search, must be near it. Returns how
// many pairs there were and how many of all were left out.
struct Outcome {
    int overlapping = 0;
    int left_out = 0;
};

Outcome compare(const std::vector<DET_OBJ_S>& boxes) {
    const auto num = static_cast<int32_t>(boxes.size());
    BoxIndex index(boxes.data(), num);
    for (int32_t i = 0; i < num; ++i)
        index.add(index.cells_of(boxes[static_cast<size_t>(i)]), i);
    Outcome outcome;
    for (const DET_OBJ_S& box : boxes) {
        const BoxSet near = index.near(index.cells_of(box));
        for (size_t i = 0; i < boxes.size(); ++i) {
            const bool is_near = holds(near, static_cast<int32_t>(i));
            outcome.left_out += is_near ? 0 : 1;
            if (!(vca_rgn_calc_IoU(&box, &boxes[i]) > 0.0f)) continue;
            ++outcome.overlapping;
            EXPECT_TRUE(is_near) << box.x << " " << box.y << " " << box.w << " " << box.h << " and "
                                 << boxes[i].x << " " << boxes[i].y << " " << boxes[i].w << " "
                                 << boxes[i].h;
        }
    }
    return outcome;
}

TEST(BoxSet, NumbersComeInAscendingOrder) {
    BoxSet set;
    for (const int number : {127, 0, 64, 63, 5})
        set.add(number);
    EXPECT_EQ(numbers(set), (std::vector<int>{0, 5, 63, 64, 127}));
    BoxSet other;
    other.add(64);
    other.add(7);
    BoxSet both = set;
    EXPECT_EQ(numbers(both &= other), std::vector<int>{64});
    EXPECT_EQ(numbers(other |= set), (std::vector<int>{0, 5, 7, 63, 64, 127}));
}

TEST(BoxIndex, EmptyListHasNobodyNear) {
    const BoxIndex index(nullptr, 0);
    EXPECT_TRUE(numbers(index.near(index.cells_of(box_of(0, 0, 960, 544)))).empty());
}

TEST(BoxIndex, OnlyBoxesThatWereAddedAreNear) {
    const std::vector<DET_OBJ_S> boxes(3, box_of(40, 40, 20, 20));
    BoxIndex index(boxes.data(), 3);
    const BoxIndex::Cells cells = index.cells_of(boxes[0]);
    EXPECT_TRUE(numbers(index.near(cells)).empty());
    index.add(cells, 2);
    index.add(cells, 0);
    EXPECT_EQ(numbers(index.near(cells)), (std::vector<int>{0, 2}));
}

TEST(BoxIndex, PeopleOfAPicture) {
    std::mt19937 random(1);
    int overlapping = 0;
    int left_out = 0;
    for (int round = 0; round < 50; ++round) {
        std::vector<DET_OBJ_S> boxes(VCA_DET_MAX);
        for (DET_OBJ_S& box : boxes)
            box = box_of(static_cast<int32_t>(random() % 1000) - 20,
                         static_cast<int32_t>(random() % 560) - 10,
                         static_cast<int32_t>(random() % 90), static_cast<int32_t>(random() % 90));
        const Outcome outcome = compare(boxes);
        overlapping += outcome.overlapping;
        left_out += outcome.left_out;
    }
    EXPECT_GT(overlapping, 10000);
    EXPECT_GT(left_out, 50 * VCA_DET_MAX * VCA_DET_MAX * 3 / 4);  // or it would be of no use
}

// Coordinates at the ends of i32, where sums wrap, beside ordinary ones.
TEST(BoxIndex, AnyCoordinates) {
    std::mt19937 random(2);
    const int32_t corners[] = {INT_MIN, INT_MIN + 1, -(1 << 28), -(1 << 28) + 1, -1,
                               0,       1,           40,         (1 << 28) - 1,  1 << 28,
                               1 << 30, INT_MAX - 1, INT_MAX};
    const auto any = [&] { return corners[random() % std::size(corners)]; };
    int overlapping = 0;
    for (int round = 0; round < 200; ++round) {
        std::vector<DET_OBJ_S> boxes(60);
        for (DET_OBJ_S& box : boxes)
            box = box_of(any(), any(), any(), any());
        overlapping += compare(boxes).overlapping;
    }
    EXPECT_GT(overlapping, 10000);
}

// A map of many devices is wider than a picture; the cells grow with it.
TEST(BoxIndex, WideMap) {
    std::vector<DET_OBJ_S> boxes;
    for (int i = 0; i < 100; ++i)
        boxes.push_back(box_of(700 * i, 200, 60, 60));
    const Outcome outcome = compare(boxes);
    EXPECT_EQ(outcome.overlapping, 100);
    EXPECT_GT(outcome.left_out, 9000);
}

}  // namespace
