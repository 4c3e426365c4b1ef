#include "lteweb/jobs.h"

#include "common/slice.h"
#include "ltectl/clock.h"
#include "lteweb/json_text.h"

namespace lterouter::tools {
namespace {

constexpr size_t kLongestResults = 64 * 1024;

// ltectl calls the image by the name by which it reads it, which is none of the owner's.
void add_message(std::string_view text, Bytes *message)
{
    constexpr std::string_view kRead = "/dev/stdin";
    for (size_t place; (place = text.find(kRead)) != std::string_view::npos;) {
        message->add(slice(text, 0, place), kLongestResults);
        message->add("the uploaded file", kLongestResults);
        text.remove_prefix(place + kRead.size());
    }
    message->add(text, kLongestResults);
}

} // namespace

bool Job::start(const Settings &settings, CommandLine &line, int stdin_file)
{
    line.add(nullptr);
    if (!child_.start(
            settings.ltectl, line.arguments, line.input, stdin_file,
            {.on_line = on_line, .on_end = on_end, .context = this, .longest_ms = longest_ms_})) {
        return false;
    }
    ever_ = true;
    started_ms_ = wall_clock_ms();
    objects_.clear();
    message_.clear();
    publish_own([](JsonObject &) {}); // a search prints nothing until its end
    return true;
}

void Job::on_line(void *context, std::string_view line) { static_cast<Job *>(context)->add_line(line); }

void Job::on_end(void *context, Child &) { static_cast<Job *>(context)->finish(); }

void Job::add_line(std::string_view line)
{
    if (!is_object(line)) {
        return;
    }
    // Beyond the limit a line is only published.
    if (objects_.size() + line.size() + 1 < kLongestResults) {
        const bool added = objects_.size() == 0 || objects_.add(",", kLongestResults);
        if (added && !objects_.add(line, kLongestResults)) {
            objects_.clear();
        }
    }
    publish_own([=](JsonObject &event) { event.raw("object", line); });
}

void Job::finish()
{
    exit_code_ = child_.exit_code();
    add_message(child_.errors(), &message_);
    publish_own([this](JsonObject &event) {
        event.number("exit", exit_code_).text("message", message_.view());
    });
}

void Job::note_elsewhere(bool elsewhere)
{
    if (elsewhere_ != elsewhere) {
        elsewhere_ = elsewhere;
        publish([](JsonObject &) {});
    }
}

template <typename Add> void Job::publish_own(Add add)
{
    publish([=, this](JsonObject &event) {
        event.number("started", started_ms_);
        add(event);
    });
}

template <typename Add> void Job::publish(Add add)
{
    TextStream text;
    if (text) {
        JsonObject event(text.file());
        event.text("job", name_).boolean("running", running());
        add(event);
    }
    if (text.finish()) {
        listeners_.publish("job", text.view());
    }
}

void Job::write(FILE *file) const
{
    JsonObject object(file);
    object.boolean("running", running());
    if (!ever_ || elsewhere_) {
        return;
    }
    object.number("started", started_ms_);
    fprintf(object.key("objects"), "[%.*s]", static_cast<int>(objects_.size()), objects_.view().data());
    if (!running()) {
        object.number("exit", exit_code_).text("message", message_.view());
    }
}

} // namespace lterouter::tools
