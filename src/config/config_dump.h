// The labelled dump of an applied configuration on standard output.
#pragma once

#include "vca/config.h"

namespace vca {

void dump_banner(const char* banner);
void dump_common(const VCA_DEV_CFG_S& cfg);
void dump_attributes(const VCA_DEV_CFG_S& cfg);
void dump_groups(const VCA_DEV_CFG_S& cfg);
void dump_display(const VCA_DEV_CFG_S& cfg);
void dump_line(const VCA_DEV_CFG_S& cfg, int line);

}  // namespace vca
