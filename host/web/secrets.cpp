// Calls of libsodium.
#include "host/web/secrets.h"

#include <sodium.h>

#include <array>
#include <stdexcept>

namespace host {
namespace {

void begin() {
    if (sodium_init() < 0) throw std::runtime_error("the system has no random numbers");
}

}  // namespace

std::string password_hash(const std::string& password, const PasswordCost& cost) {
    begin();
    std::array<char, crypto_pwhash_STRBYTES> hash{};
    if (crypto_pwhash_str_alg(hash.data(), password.data(), password.size(), cost.passes,
                              cost.bytes, crypto_pwhash_ALG_ARGON2ID13) != 0)
        throw std::runtime_error("there is not enough memory to check a password");
    return hash.data();
}

bool is_password(const std::string& hash, const std::string& password) {
    begin();
    return crypto_pwhash_str_verify(hash.c_str(), password.data(), password.size()) == 0;
}

std::string new_secret() {
    begin();
    std::array<unsigned char, 32> bits{};
    randombytes_buf(bits.data(), bits.size());
    constexpr int kForm = sodium_base64_VARIANT_URLSAFE_NO_PADDING;
    std::array<char, sodium_base64_ENCODED_LEN(bits.size(), kForm)> text{};
    sodium_bin2base64(text.data(), text.size(), bits.data(), bits.size(), kForm);
    return text.data();
}

Blob secret_hash(const std::string& secret) {
    Blob hash(crypto_generichash_BYTES);
    crypto_generichash(hash.data(), hash.size(),
                       reinterpret_cast<const unsigned char*>(secret.data()), secret.size(),
                       nullptr, 0);
    return hash;
}

std::string new_one_time_password() {
    begin();
    // Without those that look alike: 0 and o, 1 and l, i and j.
    constexpr std::string_view kLetters = "23456789abcdefghkmnpqrstuvwxyz";
    constexpr std::size_t kGroups = 3;
    constexpr std::size_t kLettersOfGroup = 4;
    std::string password;
    for (std::size_t i = 0; i < kGroups * kLettersOfGroup; ++i) {
        if (i % kLettersOfGroup == 0 && i > 0) password += '-';
        password += kLetters[randombytes_uniform(static_cast<std::uint32_t>(kLetters.size()))];
    }
    return password;
}

int bucket_of(const std::string& text, const Blob& key) {
    if (key.size() != crypto_generichash_KEYBYTES)
        throw std::runtime_error("the key of login failures has a wrong size");
    std::array<unsigned char, crypto_generichash_BYTES_MIN> hash{};
    crypto_generichash(hash.data(), hash.size(),
                       reinterpret_cast<const unsigned char*>(text.data()), text.size(), key.data(),
                       key.size());
    return hash[0] * 256 + hash[1];
}

}  // namespace host
