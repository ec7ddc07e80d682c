// The TOML file that holds lines and settings of an installation.
#include <cmath>

#include "host/base/text.h"
#include "host/base/toml_reader.h"
#include "host/settings/run_options.h"

namespace host {
namespace {

using Value = const TomlValue&;

// The keys, which reader and writer share.
constexpr const char* kLine = "line";
constexpr const char* kRegion = "region";
constexpr const char* kExclude = "exclude";
constexpr const char* kHeight_mm = "height_mm";
constexpr const char* kTargetHeight_mm = "target_height_mm";
constexpr const char* kGroup = "group";
constexpr const char* kDetect = "detect";
constexpr const char* kSensor = "sensor";
constexpr const char* kLateCounts = "late_counts";
constexpr const char* kTilt = "tilt";
constexpr const char* kGender = "gender";
constexpr const char* kStaff = "staff";
constexpr const char* kPosition = "position";
constexpr const char* kName = "name";
constexpr const char* kPoints = "points";
constexpr const char* kUturn = "uturn";
constexpr const char* kArea = "area";
constexpr const char* kFlip = "flip";
constexpr const char* kClosed = "closed";
constexpr const char* kDirections = "directions";
constexpr const char* kEnabled = "enabled";
constexpr const char* kMin = "min";
constexpr const char* kMax = "max";
constexpr const char* kFoot = "foot";
constexpr const char* kBox = "box";

// How a form shows a key; one without a type is not in it.
struct FormControl {
    const char* label = "";
    const char* type = "";
    const char* unit = "";
    std::optional<double> minimum{};
    std::optional<double> maximum{};
};

// One key: what may be written, what counts without it, and what it means; and who reads it.
struct SettingKey {
    const char* name;
    const char* form;
    const char* otherwise;
    const char* says;
    TomlValue::Reader read;
    FormControl control{};
};
using SettingKeys = std::vector<SettingKey>;

TomlValue::Keys keys_of(const SettingKeys& settings) {
    TomlValue::Keys keys;
    for (const SettingKey& setting : settings)
        keys.push_back({setting.name, setting.read});
    return keys;
}

constexpr const char* kPointsForm = "[[x, y], [x, y], ...]";

// Sets options one key after the other.
class InstallationReader {
  public:
    explicit InstallationReader(RunOptions& options) : options_(options) {}

    void read(Value root) { root.read_keys(keys_of(keys())); }

    // The keys outside of [[line]], [[region]], [[exclude]] and [group] tables come first.
    std::string schema() {
        std::string text = "# key = form   without it   meaning; places are pixels\n";
        add_keys(keys(), text);
        PlacedLine line;
        add_table("[[", kLine, "]]", line_keys(line), text);
        Placed<CountingRegion> region;
        add_table("[[", kRegion, "]]", region_keys(region), text);
        Placed<std::vector<PicturePoint>> exclusion;
        add_table("[[", kExclude, "]]", exclusion_keys(exclusion), text);
        add_table("[", kGroup, "]", group_keys(), text);
        return text;
    }

    std::vector<SettingField> fields() {
        std::vector<SettingField> list;
        add_fields(keys(), "", list);
        add_fields(group_keys(), std::string(kGroup) + ".", list);
        return list;
    }

  private:
    SettingKeys keys() {
        return {{kLine, "", "", "",
                 TomlValue::tables("lines are written as [[line]] tables",
                                   [this](Value table) { read_line(table); })},
                {kRegion, "", "", "",
                 TomlValue::tables("regions are written as [[region]] tables",
                                   [this](Value table) { read_region(table); })},
                {kExclude, "", "", "",
                 TomlValue::tables("exclusion areas are written as [[exclude]] tables",
                                   [this](Value table) { read_exclusion(table); })},
                {kHeight_mm,
                 "1500 to 15000, or \"auto\"",
                 "as the source says",
                 "lens above the floor in mm; auto measures it",
                 [this](Value value) { read_height(value); },
                 {"Height of the camera", "height", "mm", kLowestCamera_mm, kHighestCamera_mm}},
                {kTargetHeight_mm,
                 "[lowest, highest]",
                 "[800, 2200]",
                 "people outside this range in mm are not counted",
                 [this](Value value) { read_target(value); },
                 {"Height of people", "range", "mm", 0.0, 3000.0}},
                {kGroup, "", "", "", [this](Value value) { read_group(value); }},
                {kDetect,
                 "\"depth\", \"colour\" or \"both\"",
                 "\"depth\"",
                 "the image in which people are looked for",
                 [this](Value value) {
                     const std::string place = value.place(kDetect);
                     options_.detect = {parse_detect_mode(value.text(), place), place};
                 },
                 {"People are looked for in", "choice"}},
                {kSensor,
                 "\"exact\" or \"reads-low\"",
                 "\"exact\"",
                 "reads-low: people measure too low from high up",
                 [this](Value value) {
                     options_.sensor = parse_sensor(value.text(), value.place(kSensor));
                 },
                 {"Sensor", "choice"}},
                {kLateCounts,
                 "\"drop\" or \"keep\"",
                 "\"drop\"",
                 "counts of people whom the end of their track finds back before a line",
                 [this](Value value) {
                     options_.late_counts =
                         parse_late_counts(value.text(), value.place(kLateCounts));
                 },
                 {"Late counts", "choice"}},
                {kTilt,
                 "\"auto\", \"none\" or [roll, pitch]",
                 "\"auto\"",
                 "how crooked the camera hangs, in degrees of -20 to 20",
                 [this](Value value) { read_tilt(value); },
                 {"Tilt", "tilt", "degrees", -20.0, 20.0}},
                {kGender, "\"none\" or a file", "\"none\"", "network that tells men from women",
                 [this](Value v) { options_.gender = model(v, kGender); }},
                {kStaff,
                 "\"none\", \"vest\" or a file",
                 "\"none\"",
                 "what tells staff from visitors",
                 [this](Value v) { options_.staff = model(v, kStaff); },
                 {"Staff", "text"}},
                {kPosition,
                 "\"foot\" or \"box\"",
                 "\"foot\"",
                 "where people are: their feet, or head and shoulders",
                 [this](Value value) { read_position(value); },
                 {"Point that counts", "choice"}}};
    }

    static SettingKeys line_keys(PlacedLine& given) {
        CountingLine& line = given.value;
        return {{kName, "text", "\"line 1\" ...", "1 to 60 characters",
                 [&line](Value value) { line.name = name(value); }},
                {kPoints, kPointsForm, "needed", "2 to 5 points",
                 [&](Value value) {
                     line.points = points(value);
                     given.place = value.place("the line");
                 }},
                {kUturn, "true or false", "false", "people who turn back are not counted",
                 [&line](Value value) { line.uturn_filter = value.flag(); }},
                {kArea, kPointsForm, "the whole picture",
                 "where they are followed for that, 3 to 10 points",
                 [&](Value value) {
                     line.uturn_area = points(value);
                     given.area_place = value.place("the area");
                     check_area_points(line.uturn_area, given.area_place);
                 }},
                {kFlip, "true or false", "false", "swaps directions 1 and 2",
                 [&line](Value value) { line.flip = value.flag(); }},
                {kDirections, "[\"name\", \"name\"]", "[\"in\", \"out\"]",
                 "what directions 1 and 2 are called; it changes no count",
                 [&line](Value value) { read_directions(value, line); }},
                {kClosed, "true or false", "false",
                 "goes around an area: four corners and the first point again",
                 [&given](Value value) { given.closed = value.flag(); }}};
    }

    static SettingKeys region_keys(Placed<CountingRegion>& given) {
        return {{kName, "text", "\"region 1\" ...", "1 to 60 characters",
                 [&given](Value value) { given.value.name = name(value); }},
                {kPoints, kPointsForm, "needed", "3 to 10 points", [&given](Value value) {
                     given.value.points = points(value);
                     given.place = value.place("the region");
                 }}};
    }

    static SettingKeys exclusion_keys(Placed<std::vector<PicturePoint>>& given) {
        return {{kPoints, kPointsForm, "needed", "3 to 10 points; nobody in there is followed",
                 [&given](Value value) {
                     given = {points(value), value.place("the exclusion area")};
                 }}};
    }

    SettingKeys group_keys() {
        return {{kEnabled,
                 "true or false",
                 "as the source suggests",
                 "people who cross together are told as a group too",
                 [this](Value v) { options_.group_counting = v.flag(); },
                 {"Count groups", "flag"}},
                {kMin,
                 "whole number",
                 "2",
                 "members of the smallest group",
                 [this](Value v) { options_.group_min = v.whole(0, kMostWhole); },
                 {"Smallest group", "whole", "people", 2.0, 10.0}},
                {kMax,
                 "whole number",
                 "6",
                 "members of the largest one",
                 [this](Value v) { options_.group_max = v.whole(0, kMostWhole); },
                 {"Largest group", "whole", "people", 2.0, 20.0}}};
    }

    static void add_keys(const SettingKeys& keys, std::string& text) {
        constexpr std::size_t kForm = 44;
        constexpr std::size_t kOtherwise = 24;
        for (const SettingKey& key : keys) {
            if (*key.says == '\0') continue;  // a table of its own
            text += fitted(std::string(key.name) + " = " + key.form, kForm) + " " +
                    fitted(key.otherwise, kOtherwise) + " " + key.says + "\n";
        }
    }

    static void add_table(const char* open, const char* table, const char* close,
                          const SettingKeys& keys, std::string& text) {
        text += std::string("\n") + open + table + close + "\n";
        add_keys(keys, text);
    }

    static void add_fields(const SettingKeys& keys, const std::string& table,
                           std::vector<SettingField>& list) {
        for (const SettingKey& key : keys) {
            const FormControl& control = key.control;
            if (*control.type == '\0') continue;
            SettingField field{table + key.name, control.label, key.says, control.type,
                               control.unit,     key.otherwise, {},       control.minimum,
                               control.maximum};
            if (field.type == "choice") field.choices = quoted_words(key.form);
            list.push_back(std::move(field));
        }
    }

    // "\"exact\" or \"reads-low\"" are exact and reads-low.
    static std::vector<std::string> quoted_words(const std::string& form) {
        std::vector<std::string> words;
        for (std::size_t open = form.find('"'); open != std::string::npos;) {
            const std::size_t close = form.find('"', open + 1);
            words.push_back(form.substr(open + 1, close - open - 1));
            open = form.find('"', close + 1);
        }
        return words;
    }

    static std::string model(Value value, const char* key) {
        std::string name = value.text();
        if (!name.empty()) return name;
        throw InputError(value.place(key) + " is empty; write none or the path of a network");
    }

    static std::string name(Value value) {
        check_name(value.text(), value.place("the name"));
        return value.text();
    }

    static void read_directions(Value value, CountingLine& line) {
        const auto names = value.pair("directions are written as [\"name\", \"name\"]");
        for (std::size_t i = 0; i < names.size(); ++i) {
            check_name(names[i].text(), names[i].place("the name of a direction"));
            line.directions[i] = names[i].text();
        }
        check_directions_differ(line.directions, value.place(kDirections));
    }

    // Points are [[x, y], [x, y], ...].
    static std::vector<PicturePoint> points(Value value) {
        std::vector<PicturePoint> list;
        for (const auto& [x, y] : value.pairs("points are written as [[x, y], [x, y]]")) {
            const PicturePoint point{x.number(), y.number()};
            if (!std::isfinite(point.x) || !std::isfinite(point.y)) {
                throw InputError(x.place("the point " + point_text(point) +
                                         " is not a valid position; write pixels of the picture"));
            }
            list.push_back(point);
        }
        return list;
    }

    void read_line(Value table) {
        if (options_.lines.size() == kMaxLines) {
            throw InputError(table.place("this is counting line 5; at most 4 can be counted"));
        }
        PlacedLine given({}, table.place("the line"));
        CountingLine& line = given.value;
        line.name = "line " + std::to_string(options_.lines.size() + 1);
        table.read_keys(keys_of(line_keys(given)));
        (given.closed ? check_closed_line_points : check_line_points)(line.points, given.place);
        if (!line.uturn_area.empty() && !line.uturn_filter) {
            throw InputError(given.area_place +
                             " is only used with uturn = true; add that to the line");
        }
        if (!line.uturn_area.empty())
            check_area_on_line(line.uturn_area, line.points, given.area_place);
        options_.lines.push_back(std::move(given));
    }

    void read_region(Value table) {
        if (options_.regions.size() == kMaxRegions) {
            throw InputError(table.place("this is counting region 5; at most 4 can be counted"));
        }
        Placed<CountingRegion> given({}, table.place("the region"));
        given.value.name = "region " + std::to_string(options_.regions.size() + 1);
        table.read_keys(keys_of(region_keys(given)));
        check_region_points(given.value.points, given.place);
        options_.regions.push_back(std::move(given));
    }

    void read_exclusion(Value table) {
        if (options_.exclusions.size() == kMaxExclusions) {
            throw InputError(table.place("this is exclusion area 5; at most 4 are possible"));
        }
        Placed<std::vector<PicturePoint>> given({}, table.place("the exclusion area"));
        table.read_keys(keys_of(exclusion_keys(given)));
        check_exclusion_points(given.value, given.place);
        options_.exclusions.push_back(std::move(given));
    }

    void read_height(Value value) {
        options_.measure_height = value.is_text() && value.text() == "auto";
        if (options_.measure_height) return;
        const std::string place = value.place(kHeight_mm);
        options_.source.height_mm = Placed(checked_height_mm(value.finite_number(), place), place);
    }

    void read_target(Value value) {
        const auto [lowest, highest] =
            value.pair("target_height_mm is written as [lowest, highest]");
        options_.target_min_mm = lowest.whole(0, kMostWhole);
        options_.target_max_mm = highest.whole(0, kMostWhole);
        check_target_range(options_.target_min_mm, options_.target_max_mm,
                           value.place(kTargetHeight_mm));
    }

    void read_group(Value value) {
        value.read_keys(keys_of(group_keys()), "groups are set in a [group] table");
        check_group_range(options_.group_min, options_.group_max,
                          value.place("the size of groups"));
    }

    void read_tilt(Value value) {
        const std::string place = value.place(kTilt);
        const std::string form =
            "tilt is written as \"auto\", \"none\" or [roll, pitch] in degrees";
        if (value.is_text()) {
            const std::string word = value.text();
            if (word != "auto" && word != "none")
                throw InputError(place + " is \"" + word + "\"; " + form);
            options_.tilt = parse_tilt(word, place);
            return;
        }
        const auto [roll, pitch] = value.pair(form);
        options_.tilt = checked_tilt({roll.finite_number(), pitch.finite_number()}, place);
    }

    void read_position(Value value) {
        const std::string name = value.text();
        if (name != kFoot && name != kBox) {
            throw InputError(value.place("position is \"") + name + "\"; known are foot and box");
        }
        options_.source.foot_point = name == kFoot;
    }

    static constexpr int kMostWhole = 100000;
    RunOptions& options_;
};

// A basic string: quotes, backslashes and control characters need an escape.
std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            result += '\\';
            result += c;
        } else if (code < 0x20 || code == 0x7f) {
            result += format_text("\\u%04x", static_cast<unsigned>(code));
        } else {
            result += c;
        }
    }
    return result + '"';
}

std::string in_brackets(const std::vector<PicturePoint>& list) {
    std::string text;
    for (const PicturePoint& p : list) {
        text += (text.empty() ? "[" : ", [") + exact_number(p.x) + ", " + exact_number(p.y) + "]";
    }
    return "[" + text + "]";
}

// Writes the keys of one table after the other.
class InstallationWriter {
  public:
    std::string write(const RunOptions& options) {
        add_settings(options);
        for (const PlacedLine& line : options.lines)
            add_line(line.value);
        for (const Placed<CountingRegion>& region : options.regions) {
            begin("[[", kRegion, "]]");
            add(kName, quoted(region.value.name));
            add(kPoints, in_brackets(region.value.points));
        }
        for (const auto& area : options.exclusions) {
            begin("[[", kExclude, "]]");
            add(kPoints, in_brackets(area.value));
        }
        return text_;
    }

  private:
    void add_settings(const RunOptions& options) {
        if (options.measure_height) {
            add(kHeight_mm, quoted("auto"));
        } else if (options.source.height_mm) {
            add(kHeight_mm, exact_number(options.source.height_mm->value));
        }
        add(kTargetHeight_mm, "[" + std::to_string(options.target_min_mm) + ", " +
                                  std::to_string(options.target_max_mm) + "]");
        add(kDetect, quoted(detect_mode_name(options.detect.value)));
        add(kSensor, quoted(sensor_name(options.sensor)));
        add(kLateCounts, quoted(late_counts_name(options.late_counts)));
        add(kTilt, tilt_text(options.tilt));
        add(kGender, quoted(options.gender));
        add(kStaff, quoted(options.staff));
        add(kPosition, quoted(options.source.foot_point ? kFoot : kBox));
        begin("[", kGroup, "]");
        if (options.group_counting) add(kEnabled, *options.group_counting ? "true" : "false");
        add(kMin, std::to_string(options.group_min));
        add(kMax, std::to_string(options.group_max));
    }

    void add_line(const CountingLine& line) {
        begin("[[", kLine, "]]");
        add(kName, quoted(line.name));
        add(kPoints, in_brackets(line.points));
        if (line.uturn_filter) add(kUturn, "true");
        if (!line.uturn_area.empty()) add(kArea, in_brackets(line.uturn_area));
        if (line.flip) add(kFlip, "true");
        if (is_closed(line.points)) add(kClosed, "true");
        if (line.directions != CountingLine{}.directions) {
            add(kDirections,
                "[" + quoted(line.directions[0]) + ", " + quoted(line.directions[1]) + "]");
        }
    }

    static std::string tilt_text(const TiltSetting& tilt) {
        switch (tilt.kind) {
            case TiltSetting::Kind::kAuto:
                return quoted("auto");
            case TiltSetting::Kind::kNone:
                return quoted("none");
            case TiltSetting::Kind::kGiven:
                break;
        }
        return "[" + exact_number(tilt.given.roll_deg) + ", " + exact_number(tilt.given.pitch_deg) +
               "]";
    }

    void begin(const char* open, const char* table, const char* close) {
        text_ += std::string("\n") + open + table + close + "\n";
    }
    void add(const char* key, const std::string& value) {
        text_ += std::string(key) + " = " + value + "\n";
    }

    std::string text_;
};

}  // namespace

std::string config_schema() {
    RunOptions unused;
    return InstallationReader(unused).schema();
}

std::vector<SettingField> config_fields() {
    RunOptions unused;
    return InstallationReader(unused).fields();
}

std::string config_text(const RunOptions& options) {
    return InstallationWriter().write(options);
}

void parse_config(const std::string& text, const std::string& name, RunOptions& options) {
    InstallationReader(options).read(parse_toml(text, name));
}

void take_carried_settings(const std::string& text, const std::string& name, RunOptions& options) {
    if (text.empty() || !options.set_again) return;
    RunOptions carried;
    carried.source = options.source;
    carried.set_again = options.set_again;
    try {
        parse_config(text, name, carried);
    } catch (const InputError& error) {
        throw InputError(std::string(error.what()) + "; give --config FILE in their place");
    }
    carried.set_again(carried);
    options = std::move(carried);
}

void read_config_file(const std::string& path, RunOptions& options) {
    InstallationReader(options).read(
        read_toml_file(path, "configuration file", "--config needs a readable file"));
}

}  // namespace host
