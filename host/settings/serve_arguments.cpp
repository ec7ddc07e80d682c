// Definition of the options.
#include "host/settings/serve_arguments.h"

#include <charconv>

#include "host/settings/run_arguments.h"

namespace host {
namespace {

constexpr const char* kConfig = "--config";
constexpr const char* kCamera = "--camera";
constexpr const char* kVersion = "--version";
constexpr const char* kUser = "NAME";
constexpr const char* kDefaultFile = "vca.toml";

CLI::App* add_command(CLI::App& app, const char* name, const char* description) {
    CLI::App* command = app.add_subcommand(name, description);
    command->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    return command;
}

CLI::Option* add(CLI::App& command, const char* option, const char* type,
                 const std::string& description) {
    return command.add_option(option, description)->type_name(type);
}

void add_place(CLI::App& command) {
    add(command, kConfig, "FILE", "The place's file [vca.toml]");
}

std::string place_of(const CLI::App& command) {
    return value_of(command, kConfig).value_or(kDefaultFile);
}

std::int64_t version_of(const std::string& text) {
    std::int64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc{} && stop == end && value > 0) return value;
    throw InputError(std::string(kVersion) + " is \"" + text +
                     "\"; write a number that vca settings history shows");
}

}  // namespace

ServeArguments::ServeArguments(CLI::App& app)
    : serve_(add_command(app, "serve", "Run the cameras of a place and keep what they count")),
      // Started by the service alone, so the help does not show it.
      camera_(app.add_subcommand(kCameraProcessCommand, "")->group("")),
      settings_(app.add_subcommand("settings", "Settings of the cameras of a place")),
      history_(add_command(*settings_, "history", "Versions that were in force, or one of them")),
      restore_(add_command(*settings_, "restore", "Write a version into the camera's file again")),
      schema_(add_command(*settings_, "schema", "What can be set for a camera")),
      users_(app.add_subcommand("users", "Who may log in to the page of a place")),
      reset_(add_command(*users_, "reset", "A one-time password for a user who has lost theirs")) {
    add_place(*serve_);
    users_->require_subcommand(1);
    add_place(*reset_);
    reset_->add_option(kUser, "The user")->required();
    settings_->require_subcommand(1);
    for (CLI::App* command : {history_, restore_}) {
        add_place(*command);
        add(*command, kCamera, "NAME", "The camera")->required();
    }
    add(*history_, kVersion, "N", "Print the text of this version");
    add(*restore_, kVersion, "N", "The version")->required();
}

const CLI::App* ServeArguments::parsed() const {
    for (const CLI::App* command : {serve_, camera_, history_, restore_, schema_, reset_})
        if (command->parsed()) return command;
    return nullptr;
}

void ServeArguments::apply_to(CommandLine& result) const {
    if (camera_->parsed()) {
        result.command = Command::kCameraProcess;
    } else if (serve_->parsed()) {
        result.command = Command::kServe;
        result.serve.file = place_of(*serve_);
    } else if (reset_->parsed()) {
        result.command = Command::kResetUser;
        result.reset_user = {place_of(*reset_), value_of(*reset_, kUser).value_or("")};
    } else {
        result.command = Command::kSettings;
        apply_settings(result.settings);
    }
}

void ServeArguments::apply_settings(SettingsOptions& options) const {
    if (schema_->parsed()) {
        options.action = SettingsOptions::Action::kSchema;
        return;
    }
    const bool restore = restore_->parsed();
    const CLI::App& command = restore ? *restore_ : *history_;
    if (restore) options.action = SettingsOptions::Action::kRestore;
    options.file = place_of(command);
    options.camera = value_of(command, kCamera).value_or("");
    if (const auto version = value_of(command, kVersion)) options.version = version_of(*version);
}

}  // namespace host
