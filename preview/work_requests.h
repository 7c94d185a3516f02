// What handlers of work on the whole clip read from requests. Everything throws UserError that names the member.
#pragma once

#include "preview/key_request.h"
#include "preview/preview_context.h"
#include "preview/request_json.h"

namespace kalvetra {

// The clip's job as `kalvetra key` with the same options would have it, without range and outputs.
KeyJob clipJob(const PreviewOptions& options);

// Members "start", the first frame, and "end", the first behind the range. What reaches to an end of the clip is left
// open, as a command without these options would be. `frames` is the clip's number, 0 when it is not known.
ClipRange rangeIn(const Json& body, std::int64_t frames);

// Member "over": "#rrggbb", or {"file": name}, which is the clip's background or a file in the folders. As Background
// takes it; empty where it is missing.
std::string backgroundIn(const Json& body, const Folders& folders);

// Members "settings", "start", "end", "delivery", "codec", "view" and "over". A background without a view means the
// composite.
KeyRequest keyRequestIn(const Json& body, const PreviewContext& context, std::int64_t frames);

// The query's whole number in lowest..highest, `fallback` where it is missing.
std::int64_t wholeNumberIn(const Request& request, const std::string& name, std::int64_t lowest, std::int64_t highest,
                           std::int64_t fallback);

// Texts that are not UTF-8 come out with a mark in place of what is not.
Answer jsonAnswer(const Json& json);

}  // namespace kalvetra
