// Tells when an area of the place has become full, and when it no longer is: an event in the
// place's own database, as is that somebody says that nobody is inside. Crossings of all its
// cameras are looked at together, as they are committed.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "host/base/log_lines.h"
#include "host/net/ticker.h"
#include "host/settings/service_file.h"
#include "host/store/store_writer.h"
#include "host/store/visitors.h"

namespace host {

class AreaWatch {
  public:
    // Looks twice a second at what was committed; whoever fills an area for less may be missed.
    // `say` is told what goes wrong and when an area is full, on threads of its own.
    AreaWatch(const ServiceFile& file, Say say);
    ~AreaWatch();
    AreaWatch(const AreaWatch&) = delete;
    AreaWatch& operator=(const AreaWatch&) = delete;

    // From the next look on.
    void change(const ServiceFile& file);
    // Nobody is inside, somebody says: at the next look the balance is removed, by an event in the
    // place's database that has it. What was counted stays. Any thread.
    void reset(const std::string& area);

  private:
    struct Look;

    void work();
    bool begin();
    std::set<std::string> take_resets();
    void open_writer();
    void read_states(const std::string& path);
    void look_at(const Area& area, std::int64_t now_us);
    bool is_written(const std::string& area, std::int64_t time_us) const;
    void reset_at(const std::string& name, std::int64_t now_us);

    const Say say_;
    std::mutex mutex_;
    ServiceFile file_;
    bool changed_ = false;
    std::set<std::string> to_reset_;

    // The thread's own.
    std::unique_ptr<Look> look_;
    std::map<std::string, bool> full_;            // by the area's name
    std::map<std::string, std::int64_t> resets_;  // the time of the last one of each area
    std::string complaint_;                       // the last one, which is said once
    std::unique_ptr<StoreWriter> writer_;
    Ticker ticker_;
};

}  // namespace host
