// Paths with names in them, roles, and what becomes of what handlers throw.
#include "host/web/router.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "host/base/input_error.h"
#include "host/web/api_answer.h"

namespace {

using host::ApiCall;
using host::ApiError;
using host::HttpResponse;
using host::Role;
using ::testing::ElementsAre;
using ::testing::Pair;

class RouterTest : public ::testing::Test {
  protected:
    RouterTest() {
        router_.add("GET", "/cameras/{camera}/heat", Role::kViewer, [](const ApiCall& call) {
            return host::json_answer({{"camera", call.names.at("camera")}});
        });
        router_.add("PUT", "/cameras/{camera}/heat", Role::kOperator,
                    [](const ApiCall&) -> HttpResponse { throw ApiError(409, "changed"); });
        router_.add("GET", "/wrong", Role::kNobody,
                    [](const ApiCall&) -> HttpResponse { throw host::InputError("no day"); });
    }
    HttpResponse ask(const std::string& method, const std::string& path) const {
        host::HttpRequest request;
        request.method = method;
        request.path = path;
        return router_.answer(request);
    }
    static std::string error_of(const HttpResponse& response) {
        return nlohmann::json::parse(response.body).at("error");
    }

    Role role_ = Role::kAdmin;
    host::Router router_{[this](const host::HttpRequest&) { return host::Caller{role_, "anna"}; }};
};

TEST_F(RouterTest, NamesInThePathAreDecoded) {
    EXPECT_EQ(ask("GET", "/cameras/Back%20door/heat").body, R"({"camera":"Back door"})");
    EXPECT_EQ(ask("GET", "/cameras/caf%C3%A9/heat").status, 200);
    for (const char* wrong :
         {"/cameras//heat", "/cameras/%/heat", "/cameras/%2/heat", "/cameras/%zz/heat",
          "/cameras/%00/heat", "/cameras/%ff/heat", "/cameras/a/b/heat", "/cameras/a/heat/"})
        EXPECT_EQ(ask("GET", wrong).status, 404) << wrong;
}

TEST_F(RouterTest, ARoleSuffices) {
    role_ = Role::kNobody;
    EXPECT_EQ(ask("GET", "/cameras/a/heat").status, 401);
    role_ = Role::kViewer;
    EXPECT_EQ(ask("GET", "/cameras/a/heat").status, 200);
    EXPECT_EQ(ask("PUT", "/cameras/a/heat").status, 403);
}

TEST_F(RouterTest, WhatIsThrownIsOneSentence) {
    const HttpResponse conflict = ask("PUT", "/cameras/a/heat");
    EXPECT_EQ(conflict.status, 409);
    EXPECT_EQ(error_of(conflict), "Changed.");
    EXPECT_EQ(ask("GET", "/wrong").status, 400);
    EXPECT_EQ(error_of(ask("GET", "/wrong")), "No day.");
}

TEST_F(RouterTest, OtherPathsAndMethodsAreRefused) {
    EXPECT_EQ(ask("GET", "/").status, 404);
    const HttpResponse refused = ask("POST", "/cameras/a/heat");
    EXPECT_EQ(refused.status, 405);
    EXPECT_THAT(refused.headers, ElementsAre(Pair("Allow", "GET, PUT")));
}

TEST(ApiAnswer, FieldsOfAQuery) {
    EXPECT_THAT(host::query_fields("from=2026-03-29&name=a%26b&open"),
                ElementsAre(Pair("from", "2026-03-29"), Pair("name", "a&b"), Pair("open", "")));
    EXPECT_TRUE(host::query_fields("").empty());
    EXPECT_THROW(host::query_fields("a=1&a=2"), ApiError);
    EXPECT_THROW(host::query_fields("a=%f"), ApiError);
}

TEST(ApiAnswer, ABodyIsAnObject) {
    host::HttpRequest request;
    for (const char* wrong : {"", "[]", "{", "1", "{}x"}) {
        request.body = wrong;
        EXPECT_THROW(host::json_body(request), ApiError) << wrong;
    }
    request.body = R"({"name":"anna"})";
    EXPECT_EQ(host::json_body(request)["name"], "anna");
}

TEST(ApiAnswer, BytesThatAreNoTextAreReplaced) {
    EXPECT_EQ(host::error_answer(400, "a\xff").body, "{\"error\":\"A\xEF\xBF\xBD.\"}");
}

}  // namespace
