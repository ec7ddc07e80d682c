// Passwords, and secrets that this program makes.
#pragma once

#include <cstddef>
#include <string>

#include "host/store/database.h"

namespace host {

// What one guess at a password costs whoever has stolen its hash (argon2id).
struct PasswordCost {
    unsigned long long passes = 2;
    std::size_t bytes = 64u << 20;
};

// With a salt, and with all that is_password needs to know. Throws std::runtime_error when there is
// not enough memory.
std::string password_hash(const std::string& password, const PasswordCost& cost);
// Takes as long for a wrong password as for the right one.
bool is_password(const std::string& hash, const std::string& password);

// 256 random bits as 43 letters, digits, - and _.
std::string new_secret();
// Of a secret with that many bits, so that it needs neither salt nor cost: 32 bytes.
Blob secret_hash(const std::string& secret);
// 58 random bits in a form for people to type: "k7mq-2xhd-9fwt".
std::string new_one_time_password();

// 16 bits of a keyed hash. Throws std::runtime_error when the key has not 32 bytes.
int bucket_of(const std::string& text, const Blob& key);

}  // namespace host
