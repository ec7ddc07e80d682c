/* The whole public interface of libvca. Needs C++20; C callers include the headers they need, all
 * but track.h, object.h and event.h, which hold std::vector. */
#ifndef VCA_VCA_H
#define VCA_VCA_H

#include "vca/config.h"
#include "vca/debug.h"
#include "vca/depth.h"
#include "vca/detect.h"
#include "vca/event.h"
#include "vca/frame.h"
#include "vca/image.h"
#include "vca/messages.h"
#include "vca/object.h"
#include "vca/platform.h"
#include "vca/track.h"

#endif
