// Definition of the options, and their values.
#include "host/settings/audit_arguments.h"

#include "host/settings/run_arguments.h"

namespace host {
namespace {

constexpr const char* kRecordings = "RECORDING";
constexpr const char* kLabels = "--labels";
constexpr const char* kAgainst = "--against";
constexpr const char* kInterval = "--interval";
constexpr const char* kOutput = "--output";
constexpr const char* kQuiet = "--quiet";
constexpr const char* kConfig = "--config";
constexpr int kMostRecordings = 100000;
constexpr double kShortest_s = 1.0;
constexpr double kLongest_s = 86400.0;

constexpr const char* kAuditFooter = R"(
A table of labels has the columns time_s,line,direction for each crossing that was seen, or
from_s,to_s,line,direction,count for intervals; note and labeller may be there. Times are scene times
of the recording, directions 1 and 2 those of the lines.
)";

CLI::App* add_command(CLI::App& app, const char* name, const char* description) {
    CLI::App* command = app.add_subcommand(name, description);
    command->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    return command;
}

CLI::Option* add_recordings(CLI::App& command) {
    return command.add_option(kRecordings, "Recordings, one after the other")
        ->type_name("")
        ->expected(1, kMostRecordings)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
}

void add_output(CLI::App& command, const std::string& usual) {
    const std::string folder = "Folder for the results [" + usual + "]";
    const std::string quiet = "Show no progress";
    command.add_option(kOutput, folder)->type_name("DIR");
    command.add_flag(kQuiet, quiet)->disable_flag_override();
}

std::vector<std::string> values_of(const CLI::App& command, const char* option) {
    return is_given(command, option) ? command.get_option(option)->results()
                                     : std::vector<std::string>{};
}

}  // namespace

AuditArguments::AuditArguments(CLI::App& app)
    : audit_(add_command(app, "audit",
                         "Compare the counts of a recording with what a person saw in it")),
      compare_(
          add_command(app, "compare", "Show what two runs over a recording count differently")),
      what_if_(add_command(app, "whatif", "Show what other settings would count in a recording")) {
    add_recordings(*audit_);
    audit_->add_option(kLabels, "Table of who was seen crossing which line")
        ->type_name("FILE")
        ->required();
    audit_->add_option(kAgainst, "Compare two people's labels in place of a recording's counts")
        ->type_name("FILE");
    audit_
        ->add_option(kInterval, "Length of the intervals that single crossings are summed in [60]")
        ->type_name("S");
    add_output(*audit_, "audit/<name>");
    audit_->footer(kAuditFooter);

    compare_->add_option("FIRST", "Folder of a run's results")->type_name("")->required();
    compare_->add_option("SECOND", "Folder of another one's")->type_name("")->required();

    add_recordings(*what_if_)->required();
    what_if_->add_option(kConfig, "The other settings, in place of the recorded ones")
        ->type_name("FILE")
        ->required();
    add_output(*what_if_, "whatif/<name>");
}

const CLI::App* AuditArguments::parsed() const {
    for (const CLI::App* command : {audit_, compare_, what_if_})
        if (command->parsed()) return command;
    return nullptr;
}

void AuditArguments::apply_audit(AuditOptions& options) const {
    options.labels = value_of(*audit_, kLabels).value_or("");
    options.against = value_of(*audit_, kAgainst).value_or("");
    const std::vector<std::string> recordings = values_of(*audit_, kRecordings);
    if (!options.against.empty()) {
        if (!recordings.empty())
            throw InputError("--against compares two tables of labels; leave out the recording");
        return;
    }
    if (recordings.empty())
        throw InputError("vca audit needs a recording, or --against and another table of labels");
    if (const auto text = value_of(*audit_, kInterval)) {
        const auto interval_s = to_number(*text);
        if (!interval_s || *interval_s < kShortest_s || *interval_s > kLongest_s)
            throw InputError("--interval is \"" + *text + "\"; write seconds from 1 to 86400");
        options.interval_s = *interval_s;
    }
    options.run.source.source = "recording";
    options.run.source.recordings = recordings;
    options.run.output = value_of(*audit_, kOutput).value_or("");
    options.run.quiet = is_given(*audit_, kQuiet);
    options.run.live = false;
    read_recorded_settings(recordings.front(), options.run);
    check_options(options.run);
}

void AuditArguments::apply_to(CommandLine& result) const {
    if (audit_->parsed()) {
        result.command = Command::kAudit;
        apply_audit(result.audit);
    } else if (compare_->parsed()) {
        result.command = Command::kCompare;
        result.compare = {value_of(*compare_, "FIRST").value_or(""),
                          value_of(*compare_, "SECOND").value_or("")};
    } else {
        result.command = Command::kWhatIf;
        result.what_if = {values_of(*what_if_, kRecordings),
                          value_of(*what_if_, kConfig).value_or(""),
                          value_of(*what_if_, kOutput).value_or(""), is_given(*what_if_, kQuiet)};
    }
}

}  // namespace host
