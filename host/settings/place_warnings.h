// Lines and regions that are allowed but cannot count correctly.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/base/camera.h"
#include "host/base/counting_places.h"

namespace host {

// Where people are counted, with points in one coordinate system. A camera of a site may not see a
// place, which then has no points.
struct CountedPlaces {
    const std::vector<CountingLine>& lines;
    const std::vector<CountingRegion>& regions;
    const std::vector<std::vector<PicturePoint>>& exclusions;
};

struct PlaceWarning {
    std::string code;  // which stays the same; whoever translates the sentence goes by it
    std::string text;  // a sentence
    std::optional<double> beyond_m{};  // how far past a line people are seen, where that is known
    std::optional<double> needed_m{};  // and how far they ought to be
};
std::vector<std::string> texts_of(const std::vector<PlaceWarning>& warnings);

// For each line or region that crosses itself or lies in exclusion areas, for a line also when only
// a part of it does, or when it is shorter than a person is wide.
std::vector<PlaceWarning> place_warnings(const CountedPlaces& places);

// For each line that nobody can get far enough past in a picture of this size and be seen; points
// are where people stand or, without `foot_point`, where their heads are. What is not known of the
// camera is left out of account.
std::vector<PlaceWarning> line_edge_warnings(const CountedPlaces& places, int width, int height,
                                             const CameraModel& camera, bool foot_point);

// For each line over which the heads of people are not all in the picture that a
// crooked camera took; points are where they stand or, without `foot_point`, where their heads are.
std::vector<PlaceWarning> unseen_line_warnings(const CountedPlaces& places,
                                               const CameraModel& camera, bool foot_point);

// Around a line, to both sides: how far past it people have to come before they count, roughly.
// Empty for a line without two points that differ, or with one that is absurdly far away.
std::vector<PicturePoint> counting_zone(const std::vector<PicturePoint>& line);

// For each region in which nobody can be seen in a picture of this size.
std::vector<PlaceWarning> region_edge_warnings(const CountedPlaces& places, int width, int height);

}  // namespace host
