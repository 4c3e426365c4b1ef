// Entries traced at one source position, and their beginning.
#pragma once

#include "lct_trace/trace.h"

// Appends the text, a format with its arguments, as f of the client would in line 7.
#define TRACE(...) lterouter::trace(lterouter::place(lterouter::kTraceSdk, 7), "f", __VA_ARGS__)

// The same as it stands in the file.
#define ENTRY(text) "[lib/lte_sdk:f:7]" text
