// What the tests of the cascade share.
#include "tests/cascade/candidates.h"

#include <bit>
#include <cstring>

namespace cascade {

Report report_at(uint32_t id, int32_t x, int32_t y) {
    Report report;
    report.id = id;
    report.cx = report.foot_x = x;
    report.cy = report.foot_y = y;
    return report;
}

void put_report(fix::BytePayload& payload, size_t at, const Report& report) {
    payload.u32(at + 4, report.id);
    payload.u8(at + 12, report.class_id);
    payload.u32(at + 16, std::bit_cast<uint32_t>(report.score));
    payload.i32(at + 20, report.gender);
    payload.u32(at + 24, std::bit_cast<uint32_t>(report.height));
    payload.i32(at + 28, report.staff);
    payload.i32(at + 32, report.cx);
    payload.i32(at + 36, report.cy);
    payload.i32(at + 40, report.foot_x);
    payload.i32(at + 44, report.foot_y);
}

fix::BytePayload delivered(uint32_t slave, const std::vector<Report>& reports, uint32_t frame) {
    return delivered(slave, reports, frame, static_cast<int32_t>(reports.size()));
}

fix::BytePayload delivered(uint32_t slave, const std::vector<Report>& reports, uint32_t frame,
                           int32_t count) {
    fix::BytePayload message(kDeliveredBytes);
    message.u32(0, slave);
    message.u32(4, 0xA5A5A5A5u);  // nobody reads these, nor the stamp
    message.u64(8, 0x1122334455667788u);
    message.u32(16, frame);
    message.i32(20, count);
    for (size_t i = 0; i < reports.size(); ++i)
        put_report(message, 24 + 68 * i, reports[i]);
    return message;
}

void receive(const fix::BytePayload& message) {
    const auto buffer = std::make_unique<uint8_t[]>(message.bytes().size());
    std::memcpy(buffer.get(), message.bytes().data(), message.bytes().size());
    dev_cscd_master_recive_slave_track(0, buffer.get());
}

void set_own(TRACKER_RSLT_S& trk, int32_t foot_x, int32_t foot_y, int32_t cx, int32_t cy) {
    trk.age = 5;
    trk.lostCnt = 0;
    trk.moveIoU = 0.9f;
    trk.curObj = fix::centred(cx, cy, 50, 60);
    trk.footBox = fix::centred(foot_x, foot_y, 78, 78);
}

std::unique_ptr<VCA_NN_RESULT_S> merge(std::vector<TRACKER_RSLT_S>& tracks) {
    auto result = std::make_unique<VCA_NN_RESULT_S>();
    std::memset(static_cast<void*>(result.get()), 0x6B, sizeof(*result));
    dev_cascade_local_master_merge_slave_obj(result.get(), tracks);
    return result;
}

std::unique_ptr<VCA_NN_RESULT_S> merge() {
    std::vector<TRACKER_RSLT_S> none;
    return merge(none);
}

}  // namespace cascade
