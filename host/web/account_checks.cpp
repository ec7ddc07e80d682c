// Sentences about names and passwords.
#include "host/web/account_checks.h"

#include "host/base/text.h"
#include "host/web/api_answer.h"

namespace host {
namespace {

bool is_plain(const std::string& text) {
    for (std::size_t at = 0; at < text.size();) {
        const auto character = next_character(text, at);
        if (!character || is_control(*character)) return false;
    }
    return true;
}

}  // namespace

int characters_of(const std::string& text) {
    int count = 0;
    for (std::size_t at = 0; at < text.size(); ++count)
        next_character(text, at);
    return count;
}

void check_account_name(const std::string& name, const std::string& what) {
    const int length = characters_of(name);
    if (length < 1 || length > kMostNameCharacters) {
        throw ApiError(kBadRequest, what + " must have 1 to " +
                                        std::to_string(kMostNameCharacters) + " characters.");
    }
    // Names are parts of addresses, in which these mean something else.
    if (name.front() == ' ' || name.back() == ' ' || name == "." || name == ".." || !is_plain(name))
        throw ApiError(kBadRequest, what + " cannot be written like this.");
}

void check_new_password(const std::string& password) {
    const int length = characters_of(password);
    if (length >= kLeastPasswordCharacters && length <= kMostPasswordCharacters) return;
    throw ApiError(kBadRequest, "A password must have " + std::to_string(kLeastPasswordCharacters) +
                                    " to " + std::to_string(kMostPasswordCharacters) +
                                    " characters.");
}

}  // namespace host
