// Definition of the options, and their values.
#include "host/settings/store_arguments.h"

#include <charconv>
#include <climits>

#include "host/settings/run_arguments.h"

namespace host {
namespace {

constexpr const char* kStore = "--store";
constexpr const char* kPlaceFile = "--config";
constexpr const char* kZone = "--time-zone";
constexpr const char* kFormat = "--format";
constexpr const char* kEntrance = "--entrance";
constexpr const char* kOpen = "--open";
constexpr const char* kUrl = "--url";
constexpr const char* kCaFile = "--ca-file";
constexpr int kMostStores = 1000;
constexpr int kMostEntrances = 1000;

CLI::App* add_command(CLI::App& app, const char* name, const char* description) {
    CLI::App* command = app.add_subcommand(name, description);
    command->option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    return command;
}

CLI::Option* add(CLI::App& command, const char* option, const char* type,
                 const std::string& description) {
    return command.add_option(option, description)->type_name(type);
}

void add_flag(CLI::App& command, const char* option, const std::string& description) {
    command.add_flag(option, description)->disable_flag_override();
}

void add_stores(CLI::App& command) {
    add(command, kStore, "FILE.db ...", "Databases, one for each camera")
        ->expected(1, kMostStores)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->required();
}

// Databases, or the file of a place that says where they are.
void add_place(CLI::App& command) {
    add(command, kStore, "FILE.db ...", "Databases, one for each camera")
        ->expected(1, kMostStores)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    add(command, kPlaceFile, "FILE.toml", "All databases of a place, by its file");
}

// One of `others` may stand in their place.
void check_place(const CLI::App& command, const std::string& others = "") {
    if (is_given(command, kStore) && is_given(command, kPlaceFile)) {
        throw InputError(std::string(kPlaceFile) + " says which databases there are; leave out " +
                         kStore);
    }
    if (is_given(command, kStore) || is_given(command, kPlaceFile)) return;
    throw InputError("vca " + command.get_name() + " needs " + kStore + " FILE.db or " +
                     kPlaceFile + " vca.toml" + others);
}

void add_zone(CLI::App& command) {
    add(command, kZone, "NAME", "Time zone of the place, such as Europe/Berlin [the machine's]");
}

std::vector<std::string> values_of(const CLI::App& command, const char* option) {
    return is_given(command, option) ? command.get_option(option)->results()
                                     : std::vector<std::string>{};
}

int whole_number(const std::string& text, const std::string& option, int least) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error == std::errc{} && stop == end && value >= least) return value;
    throw InputError(option + " is \"" + text + "\"; write a whole number" +
                     (least > INT_MIN ? " from " + std::to_string(least) + " on" : ""));
}

Entrance parse_entrance(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos) return {text, 1};
    const std::string direction = text.substr(colon + 1);
    if (direction == "1" || direction == "2")
        return {text.substr(0, colon), direction == "1" ? 1 : 2};
    throw InputError(std::string(kEntrance) + " is \"" + text +
                     "\"; after the colon write 1 or 2, the direction of those who come in");
}

std::string keep_option(const RetentionKind& kind) {
    return std::string("--keep-") + kind.name;
}

std::string days_text(const std::optional<int>& days) {
    return days ? std::to_string(*days) : kKeptForEver;
}

std::optional<int> parse_days(const std::string& text, const std::string& option) {
    if (text == kKeptForEver) return std::nullopt;
    const int days = whole_number(text, option, 0);
    if (days <= kMostDaysKept) return days;
    throw InputError(option + " is \"" + text + "\"; write up to " + std::to_string(kMostDaysKept) +
                     " days, or " + kKeptForEver);
}

template <typename Value>
Value one_of(const std::string& text, const std::string& option,
             const std::vector<std::pair<std::string, Value>>& known) {
    std::string names;
    for (const auto& [name, value] : known) {
        if (name == text) return value;
        names += (names.empty() ? "" : ", ") + name;
    }
    throw InputError(option + " is \"" + text + "\"; known are " + names);
}

}  // namespace

StoreArguments::StoreArguments(CLI::App& app)
    : counts_(add_command(app, "counts", "Show what a database has counted")),
      export_(add_command(app, "export", "Write the events of a database as text")),
      backup_(add_command(app, "backup", "Copy a database, also while it is being written")),
      restore_(add_command(app, "restore", "Begin a database with a copy")),
      correct_(add_command(app, "correct", "Note that the people in an area are not right")),
      prune_(add_command(app, "prune", "Remove from a database what is too old to be kept")),
      status_(add_command(app, "status", "Say whether all is well: exit status 0, 3 or 1")) {
    add_place(*counts_);
    add(*counts_, "--by", "line|hour|kind", "What has a row of its own [line]");
    add(*counts_, "--date", "YYYY-MM-DD", "Local day [today]");
    add_zone(*counts_);
    add(*counts_, kFormat, "table|csv|json", "How it is written [table]");
    add(*counts_, kEntrance, "LINE[:DIRECTION]",
        "Count visitors: people who come in through this line, in direction 1 or the one given, "
        "without staff; may repeat")
        ->expected(1, kMostEntrances)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    add_flag(*counts_, "--groups-as-one", "Count people who come in together as one visitor");
    add_flag(*counts_, "--visitors", "Count the visitors of a place, by the entrances of its file");
    add(*counts_, kOpen, "[DAYS ]HH:MM-HH:MM",
        "Only within these opening hours, such as 09:00-20:00 or \"mon-fri 09:00-20:00\"; may "
        "repeat [the whole day]")
        ->expected(1, kMostEntrances)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    add_flag(*counts_, "--inside",
             "How many people are inside: those who came in less those who "
             "went out through the entrances");
    add(*counts_, "--area", "NAME", "Name of what the entrances lead to [place]");
    add(*counts_, "--reset", "HH:MM", "When nobody is inside, so counting begins at 0 [04:00]");
    add(*counts_, "--capacity", "N", "How many people may be inside");
    add_flag(*counts_, "--follow", "Print each event as a line of JSON when it is safe");
    add(*counts_, "--after", "EPOCH:SEQUENCE|0", "Begin after this event, or with the first");

    add_place(*export_);
    add(*export_, "--from", "YYYY-MM-DD", "First local day [the first there is]");
    add(*export_, "--to", "YYYY-MM-DD", "Last local day [the last there is]");
    add_zone(*export_);
    add(*export_, kFormat, "csv|jsonl", "How it is written [csv]");

    add(*backup_, kStore, "FILE.db", "The database")->required();
    add(*backup_, "--output", "FILE", "The copy [FILE.db-TIME.backup]");

    add(*restore_, "BACKUP", "", "The copy")->required();
    add(*restore_, kStore, "FILE.db", "The database that begins with it")->required();
    add_flag(*restore_, "--replace", "Rename the database that is there");

    add(*correct_, kStore, "FILE.db", "The database")->required();
    add(*correct_, "--area", "NAME", "What the entrances lead to [place]");
    add(*correct_, "--people", "N", "How many are missing; with a minus how many are too many")
        ->required();
    add(*correct_, "--who", "TEXT", "Who says so")->required();
    add(*correct_, "--why", "TEXT", "Why")->required();

    add_stores(*prune_);
    for (const RetentionKind& kind : kRetentionKinds)
        add(*prune_, keep_option(kind).c_str(), "DAYS|forever",
            std::string("Days for which ") + kind.what + " are kept [" +
                days_text(Retention{}.*kind.days) + "]");

    add_place(*status_);
    add(*status_, kUrl, "http[s]://HOST:PORT", "Ask the service that runs there");
    add(*status_, kCaFile, "FILE.pem",
        "Who signed the certificate of the service [whom the system trusts]");
    add(*status_, kFormat, "table|json", "How it is written [table]");
}

const CLI::App* StoreArguments::parsed() const {
    for (const CLI::App* command : {counts_, export_, backup_, restore_, correct_, prune_, status_})
        if (command->parsed()) return command;
    return nullptr;
}

void StoreArguments::apply_counts(CountsOptions& options) const {
    check_place(*counts_);
    options.stores = values_of(*counts_, kStore);
    options.place_file = value_of(*counts_, kPlaceFile).value_or("");
    if (const auto by = value_of(*counts_, "--by"))
        options.by = one_of<CountsBy>(
            *by, "--by",
            {{"line", CountsBy::kLine}, {"hour", CountsBy::kHour}, {"kind", CountsBy::kKind}});
    if (const auto form = value_of(*counts_, kFormat))
        options.form = one_of<TextForm>(
            *form, kFormat,
            {{"table", TextForm::kTable}, {"csv", TextForm::kCsv}, {"json", TextForm::kJson}});
    options.date = value_of(*counts_, "--date").value_or("");
    options.time_zone = value_of(*counts_, kZone).value_or("");
    for (const std::string& text : values_of(*counts_, kEntrance))
        options.entrances.push_back(parse_entrance(text));
    options.groups_as_one = is_given(*counts_, "--groups-as-one");
    options.visitors = is_given(*counts_, "--visitors") || !options.entrances.empty();
    for (const std::string& open : values_of(*counts_, kOpen))
        options.open.emplace_back(open, kOpen);
    options.follow = is_given(*counts_, "--follow");
    options.after = value_of(*counts_, "--after").value_or("");
    options.inside = is_given(*counts_, "--inside");
    options.area = value_of(*counts_, "--area").value_or("");
    options.reset = value_of(*counts_, "--reset").value_or("04:00");
    if (const auto most = value_of(*counts_, "--capacity"))
        options.capacity = whole_number(*most, "--capacity", 1);
    const bool place = !options.place_file.empty();
    for (const char* option : {"--groups-as-one", "--inside", "--visitors"}) {
        if (!is_given(*counts_, option) || place || !options.entrances.empty()) continue;
        throw InputError(
            std::string(option) +
            " needs to know the entrances; add --entrance LINE, or --config of a place");
    }
    for (const char* option : {kZone, kEntrance, kOpen, "--reset", "--capacity"}) {
        if (!is_given(*counts_, option) || !place) continue;
        throw InputError(std::string(option) + " stands in the place's file; leave it out");
    }
    if (place && is_given(*counts_, "--groups-as-one") && !options.visitors)
        throw InputError("--groups-as-one belongs to --visitors");
    for (const char* option : {"--reset", "--capacity", "--area"}) {
        if (!is_given(*counts_, option) || options.inside) continue;
        throw InputError(std::string(option) + " belongs to --inside");
    }
    if (is_given(*counts_, "--after") && !options.follow)
        throw InputError("--after belongs to --follow");
    if (is_given(*counts_, "--after") && (place || options.stores.size() > 1)) {
        throw InputError("--after names an event of one database; give one --store");
    }
}

void StoreArguments::apply_export(ExportOptions& options) const {
    check_place(*export_);
    options.stores = values_of(*export_, kStore);
    options.place_file = value_of(*export_, kPlaceFile).value_or("");
    options.from = value_of(*export_, "--from").value_or("");
    options.to = value_of(*export_, "--to").value_or("");
    options.time_zone = value_of(*export_, kZone).value_or("");
    if (const auto form = value_of(*export_, kFormat))
        options.form = one_of<TextForm>(*form, kFormat,
                                        {{"csv", TextForm::kCsv}, {"jsonl", TextForm::kJsonLines}});
}

void StoreArguments::apply_prune(PruneOptions& options) const {
    options.stores = values_of(*prune_, kStore);
    for (const RetentionKind& kind : kRetentionKinds) {
        const std::string option = keep_option(kind);
        if (const auto days = value_of(*prune_, option))
            options.keep.*kind.days = parse_days(*days, option);
    }
}

void StoreArguments::apply_status(StatusOptions& options) const {
    options.url = value_of(*status_, kUrl).value_or("");
    options.ca_file = value_of(*status_, kCaFile).value_or("");
    options.stores = values_of(*status_, kStore);
    options.place_file = value_of(*status_, kPlaceFile).value_or("");
    if (options.url.empty()) {
        check_place(*status_, std::string(", or ") + kUrl + " http://HOST:PORT");
    } else if (is_given(*status_, kStore) || is_given(*status_, kPlaceFile)) {
        throw InputError(std::string(kUrl) + " asks a service that runs; leave out the databases");
    }
    if (options.url.empty() && !options.ca_file.empty())
        throw InputError(std::string(kCaFile) + " is for a service; add " + kUrl +
                         " https://HOST:PORT");
    if (const auto form = value_of(*status_, kFormat))
        options.form = one_of<TextForm>(*form, kFormat,
                                        {{"table", TextForm::kTable}, {"json", TextForm::kJson}});
}

void StoreArguments::apply_to(CommandLine& result) const {
    if (counts_->parsed()) {
        result.command = Command::kCounts;
        apply_counts(result.counts);
    } else if (export_->parsed()) {
        result.command = Command::kExport;
        apply_export(result.exported);
    } else if (backup_->parsed()) {
        result.command = Command::kBackup;
        result.backup = {value_of(*backup_, kStore).value_or(""),
                         value_of(*backup_, "--output").value_or("")};
    } else if (restore_->parsed()) {
        result.command = Command::kRestore;
        result.restore = {value_of(*restore_, "BACKUP").value_or(""),
                          value_of(*restore_, kStore).value_or(""),
                          is_given(*restore_, "--replace")};
    } else if (status_->parsed()) {
        result.command = Command::kStatus;
        apply_status(result.status);
    } else if (prune_->parsed()) {
        result.command = Command::kPrune;
        apply_prune(result.prune);
    } else {
        result.command = Command::kCorrect;
        result.correct = {
            value_of(*correct_, kStore).value_or(""),
            value_of(*correct_, "--area").value_or("place"),
            whole_number(value_of(*correct_, "--people").value_or(""), "--people", INT_MIN),
            value_of(*correct_, "--who").value_or(""), value_of(*correct_, "--why").value_or("")};
    }
}

}  // namespace host
