// For a camera that keeps nothing.
#include "host/app/run_store.h"

namespace host {

std::vector<std::unique_ptr<Sink>> open_run_store(const RunPlan& plan) {
    if (plan.options.store.empty()) return {};
    throw InputError("this program was built without a database; leave out --store");
}

}  // namespace host
