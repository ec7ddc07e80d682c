// Definition of the options.
#include "host/settings/serve_arguments.h"

#include "host/settings/run_arguments.h"

namespace host {
namespace {

constexpr const char* kConfig = "--config";
constexpr const char* kDefaultFile = "vca.toml";

}  // namespace

ServeArguments::ServeArguments(CLI::App& app)
    : serve_(app.add_subcommand("serve", "Run the cameras of a place and keep what they count")),
      // Started by the service alone, so the help does not show it.
      camera_(app.add_subcommand(kCameraProcessCommand, "")->group("")) {
    serve_->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    serve_->add_option(kConfig, "The place's file [vca.toml]")->type_name("FILE");
}

const CLI::App* ServeArguments::parsed() const {
    for (const CLI::App* command : {serve_, camera_})
        if (command->parsed()) return command;
    return nullptr;
}

void ServeArguments::apply_to(CommandLine& result) const {
    if (camera_->parsed()) {
        result.command = Command::kCameraProcess;
        return;
    }
    result.command = Command::kServe;
    result.serve.file = value_of(*serve_, kConfig).value_or(kDefaultFile);
}

}  // namespace host
