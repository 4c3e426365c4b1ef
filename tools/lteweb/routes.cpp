#include "lteweb/routes.h"

#include "common/slice.h"

#include <cstring>

namespace lterouter::tools {
namespace {

constexpr char kGet[] = "GET";
constexpr char kPost[] = "POST";
constexpr char kStatusPath[] = "/api/status";

constexpr uint64_t kMebibyte = 1024 * 1024;

constexpr size_t kShort = 16; // numbers, switches, names of levels
constexpr size_t kPinLength = 16;
constexpr size_t kName = 128;
constexpr size_t kLongestTyped = 256; // no libc hashes a longer password
constexpr size_t kLong = 2048;

constexpr Route page_file(const char *path)
{
    return {.method = kGet, .path = path, .work = Work::kFile};
}

constexpr Route reading(const char *path, const char *word, const char *second = nullptr,
                        const char *third = nullptr, Access access = Access::kOpen)
{
    return {.method = kGet,
            .path = path,
            .work = Work::kCommand,
            .access = access,
            .words = {word, second, third}};
}

constexpr Route changing(const char *path, const char *word, const char *second = nullptr,
                         Field first = {}, Field next = {}, Field last = {})
{
    return {.method = kPost,
            .path = path,
            .work = Work::kCommand,
            .access = Access::kChanger,
            .words = {word, second},
            .fields = {first, next, last},
            .body = BodyKind::kObject};
}

constexpr Route kRoutes[] = {
    page_file("/"),
    page_file("/lteweb.css"),
    page_file("/lteweb.js"),
    {.method = kGet, .path = "/api/session", .work = Work::kSession},
    {.method = kPost,
     .path = "/api/login",
     .work = Work::kLogin,
     .fields = {{"password", kLongestTyped}},
     .body = BodyKind::kObject},
    {.method = kPost,
     .path = "/api/logout",
     .work = Work::kLogout,
     .access = Access::kChanger,
     .body = BodyKind::kObject},
    {.method = kGet, .path = "/api/history", .work = Work::kHistory},
    {.method = kGet, .path = "/api/events", .work = Work::kEvents},
    {.method = kGet, .path = "/api/jobs", .work = Work::kJobs},
    reading(kStatusPath, "status"),
    reading("/api/channel", "channel"),
    reading("/api/bus", "bus", "list", "--verbose"),
    reading("/api/log", "log"),
    reading("/api/imsi", "imsi", nullptr, nullptr, Access::kReader),
    reading("/api/nv", "nv", "list", nullptr, Access::kReader),
    reading("/api/nv/diff", "nv", "diff", nullptr, Access::kReader),
    reading("/api/trace", "trace", nullptr, nullptr, Access::kReader),
    changing("/api/connect", "connect"),
    changing("/api/disconnect", "disconnect"),
    changing("/api/roam", "roam", nullptr, {"value", kShort}),
    changing("/api/nettype", "nettype", nullptr, {"value", kShort}),
    changing("/api/pref", "pref", nullptr, {"value", kShort}),
    changing("/api/pin/enable", "pin", "enable", {"pin", kPinLength, Passing::kStandardInput}),
    changing("/api/pin/disable", "pin", "disable", {"pin", kPinLength, Passing::kStandardInput}),
    changing("/api/pin/change", "pin", "change", {"old", kPinLength, Passing::kStandardInput},
             {"new", kPinLength, Passing::kStandardInput}),
    changing("/api/at", "at", nullptr, {"command", kLong, Passing::kStandardInput}),
    changing("/api/nv/set", "nv", "set", {"name", kName}, {"value", kLong, Passing::kStandardInput}),
    changing("/api/log", "log", nullptr, {"module", kName, Passing::kOptional},
             {"level", kShort, Passing::kOptional}, {"value", kShort}),
    {.method = kPost,
     .path = "/api/nv/export",
     .work = Work::kExport,
     .access = Access::kChanger,
     .words = {"nv", "export", "-"},
     .body = BodyKind::kObject},
    {.method = kPost,
     .path = "/api/nv/import",
     .work = Work::kImport,
     .access = Access::kChanger,
     .words = {"nv", "import", "-"},
     .body = BodyKind::kBytes,
     .may_be_dry = true},
    {.method = kPost,
     .path = "/api/nv/reset",
     .work = Work::kCommand,
     .access = Access::kChanger,
     .words = {"nv", "reset"},
     .body = BodyKind::kObject,
     .may_be_dry = true},
    {.method = kPost,
     .path = "/api/scan",
     .work = Work::kScan,
     .access = Access::kChanger,
     .words = {"scan"},
     .body = BodyKind::kObject},
    // The image is its standard input, a file without a name.
    {.method = kPost,
     .path = "/api/upgrade",
     .work = Work::kUpgrade,
     .access = Access::kChanger,
     .words = {"upgrade", "/dev/stdin"},
     .body = BodyKind::kBytes},
};

bool takes(const Route &route, const char *method)
{
    return strcmp(route.method, method) == 0 ||
           (strcmp(method, "HEAD") == 0 && is_reading(route) && route.work != Work::kEvents);
}

// By what takes it: POST 1, GET 2, HEAD 4.
constexpr const char *kAllowed[] = {"", "POST", "GET",       "GET, POST",
                                    "", "",     "GET, HEAD", "GET, HEAD, POST"};

uint64_t longest_body(const Route &route, const Settings &settings)
{
    if (route.work == Work::kUpgrade) {
        return settings.image_limit_mib * kMebibyte;
    }
    return route.body == BodyKind::kBytes ? kLongestImport : kLongestBody;
}

// "application/json; charset=utf-8" is one, too.
bool is_type(const char *header, std::string_view wanted)
{
    std::string_view type = header != nullptr ? header : "";
    return take_start(&type, wanted) && (type.empty() || type[0] == ';' || type[0] == ' ');
}

bool parse_length(const char *text, uint64_t *length)
{
    const size_t digits = strspn(text, "0123456789");
    if (digits == 0 || digits > 18 || text[digits] != '\0') {
        return false;
    }
    *length = strtoull(text, nullptr, 10);
    return true;
}

bool is_line(const JsonField &field) { return memchr(field.value, '\n', field.length) == nullptr; }

Refusal add_field(const Field &wanted, const JsonField &given, CommandLine *line)
{
    constexpr size_t kLongestInput = 2 * kLong;
    if (given.length > wanted.longest) {
        return {kBadRequest, "a value is too long"};
    }
    if (wanted.passing == Passing::kStandardInput) {
        if (!is_line(given)) {
            return {kBadRequest, "a value has more than one line"};
        }
        line->add("-");
        if (!line->input.add({given.value, given.length}, kLongestInput) ||
            !line->input.add("\n", kLongestInput)) {
            return {kUnavailable, "out of memory"};
        }
    } else if (wanted.passing == Passing::kArgument || given.length != 0) {
        line->add(given.value);
    }
    return {};
}

} // namespace

bool is_reading(const Route &route) { return strcmp(route.method, kGet) == 0; }

const Route *find_route(const Head &head, Refusal *refusal)
{
    *refusal = {kNotFound, "there is no such page"};
    for (const Route &route : kRoutes) {
        if (strcmp(route.path, head.path) != 0) {
            continue;
        }
        if (!takes(route, head.method)) {
            *refusal = {kMethodNotAllowed, "this page is not asked in that way"};
        } else if (head.dry_run && !route.may_be_dry) {
            *refusal = {kBadRequest, "malformed request"};
            return nullptr;
        } else {
            *refusal = {};
            return &route;
        }
    }
    return nullptr;
}

const char *allowed_methods(const char *path)
{
    size_t methods = 0;
    for (const Route &route : kRoutes) {
        if (strcmp(route.path, path) == 0) {
            methods |= takes(route, kPost) ? 1U : 0U;
            methods |= takes(route, kGet) ? 2U : 0U;
            methods |= takes(route, "HEAD") ? 4U : 0U;
        }
    }
    return kAllowed[methods];
}

Refusal judge_body(const Route &route, const Head &head, const Settings &settings, uint64_t *length)
{
    *length = 0;
    if (route.body == BodyKind::kNone) {
        const bool has_body = head.transfer_encoding != nullptr ||
                              (head.content_length != nullptr && strcmp(head.content_length, "0") != 0);
        return has_body ? Refusal{kBadRequest, "this request has no body"} : Refusal{};
    }
    if (head.transfer_encoding != nullptr || head.content_length == nullptr) {
        return {kLengthRequired, "the length of the body is missing"};
    }
    if (!parse_length(head.content_length, length)) {
        return {kBadRequest, "malformed request"};
    }
    if (*length > longest_body(route, settings)) {
        return {kTooLarge, "the body is too large"};
    }
    const bool right = route.body == BodyKind::kObject
                           ? is_type(head.content_type, "application/json")
                           : is_type(head.content_type, "application/octet-stream");
    return right ? Refusal{} : Refusal{kUnsupportedType, "the body has the wrong type"};
}

void begin_command(const Route &route, const Settings &settings, CommandLine *line)
{
    line->add("ltectl");
    line->add("--json");
    for (const char *word : route.words) {
        if (word != nullptr) {
            line->add(word);
        }
    }
    if (strcmp(route.path, kStatusPath) == 0) {
        line->add("--interface");
        line->add(settings.interface_name);
    }
}

Refusal add_fields(const Route &route, const JsonFields &fields, CommandLine *line)
{
    line->add("--"); // a text that begins with "-" is no option
    size_t expected = 0;
    for (; expected < kMaxFields && route.fields[expected].name != nullptr; ++expected) {
        const Field &wanted = route.fields[expected];
        const JsonField *const given = fields.find(wanted.name);
        if (given == nullptr) {
            return {kBadRequest, "a value is missing"};
        }
        if (const Refusal refusal = add_field(wanted, *given, line); refusal) {
            return refusal;
        }
    }
    return fields.count == expected ? Refusal{} : Refusal{kBadRequest, "a value too many"};
}

} // namespace lterouter::tools
