// Text files of recorded walks: `id frame x y z` on each line, separated by blanks, lines in any
// order.
//
// Lines that start with # are comments. They may name the frame rate ("framerate: 25 fps") and the
// units ("x/cm", "y/m"). Without a named unit, values in the hundreds are centimetres. The file's y
// axis points up; z is the person's height, 0.5 to 2.5 m. Frame rates are 1 to 240; frame numbers
// span at most ten million.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace sim {

struct TrajectorySample {
    int id = 0;
    std::int64_t frame = 0;
    double x_m = 0.0;  // file axes: x to the right, y up
    double y_m = 0.0;
    double z_m = 0.0;
};

struct TrajectoryFile {
    double fps = 25.0;
    std::vector<TrajectorySample> samples;  // by id, then frame
};

// name is used in messages. fps above 0 takes precedence over the comments. Throws
// std::runtime_error that gives file and line number and says what was expected.
TrajectoryFile read_trajectory(std::istream& in, const std::string& name, double fps = 0.0);

TrajectoryFile read_trajectory_file(const std::string& path, double fps = 0.0);

}  // namespace sim
