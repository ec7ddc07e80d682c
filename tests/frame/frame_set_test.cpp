// Borrowing frame sets from the host and giving them back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/scripted_host.h"

namespace {

using test::Frame;
using test::host;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

VCA_CTRL_S* ctrl() {
    return vca_get_pCtrl_param();
}

void give(const Frame& frame) {
    host().push({frame});
}

void expect_image(const VCA_IMAGE_S& image, const AVS_IVE_FRAME_S& frame) {
    EXPECT_EQ(image.plane_addr, frame.vir_addr);
    EXPECT_EQ(image.map_addr, frame.vir_addr);
    EXPECT_EQ(image.frame_word, frame.word0);
}

TEST(FrameSet, CompleteSetPointsTheImagesAtItsFrames) {
    vca_base_init();
    Frame frame;
    frame.flag = 0x89ABCDEFu;
    give(frame);
    EXPECT_EQ(vca_data_get_real_depth(ctrl()), 0);
    const auto set = host().last_set();
    EXPECT_EQ(ctrl()->frame_flag, 0x89ABCDEFu);
    EXPECT_EQ(ctrl()->reserved1, 0u);
    expect_image(ctrl()->real_img, set.real);
    expect_image(ctrl()->depth_img, set.depth);
    expect_image(ctrl()->raw_img, set.raw);
    EXPECT_NE(set.real.word0, set.raw.word0);
    EXPECT_EQ(host().blocks_held(), 3u);
}

TEST(FrameSet, OtherFieldsOfTheImagesStayTheHosts) {
    vca_base_init();
    VCA_CTRL_S before = *ctrl();
    give({});
    vca_data_get_real_depth(ctrl());
    before.frame_flag = ctrl()->frame_flag;
    for (auto [b, now] : {std::pair{&before.real_img, &ctrl()->real_img},
                          std::pair{&before.depth_img, &ctrl()->depth_img},
                          std::pair{&before.raw_img, &ctrl()->raw_img}}) {
        b->frame_word = now->frame_word;
        b->plane_addr = now->plane_addr;
        b->map_addr = now->map_addr;
    }
    EXPECT_EQ(std::memcmp(&before, ctrl(), sizeof(before)), 0);
}

TEST(FrameSet, PutReleasesFrameByFrame) {
    vca_base_init();
    give({});
    vca_data_get_real_depth(ctrl());
    host().clear_calls();
    EXPECT_EQ(vca_data_put_real_depth(ctrl()), 0);
    EXPECT_THAT(host().call_texts(),
                ElementsAre("ss_mpi_sys_munmap(1001)", "ss_mpi_vb_release_blk(1)",
                            "ss_mpi_sys_munmap(1002)", "ss_mpi_vb_release_blk(2)",
                            "ss_mpi_sys_munmap(1003)", "ss_mpi_vb_release_blk(3)"));
    EXPECT_EQ(host().blocks_held(), 0u);
    EXPECT_EQ(host().mappings_held(), 0u);
}

TEST(FrameSet, SecondPutDoesNothing) {
    vca_base_init();
    give({});
    vca_data_get_real_depth(ctrl());
    vca_data_put_real_depth(ctrl());
    host().clear_calls();
    EXPECT_EQ(vca_data_put_real_depth(ctrl()), 0);
    EXPECT_THAT(host().call_texts(), IsEmpty());
}

TEST(FrameSet, PutBeforeAnyGetDoesNothing) {
    EXPECT_EQ(vca_data_put_real_depth(ctrl()), 0);
    EXPECT_THAT(host().call_texts(), IsEmpty());
}

TEST(FrameSet, BlockWithoutMappingIsReleasedOnly) {
    vca_base_init();
    Frame frame;
    frame.mapped = false;
    give(frame);
    EXPECT_EQ(vca_data_get_real_depth(ctrl()), 0);
    EXPECT_EQ(ctrl()->real_img.plane_addr, 0u);
    host().clear_calls();
    vca_data_put_real_depth(ctrl());
    EXPECT_THAT(host().call_texts(),
                ElementsAre("ss_mpi_vb_release_blk(1)", "ss_mpi_vb_release_blk(2)",
                            "ss_mpi_vb_release_blk(3)"));
}

TEST(FrameSet, FlagZeroIsNeverGivenBack) {
    vca_base_init();
    Frame frame;
    frame.flag = 0;
    give(frame);
    EXPECT_EQ(vca_data_get_real_depth(ctrl()), 0);
    host().clear_calls();
    EXPECT_EQ(vca_data_put_real_depth(ctrl()), 0);
    EXPECT_THAT(host().call_texts(), IsEmpty());
    EXPECT_EQ(host().blocks_held(), 3u);
}

// Every way in which at least one of the three frames can be missing.
class PartialSet : public testing::TestWithParam<int> {};

TEST_P(PartialSet, GoesBackAtOnce) {
    vca_base_init();
    give({});
    vca_data_get_real_depth(ctrl());
    vca_data_put_real_depth(ctrl());
    const VCA_CTRL_S before = *ctrl();
    Frame frame;
    frame.has_real = (GetParam() & 1) != 0;
    frame.has_depth = (GetParam() & 2) != 0;
    frame.has_raw = (GetParam() & 4) != 0;
    frame.flag = 77;
    give(frame);
    host().clear_calls();
    EXPECT_EQ(vca_data_get_real_depth(ctrl()), -1);
    std::vector<std::string> expected = {"avs_read_all_ive"};
    uint32_t block = 4;  // the first set took the blocks 1 to 3
    for (int i = 0; i < 3; ++i) {
        if ((GetParam() & (1 << i)) == 0) continue;
        expected.push_back("ss_mpi_sys_munmap(" + std::to_string(1001 + i) + ")");
        expected.push_back("ss_mpi_vb_release_blk(" + std::to_string(block++) + ")");
    }
    EXPECT_THAT(host().call_texts(), ElementsAreArray(expected));
    EXPECT_EQ(host().blocks_held(), 0u);
    EXPECT_EQ(host().mappings_held(), 0u);
    EXPECT_EQ(std::memcmp(&before, ctrl(), sizeof(before)), 0) << "control block changed";

    host().clear_calls();
    EXPECT_EQ(vca_data_put_real_depth(ctrl()), 0);
    EXPECT_THAT(host().call_texts(), IsEmpty()) << "nothing was held";
    EXPECT_THAT(host().errors(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(AllCombinations, PartialSet, testing::Range(0, 7));

TEST(FrameSet, AddressWithoutBlockIsUnmapped) {
    // A mapped colour frame whose block is missing: the mapping still goes back.
    vca_base_init();
    Frame frame;
    frame.has_real = false;
    frame.map_without_block = true;
    give(frame);
    EXPECT_EQ(vca_data_get_real_depth(ctrl()), -1);
    EXPECT_EQ(host().count_calls("ss_mpi_sys_munmap(1001)"), 1);
    EXPECT_EQ(host().count_calls("ss_mpi_sys_munmap("), 3);
    EXPECT_EQ(host().count_calls("ss_mpi_vb_release_blk("), 2);
    EXPECT_EQ(host().mappings_held(), 0u);
    EXPECT_EQ(host().blocks_held(), 0u);
}

TEST(FrameSet, NextSetAfterAFailureIsTaken) {
    vca_base_init();
    Frame missing;
    missing.has_raw = false;
    give(missing);
    give({});
    EXPECT_EQ(vca_data_get_real_depth(ctrl()), -1);
    EXPECT_EQ(vca_data_get_real_depth(ctrl()), 0);
    expect_image(ctrl()->raw_img, host().last_set().raw);
    vca_data_put_real_depth(ctrl());
    EXPECT_EQ(host().blocks_held(), 0u);
}

}  // namespace
