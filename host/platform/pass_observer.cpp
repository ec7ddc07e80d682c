// The one observer.
#include "host/platform/pass_observer.h"

#include <atomic>

namespace host {
namespace {

std::atomic<PassObserver*> active_observer{nullptr};

}  // namespace

void set_pass_observer(PassObserver* observer) {
    active_observer = observer;
}

PassObserver* pass_observer() {
    return active_observer;
}

}  // namespace host
