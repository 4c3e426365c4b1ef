// Who may ask: requests that a foreign page makes a browser send are refused, whatever they ask.
#pragma once

#include "lteweb/http.h"
#include "lteweb/settings.h"

namespace lterouter::tools {

// Host: a name that leads here by the tricks of a foreign name server is none of ours. Origin and
// Sec-Fetch-Site: a page of ours names ours.
Refusal judge_origin(const Head &head, const Listen &listen, const Hosts &hosts);

// The value of a cookie; empty when there is none.
std::string_view cookie_value(const char *cookies, std::string_view name);

} // namespace lterouter::tools
