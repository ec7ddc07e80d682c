// A certificate made by the command openssl, signed by itself.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace test {

// NAME.pem and NAME.key in the folder, for the machine itself or for other names.
inline void make_certificate(const std::filesystem::path& folder, const std::string& name,
                             const std::string& names = "DNS:localhost,IP:127.0.0.1") {
    const std::string base = (folder / name).string();
    const std::string command =
        "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -noenc -days 2 -subj /CN=" +
        name + " -addext subjectAltName=" + names + " -keyout '" + base + ".key' -out '" + base +
        ".pem' >/dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

}  // namespace test
