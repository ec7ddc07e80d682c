// By libavutil, which is linked for recordings anyway.
#include "host/media/digest.h"

#include <array>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <vector>

extern "C" {
#include <libavutil/base64.h>
#include <libavutil/mem.h>
#include <libavutil/sha.h>
}

#include "host/base/input_error.h"
#include "host/base/readable_file.h"

namespace host {
namespace {

constexpr int kBits = 256;

class Sha256 {
  public:
    Sha256() : state_(av_sha_alloc()) {
        if (state_ == nullptr) throw std::bad_alloc();
        av_sha_init(state_.get(), kBits);
    }

    void add(const char* bytes, std::size_t count) {
        av_sha_update(state_.get(), reinterpret_cast<const std::uint8_t*>(bytes), count);
    }

    std::string text() {
        std::array<std::uint8_t, kBits / 8> digest{};
        av_sha_final(state_.get(), digest.data());
        std::string hex;
        for (const unsigned byte : digest) {
            hex += "0123456789abcdef"[byte >> 4];
            hex += "0123456789abcdef"[byte & 15];
        }
        return hex;
    }

  private:
    struct Free {
        void operator()(AVSHA* state) const { av_free(state); }
    };
    std::unique_ptr<AVSHA, Free> state_;
};

}  // namespace

std::string sha256_of_file(const std::string& path) {
    if (const std::string why = why_unreadable(path); !why.empty())
        throw InputError("cannot read \"" + path + "\": " + why);
    std::ifstream in(path, std::ios::binary);
    std::vector<char> buffer(1 << 16);
    Sha256 sha;
    while (in) {
        in.read(buffer.data(), std::ssize(buffer));
        sha.add(buffer.data(), static_cast<std::size_t>(in.gcount()));
    }
    if (in.bad()) throw InputError("cannot read all of \"" + path + "\"");
    return sha.text();
}

std::string sha256_of_text(const std::string& text) {
    Sha256 sha;
    sha.add(text.data(), text.size());
    return sha.text();
}

std::string base64_text(std::span<const std::uint8_t> bytes) {
    std::string text(AV_BASE64_SIZE(bytes.size()), '\0');
    if (av_base64_encode(text.data(), static_cast<int>(text.size()), bytes.data(),
                         static_cast<int>(bytes.size())) == nullptr)
        throw std::runtime_error("a picture is too large to be written as text");
    text.resize(text.find('\0'));
    return text;
}

}  // namespace host
