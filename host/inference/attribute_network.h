// Attribute models that are neural networks in ONNX files.
//
// Input: one tensor of 1 x 3 x 224 x 224 floats, the planes red, green and blue, 0 to 1.
// Output: one tensor of probabilities that add up to 1. Its name says the order of the classes:
// "unknown_male_female" (1 x 3) for gender, "other_staff" (1 x 2) for staff.
#pragma once

#include <memory>
#include <string>

#include "host/inference/attribute_model.h"

namespace host {

// Open and check a network file and run it a few times. Throw InputError.
std::unique_ptr<GenderClassifier> open_gender_network(const std::string& path);
std::unique_ptr<StaffDetector> open_staff_network(const std::string& path);

}  // namespace host
