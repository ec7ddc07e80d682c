// What a counting line, its U-turn area and its name must be like.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/frames/frame_source.h"

namespace host {

inline constexpr std::size_t kMaxLines = 4;
inline constexpr std::size_t kMaxLinePoints = 5;
inline constexpr std::size_t kMaxAreaPoints = 10;

// "x,y" as a person would write it.
std::string point_text(const PicturePoint& point);

// Each check throws an InputError that begins with `place`.
void check_line_points(const std::vector<PicturePoint>& points, const std::string& place);
void check_area_points(const std::vector<PicturePoint>& points, const std::string& place);
void check_area_on_line(const std::vector<PicturePoint>& area,
                        const std::vector<PicturePoint>& line, const std::string& place);

// Names are shown to people and written to JSON: UTF-8, not empty, no control characters.
void check_line_name(const std::string& name, const std::string& place);
// Throws InputError when two lines have the same name.
void check_names_differ(const std::vector<CountingLine>& lines);

// Square pixels inside a polygon, by the even-odd rule.
double area_px2(const std::vector<PicturePoint>& polygon);

}  // namespace host
