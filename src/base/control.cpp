#include "base/control.h"

namespace {

VCA_CTRL_S control{};

}  // namespace

VCA_CTRL_S& vca::control_block() {
    return control;
}

VCA_CTRL_S* vca_get_pCtrl_param(void) {
    return &control;
}
