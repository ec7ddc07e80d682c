// Runs the webhooks of a place as its file has them.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "host/net/ticker.h"
#include "host/publish/webhook.h"
#include "host/service/live_place.h"

namespace host {

class WebhookTask {
  public:
    // Follows the place's file, and the files of secrets. `say` is told what is wrong, on any
    // thread. Both must outlive it.
    WebhookTask(LivePlace& place, Say say);
    WebhookTask(const WebhookTask&) = delete;
    WebhookTask& operator=(const WebhookTask&) = delete;

  private:
    void work();
    void forget_others(const ServiceFile& file);
    void run_one(const ServiceFile& file, const WebhookOptions& options);
    void complain(const ServiceFile& file, const WebhookOptions& options, const std::string& why);

    LivePlace& place_;
    const Say say_;
    std::shared_ptr<const ServiceFile> file_;
    std::map<std::string, std::unique_ptr<Webhook>> running_;
    std::map<std::string, std::string> complaints_;  // the last one of each, said once
    Ticker ticker_;
};

}  // namespace host
