// What the service of a place answers over HTTP.
#pragma once

#include <cstdint>

#include "host/net/http_server.h"
#include "host/service/live_place.h"
#include "host/web/live_feed.h"
#include "host/web/routes.h"

namespace host {

// What the databases and cameras of the place tell, by its file in force. The place must outlive
// it.
WebSources web_sources(LivePlace& place);

class PlaceWeb {
  public:
    // The place's file must have a [web]; place and pictures must outlive it. Throws InputError
    // when the address is not free.
    PlaceWeb(LivePlace& place, LivePictures& pictures);
    // Tells all pages that the service ends.
    ~PlaceWeb();
    PlaceWeb(const PlaceWeb&) = delete;
    PlaceWeb& operator=(const PlaceWeb&) = delete;

    std::uint16_t port() const { return server_.port(); }

  private:
    LiveFeed feed_;
    HttpServer server_;
};

}  // namespace host
