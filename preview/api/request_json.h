// What handlers read from the bodies of requests. Everything throws UserError that names the member and what it may be.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "parameters/animated_settings.h"
#include "preview/http/routes.h"

namespace kalvetra {

using Json = nlohmann::ordered_json;

inline constexpr int kDeepestJson = 16;  // levels of lists and objects in a body

// The body as a JSON object.
Json parseBody(const std::string& body);

// The member as a whole number in lowest..highest.
std::int64_t wholeNumber(const Json& body, const char* name, std::int64_t lowest, std::int64_t highest);
// Likewise; `fallback` where it is missing or null.
std::int64_t wholeNumber(const Json& body, const char* name, std::int64_t lowest, std::int64_t highest,
                         std::int64_t fallback);
// The same of a value of the request's query.
std::int64_t wholeNumberIn(const Request& request, const std::string& name, std::int64_t lowest, std::int64_t highest);
bool flag(const Json& body, const char* name, bool fallback);
// The member as a text of at most 4096 bytes.
std::string text(const Json& body, const char* name);
std::string text(const Json& body, const char* name, const std::string& fallback);

// The member "settings": slugs with values as in presets. Over the table's defaults, or none of them when it is
// missing.
AnimatedSettings settingsIn(const Json& body);

// Settings as the page reads them: every slug with its value, or its list of [frame, value] pairs.
Json settingsAsJson(const AnimatedSettings& settings);

}  // namespace kalvetra
