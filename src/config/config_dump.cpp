#include "config/config_dump.h"

#include <cstdio>

namespace {

void dump_value(const char* label, int32_t value) {
    std::printf("%s%d\n", label, value);
}

void dump_flag(const char* label, uint8_t flag) {
    dump_value(label, flag != 0 ? 1 : 0);
}

}  // namespace

void vca::dump_banner(const char* banner) {
    std::printf("%s\n", banner);
}

void vca::dump_common(const VCA_DEV_CFG_S& cfg) {
    dump_value("${DevType          }   = ", cfg.DevType);
    dump_value("${devWorkMode      }   = ", cfg.devWorkMode);
    std::printf("${srcImgSize       }   = %d %d\n", cfg.srcImgWidth, cfg.srcImgHeight);
    std::printf("${cscdMapSize      }   = %d %d %d %d\n", cfg.cscdMapSize[0], cfg.cscdMapSize[1],
                cfg.cscdMapSize[2], cfg.cscdMapSize[3]);
    dump_flag("${HighInstall      }   = ", cfg.HighInstall);
    dump_value("${InstallHeight    }   = ", cfg.InstallHeight);
    dump_flag("${AcceleroEn       }   = ", cfg.AcceleroEn);
    dump_value("${TargetHeightMin  }   = ", cfg.TargetHeightMin);
    dump_value("${TargetHeightMax  }   = ", cfg.TargetHeightMax);
    dump_value("${StandAloneTrkMd  }   = ", cfg.StandAloneTrkMd);
}

void vca::dump_attributes(const VCA_DEV_CFG_S& cfg) {
    dump_flag("${StaffDetection   }   = ", cfg.StaffDetection);
    dump_value("${StaffDetectSens  }   = ", cfg.StaffDetectSens);
    dump_flag("${Gender Recognize }   = ", cfg.GenderRecognize);
    dump_flag("${ChildDistinction }   = ", cfg.ChildDistinction);
    dump_value("${ChildHeightThresh}   = ", cfg.ChildHeightThresh);
}

void vca::dump_groups(const VCA_DEV_CFG_S& cfg) {
    dump_flag("${Group En         } = ", cfg.GroupEn);
    dump_value("${Group DistMax    } = ", cfg.GroupDistMax);
    dump_value("${Group ObjNumMin  } = ", cfg.GroupObjNumMin);
    dump_value("${Group ObjNumMax  } = ", cfg.GroupObjNumMax);
    std::printf("${Group SpdTimesMax} = %g\n", static_cast<double>(cfg.GroupSpdTimesMax));
}

void vca::dump_display(const VCA_DEV_CFG_S& cfg) {
    dump_banner("${----------------------- Heat Map -----------------------}");
    dump_flag("${Htmp En} = ", cfg.HtmpEn);
    dump_banner("${-------------------- Shopping Cart --------------------}");
    dump_flag("${Cart En} = ", cfg.CartEn);
    dump_value("${Person Det Mode} = ", cfg.PersonDetMode);
    dump_flag("${Show Detect Box} = ", cfg.ShowDetectBox);
    dump_flag("${Show History Box} = ", cfg.ShowHistoryBox);
}

// The points the segments were built from: the leading ones with a valid x.
void vca::dump_line(const VCA_DEV_CFG_S& cfg, int line) {
    const VCA_LINE_S& polyline = cfg.line[line];
    std::printf("\t[%d] ", line);
    for (const VCA_LINE_PT_S& pt : polyline.pt) {
        if (pt.x < VCA_COORD_MIN) break;
        std::printf("%3d,%3d  ", pt.x, pt.y);
    }
    std::printf("Flip=%d LineEn=%d\n", polyline.Flip != 0, cfg.LineEn[line] != 0);
}
