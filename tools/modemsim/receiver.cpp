// The frames of an image: checked, stored, answered.

#include "modemsim/modem.h"

#include "common/program.h"
#include "common/record.h"
#include "lc_nv.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <endian.h>
#include <fcntl.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

constexpr uint32_t kPiece = LC_UP_PIECE_SIZE;
// The last piece counts its bytes twice where the host passed them in one call.
constexpr uint32_t kLongest = 2 * kPiece;

constexpr char kAccepted[] = "RSP_OK";
constexpr char kAgain[] = "RSP_FAILED";

// Time for the host to read one response before the next comes.
constexpr uint32_t kApartMs = 100;

// Closing a port loses what the host has not read yet; so this time passes first, at most so often.
constexpr uint32_t kDeliveryMs = 20;
constexpr int kDeliveries = 50;

// Time for the host to find the port full.
constexpr uint32_t kShortMs = 300;

constexpr size_t kHeadSize = offsetof(lc_up_response, status);

int64_t place_of(uint32_t index, bool is_command)
{
    if (!is_command) {
        return index;
    }
    return index == UPGRADE_TLV_TYPE_CMD_BEGIN ? kAtBegin : kAtEnd;
}

uint32_t bytes_in(uint32_t length) { return std::min(length, kPiece); }

} // namespace

bool Modem::serve_data()
{
    auto *const bytes = reinterpret_cast<char *>(&frame_);
    const ssize_t count = read(data_.fd(), bytes + filled_, sizeof(frame_) - filled_);
    if (count <= 0) {
        return true; // the host has closed the port
    }
    filled_ += static_cast<size_t>(count);
    if (filled_ < sizeof(frame_)) {
        return true;
    }
    filled_ = 0;
    return handle_frame();
}

void Modem::drop_partial_frame()
{
    Record().word("event", "dropped").number("bytes", static_cast<int64_t>(filled_));
    filled_ = 0;
}

bool Modem::handle_frame()
{
    const uint32_t index = le32toh(frame_.index);
    const uint32_t type = le32toh(frame_.type);
    const bool is_command = type == UPGRADE_TLV_TYPE_COMMAND_REQ;
    const int64_t place = place_of(index, is_command);
    const char *const status = judge_frame(index, type);
    const FaultRule rule = settings_.faults.take(place);
    tell_frame(index, is_command, status, rule);
    if (!answer_frame(rule, place, index, type, status)) {
        return false;
    }
    if (state_ != State::kTold) {
        return true;
    }
    await_delivery();
    return restart(State::kUpgraded, settings_.restart_ms);
}

void Modem::tell_frame(uint32_t index, bool is_command, const char *status, const FaultRule &rule) const
{
    Record told;
    if (is_command) {
        told.word("event", "command").field("name", lc_get_tlv_type_str(index));
    } else {
        told.word("event", "piece").number("index", index).number("length", le32toh(frame_.length));
    }
    told.field("status", status);
    tell_fault(told, rule);
}

void Modem::await_delivery() const
{
    int left = kDeliveries;
    while (pause_ms(kDeliveryMs) && data_.holds_unread() && --left > 0) {
    }
}

const char *Modem::judge_frame(uint32_t index, uint32_t type)
{
    if (type == UPGRADE_TLV_TYPE_DATA_REQ) {
        return state_ == State::kReceiving ? take_piece(index) : "RSP_NOT_READY";
    }
    if (type != UPGRADE_TLV_TYPE_COMMAND_REQ) {
        return "RSP_TYPE";
    }
    if (frame_.length != 0 || frame_.checksum != 0) {
        return "RSP_LENGTH";
    }
    if (index == UPGRADE_TLV_TYPE_CMD_BEGIN) {
        return begin();
    }
    return index == UPGRADE_TLV_TYPE_CMD_END ? end() : "RSP_COMMAND";
}

const char *Modem::begin()
{
    const bool again = state_ == State::kReceiving && next_piece_ == 0;
    if (state_ != State::kUpgrade && !again) {
        return "RSP_NOT_READY";
    }
    if (settings_.image[0] != '\0' && image_ < 0) {
        image_ = open(settings_.image, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (image_ < 0) {
            note("cannot write %s: %s", settings_.image, strerror(errno));
            return "RSP_STORE";
        }
    }
    state_ = State::kReceiving;
    return kAccepted;
}

const char *Modem::take_piece(uint32_t index)
{
    if (nv_crc32_update(0, frame_.payload, kPiece) != le32toh(frame_.checksum)) {
        return kAgain;
    }
    const bool next = index == next_piece_;
    if (!next && index + 1 != next_piece_) {
        return "RSP_INDEX";
    }
    const uint32_t length = le32toh(frame_.length);
    // Only the last piece may be anything but full.
    if (length == 0 || length > kLongest || (next && index != 0 && last_length_ != kPiece)) {
        return "RSP_LENGTH";
    }
    const off_t offset = static_cast<off_t>(index) * kPiece;
    if (image_ >= 0 && pwrite(image_, frame_.payload, kPiece, offset) != kPiece) {
        note("cannot write %s: %s", settings_.image, strerror(errno));
        return "RSP_STORE";
    }
    next_piece_ = index + 1;
    last_length_ = length;
    received_ = static_cast<uint64_t>(offset) + bytes_in(length);
    return kAccepted;
}

const char *Modem::end()
{
    if (state_ == State::kComplete || state_ == State::kUpgraded) {
        return kAccepted; // sent again by the host
    }
    if (state_ != State::kReceiving || next_piece_ == 0) {
        return "RSP_NOT_READY";
    }
    const uint64_t size =
        settings_.size != 0 ? std::min<uint64_t>(settings_.size, received_) : received_;
    if (settings_.size > received_) {
        note("the image is incomplete: %llu of %u bytes", static_cast<unsigned long long>(received_),
             settings_.size);
        return "RSP_INCOMPLETE";
    }
    if (image_ >= 0) {
        static_cast<void>(!ftruncate(image_, static_cast<off_t>(size)));
        close(image_);
        image_ = -1;
    }
    state_ = State::kComplete;
    return kAccepted;
}

bool Modem::answer_frame(const FaultRule &rule, int64_t place, uint32_t index, uint32_t type,
                         const char *status)
{
    if (rule.fault != Fault::kNone) {
        return misbehave(rule, index, type, status);
    }
    // A fault of the next frame's bytes must be prepared before the host is allowed to send it.
    const bool last = place >= 0 && le32toh(frame_.length) != kPiece;
    const int64_t next = place == kAtBegin ? 0 : last ? kAtEnd : place + 1;
    if (place != kAtEnd && settings_.faults.pending(next, Fault::kStall)) {
        const FaultRule stall = settings_.faults.take(next);
        data_.hold(true);
        respond(index, type, status);
        pause_ms(stall.ms);
        data_.hold(false);
        return true;
    }
    if (place != kAtEnd && settings_.faults.pending(next, Fault::kShort)) {
        const FaultRule cut = settings_.faults.take(next);
        data_.fill();
        respond(index, type, status);
        pause_ms(kShortMs);
        return unplug(cut.ms, false);
    }
    return respond(index, type, status);
}

bool Modem::misbehave(const FaultRule &rule, uint32_t index, uint32_t type, const char *status)
{
    switch (rule.fault) {
    case Fault::kAgain:
        return respond(index, type, kAgain);
    case Fault::kFatal:
        return respond(index, type, "RSP_FLASH_ERROR");
    case Fault::kWrongIndex:
        return respond(index + 1, type, status);
    case Fault::kBehind:
        respond(index - 1, type, status);
        pause_ms(kApartMs);
        return respond(index, type, status);
    case Fault::kPartial:
        return data_.write(&frame_, kHeadSize / 2), true;
    case Fault::kGarbage: {
        char garbage[64];
        memset(garbage, 0xA5, sizeof(garbage));
        return data_.write(garbage, sizeof(garbage)), true;
    }
    case Fault::kLate:
        return !pause_ms(rule.ms) || respond(index, type, status);
    case Fault::kVanish:
        return unplug(rule.ms, false);
    case Fault::kReboot:
        return restart(State::kNormal, rule.ms);
    case Fault::kSilent:
    case Fault::kStall: // not prepared: the frame before had a fault of its own
    case Fault::kShort:
    case Fault::kNone:
    case Fault::kError: // of AT commands
        break;
    }
    return true;
}

bool Modem::respond(uint32_t index, uint32_t type, const char *status)
{
    lc_up_response response = {};
    response.index = htole32(index);
    response.type = htole32(type == UPGRADE_TLV_TYPE_DATA_REQ ? UPGRADE_TLV_TYPE_DATA_RSP
                                                              : UPGRADE_TLV_TYPE_COMMAND_RSP);
    const size_t length = strlen(status);
    memcpy(response.status, status, length);
    const bool tells_end = index == UPGRADE_TLV_TYPE_CMD_END && strcmp(status, kAccepted) == 0;
    if (state_ == State::kComplete && tells_end) {
        state_ = State::kTold;
    }
    // A failed write does not matter: the host has closed the port.
    data_.write(&response, kHeadSize + length);
    return true;
}

} // namespace lterouter::tools
