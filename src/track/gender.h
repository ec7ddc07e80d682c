// The gender of a track as exposed to other stages.
#pragma once

#include "vca/detect.h"

namespace vca {

inline bool is_known_gender(int32_t gender) {
    return gender == VCA_GENDER_MALE || gender == VCA_GENDER_FEMALE;
}

// Any other number is private to the model and reads as unknown.
inline int32_t known_gender(int32_t gender) {
    return is_known_gender(gender) ? gender : int32_t{VCA_GENDER_UNKNOWN};
}

}  // namespace vca
