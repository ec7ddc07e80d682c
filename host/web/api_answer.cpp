// JSON and percent signs.
#include "host/web/api_answer.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/base/text.h"

namespace host {
namespace {

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool is_text(const std::string& bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        const auto character = next_character(bytes, at);
        if (!character || *character < U' ' || *character == 0x7f) return false;
    }
    return true;
}

std::string field_text(std::string_view text) {
    const auto decoded = percent_decoded(text);
    if (!decoded) throw ApiError(kBadRequest, "A part of the query is not well formed.");
    return *decoded;
}

}  // namespace

HttpResponse json_answer(const nlohmann::ordered_json& json, int status) {
    HttpResponse response;
    response.status = status;
    response.type = kJsonType;
    response.body = json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    return response;
}

std::string as_sentence(std::string text) {
    if (text.empty()) return text;
    if (text.front() >= 'a' && text.front() <= 'z')
        text.front() = static_cast<char>(text.front() - 'a' + 'A');
    if (text.back() != '.') text += '.';
    return text;
}

HttpResponse error_answer(int status, const std::string& sentence) {
    return json_answer({{"error", as_sentence(sentence)}}, status);
}

std::optional<std::string> percent_decoded(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        if (i + 2 >= text.size()) return std::nullopt;
        const int high = hex_value(text[i + 1]);
        const int low = hex_value(text[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        decoded += static_cast<char>(high * 16 + low);
        i += 2;
    }
    if (!is_text(decoded)) return std::nullopt;
    return decoded;
}

std::map<std::string, std::string> query_fields(const std::string& query) {
    std::map<std::string, std::string> fields;
    std::string_view rest = query;
    while (!rest.empty()) {
        const std::string_view field = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(rest.size(), field.size() + 1));
        const std::size_t equals = field.find('=');
        const std::string name = field_text(field.substr(0, equals));
        const std::string value =
            equals == std::string_view::npos ? std::string() : field_text(field.substr(equals + 1));
        if (!fields.emplace(name, value).second)
            throw ApiError(kBadRequest, "\"" + name + "\" is given twice.");
    }
    return fields;
}

nlohmann::ordered_json json_body(const HttpRequest& request) {
    auto json = nlohmann::ordered_json::parse(request.body, nullptr, false);
    if (!json.is_object()) throw ApiError(kBadRequest, "The body is not a JSON object.");
    return json;
}

}  // namespace host
