// A table from the pixels of the site's camera to those of the real one.
#include "host/frames/site_camera.h"

#include <cmath>
#include <utility>

#include "host/base/text.h"
#include "host/frames/grey_picture.h"

namespace host {
namespace {

// A camera that sees less than this of what the plan says is not the one that the plan means.
constexpr double kLeastSeen = 0.9;

class SiteCamera final : public FrameSource {
  public:
    explicit SiteCamera(const SiteCameraSetup& setup)
        : source_(open_source(setup.source)), focal_px_(setup.focal_px) {
        info_ = source_->info();
        const CameraModel real = info_.camera;
        info_.kind = "site";
        info_.name = setup.name;
        info_.lines.clear();
        info_.regions.clear();
        info_.has_colour = false;
        info_.sensor = {};
        info_.user_width = kColourWidth;
        info_.user_height = kColourHeight;
        info_.black_mm = 1.1 * setup.height_mm;
        // Pixel (u, v) of the picture is depth pixel (u * 480 / 960, v * 256 / 544).
        constexpr double kAcross = static_cast<double>(kDepthWidth) / kColourWidth;
        constexpr double kDown = static_cast<double>(kDepthHeight) / kColourHeight;
        info_.camera = {setup.focal_px * kAcross, setup.focal_px * kDown, kDepthWidth / 2.0,
                        kDepthHeight / 2.0, setup.height_mm};
        map_pixels(real);
    }

    bool next(SourceFrame& frame) override {
        if (!source_->next(frame)) return false;
        FramePlanes& planes = frame.planes;
        raw_mm_.resize(from_.size());
        for (std::size_t i = 0; i < from_.size(); ++i)
            raw_mm_[i] =
                from_[i] < 0 ? std::uint16_t{0} : planes.raw_mm[static_cast<std::size_t>(from_[i])];
        planes.raw_mm.swap(raw_mm_);
        planes.taken.width = 0;
        render_grey(planes.raw_mm, info_.black_mm, planes.depth_nv12, planes.colour_nv12);
        // The run keeps pace with scene time from 0 on.
        if (!first_s_) first_s_ = frame.time_s;
        frame.time_s = whole_microseconds(frame.time_s - *first_s_);
        return true;
    }

    void listen(const std::function<void(const InputNotice&)>& listener) override {
        source_->listen(listener);
    }
    std::optional<LiveFigures> live_figures() const override { return source_->live_figures(); }
    std::vector<std::string> losses() const override { return source_->losses(); }
    bool ends_the_scene() const override { return source_->ends_the_scene(); }

    std::vector<std::string> warnings() const override {
        std::vector<std::string> list = source_->warnings();
        if (seen_ < kLeastSeen)
            list.push_back("\"" + info_.name + "\" sees only " + percent_text(seen_, 0) +
                           " of what a camera with focal_px " + plain_number(focal_px_) +
                           " sees; write a larger focal_px into the site file");
        return list;
    }

  private:
    void map_pixels(const CameraModel& real) {
        const CameraModel& ideal = info_.camera;
        std::size_t seen = 0;
        for (int y = 0; y < kDepthHeight; ++y) {
            for (int x = 0; x < kDepthWidth; ++x) {
                const auto from_x = std::lround((x - ideal.cx) / ideal.fx * real.fx + real.cx);
                const auto from_y = std::lround((y - ideal.cy) / ideal.fy * real.fy + real.cy);
                const bool inside =
                    from_x >= 0 && from_y >= 0 && from_x < kDepthWidth && from_y < kDepthHeight;
                from_.push_back(inside ? static_cast<int>(from_y * kDepthWidth + from_x) : -1);
                seen += inside ? 1 : 0;
            }
        }
        seen_ = static_cast<double>(seen) / static_cast<double>(from_.size());
    }

    std::unique_ptr<FrameSource> source_;
    double focal_px_;
    std::vector<int> from_;  // pixel of the real camera, -1 where it does not look
    double seen_ = 0.0;      // share of the site's picture
    std::vector<std::uint16_t> raw_mm_;
    std::optional<double> first_s_;
};

}  // namespace

std::unique_ptr<FrameSource> open_site_camera(const SiteCameraSetup& setup) {
    return std::make_unique<SiteCamera>(setup);
}

}  // namespace host
