// Loading, checking and running of ONNX networks on crops.
#include "host/inference/attribute_network.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/dnn.hpp>
#include <opencv2/imgproc.hpp>
#include <span>
#include <utility>
#include <vector>

#include "host/frames/frame_source.h"
#include "host/inference/onnx_file.h"

namespace host {
namespace {

constexpr double kSumTolerance = 1e-3;
constexpr std::uintmax_t kLargestFile_bytes = std::uintmax_t{1} << 30;

// What a network must be like.
struct Form {
    const char* kind;
    const char* output;
    int classes;
    const char* choices;  // what a user can name
};

constexpr Form kGenderForm{"gender", "unknown_male_female", 3, "an ONNX file or none"};
constexpr Form kStaffForm{"staff", "other_staff", 2, "an ONNX file, vest or none"};

const std::vector<std::int64_t> kInputShape{1, 3, kCropSide_px, kCropSide_px};

// The run-time's own messages are kept out of the program's output.
class QuietLog {
  public:
    QuietLog() : before_(cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT)) {}
    ~QuietLog() { cv::utils::logging::setLogLevel(before_); }
    QuietLog(const QuietLog&) = delete;
    QuietLog& operator=(const QuietLog&) = delete;

  private:
    cv::utils::logging::LogLevel before_;
};

// Text out of a file or of another library, fit for one line of a message.
std::string one_line(std::string text) {
    constexpr std::size_t kMost = 120;
    if (text.size() > kMost) text = text.substr(0, kMost) + "...";
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c > '~'; }, ' ');
    return text;
}

// The first sentence of an exception, which may carry others with their places in the source.
std::string reason_of(const cv::Exception& e) {
    const std::string text = one_line(e.err.substr(0, e.err.find("OpenCV(")));
    const auto begin = text.find_first_not_of("> ");
    const auto end = text.find_last_not_of(": ");
    return begin == std::string::npos ? "no reason given" : text.substr(begin, end + 1 - begin);
}

std::string name_of(const Form& form, const std::string& path) {
    return std::string("the ") + form.kind + " network \"" + path + "\"";
}

[[noreturn]] void refuse(const Form& form, const std::string& path, const std::string& why) {
    throw InputError(name_of(form, path) + " " + why);
}

std::vector<std::uint8_t> read_file(const Form& form, const std::string& path) {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
        refuse(form, path, std::string("does not exist; name ") + form.choices);
    }
    if (fs::is_directory(status))
        refuse(form, path, std::string("is a folder; name ") + form.choices);
    std::ifstream in;
    if (fs::is_regular_file(status)) in.open(path, std::ios::binary);
    if (!in.is_open()) refuse(form, path, "cannot be read; name a readable ONNX file");
    if (fs::file_size(path, error) > kLargestFile_bytes) {
        refuse(form, path, "is larger than 1 GiB; name an ONNX file");
    }
    return {std::istreambuf_iterator<char>(in), {}};
}

std::string tensor_text(const OnnxTensor& tensor) {
    const char* type =
        tensor.element_type == kOnnxFloat ? " floats" : " values that are not floats";
    std::string text = one_line(tensor.name);
    text.insert(0, 1, '"');
    return text + "\" of " + shape_text(tensor.shape) + type;
}

std::string tensors_text(const std::string& role, const std::vector<OnnxTensor>& tensors) {
    if (tensors.size() == 1) return "the " + role + " " + tensor_text(tensors.front());
    return std::to_string(tensors.size()) + " " + role + "s";
}

bool is_float(const OnnxTensor& tensor, const std::vector<std::int64_t>& shape) {
    return tensor.element_type == kOnnxFloat && tensor.shape == shape;
}

void check_outline(const Form& form, const std::string& path, const OnnxOutline& outline) {
    if (outline.inputs.size() != 1 || !is_float(outline.inputs.front(), kInputShape)) {
        refuse(form, path,
               "has " + tensors_text("input", outline.inputs) +
                   "; one input of 1 x 3 x 224 x 224 floats is needed");
    }
    const std::vector<std::int64_t> needed{1, form.classes};
    if (outline.outputs.size() != 1 || outline.outputs.front().name != form.output ||
        !is_float(outline.outputs.front(), needed)) {
        refuse(form, path,
               "has " + tensors_text("output", outline.outputs) + "; one output \"" + form.output +
                   "\" of " + shape_text(needed) + " floats is needed, in this order of classes");
    }
}

// The crop as the network takes it.
cv::Mat to_blob(const CropView& crop) {
    const cv::Mat luma(kCropSide_px, kCropSide_px, CV_8UC1, const_cast<std::uint8_t*>(crop.luma),
                       crop.stride);
    const cv::Mat chroma(kCropSide_px / 2, kCropSide_px / 2, CV_8UC2,
                         const_cast<std::uint8_t*>(crop.chroma), crop.stride);
    cv::Mat rgb;
    cv::cvtColorTwoPlane(luma, chroma, rgb, cv::COLOR_YUV2RGB_NV12);
    return cv::dnn::blobFromImage(rgb, 1.0 / 255.0);
}

class Network {
  public:
    Network(const Form& form, const std::string& path) : form_(form) {
        const std::vector<std::uint8_t> bytes = read_file(form, path);
        const std::optional<OnnxOutline> outline = read_onnx_outline(bytes);
        if (!outline) {
            refuse(
                form, path,
                "is not an ONNX file, or not a complete one; name one that was saved completely");
        }
        check_outline(form, path, *outline);
        // One thread, so that sums are formed in the same order in every run.
        cv::setNumThreads(1);
        const QuietLog quiet;
        try {
            net_ = cv::dnn::readNetFromONNX(bytes);
            net_.setPreferableBackend(cv::dnn::DNN_BACKEND_OPENCV);
            net_.setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
            for (const cv::Mat& picture : trial_pictures())
                check_answer(path, forward(picture));
        } catch (const cv::Exception& e) {
            refuse(form, path,
                   "cannot be run here (" + reason_of(e) + "); save it with simpler layers");
        }
    }

    // One probability for each class, or nothing when the network fails.
    std::vector<float> run(const CropView& crop) {
        const QuietLog quiet;
        try {
            std::vector<float> p = forward(to_blob(crop));
            const bool finite =
                std::all_of(p.begin(), p.end(), [](float v) { return std::isfinite(v); });
            return finite && p.size() == classes() ? p : std::vector<float>{};
        } catch (const cv::Exception&) {
            return {};
        }
    }

  private:
    std::size_t classes() const { return static_cast<std::size_t>(form_.classes); }

    // Black, grey, and a ramp with a strong tint: raw scores add up to 1 for one picture at most.
    static std::vector<cv::Mat> trial_pictures() {
        cv::Mat ramp(kCropSide_px, kCropSide_px, CV_8UC3);
        for (int y = 0; y < kCropSide_px; ++y) {
            for (int x = 0; x < kCropSide_px; ++x) {
                ramp.at<cv::Vec3b>(y, x) =
                    cv::Vec3b(250, static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y / 2));
            }
        }
        std::vector<cv::Mat> blobs;
        for (const double level : {0.0, 128.0}) {
            const cv::Mat plain(kCropSide_px, kCropSide_px, CV_8UC3, cv::Scalar::all(level));
            blobs.push_back(cv::dnn::blobFromImage(plain, 1.0 / 255.0));
        }
        blobs.push_back(cv::dnn::blobFromImage(ramp, 1.0 / 255.0));
        return blobs;
    }

    std::vector<float> forward(const cv::Mat& blob) {
        net_.setInput(blob);
        const cv::Mat out = net_.forward(form_.output);
        if (out.type() != CV_32F || !out.isContinuous()) return {};
        return {out.ptr<float>(), out.ptr<float>() + out.total()};
    }

    void check_answer(const std::string& path, const std::vector<float>& answer) const {
        if (answer.size() != classes()) {
            refuse(form_, path,
                   "answers with " + std::to_string(answer.size()) + " numbers; " +
                       std::to_string(classes()) + " probabilities are needed");
        }
        std::string text;
        double sum = 0.0;
        bool finite = true;
        bool probable = true;
        for (const float p : answer) {
            char number[32];
            std::snprintf(number, sizeof number, "%.4g", static_cast<double>(p));
            text += (text.empty() ? "" : ", ") + std::string(number);
            sum += static_cast<double>(p);
            finite = finite && std::isfinite(p);
            probable = probable && p >= -kSumTolerance && p <= 1.0 + kSumTolerance;
        }
        if (probable && std::abs(sum - 1.0) <= kSumTolerance) return;
        const std::string answers = "answers a trial picture with " + text;
        if (!finite) refuse(form_, path, answers + "; finite numbers are needed");
        refuse(form_, path,
               answers +
                   "; probabilities that add up to 1 are needed, so raw scores must go through a "
                   "softmax");
    }

    Form form_;
    cv::dnn::Net net_;
};

class GenderNetwork final : public GenderClassifier {
  public:
    explicit GenderNetwork(const std::string& path) : network_(kGenderForm, path) {}

    std::optional<GenderAnswer> classify(const CropView& crop) override {
        const std::vector<float> p = network_.run(crop);
        if (p.empty()) return std::nullopt;
        const auto best = std::max_element(p.begin(), p.end()) - p.begin();
        return GenderAnswer{static_cast<int>(best), p[1], p[2]};
    }

  private:
    Network network_;
};

class StaffNetwork final : public StaffDetector {
  public:
    explicit StaffNetwork(const std::string& path) : network_(kStaffForm, path) {}

    std::optional<StaffAnswer> detect(const CropView& crop) override {
        const std::vector<float> p = network_.run(crop);
        if (p.empty()) return std::nullopt;
        return StaffAnswer{p[1] > p[0], p[1]};
    }

  private:
    Network network_;
};

}  // namespace

std::unique_ptr<GenderClassifier> open_gender_network(const std::string& path) {
    return std::make_unique<GenderNetwork>(path);
}

std::unique_ptr<StaffDetector> open_staff_network(const std::string& path) {
    return std::make_unique<StaffNetwork>(path);
}

}  // namespace host
