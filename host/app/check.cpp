// Texts about checked files, and the plan of a site.
#include "host/app/check.h"

#include <filesystem>
#include <stdexcept>

#include "host/app/serve_command.h"
#include "host/base/result_files.h"
#include "host/draw/site_plan.h"
#include "host/frames/site_view.h"
#include "host/inference/attribute_model.h"
#include "host/report/output_folder.h"
#include "host/settings/installation_check.h"
#include "host/settings/service_file.h"
#include "host/settings/site_check.h"
#include "host/settings/site_config.h"

namespace host {
namespace {

namespace fs = std::filesystem;

void write_plan_beside(const Site& site, const std::string& plan) {
    try {
        write_site_plan(site, plan);
    } catch (const std::runtime_error& e) {
        throw InputError("the file is sound, but its plan cannot be written: " +
                         std::string(e.what()) + "; give --output DIR");
    }
}

std::string check_site_file(const CheckOptions& options) {
    const Site site = read_site_file(options.file);
    const fs::path folder =
        options.output.empty() ? fs::path(options.file).parent_path() : fs::path(options.output);
    const fs::path plan = folder / kSitePlanFile;
    for (const SiteDevice& device : site.devices)
        if (device.is_simulated()) open_simulated_view(view_setup(site, device));
    if (options.output.empty()) {
        write_plan_beside(site, plan.string());
    } else {
        OutputFolder output(options.output, {kSitePlanFile});
        write_site_plan(site, output.file(kSitePlanFile));
        output.commit();
    }
    return describe_site(site) + "  plan in " + plan.string() + "\n";
}

void check_no_output(const CheckOptions& options, const std::string& of) {
    if (options.output.empty()) return;
    throw InputError("--output is for the plan of a site; \"" + options.file +
                     "\" is the file of " + of);
}

std::string check_installation_file(const CheckOptions& options) {
    check_no_output(options, "a single camera");
    RunOptions installation;
    read_config_file(options.file, installation);
    check_installation(installation);
    open_attribute_models(installation.gender, installation.staff);
    return "installation \"" + options.file + "\"\n" + describe_installation(installation);
}

}  // namespace

std::string check_command(const CheckOptions& options) {
    if (options.as_site) return check_site_file(options);
    if (is_service_file(options.file)) {
        check_no_output(options, "a place");
        return check_service_file(options.file);
    }
    return is_site_file(options.file) ? check_site_file(options) : check_installation_file(options);
}

}  // namespace host
