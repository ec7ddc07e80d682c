// The same bytes everywhere: a busy scene in each work mode, every call and every payload of the
// library hashed, beside what is checked in. The files are renewed with VCA_GOLDEN_RENEW=1 in the
// environment, which makes the test fail so that it cannot be left on.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>

#include "tests/golden/busy_scene.h"
#include "tests/golden/trace.h"
#include "tests/support/test_config.h"
#include "vca/decision.h"

namespace {

using golden::FrameTrace;
using golden::kFrames;
using golden::NearestTracker;
using test::host;

// Calls whose number depends on how long the task waits for the next frame.
bool is_waiting(const std::string& call) {
    return call == "avs_read_all_ive" || call.starts_with("tq_mutex_");
}

// One run of the scene. Frame by frame the analysis task itself, when it asks for the next frame,
// takes down what it told the host since.
class Run {
  public:
    explicit Run(VCA_WORK_MODE_E mode) : mode_(mode) {
        host().use_clock(1'700'000'000'000'000);
        host().on_update = [this](int inst, const std::vector<IOU_TRK_OBJ_S>& objects) {
            for (const IOU_TRK_OBJ_S& object : objects)
                trace_.add_record("tracker", &object, sizeof(object));
            return trackers_[inst & 1].update(objects);
        };
    }

    std::vector<std::string> play() {
        // The configuration comes first: the task must not see a frame without it.
        vca_base_init();
        test::apply_config(golden::busy_config(mode_, 0));
        vca_algo_init();
        host().push({next_frame(0)});
        // An emulator or a sanitizer on a loaded machine needs more than the host's patience.
        for (int turns = 0; turns < 40 && !host().run({}); ++turns) {
        }
        test::stop_library();
        take_down();
        rows_.push_back(trace_.row(kFrames));
        EXPECT_THAT(host().errors(), testing::IsEmpty());
        EXPECT_EQ(host().images_alive(), 0u);
        return std::move(rows_);
    }

  private:
    // The frame after the last one ends the record: what follows is waiting, and the stop.
    test::Frame next_frame(int frame) {
        test::Frame f = frame < kFrames ? golden::busy_frame(frame) : test::Frame{};
        f.on_read = [this, frame] { begin(frame); };
        return f;
    }

    void begin(int frame) {
        if (frame > 0) {
            take_down();
            rows_.push_back(trace_.row(frame - 1));
            trace_ = {};
        }
        if (frame >= kFrames) return;
        host().advance_clock(golden::busy_step_us(frame));
        ask(frame);
        host().gender_answer = {1 + frame % 3, static_cast<float>(frame % 10) / 10.0f,
                                static_cast<float>(9 - frame % 10) / 10.0f};
        host().staff_answer = {frame % 4 == 0, 0.5f};
        host().push({next_frame(frame + 1)});
    }

    // At the start and the stop two threads are at work: the calls of each are in order.
    void take_down() {
        const std::vector<test::Call> calls = host().calls();
        for (const bool on_task : {false, true})
            for (const test::Call& call : calls)
                if (call.on_task == on_task && !is_waiting(call.text)) trace_.add_call(call.text);
        for (const test::Message& message : host().messages())
            trace_.add_record(std::to_string(message.id), message.bytes.data(),
                              message.bytes.size());
        host().clear_calls();
        host().clear_messages();
    }

    // Messages of the host in between, delivered while the task holds the mutex.
    void ask(int frame) {
        if (frame == 700 || frame == 1400)
            tell(VCA_MSG_CONFIG, golden::busy_config(mode_, frame / 700));
        if (frame % 500 == 499) tell(VCA_MSG_HEAT_MAP, std::array<uint8_t, 24>{1, 2, 3});
        if (frame == 1600) tell(VCA_MSG_HEAT_RESET, 0);
        if (frame % 300 == 150) tell(VCA_MSG_INSTALL_HEIGHT, 0);
        if (frame % 250 == 20) tell(VCA_MSG_SHOW_DETECTION, frame % 500 == 20 ? 1 : 0);
        if (frame % 400 == 30) tell(VCA_MSG_ASK_FRAME_COUNT, 0);
        if (frame % 600 == 40) tell(VCA_MSG_FRAME_COUNT, 5 * frame);
        if (mode_ != VCA_WORK_MASTER) return;
        if (frame % 2 == 0) tell(VCA_MSG_SLAVE_TRACKS, golden::busy_report(0, frame));
        if (frame % 3 == 0) tell(VCA_MSG_SLAVE_TRACKS, golden::busy_report(1, frame));
    }

    template <class T>
    static void tell(int id, const T& payload) {
        EXPECT_TRUE(host().deliver_locked(id, &payload));
    }

    VCA_WORK_MODE_E mode_;
    NearestTracker trackers_[2];
    FrameTrace trace_;
    std::vector<std::string> rows_;
};

std::vector<std::string> read_rows(const std::string& path) {
    std::ifstream in(path);
    std::vector<std::string> rows;
    for (std::string row; std::getline(in, row);)
        rows.push_back(row);
    return rows;
}

void check(VCA_WORK_MODE_E mode, const std::string& name) {
    const std::string path = std::string(VCA_GOLDEN_DIR) + "/" + name + ".rows";
    const std::vector<std::string> rows = Run(mode).play();
    if (std::getenv("VCA_GOLDEN_RENEW") != nullptr) {
        std::ofstream out(path);
        for (const std::string& row : rows)
            out << row << '\n';
        FAIL() << path << " is renewed";
    }
    std::printf("%s: %zu rows, hash %016llx\n", name.c_str(), rows.size(),
                static_cast<unsigned long long>(golden::hash_of(rows)));
    EXPECT_EQ(golden::first_difference(read_rows(path), rows), "");
}

// Whoever is told changes nothing.
class Told : public testing::TestWithParam<std::pair<VCA_WORK_MODE_E, const char*>> {};

TEST_P(Told, RowsAreTheSame) {
    static int told = 0;
    vca_set_decision_observer([](void*, const VCA_DECISION_S*) { ++told; }, nullptr);
    check(GetParam().first, GetParam().second);
    EXPECT_GT(told, 1000);
}

INSTANTIATE_TEST_SUITE_P(Golden, Told,
                         testing::Values(std::pair{VCA_WORK_ALONE, "stand_alone"},
                                         std::pair{VCA_WORK_MASTER, "master"},
                                         std::pair{VCA_WORK_SLAVE, "slave"}));

TEST(Golden, StandAloneDevice) {
    check(VCA_WORK_ALONE, "stand_alone");
}

TEST(Golden, Master) {
    check(VCA_WORK_MASTER, "master");
}

TEST(Golden, Slave) {
    check(VCA_WORK_SLAVE, "slave");
}

}  // namespace
