// The link with the real library at one end and a client that speaks for the other devices.
#include "host/inference/models.h"
#include "link_fixture.h"
#include "vca/vca.h"

namespace link_test {
namespace {

class LinkLibraryTest : public LinkTest {
  protected:
    ~LinkLibraryTest() override {
        if (master_.bridge) master_.bridge->stop();
        if (slave_.bridge) slave_.bridge->stop();
        if (!bus_) return;
        bus_->wait_idle();
        vca_algo_uninit();
        vca_base_uninit();
        host::set_bus(nullptr);
        bus_.reset();
    }

    // The library without frames, so that its counter only changes when it is set.
    void start_library(int work_mode) {
        VCA_ALGO_CFG_S config{};
        config.InstallHeight = 3500;
        config.devWorkMode = work_mode;
        client_ = std::make_unique<BusFunctions>(
            [this, config](const Event& event) {
                if (std::holds_alternative<host::ConfigRequest>(event.payload))
                    bus_->send_to_library(VCA_MSG_CONFIG, &config, sizeof config);
                if (master_ready_) master_.bridge->on_event(event);
                if (slave_ready_) slave_.bridge->on_event(event);
            },
            [] {
                return host::FrameStamp{0, 0.0, vca_feed_frm_cnt_get()};
            },
            [] { return static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex()); });
        bus_ = std::make_unique<Bus>(*client_);
        host::set_bus(bus_.get());
        host::ModelSettings models;  // no frame ever reaches them
        models.camera = {240.0, 240.0, 240.0, 128.0, 3500.0};
        host::set_model_settings(models);
        vca_base_init();
        vca_algo_init();
        bus_->wait_idle();  // the configuration is applied
        ASSERT_EQ(vca_dev_get_work_mode(), work_mode);
    }

    // What the library would merge now, the master itself seeing nobody.
    DET_OBJECTS_S merged() {
        const auto result = std::make_unique<VCA_NN_RESULT_S>();
        std::vector<TRACKER_RSLT_S> nobody;
        auto* mutex = static_cast<TQ_MUTEX_S*>(get_vca_algo_mutex());
        tq_mutex_lock(mutex);
        dev_cascade_local_master_merge_slave_obj(result.get(), nobody);
        tq_mutex_unlock(mutex);
        return result->objects;
    }

    std::unique_ptr<BusFunctions> client_;
    std::unique_ptr<Bus> bus_;
};

TEST_F(LinkLibraryTest, AMasterAnswersTakesTracksAndForgetsASilentSlave) {
    start_broker();
    start_library(1);
    vca_feed_frm_cnt_set(12345);
    const auto map = [](int, SLAVE_MSG_S& message) {
        for (SLAVE_TRACK_S& track : message.tracks)
            track.foot_x -= 5000;
    };
    master_.bridge = std::make_unique<MasterBridge>(
        *bus_, master_settings(), host::MasterHooks{vca_feed_frm_cnt_get, map, {}});
    master_ready_ = true;
    RawClient raw(broker_settings(), {"vca/hall/frame-count"});
    ASSERT_TRUE(eventually([&] { return master_.bridge->stats().connected; }));
    raw.send("vca/hall/left/ask-frame-count", "");
    ASSERT_TRUE(eventually([&] { return !raw.received().empty(); }));
    const std::int32_t count = 12345;
    const auto expected = host::bytes_of(count);
    EXPECT_EQ(raw.received()[0].payload,
              std::vector<std::uint8_t>(expected.begin(), expected.end()));

    MASTER_MSG_S message{};
    message.slave_idx = kLeft;
    message.reserved = 12344;
    message.msg.count = 2;
    message.msg.tracks[0].foot_x = 1000;
    message.msg.tracks[1].foot_x = 4000;
    raw.send("vca/hall/left/tracks", host::bytes_of(message));
    ASSERT_TRUE(eventually([&] { return merged().num == 2; }));
    const DET_OBJECTS_S objects = merged();
    EXPECT_EQ(objects.objs[0].aux0, static_cast<std::uint32_t>(kLeft + 1));
    EXPECT_EQ(objects.objs[0].x + objects.objs[0].w / 2, 1000 - 5000);
    EXPECT_EQ(objects.objs[1].x + objects.objs[1].w / 2, 4000 - 5000);
    EXPECT_TRUE(eventually([&] { return merged().num == 0; }));
    EXPECT_TRUE(master_.left().missing);
    EXPECT_EQ(bus_->undelivered(), 0);
    EXPECT_EQ(bus_->refused(), 0);
}

TEST_F(LinkLibraryTest, ASlaveTakesTheCountAndSendsItsTracksWithIt) {
    start_broker();
    start_library(2);
    slave_.bridge = std::make_unique<SlaveBridge>(
        *bus_, host::SlaveSettings{kSite, {"left", kLeft}, broker_settings(), 0.1, 0.1},
        host::SlaveHooks{vca_feed_frm_cnt_get, {}});
    slave_ready_ = true;
    RawClient raw(broker_settings(), {"vca/hall/left/tracks"});
    ASSERT_TRUE(eventually([&] { return slave_.bridge->stats().connected; }));
    const std::int32_t count = 777;
    raw.send("vca/hall/frame-count", host::bytes_of(count));
    ASSERT_TRUE(eventually([&] { return vca_feed_frm_cnt_get() == 777; }));
    std::vector<TRACKER_RSLT_S> tracks(1);
    tracks[0].trackId = 6;
    tracks[0].age = 3;
    tracks[0].curObj.w = tracks[0].curObj.h = 80;
    tracks[0].footX = 321;
    dev_cascade_slave_send_track_to_master(tracks);
    tracks.clear();
    dev_cascade_slave_send_track_to_master(tracks);  // one empty message, then silence
    dev_cascade_slave_send_track_to_master(tracks);
    ASSERT_TRUE(eventually([&] { return raw.received().size() == 2; }));
    const auto received = raw.received();
    MASTER_MSG_S message;
    ASSERT_EQ(received[0].payload.size(), sizeof message);
    std::memcpy(&message, received[0].payload.data(), sizeof message);
    EXPECT_EQ(message.slave_idx, static_cast<std::uint32_t>(kLeft));
    EXPECT_EQ(message.reserved, 777u);
    EXPECT_EQ(message.msg.count, 1);
    EXPECT_EQ(message.msg.tracks[0].track_id, 6u);
    EXPECT_EQ(message.msg.tracks[0].foot_x, 321);
    ASSERT_EQ(received[1].payload.size(), sizeof message);
    std::memcpy(&message, received[1].payload.data(), sizeof message);
    EXPECT_EQ(message.msg.count, 0);
    EXPECT_EQ(message.reserved, 777u);
    bus_->wait_idle();
    EXPECT_EQ(slave_.bridge->stats().sent, 2);
}

}  // namespace
}  // namespace link_test
