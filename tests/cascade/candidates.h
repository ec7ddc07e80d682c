// What the tests of the cascade share: people as a slave reports them, the message that carries
// them put together byte by byte, and tracks of the master's own.
#ifndef TESTS_CASCADE_CANDIDATES_H
#define TESTS_CASCADE_CANDIDATES_H

#include <cstdint>
#include <memory>
#include <vector>

#include "tests/event/byte_payload.h"
#include "tests/track/fixtures.h"

namespace cascade {

// Number of the debug switch of the cascade.
constexpr int kSwCascade = 3;

constexpr int kSlaveNum = 15;
constexpr int kSlaveTracks = 90;
constexpr size_t kSentBytes = 6136;       // as a slave sends it
constexpr size_t kDeliveredBytes = 6144;  // with the sender in front

// One person of a slave.
struct Report {
    uint32_t id = 1;
    uint8_t class_id = VCA_CLASS_PERSON;
    float score = 0.9f;
    int32_t gender = VCA_GENDER_UNKNOWN;
    float height = 1700.0f;
    int32_t staff = 0;
    int32_t cx = 0, cy = 0;
    int32_t foot_x = 0, foot_y = 0;
};

// A person whose feet and whose box have the same centre.
Report report_at(uint32_t id, int32_t x, int32_t y);

// The bytes of a report at an offset of a payload; those not named stay as they are.
void put_report(fix::BytePayload& payload, size_t at, const Report& report);

// Message 6085 as the master receives it. `count` is what the message claims, by default the number
// of reports.
fix::BytePayload delivered(uint32_t slave, const std::vector<Report>& reports, uint32_t frame = 0);
fix::BytePayload delivered(uint32_t slave, const std::vector<Report>& reports, uint32_t frame,
                           int32_t count);

// Hands a delivered message to the library's handler, in a buffer of exactly its length.
void receive(const fix::BytePayload& message);

// A track of the master's own that is exchanged: feet around (foot_x, foot_y), box around (cx, cy).
void set_own(TRACKER_RSLT_S& trk, int32_t foot_x, int32_t foot_y, int32_t cx, int32_t cy);

// One call of the merge, into a result that held something else before.
std::unique_ptr<VCA_NN_RESULT_S> merge(std::vector<TRACKER_RSLT_S>& tracks);
std::unique_ptr<VCA_NN_RESULT_S> merge();

}  // namespace cascade

#endif
