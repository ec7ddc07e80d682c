// What names and passwords of users must be like.
#pragma once

#include <string>

namespace host {

inline constexpr int kMostNameCharacters = 60;
inline constexpr int kLeastPasswordCharacters = 10;
inline constexpr int kMostPasswordCharacters = 200;

// Throw ApiError. `what` begins the sentence: "The user's name".
void check_account_name(const std::string& name, const std::string& what);
void check_new_password(const std::string& password);

// Characters of UTF-8 text.
int characters_of(const std::string& text);

}  // namespace host
