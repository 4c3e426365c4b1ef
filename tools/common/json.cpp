#include "common/json.h"

#include "common/utf8.h"

#include <cstdint>

namespace lterouter::tools {

void put_json_string(FILE *file, std::string_view text)
{
    fputc('"', file);
    while (!text.empty()) {
        const Character character = take_character(&text);
        const std::string_view bytes = character.bytes;
        if (character.kind == CharacterKind::kInvalid) {
            fputs("\\ufffd", file);
        } else if (character.kind == CharacterKind::kControl) {
            const auto code = static_cast<uint8_t>(bytes.back());
            fprintf(file, "\\u%04x", static_cast<unsigned int>(code));
        } else {
            if (bytes == "\"" || bytes == "\\") {
                fputc('\\', file);
            }
            fwrite(bytes.data(), 1, bytes.size(), file);
        }
    }
    fputc('"', file);
}

} // namespace lterouter::tools
