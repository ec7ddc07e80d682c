// Finds the staff's high-visibility vest in a crop: a fluorescent yellow or orange torso that is
// crossed by light-grey reflective stripes. Colour alone is not enough: visitors wear yellow too.
#pragma once

#include "host/inference/attribute_model.h"

namespace host {

// What the decision is made from; areas are shares of the crop's pixels that are not bars.
struct VestEvidence {
    float fluorescent = 0.0f;  // area of the vest's colour
    float stripes = 0.0f;      // area of light grey between two nearby pixels of that colour
};

VestEvidence find_vest(const CropView& crop);

class VestDetector final : public StaffDetector {
  public:
    std::optional<StaffAnswer> detect(const CropView& crop) override;
};

}  // namespace host
