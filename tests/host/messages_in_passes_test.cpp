// The reference host while messages of every kind reach the library during its passes, from several
// threads, and the same once more while it is stopped.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "host/engine/session.h"
#include "tests/host/session_scene.h"
#include "vca/vca.h"

namespace {

constexpr int kStormFrames = 40;
constexpr int kQuietFrames = 120;

// Counts what the library sends.
class Counter final : public host::Sink {
  public:
    void on_frame(const host::FrameView& frame) override {
        true_crossings += static_cast<int>(frame.crossings.size());
    }
    void on_event(const host::Event& event) override {
        if (std::holds_alternative<host::PersonCounted>(event.payload)) ++counted;
        const auto* heat = std::get_if<host::HeatMapReported>(&event.payload);
        if (heat != nullptr && heat->request == host::kHeatRequest) ++heat_maps;
    }

    std::atomic<int> counted{0};
    std::atomic<int> true_crossings{0};
    std::atomic<int> heat_maps{0};
};

// Calls a function again and again on a thread of its own until it is stopped.
class Repeater {
  public:
    explicit Repeater(const std::function<void(int)>& call)
        : thread_([this, call] {
              while (!stop_) {
                  call(calls_++);
                  std::this_thread::sleep_for(std::chrono::milliseconds(2));
              }
          }) {}
    ~Repeater() {
        stop_ = true;
        thread_.join();
    }
    int calls() const { return calls_; }

  private:
    std::atomic<bool> stop_{false};
    std::atomic<int> calls_{0};
    std::thread thread_;
};

class MessagesInPasses : public ::testing::Test {
  protected:
    MessagesInPasses()
        : setup_(scene_.session_setup()),
          session_(std::make_unique<host::Session>(setup_, std::vector<host::Sink*>{&counter_})) {}

    std::int64_t feed(int frames) {
        scene_.set_frames(frames);
        return session_->feed(scene_);
    }

    // On whatever thread a host may have: the handler under the algorithm mutex.
    static void apply(VCA_ALGO_CFG_S cfg) {
        auto* const mutex = static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex());
        tq_mutex_lock(mutex);
        vca_algo_set_cfg_params(0, &cfg);
        tq_mutex_unlock(mutex);
    }

    void apply_any(int call) const {
        VCA_ALGO_CFG_S cfg = setup_.config;
        cfg.devWorkMode = call % 3;
        cfg.HtmpEn = call % 2 == 0 ? 1 : 0;
        cfg.RgnEn = call % 2 == 0 ? 0 : 1;
        cfg.rgn[0].used = cfg.rgn[0].en_a = 1;
        cfg.rgn[0].pt[0] = {1, {}, 100, 100};
        cfg.rgn[0].pt[1] = {1, {}, 800, 100 + call % 50};
        cfg.rgn[0].pt[2] = {1, {}, 800, 500};
        cfg.ShowDetectBox = cfg.RgnEn;
        apply(cfg);
    }

    static void report_as_slave(int call) {
        MASTER_MSG_S report{};
        report.slave_idx = static_cast<std::uint32_t>(call % VCA_SLAVE_MAX);
        report.msg.count = call % VCA_SLAVE_TRACK_MAX;
        for (SLAVE_TRACK_S& track : report.msg.tracks) {
            track.class_id = VCA_CLASS_PERSON;
            track.score = 0.9f;
            track.cx = track.foot_x = call % 960;
            track.cy = track.foot_y = call % 544;
        }
        auto* const mutex = static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex());
        tq_mutex_lock(mutex);
        dev_cscd_master_recive_slave_track(0, &report);
        dev_cscd_master_send_frm_cnt_to_slave(0, nullptr);
        tq_mutex_unlock(mutex);
    }

    void forget_slaves() {
        auto* const mutex = static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex());
        tq_mutex_lock(mutex);
        for (std::uint32_t index = 0; index < VCA_SLAVE_MAX; ++index) {
            MASTER_MSG_S nobody{};
            nobody.slave_idx = index;
            dev_cscd_master_recive_slave_track(0, &nobody);
        }
        tq_mutex_unlock(mutex);
    }

    void expect_nothing_left() {
        const host::LeftOver left = session_->close();
        EXPECT_EQ(left.loans.blocks, 0);
        EXPECT_EQ(left.loans.mappings, 0);
        EXPECT_EQ(left.loans.errors, 0);
        EXPECT_EQ(left.images, 0);
        EXPECT_EQ(left.refused_messages, 0);
    }

    test::SceneFrames scene_;
    host::SessionSetup setup_;
    Counter counter_;
    std::unique_ptr<host::Session> session_;
};

TEST_F(MessagesInPasses, AreTakenAndCountingGoesOn) {
    std::atomic<int> heat_answers{0};
    {
        // Nobody else asks, so an answer that is there on return is that to this request.
        Repeater heat([&](int) {
            const int before = counter_.heat_maps;
            session_->request_heat_map();
            heat_answers += counter_.heat_maps > before ? 1 : 0;
        });
        Repeater requests([&](int call) {
            session_->request_install_height();
            session_->show_detected(call % 2 == 0);
        });
        Repeater configs([&](int call) { apply_any(call); });
        Repeater slaves([&](int call) { report_as_slave(call); });
        Repeater readers([&](int) {
            session_->frame_in_work();
            vca_get_algo_loop_tm();
            vca_feed_frm_cnt_get();
            session_->install_height_mm();
        });
        EXPECT_EQ(feed(kStormFrames), kStormFrames - 1);
        EXPECT_GT(requests.calls(), 10);
        EXPECT_GT(configs.calls(), 10);
        EXPECT_GT(slaves.calls(), 10);
        EXPECT_GT(readers.calls(), 10);
    }
    EXPECT_GT(heat_answers, 10);
    EXPECT_GT(session_->install_height_mm(), 0);
    forget_slaves();
    apply(setup_.config);
    counter_.counted = counter_.true_crossings = 0;
    EXPECT_EQ(feed(kQuietFrames), kStormFrames + kQuietFrames - 1);
    EXPECT_GT(counter_.true_crossings, 5);
    // Those on the line when a half ends fall to either side of the cut.
    EXPECT_NEAR(counter_.counted, counter_.true_crossings, 2);
    expect_nothing_left();
}

TEST_F(MessagesInPasses, MayComeWhileTheLibraryStops) {
    feed(20);
    // Through the bus, which alone knows when the handlers are gone.
    const auto send = [&](int call) { session_->show_detected(call % 2 == 0); };
    const Repeater first(send);
    const Repeater second(send);
    while (first.calls() < 3 || second.calls() < 3)
        std::this_thread::yield();
    expect_nothing_left();
}

}  // namespace
