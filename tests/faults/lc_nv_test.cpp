// Effects of failing calls in the parameter stores. They report little: an unreadable parameter counts
// as missing, and failures to write, lock or truncate are not detected. So the results include the
// files' contents.
#include "harness.h"

#include "lc_nv.h"
#include "support/parameter_files.h"

namespace lc_nv_test {

using namespace faults;
using testing_support::ParameterFolder;
using testing_support::read_text;
using testing_support::stored;
using testing_support::with_checksum;
using testing_support::write_text;

namespace {

const ParameterFolder g_ram(NVMRAM_DIR);
const ParameterFolder g_current(NVM_CURRENT_DIR);
const ParameterFolder g_backup(NVM_BACKUP_DIR);

constexpr char kFile[] = "/tmp/exchange";
constexpr char kIdentity[] = "pri_version=0=1\nup_dev_sku=0=s\n";

std::string ended(const std::string &content) { return content.substr(0, content.find('\0')); }

// ---- The RAM store ----

void empty_ram_store()
{
    mkdir(NVMRAM_DIR, 0777);
    unlink(g_ram.file_of("a").c_str());
}

void fill_ram_store()
{
    empty_ram_store();
    g_ram.put("a", stored("old value"));
}

void remove_ram_store()
{
    unlink(g_ram.file_of("a").c_str());
    rmdir(NVMRAM_DIR);
}

std::string ram_read()
{
    char value[64] = "";
    const uint32_t result = nvmram_readnv("a", value, sizeof(value));
    return shown(result) + " " + value;
}

std::string ram_written()
{
    const uint32_t result = nvmram_writenv("a", "new", 64);
    const Quiet quiet;
    return shown(result) + " " + ended(g_ram.content("a"));
}

// ---- The persistent store ----

void make_store(const char *current, const char *backup)
{
    for (const char *folder : {"/2ndfile/nv", NVM_CURRENT_DIR, NVM_BACKUP_DIR}) {
        mkdir(folder, 0777);
    }
    rmdir(NVM_SHUTDOWN_MARKER);
    write_text(NVM_DEFAULTS_FILE, std::string(kIdentity) + "a=1=default\n");
    for (const auto &[folder, content] :
         {std::pair(&g_current, current), std::pair(&g_backup, backup)}) {
        unlink(folder->file_of("a").c_str());
        if (content != nullptr) {
            folder->put("a", stored(content));
        }
    }
}

std::function<void()> store_with(const char *current, const char *backup)
{
    return [current, backup] { make_store(current, backup); };
}

// The same without the parameters of the identity.
std::function<void()> one_parameter(const char *current, const char *backup)
{
    return [current, backup] {
        make_store(current, backup);
        write_text(NVM_DEFAULTS_FILE, "a=1=default\n");
    };
}

std::string copies() { return ended(g_current.content("a")) + "/" + ended(g_backup.content("a")); }

std::string read_back()
{
    char value[64] = "";
    const uint32_t result = nvm_readnv("a", value, sizeof(value));
    return shown(result) + " " + value;
}

template <typename Act> std::function<std::string()> and_copies(Act act)
{
    return [act] {
        const uint32_t result = act();
        const Quiet quiet;
        return shown(result) + " " + copies();
    };
}

uint32_t write_new() { return nvm_writenv("a", "new", 64); }

// ---- Exchange ----

// What an import would make of the file.
std::string exported()
{
    const uint32_t result = nvm_export(kFile, 1, 1);
    const Quiet quiet;
    char value[64] = "";
    const uint32_t found = nvm_parsefile(kFile, "a", value, sizeof(value), 1);
    return shown(result) + " " + (found == NV_SUCCESS ? value : "spoilt");
}

void write_import()
{
    make_store("old", "old");
    write_text(kFile, with_checksum(std::string(kIdentity) + "a=0=new\n"));
}

// ---- Rules ----

// A file of parameters that cannot be read, of code's result; part of its name.
Rules unreadable(const std::string &result, const char *name)
{
    return {{.call = "fopen64", .result = result, .subject = name},
            {.call = "fgets", .result = result, .subject = name}};
}

// One that begins with a checksum which cannot be verified. What follows it is read in pieces, so that
// a short one does no harm.
Rules unverifiable(const std::string &result)
{
    return {{.call = "fread", .result = "", .nth = 2, .how = {"short"}},
            {.call = "fread", .result = "", .nth = 3},
            {.call = "fread", .result = result},
            {.call = "fseek", .result = result}};
}

Rule of(const char *call, int nth, const char *result, std::vector<std::string> how = {})
{
    return {.call = call, .result = result, .nth = nth, .how = std::move(how)};
}

// mkdir of something that is there.
const Rules kMkdirFails = {{.call = "mkdir", .result = "0", .how = {"EEXIST"}},
                           {.call = "mkdir", .result = "5"}};

const bool g_ram_store = enlist({
    {.function = "nvmram_init",
     .act = [] { return shown(nvmram_init()); },
     .rules = kMkdirFails,
     .setup = remove_ram_store,
     .undo = remove_ram_store},
    {.function = "nvmram_readnv",
     .act = ram_read,
     // The last byte that was read is taken for the terminator.
     .rules = {of("open64", 1, "1 "), of("read", 1, "0 ", {"short"}), of("read", 1, "1 ")},
     .setup = fill_ram_store},
    {.function = "nvmram_writenv",
     .act = ram_written,
     // What is not written leaves the old value; one that is not cut keeps the old one's end.
     .rules = {of("write", 1, "0 n", {"short"}), of("write", 1, "0 old value")},
     .setup = fill_ram_store},
    {.function = "nvmram_writenv",
     .story = "creates_a_parameter",
     .act = ram_written,
     .rules = {of("open64", 2, "5 "), of("open64", 3, "0 "), of("write", 1, "0 n", {"short"}),
               of("write", 1, "0 ")},
     .setup = empty_ram_store},
    {.function = "nvmram_clear", .act = [] { return shown(nvmram_clear()); }, .setup = fill_ram_store},
    {.function = "nvram_match",
     .act = [] { return shown(nvram_match("a", "old value")); },
     .rules = {of("open64", 1, "5"), of("read", 1, "6", {"short"}), of("read", 1, "5")},
     .setup = fill_ram_store},
});

const bool g_persistent_store = enlist({
    // The backup stands in for a current copy that cannot be read.
    {.function = "nvm_readnv",
     .act = read_back,
     .rules = {of("open64", 1, "0 old"), of("read", 1, "0 ", {"short"}), of("read", 1, "0 old")},
     .setup = store_with("new", "old")},
    {.function = "nvm_readnv",
     .story = "of_the_default",
     .act = read_back,
     .rules = unreadable("5 ", "default.cfg"),
     .setup = store_with(nullptr, nullptr)},
    {.function = "nvm_writenv",
     .act = and_copies(write_new),
     // The copy that opens first is written first, and is enough.
     .rules = {of("open64", 2, "0 new/old"), of("write", 1, "0 n/new", {"short"}),
               of("write", 1, "0 old/new"), of("write", 2, "0 new/n", {"short"}),
               of("write", 2, "0 new/old")},
     .setup = store_with("old", "old")},
    {.function = "nvm_writenv",
     .story = "with_the_backup_alone",
     .act = and_copies(write_new),
     .rules =
         {// As the defaults file allows it, both are created then.
          of("open64", 3, "0 /new"), of("write", 1, "0 new/n", {"short"}), of("write", 1, "0 new/old"),
          of("write", 2, "0 n/new", {"short"}), of("write", 2, "0 /new")},
     .setup = store_with(nullptr, "old")},
    {.function = "nvm_writenv",
     .story = "of_a_declared_parameter",
     .act = and_copies(write_new),
     .rules = unreadable("5 /", "default.cfg") +
              Rules{of("open64", 3, "0 /new"), of("open64", 4, "0 new/"),
                    of("write", 1, "0 n/new", {"short"}), of("write", 1, "0 /new"),
                    of("write", 2, "0 new/n", {"short"}), of("write", 2, "0 new/")},
     .setup = store_with(nullptr, nullptr)},
    {.function = "nvm_match",
     .act = [] { return shown(nvm_match("a", "old")); },
     .rules = {of("read", 1, "6", {"short"})},
     .setup = store_with("old", "old")},
    {.function = "nvm_clear",
     .act = [] { return shown(nvm_clear()); },
     .setup = store_with("old", "old")},
    {.function = "nvm_fin",
     .act = [] { return shown(nvm_fin()); },
     .rules = kMkdirFails,
     .setup = store_with("old", "old")},
    {.function = "nvm_init",
     .story = "after_an_orderly_end",
     .act =
         [] { return shown(nvm_init()) + (access(NVM_SHUTDOWN_MARKER, F_OK) == 0 ? " marked" : ""); },
     // A marker that is not seen costs a repair that was not needed.
     .rules = {{.call = "stat64",
                .result = "0 marked",
                .said = {note("dir is not exist")},
                .unsaid = {note("dir is exist")}},
               {.call = "rmdir", .result = "5 marked"}},
     .setup =
         [] {
             make_store("new", "new");
             mkdir(NVM_SHUTDOWN_MARKER, 0777);
         },
     .once = true,
     .only = {"stat64", "rmdir"}},
    // The current copy counts unless it cannot be opened or read; then the backup does.
    {.function = "nvm_init",
     .story = "with_a_backup_that_differs",
     .act = and_copies(nvm_init),
     .rules = {{.call = "fopen64", .result = "5 new/old", .subject = "default.cfg"},
               {.call = "mkdir", .result = "0 new/new", .how = {"EEXIST"}},
               {.call = "mkdir", .result = "5 new/old"},
               of("fgets", 1, "5 new/old"),
               of("fgets", 2, "5 new/new"),
               of("open64", 1, "0 old/old"),
               // What there is to be read is the parameter's value and its terminator, however little.
               of("read", 1, "0 n/", {"short"}),
               of("read", 1, "0 old/old"),
               of("open64", 2, "0 old/old"),
               of("lseek64", 1, "0 new/old"),
               of("write", 1, "0 new/nld", {"short"}),
               of("write", 1, "0 new/old")},
     .setup = one_parameter("new", "old"),
     .once = true},
    {.function = "nvm_init",
     .story = "with_the_backup_alone",
     .act = and_copies(nvm_init),
     .rules = {{.call = "fopen64", .result = "5 /old", .subject = "default.cfg"},
               {.call = "mkdir", .result = "0 old/old", .how = {"EEXIST"}},
               {.call = "mkdir", .result = "5 /old"},
               of("fgets", 1, "5 /old"),
               of("fgets", 2, "5 old/old"),
               of("open64", 2, "0 default/default"),
               of("read", 1, "0 /o", {"short"}),
               of("read", 1, "0 default/default"),
               of("open64", 3, "0 default/default"),
               of("write", 1, "0 o/old", {"short"}),
               of("write", 1, "0 /old")},
     .setup = one_parameter(nullptr, "old"),
     .once = true},
    {.function = "nvm_init",
     .story = "with_no_copy",
     .act = and_copies(nvm_init),
     .rules = {{.call = "fopen64", .result = "5 /", .subject = "default.cfg"},
               {.call = "mkdir", .result = "0 default/default", .how = {"EEXIST"}},
               {.call = "mkdir", .result = "5 /"},
               of("fgets", 1, "5 /"),
               of("fgets", 2, "5 default/default"),
               of("open64", 3, "0 /default"),
               of("open64", 4, "0 default/"),
               of("write", 1, "0 d/default", {"short"}),
               of("write", 1, "0 /default"),
               of("write", 2, "0 default/d", {"short"}),
               of("write", 2, "0 default/")},
     .setup = one_parameter(nullptr, nullptr),
     .once = true},
});

const bool g_exchange =
    enlist({
        // What could not be written is not reported, but no import takes it.
        {.function = "nvm_export",
         .act = exported,
         .rules = {of("open64", 1, "3 spoilt"),
                   {.call = "fopen64", .result = "5 spoilt"},
                   {.call = "fgets", .result = "5 spoilt"},
                   {.call = "lseek64", .result = "3 spoilt"},
                   of("open64", 2, "0 old"),
                   of("read", 1, "0 ", {"short"}),
                   of("read", 1, "0 old"),
                   {.call = "write", .result = "0 spoilt"}},
         .setup =
             [] {
                 make_store("new", "old");
                 unlink(kFile);
             }},
        {.function = "nvm_import",
         .act = and_copies([] { return nvm_import(kFile, 1, 1, 1); }),
         // A stream that has failed once is not trusted to the end, though all of it was applied.
         .rules =
             Rules{of("fread", 3, "3 new/new", {"EINTR", "EIO"})} + unverifiable("3 old/old") +
             Rules{
                 {.call = "fopen64", .result = "3 old/old", .said = {"lc_fopen: %e"}, .subject = kFile},
                 {.call = "fopen64", .result = "5 old/old", .subject = "default.cfg"},
                 of("open64", 1, "0 old/new"),
                 of("open64", 2, "0 new/old"),
                 of("write", 1, "0 n/new", {"short"}),
                 of("write", 1, "0 old/new"),
                 of("write", 2, "0 new/n", {"short"}),
                 of("write", 2, "0 new/old"),
                 of("fgets", 15, "3 new/new"), // its end
                 {.call = "fgets", .result = "3 old/old", .subject = kFile},
                 {.call = "fgets", .result = "5 old/old"}},
         .setup = write_import},
        {.function = "nvm_routerreset",
         .act = and_copies(nvm_routerreset),
         .rules = {{.call = "fopen64", .result = "3 old/old", .said = {"lc_fopen: %e"}, .nth = 1},
                   {.call = "fopen64", .result = "5 old/old"},
                   // Its own lines and, for each of them, those of the same file as the declarations.
                   of("fgets", 1, "3 old/old"),
                   of("fgets", 2, "5 old/old"),
                   of("fgets", 3, "3 default/default"),
                   of("open64", 1, "0 old/default"),
                   of("open64", 2, "0 default/old"),
                   of("write", 1, "0 d/default", {"short"}),
                   of("write", 1, "0 old/default"),
                   of("write", 2, "0 default/d", {"short"}),
                   of("write", 2, "0 default/old")},
         .setup = one_parameter("old", "old")},
        {.function = "nvm_parsefile",
         .act =
             [] {
                 char value[64] = "";
                 const uint32_t result = nvm_parsefile(kFile, "a", value, sizeof(value), 1);
                 return shown(result) + " " + value;
             },
         .rules = unverifiable("3 ") + unreadable("3 ", kFile),
         .setup = write_import},
        calls_nothing("nv_parse_line",
                      [] {
                          char line[] = "a=1=x\n";
                          char *name;
                          uint32_t bits;
                          char *value;
                          return shown(nv_parse_line(line, &name, &bits, &value, "file", 1));
                      }),
        calls_nothing("nv_crc32_update", [] { return shown(nv_crc32_update(0, "123456789", 9)); }),
    });

} // namespace

} // namespace lc_nv_test
