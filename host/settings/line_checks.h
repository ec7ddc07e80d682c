// What counting lines, U-turn areas, counting regions, exclusion areas and names must be like.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "host/base/placed.h"
#include "host/frames/frame_source.h"

namespace host {

inline constexpr std::size_t kMaxLines = 4;
inline constexpr std::size_t kMaxLinePoints = 5;
inline constexpr std::size_t kMaxAreaPoints = 10;
inline constexpr std::size_t kMaxRegions = 4;
inline constexpr std::size_t kMaxExclusions = 4;

// "x,y" as a person would write it.
std::string point_text(const PicturePoint& point);

// Whether the line goes around an area: its last point is its first again.
bool is_closed(const std::vector<PicturePoint>& line);

// Each check throws an InputError that begins with `place`.
void check_line_points(const std::vector<PicturePoint>& points, const std::string& place);
// Four corners and the first point again as the last; convex, and nowhere crossing itself.
void check_closed_line_points(const std::vector<PicturePoint>& points, const std::string& place);
// `what` is the polygon with its article, such as "a U-turn area".
void check_polygon(const std::vector<PicturePoint>& points, const std::string& place,
                   const std::string& what);
void check_area_points(const std::vector<PicturePoint>& points, const std::string& place);
void check_region_points(const std::vector<PicturePoint>& points, const std::string& place);
void check_exclusion_points(const std::vector<PicturePoint>& points, const std::string& place);
// Points lie within a picture of this size.
void check_inside(const std::vector<PicturePoint>& points, int width, int height,
                  const std::string& place);
void check_area_on_line(const std::vector<PicturePoint>& area,
                        const std::vector<PicturePoint>& line, const std::string& place);

// Names are shown to people and written to JSON: UTF-8, 1 to 60 characters, none of them a control
// character.
void check_name(const std::string& name, const std::string& place);
// The names of a line's two directions.
void check_directions_differ(const std::array<std::string, 2>& names, const std::string& place);
// Throws InputError when two of them are the same.
void check_names_differ(const std::vector<Placed<std::string>>& names);

// The area of a polygon in square pixels, by the even-odd rule.
double area_px2(const std::vector<PicturePoint>& polygon);

// Whether the pieces a-b and c-d have a point in common.
bool pieces_cut(const PicturePoint& a, const PicturePoint& b, const PicturePoint& c,
                const PicturePoint& d);

// Whether a point lies in a polygon, by the even-odd rule.
bool is_inside(const std::vector<PicturePoint>& polygon, const PicturePoint& point);

}  // namespace host
