// Copies of a parameter with a flipped bit, too short or too long, one at a time: the result of
// nvm_readnv before and after start-up, and the files after start-up.
#include "support/nv_recovery.h"
#include "support/persistent_store.h"

#include <vector>

namespace damage_test {

using namespace testing_support;

namespace {

constexpr const char *kDefault = "default";
// With bytes that one flipped bit turns into a NUL, a line feed or a separator.
const std::string kValue = std::string("a b@c\x01\x02\x10\x0B\x1C=\x80\xFF") + "z";
const std::string kOther = "the other copy";
const std::string kLong = std::string(NV_VALUE_MAX, 'v');

using Damages = std::vector<std::string>;

// Every file that differs from this one in a bit of the bytes from begin to end.
Damages flipped(const std::string &file, size_t begin, size_t end)
{
    Damages damages;
    for (size_t byte = begin; byte < end; ++byte) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            damages.push_back(file);
            damages.back()[byte] =
                static_cast<char>(static_cast<unsigned char>(file[byte]) ^ (1U << bit));
        }
    }
    return damages;
}

Damages shortened(const std::string &file, size_t step = 1)
{
    Damages damages;
    for (size_t size = 0; size < file.size(); size += step) {
        damages.push_back(file.substr(0, size));
    }
    return damages;
}

Damages extended(const std::string &file)
{
    Damages damages;
    for (const char filler : {'x', '\0', '\xFF'}) {
        for (size_t size = file.size() + 1; size < file.size() + 50; ++size) {
            damages.push_back(file + std::string(size - file.size(), filler));
        }
        // Around what one read takes, and far behind it.
        for (const size_t size :
             {size_t{4095}, size_t{4096}, size_t{4097}, size_t{5000}, size_t{100000}}) {
            if (size > file.size()) {
                damages.push_back(file + std::string(size - file.size(), filler));
            }
        }
    }
    return damages;
}

class Damage : public MadeStore {
protected:
    void expect_current_damage(const Damages &damages, const std::string &backup_file)
    {
        for (const std::string &damaged : damages) {
            expect_handled(damaged, backup_file);
        }
    }
    void expect_backup_damage(const Damages &damages, const std::string &current_file)
    {
        for (const std::string &damaged : damages) {
            expect_handled(current_file, damaged);
        }
    }

    void expect_handled(const std::string &current_file, const std::string &backup_file)
    {
        const NvCopyContents damaged{current_file, backup_file};
        current.put("a", damaged.current);
        backup.put("a", damaged.backup);
        expect_reads(damaged);
        EXPECT_EQ(nvm_init(), 0U);
        const NvCopyContents left{current.content("a"), backup.content("a")};
        EXPECT_EQ(left, repaired(damaged.current, damaged.backup, kDefault)) << damaged;
        expect_reads(left);
    }

    // With the largest buffer that is needed and with one that only just does not hold the value.
    static void expect_reads(const NvCopyContents &copies)
    {
        const std::string value = recovered(copies.current, copies.backup, kDefault);
        for (const size_t size : {kNvOneRead, value.size()}) {
            const uint32_t capacity = static_cast<uint32_t>(size);
            EXPECT_EQ(read_nv("a", capacity),
                      read_from(copies.current, copies.backup, kDefault, capacity))
                << copies;
        }
    }
};

} // namespace

TEST_F(Damage, every_flipped_bit_of_the_current_copy)
{
    const std::string file = stored(kValue);
    expect_current_damage(flipped(file, 0, file.size()), stored(kValue));
}

TEST_F(Damage, every_flipped_bit_of_the_backup)
{
    const std::string file = stored(kValue);
    const Damages damages = flipped(file, 0, file.size());
    expect_backup_damage(damages, stored(kValue));
    expect_backup_damage(damages, ""); // and it is the only copy
}

TEST_F(Damage, flipped_bits_at_both_ends_of_the_longest_value)
{
    const std::string file = stored(kLong);
    for (const size_t begin : {size_t{0}, file.size() / 2, file.size() - 4}) {
        const Damages damages = flipped(file, begin, begin + 4);
        expect_current_damage(damages, file);
        expect_backup_damage(damages, file);
        expect_backup_damage(damages, "");
    }
}

TEST_F(Damage, every_length_of_the_current_copy)
{
    for (const std::string &value : {kValue, std::string()}) {
        const std::string file = stored(value);
        expect_current_damage(shortened(file), stored(kOther));
        expect_current_damage(extended(file), stored(kOther));
        expect_current_damage(extended(value), stored(kOther)); // without a NUL
    }
}

TEST_F(Damage, every_length_of_the_backup)
{
    for (const std::string &value : {kValue, std::string()}) {
        const std::string file = stored(value);
        for (const Damages &damages : {shortened(file), extended(file), extended(value)}) {
            expect_backup_damage(damages, file);
            expect_backup_damage(damages, "");
        }
    }
}

TEST_F(Damage, lengths_of_the_longest_value)
{
    const std::string file = stored(kLong);
    for (const Damages &damages : {shortened(file, 45), extended(file), extended(kLong)}) {
        expect_current_damage(damages, stored(kOther));
        expect_backup_damage(damages, file);
        expect_backup_damage(damages, "");
    }
}

TEST_F(Damage, both_copies_gone_give_the_default)
{
    expect_handled("", "");
    EXPECT_EQ(read_nv("a"), found(kDefault));
}

TEST_F(Damage, both_copies_of_any_length)
{
    const std::string file = stored(kValue);
    for (const std::string &damaged : shortened(file)) {
        expect_backup_damage(shortened(stored(kOther)), damaged);
    }
}

} // namespace damage_test
