// Answers in JSON, and the parts of a request that handlers look at.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "host/net/http_message.h"

namespace host {

inline constexpr int kBadRequest = 400;
inline constexpr const char* kJsonType = "application/json";

// What is refused, in one sentence for whoever asked.
class ApiError : public std::runtime_error {
  public:
    ApiError(int status, const std::string& sentence)
        : std::runtime_error(sentence), status_(status) {}
    int status() const { return status_; }

  private:
    int status_;
};

HttpResponse json_answer(const nlohmann::ordered_json& json, int status = 200);
// Begins with a capital and ends with a full stop.
std::string as_sentence(std::string text);
// {"error": "One sentence."}
HttpResponse error_answer(int status, const std::string& sentence);

// "%20" is a space; nothing for what is not well formed, or no text in UTF-8 without
// control characters.
std::optional<std::string> percent_decoded(std::string_view text);
// The fields of "from=2026-03-29&by=hour". Throws ApiError when one comes twice or is not well
// formed.
std::map<std::string, std::string> query_fields(const std::string& query);
// The body. Throws ApiError when it is not a JSON object.
nlohmann::ordered_json json_body(const HttpRequest& request);

}  // namespace host
