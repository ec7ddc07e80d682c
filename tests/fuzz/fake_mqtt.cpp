#include "tests/fuzz/fake_mqtt.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>

// One user property of a message.
struct mqtt5__property {
    std::string name;
    std::string value;
    mqtt5__property* next = nullptr;
};

namespace {

using ConnectHook = void (*)(mosquitto*, void*, int, int, const mosquitto_property*);
using SubscribeHook = void (*)(mosquitto*, void*, int, int, const int*, const mosquitto_property*);
using MessageHook = void (*)(mosquitto*, void*, const mosquitto_message*,
                             const mosquitto_property*);

enum class Stage { kAway, kConnecting, kSubscribing, kUp, kLeaving };

struct Broker {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<fuzz::BrokerMessage> waiting;
    bool busy = false;
    Stage stage = Stage::kAway;
};

Broker& broker() {
    static Broker the_broker;
    return the_broker;
}

char* copy_text(const std::string& text) {
    return strdup(text.c_str());
}

void free_list(mosquitto_property* list) {
    while (list != nullptr) {
        mosquitto_property* next = list->next;
        delete list;
        list = next;
    }
}

}  // namespace

struct mosquitto {
    void* owner = nullptr;
    ConnectHook on_connect = nullptr;
    SubscribeHook on_subscribe = nullptr;
    MessageHook on_message = nullptr;
    int patterns = 0;
};

namespace {

void play(mosquitto* client, fuzz::BrokerMessage& message) {
    mosquitto_property* list = nullptr;
    for (auto it = message.properties.rbegin(); it != message.properties.rend(); ++it)
        list = new mosquitto_property{it->first, it->second, list};
    mosquitto_message record{};
    record.topic = message.topic.data();
    record.payload = message.payload.empty() ? nullptr : message.payload.data();
    record.payloadlen = static_cast<int>(message.payload.size());
    record.retain = message.retained;
    client->on_message(client, client->owner, &record, list);
    free_list(list);
}

}  // namespace

void fuzz::hand_over(const std::vector<BrokerMessage>& messages) {
    Broker& b = broker();
    std::unique_lock lock(b.mutex);
    for (const BrokerMessage& message : messages)
        b.waiting.push_back(message);
    b.changed.notify_all();
    b.changed.wait(lock, [&b] { return b.waiting.empty() && !b.busy; });
}

extern "C" {

int mosquitto_lib_init(void) {
    return MOSQ_ERR_SUCCESS;
}
const char* mosquitto_strerror(int) {
    return "an error";
}
const char* mosquitto_reason_string(int) {
    return "a reason";
}
mosquitto* mosquitto_new(const char*, bool, void* owner) {
    auto* client = new mosquitto;
    client->owner = owner;
    const std::lock_guard lock(broker().mutex);
    broker().stage = Stage::kAway;
    broker().waiting.clear();
    return client;
}
void mosquitto_destroy(mosquitto* client) {
    delete client;
}
int mosquitto_int_option(mosquitto*, enum mosq_opt_t, int) {
    return MOSQ_ERR_SUCCESS;
}
int mosquitto_threaded_set(mosquitto*, bool) {
    return MOSQ_ERR_SUCCESS;
}
int mosquitto_will_set(mosquitto*, const char*, int, const void*, int, bool) {
    return MOSQ_ERR_SUCCESS;
}
int mosquitto_username_pw_set(mosquitto*, const char*, const char*) {
    return MOSQ_ERR_SUCCESS;
}
int mosquitto_tls_set(mosquitto*, const char*, const char*, const char*, const char*,
                      int (*)(char*, int, int, void*)) {
    return MOSQ_ERR_SUCCESS;
}
int mosquitto_sub_topic_check(const char*) {
    return MOSQ_ERR_SUCCESS;
}
void mosquitto_connect_v5_callback_set(mosquitto* client, ConnectHook hook) {
    client->on_connect = hook;
}
void mosquitto_subscribe_v5_callback_set(mosquitto* client, SubscribeHook hook) {
    client->on_subscribe = hook;
}
// What is published goes nowhere, so nothing is ever confirmed.
void mosquitto_publish_v5_callback_set(mosquitto*, void (*)(mosquitto*, void*, int, int,
                                                            const mosquitto_property*)) {}
void mosquitto_message_v5_callback_set(mosquitto* client, MessageHook hook) {
    client->on_message = hook;
}
int mosquitto_connect_async(mosquitto*, const char*, int, int) {
    const std::lock_guard lock(broker().mutex);
    if (broker().stage != Stage::kLeaving) broker().stage = Stage::kConnecting;
    return MOSQ_ERR_SUCCESS;
}
int mosquitto_reconnect_async(mosquitto* client) {
    return mosquitto_connect_async(client, nullptr, 0, 0);
}
int mosquitto_subscribe_multiple(mosquitto* client, int*, int count, char* const* const, int, int,
                                 const mosquitto_property*) {
    client->patterns = count;
    return MOSQ_ERR_SUCCESS;
}
int mosquitto_disconnect(mosquitto*) {
    const std::lock_guard lock(broker().mutex);
    broker().stage = Stage::kLeaving;
    broker().changed.notify_all();
    return MOSQ_ERR_SUCCESS;
}
int mosquitto_publish_v5(mosquitto*, int*, const char*, int, const void*, int, bool,
                         const mosquitto_property*) {
    return MOSQ_ERR_SUCCESS;
}

// One step for each call: connected, subscribed, one message, gone.
int mosquitto_loop(mosquitto* client, int, int) {
    Broker& b = broker();
    std::unique_lock lock(b.mutex);
    if (b.stage == Stage::kConnecting) {
        b.stage = Stage::kSubscribing;
        lock.unlock();
        client->on_connect(client, client->owner, 0, 0, nullptr);
        return MOSQ_ERR_SUCCESS;
    }
    if (b.stage == Stage::kSubscribing) {
        b.stage = Stage::kUp;
        lock.unlock();
        const std::vector<int> granted(static_cast<size_t>(client->patterns), 0);
        client->on_subscribe(client, client->owner, 0, client->patterns, granted.data(), nullptr);
        return MOSQ_ERR_SUCCESS;
    }
    if (b.stage == Stage::kAway) return MOSQ_ERR_NO_CONN;
    b.changed.wait(lock, [&b] { return b.stage == Stage::kLeaving || !b.waiting.empty(); });
    if (b.waiting.empty()) {
        b.stage = Stage::kAway;
        return MOSQ_ERR_NO_CONN;
    }
    fuzz::BrokerMessage message = std::move(b.waiting.front());
    b.waiting.pop_front();
    b.busy = true;
    lock.unlock();
    play(client, message);
    lock.lock();
    b.busy = false;
    b.changed.notify_all();
    return MOSQ_ERR_SUCCESS;
}

int mosquitto_property_add_string_pair(mosquitto_property** list, int, const char* name,
                                       const char* value) {
    *list = new mosquitto_property{name, value, *list};
    return MOSQ_ERR_SUCCESS;
}
void mosquitto_property_free_all(mosquitto_property** list) {
    free_list(*list);
    *list = nullptr;
}
const mosquitto_property* mosquitto_property_read_string_pair(const mosquitto_property* list, int,
                                                              char** name, char** value,
                                                              bool skip_first) {
    if (list != nullptr && skip_first) list = list->next;
    if (list == nullptr) return nullptr;
    *name = copy_text(list->name);
    *value = copy_text(list->value);
    return list;
}
}
