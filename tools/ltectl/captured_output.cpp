#include "ltectl/captured_output.h"

#include <fcntl.h>
#include <unistd.h>

namespace lterouter::tools {

CapturedOutput::CapturedOutput() : file_(tmpfile())
{
    if (file_ == nullptr) {
        return;
    }
    fflush(stdout);
    saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    if (saved_ < 0 || dup2(fileno(file_), STDOUT_FILENO) < 0) {
        restore();
        fclose(file_);
        file_ = nullptr;
    }
}

CapturedOutput::~CapturedOutput()
{
    restore();
    if (file_ != nullptr) {
        fclose(file_);
    }
}

size_t CapturedOutput::take(char *text, size_t size)
{
    restore();
    rewind(file_);
    const size_t length = fread(text, 1, size - 1, file_);
    text[length] = '\0';
    return length;
}

void CapturedOutput::restore()
{
    if (saved_ >= 0) {
        fflush(stdout);
        dup2(saved_, STDOUT_FILENO);
        close(saved_);
        saved_ = -1;
    }
}

} // namespace lterouter::tools
