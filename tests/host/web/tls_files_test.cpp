// Files that cannot be used together are told in a sentence.
#include "host/net/tls_files.h"

#include <gmock/gmock.h>

#include "host/base/input_error.h"
#include "host/service/service_check.h"
#include "host/settings/service_file.h"
#include "tests/host/web/certificates.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class TlsFiles : public test::Certificates {
  protected:
    static std::string error_of(const host::TlsFiles& files) {
        try {
            host::check_tls_files(files);
        } catch (const host::InputError& error) {
            return error.what();
        }
        return "";
    }
};

TEST_F(TlsFiles, ThatBelongTogetherAreUsed) {
    const host::TlsFiles own = make("own");
    EXPECT_EQ(error_of(own), "");
    // With those of whoever signed it behind, as programs that renew certificates write them.
    const host::TlsFiles other = make("other");
    openssl("x509 -in " + other.certificate + " >> " + own.certificate);
    EXPECT_EQ(error_of(own), "");
}

TEST_F(TlsFiles, ThatAreWrongAreToldInASentence) {
    const host::TlsFiles own = make("own");
    const host::TlsFiles other = make("other");
    EXPECT_THAT(error_of({path("none.pem"), own.key}),
                AllOf(StartsWith("cannot read \""), HasSubstr("none.pem\": ")));
    EXPECT_THAT(error_of({own.certificate, path("none.key")}), HasSubstr("none.key\": "));
    EXPECT_THAT(error_of({folder_.string(), own.key}), HasSubstr("it is a folder"));
    EXPECT_THAT(
        error_of({own.certificate, other.key}),
        AllOf(HasSubstr("other.key\" does not belong to the certificate"), HasSubstr("own.pem\"")));
    EXPECT_THAT(error_of({own.key, own.key}),
                HasSubstr("own.key\" holds no certificate in PEM form"));
    EXPECT_THAT(error_of({own.certificate, own.certificate}),
                HasSubstr("own.pem\" holds no key without a password in PEM form"));
    openssl("ec -in " + own.key + " -aes256 -passout pass:secret -out " + path("locked.key"));
    EXPECT_THAT(error_of({own.certificate, path("locked.key")}),
                HasSubstr("locked.key\" holds no key without a password"));
    write("empty.pem", "");
    EXPECT_THAT(error_of({path("empty.pem"), own.key}), HasSubstr("empty.pem\" holds no cert"));
}

TEST_F(TlsFiles, OfAPlaceLieBesideItsFile) {
    make("own");
    const std::string begin =
        "place = \"shop\"\n[[camera]]\nname = \"door\"\nscene = \"doorway\"\n[web]\n";
    const auto read = [&](const std::string& web) {
        return host::parse_service_file(begin + web, path("vca.toml"));
    };
    const auto error = [&](const std::string& web) -> std::string {
        try {
            host::check_service(read(web));
        } catch (const host::InputError& wrong) {
            return wrong.what();
        }
        return "";
    };
    const std::string both = "certificate = \"own.pem\"\nkey = \"own.key\"\n";
    EXPECT_EQ(error(both), "");
    EXPECT_EQ(read(both).web->tls, (host::TlsFiles{path("own.pem"), path("own.key")}));
    EXPECT_EQ(host::web_address(*read(both).web), "https://127.0.0.1:8080/");
    EXPECT_EQ(host::web_address(*read("").web), "http://127.0.0.1:8080/");
    EXPECT_THAT(error("key = \"own.key\"\n"),
                AllOf(HasSubstr("vca.toml\" line 5: [web] has only one of certificate and key")));
    EXPECT_THAT(error("certificate = \"gone.pem\"\nkey = \"own.key\"\n"),
                AllOf(HasSubstr("vca.toml\" line 5: [web]: cannot read"), HasSubstr("gone.pem")));
}

}  // namespace
