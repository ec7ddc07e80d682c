// Shared pieces of the tests of detection, tracking, objects and line counting.
#include "tests/track/fixtures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <regex>

#include "tests/support/scripted_host.h"
#include "tests/support/stdout_capture.h"

namespace fix {

DET_OBJ_S box(int32_t x, int32_t y, int32_t w, int32_t h, float score, uint8_t class_id) {
    DET_OBJ_S obj{};
    obj.x = x;
    obj.y = y;
    obj.w = w;
    obj.h = h;
    obj.area = static_cast<int32_t>(static_cast<uint32_t>(w) * static_cast<uint32_t>(h));
    obj.score = score;
    obj.class_id = class_id;
    return obj;
}

DET_OBJ_S centred(int32_t cx, int32_t cy, int32_t w, int32_t h) {
    return box(cx - w / 2, cy - h / 2, w, h);
}

DET_OBJ_S patterned(uint32_t seed) {
    DET_OBJ_S obj = box(static_cast<int32_t>(100 + seed), static_cast<int32_t>(60 + seed), 40, 50);
    obj.reserved0 = 0x10000u + seed;
    obj.aux0 = 0x20000u + seed;
    obj.reserved1 = 0x30000u + seed;
    obj.area = static_cast<int32_t>(0x40000u + seed);
    obj.reserved2[0] = 0x50000u + seed;
    obj.reserved2[1] = 0x60000u + seed;
    obj.gender = static_cast<int32_t>(70000u + seed);
    obj.height = 800.0f + static_cast<float>(seed);
    obj.staff = static_cast<int32_t>(90000u + seed);
    obj.reserved3 = 0xA0000u + seed;
    return obj;
}

Rect rect(const DET_OBJ_S& obj) {
    return {obj.x, obj.y, obj.w, obj.h};
}

POINT_POS_S centre(const DET_OBJ_S& obj) {
    return {obj.x + obj.w / 2, obj.y + obj.h / 2};
}

std::unique_ptr<TRACKER_RSLT_S> new_track(int32_t id) {
    auto trk = std::make_unique<TRACKER_RSLT_S>();
    trk->trackId = id;
    return trk;
}

VCA_DEV_CFG_S& cfg() {
    return *dev_get_config();
}

void set_up_device() {
    VCA_CTRL_S& ctrl = *vca_get_pCtrl_param();
    vca_data_init(&ctrl);
    vca_depth_algo_init();
    depth_image().assign(kDepthWidth * kDepthHeight, 3000);
    ctrl.raw_img.width = kDepthWidth;
    ctrl.raw_img.height = kDepthHeight;
    ctrl.raw_img.plane_addr = reinterpret_cast<uint64_t>(depth_image().data());
    ctrl.raw_img.map_addr = ctrl.raw_img.plane_addr;
    ctrl.real_model = test::kColourModel;
    VCA_DEV_CFG_S& config = cfg();
    config.DevType = 2;
    config.devWorkMode = VCA_WORK_ALONE;
    config.srcImgWidth = 960;
    config.srcImgHeight = 544;
    config.cscdMapSize[0] = 0;
    config.cscdMapSize[1] = 0;
    config.cscdMapSize[2] = 960;
    config.cscdMapSize[3] = 544;
    config.InstallHeight = 3000;
    config.StandAloneTrkMd = VCA_POSITION_BOX;
    config.TargetHeightMin = 500;
    config.TargetHeightMax = 2500;
    config.UturnFilter = 1;
    config.GroupSpdTimesMax = 1.75f;
    for (auto& line : config.lineSeg)
        for (LINE_SEG_S& seg : line)
            seg = {{VCA_COORD_NONE, VCA_COORD_NONE}, {VCA_COORD_NONE, VCA_COORD_NONE}};
}

void set_switch(Switch number, bool on) {
    vca_get_logs_dbg()[17 * static_cast<int>(number)] = on ? 1 : 0;
}

std::string output_of(const std::function<void()>& action) {
    const test::StdoutCapture capture;
    action();
    return capture.text();
}

std::vector<Line> lines_of(const std::string& output) {
    static const std::regex log_line(
        "^\t\x1b\\[1;32m([^\x1b]*)\x1b\\[0;39m "
        "\\[[0-5][0-9]:[0-5][0-9]\\.[0-9]{3} ([A-Za-z_0-9]+):[0-9]+\\]\n");
    std::vector<Line> lines;
    auto at = output.begin();
    while (at != output.end()) {
        std::smatch match;
        if (std::regex_search(at, output.end(), match, log_line,
                              std::regex_constants::match_continuous)) {
            lines.push_back({match[1].str(), match[2].str()});
            at = match[0].second;
            continue;
        }
        const auto end = std::find(at, output.end(), '\n');
        lines.push_back({std::string(at, end), ""});
        at = end == output.end() ? end : end + 1;
    }
    return lines;
}

std::vector<std::string> printed_by(const std::function<void()>& action) {
    std::vector<std::string> texts;
    for (const Line& line : lines_of(output_of(action)))
        texts.push_back((line.function.empty() ? "plain: " : "log: ") + line.text);
    return texts;
}

std::vector<Message> take_messages() {
    std::vector<Message> messages;
    for (const test::Message& sent : test::host().messages())
        messages.push_back({sent.channel, sent.id, sent.bytes});
    test::host().clear_messages();
    return messages;
}

void PrintTo(const Message& message, std::ostream* os) {
    *os << "message " << message.id << " on channel " << message.channel << ", "
        << message.bytes.size() << " bytes:";
    char hex[4];
    for (const uint8_t byte : message.bytes) {
        std::snprintf(hex, sizeof(hex), " %02x", byte);
        *os << hex;
    }
}

void Scene::pass(const std::vector<Seen>& seen) {
    detections->objects.num = static_cast<int32_t>(seen.size());
    IOU_TRK_RSLT_S result{};
    result.num = static_cast<int32_t>(seen.size());
    for (size_t i = 0; i < seen.size(); ++i) {
        detections->objects.objs[i] = seen[i].obj;
        result.objs[i].id = seen[i].id;
        result.objs[i].det_idx = static_cast<int32_t>(i);
    }
    const int inst = merged_ ? 1 : 0;
    test::host().push_tracker_result(inst, result);
    vca_obj_proc_tracking(detections.get(), list, inst, merged_);
    vca_feed_frm_cnt_add(1);
}

TRACKER_RSLT_S& Scene::track(int32_t id) {
    for (TRACKER_RSLT_S& trk : list)
        if (trk.trackId == id) return trk;
    ADD_FAILURE() << "no track " << id;
    static TRACKER_RSLT_S none{};
    return none;
}

std::vector<uint16_t>& depth_image() {
    static std::vector<uint16_t> pixels;
    return pixels;
}

}  // namespace fix
