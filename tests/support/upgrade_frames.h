// The frames of an upgrade, byte by byte: an independent second implementation.
#pragma once

#include "support/bytes.h"

#include <algorithm>
#include <string>

namespace testing_support {

inline constexpr size_t kPiece = 2048;
inline constexpr size_t kFrame = 2064;
inline constexpr size_t kResponse = 128;

inline constexpr uint32_t kCommandRequest = 1;
inline constexpr uint32_t kCommandResponse = 2;
inline constexpr uint32_t kDataRequest = 16;
inline constexpr uint32_t kDataResponse = 32;
inline constexpr uint32_t kBegin = 0x42454749;
inline constexpr uint32_t kEnd = 0x454E444C;

inline void put_little(Bytes *bytes, size_t at, uint32_t value)
{
    for (size_t i = 0; i < 4; ++i) {
        (*bytes)[at + i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

inline uint32_t get_little(const Bytes &bytes, size_t at)
{
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i) {
        value |= static_cast<uint32_t>(bytes[at + i]) << (8 * i);
    }
    return value;
}

// Bit by bit, with no inversion before or after.
inline uint32_t plain_crc32(const uint8_t *bytes, size_t size)
{
    uint32_t crc = 0;
    for (size_t i = 0; i < size; ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB88320U : 0);
        }
    }
    return crc;
}

inline Bytes command_frame(uint32_t command)
{
    Bytes frame(kFrame);
    put_little(&frame, 0, command);
    put_little(&frame, 4, kCommandRequest);
    return frame;
}

// length: what the header says; the payload may be shorter than a piece.
inline Bytes data_frame(uint32_t index, uint32_t length, const Bytes &payload)
{
    Bytes frame(kFrame);
    std::copy(payload.begin(), payload.end(), frame.begin() + 16);
    put_little(&frame, 0, index);
    put_little(&frame, 4, kDataRequest);
    put_little(&frame, 8, length);
    put_little(&frame, 12, plain_crc32(frame.data() + 16, kPiece));
    return frame;
}

// Cut to size.
inline Bytes response(uint32_t index, uint32_t type, const std::string &status, size_t size = kResponse)
{
    Bytes bytes(kResponse);
    put_little(&bytes, 0, index);
    put_little(&bytes, 4, type);
    std::copy(status.begin(), status.end(), bytes.begin() + 16);
    bytes.resize(size);
    return bytes;
}

// The right response to a frame.
inline Bytes answer(const Bytes &frame, const std::string &status = "RSP_OK")
{
    return response(get_little(frame, 0), 2 * get_little(frame, 4), status);
}

// A frame or a response as the library takes it.
template <typename Record> Record record_of(const Bytes &bytes)
{
    Record record = {};
    memcpy(static_cast<void *>(&record), bytes.data(), std::min(bytes.size(), sizeof(record)));
    return record;
}

} // namespace testing_support
