// Certificates of a folder of their own.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "host/net/tls_files.h"
#include "tests/support/certificate.h"
#include "tests/support/unique_path.h"

namespace test {

class Certificates : public ::testing::Test {
  public:
    Certificates() { std::filesystem::create_directories(folder_); }
    ~Certificates() override { std::filesystem::remove_all(folder_); }
    Certificates(const Certificates&) = delete;
    Certificates& operator=(const Certificates&) = delete;

  protected:
    std::string path(const std::string& name) const { return (folder_ / name).string(); }

    void openssl(const std::string& words) const {
        const std::string command = std::string(VCA_OPENSSL) + " " + words + " 2> " + path("log");
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }
    // NAME.pem and NAME.key, for the machine itself.
    host::TlsFiles make(const std::string& name) const {
        make_certificate(folder_, name);
        return {path(name + ".pem"), path(name + ".key")};
    }
    void write(const std::string& name, const std::string& text) const {
        std::ofstream(folder_ / name) << text;
    }

    const std::filesystem::path folder_ = unique_path("vca-certificates");
};

}  // namespace test
