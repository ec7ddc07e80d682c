// Words and numbers of a query.
#include "host/web/query.h"

#include <algorithm>
#include <charconv>

#include "host/web/api_answer.h"

namespace host {
namespace {

std::string listed(std::initializer_list<const char*> words) {
    std::string text;
    for (const char* word : words)
        text += (text.empty() ? "" : ", ") + std::string(word);
    return text;
}

bool is_among(const std::string& word, std::initializer_list<const char*> known) {
    return std::find(known.begin(), known.end(), word) != known.end();
}

}  // namespace

Query::Query(const HttpRequest& request, std::initializer_list<const char*> known)
    : fields_(query_fields(request.query)) {
    for (const auto& [name, value] : fields_) {
        if (is_among(name, known)) continue;
        throw ApiError(kBadRequest, "there is no parameter \"" + name + "\"; " +
                                        (known.size() == 0 ? "none is known here"
                                                           : "known are " + listed(known)));
    }
}

std::optional<std::string> Query::find(const std::string& name) const {
    const auto found = fields_.find(name);
    if (found == fields_.end()) return std::nullopt;
    return found->second;
}

std::string Query::needed(const std::string& name) const {
    if (auto value = find(name)) return *value;
    throw ApiError(kBadRequest, "the parameter \"" + name + "\" is missing");
}

std::string Query::word(const std::string& name, std::initializer_list<const char*> known) const {
    std::string value = find(name).value_or(*known.begin());
    if (is_among(value, known)) return value;
    throw ApiError(kBadRequest,
                   "\"" + name + "\" is \"" + value + "\"; known are " + listed(known));
}

std::optional<std::int64_t> Query::whole(const std::string& name, std::int64_t least,
                                         std::int64_t most) const {
    const auto text = find(name);
    if (!text) return std::nullopt;
    std::int64_t value = 0;
    const char* const end = text->data() + text->size();
    const auto [stop, error] = std::from_chars(text->data(), end, value);
    if (error == std::errc{} && stop == end && value >= least && value <= most) return value;
    throw ApiError(kBadRequest, "\"" + name + "\" is \"" + *text +
                                    "\"; write a whole number from " + std::to_string(least) +
                                    " to " + std::to_string(most));
}

}  // namespace host
