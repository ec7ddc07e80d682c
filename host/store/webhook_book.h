// How the webhooks of a place stand, in the service's own database, so that a restart forgets
// nothing of it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/store/database.h"
#include "host/store/records.h"

namespace host {

struct WebhookStand {
    std::string id;                        // random; a part of what its reports are known by
    std::string settings;                  // a digest of those that it has been told with
    std::optional<std::int64_t> hours_us;  // reports of hours that ended by then have arrived
    std::optional<std::int64_t> days_us;
    bool ended = false;         // its receiver wants no more until the settings change
    std::string fault;          // a sentence; empty: nothing is wrong
    std::int64_t since_us = 0;  // of the fault
    std::int64_t left_out = 0;  // messages that it has refused for a day
    std::int64_t left_out_us = 0;
};

class WebhookBook {
  public:
    // Throws ForeignDatabase and StoreError, as its calls do.
    explicit WebhookBook(const std::string& service_database);

    // A new one for a name that is not known.
    WebhookStand stand(const std::string& name) const;
    void keep(const std::string& name, const WebhookStand& stand) const;
    void forget_others(const std::vector<std::string>& names) const;

  private:
    std::unique_ptr<Database> database_;
};

// What is wrong with these webhooks, for health; nothing when there is no such database or it
// cannot be read.
std::vector<HealthNote> webhook_faults(const std::string& service_database,
                                       const std::vector<std::string>& names, std::int64_t now_us);

}  // namespace host
