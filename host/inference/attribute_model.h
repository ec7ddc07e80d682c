// What judges a person's attributes from the crop of the person seen from above: a classifier for
// gender and a detector of the staff mark.
//
// A crop is 224 x 224 pixels of NV12 (BT.601, limited range). The person fills it as far as the
// proportions allow; the bars beside that are grey (luma and chroma 128).
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace host {

inline constexpr int kCropSide_px = 224;

// Planes of a crop; the caller's, used during a call only.
struct CropView {
    const std::uint8_t* luma = nullptr;
    const std::uint8_t* chroma = nullptr;  // pairs of U and V, half as many rows
    std::size_t stride = 0;                // bytes from one row to the next, of both planes
};

struct GenderAnswer {
    int best = 0;  // the most probable: 0 unknown, 1 male, 2 female
    float male = 0.0f;
    float female = 0.0f;
};

struct StaffAnswer {
    bool staff = false;
    float score = 0.0f;  // 0 to 1, of being staff
};

class GenderClassifier {
  public:
    virtual ~GenderClassifier() = default;
    // Nothing when the model fails on this crop.
    virtual std::optional<GenderAnswer> classify(const CropView& crop) = 0;
};

class StaffDetector {
  public:
    virtual ~StaffDetector() = default;
    // Nothing when the model fails on this crop.
    virtual std::optional<StaffAnswer> detect(const CropView& crop) = 0;
};

// The models of a run; null where none is used. Not thread-safe.
struct AttributeModels {
    std::unique_ptr<GenderClassifier> gender;
    std::unique_ptr<StaffDetector> staff;
};

inline constexpr const char* kNoModel = "none";
inline constexpr const char* kVestModel = "vest";

// Opens the models that a user names: "none", for staff "vest", or the path of an ONNX file.
// Throws InputError when a file does not hold a network of the right form.
AttributeModels open_attribute_models(const std::string& gender, const std::string& staff);

}  // namespace host
