// What the service of a place answers over HTTP.
#pragma once

#include <memory>
#include <string>

#include "host/net/http_server.h"
#include "host/net/ticker.h"
#include "host/settings/service_file.h"
#include "host/web/accounts.h"
#include "host/web/routes.h"

namespace host {

// What the place's databases tell. The file must outlive it.
WebSources web_sources(const ServiceFile& file);

// The path of the service's own database.
std::string service_database(const ServiceFile& file);

class PlaceWeb {
  public:
    // The file must have a [web], and outlive it. Throws InputError when the address is not free,
    // ForeignDatabase and StoreError when the service's database cannot be used.
    explicit PlaceWeb(const ServiceFile& file);

    // How to reach it, for people; with a one-time password as long as nobody has chosen one.
    std::string welcome();

  private:
    const ServiceFile& file_;
    Accounts accounts_;
    Ticker keeper_;
    HttpServer server_;
};

}  // namespace host
