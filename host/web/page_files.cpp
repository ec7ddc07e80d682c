// Files in memory, as they are and compressed.
#include "host/web/page_files.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string_view>

#include "host/base/readable_file.h"
#include "host/web/secrets.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDocument = "index.html";
constexpr const char* kPackedEnd = ".gz";
constexpr const char* kKind = "file of the page";
constexpr const char* kRemedy = "build the page again";

struct PageName {
    const char* path;
    const char* file;
    const char* type;
};
constexpr std::array kNames{
    PageName{"/", kDocument, "text/html; charset=utf-8"},
    PageName{"/page.js", "page.js", "text/javascript; charset=utf-8"},
    PageName{"/page.css", "page.css", "text/css; charset=utf-8"},
    PageName{"/icon.svg", "icon.svg", "image/svg+xml"},
    PageName{"/licences.txt", "licences.txt", "text/plain; charset=utf-8"},
};

// One way to send a file.
struct Form {
    std::string body;
    std::string tag;  // the same for the same bytes only
};

struct PageFile {
    std::string type;
    Form plain;
    Form packed;  // no body: there is none
};

Form read_form(const fs::path& path) {
    Form form;
    form.body = read_text_file(path.string(), kKind, kRemedy);
    const Blob hash = secret_hash(form.body);
    std::uint64_t bits = 0;
    std::memcpy(&bits, hash.data(), sizeof bits);
    form.tag = '"' + std::to_string(bits) + '"';
    return form;
}

std::string_view trimmed(std::string_view text) {
    while (text.starts_with(' '))
        text.remove_prefix(1);
    while (text.ends_with(' '))
        text.remove_suffix(1);
    return text;
}

// One of the items between commas.
template <typename Wanted>
bool has_item(std::string_view list, const Wanted& wanted) {
    while (!list.empty()) {
        const std::size_t end = list.find(',');
        if (wanted(trimmed(list.substr(0, end)))) return true;
        list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
    }
    return false;
}

// A browser that ranks what it takes ("gzip;q=0.5") gets the plain file, which is never wrong.
bool takes_packed(const HttpRequest& request) {
    return has_item(request.header("Accept-Encoding"),
                    [](std::string_view item) { return item == "gzip"; });
}

bool has_it(const HttpRequest& request, const std::string& tag) {
    return has_item(request.header("If-None-Match"), [&](std::string_view item) {
        if (item.starts_with("W/")) item.remove_prefix(2);  // a proxy's, which packed it
        return item == tag || item == "*";
    });
}

// Names of files stay over versions, so that each visit asks whether they have changed.
HttpResponse send(const PageFile& file, const HttpRequest& request) {
    constexpr int kNotModified = 304;
    const bool packed = !file.packed.body.empty() && takes_packed(request);
    const Form& form = packed ? file.packed : file.plain;
    HttpResponse response;
    response.type = file.type;
    response.headers = {
        {"ETag", form.tag},
        {"Cache-Control", "no-cache"},
        {"Vary", "Accept-Encoding"},
        {"Content-Security-Policy",
         "default-src 'self'; frame-ancestors 'none'; base-uri 'none'; form-action 'self'"},
        // Without its own address a page could not show that a write comes from it.
        {"Referrer-Policy", "same-origin"},
    };
    if (has_it(request, form.tag)) {
        response.status = kNotModified;
        return response;
    }
    if (packed) response.headers.emplace_back("Content-Encoding", "gzip");
    response.body = form.body;
    return response;
}

HttpResponse without_page() {
    HttpResponse response;
    response.status = 404;
    response.body =
        "This program was built without its page; build it with cmake -DVCA_BUILD_PAGE=ON, which "
        "needs node and npm.\n";
    return response;
}

}  // namespace

std::string page_folder() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error).parent_path();
    for (const char* const folder : {"../share/vca/page", "../page/dist"}) {
        const fs::path page = (program / folder).lexically_normal();
        if (fs::exists(page / kDocument, error)) return page.string();
    }
    return {};
}

void add_page_routes(Router& router, const std::string& folder) {
    if (folder.empty()) {
        router.add("GET", "/", Role::kNobody, [](const ApiCall&) { return without_page(); });
        return;
    }
    for (const PageName& name : kNames) {
        const auto file = std::make_shared<PageFile>();
        const fs::path path = fs::path(folder) / name.file;
        file->type = name.type;
        file->plain = read_form(path);
        const std::string packed = path.string() + kPackedEnd;
        if (fs::exists(packed)) file->packed = read_form(packed);
        router.add("GET", name.path, Role::kNobody,
                   [file](const ApiCall& call) { return send(*file, call.request); });
    }
}

}  // namespace host
