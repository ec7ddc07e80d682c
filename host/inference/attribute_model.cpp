// From a model's name to the model.
#include "host/inference/attribute_model.h"

#include "host/inference/attribute_network.h"
#include "host/inference/vest_detector.h"

namespace host {

AttributeModels open_attribute_models(const std::string& gender, const std::string& staff) {
    AttributeModels models;
    if (gender != kNoModel) models.gender = open_gender_network(gender);
    if (staff == kVestModel) {
        models.staff = std::make_unique<VestDetector>();
    } else if (staff != kNoModel) {
        models.staff = open_staff_network(staff);
    }
    return models;
}

}  // namespace host
