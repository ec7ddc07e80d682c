// Text and plan of a checked site.
#include "host/app/check.h"

#include <filesystem>

#include "host/base/result_files.h"
#include "host/draw/site_plan.h"
#include "host/report/output_folder.h"
#include "host/settings/site_check.h"

namespace host {
namespace fs = std::filesystem;

std::string check_site_command(const std::string& file, const std::string& output) {
    const Site site = read_site_file(file);
    const fs::path plan =
        (output.empty() ? fs::path(file).parent_path() : fs::path(output)) / kSitePlanFile;
    if (output.empty()) {
        write_site_plan(site, plan.string());
    } else {
        OutputFolder folder(output, {kSitePlanFile});
        write_site_plan(site, folder.temporary(kSitePlanFile));
        folder.commit();
    }
    return describe_site(site) + "  plan in " + plan.string() + "\n";
}

}  // namespace host
