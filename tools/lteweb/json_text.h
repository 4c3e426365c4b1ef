// JSON that is put together in memory.
#pragma once

#include "common/json.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace lterouter::tools {

// A text that grows; what fails while it is written is noticed at the end.
class TextStream {
public:
    TextStream() : file_(open_memstream(&text_, &size_)) {}
    ~TextStream()
    {
        close();
        free(text_);
    }
    TextStream(const TextStream &) = delete;
    TextStream &operator=(const TextStream &) = delete;

    explicit operator bool() const { return file_ != nullptr; }
    FILE *file() { return file_; }

    // Ends the writing. False when something was lost.
    bool finish()
    {
        complete_ = file_ != nullptr && ferror(file_) == 0;
        return close() && complete_;
    }
    std::string_view view() const { return {text_, size_}; } // once finished
    char *release()
    {
        char *const text = text_;
        text_ = nullptr;
        return text;
    }

private:
    bool close()
    {
        FILE *const file = file_;
        file_ = nullptr;
        return file == nullptr || fclose(file) == 0;
    }

    char *text_ = nullptr;
    size_t size_ = 0;
    FILE *file_;
    bool complete_ = false;
};

// An object, ended by the destructor.
class JsonObject {
public:
    explicit JsonObject(FILE *file) : file_(file) { fputc('{', file_); }
    ~JsonObject() { fputc('}', file_); }
    JsonObject(const JsonObject &) = delete;
    JsonObject &operator=(const JsonObject &) = delete;

    JsonObject &text(const char *name, std::string_view value)
    {
        put_json_string(key(name), value);
        return *this;
    }
    JsonObject &number(const char *name, int64_t value)
    {
        fprintf(key(name), "%" PRId64, value);
        return *this;
    }
    JsonObject &boolean(const char *name, bool value)
    {
        fputs(value ? "true" : "false", key(name));
        return *this;
    }
    // The value is JSON already.
    JsonObject &raw(const char *name, std::string_view value)
    {
        fwrite(value.data(), 1, value.size(), key(name));
        return *this;
    }
    // For a value that the caller writes.
    FILE *key(const char *name)
    {
        if (!empty_) {
            fputc(',', file_);
        }
        empty_ = false;
        put_json_string(file_, name);
        fputc(':', file_);
        return file_;
    }

private:
    FILE *const file_;
    bool empty_ = true;
};

} // namespace lterouter::tools
