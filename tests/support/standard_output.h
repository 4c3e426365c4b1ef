// Captures what a call prints to standard output.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace testing_support {

template <typename Call> std::string printed_by(Call call)
{
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

} // namespace testing_support
