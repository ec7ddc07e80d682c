// A row for each camera.
#include "host/web/commissioning.h"

#include "host/store/service_database.h"

namespace host {

Commissioning::Commissioning(const std::string& database)
    : database_(open_service_database(database)) {}

std::optional<Commissioned> Commissioning::of(const std::string& camera) const {
    const std::scoped_lock lock(mutex_);
    Statement row = database_->prepare(
        "SELECT time_us, author, line, walks FROM commissioned WHERE camera = ?1");
    if (!row.bind(camera).step()) return std::nullopt;
    return Commissioned{row.integer(0), row.text(1), row.text(2), static_cast<int>(row.integer(3))};
}

void Commissioning::note(const std::string& camera, const Commissioned& note) const {
    const std::scoped_lock lock(mutex_);
    database_->prepare("INSERT OR REPLACE INTO commissioned VALUES (?1, ?2, ?3, ?4, ?5)")
        .run(camera, note.time_us, note.author, note.line, note.walks);
}

}  // namespace host
