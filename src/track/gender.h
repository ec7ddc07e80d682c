// The gender of a track as others may read it.
#pragma once

#include "vca/detect.h"

namespace vca {

inline bool is_known_gender(int32_t gender) {
    return gender == VCA_GENDER_MALE || gender == VCA_GENDER_FEMALE;
}

// What a model means by any other number is nobody else's concern.
inline int32_t known_gender(int32_t gender) {
    return is_known_gender(gender) ? gender : int32_t{VCA_GENDER_UNKNOWN};
}

}  // namespace vca
