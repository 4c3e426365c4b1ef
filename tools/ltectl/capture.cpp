#include "ltectl/capture.h"

#include "common/program.h"
#include "common/wan_manager.h"
#include "ltectl/deadline.h"
#include "ltectl/endpoints.h"
#include "ltectl/events.h"
#include "ltectl/replacement.h"
#include "ltectl/storage.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace lterouter::tools {
namespace {

// In the byte order of the machine, which readers tell by the magic number.
struct FileHeader {
    uint32_t magic;
    uint16_t major_version;
    uint16_t minor_version;
    uint32_t time_zone;
    uint32_t accuracy;
    uint32_t longest;
    uint32_t link_type;
};

struct PacketHeader {
    uint32_t seconds;
    uint32_t microseconds;
    uint32_t captured;
    uint32_t sent;
};

// Before each message, in bytes alone: a dissector is not told the byte order of the file.
struct Prefix {
    uint8_t version;
    uint8_t order;
    uint8_t flags;
    uint8_t source_length;
    uint8_t destination_length;
};
static_assert(sizeof(Prefix) == 5);

constexpr uint8_t kVersion = 1;
constexpr uint8_t kOrder = std::endian::native == std::endian::big ? 1 : 2;
constexpr uint8_t kMaskedFlag = 1;
constexpr size_t kLongestName = sizeof(sockaddr_un::sun_path);
constexpr size_t kLongestPacket = sizeof(Prefix) + 2 * kLongestName + IPC_MSG_MAX_SIZE;

constexpr FileHeader kFileHeader = {0xa1b2c3d4, 2, 4, 0, 0, kLongestPacket, 147};

// A packet, to be written at once: a reader of a pipe gets it whole.
class Packet {
public:
    explicit Packet(int64_t arrived_us)
        : header_{static_cast<uint32_t>(arrived_us / 1'000'000),
                  static_cast<uint32_t>(arrived_us % 1'000'000), 0, 0}
    {
    }

    void add(const void *bytes, size_t size)
    {
        memcpy(bytes_ + length_, bytes, size);
        length_ += size;
    }
    const void *whole()
    {
        header_.captured = header_.sent = static_cast<uint32_t>(length_ - sizeof(header_));
        memcpy(bytes_, &header_, sizeof(header_));
        return bytes_;
    }
    size_t length() const { return length_; }

private:
    PacketHeader header_;
    uint8_t bytes_[sizeof(PacketHeader) + kLongestPacket];
    size_t length_ = sizeof(PacketHeader);
};

// This process's endpoint.
std::string_view own_name()
{
    static char name[kLongestName];
    snprintf(name, sizeof(name), "%scli1_%u_common", kEndpointPrefix.data(),
             static_cast<unsigned int>(getpid()));
    return name;
}

void close_capture()
{
    remove_unfinished();
    lct_deregister();
}

} // namespace

int Capture::open(const char *path)
{
    path_ = path;
    if (strcmp(path, kStandardStream) == 0) {
        path_ = "standard output";
        error_ = put(&kFileHeader, sizeof(kFileHeader));
        return error_ == 0 ? kDone : explain();
    }
    return is_stream(path) ? start(::open(path, O_WRONLY | O_CLOEXEC)) : replace_earlier();
}

void Capture::close_file()
{
    if (is_file()) {
        close(fd_);
    }
}

int Capture::start(int fd)
{
    if (fd < 0) {
        return cannot("write", path_, errno);
    }
    close_file();
    fd_ = fd;
    set_output(fd_);
    error_ = put(&kFileHeader, sizeof(kFileHeader));
    return error_ == 0 ? kDone : explain();
}

int Capture::begin_in_place() { return start(::open(path_, O_WRONLY | O_TRUNC | O_CLOEXEC)); }

int Capture::replace_earlier()
{
    const Replacement file(path_);
    const int fd = file.open();
    if (fd < 0 && file.is_refused(errno)) {
        return begin_in_place();
    }
    at_end({.farewell = close_capture, .close = ipc_msg_fin});
    if (const int code = start(fd); code != kDone) {
        return code;
    }
    if (file.take_place()) {
        return kDone;
    }
    return file.is_refused(errno) ? begin_in_place() : cannot("write", path_, errno);
}

void Capture::add(const Message &message)
{
    Message shown = message;
    const uint8_t flags = mask_secrets(&shown) ? kMaskedFlag : 0;
    const std::string_view source = socket_name(message.sender);
    const std::string_view destination = own_name();
    const Prefix prefix = {kVersion, kOrder, flags, static_cast<uint8_t>(source.size()),
                           static_cast<uint8_t>(destination.size())};
    Packet packet(message.head.arrived_us);
    packet.add(&prefix, sizeof(prefix));
    packet.add(source.data(), source.size());
    packet.add(destination.data(), destination.size());
    packet.add(&shown.header, sizeof(shown.header));
    packet.add(shown.body, std::min<size_t>(shown.header.length, sizeof(shown.body)));
    error_ = put(packet.whole(), packet.length());
    packets_ += error_ == 0 ? 1 : 0;
}

// Returns 0 or an errno value.
int Capture::put(const void *bytes, size_t size)
{
    size_t done = 0;
    while (done < size) {
        const ssize_t count = write(fd_, static_cast<const char *>(bytes) + done, size - done);
        if (count < 0 && errno != EINTR) {
            const int error = errno;
            cut(done);
            return error;
        }
        done += count > 0 ? static_cast<size_t>(count) : 0;
    }
    return 0;
}

void Capture::cut(size_t partial)
{
    if (partial != 0) {
        const off_t end = lseek(fd_, 0, SEEK_CUR);
        is_cut_ = end >= 0 && ftruncate(fd_, end - static_cast<off_t>(partial)) == 0;
    }
}

int Capture::explain() const
{
    if (error_ == EPIPE) { // the reader has read what it wanted
        return kDone;
    }
    if (error_ == EBADF) { // as of a command that prints
        return fail(kFailed, "cannot write the answer: %s is closed", path_);
    }
    char path[32];
    snprintf(path, sizeof(path), "/proc/self/fd/%d", fd_);
    return fail(kFailed, "cannot write %s: %s%s; %u packets are whole%s", path_, strerror(error_),
                Remedy(path, error_).text, packets_,
                is_cut_ ? "" : ", and after them is a part of one");
}

int Capture::finish()
{
    if (error_ == 0 && is_file() && !synchronise(fd_)) {
        error_ = errno;
    }
    if (error_ != 0) {
        return explain();
    }
    if (is_file()) {
        Record().event("captured").word("file", path_).number("packets", packets_);
    }
    return kDone;
}

} // namespace lterouter::tools
