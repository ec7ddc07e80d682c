// What travels between the devices of a cascade: which tracks, the slave's message byte by byte,
// its reception, and the common frame counter.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

#include "tests/cascade/candidates.h"
#include "tests/support/scripted_host.h"

namespace {

using cascade::delivered;
using cascade::receive;
using cascade::Report;
using cascade::report_at;
using fix::BytePayload;
using fix::difference;
using fix::take_messages;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kTracks = 6085;
constexpr int kFrameCount = 6083;

struct Exchange : testing::Test {
    void SetUp() override {
        fix::set_up_device();
        fix::cfg().devWorkMode = VCA_WORK_SLAVE;
        fix::set_stamp();
    }

    static void install_at(int32_t height_mm) { fix::cfg().InstallHeight = height_mm; }
};

// ---- Which tracks ----

// Largest number of passes a track may be missing, -1 when it does not qualify at all.
int longest_loss(TRACKER_RSLT_S& trk) {
    int longest = -1;
    for (trk.lostCnt = 0; trk.lostCnt <= 6; ++trk.lostCnt)
        if (vca_check_obj_cscd_tracking_update(&trk)) {
            EXPECT_EQ(longest, trk.lostCnt - 1) << "qualifies again";
            longest = trk.lostCnt;
        }
    return longest;
}

std::unique_ptr<TRACKER_RSLT_S> good_track() {
    auto trk = fix::new_track();
    cascade::set_own(*trk, 300, 200, 300, 200);
    return trk;
}

TEST_F(Exchange, TheStillerATrackTheLongerItStays) {
    const float nan = std::nanf("");
    const float inf = std::numeric_limits<float>::infinity();
    // Of 1 + 2 * moveIoU, rounded, the grace at 2.4 m and higher; 1 + moveIoU below.
    const struct {
        float move_iou;
        int high, low;
    } rows[] = {{0.0f, 0, 0},    {0.2f, 0, 0}, {0.2499f, 0, 0}, {0.25f, 1, 0},   {0.4f, 1, 0},
                {0.4999f, 1, 0}, {0.5f, 1, 1}, {0.74f, 1, 1},   {0.7499f, 1, 1}, {0.75f, 2, 1},
                {0.9f, 2, 1},    {1.0f, 2, 1}, {1.5f, 2, 1},    {-0.5f, 0, 0},   {inf, 2, 1},
                {-inf, 0, 0},    {nan, 0, 0}};
    const auto trk = good_track();
    for (const auto& row : rows) {
        trk->moveIoU = row.move_iou;
        for (const int height_mm : {INT_MIN, 0, 1500, 2000, 2399}) {
            install_at(height_mm);
            EXPECT_EQ(longest_loss(*trk), row.low) << row.move_iou << " at " << height_mm;
        }
        for (const int height_mm : {2400, 3000, 6000, 9000, INT_MAX}) {
            install_at(height_mm);
            EXPECT_EQ(longest_loss(*trk), row.high) << row.move_iou << " at " << height_mm;
        }
    }
}

TEST_F(Exchange, TracksQualifyFromTheirFirstUpdateOn) {
    const auto trk = good_track();
    for (const int age : {1, 2, 3, 100, INT_MAX}) {
        trk->age = age;
        EXPECT_TRUE(vca_check_obj_cscd_tracking_update(trk.get())) << age;
    }
    for (const int age : {0, -1, INT_MIN}) {
        trk->age = age;
        EXPECT_FALSE(vca_check_obj_cscd_tracking_update(trk.get())) << age;
    }
}

TEST_F(Exchange, BoxesOfTenPixelsAreTooSmall) {
    const struct {
        int w, h;
        bool qualifies;
    } rows[] = {{11, 11, true},   {10, 11, false},  {11, 10, false},      {10, 10, false},
                {10, 900, false}, {900, 10, false}, {900, 11, true},      {11, 900, true},
                {0, 0, false},    {-50, 80, false}, {INT_MIN, 80, false}, {INT_MAX, INT_MAX, true}};
    const auto trk = good_track();
    for (const auto& row : rows) {
        trk->curObj.w = row.w;
        trk->curObj.h = row.h;
        for (const int age : {1, 2, 1000}) {
            trk->age = age;
            EXPECT_EQ(vca_check_obj_cscd_tracking_update(trk.get()), row.qualifies)
                << row.w << 'x' << row.h << " age " << age;
        }
    }
}

TEST_F(Exchange, OtherStateDoesNotMatter) {
    const auto trk = good_track();
    trk->heightExceed = 1;
    trk->staticFalseDet = 1;
    trk->headBox = trk->footBox = trk->evtObj = trk->rawObj = DET_OBJ_S{};
    trk->contCnt = 0;
    trk->trackId = -1;
    EXPECT_TRUE(vca_check_obj_cscd_tracking_update(trk.get()));
}

TEST_F(Exchange, TheRuleIsTheSameInEveryWorkMode) {
    const auto trk = good_track();
    for (const int mode : {0, 1, 2, 3}) {
        fix::cfg().devWorkMode = mode;
        fix::cfg().StandAloneTrkMd = VCA_POSITION_FOOT;
        EXPECT_EQ(longest_loss(*trk), 2) << mode;
    }
}

// ---- What a slave sends ----

struct SlaveSend : Exchange {
    std::vector<TRACKER_RSLT_S> tracks;

    TRACKER_RSLT_S& add(int32_t id) {
        TRACKER_RSLT_S& trk = tracks.emplace_back();
        cascade::set_own(trk, 0, 0, 300 + id, 200);
        trk.trackId = id;
        trk.lastFrm = static_cast<uint32_t>(1000 + id);
        return trk;
    }

    void send() { EXPECT_EQ(dev_cascade_slave_send_track_to_master(tracks), 0); }

    static BytePayload payload(uint32_t frame = 0, int32_t count = 0) {
        BytePayload want(cascade::kSentBytes);
        want.u64(0, fix::kStamp);
        want.u32(8, frame);
        want.i32(12, count);
        return want;
    }

    // A track as add() makes it, as the nth of the message.
    static void put(BytePayload& want, int nth, int32_t id) {
        Report report;
        report.id = static_cast<uint32_t>(id);
        report.score = 0.95f;
        report.height = 0.0f;
        report.cx = 300 + id;
        report.cy = 200;
        cascade::put_report(want, 16 + 68 * static_cast<size_t>(nth), report);
    }

    static void expect_sent(const BytePayload& want) {
        const auto sent = take_messages();
        ASSERT_THAT(sent, SizeIs(1));
        EXPECT_EQ(difference(sent[0], kTracks, want), "");
    }
};

TEST_F(SlaveSend, OneTrackByteForByte) {
    TRACKER_RSLT_S& trk = tracks.emplace_back();
    trk.trackId = 0x01020304;
    trk.age = 1;
    trk.lastFrm = 0xFFFFFFF0u;
    trk.curObj = fix::box_of(fix::box_bytes(101, 203, 33, 45));
    trk.curObj.class_id = VCA_CLASS_SMALL;
    trk.curObj.score = 0.8125f;
    trk.curObj.gender = VCA_GENDER_FEMALE;
    trk.curObj.height = 1111.0f;
    trk.curObj.staff = 7;
    trk.headBox = trk.footBox = trk.rawObj = trk.evtObj = fix::box_of(fix::box_bytes(9, 9, 9, 9));
    trk.height = 1734.5f;
    trk.rawHeight = 1800.0f;
    trk.genderKeep = 1;
    trk.staffKeep = 1;
    trk.footX = -17;
    trk.footY = 0x00030201;
    send();
    BytePayload want = payload(0xFFFFFFF0u, 1);
    want.u32(16 + 4, 0x01020304u);
    want.u8(16 + 12, 2);
    want.u32(16 + 16, 0x3F500000u);  // 0.8125
    want.i32(16 + 20, 2);            // the box's
    want.u32(16 + 24, 0x44D8D000u);  // 1734.5, the smoothed one
    want.i32(16 + 28, 1);            // the decided one
    want.i32(16 + 32, 101 + 16);     // half of 33
    want.i32(16 + 36, 203 + 22);     // half of 45
    want.i32(16 + 40, -17);
    want.i32(16 + 44, 0x00030201);
    expect_sent(want);
}

TEST_F(SlaveSend, NumbersTravelAsTheyAre) {
    TRACKER_RSLT_S& trk = add(-2);
    trk.curObj.class_id = 255;
    trk.curObj.score = std::nanf("");
    trk.curObj.gender = INT_MIN;
    trk.height = -std::numeric_limits<float>::infinity();
    trk.staffKeep = INT_MAX;
    trk.curObj.x = -31;
    trk.curObj.y = -41;
    trk.curObj.w = trk.curObj.h = 11;
    send();
    const auto sent = take_messages();
    ASSERT_THAT(sent, SizeIs(1));
    BytePayload want = payload(998, 1);
    Report report;
    report.id = 0xFFFFFFFEu;
    report.class_id = 255;
    report.score = trk.curObj.score;
    report.gender = INT_MIN;
    report.height = trk.height;
    report.staff = INT_MAX;
    report.cx = -26;
    report.cy = -36;
    cascade::put_report(want, 16, report);
    EXPECT_EQ(difference(sent[0], kTracks, want), "");
}

TEST_F(SlaveSend, OnlyQualifyingTracksInListOrder) {
    add(1);
    add(2).lostCnt = 3;
    add(3).curObj.w = 10;
    add(4).lostCnt = 2;  // still: IoU 0.9
    add(5).age = 0;
    add(6).moveIoU = 0.1f;
    add(7).curObj.h = 10;
    TRACKER_RSLT_S& fast = add(8);
    fast.moveIoU = 0.1f;
    fast.lostCnt = 1;
    send();
    BytePayload want = payload(1006, 3);
    put(want, 0, 1);
    put(want, 1, 4);
    put(want, 2, 6);
    expect_sent(want);
}

TEST_F(SlaveSend, FrameIsThatOfTheLastQualifyingTrack) {
    add(1).lastFrm = 900;
    add(2).lastFrm = 7;
    add(3).lastFrm = 55;
    tracks[2].lostCnt = 9;
    send();
    BytePayload want = payload(7, 2);
    put(want, 0, 1);
    put(want, 1, 2);
    expect_sent(want);
}

TEST_F(SlaveSend, NinetyTracksAtMost) {
    for (const int count : {89, 90, 91, 95, 128}) {
        SCOPED_TRACE(count);
        tracks.clear();
        const int listed = std::min(count, 90);
        for (int id = 1; id <= count; ++id)
            add(id);
        send();
        // The frame is set by the tracks beyond the 90th, too.
        BytePayload want = payload(static_cast<uint32_t>(1000 + count), listed);
        for (int id = 1; id <= listed; ++id)
            put(want, id - 1, id);
        expect_sent(want);
    }
}

TEST_F(SlaveSend, UnfitTracksTakeNoPlaceOfTheNinety) {
    for (int id = 1; id <= 95; ++id)
        add(id);
    for (size_t i = 0; i < 5; ++i)
        tracks[i].lostCnt = 3;
    send();
    BytePayload want = payload(1095, 90);
    for (int id = 6; id <= 95; ++id)
        put(want, id - 6, id);
    expect_sent(want);
}

TEST_F(SlaveSend, NothingIsSentBeforeTheFirstPerson) {
    send();
    add(1).lostCnt = 3;
    send();
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(SlaveSend, OneEmptyMessageEndsIt) {
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        tracks.clear();
        add(1);
        for (int i = 0; i < 2; ++i) {
            send();
            BytePayload want = payload(1001, 1);
            put(want, 0, 1);
            expect_sent(want);
        }
        tracks[0].lostCnt = 3;  // alive, but no longer exchanged
        send();
        expect_sent(payload());
        send();
        EXPECT_THAT(take_messages(), IsEmpty());
        tracks.clear();
        send();
        EXPECT_THAT(take_messages(), IsEmpty());
    }
}

TEST_F(SlaveSend, NothingIsCarriedOverFromTheMessageBefore) {
    for (int id = 1; id <= 5; ++id)
        add(id);
    send();
    take_messages();
    tracks.resize(1);
    send();
    BytePayload want = payload(1001, 1);
    put(want, 0, 1);
    expect_sent(want);
}

TEST_F(SlaveSend, EmptyMessageIsRememberedOverARestart) {
    add(1);
    send();
    tracks.clear();
    test::start_library();
    test::stop_library();
    fix::set_stamp();
    take_messages();
    send();
    expect_sent(payload());
}

TEST_F(SlaveSend, StampIsThatOfTheFrame) {
    add(1);
    fix::set_stamp(0xFFEEDDCCBBAA9988u);
    send();
    BytePayload want = payload(1001, 1);
    want.u64(0, 0xFFEEDDCCBBAA9988u);
    put(want, 0, 1);
    expect_sent(want);
}

TEST_F(SlaveSend, TracksStayAsTheyAre) {
    add(1);
    const DET_OBJ_S before = tracks[0].curObj;
    send();
    EXPECT_TRUE(fix::same(tracks[0].curObj, before));
    EXPECT_EQ(tracks[0].lastFrm, 1001u);
    EXPECT_EQ(tracks[0].lostCnt, 0);
    EXPECT_THAT(tracks, SizeIs(1));
}

TEST_F(SlaveSend, CountIsLoggedBehindItsSwitch) {
    add(1);
    add(2);
    for (int number = 0; number < VCA_LOG_DBG_COUNT; ++number)
        fix::set_debug(number, number != cascade::kSwCascade);
    EXPECT_EQ(fix::output_of([this] { send(); }), "");
    for (int number = 0; number < VCA_LOG_DBG_COUNT; ++number)
        fix::set_debug(number, number == cascade::kSwCascade);
    const auto lines = fix::lines_of(fix::output_of([this] { send(); }));
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].text, "Slave Send Obj=2");
    EXPECT_EQ(lines[0].function, "dev_cascade_slave_send_track_to_master");
    tracks.clear();
    EXPECT_THAT(fix::printed_by([this] { send(); }), ElementsAre("log: Slave Send Obj=0"));
    EXPECT_THAT(fix::printed_by([this] { send(); }), ElementsAre("log: Slave Send Obj=0"))
        << "also when nothing is sent";
    for (int id = 1; id <= 95; ++id)
        add(id);
    EXPECT_THAT(fix::printed_by([this] { send(); }), ElementsAre("log: Slave Send Obj=90"));
}

// ---- What the master receives ----

struct MasterReceive : Exchange {
    void SetUp() override {
        Exchange::SetUp();
        fix::cfg().devWorkMode = VCA_WORK_MASTER;
    }

    // Track ids and device numbers of the merged objects, none of which overlap here.
    static std::vector<std::pair<uint32_t, uint32_t>> stored() {
        std::vector<std::pair<uint32_t, uint32_t>> list;
        const auto result = cascade::merge();
        for (int i = 0; i < result->objects.num; ++i)
            list.emplace_back(result->objects.objs[i].aux0, result->objects.objs[i].reserved0);
        return list;
    }

    // A report far away from those of the other slaves.
    static BytePayload message_of(uint32_t slave, uint32_t id) {
        return delivered(slave, {report_at(id, static_cast<int32_t>(1000 * slave), 0)});
    }
};

TEST_F(MasterReceive, FifteenSlavesHaveTheirPlace) {
    for (uint32_t slave = 0; slave < 15; ++slave)
        receive(message_of(14 - slave, 100 + slave));
    const auto list = stored();
    ASSERT_THAT(list, SizeIs(15));
    for (uint32_t slave = 0; slave < 15; ++slave)
        EXPECT_EQ(list[slave], std::pair(slave + 1, 114 - slave));
}

TEST_F(MasterReceive, IndicesAboveFourteenAreRefused) {
    receive(message_of(14, 5));
    const struct {
        uint32_t index;
        std::string text;
    } rows[] = {{15, "15"},
                {16, "16"},
                {255, "255"},
                {0x7FFFFFFFu, "2147483647"},
                {0x80000000u, "-2147483648"},
                {0xFFFFFFFFu, "-1"}};
    for (const bool on : {false, true}) {
        fix::set_debug(cascade::kSwCascade, on);
        for (const auto& row : rows) {
            const auto lines =
                fix::lines_of(fix::output_of([&] { receive(message_of(row.index, 77)); }));
            ASSERT_THAT(lines, SizeIs(1));
            EXPECT_EQ(lines[0].text, "Invalid slave dev idx = " + row.text);
            EXPECT_EQ(lines[0].function, "dev_cscd_master_recive_slave_track");
        }
    }
    fix::set_debug(cascade::kSwCascade, false);
    EXPECT_THAT(stored(), ElementsAre(std::pair(15u, 5u)));
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(MasterReceive, NewerMessageTakesThePlaceOfTheOlder) {
    receive(delivered(3, {report_at(1, 0, 0), report_at(2, 500, 0), report_at(3, 900, 0)}));
    receive(delivered(3, {report_at(4, 0, 300)}));
    EXPECT_THAT(stored(), ElementsAre(std::pair(4u, 4u)));
    receive(delivered(3, {}));
    EXPECT_THAT(stored(), IsEmpty());
}

TEST_F(MasterReceive, MessageIsCopied) {
    auto message = message_of(2, 9).bytes();
    dev_cscd_master_recive_slave_track(0, message.data());
    std::fill(message.begin(), message.end(), uint8_t{0xEE});
    EXPECT_THAT(stored(), ElementsAre(std::pair(3u, 9u)));
}

TEST_F(MasterReceive, PayloadAtAnyAddress) {
    const auto message = message_of(2, 9).bytes();
    for (size_t shift = 1; shift < 8; ++shift) {
        std::vector<uint8_t> buffer(message.size() + shift);
        std::copy(message.begin(), message.end(), buffer.begin() + static_cast<ptrdiff_t>(shift));
        dev_cscd_master_recive_slave_track(0, buffer.data() + shift);
        EXPECT_THAT(stored(), ElementsAre(std::pair(3u, 9u)));
    }
}

TEST_F(MasterReceive, EveryWorkModeStores) {
    for (const int mode : {0, 2}) {
        fix::cfg().devWorkMode = mode;
        receive(message_of(4, static_cast<uint32_t>(20 + mode)));
        EXPECT_THAT(stored(), ElementsAre(std::pair(5u, static_cast<uint32_t>(20 + mode))));
    }
}

TEST_F(MasterReceive, ReceptionIsLoggedBehindItsSwitch) {
    for (int number = 0; number < VCA_LOG_DBG_COUNT; ++number)
        fix::set_debug(number, number != cascade::kSwCascade);
    EXPECT_EQ(fix::output_of([] { receive(message_of(2, 1)); }), "");
    for (int number = 0; number < VCA_LOG_DBG_COUNT; ++number)
        fix::set_debug(number, number == cascade::kSwCascade);
    const auto lines = fix::lines_of(fix::output_of([] { receive(message_of(14, 1)); }));
    ASSERT_THAT(lines, SizeIs(1));
    EXPECT_EQ(lines[0].text, "Master recv Slave[14]=1");
    EXPECT_EQ(lines[0].function, "dev_cscd_master_recive_slave_track");
    EXPECT_THAT(fix::printed_by([] { receive(delivered(0, {})); }),
                ElementsAre("log: Master recv Slave[0]=0"));
    // The number as it came, whatever it is worth.
    for (const int32_t count : {90, 91, -1, INT_MIN, INT_MAX})
        EXPECT_THAT(fix::printed_by([&] { receive(delivered(7, {}, 0, count)); }),
                    ElementsAre("log: Master recv Slave[7]=" + std::to_string(count)));
}

TEST_F(MasterReceive, NoPayloadIsIgnored) {
    receive(message_of(0, 8));
    EXPECT_EQ(fix::output_of([] { dev_cscd_master_recive_slave_track(0, nullptr); }), "");
    EXPECT_THAT(stored(), ElementsAre(std::pair(1u, 8u)));
}

TEST_F(MasterReceive, TableOutlivesARestart) {
    receive(message_of(6, 31));
    test::start_library();
    test::stop_library();
    EXPECT_THAT(stored(), ElementsAre(std::pair(7u, 31u)));
}

// ---- The common frame counter ----

TEST_F(Exchange, FrameCountIsAnswered) {
    for (const int mode : {0, 1, 2})
        for (const int32_t count : {0, 1, 0x01020304, -5, INT_MIN, INT_MAX}) {
            fix::cfg().devWorkMode = mode;
            vca_feed_frm_cnt_set(count);
            const auto lines = fix::lines_of(
                fix::output_of([] { dev_cscd_master_send_frm_cnt_to_slave(9, nullptr); }));
            ASSERT_THAT(lines, SizeIs(1));
            EXPECT_EQ(lines[0].text, "master_get_frm_cnt=" + std::to_string(count));
            EXPECT_EQ(lines[0].function, "dev_cscd_master_send_frm_cnt_to_slave");
            const auto sent = take_messages();
            ASSERT_THAT(sent, SizeIs(1));
            BytePayload want(4);
            want.i32(0, count);
            EXPECT_EQ(difference(sent[0], kFrameCount, want), "");
            EXPECT_EQ(vca_feed_frm_cnt_get(), count);
        }
}

TEST_F(Exchange, FrameCountIsLoggedBeforeItIsSent) {
    test::host().on_call = [](const std::string& call) {
        if (call.starts_with("tq_sock_send_msg")) std::printf("sent\n");
    };
    EXPECT_THAT(fix::printed_by([] { dev_cscd_master_send_frm_cnt_to_slave(0, nullptr); }),
                ElementsAre("log: master_get_frm_cnt=0", "plain: sent"));
    test::host().on_call = nullptr;
}

TEST_F(Exchange, FrameCountRequestReadsNoPayload) {
    vca_feed_frm_cnt_set(12);
    dev_cscd_master_send_frm_cnt_to_slave(0, reinterpret_cast<void*>(uintptr_t{8}));
    EXPECT_THAT(take_messages(), SizeIs(1));
}

TEST_F(Exchange, OnlyASlaveTakesTheFrameCountOver) {
    for (const int mode : {-1, 0, 1, 2, 3})
        for (const int32_t count : {0, 1, 90001, -12, INT_MIN, INT_MAX}) {
            fix::cfg().devWorkMode = mode;
            vca_feed_frm_cnt_set(777);
            int32_t payload = count;
            const auto lines = fix::lines_of(
                fix::output_of([&] { dev_cscd_slave_recive_master_frm_cnt(3, &payload); }));
            ASSERT_THAT(lines, SizeIs(1));
            EXPECT_EQ(lines[0].text, "slave_sync_master_frm_cnt=" + std::to_string(count));
            EXPECT_EQ(lines[0].function, "dev_cscd_slave_recive_master_frm_cnt");
            EXPECT_EQ(vca_feed_frm_cnt_get(), mode == 2 ? count : 777) << "work mode " << mode;
            EXPECT_EQ(payload, count);
        }
    EXPECT_THAT(take_messages(), IsEmpty());
}

TEST_F(Exchange, FrameCountWithoutPayloadIsIgnored) {
    vca_feed_frm_cnt_set(777);
    EXPECT_EQ(fix::output_of([] { dev_cscd_slave_recive_master_frm_cnt(0, nullptr); }), "");
    EXPECT_EQ(vca_feed_frm_cnt_get(), 777);
}

TEST_F(Exchange, FrameCountAtAnyAddress) {
    for (size_t shift = 0; shift < 4; ++shift) {
        uint8_t bytes[8] = {};
        bytes[shift] = 0x21;
        bytes[shift + 1] = 0x43;
        dev_cscd_slave_recive_master_frm_cnt(0, bytes + shift);
        EXPECT_EQ(vca_feed_frm_cnt_get(), 0x4321);
    }
}

}  // namespace
