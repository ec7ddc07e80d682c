/* The whole public interface of libvca. C++ only: needs C++20, because track.h, object.h, event.h,
 * region.h, heat_map.h, display.h and cascade.h use std::vector. C callers include the others as
 * needed; the records of all messages are in messages.h. */
#ifndef VCA_VCA_H
#define VCA_VCA_H

#include "vca/cascade.h"
#include "vca/config.h"
#include "vca/debug.h"
#include "vca/decision.h"
#include "vca/depth.h"
#include "vca/detect.h"
#include "vca/display.h"
#include "vca/event.h"
#include "vca/frame.h"
#include "vca/heat_map.h"
#include "vca/image.h"
#include "vca/messages.h"
#include "vca/object.h"
#include "vca/platform.h"
#include "vca/region.h"
#include "vca/track.h"

#endif
