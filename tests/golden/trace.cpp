#include "tests/golden/trace.h"

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <sstream>

#include "vca/vca.h"

namespace golden {
namespace {

// FNV-1a with 64 bits.
constexpr uint64_t kSeed = 14695981039346656037u;

uint64_t mix(uint64_t hash, const void* data, size_t length) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < length; ++i)
        hash = (hash ^ bytes[i]) * 1099511628211u;
    return hash;
}

// Six bits of a hash as a character.
char letter(uint64_t hash) {
    static constexpr char kLetters[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-";
    hash = (hash ^ (hash >> 33)) * 0xff51afd7ed558ccdu;
    return kLetters[hash >> 58];
}

using Fields = std::vector<Field>;

// The fields of records that lie in a row of `count` inside another record.
Fields inside(const std::string& name, size_t offset, size_t stride, size_t count, Fields fields) {
    for (Field& field : fields) {
        field.name = name + "." + field.name;
        field.offset += offset;
        field.stride = stride;
        field.count = count;
    }
    return fields;
}

Fields join(std::initializer_list<Fields> parts) {
    Fields all;
    for (const Fields& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Fields box_fields() {
    return {{"reserved0", 0, 4}, {"aux0", 4, 4},   {"reserved1", 8, 4},  {"x", 12, 4},
            {"y", 16, 4},        {"w", 20, 4},     {"h", 24, 4},         {"area", 28, 4},
            {"class_id", 32, 4}, {"score", 36, 4}, {"reserved2", 40, 8}, {"gender", 48, 4},
            {"height", 52, 4},   {"staff", 56, 4}, {"reserved3", 60, 4}};
}

Fields box_list(const std::string& name, size_t offset, size_t count) {
    return inside(name, offset, sizeof(DET_OBJ_S), count, box_fields());
}

Fields show_fields() {
    return join({{{"frame_flag", 0, 8}, {"zero", 8, 4}, {"num", 12, 4}},
                 inside("objs", 16, sizeof(SHOW_OBJ_S), VCA_SHOW_MAX,
                        {{"trackId", 0, 4},
                         {"x", 4, 4},
                         {"y", 8, 4},
                         {"w", 12, 4},
                         {"h", 16, 4},
                         {"class_id", 20, 2},
                         {"trailNum", 22, 2},
                         {"trail", 24, 240},
                         {"height", 264, 4},
                         {"gender", 268, 4},
                         {"staff", 272, 4},
                         {"crossDist", 276, 2},
                         {"zero1", 278, 22}})});
}

Fields region_fields() {
    Fields stays;
    for (size_t r = 0; r < VCA_RGN_NUM; ++r) {
        const std::string name = "rgn[" + std::to_string(r) + "].";
        stays.push_back({name + "inRgn", 64 + 8 * r, 4});
        stays.push_back({name + "stayTime", 68 + 8 * r, 4});
    }
    const size_t entry = sizeof(RGN_PERSON_S);
    return join({{{"frame_flag", 0, 8}, {"num", 8, 4}},
                 inside("persons", 12, entry, VCA_RGN_PERSON_MAX, box_fields()),
                 inside("persons", 12, entry, VCA_RGN_PERSON_MAX, stays),
                 {{"peopleCnt", 8652, 16}, {"zero", 8668, 4}}});
}

Fields slave_fields() {
    return join({{{"frame_flag", 0, 8}, {"frame", 8, 4}, {"count", 12, 4}},
                 inside("tracks", 16, sizeof(SLAVE_TRACK_S), VCA_SLAVE_TRACK_MAX,
                        {{"reserved0", 0, 4},
                         {"track_id", 4, 4},
                         {"reserved1", 8, 4},
                         {"class_id", 12, 4},
                         {"score", 16, 4},
                         {"gender", 20, 4},
                         {"height", 24, 4},
                         {"staff", 28, 4},
                         {"cx", 32, 4},
                         {"cy", 36, 4},
                         {"foot_x", 40, 4},
                         {"foot_y", 44, 4},
                         {"reserved2", 48, 20}})});
}

Fields history_fields() {
    return {{"trackId", 0, 4}, {"cx", 4, 4}, {"cy", 8, 4}, {"footX", 12, 4}, {"footY", 16, 4}};
}

std::vector<Kind> make_kinds() {
    return {
        {"6045", sizeof(LINE_COUNT_MSG_S),
         join({{{"frame_flag", 0, 8}, {"trackId", 8, 4}},
               box_list("obj", 12, 1),
               {{"reserved0", 76, 16}, {"line", 92, 4}, {"cross", 96, 4}, {"reserved1", 100, 4}}})},
        {"6069", sizeof(SHOW_MSG_S), show_fields()},
        {"6070", sizeof(RGN_MSG_S), region_fields()},
        {"6077", 4, {{"millimetres", 0, 4}}},
        {"6078", VCA_CONFIG_REQUEST_BYTES, {{"bytes", 0, VCA_CONFIG_REQUEST_BYTES}}},
        {"6080",
         sizeof(GROUP_COUNT_MSG_S),
         {{"frame_flag", 0, 8},
          {"members", 8, 4},
          {"line", 12, 4},
          {"cross", 16, 4},
          {"zero", 20, 4}}},
        {"6081",
         sizeof(HEAT_MAP_MSG_S),
         {{"request", 0, 24}, {"motion", 24, 129600}, {"dwell", 129624, 129600}}},
        {"6083", 4, {{"frame", 0, 4}}},
        {"6085", sizeof(SLAVE_MSG_S), slave_fields()},
        {"6086", sizeof(DET_SHOW_MSG_S),
         join({{{"frame_flag", 0, 8}, {"real_num", 8, 4}},
               box_list("real_objs", 12, VCA_DET_SHOW_MAX),
               {{"depth_num", 1932, 4}},
               box_list("depth_objs", 1936, VCA_DET_SHOW_MAX),
               {{"merge_num", 3856, 4}},
               box_list("merge_objs", 3860, VCA_DET_SHOW_MAX),
               {{"pad", 5780, 4}}})},
        {"6087", sizeof(TRK_SHOW_MSG_S), history_fields()},
        {"6088", sizeof(TRK_SHOW_MSG_S), history_fields()},
        {"6090", sizeof(SHOW_MSG_S), show_fields()},
        {"tracker",
         sizeof(IOU_TRK_OBJ_S),
         {{"id", 0, 4},
          {"det_idx", 4, 4},
          {"x", 8, 4},
          {"y", 12, 4},
          {"w", 16, 4},
          {"h", 20, 4},
          {"class_id", 24, 4},
          {"score", 28, 4}}},
        {"calls", 0, {{"text", 0, 0}}},
    };
}

// The parts of a row: frame, hash, and the kinds by name.
struct Row {
    std::string frame, hash;
    std::map<std::string, std::string> kinds;
};

Row parse(const std::string& text) {
    Row row;
    std::istringstream in(text);
    in >> row.frame >> row.hash;
    for (std::string part; in >> part;) {
        const size_t colon = part.find(':');
        row.kinds[part.substr(0, colon)] = part.substr(colon + 1);
    }
    return row;
}

// What differs between the letters of one kind; the number of records stands before a "/".
std::string field_difference(const std::string& kind, const std::string& expected,
                             const std::string& seen) {
    const size_t slash = expected.find('/');
    if (seen.substr(0, seen.find('/')) != expected.substr(0, slash))
        return "number of records (" + expected.substr(0, slash) + " expected, " +
               seen.substr(0, seen.find('/')) + " seen)";
    const Kind* known = kind_of(kind);
    for (size_t i = slash + 1; i < std::min(expected.size(), seen.size()); ++i) {
        if (expected[i] == seen[i]) continue;
        const size_t field = i - slash - 1;
        return known != nullptr && field < known->fields.size() ? known->fields[field].name
                                                                : "size";
    }
    return "size";
}

std::string row_difference(const Row& expected, const Row& seen) {
    for (const auto& [kind, letters] : expected.kinds) {
        const auto it = seen.kinds.find(kind);
        if (it == seen.kinds.end()) return kind + ", which is missing";
        if (it->second != letters)
            return kind + ", field " + field_difference(kind, letters, it->second);
    }
    for (const auto& [kind, letters] : seen.kinds)
        if (!expected.kinds.contains(kind)) return kind + ", which was not expected";
    return "a field whose letter is the same by chance, or the order of calls and messages";
}

}  // namespace

const std::vector<Kind>& kinds() {
    static const std::vector<Kind> all = make_kinds();
    return all;
}

const Kind* kind_of(const std::string& name) {
    const auto it = std::find_if(kinds().begin(), kinds().end(),
                                 [&](const Kind& kind) { return kind.name == name; });
    return it != kinds().end() ? &*it : nullptr;
}

void FrameTrace::add_record(const std::string& kind, const void* bytes, size_t length) {
    all_ = mix(mix(all_, kind.data(), kind.size()), bytes, length);
    Sum& sum = sums_[kind];
    ++sum.records;
    const Kind* known = kind_of(kind);
    const size_t fields = known != nullptr ? known->fields.size() : 0;
    sum.fields.resize(fields + 1, kSeed);
    if (known == nullptr || length != known->bytes) {
        sum.fields[fields] = mix(mix(sum.fields[fields], &length, sizeof(length)), bytes, length);
        return;
    }
    for (size_t i = 0; i < fields; ++i) {
        const Field& field = known->fields[i];
        for (size_t n = 0; n < field.count; ++n)
            sum.fields[i] = mix(
                sum.fields[i], static_cast<const uint8_t*>(bytes) + field.offset + n * field.stride,
                field.size);
    }
}

void FrameTrace::add_call(const std::string& text) {
    all_ = mix(all_, text.data(), text.size());
    Sum& sum = sums_["calls"];
    ++sum.records;
    sum.fields.resize(1, kSeed);
    sum.fields[0] = mix(sum.fields[0], text.data(), text.size());
}

std::string FrameTrace::row(int frame) const {
    std::ostringstream out;
    out << frame << ' ' << std::hex << std::setfill('0') << std::setw(8)
        << static_cast<uint32_t>(all_ ^ (all_ >> 32)) << std::dec;
    for (const auto& [kind, sum] : sums_) {
        out << ' ' << kind << ':' << sum.records << '/';
        for (const uint64_t hash : sum.fields)
            out << letter(hash);
    }
    return out.str();
}

std::string first_difference(const std::vector<std::string>& expected,
                             const std::vector<std::string>& seen) {
    for (size_t i = 0; i < std::min(expected.size(), seen.size()); ++i) {
        if (expected[i] == seen[i]) continue;
        const Row row = parse(expected[i]);
        return "frame " + row.frame + ", message " + row_difference(row, parse(seen[i]));
    }
    if (expected.size() == seen.size()) return "";
    return std::to_string(expected.size()) + " frames expected, " + std::to_string(seen.size()) +
           " seen";
}

uint64_t hash_of(const std::vector<std::string>& rows) {
    uint64_t hash = kSeed;
    for (const std::string& row : rows)
        hash = mix(hash, row.data(), row.size());
    return hash;
}

}  // namespace golden
