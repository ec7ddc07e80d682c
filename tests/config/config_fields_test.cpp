// Every field of the configuration message on its way into the record.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <memory>

#include "tests/support/log_lines.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"
#include "tests/support/test_config.h"

namespace {

using testing::ElementsAre;

VCA_DEV_CFG_S& record() {
    return *dev_get_config();
}

void apply(const VCA_ALGO_CFG_S& cfg) {
    test::StdoutCapture out;
    test::apply_config(cfg);
}

TEST(ConfigFields, BeforeTheFirstMessage) {
    ASSERT_NE(dev_get_config(), nullptr);
    auto zero = std::make_unique<VCA_DEV_CFG_S>();
    std::memset(zero.get(), 0, sizeof(*zero));
    zero->InstallHeight = 3000;
    EXPECT_EQ(std::memcmp(zero.get(), dev_get_config(), sizeof(*zero)), 0);
    EXPECT_EQ(vca_dev_get_install_height(), 3000);
    EXPECT_EQ(vca_dev_get_work_mode(), 0);
}

TEST(ConfigFields, PlainConfiguration) {
    apply(test::plain_config());
    EXPECT_EQ(record().DevType, 2);
    EXPECT_EQ(record().srcImgWidth, 960);
    EXPECT_EQ(record().srcImgHeight, 544);
    EXPECT_EQ(record().UturnFilter, 1);
    EXPECT_EQ(record().CartEn, 0);
    EXPECT_EQ(record().PersonDetMode, 1);
    EXPECT_EQ(record().GroupSpdTimesMax, 1.75f);
    EXPECT_EQ(record().TargetHeightMin, 500);
    EXPECT_EQ(record().TargetHeightMax, 2500);
    EXPECT_THAT(record().cscdMapSize, ElementsAre(0, 0, 960, 544));
}

// One message field and the record field it must reach; nothing else of the record may change.
struct Field {
    const char* name;
    std::function<void(VCA_ALGO_CFG_S&)> set;
    std::function<void(VCA_DEV_CFG_S&)> expect;
};

const Field kFields[] = {
    {"InstallHeight", [](auto& m) { m.InstallHeight = 3001; },
     [](auto& r) { r.InstallHeight = 3001; }},
    {"AcceleroEn", [](auto& m) { m.AcceleroEn = 1; }, [](auto& r) { r.AcceleroEn = 1; }},
    {"TargetHeightMax", [](auto& m) { m.TargetHeightMax = 2001; },
     [](auto& r) { r.TargetHeightMax = 2001; }},
    {"TargetHeightMin", [](auto& m) { m.TargetHeightMin = -7; },
     [](auto& r) { r.TargetHeightMin = -7; }},
    {"ChildDistinction", [](auto& m) { m.ChildDistinction = 1; },
     [](auto& r) { r.ChildDistinction = 1; }},
    {"ChildHeightThresh", [](auto& m) { m.ChildHeightThresh = 1200; },
     [](auto& r) { r.ChildHeightThresh = 1200; }},
    {"StandAloneTrk", [](auto& m) { m.StandAloneTrk = 1; },
     [](auto& r) {
         r.StandAloneTrkMd = VCA_POSITION_FOOT;
         r.GroupDistMax = 201;  // 250 - 195 * 0.25 = 201.25, rounded
     }},
    {"StandAloneTrk negative", [](auto& m) { m.StandAloneTrk = -1; },
     [](auto& r) {
         r.StandAloneTrkMd = VCA_POSITION_FOOT;
         r.GroupDistMax = 201;
     }},
    {"GenderRecognize", [](auto& m) { m.GenderRecognize = 1; },
     [](auto& r) { r.GenderRecognize = 1; }},
    {"StaffDetection", [](auto& m) { m.StaffDetection = 1; },
     [](auto& r) { r.StaffDetection = 1; }},
    {"StaffDetectSens", [](auto& m) { m.StaffDetectSens = 77; },
     [](auto& r) { r.StaffDetectSens = 77; }},
    {"GroupEn", [](auto& m) { m.GroupEn = 1; }, [](auto& r) { r.GroupEn = 1; }},
    {"GroupObjNumMax", [](auto& m) { m.GroupObjNumMax = 31; },
     [](auto& r) { r.GroupObjNumMax = 31; }},
    {"GroupObjNumMin", [](auto& m) { m.GroupObjNumMin = 3; },
     [](auto& r) { r.GroupObjNumMin = 3; }},
    {"HtmpEn", [](auto& m) { m.HtmpEn = 1; }, [](auto& r) { r.HtmpEn = 1; }},
    {"UturnEn 2", [](auto& m) { m.line[2].UturnEn = 1; }, [](auto& r) { r.UturnEn[2] = 1; }},
    {"Flip 3", [](auto& m) { m.line[3].Flip = 1; }, [](auto& r) { r.line[3].Flip = 1; }},
    {"LineEn 1", [](auto& m) { m.line[1].LineEn = 1; }, [](auto&) {}},
    {"RgnEn", [](auto& m) { m.RgnEn = 1; }, [](auto& r) { r.RgnEn = 1; }},
    {"cscdMapSize",
     [](auto& m) {
         m.cscdMapSize[0] = 11;
         m.cscdMapSize[1] = -12;
         m.cscdMapSize[2] = 1300;
         m.cscdMapSize[3] = 1400;
     },
     [](auto& r) {
         r.cscdMapSize[0] = 11;
         r.cscdMapSize[1] = -12;
         r.cscdMapSize[2] = 1300;
         r.cscdMapSize[3] = 1400;
     }},
    {"ShowDetectBox", [](auto& m) { m.ShowDetectBox = 1; }, [](auto& r) { r.ShowDetectBox = 1; }},
    {"ShowHistoryBox", [](auto& m) { m.ShowHistoryBox = 1; },
     [](auto& r) { r.ShowHistoryBox = 1; }},
    {"ExclTotalEn", [](auto& m) { m.ExclTotalEn = 1; }, [](auto& r) { r.ExclTotalEn = 1; }},
    {"excl 1 type", [](auto& m) { m.excl[1].type = 1; }, [](auto& r) { r.ExclType[1] = 0; }},
    {"excl reserved", [](auto& m) { m.excl[1].reserved = 9; }, [](auto&) {}},
    {"en of a region without points",
     [](auto& m) {
         m.rgn[0].used = 1;
         m.rgn[0].en_a = 1;
         m.rgn[0].en_b = 1;
     },
     [](auto&) {}},
    {"DetectModel 1", [](auto& m) { m.DetectModel = VCA_DETECT_COLOUR; },
     [](auto& r) { r.DetectModel = VCA_DETECT_COLOUR; }},
    {"DetectModel 2", [](auto& m) { m.DetectModel = VCA_DETECT_DEPTH; },
     [](auto& r) { r.DetectModel = VCA_DETECT_DEPTH; }},
    {"DetectModel 3", [](auto& m) { m.DetectModel = 3; }, [](auto&) {}},
    {"DetectModel -1", [](auto& m) { m.DetectModel = -1; }, [](auto&) {}},
    {"padding",
     [](auto& m) {
         m.pad0[1] = 0x55;
         m.pad6[0] = 1;
         m.rgn[2].pad0[3] = 1;
     },
     [](auto&) {}},
};

TEST(ConfigFields, EachFieldReachesItsOwnAndNothingElse) {
    apply(test::plain_config());
    const auto plain = std::make_unique<VCA_DEV_CFG_S>(record());
    for (const Field& field : kFields) {
        SCOPED_TRACE(field.name);
        auto message = test::plain_config();
        field.set(message);
        apply(message);
        auto expected = std::make_unique<VCA_DEV_CFG_S>();
        std::memcpy(expected.get(), plain.get(), sizeof(*expected));
        field.expect(*expected);
        EXPECT_EQ(std::memcmp(expected.get(), dev_get_config(), sizeof(*expected)), 0);
        apply(test::plain_config());
        EXPECT_EQ(std::memcmp(plain.get(), dev_get_config(), sizeof(*plain)), 0)
            << "something of the earlier configuration survived";
    }
}

TEST(ConfigFields, WorkModes) {
    for (const int32_t mode : {1, 2, 0, 5, -1}) {
        auto message = test::plain_config();
        message.devWorkMode = mode;
        apply(message);
        EXPECT_EQ(record().devWorkMode, mode);
        EXPECT_EQ(vca_dev_get_work_mode(), mode);
    }
}

TEST(ConfigFields, HighInstallIsTakenOverWithTheNextMessage) {
    dev_set_high_install_enable(true);
    EXPECT_EQ(record().HighInstall, 0);
    apply(test::plain_config());
    EXPECT_EQ(record().HighInstall, 1);
    dev_set_high_install_enable(false);
    EXPECT_EQ(record().HighInstall, 1);
    apply(test::plain_config());
    EXPECT_EQ(record().HighInstall, 0);
}

TEST(ConfigFields, ChannelIsIgnoredAndThePayloadStays) {
    auto message = test::plain_config();
    message.HtmpEn = 1;
    const auto copy = message;
    test::StdoutCapture out;
    vca_algo_set_cfg_params(-1234, &message);
    EXPECT_EQ(record().HtmpEn, 1);
    EXPECT_EQ(std::memcmp(&copy, &message, sizeof(copy)), 0);
}

TEST(ConfigFields, MessageIsReadFromItsBytes) {
    // Offsets of the wire format, written without the record's field names.
    std::vector<uint8_t> bytes(1916, 0);
    const auto put = [&](size_t offset, int32_t value) {
        std::memcpy(bytes.data() + offset, &value, 4);
    };
    put(0, 1);
    put(4, 4200);
    put(12, 2222);
    put(16, 1111);
    put(28, 1);
    bytes[44] = 1;
    put(48, 9);
    put(52, 4);
    bytes[56] = 1;
    bytes[60 + 192 + 4] = 1;  // line 1, point 0
    put(60 + 192 + 8, 100);
    put(60 + 192 + 12, 50);
    bytes[60 + 192 + 16] = 1;  // line 1, point 1
    put(60 + 192 + 20, 300);
    put(60 + 192 + 24, 60);
    bytes[60 + 192 + 188] = 1;
    bytes[828] = 1;
    put(1376, 5);
    put(1380, 6);
    put(1384, 700);
    put(1388, 800);
    bytes[1392] = 1;
    bytes[1393] = 1;
    put(1396 + 128 + 4, 1);
    bytes[1908] = 1;
    put(1912, 2);
    test::StdoutCapture out;
    vca_algo_set_cfg_params(0, bytes.data());
    EXPECT_EQ(record().devWorkMode, 1);
    EXPECT_EQ(record().InstallHeight, 4200);
    EXPECT_EQ(record().TargetHeightMax, 2222);
    EXPECT_EQ(record().TargetHeightMin, 1111);
    EXPECT_EQ(record().StandAloneTrkMd, 2);
    EXPECT_EQ(record().GroupEn, 1);
    EXPECT_EQ(record().GroupObjNumMax, 9);
    EXPECT_EQ(record().GroupObjNumMin, 4);
    EXPECT_EQ(record().HtmpEn, 1);
    EXPECT_EQ(record().line[1].pt[1].x, 300);
    EXPECT_EQ(record().line[1].Flip, 1);
    EXPECT_THAT(record().LineEn, ElementsAre(0, 1, 0, 0));
    EXPECT_EQ(record().RgnEn, 1);
    EXPECT_THAT(record().cscdMapSize, ElementsAre(5, 6, 700, 800));
    EXPECT_EQ(record().ShowDetectBox, 1);
    EXPECT_EQ(record().ExclTotalEn, 1);
    EXPECT_THAT(record().ExclType, ElementsAre(1, 0, 1, 1));
    EXPECT_EQ(record().ShowHistoryBox, 1);
    EXPECT_EQ(record().DetectModel, 2);
}

void learn_floor() {
    std::vector<uint16_t> depth(480 * 256, 3000);
    vca_data_init(vca_get_pCtrl_param());
    vca_depth_algo_init();
    for (int i = 0; i < 6; ++i)
        vca_update_depth_map(depth.data());
    ASSERT_EQ(vca_depth_get_state()->depthMap[0][0], 3000);
}

TEST(ConfigFields, SameHeightKeepsTheLearntFloor) {
    apply(test::plain_config());
    learn_floor();
    auto message = test::plain_config();
    message.GroupEn = 1;
    apply(message);
    EXPECT_EQ(vca_depth_get_state()->depthMap[0][0], 3000);
    message.InstallHeight = 3001;
    apply(message);
    EXPECT_EQ(vca_depth_get_state()->depthMap[0][0], 0);
    EXPECT_EQ(vca_depth_get_state()->depthMap[7][7], 0);
}

TEST(ConfigFields, FirstMessageAtThreeMetresKeepsTheLearntFloor) {
    // The record starts at 3000, so 3000 is no change.
    learn_floor();
    apply(test::plain_config());
    EXPECT_EQ(vca_depth_get_state()->depthMap[0][0], 3000);
}

TEST(ConfigFields, HostileMessageStaysInBounds) {
    VCA_ALGO_CFG_S message;
    for (const int pattern : {0xFF, 0x80, 0x7F, 0x01}) {
        std::memset(static_cast<void*>(&message), pattern, sizeof(message));
        apply(message);
        EXPECT_EQ(record().DetectModel, 0);
        EXPECT_EQ(record().StandAloneTrkMd, 2);
    }
}

TEST(ConfigFields, NothingIsNoMessage) {
    apply(test::plain_config());
    const auto before = std::make_unique<VCA_DEV_CFG_S>(record());
    vca_algo_set_cfg_params(0, nullptr);
    EXPECT_EQ(std::memcmp(&record(), before.get(), sizeof(VCA_DEV_CFG_S)), 0);
}

}  // namespace
