// A table in words.
#include "host/app/camera_check.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include "host/app/camera_view.h"
#include "host/app/run.h"
#include "host/base/result_files.h"
#include "host/base/text.h"
#include "host/depth/floor_plane.h"
#include "host/draw/canvas.h"
#include "host/draw/depth_picture.h"
#include "host/report/output_folder.h"

namespace host {
namespace {

constexpr double kUsualTime_s = 10.0;
constexpr double kUnknownFloor_mm = 4000.0;  // for the colours of the picture only
constexpr double kHeightOff_mm = 50.0;       // of a known height: beyond, one of the two is wrong
constexpr double kNeitherFits_mm = 100.0;

std::string row(const std::string& what, const std::string& says) {
    return "  " + fitted(what, 18) + says + "\n";
}

std::string rate_text(const CameraView& view, const SourceInfo& info) {
    return format_text("%.1f frames a second; %.1f are said to come", view.rate(),
                       info.frames_per_second);
}

std::string floor_text(const CameraView& view) {
    const auto floor_mm = view.floor_mm();
    if (!floor_mm) return "not found: furniture, people or an unmeasured floor hide it";
    return format_text("%.0f mm below the camera, noise of a pixel %.1f mm", *floor_mm,
                       view.noise_mm());
}

std::string tilt_text(const SourceInfo& info) {
    if (!info.tilt) return "not known";
    return format_text("roll %.1f, pitch %.1f degrees; %s", info.tilt->roll_deg,
                       info.tilt->pitch_deg,
                       info.camera.levelled ? "the pictures are turned to those of a level camera"
                                            : "level enough");
}

std::string height_text(const CameraView& view, const std::optional<double>& known_mm) {
    const auto floor_mm = view.floor_mm();
    if (!known_mm && !floor_mm) return "not known; give --height MM";
    if (!known_mm) return format_text("%.0f mm would be taken, as measured", *floor_mm);
    std::string text = format_text("%.0f mm is taken, as given", *known_mm);
    if (floor_mm && std::abs(*floor_mm - *known_mm) > kHeightOff_mm)
        text += format_text("; the floor is %.0f mm off: measure again, or use --height auto",
                            std::abs(*floor_mm - *known_mm));
    return text;
}

std::string sensor_text(const CameraView& view, double true_mm, double correction_mm) {
    const auto measured_mm = view.person_mm();
    if (!measured_mm) return "nobody walked below the camera, or the floor was not found";
    const std::string measures = format_text("%.0f mm measure as %.0f mm; ", true_mm, *measured_mm);
    const auto sensor = fitting_sensor(true_mm, *measured_mm, correction_mm);
    const double expected_mm = true_mm - (sensor == Sensor::kReadsLow ? correction_mm : 0.0);
    if (std::abs(*measured_mm - expected_mm) > kNeitherFits_mm)
        return measures +
               "neither exact nor reads-low fits: look at the unit of the depth, the "
               "camera file and the height";
    if (!sensor) return measures + "at this height exact and reads-low differ too little to tell";
    return measures + "--sensor " + sensor_name(*sensor) + " fits";
}

std::string lines_text(const RunPlan& plan) {
    std::string text;
    for (const CountingLine& line : plan.lines)
        text += (text.empty() ? "" : ", ") + ("\"" + visible(line.name) + "\"");
    return text.empty() ? "none" : text;
}

void write_camera_picture(const RunPlan& plan, const CameraView& view, double floor_mm,
                          const std::string& folder) {
    OutputFolder output(folder, {kCameraFile});
    write_png(draw_depth_picture(view.last_mm(), floor_mm - kColouredAbove_mm, floor_mm, plan.lines,
                                 plan.regions),
              output.file(kCameraFile));
    output.commit();
}

}  // namespace

std::string camera_check(const CameraCheckOptions& given, const std::atomic<bool>& stop) {
    RunOptions options = given.run;
    if (!options.seconds && !options.frames) options.seconds = kUsualTime_s;
    // An unknown height is one of the answers.
    const bool was_given = options.source.height_mm.has_value();
    if (!was_given) options.measure_height = true;
    RunPlan plan = prepare_run(options);
    FrameSource& source = *plan.source;
    source.begin();
    const SourceInfo& info = source.info();
    CameraView view(info.camera);
    SourceFrame frame;
    while (!stop && source.next(frame)) {
        if (options.seconds && frame.time_s >= *options.seconds) break;
        view.add(frame);
        if (options.frames && view.frames() >= *options.frames) break;
    }
    if (view.frames() == 0) throw std::runtime_error("no frame came");
    std::optional<double> known_mm = info.camera.height_mm;
    if (was_given) known_mm = options.source.height_mm->value;
    const std::optional<double> height_mm = known_mm ? known_mm : view.floor_mm();
    std::string text = visible(info.name) + ": " + info.description + ", " +
                       std::to_string(view.frames()) + " frames\n";
    text += row("resolution", std::to_string(view.width()) + " x " + std::to_string(view.height()));
    text += row("rate", rate_text(view, info));
    text += row("valid pixels", percent_text(view.valid_share(), 1));
    text += row("floor", floor_text(view));
    text += row("tilt", tilt_text(info));
    text += row("height", height_text(view, known_mm));
    if (given.person_mm && height_mm)
        text += row("person",
                    sensor_text(view, *given.person_mm, height_correction_mm(plan, *height_mm)));
    text += row("lines", lines_text(plan));
    for (const std::string& warning : run_warnings(plan))
        text += "  warning: " + visible(warning) + "\n";
    for (const std::string& loss : source.losses())
        text += "  warning: " + visible(loss) + "\n";
    if (!options.output.empty()) {
        write_camera_picture(plan, view, height_mm.value_or(kUnknownFloor_mm), options.output);
        text += row("picture in", visible(options.output));
    }
    return text;
}

}  // namespace host
