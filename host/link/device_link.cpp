// Bridges of the two roles behind one interface.
#include "host/link/device_link.h"

#include <utility>

#include "host/link/master_bridge.h"
#include "host/link/slave_bridge.h"
#include "host/settings/site_map.h"
#include "vca/frame.h"

namespace host {
namespace {

class MasterLink final : public DeviceLink {
  public:
    MasterLink(Session& session, const LinkSetup& setup)
        : bridge_(session.bus(), settings_of(setup),
                  {vca_feed_frm_cnt_get,
                   [site = setup.site](int slave, SLAVE_MSG_S& message) {
                       map_to_master(*site, slave, message);
                   },
                   setup.report, [&session] { return session.frame_in_work(); }}) {}

    void on_event(const Event& event) override { bridge_.on_event(event); }
    void stop() override { bridge_.stop(); }

    LinkFigures figures() const override {
        const MasterStats stats = bridge_.stats();
        LinkFigures figures;
        figures.master = true;
        figures.reached = stats.reached;
        figures.outages = stats.outages;
        figures.outage = stats.outage;
        figures.requests = stats.requests;
        figures.unknown = stats.unknown;
        for (const SlaveView& slave : stats.slaves) {
            figures.slaves.push_back(
                {slave.state.device.name, slave.state.counters, slave.delay, slave.counting});
        }
        return figures;
    }

  private:
    static MasterSettings settings_of(const LinkSetup& setup) {
        const Site& site = *setup.site;
        MasterSettings settings;
        settings.site = site.name;
        settings.name = setup.device;
        settings.broker = setup.broker;
        for (const SiteDevice& device : site.devices) {
            if (!device.master) settings.slaves.push_back({device.name, device.index});
        }
        settings.gate.max_age_frames = site.max_age_frames;
        settings.gate.stale_s = site.stale_s;
        return settings;
    }

    MasterBridge bridge_;
};

class SlaveLink final : public DeviceLink {
  public:
    SlaveLink(Session& session, const LinkSetup& setup)
        : bridge_(session.bus(), settings_of(setup), {vca_feed_frm_cnt_get, setup.report}) {}

    void on_event(const Event& event) override { bridge_.on_event(event); }
    void stop() override { bridge_.stop(); }

    LinkFigures figures() const override {
        const SlaveStats stats = bridge_.stats();
        LinkFigures figures;
        figures.reached = stats.reached;
        figures.outages = stats.outages;
        figures.outage = stats.outage;
        figures.sent = stats.sent;
        figures.withheld = stats.withheld;
        figures.disconnected = stats.disconnected;
        figures.answers = stats.answers;
        return figures;
    }

  private:
    static SlaveSettings settings_of(const LinkSetup& setup) {
        SlaveSettings settings;
        settings.site = setup.site->name;
        settings.device = {setup.device, find_device(*setup.site, setup.device)->index};
        settings.broker = setup.broker;
        return settings;
    }

    SlaveBridge bridge_;
};

}  // namespace

std::unique_ptr<DeviceLink> make_device_link(Session& session, const LinkSetup& setup) {
    if (find_device(*setup.site, setup.device)->master)
        return std::make_unique<MasterLink>(session, setup);
    return std::make_unique<SlaveLink>(session, setup);
}

}  // namespace host
