// The page as a browser fetches it.
#include "host/web/page_files.h"

#include <fstream>

#include "host/base/input_error.h"
#include "tests/host/web/account_fixture.h"

namespace {

using host::HttpResponse;
using test::Headers;
using ::testing::AllOf;
using ::testing::HasSubstr;

class PageFiles : public test::AccountFolder {
  protected:
    PageFiles() {
        for (const char* name : {"index.html", "page.js", "page.css", "icon.svg", "licences.txt"})
            write(name, std::string("plain ") + name);
        write("page.js.gz", "packed page.js");
    }
    void write(const std::string& name, const std::string& text) {
        std::ofstream(path(name)) << text;
    }
    void serve() { host::add_page_routes(*router_, folder_.string()); }
    HttpResponse get(const std::string& where, const Headers& headers = {}) const {
        return ask("GET", where, headers);
    }
};

TEST_F(PageFiles, EverybodyGetsThePage) {
    serve();
    const HttpResponse page = get("/");
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.body, "plain index.html");
    EXPECT_EQ(page.type, "text/html; charset=utf-8");
    EXPECT_THAT(header(page, "Content-Security-Policy"),
                AllOf(HasSubstr("default-src 'self'"), HasSubstr("frame-ancestors 'none'")));
    EXPECT_EQ(header(page, "Referrer-Policy"), "same-origin");
    EXPECT_EQ(header(page, "Cache-Control"), "no-cache");
    EXPECT_EQ(get("/page.css").type, "text/css; charset=utf-8");
    EXPECT_EQ(get("/icon.svg").type, "image/svg+xml");
    EXPECT_EQ(get("/licences.txt").body, "plain licences.txt");
    // With a one-time password, too: the page asks for another one.
    const std::string once = *accounts_->first_password();
    EXPECT_EQ(get("/page.js", cookie(session("admin", once))).status, 200);
}

TEST_F(PageFiles, WhoeverTakesItGetsThePackedForm) {
    serve();
    for (const char* takes : {"gzip", "br, gzip", "gzip, deflate, br"}) {
        const HttpResponse packed = get("/page.js", {{"Accept-Encoding", takes}});
        EXPECT_EQ(packed.body, "packed page.js") << takes;
        EXPECT_EQ(header(packed, "Content-Encoding"), "gzip");
        EXPECT_EQ(header(packed, "Vary"), "Accept-Encoding");
    }
    for (const char* takes : {"", "br", "gzip;q=0", "x-gzip"}) {
        const HttpResponse plain = get("/page.js", {{"Accept-Encoding", takes}});
        EXPECT_EQ(plain.body, "plain page.js") << takes;
        EXPECT_EQ(header(plain, "Content-Encoding"), "");
    }
    EXPECT_EQ(get("/page.css", {{"Accept-Encoding", "gzip"}}).body, "plain page.css")
        << "has no packed form";
}

TEST_F(PageFiles, WhatIsKnownIsNotSentAgain) {
    serve();
    const std::string plain = header(get("/page.js"), "ETag");
    const std::string packed = header(get("/page.js", {{"Accept-Encoding", "gzip"}}), "ETag");
    EXPECT_NE(plain, packed);
    for (const std::string& known : {plain, "\"x\", " + plain, "W/" + plain}) {
        const HttpResponse answer = get("/page.js", {{"If-None-Match", known}});
        EXPECT_EQ(answer.status, 304) << known;
        EXPECT_EQ(answer.body, "");
        EXPECT_EQ(header(answer, "ETag"), plain);
    }
    EXPECT_EQ(get("/page.js", {{"If-None-Match", packed}}).status, 200);
    // Another version of the page.
    write("page.js", "plain page.js of the next version");
    open();
    serve();
    EXPECT_EQ(get("/page.js", {{"If-None-Match", plain}}).status, 200);
}

TEST_F(PageFiles, NoPathReachesTheFileSystem) {
    write("secret.txt", "secret");
    serve();
    std::filesystem::remove(path("page.css"));
    EXPECT_EQ(get("/page.css").status, 200) << "it was read at the start";
    for (const char* wrong :
         {"/secret.txt", "/page.js.gz", "/../service.db", "/..%2fservice.db", "/./page.js",
          "//page.js", "/page.js/", "/page.js%00", "/%2e%2e/%2e%2e/etc/passwd", "/service.db",
          "/index.html/../service.db", "", "page.js", "*"})
        EXPECT_EQ(get(wrong).status, 404) << wrong;
    EXPECT_EQ(ask("POST", "/page.js").status, 405);
}

TEST_F(PageFiles, WithoutAPageThereIsASentence) {
    host::add_page_routes(*router_, "");
    EXPECT_EQ(get("/").status, 404);
    EXPECT_THAT(get("/").body, HasSubstr("cmake -DVCA_BUILD_PAGE=ON"));
}

TEST_F(PageFiles, HalfAPageIsNone) {
    std::filesystem::remove(path("page.js"));
    EXPECT_THROW(serve(), host::InputError);
}

}  // namespace
