// Where a camera's pixels lie on the floor of a site, and in the picture of the site's master.
//
// A pixel (u, v) shows the point (u - 480, v - 272) * (H - h) / f of a plane h above the floor, in
// the camera's own metres: H is the height of the lens, f the focal length in pixels. The site's
// metres follow by turning and moving. The master's picture goes on beyond its edges as a plan of
// the floor, in which what the slaves see has coordinates below 0 or beyond 960 x 544.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "host/settings/library_config.h"
#include "host/settings/site.h"
#include "vca/cascade.h"

namespace host {

// `plane_m` is the height above the floor; it must be below the camera.
SitePoint to_site(const SiteDevice& device, const PicturePoint& pixel, double plane_m);
PicturePoint to_picture(const SiteDevice& device, const SitePoint& point, double plane_m);

// The height at which people have to be in view; lower where the camera itself hangs low.
double head_height_m(const SiteDevice& device);

// Whether a point at a height is inside the picture.
bool sees(const SiteDevice& device, const SitePoint& point, double plane_m);

// Corners of what the camera sees at a height, in the picture's order: upper left, upper right,
// lower right, lower left.
std::array<SitePoint, 4> view_outline(const SiteDevice& device, double plane_m);

// Square metres that both cameras see at a height.
double shared_view_m2(const SiteDevice& a, const SiteDevice& b, double plane_m);

// The nearest whole pixel, as a configuration may hold it.
POINT_POS_S whole_pixel(const PicturePoint& p);

// A place on the floor in the master's picture, and the reverse.
PicturePoint to_master(const Site& site, const SitePoint& point);
SitePoint of_master(const Site& site, const PicturePoint& floor);

// Brings the tracks of a slave's message into the master's picture. Any bytes are accepted: the
// count is brought into range first.
//
// The top of the head is in the middle of a box, so a slave's foot point is the place below it in
// the master's picture.
//
// A centre becomes a pixel of the floor, which lies farther out than the feet as seen from the
// camera. The library counts by centres where it does not trust a foot point; this way a person
// under the slave stays on the correct side of a line there, and midway between two cameras the
// centres of both average out over the feet. Projected at head height into the master's picture, a
// person 6 m away from the master would be moved by metres, across lines never crossed.
void map_to_master(const Site& site, int slave, SLAVE_MSG_S& msg);

// x, y, width, height of the rectangle in the master's picture that holds what all devices see of
// the floor.
std::array<std::int32_t, 4> master_area(const Site& site);

}  // namespace host
