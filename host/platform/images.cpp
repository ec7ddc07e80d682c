// Creation, destruction, letterboxed cropping and saving of NV12 images.
#include "host/platform/images.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <opencv2/imgproc.hpp>

#include "vca/platform.h"

namespace host {
namespace {

constexpr int kMaxSide_px = 8192;
constexpr std::uint8_t kBarLuma = 128;  // neutral grey
constexpr std::uint8_t kNeutralChroma = 128;

std::atomic<int> live_count{0};

bool is_nv12(const VCA_IMAGE_S* img) {
    return img != nullptr && img->type == VCA_IMAGE_NV12 && img->plane_addr != 0 &&
           img->width >= 2 && img->height >= 2 && img->width <= kMaxSide_px &&
           img->height <= kMaxSide_px && img->width % 2 == 0 && img->height % 2 == 0 &&
           img->stride >= img->width;
}

cv::Mat luma_of(const VCA_IMAGE_S& img) {
    return cv::Mat(static_cast<int>(img.height), static_cast<int>(img.width), CV_8UC1,
                   reinterpret_cast<void*>(img.plane_addr), img.stride);
}

cv::Mat chroma_of(const VCA_IMAGE_S& img) {
    const std::uint64_t addr = img.plane_addr + static_cast<std::uint64_t>(img.stride) *
                                                    static_cast<std::uint64_t>(img.height);
    return cv::Mat(static_cast<int>(img.height / 2), static_cast<int>(img.width / 2), CV_8UC2,
                   reinterpret_cast<void*>(addr), img.stride);
}

int even_down(int v) {
    return v & ~1;
}

// The part of a rectangle that lies inside the image, grown to even borders so that luma and chroma
// are cut at the same place.
cv::Rect clip_even(const VCA_RGN_S& rgn, int width, int height) {
    const auto clamp = [](std::int64_t v, int hi) {
        return static_cast<int>(std::clamp<std::int64_t>(v, 0, hi));
    };
    const int x0 = even_down(clamp(rgn.x, width));
    const int y0 = even_down(clamp(rgn.y, height));
    const int x1 = even_down(clamp(std::int64_t{rgn.x} + rgn.width + 1, width));
    const int y1 = even_down(clamp(std::int64_t{rgn.y} + rgn.height + 1, height));
    return {x0, y0, std::max(x1 - x0, 0), std::max(y1 - y0, 0)};
}

void scale_into(const cv::Mat& src, cv::Mat dst) {
    const bool shrinks = dst.cols < src.cols;
    cv::resize(src, dst, dst.size(), 0, 0, shrinks ? cv::INTER_AREA : cv::INTER_LINEAR);
}

bool write_rows(std::FILE* file, const std::uint8_t* rows, std::size_t row_bytes, std::size_t count,
                std::size_t stride) {
    for (std::size_t row = 0; row < count; ++row) {
        if (std::fwrite(rows + row * stride, 1, row_bytes, file) != row_bytes) return false;
    }
    return true;
}

}  // namespace

int live_images() {
    return live_count;
}

LetterboxFit letterbox_fit(int src_width, int src_height, int dst_width, int dst_height) {
    if (src_width <= 0 || src_height <= 0 || dst_width < 2 || dst_height < 2) return {};
    const double scale = std::min(static_cast<double>(dst_width) / src_width,
                                  static_cast<double>(dst_height) / src_height);
    const auto side = [scale](int src, int dst) {
        return std::clamp(even_down(static_cast<int>(src * scale + 0.5)), 2, even_down(dst));
    };
    LetterboxFit fit;
    fit.width = side(src_width, dst_width);
    fit.height = side(src_height, dst_height);
    fit.x = even_down((dst_width - fit.width) / 2);
    fit.y = even_down((dst_height - fit.height) / 2);
    return fit;
}

}  // namespace host

using namespace host;

extern "C" {

int vca_create_image(VCA_IMAGE_S* img, int type, int width, int height) {
    if (img == nullptr) return -1;
    *img = VCA_IMAGE_S{};
    if (type != VCA_IMAGE_NV12 || width < 2 || height < 2 || width > kMaxSide_px ||
        height > kMaxSide_px || width % 2 != 0 || height % 2 != 0) {
        return -1;
    }
    const std::size_t bytes =
        static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 3 / 2;
    auto* pixels = new (std::nothrow) std::uint8_t[bytes]();
    if (pixels == nullptr) return -1;
    img->type = type;
    img->width = static_cast<std::uint32_t>(width);
    img->height = static_cast<std::uint32_t>(height);
    img->stride = static_cast<std::uint32_t>(width);
    img->plane_addr = img->map_addr = img->host_handle = reinterpret_cast<std::uint64_t>(pixels);
    ++live_count;
    return 0;
}

int vca_destroy_image(VCA_IMAGE_S* img) {
    if (img == nullptr) return -1;
    if (img->host_handle != 0) {
        delete[] reinterpret_cast<std::uint8_t*>(img->host_handle);
        --live_count;
    }
    *img = VCA_IMAGE_S{};
    return 0;
}

int vca_image_crop_letter(const VCA_IMAGE_S* src, const VCA_RGN_S* rgn, VCA_IMAGE_S* dst) {
    if (!is_nv12(src) || !is_nv12(dst) || rgn == nullptr) return -1;
    const cv::Rect cut =
        clip_even(*rgn, static_cast<int>(src->width), static_cast<int>(src->height));
    if (cut.empty()) return -1;
    cv::Mat luma = luma_of(*dst);
    cv::Mat chroma = chroma_of(*dst);
    luma.setTo(kBarLuma);
    chroma.setTo(cv::Scalar::all(kNeutralChroma));
    const LetterboxFit fit = letterbox_fit(cut.width, cut.height, static_cast<int>(dst->width),
                                           static_cast<int>(dst->height));
    const cv::Rect half(cut.x / 2, cut.y / 2, cut.width / 2, cut.height / 2);
    scale_into(luma_of(*src)(cut), luma(cv::Rect(fit.x, fit.y, fit.width, fit.height)));
    scale_into(chroma_of(*src)(half),
               chroma(cv::Rect(fit.x / 2, fit.y / 2, fit.width / 2, fit.height / 2)));
    return 0;
}

int vca_save_yuv_image(const VCA_IMAGE_S* img, const char* path) {
    if (!is_nv12(img) || path == nullptr) return -1;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
        std::fopen(path, "wb"), [](std::FILE* f) { return f ? std::fclose(f) : 0; });
    if (!file) return -1;
    const auto* pixels = reinterpret_cast<const std::uint8_t*>(img->plane_addr);
    const bool written = write_rows(file.get(), pixels, img->width, img->height, img->stride) &&
                         write_rows(file.get(), pixels + std::size_t{img->stride} * img->height,
                                    img->width, img->height / 2, img->stride);
    return written && std::fflush(file.get()) == 0 ? 0 : -1;
}

}  // extern "C"
