// The fields of a query, each checked when it is asked for.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <optional>
#include <string>

#include "host/net/http_message.h"

namespace host {

// Everything throws ApiError with one sentence for what is wrong.
class Query {
  public:
    // Fields with other names than these are refused.
    Query(const HttpRequest& request, std::initializer_list<const char*> known);

    std::optional<std::string> find(const std::string& name) const;
    std::string needed(const std::string& name) const;
    // One of these words, the first where nothing is given.
    std::string word(const std::string& name, std::initializer_list<const char*> known) const;
    std::optional<std::int64_t> whole(const std::string& name, std::int64_t least,
                                      std::int64_t most) const;

  private:
    std::map<std::string, std::string> fields_;
};

}  // namespace host
