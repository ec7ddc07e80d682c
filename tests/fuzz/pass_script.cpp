#include "tests/fuzz/pass_script.h"

#include <cstdlib>
#include <memory>

namespace {

using fuzz::ByteReader;
using fuzz::Crowd;
using fuzz::Host;
using fuzz::Tracker;

// An input costs at most this many passes, and births of targets that never come back: a record
// holds two heat grids, so births are the dearest thing a script can ask for.
constexpr int32_t kFramesMax = 128;
constexpr int32_t kWildTargetsMax = 250;

constexpr uint16_t kFloorMm = 3000;
constexpr uint16_t kHeadMm = 1300;

constexpr int kMessages[] = {VCA_MSG_CONFIG,          VCA_MSG_HEAT_RESET,     VCA_MSG_HEAT_MAP,
                             VCA_MSG_SHOW_DETECTION,  VCA_MSG_INSTALL_HEIGHT, VCA_MSG_SLAVE_TRACKS,
                             VCA_MSG_ASK_FRAME_COUNT, VCA_MSG_FRAME_COUNT};

DET_OBJ_S to_box(const Crowd::Walker& walker) {
    DET_OBJ_S box{};
    box.x = walker.x;
    box.y = walker.y;
    box.w = walker.w;
    box.h = walker.h;
    box.class_id = walker.class_id;
    box.score = walker.score;
    box.gender = static_cast<int32_t>(walker.shape & 3);
    box.staff = static_cast<int32_t>(walker.shape >> 2 & 1);
    box.height = static_cast<float>(walker.shape);
    return box;
}

DET_OBJ_S read_box(ByteReader& in) {
    DET_OBJ_S box{};
    box.x = in.pixel();
    box.y = in.pixel();
    box.w = in.pixel();
    box.h = in.pixel();
    const uint8_t kind = in.u8();
    box.class_id = kind < 200 ? kind % 3 : kind;
    box.score = in.real();
    if ((kind & 1) == 0) return box;
    box.area = in.number();
    box.gender = in.number();
    box.staff = in.number();
    box.height = in.real();
    box.aux0 = in.u32();
    return box;
}

// How many entries a list claims to have, and how many of them the input describes: few, or a claim
// of many would eat up the rest of the script.
struct Claim {
    int32_t num;
    int32_t valid;  // entries that exist
    int32_t described;
};

Claim read_claim(ByteReader& in, int32_t capacity) {
    Claim claim{};
    claim.num = in.flag() ? in.number() : in.below(24);
    claim.valid = std::clamp(claim.num, 0, capacity);
    claim.described = std::min(claim.valid, in.below(12));
    return claim;
}

// Boxes that the input does not describe follow those that it does at a distance.
void read_list(ByteReader& in, DET_OBJECTS_S& list) {
    const Claim claim = read_claim(in, VCA_DET_MAX);
    list.num = claim.num;
    for (int32_t i = 0; i < claim.valid; ++i) {
        DET_OBJ_S& box = list.objs[i];
        if (i < claim.described)
            box = read_box(in);
        else if (i > 0)
            box = list.objs[i / 2];
        if (i >= claim.described && std::abs(box.x / 2) < 2000) box.x += 3 * i;
        list.raw_objs[i] = box;
    }
}

int32_t read_targets(ByteReader& in, IOU_TRK_RSLT_S& targets) {
    const Claim claim = read_claim(in, VCA_TRK_MAX);
    targets.num = claim.num;
    for (int32_t i = 0; i < claim.valid; ++i) {
        IOU_TRK_OBJ_S& target = targets.objs[i];
        target = {};
        target.id = target.det_idx = i;
        if (i >= claim.described) continue;
        const uint8_t how = in.u8();
        if ((how & 1) != 0) target.id = in.number();
        target.det_idx = (how & 2) != 0 ? in.number() : in.below(16);
        if ((how & 4) != 0) target.x = in.number();
    }
    return claim.valid;
}

// Overwrites some words and bytes of a record.
void change(ByteReader& in, uint8_t* record, size_t bytes) {
    for (int32_t n = in.below(24); n > 0 && !in.empty(); --n) {
        const size_t at = in.u16() % (bytes - 3);
        const int32_t value = in.number();
        const bool whole = in.flag();
        std::memcpy(record + (whole ? at / 4 * 4 : at), &value, whole ? 4 : 1);
    }
}

MASTER_MSG_S read_slave(ByteReader& in) {
    MASTER_MSG_S slave{};
    slave.slave_idx = in.flag() ? static_cast<uint32_t>(in.number()) : in.u8() % VCA_SLAVE_MAX;
    slave.msg.frame = static_cast<uint32_t>(in.number());
    const Claim claim = read_claim(in, VCA_SLAVE_TRACK_MAX);
    slave.msg.count = claim.num;
    for (int32_t i = 0; i < claim.valid; ++i) {
        SLAVE_TRACK_S& track = slave.msg.tracks[i];
        if (i >= claim.described) {
            if (i > 0) track = slave.msg.tracks[i / 2];
            continue;
        }
        track.track_id = static_cast<uint32_t>(in.number());
        track.class_id = static_cast<uint8_t>(in.below(4));
        track.score = in.real();
        track.height = in.flag() ? in.real() : 1700.0f;
        track.gender = in.below(4);
        track.staff = in.below(3);
        track.foot_x = in.pixel();
        track.foot_y = in.pixel();
        track.cx = in.flag() ? in.pixel() : track.foot_x;
        track.cy = track.foot_y;
    }
    return slave;
}

// Every view of the clock, which may stand anywhere.
void read_clocks(int32_t choice) {
    char text[32];
    avs_get_time_string(text, static_cast<char>(choice & 3));
    avs_get_monotonictime(choice);
    avs_get_time();
    if (avs_get_localtime() == nullptr) fuzz::fail("no local time");
}

void fill_payload(int id, ByteReader& in, uint8_t* payload, size_t bytes) {
    if (in.flag()) {
        in.fill(payload, bytes);
        return;
    }
    if (id == VCA_MSG_CONFIG) {
        auto cfg = fuzz::busy_config();
        cfg.devWorkMode = in.below(4);
        cfg.StandAloneTrk = in.below(2);
        cfg.DetectModel = in.below(4);
        cfg.GroupObjNumMin = in.below(4);
        std::memcpy(payload, &cfg, bytes);
        change(in, payload, bytes);
    } else if (id == VCA_MSG_SLAVE_TRACKS) {
        const MASTER_MSG_S slave = read_slave(in);
        std::memcpy(payload, &slave, bytes);
    } else {
        const int32_t value = in.number();
        std::memset(payload, 0, bytes);
        std::memcpy(payload, &value, std::min(bytes, sizeof(value)));
    }
}

}  // namespace

void Crowd::read(ByteReader& in) {
    const uint8_t how = in.u8();
    const int32_t num = how < 250 ? 1 + how % 7 : 100;
    by_depth = (how & 8) != 0;
    heads = (how & 16) != 0;
    walkers.clear();
    for (int32_t i = 0; i < num; ++i) {
        if (in.empty() && i > 0) {
            walkers.push_back(walkers[static_cast<size_t>(i - 1)]);
            walkers.back().x = walkers.back().x % 900 + 60;
            continue;
        }
        Walker walker{};
        walker.x = in.pixel();
        walker.y = in.pixel();
        const uint8_t side = in.u8();
        walker.w = side == 0 ? in.number() : 20 + side % 90;
        walker.h = side == 1 ? in.number() : 20 + side / 3;
        walker.step_x = in.u8() % 64 - 32;
        walker.step_y = in.u8() % 64 - 32;
        const uint8_t kind = in.u8();
        walker.class_id = kind < 250 ? 1 + (kind & 1) : kind;
        walker.score = static_cast<float>(kind) / 200.0f;
        walker.shape = in.u16();
        walkers.push_back(walker);
    }
}

void Crowd::draw_heads(Host& host) {
    for (const Walker& walker : drawn_)
        host.paint(walker.x / 2, walker.y / 2, kFloorMm);
    drawn_ = heads ? walkers : std::vector<Walker>();
    for (const Walker& walker : drawn_)
        host.paint(walker.x / 2, walker.y / 2, kHeadMm);
}

void Crowd::step(Host& host) {
    DET_OBJECTS_S& list = (by_depth ? host.answers.depth : host.answers.colour).objects;
    (by_depth ? host.answers.colour : host.answers.depth).objects.num = 0;
    list.num = static_cast<int32_t>(walkers.size());
    if (heads || !drawn_.empty()) draw_heads(host);
    for (size_t i = 0; i < walkers.size(); ++i) {
        Walker& walker = walkers[i];
        list.objs[i] = list.raw_objs[i] = to_box(walker);
        if (std::abs(walker.x / 2) < 2000) walker.x += walker.step_x;
        if (std::abs(walker.y / 2) < 2000) walker.y += walker.step_y;
    }
}

void fuzz::deliver_any(int id, ByteReader& in) {
    const size_t bytes = payload_bytes(id);
    if (in.below(16) == 15) {
        host().deliver(id, nullptr);
        return;
    }
    // Payloads lie where they happen to lie in the host's buffer.
    const size_t shift = in.u8() % 4u;
    const auto buffer = std::make_unique<uint8_t[]>(bytes + shift);
    if (bytes > 0) fill_payload(id, in, buffer.get() + shift, bytes);
    host().deliver(id, buffer.get() + shift);
}

bool fuzz::PassScript::next() {
    static constexpr Step kSteps[] = {
        &PassScript::walk,        &PassScript::walk,          &PassScript::walk,
        &PassScript::wild_frames, &PassScript::change_config, &PassScript::slave_tracks,
        &PassScript::any_message, &PassScript::sizes,         &PassScript::clock,
        &PassScript::depth_frame, &PassScript::tracker,       &PassScript::switches,
        &PassScript::base_stage,  &PassScript::settings,      &PassScript::faults,
        &PassScript::attributes,  &PassScript::helpers};
    while (!frame_due()) {
        if (in_.empty() || frames_played_ >= kFramesMax) return false;
        (this->*kSteps[in_.u8() % std::size(kSteps)])();
    }
    play_frame();
    return true;
}

void fuzz::PassScript::play_frame() {
    --frames_left_;
    ++frames_played_;
    host().clock_us = static_cast<int64_t>(static_cast<uint64_t>(host().clock_us) +
                                           static_cast<uint64_t>(clock_step_us_));
    if (wild_) {
        read_list(in_, host().answers.colour.objects);
        read_list(in_, host().answers.depth.objects);
    } else {
        crowd_.step(host());
    }
    if (!scripted_targets_) return;
    wild_targets_ += read_targets(in_, host().answers.targets);
    if (wild_targets_ > kWildTargetsMax) host().answers.targets.num = 0;
}

void fuzz::PassScript::walk() {
    wild_ = false;
    crowd_.read(in_);
    frames_left_ = crowd_.walkers.size() > 7 ? 12 : 1 + in_.below(32);
}

void fuzz::PassScript::wild_frames() {
    wild_ = true;
    frames_left_ = 1 + in_.below(4);
}

void fuzz::PassScript::change_config() {
    deliver_any(VCA_MSG_CONFIG, in_);
}

void fuzz::PassScript::slave_tracks() {
    deliver_any(VCA_MSG_SLAVE_TRACKS, in_);
}

void fuzz::PassScript::any_message() {
    deliver_any(kMessages[in_.u8() % std::size(kMessages)], in_);
}

// The sizes are the host's to write; the depth frame follows what it announces.
void fuzz::PassScript::sizes() {
    VCA_CTRL_S& ctrl = *vca_get_pCtrl_param();
    const auto size = [&] {
        return in_.flag() ? static_cast<uint32_t>(in_.number()) : uint32_t{in_.u16()} % 1000;
    };
    switch (in_.below(4)) {
        case 0:
            for (VCA_SIZE_S& entry : ctrl.img_size)
                entry = {size(), size()};
            break;
        case 1:
            ctrl.img_size[in_.below(5)] = {size(), size()};
            break;
        case 2:
            ctrl.raw_img.width = size();
            ctrl.raw_img.height = size();
            break;
        default:
            ctrl.real_img.width = size();
            ctrl.real_img.height = size();
            break;
    }
    host().renew_depth(kFloorMm);
}

void fuzz::PassScript::clock() {
    const auto number = static_cast<int64_t>(in_.number());
    if (in_.flag())
        clock_step_us_ = number;
    else
        host().clock_us = in_.flag() ? number << (in_.u8() % 32) : number;
}

void fuzz::PassScript::depth_frame() {
    host().renew_depth(in_.u16());
    const uint8_t pattern = in_.u8();
    std::vector<uint16_t>& depth_mm = host().depth_mm;
    if (pattern < 64 || in_.empty()) return;
    const uint8_t* bytes = in_.rest();
    const size_t period = std::min<size_t>(in_.left(), pattern);
    for (size_t i = 0; i < depth_mm.size(); ++i)
        depth_mm[i] = static_cast<uint16_t>(depth_mm[i] + (bytes[i % period] << (pattern % 9)));
    in_.skip(period);
}

void fuzz::PassScript::tracker() {
    static constexpr Tracker kKinds[] = {Tracker::kEcho, Tracker::kScripted, Tracker::kNone,
                                         Tracker::kRepeatIds, Tracker::kSwapIds};
    host().answers.tracker = kKinds[in_.u8() % std::size(kKinds)];
    scripted_targets_ = host().answers.tracker == Tracker::kScripted;
}

void fuzz::PassScript::switches() {
    host().switches = in_.u32();
}

void fuzz::PassScript::base_stage() {
    switch (in_.below(4)) {
        case 0:
            vca_base_uninit();
            break;
        case 1:
            host().base_down_at_lock = true;
            break;
        default:
            break;
    }
    // With the base stage up already this is a host that starts it twice.
    if (in_.flag()) {
        vca_base_init();
        host().renew_depth(kFloorMm);
    }
    frames_left_ = 1;
}

void fuzz::PassScript::settings() {
    dev_set_counting_enable(in_.below(4) != 0);
    dev_set_high_install_enable(in_.flag());
    if (in_.flag()) vca_feed_frm_cnt_set(in_.number());
}

void fuzz::PassScript::faults() {
    Answers& answers = host().answers;
    const uint8_t which = in_.u8();
    FrameSet& frame = host().frame;
    frame = {};
    frame.has_real = (which & 3) != 1;
    frame.has_depth = (which & 3) != 2;
    frame.has_raw = (which & 3) != 3;
    frame.mapped = (which & 4) == 0;
    frame.flag = (which & 8) != 0 ? in_.u32() : 1;
    answers.images_fail = (which & 16) != 0;
    answers.missing_config = (which & 32) != 0;
    answers.colour_status = (which & 64) != 0 ? -1 : 0;
    answers.depth_status = (which & 128) != 0 ? -1 : 0;
    answers.model.det_show_thresh = in_.real();
    answers.model.trk_conf_lo = in_.real();
}

void fuzz::PassScript::attributes() {
    Answers& answers = host().answers;
    answers.attributes.gender = in_.flag() ? in_.number() : in_.below(3);
    answers.attributes.prob_male = in_.real();
    answers.attributes.prob_female = in_.real();
    answers.attributes.staff = in_.flag() ? in_.number() : 1;
    answers.attributes.staff_score = in_.real();
    answers.whole_record = in_.flag();
    answers.attribute_status = in_.below(4) == 3 ? -1 : 0;
}

// Exported functions that no pass and no handler calls with such arguments. Numbers are drawn one
// by one, because compilers differ in the order in which they evaluate arguments.
void fuzz::PassScript::helpers() {
    switch (in_.below(6)) {
        case 0:
            suppress_boxes();
            break;
        case 1:
            rasterise();
            break;
        case 2:
            measure_lines();
            break;
        case 3:
            sort_numbers();
            break;
        case 4:
            measure_depth();
            break;
        default:
            update_strange_track();
            break;
    }
}

void fuzz::PassScript::suppress_boxes() {
    const auto list = std::make_unique<DET_OBJECTS_S>();
    const auto kept = std::make_unique<DET_OBJECTS_S>();
    read_list(in_, *list);
    vca_nms_proc(list.get(), in_.real(), kept.get());
}

void fuzz::PassScript::rasterise() {
    const auto cells = std::make_unique<VCA_MASK_S>();
    POLYGON_S poly{};
    poly.coord = in_.u8();
    for (int k = 0; k < VCA_POLY_PT_NUM; ++k) {
        poly.x[k] = in_.pixel();
        poly.y[k] = in_.pixel();
    }
    polygon_convert_to_mask(&poly, cells->mask);
}

void fuzz::PassScript::measure_lines() {
    POINT_POS_S points[4];
    for (POINT_POS_S& point : points) {
        point.x = in_.pixel();
        point.y = in_.pixel();
    }
    doLinesIntersect({points[0], points[1]}, {points[2], points[3]});
    point_to_line_min_dis(points[0], points[1], points[2]);
    int32_t ends[3];
    for (int32_t& end : ends)
        end = in_.number();
    const float place = in_.real();
    av_calc_val(ends[0], ends[1], place);
    av_calc_set_val(ends[0], ends[1], ends[2], place);
}

void fuzz::PassScript::sort_numbers() {
    std::vector<int> numbers(in_.u8() + 1u);
    for (int& number : numbers)
        number = in_.number();
    avs_quick_sort(numbers.data(), 0, static_cast<int>(numbers.size()) - 1);
    if (!std::is_sorted(numbers.begin(), numbers.end())) fail("not sorted");
}

void fuzz::PassScript::measure_depth() {
    const auto& depth = host().depth_mm;
    int32_t edges[4];
    for (int32_t& edge : edges)
        edge = in_.number();
    depth16_calc_rgn_distance(depth.empty() ? nullptr : depth.data(), edges[0], edges[1], edges[2],
                              edges[3], in_.flag());
    const int32_t start_s = in_.number();
    avs_inquery_customize_wh(start_s, in_.number());
    read_clocks(in_.number());
}

void fuzz::PassScript::update_strange_track() {
    const auto trk = std::make_unique<TRACKER_RSLT_S>();
    trk->curObj = trk->footBox = read_box(in_);
    const int32_t line = in_.number();
    vca_line_check_crossing_state(trk.get(), line, in_.number());
    vca_rgn_uturn_check_obj_line_cross(trk.get(), in_.number());
    const float sample_mm = in_.real();
    vca_dev_deal_obj_height(trk.get(), sample_mm);
    vca_obj_update_human_attr(trk.get());
}
