// What the service of a place answers over HTTP.
#pragma once

#include <string>

#include "host/net/http_server.h"
#include "host/net/ticker.h"
#include "host/service/live_place.h"
#include "host/web/accounts.h"
#include "host/web/live_feed.h"
#include "host/web/routes.h"

namespace host {

// The path of the service's own database.
std::string service_database(const ServiceFile& file);

class PlaceWeb {
  public:
    // The place's file must have a [web]; place and pictures must outlive it. Throws InputError
    // when the address is not free, ForeignDatabase and StoreError when the service's database
    // cannot be used.
    PlaceWeb(LivePlace& place, LivePictures& pictures);
    // Tells all pages that the service ends.
    ~PlaceWeb();
    PlaceWeb(const PlaceWeb&) = delete;
    PlaceWeb& operator=(const PlaceWeb&) = delete;

    // How to reach it, for people; with a one-time password as long as nobody has chosen one.
    std::string welcome();

  private:
    HttpHandler handler(LivePlace& place, LivePictures& pictures);
    // Where its files have changed.
    void renew_certificate();

    ServiceWeb web_;
    Accounts accounts_;
    Commissioning commissioning_;
    Ticker keeper_;
    Gate gate_;
    ApiSources api_;
    LiveFeed feed_;
    HttpServer server_;
    std::string certificate_stamp_;
    Ticker certificate_;
};

}  // namespace host
