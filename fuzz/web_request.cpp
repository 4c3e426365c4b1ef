// What lteweb makes of a request before it starts anything: who may ask, the row of the table, the
// body, and the command line for ltectl. Input: lines for the parts of the head, and the body behind
// them.
#include "common/utf8.h"
#include "lteweb/guard.h"
#include "lteweb/http.h"
#include "lteweb/json_fields.h"
#include "lteweb/routes.h"
#include "lteweb/session.h"
#include "support.h"

#include <string>
#include <strings.h>
#include <vector>

using namespace lterouter::tools;
using fuzzing::Copy;
using fuzzing::Input;
using fuzzing::require;
using fuzzing::take_first_line;
using fuzzing::text_copy_of;

namespace {

const Settings &settings()
{
    static const Settings known = [] {
        Settings made = {};
        kListen.parse("192.168.1.1:80", &made.listen);
        kHost.parse("router.example", &made.hosts);
        strcpy(made.interface_name, "wwan0");
        made.image_limit_mib = 1;
        return made;
    }();
    return known;
}

// A head whose texts have copies of their own; an empty line is a header that is not there.
struct OwnHead {
    explicit OwnHead(std::string_view *input)
    {
        const char **const places[] = {&head.method,
                                       &head.path,
                                       &head.host,
                                       &head.origin,
                                       &head.site,
                                       &head.content_type,
                                       &head.content_length,
                                       &head.transfer_encoding,
                                       &head.cookie,
                                       &head.token,
                                       &head.mode};
        for (const char **place : places) {
            const std::string line = take_first_line(input);
            if (!line.empty()) {
                copies.push_back(text_copy_of(line));
                *place = copies.back().get();
            }
        }
    }

    Head head;
    std::vector<Copy> copies;
};

void check_origin(const Head &head)
{
    const Refusal refusal = judge_origin(head, settings().listen, settings().hosts);
    if (refusal) {
        require(refusal.status >= 400, "a refusal has the status of one");
        return;
    }
    require(head.host != nullptr, "nobody asks without a host");
    const std::string host = head.host;
    const std::string name = host.substr(0, host.find(':'));
    bool known = false;
    for (const char *own : {"192.168.1.1", "router.example", "localhost"}) {
        known = known || strcasecmp(name.c_str(), own) == 0;
    }
    require(known, "only the names of this server lead to it");
    if (head.origin != nullptr) {
        const std::string origin = head.origin;
        require(strcasecmp(origin.substr(origin.find("://") + 3).c_str(), host.c_str()) == 0,
                "a page that asks is this server's");
    }
    const std::string site = head.site != nullptr ? head.site : "none";
    if (site != "none" && site != "same-origin") {
        require(std::string(head.method) + head.path == "GET/" && head.mode != nullptr &&
                    std::string(head.mode) == "navigate",
                "another site has but a link to the page");
    }
}

void check_cookie(const Head &head)
{
    const std::string cookies = head.cookie != nullptr ? head.cookie : "";
    const std::string value(cookie_value(head.cookie, kCookieName));
    require(value.empty() || cookies.find("lteweb=" + value) != std::string::npos, "a cookie has come");
    require(value.find(';') == std::string::npos, "a cookie is one");
    Sessions sessions;
    require(sessions.find(value, 1) == nullptr, "who has not logged in has no session");
}

bool is_text(std::string_view text)
{
    while (!text.empty()) {
        if (take_character(&text).kind == CharacterKind::kInvalid) {
            return false;
        }
    }
    return true;
}

void check_fields(const JsonFields &fields)
{
    for (size_t i = 0; i < fields.count; ++i) {
        const JsonField &field = fields.fields[i];
        require(strlen(field.value) == field.length, "a value has no NUL");
        require(is_text({field.value, field.length}) && is_text(field.name),
                "names and values are UTF-8");
        require(fields.find(field.name) == &field, "a name comes once");
    }
}

void check_line(const Route &route, const CommandLine &line)
{
    require(line.count < kMaxArguments, "there is room for the end of the arguments");
    size_t words = 2;
    for (const char *word : route.words) {
        words += word != nullptr ? 1 : 0;
    }
    words += strcmp(route.words[0], "status") == 0 ? 2 : 0;
    require(strcmp(line.arguments[words], "--") == 0,
            "what comes from outside stands behind the options");
    require(line.count <= words + 1 + kMaxFields, "there are no more operands than fields");
    for (size_t i = words + 1; i < line.count; ++i) {
        require(strlen(line.arguments[i]) <= kLongestBody, "an operand is bounded");
    }
    size_t lines = 0;
    for (const char ch : line.input.view()) {
        lines += ch == '\n' ? 1 : 0;
    }
    require(lines <= kMaxFields, "a secret is one line");
}

void check_body(const Route &route, std::string_view bytes)
{
    Bytes body;
    require(body.add(bytes, bytes.size()), "there is memory");
    JsonFields fields;
    if (!parse_fields(body.data(), body.size(), &fields)) {
        return;
    }
    check_fields(fields);
    if (route.body != BodyKind::kObject || route.words[0] == nullptr) {
        return;
    }
    CommandLine line;
    begin_command(route, settings(), &line);
    if (!add_fields(route, fields, &line)) {
        check_line(route, line);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const Input input(data, size);
    std::string_view rest = input.rest;
    OwnHead own(&rest);
    own.head.dry_run = input.chooses(0);
    check_origin(own.head);
    check_cookie(own.head);
    Refusal refusal;
    const Route *const route = find_route(own.head, &refusal);
    require((route == nullptr) == static_cast<bool>(refusal), "there is a row, or a reason why not");
    if (route == nullptr) {
        return 0;
    }
    uint64_t length;
    if (!judge_body(*route, own.head, settings(), &length)) {
        require(length <= 1024 * 1024, "a body is bounded");
        require(route->body == BodyKind::kNone || own.head.content_type != nullptr,
                "a body has a type");
    }
    check_body(*route, rest);
    return 0;
}
