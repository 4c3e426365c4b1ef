#include "lteweb/json_fields.h"

#include "common/utf8.h"

#include <cstdint>
#include <cstring>

namespace lterouter::tools {
namespace {

constexpr uint32_t kNoCode = UINT32_MAX;

struct Escape {
    char letter;
    char character;
};
constexpr Escape kEscapes[] = {{'"', '"'},  {'\\', '\\'}, {'/', '/'},  {'b', '\b'},
                               {'f', '\f'}, {'n', '\n'},  {'r', '\r'}, {'t', '\t'}};

bool is_valid(std::string_view text)
{
    while (!text.empty()) {
        if (take_character(&text).kind == CharacterKind::kInvalid) {
            return false;
        }
    }
    return true;
}

bool is_blank(char ch) { return ch == ' ' || ch == '\t' || ch == '\r' || ch == '\n'; }

uint32_t digit_value(char ch)
{
    if (ch >= '0' && ch <= '9') {
        return static_cast<uint32_t>(ch - '0');
    }
    const char lower = static_cast<char>(ch | 0x20);
    return lower >= 'a' && lower <= 'f' ? static_cast<uint32_t>(lower - 'a') + 10 : kNoCode;
}

bool is_between(uint32_t code, uint32_t first, uint32_t last) { return code >= first && code <= last; }

class Parser {
public:
    Parser(char *text, size_t length) : next_(text), end_(text + length) {}

    bool object(JsonFields *fields)
    {
        skip_blanks();
        if (next_ == end_) {
            return true;
        }
        if (!take('{')) {
            return false;
        }
        if (!take('}')) {
            do {
                if (!field(fields)) {
                    return false;
                }
            } while (take(','));
            if (!take('}')) {
                return false;
            }
        }
        return next_ == end_;
    }

private:
    void skip_blanks()
    {
        while (next_ != end_ && is_blank(*next_)) {
            ++next_;
        }
    }
    // A sign and the blanks behind it.
    bool take(char sign)
    {
        if (next_ == end_ || *next_ != sign) {
            return false;
        }
        ++next_;
        skip_blanks();
        return true;
    }
    bool field(JsonFields *fields)
    {
        std::string_view name;
        std::string_view value;
        if (fields->count == kMaxFields || !string(&name) || !take(':') || !string(&value) ||
            fields->find(name) != nullptr) {
            return false;
        }
        fields->fields[fields->count++] = {name, value.data(), value.size()};
        return true;
    }
    // What is decoded is never longer than what it is decoded from, quotes included.
    bool string(std::string_view *decoded)
    {
        if (next_ == end_ || *next_ != '"') {
            return false;
        }
        char *const begin = next_;
        char *out = next_++;
        while (next_ != end_ && *next_ != '"') {
            if (!character(&out)) {
                return false;
            }
        }
        if (next_ == end_) {
            return false;
        }
        ++next_;
        *out = '\0';
        *decoded = {begin, static_cast<size_t>(out - begin)};
        skip_blanks();
        return is_valid(*decoded);
    }
    bool character(char **out)
    {
        const char ch = *next_++;
        if (static_cast<unsigned char>(ch) < ' ') {
            return false;
        }
        if (ch != '\\') {
            *(*out)++ = ch;
            return true;
        }
        return next_ != end_ && escape(*next_++, out);
    }
    bool escape(char letter, char **out)
    {
        if (letter == 'u') {
            return code_point(out);
        }
        for (const Escape &known : kEscapes) {
            if (known.letter == letter) {
                *(*out)++ = known.character;
                return true;
            }
        }
        return false;
    }
    uint32_t four_digits()
    {
        if (end_ - next_ < 4) {
            return kNoCode;
        }
        uint32_t code = 0;
        for (int i = 0; i < 4; ++i) {
            const uint32_t digit = digit_value(*next_++);
            if (digit == kNoCode) {
                return kNoCode;
            }
            code = code << 4 | digit;
        }
        return code;
    }
    // Of a pair of surrogates the second one follows.
    uint32_t pair(uint32_t first)
    {
        if (end_ - next_ < 2 || next_[0] != '\\' || next_[1] != 'u') {
            return kNoCode;
        }
        next_ += 2;
        const uint32_t second = four_digits();
        return is_between(second, 0xdc00, 0xdfff)
                   ? 0x10000 + ((first - 0xd800) << 10) + (second - 0xdc00)
                   : kNoCode;
    }
    bool code_point(char **out)
    {
        uint32_t code = four_digits();
        if (is_between(code, 0xd800, 0xdbff)) {
            code = pair(code);
        }
        if (code == 0 || code == kNoCode || is_between(code, 0xdc00, 0xdfff)) {
            return false;
        }
        put(code, out);
        return true;
    }
    static void put(uint32_t code, char **out)
    {
        if (code < 0x80) {
            *(*out)++ = static_cast<char>(code);
            return;
        }
        unsigned following = 1;
        if (code >= 0x800) {
            following = code < 0x10000 ? 2 : 3;
        }
        constexpr uint32_t kFirst[] = {0, 0xc0, 0xe0, 0xf0};
        *(*out)++ = static_cast<char>(kFirst[following] | code >> (6 * following));
        while (following != 0) {
            --following;
            *(*out)++ = static_cast<char>(0x80 | (code >> (6 * following) & 0x3f));
        }
    }

    char *next_;
    char *const end_;
};

} // namespace

const JsonField *JsonFields::find(std::string_view name) const
{
    for (size_t i = 0; i < count; ++i) {
        if (fields[i].name == name) {
            return &fields[i];
        }
    }
    return nullptr;
}

bool parse_fields(char *text, size_t length, JsonFields *fields)
{
    *fields = {};
    return Parser(text, length).object(fields);
}

} // namespace lterouter::tools
