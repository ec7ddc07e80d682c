// Text and plan of a checked site.
#include "host/app/check.h"

#include <filesystem>

#include "host/draw/site_plan.h"
#include "host/report/output_folder.h"
#include "host/settings/site_check.h"

namespace host {
namespace fs = std::filesystem;

namespace {

constexpr const char* kPlan = "site_plan.png";

}  // namespace

std::string check_site_command(const std::string& file, const std::string& output) {
    const Site site = read_site_file(file);
    const fs::path plan =
        (output.empty() ? fs::path(file).parent_path() : fs::path(output)) / kPlan;
    if (output.empty()) {
        write_site_plan(site, plan.string());
    } else {
        OutputFolder folder(output, {kPlan});
        write_site_plan(site, folder.temporary(kPlan));
        folder.commit();
    }
    return describe_site(site) + "  plan in " + plan.string() + "\n";
}

}  // namespace host
