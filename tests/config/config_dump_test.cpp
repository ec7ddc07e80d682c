// What applying a configuration prints.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/log_lines.h"
#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"
#include "tests/support/test_config.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

VCA_ALGO_CFG_S full_config() {
    auto cfg = test::plain_config();
    cfg.devWorkMode = VCA_WORK_MASTER;
    cfg.InstallHeight = 4000;
    cfg.AcceleroEn = 1;
    cfg.TargetHeightMax = 2100;
    cfg.TargetHeightMin = 700;
    cfg.ChildDistinction = 1;
    cfg.ChildHeightThresh = 1250;
    cfg.StandAloneTrk = 1;
    cfg.GenderRecognize = 1;
    cfg.StaffDetection = 1;
    cfg.StaffDetectSens = 60;
    cfg.GroupEn = 1;
    cfg.GroupObjNumMax = 6;
    cfg.GroupObjNumMin = 2;
    cfg.HtmpEn = 1;
    test::set_line(cfg, 0, {{5, 7}, {955, 500}});
    test::set_line(cfg, 2, {{100, 200}, {300, 1200}, {-20, 44}, {0, 0}, {9, 9}}, true);
    test::set_uturn(cfg, 0, {{10, 20}, {30, 20}, {30, 40}});
    cfg.line[1].UturnEn = 1;
    test::set_region(cfg, 0, {{0, 0}, {959, 0}, {959, 543}, {0, 543}});
    test::set_region(cfg, 3, {{1, 2}, {3, 4}});
    cfg.cscdMapSize[0] = 100;
    cfg.cscdMapSize[1] = 200;
    cfg.cscdMapSize[2] = 1920;
    cfg.cscdMapSize[3] = 1088;
    cfg.ShowDetectBox = 1;
    test::set_exclusion(cfg, 0, 0, {{1, 1}, {2, 1}, {2, 2}});
    test::set_exclusion(cfg, 1, 1, {{-5, -6}, {700, 0}, {700, 700}, {0, 700}});
    cfg.ShowHistoryBox = 1;
    cfg.DetectModel = VCA_DETECT_DEPTH;
    return cfg;
}

// GroupDistMax: master, so (55, 250); ratio (4000 - 2000) / 4000 = 0.5; 55 + 195 / 2 = 152.5,
// plus 0.5 is 153.
constexpr const char* kFullDump =
    "${--------------------- Common Cfg ---------------------}\n"
    "${DevType          }   = 2\n"
    "${devWorkMode      }   = 1\n"
    "${srcImgSize       }   = 960 544\n"
    "${cscdMapSize      }   = 100 200 1920 1088\n"
    "${HighInstall      }   = 1\n"
    "${InstallHeight    }   = 4000\n"
    "${AcceleroEn       }   = 1\n"
    "${TargetHeightMin  }   = 700\n"
    "${TargetHeightMax  }   = 2100\n"
    "${StandAloneTrkMd  }   = 2\n"
    "${--------------------- Human Attr ---------------------}\n"
    "${StaffDetection   }   = 1\n"
    "${StaffDetectSens  }   = 60\n"
    "${Gender Recognize }   = 1\n"
    "${ChildDistinction }   = 1\n"
    "${ChildHeightThresh}   = 1250\n"
    "${-------------------- Line Counting --------------------}\n"
    "${UturnFilter-*Deprecated}    = 1\n"
    "\t[0]   5,  7  955,500  Flip=0 LineEn=1\n"
    "\t[1] Flip=0 LineEn=0\n"
    "\t[2] 100,200  300,1200  -20, 44    0,  0    9,  9  Flip=1 LineEn=1\n"
    "\t[3] Flip=0 LineEn=0\n"
    "UturnEn=1 UturnRgn=1 $Polygon[0]=(10, 20)[1]=(30, 20)[2]=(30, 40)\n"
    "UturnEn=1 UturnRgn=0 $Polygon\n"
    "UturnEn=0 UturnRgn=0 $Polygon\n"
    "UturnEn=0 UturnRgn=0 $Polygon\n"
    "${Group En         } = 1\n"
    "${Group DistMax    } = 153\n"
    "${Group ObjNumMin  } = 2\n"
    "${Group ObjNumMax  } = 6\n"
    "${Group SpdTimesMax} = 1.75\n"
    "${--------------------- Rgn Counting ---------------------}\n"
    "${Rgn En} = 1\n"
    "\t[0] En=1 $Polygon[0]=(0, 0)[1]=(959, 0)[2]=(959, 543)[3]=(0, 543)\n"
    "\t[1] En=0 $Polygon\n"
    "\t[2] En=0 $Polygon\n"
    "\t[3] En=0 $Polygon[0]=(1, 2)[1]=(3, 4)\n"
    "${----------------------- Heat Map -----------------------}\n"
    "${Htmp En} = 1\n"
    "${-------------------- Shopping Cart --------------------}\n"
    "${Cart En} = 0\n"
    "${Person Det Mode} = 1\n"
    "${Show Detect Box} = 1\n"
    "${Show History Box} = 1\n"
    "${--------------------- Exclusion Rgn ---------------------}\n"
    "\tTotalEn=1 \n"
    "\t[0] En=1 Type=1 $Polygon[0]=(1, 1)[1]=(2, 1)[2]=(2, 2)\n"
    "\t[1] En=1 Type=0 $Polygon[0]=(-5, -6)[1]=(700, 0)[2]=(700, 700)[3]=(0, 700)\n"
    "\t[2] En=0 Type=1 $Polygon\n"
    "\t[3] En=0 Type=1 $Polygon\n"
    "${Detect Model} = 2\n";

TEST(ConfigDump, WholeText) {
    dev_set_high_install_enable(true);
    test::StdoutCapture out;
    test::apply_config(full_config());
    const auto lines = test::parse_log(out.text());
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].pos, 0u);
    EXPECT_EQ(lines[0].body, "vca_algo_set_cfg_params");
    EXPECT_EQ(lines[0].function, "vca_algo_set_cfg_params");
    EXPECT_EQ(test::without_log(out.text()), kFullDump);
}

TEST(ConfigDump, FlagsPrintAsZeroOrOne) {
    auto cfg = test::plain_config();
    cfg.AcceleroEn = cfg.StaffDetection = cfg.GenderRecognize = cfg.ChildDistinction = 200;
    cfg.GroupEn = cfg.RgnEn = cfg.HtmpEn = cfg.ShowDetectBox = cfg.ShowHistoryBox = 200;
    cfg.ExclTotalEn = 200;
    test::StdoutCapture out;
    test::apply_config(cfg);
    const std::string text = out.text();
    for (const char* line :
         {"${AcceleroEn       }   = 1\n", "${StaffDetection   }   = 1\n",
          "${Gender Recognize }   = 1\n", "${ChildDistinction }   = 1\n",
          "${Group En         } = 1\n", "${Rgn En} = 1\n", "${Htmp En} = 1\n",
          "${Show Detect Box} = 1\n", "${Show History Box} = 1\n", "\tTotalEn=1 \n"}) {
        EXPECT_THAT(text, HasSubstr(line));
    }
    EXPECT_EQ(text.find("200"), std::string::npos);
}

TEST(ConfigDump, UnknownExclusionTypeIsLogged) {
    auto cfg = test::plain_config();
    test::set_exclusion(cfg, 2, 7, {{1, 1}, {500, 1}, {500, 500}});
    test::StdoutCapture out;
    test::apply_config(cfg);
    const auto lines = test::parse_log(out.text());
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1].body, "[2]Err exclude tp=7");
    EXPECT_EQ(lines[1].function, "vca_algo_set_exclusion_region");
}

TEST(ConfigDump, LineStopsBeforeThePointWhoseXIsUnused) {
    auto cfg = test::plain_config();
    test::set_line(cfg, 1, {{5, 7}, {8, 9}, {11, 12}, {13, 14}});
    cfg.line[1].pt[2].en = 0;
    test::StdoutCapture out;
    test::apply_config(cfg);
    EXPECT_THAT(out.text(), HasSubstr("\t[1]   5,  7    8,  9  Flip=0 LineEn=1\n"));
}

TEST(ConfigDump, PolygonStopsBeforeThePointWhoseXIsUnused) {
    POLYGON_S poly{};
    for (int k = 0; k < 10; ++k) {
        poly.x[k] = k;
        poly.y[k] = -k;
    }
    static char mask[VCA_MASK_ROWS][VCA_MASK_COLS];
    {
        test::StdoutCapture out;
        polygon_convert_to_mask(&poly, mask);
        EXPECT_EQ(out.text(),
                  "$Polygon[0]=(0, 0)[1]=(1, -1)[2]=(2, -2)[3]=(3, -3)[4]=(4, -4)"
                  "[5]=(5, -5)[6]=(6, -6)[7]=(7, -7)[8]=(8, -8)[9]=(9, -9)\n");
    }
    poly.x[3] = -15360;
    {
        test::StdoutCapture out;
        polygon_convert_to_mask(&poly, mask);
        EXPECT_EQ(out.text(), "$Polygon[0]=(0, 0)[1]=(1, -1)[2]=(2, -2)\n");
    }
    poly.y[1] = -15360;
    poly.x[2] = -15359;
    {
        test::StdoutCapture out;
        polygon_convert_to_mask(&poly, mask);
        EXPECT_EQ(out.text(), "$Polygon[0]=(0, 0)[1]=(1, -15360)[2]=(-15359, -2)\n");
    }
    poly.x[0] = -2000000000;
    test::StdoutCapture out;
    polygon_convert_to_mask(&poly, mask);
    EXPECT_EQ(out.text(), "$Polygon\n");
}

}  // namespace
