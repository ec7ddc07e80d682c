// The window of events, and states that have changed.
#include "host/publish/mqtt_device.h"

#include <algorithm>
#include <utility>

#include "host/base/input_error.h"
#include "host/store/database.h"
#include "host/store/event_rows.h"

namespace host {
namespace {

constexpr std::size_t kMostOnTheirWay = 20;
constexpr int kAtOnce = 500;
constexpr std::chrono::seconds kRetry{1};
constexpr const char* kSubscriber = "mqtt";
// A broker that is full of strange messages must not fill the memory.
constexpr std::size_t kMostKept = 1000;
constexpr std::size_t kLongestDescription_bytes = 256 * 1024;

std::string event_text(const ToldEvent& event, const TimeZone& zone) {
    ResultTable table = event_table();
    table.rows.push_back(event_row(event, zone));
    return json_line(table, 0);
}

}  // namespace

MqttDevice::MqttDevice(MqttDeviceSetup setup)
    : setup_(std::move(setup)),
      topics_(setup_.place, setup_.name, setup_.role),
      zone_(setup_.time_zone) {
    connect();
}

MqttDevice::~MqttDevice() {
    if (client_ == nullptr) return;
    tell(topics_.status(), mqtt_status::kStopped);
    wait_for_confirmations();
    client_->stop();
    if (!subscription_) return;
    take_confirmed();
    subscription_->save();
}

// What is not confirmed would come twice. A connection that is closed while confirmations lie there
// unread is reset, and what the broker has not read yet is gone.
void MqttDevice::wait_for_confirmations() {
    std::unique_lock lock(mutex_);
    confirmed_.wait_for(lock, setup_.patience, [this] {
        if (broken_ || !refusal_.empty()) return true;
        return telling_.empty() && std::all_of(on_their_way_.begin(), on_their_way_.end(),
                                               [](const OnItsWay& each) { return each.confirmed; });
    });
}

std::vector<std::string> MqttDevice::subscriptions() const {
    std::vector<std::string> patterns = topics_.changing_patterns();
    if (setup_.home_assistant) {
        const bool place = setup_.role == MqttRole::kPlace;
        patterns.push_back(place ? kDiscoveryPattern : discovery_topic(topics_.id()));
        patterns.emplace_back(kBirthTopic);
    }
    if (setup_.reset) patterns.push_back(topics_.reset_pattern());
    return patterns;
}

// A client whose connection broke keeps what was on its way, and would send it before anything
// else, with each outage more of it; a new one has nothing.
void MqttDevice::connect() {
    client_.reset();
    was_connected_ = broken_ = settled_ = false;
    refusal_.clear();
    described_.clear();
    kept_.clear();
    telling_.clear();
    told_.clear();
    forget_events();
    MqttSettings settings = setup_.broker;
    settings.client_id = topics_.id();
    client_ = std::make_unique<MqttClient>(
        std::move(settings), subscriptions(), MqttWill{topics_.status(), mqtt_status::kOffline},
        MqttClient::Hooks{
            [this](const MqttMessage& message) { on_message(message); },
            [this](bool up, const std::string& reason) { on_connection(up, reason); },
            [this](int message, const std::string& refusal) { on_confirmed(message, refusal); }});
}

void MqttDevice::on_connection(bool connected, const std::string& reason) {
    setup_.say(connected ? LogLevel::kNews : LogLevel::kWarning,
               connected ? "publishes to the broker" : reason);
    const std::lock_guard lock(mutex_);
    broken_ = broken_ || (!connected && was_connected_);
    was_connected_ = was_connected_ || connected;
    confirmed_.notify_all();
    setup_.wake();
}

void MqttDevice::on_message(const MqttMessage& message) {
    const std::string text(reinterpret_cast<const char*>(message.payload.data()),
                           message.payload.size());
    if (setup_.reset && !message.retained && text == kResetPayload) {
        if (const auto area = topics_.reset_area(message.topic)) return setup_.reset(*area);
    }
    const std::lock_guard lock(mutex_);
    if (message.topic == kBirthTopic) {
        describe_again_ = text == mqtt_status::kOnline;
        setup_.wake();
    } else if (const std::string id = discovered_id(message.topic); !id.empty()) {
        keep_description(id, text);
    } else if (message.retained && topics_.is_changing(message.topic) && kept_.size() < kMostKept) {
        kept_.emplace(message.topic);
    }
}

void MqttDevice::keep_description(const std::string& id, const std::string& text) {
    described_.erase(id);
    if (described_.size() == kMostKept || text.size() > kLongestDescription_bytes) return;
    if (status_topic_of(text).starts_with(topics_.place())) described_[id] = text;
}

void MqttDevice::on_confirmed(int message, const std::string& refusal) {
    const std::lock_guard lock(mutex_);
    settled_ = true;
    telling_.erase(message);
    confirmed_.notify_all();
    if (!refusal.empty()) {
        refusal_ = refusal;
        return;
    }
    for (OnItsWay& each : on_their_way_)
        if (each.message == message) each.confirmed = true;
    if (!on_their_way_.empty() && on_their_way_.front().confirmed) setup_.wake();
}

bool MqttDevice::ready() {
    bool broken = false;
    {
        const std::lock_guard lock(mutex_);
        broken = broken_;
    }
    if (broken || client_ == nullptr) connect();
    return client_->connected() && !was_refused() && Clock::now() >= pause_until_;
}

// What the broker does not want now it may want later, when somebody has given the right to it.
bool MqttDevice::was_refused() {
    std::string refusal;
    {
        const std::lock_guard lock(mutex_);
        refusal = std::exchange(refusal_, "");
    }
    if (refusal.empty()) return false;
    if (refusal != std::exchange(refusal_said_, refusal))
        setup_.say(LogLevel::kWarning,
                   "the broker refuses what is published to it (" + refusal + ")");
    pause_until_ = Clock::now() + setup_.pause;
    told_.clear();
    forget_events();
    return true;
}

// What is not confirmed is taken again.
void MqttDevice::forget_events() {
    waiting_.clear();
    if (subscription_) subscription_->go_back();
    const std::lock_guard lock(mutex_);
    on_their_way_.clear();
}

bool MqttDevice::open_subscription() {
    if (subscription_) return true;
    if (Clock::now() < next_attempt_) return false;
    next_attempt_ = Clock::now() + kRetry;
    subscription_.emplace(Subscription::Setup{setup_.database, kSubscriber});
    return true;
}

void MqttDevice::take_confirmed() {
    std::optional<Committed> last;
    {
        const std::lock_guard lock(mutex_);
        while (!on_their_way_.empty() && on_their_way_.front().confirmed) {
            last = on_their_way_.front().event;
            on_their_way_.pop_front();
        }
    }
    if (last) subscription_->confirm(*last);
}

// The broker's confirmation cannot be heard before its number is known.
bool MqttDevice::send(const ToldEvent& event) {
    const std::lock_guard lock(mutex_);
    if (on_their_way_.size() >= kMostOnTheirWay) return false;
    const auto message =
        client_->publish({topics_.event(), as_payload(event_text(event, zone_)), 1, false, {}});
    if (message) on_their_way_.push_back({*message, event.number, false});
    return message.has_value();
}

void MqttDevice::send_events() {
    if (!ready()) return;
    try {
        if (!open_subscription()) return;
        take_confirmed();
        if (waiting_.empty()) {
            for (ToldEvent& event : subscription_->take(kAtOnce))
                waiting_.push_back(std::move(event));
        }
        while (!waiting_.empty() && send(waiting_.front()))
            waiting_.pop_front();
    } catch (const std::runtime_error&) {
        // It is being made, or cannot be read; health tells. It is looked at again a little later.
        subscription_.reset();
        forget_events();
    }
}

bool MqttDevice::tell(const std::string& topic, const std::string& text) {
    const std::lock_guard lock(mutex_);
    const auto message = client_->publish({topic, as_payload(text), 1, true, {}});
    if (message) telling_.insert(*message);
    return message.has_value();
}

void MqttDevice::show(const MqttDeviceNow& now) {
    if (!ready()) return;
    bool settled = false;
    {
        const std::lock_guard lock(mutex_);
        // A slow broker hears how things stand when it has time for it.
        if (!telling_.empty()) return;
        settled = settled_;
    }
    std::vector<MqttState> states = now.states;
    states.push_back({topics_.status(), now.status});
    for (const MqttState& state : states) {
        if (told_[state.topic] == state.payload) continue;
        if (!tell(state.topic, state.payload)) return;
        told_[state.topic] = state.payload;
    }
    if (!settled || !now.described) return;
    remove_stale(states);
    if (!setup_.home_assistant) return;
    describe(*now.described);
    if (setup_.role == MqttRole::kPlace) remove_devices(now.ids);
}

// Lines, regions and areas that there were.
void MqttDevice::remove_stale(const std::vector<MqttState>& states) {
    std::set<std::string, std::less<>> stale;
    {
        const std::lock_guard lock(mutex_);
        stale = std::exchange(kept_, {});
    }
    for (const auto& [topic, text] : told_)
        if (topics_.is_changing(topic)) stale.insert(topic);
    for (const MqttState& state : states)
        stale.erase(state.topic);
    for (const std::string& topic : stale) {
        tell(topic, "");
        told_.erase(topic);
    }
}

void MqttDevice::remove_devices(const std::set<std::string>& ids) {
    std::map<std::string, std::string> described;
    {
        const std::lock_guard lock(mutex_);
        described = described_;
        std::erase_if(described_, [&](const auto& device) { return !ids.contains(device.first); });
    }
    for (const auto& [id, text] : described) {
        if (ids.contains(id)) continue;
        tell(discovery_topic(id), "");
        for (const std::string& topic : state_topics_of(text))
            if (topic.starts_with(topics_.place())) tell(topic, "");
    }
}

void MqttDevice::describe(const DiscoveredDevice& device) {
    std::string before;
    bool again = false;
    {
        const std::lock_guard lock(mutex_);
        before = described_[topics_.id()];
        again = std::exchange(describe_again_, false);
    }
    const std::string message = discovery_message(topics_, device, before);
    if ((message == before && !again) || !tell(discovery_topic(topics_.id()), message)) return;
    const std::lock_guard lock(mutex_);
    described_[topics_.id()] = message;
}

}  // namespace host
