// The frames of an image: every size and chunk size against a model that only counts the bytes passed
// in each call.
#include "lc_up.h"
#include "support/serial_modem.h"

namespace image_test {

using namespace testing_support;

namespace {

// The frames that go out in the call after which `passed` bytes were passed, with `before` before it.
std::vector<Bytes> frames_of_call(const Bytes &image, size_t before, size_t passed)
{
    const size_t last = (image.size() + kPiece - 1) / kPiece - 1;
    std::vector<Bytes> frames;
    for (size_t piece = 0; piece < last; ++piece) {
        const size_t begin = piece * kPiece;
        const size_t end = begin + kPiece;
        // A full piece waits for the first byte behind it.
        if (before <= end && passed > end) {
            frames.push_back(data_frame(static_cast<uint32_t>(piece), kPiece,
                                        Bytes(image.begin() + static_cast<ptrdiff_t>(begin),
                                              image.begin() + static_cast<ptrdiff_t>(end))));
        }
    }
    // The last one goes out with the one before it, with what there is; its length counts that twice.
    const size_t begin = last * kPiece;
    if (before <= begin && passed > begin) {
        frames.push_back(data_frame(static_cast<uint32_t>(last),
                                    static_cast<uint32_t>(2 * (passed - begin)),
                                    Bytes(image.begin() + static_cast<ptrdiff_t>(begin),
                                          image.begin() + static_cast<ptrdiff_t>(passed))));
        frames.push_back(command_frame(kEnd));
    }
    return frames;
}

Bytes image_of(size_t size)
{
    // Pieces differ from each other.
    Bytes image = pattern(size);
    for (size_t i = 0; i < size; i += kPiece) {
        image[i] = static_cast<uint8_t>(i / kPiece);
    }
    return image;
}

int32_t pass(const Bytes &image, size_t from, size_t size)
{
    // On the heap and exactly as large, so that sanitizers see what is read behind it.
    const auto begin = image.begin() + static_cast<ptrdiff_t>(from);
    const Bytes chunk(begin, begin + static_cast<ptrdiff_t>(size));
    return lc_up_img(chunk.data(), static_cast<int32_t>(size));
}

void upgrade(size_t image_size, size_t chunk_size)
{
    const Bytes image = image_of(image_size);
    ASSERT_EQ(lc_set_img_size(static_cast<int32_t>(image_size)), 0);
    for (size_t passed = 0; passed < image_size;) {
        const size_t size = std::min(chunk_size, image_size - passed);
        ASSERT_EQ(pass(image, passed, size), 0);
        const auto sent = std::exchange(g_modem.written, {});
        ASSERT_EQ(sent, frames_of_call(image, passed, passed + size))
            << image_size << " bytes in chunks of " << chunk_size << ", after " << passed;
        passed += size;
    }
}

// Of the frames written since the last call.
std::vector<std::pair<uint32_t, uint32_t>> indexes_and_lengths()
{
    std::vector<std::pair<uint32_t, uint32_t>> result;
    for (const Bytes &frame : std::exchange(g_modem.written, {})) {
        result.emplace_back(get_little(frame, 0), get_little(frame, 8));
    }
    return result;
}

using Sent = std::vector<std::pair<uint32_t, uint32_t>>;

class ImagePieces : public SerialModem {
protected:
    ImagePieces() { answers(); }

    static void upgrade_in_chunks_of_all_sizes(size_t image_size)
    {
        for (const size_t chunk_size : {size_t{1}, size_t{100}, size_t{1000}, size_t{2047},
                                        size_t{2048}, size_t{2049}, size_t{4096}, image_size}) {
            in_own_process("in chunks of " + std::to_string(chunk_size),
                           [&] { upgrade(image_size, chunk_size); });
        }
    }
};

using ImageCalls = ImagePieces;

std::string entry(const std::string &text) { return up_entry("lc_up_img", text); }

const std::string kOpened = up_entries("lc_open_tty", {"enter", "end"});

} // namespace

TEST_F(ImagePieces, of_2049_bytes_are_as_the_model_says) { upgrade_in_chunks_of_all_sizes(2049); }

TEST_F(ImagePieces, of_4096_bytes_are_as_the_model_says) { upgrade_in_chunks_of_all_sizes(4096); }

TEST_F(ImagePieces, of_4097_bytes_are_as_the_model_says) { upgrade_in_chunks_of_all_sizes(4097); }

TEST_F(ImagePieces, of_5000_bytes_are_as_the_model_says) { upgrade_in_chunks_of_all_sizes(5000); }

TEST_F(ImagePieces, of_65536_bytes_are_as_the_model_says) { upgrade_in_chunks_of_all_sizes(65536); }

// A few by hand, for the model's sake.

TEST_F(ImagePieces, of_a_whole_image_have_these_indexes_and_lengths)
{
    lc_set_img_size(5000);
    EXPECT_EQ(pass(image_of(5000), 0, 5000), 0);
    EXPECT_EQ(indexes_and_lengths(), (Sent{{0, 2048}, {1, 2048}, {2, 1808}, {kEnd, 0}}));
}

TEST_F(ImagePieces, of_thousands_have_these_indexes_and_lengths)
{
    lc_set_img_size(5000);
    const Bytes image = image_of(5000);
    const Sent expected[] = {{}, {}, {{0, 2048}}, {}, {{1, 2048}, {2, 1808}, {kEnd, 0}}};
    for (size_t call = 0; call < 5; ++call) {
        EXPECT_EQ(pass(image, call * 1000, 1000), 0);
        EXPECT_EQ(indexes_and_lengths(), expected[call]) << call;
    }
}

TEST_F(ImagePieces, of_hundreds_end_with_the_call_that_completes_the_last_but_one)
{
    lc_set_img_size(5000);
    const Bytes image = image_of(5000);
    for (size_t call = 1; call <= 50; ++call) {
        EXPECT_EQ(pass(image, (call - 1) * 100, 100), 0);
        const Sent expected = call == 21   ? Sent{{0, 2048}}
                              : call == 41 ? Sent{{1, 2048}, {2, 8}, {kEnd, 0}}
                                           : Sent{};
        EXPECT_EQ(indexes_and_lengths(), expected) << call;
    }
}

TEST_F(ImagePieces, that_just_fill_the_buffer_wait_for_the_next_call)
{
    lc_set_img_size(5000);
    const Bytes image = image_of(5000);
    EXPECT_EQ(pass(image, 0, 2000), 0);
    EXPECT_EQ(pass(image, 2000, 48), 0);
    EXPECT_EQ(take_steps(), Steps());
    EXPECT_EQ(pass(image, 2048, 1), 0);
    EXPECT_EQ(take_written(), frames_of_call(image, 2048, 2049));
}

TEST_F(ImagePieces, with_a_long_last_one_have_a_length_beyond_the_payload)
{
    // 1024 bytes counted twice just fit; one more does not, nor does a full piece.
    for (const size_t rest : {1024U, 1025U, 2048U}) {
        in_own_process("a rest of " + std::to_string(rest), [&] {
            const Bytes image = image_of(kPiece + rest);
            lc_set_img_size(static_cast<int32_t>(image.size()));
            EXPECT_EQ(pass(image, 0, image.size()), 0);
            EXPECT_EQ(g_modem.written.size(), 3U);
            Bytes payload(image.begin() + kPiece, image.end());
            payload.resize(kPiece);
            EXPECT_EQ(g_modem.written[1], data_frame(1, static_cast<uint32_t>(2 * rest), payload));
        });
    }
}

TEST_F(ImagePieces, checksum_is_that_of_the_whole_payload)
{
    lc_set_img_size(2052);
    Bytes image(2052);
    const std::string digits = "123456789";
    std::copy(digits.begin(), digits.end(), image.begin() + 2039);
    EXPECT_EQ(pass(image, 0, image.size()), 0);
    // Leading zeros do not change it, so the piece has the checksum of its last nine bytes.
    EXPECT_EQ(get_little(g_modem.written[0], 12), 0x2DFD2D88U);
    EXPECT_EQ(g_modem.written[0][12], 0x88);
    EXPECT_EQ(g_modem.written[0][15], 0x2D);
}

TEST_F(ImageCalls, trace_the_last_piece_and_the_end)
{
    lc_set_img_size(5000);
    take_trace();
    EXPECT_EQ(pass(image_of(5000), 0, 4096), 0);
    EXPECT_EQ(take_trace(), kOpened);
    EXPECT_EQ(pass(image_of(5000), 4096, 904), 0);
    EXPECT_EQ(take_trace(), entry("send last img data") + entry("send transfer end cmd"));
    EXPECT_EQ(g_modem.ports.size(), 1U);
}

TEST_F(ImageCalls, of_nothing_are_refused)
{
    const uint8_t byte = 0;
    const std::string refused = entry("param is invalid") + entry("update img failure");
    EXPECT_EQ(lc_up_img(nullptr, 10), -1);
    EXPECT_EQ(take_trace(), refused);
    for (const int32_t size : {0, -1, INT32_MIN}) {
        EXPECT_EQ(lc_up_img(&byte, size), -1) << size;
        EXPECT_EQ(take_trace(), refused) << size;
    }
    EXPECT_EQ(take_steps(), Steps());
}

TEST_F(ImageCalls, of_nothing_in_the_middle_close_the_port)
{
    lc_set_img_size(5000);
    pass(image_of(5000), 0, 2049);
    take_steps();
    EXPECT_EQ(lc_up_img(nullptr, 10), -1);
    EXPECT_EQ(take_steps(), kCloseData);
    EXPECT_TRUE(g_modem.ports.empty());
}

TEST_F(ImageCalls, before_the_size_is_known_send_full_pieces_and_no_end)
{
    EXPECT_EQ(pass(image_of(5000), 0, 5000), 0);
    EXPECT_EQ(indexes_and_lengths(), (Sent{{0, 2048}, {1, 2048}}));
}

TEST_F(ImageCalls, go_by_the_last_size_that_was_not_refused)
{
    lc_set_img_size(5000);
    EXPECT_EQ(lc_set_img_size(2048), -1);
    EXPECT_EQ(pass(image_of(5000), 0, 5000), 0);
    EXPECT_EQ(indexes_and_lengths(), (Sent{{0, 2048}, {1, 2048}, {2, 1808}, {kEnd, 0}}));
}

TEST_F(ImageCalls, fail_and_close_the_port_when_a_piece_is_refused)
{
    lc_set_img_size(5000);
    take_trace();
    answers("FLASH WORN");
    EXPECT_EQ(pass(image_of(5000), 0, 5000), -1);
    EXPECT_EQ(indexes_and_lengths(), (Sent{{0, 2048}}));
    EXPECT_EQ(take_steps(), joined({kOpenData, kSend, kReadData, kCloseData}));
    EXPECT_EQ(take_trace(),
              kOpened + up_entry("lc_data_chk", "Up Response error:FLASH WORN, index is 0, exit...") +
                  up_entry("lc_data_snd", "check data failure") + entry("send img data failure") +
                  entry("update img failure"));
    EXPECT_TRUE(g_modem.ports.empty());
}

TEST_F(ImageCalls, fail_when_the_last_piece_is_refused)
{
    lc_set_img_size(5000);
    pass(image_of(5000), 0, 4096);
    take_trace();
    take_steps();
    g_modem.on_write = [](const Bytes &frame) {
        g_modem.hears(answer(frame, get_little(frame, 0) == 2 ? "no" : "RSP_OK"));
    };
    EXPECT_EQ(pass(image_of(5000), 4096, 904), -1);
    EXPECT_EQ(take_trace(), entry("send last img data") +
                                up_entry("lc_data_chk", "Up Response error:no, index is 2, exit...") +
                                up_entry("lc_data_snd", "check data failure") +
                                entry("send img data failure") + entry("update img failure"));
    EXPECT_EQ(take_steps(), joined({kSend, kReadData, kSend, kReadData, kCloseData}));
}

TEST_F(ImageCalls, fail_when_the_end_is_refused)
{
    lc_set_img_size(5000);
    take_trace();
    g_modem.on_write = [](const Bytes &frame) {
        g_modem.hears(answer(frame, get_little(frame, 0) == kEnd ? "no" : "RSP_OK"));
    };
    EXPECT_EQ(pass(image_of(5000), 0, 5000), -1);
    EXPECT_EQ(take_trace(),
              kOpened + entry("send last img data") + entry("send transfer end cmd") +
                  up_entry("lc_data_chk", "Up Response error:no, index is 1162757196, exit...") +
                  up_entry("lc_data_snd", "check data failure") + entry("send img data failure") +
                  entry("update img failure"));
    EXPECT_TRUE(g_modem.ports.empty());
    // The last piece was sent: what is passed now only fills the buffer.
    take_written();
    EXPECT_EQ(pass(image_of(5000), 0, 1), 0);
    EXPECT_EQ(take_written(), std::vector<Bytes>());
}

TEST_F(ImageCalls, can_pass_the_data_of_a_failed_piece_again)
{
    lc_set_img_size(5000);
    const Bytes image = image_of(5000);
    EXPECT_EQ(pass(image, 0, 2000), 0);
    answers("no");
    EXPECT_EQ(pass(image, 2000, 3000), -1);
    answers();
    g_modem.written.clear();
    EXPECT_EQ(pass(image, 2000, 3000), 0);
    EXPECT_EQ(take_written(), frames_of_call(image, 2000, 5000));
}

TEST_F(ImageCalls, after_a_failure_use_the_closed_descriptor_until_it_fails)
{
    lc_set_img_size(5000);
    const Bytes image = image_of(5000);
    answers("no");
    EXPECT_EQ(pass(image, 0, 2049), -1);
    answers();
    take_steps();
    take_trace();
    EXPECT_EQ(pass(image, 0, 2049), 0);
    EXPECT_EQ(
        take_steps(),
        joined({kSend, repeated(kSilentRead, 10), {"close data again"}, kOpenData, kSend, kReadData}));
    const std::string bad = std::to_string(EBADF);
    std::string silence;
    for (int i = 0; i < 10; ++i) {
        silence += up_entry("lc_read_tty", "select error:-1 " + bad) +
                   up_entry("lc_data_trans", "read nothing, trans type:16 index:0");
    }
    EXPECT_EQ(take_trace(),
              up_entry("lc_data_trans", "write tty dev failed, type:16 index:0 need write:2064 real "
                                        "write:-1, need check callback") +
                  silence + up_entry("lc_data_trans", "retry read time out") +
                  up_entry("lc_data_snd", "tranlate data from tty dev failure,req index:0") + kOpened);
}

TEST_F(ImageCalls, that_repeat_a_last_piece_count_their_own_bytes_twice)
{
    lc_set_img_size(5000);
    const Bytes image = image_of(5000);
    g_modem.on_write = [](const Bytes &frame) {
        g_modem.hears(answer(frame, get_little(frame, 0) == 2 ? "no" : "RSP_OK"));
    };
    EXPECT_EQ(pass(image, 0, 4100), -1);
    answers();
    take_written();
    // The 4 bytes are still in the buffer, and counted once.
    EXPECT_EQ(pass(image, 4100, 900), 0);
    EXPECT_EQ(take_written(),
              (std::vector<Bytes>{data_frame(2, 4 + 2 * 900, Bytes(image.begin() + 4096, image.end())),
                                  command_frame(kEnd)}));
}

TEST_F(ImageCalls, copy_no_more_of_the_buffer_than_the_length_of_the_last_piece)
{
    const Bytes image = image_of(2049);
    const Bytes other(2048, 0xEE);
    lc_set_img_size(2049);
    g_modem.on_write = [](const Bytes &frame) {
        g_modem.hears(answer(frame, get_little(frame, 0) == 1 ? "no" : "RSP_OK"));
    };
    EXPECT_EQ(pass(image, 0, 2049), -1);
    EXPECT_EQ(pass(other, 0, 2048), -1); // fills the buffer, which does not count
    answers();
    take_written();
    EXPECT_EQ(pass(image, 0, 10), 0);
    Bytes payload = {image[2048]};
    payload.insert(payload.end(), image.begin(), image.begin() + 10);
    payload.insert(payload.end(), 10, 0xEE); // for the bytes that are counted twice
    EXPECT_EQ(take_written(),
              (std::vector<Bytes>{data_frame(1, 1 + 2 * 10, payload), command_frame(kEnd)}));
}

TEST_F(ImageCalls, after_the_end_only_fill_the_buffer)
{
    lc_set_img_size(5000);
    const Bytes image = image_of(5000);
    EXPECT_EQ(pass(image, 0, 4100), 0);
    take_steps();
    EXPECT_EQ(pass(image, 4100, 900), 0);
    EXPECT_EQ(take_steps(), Steps());
}

} // namespace image_test
