// What handlers read from requests that is about the clip. Everything throws UserError that names the member.
#pragma once

#include "preview/api/preview_context.h"
#include "preview/api/request_json.h"
#include "preview/export/key_request.h"

namespace kalvetra {

// What stands for the clip in the names of its files: "seq" for a/seq-%04d.png.
std::string plainStem(const std::string& input);

// The clip's job as `kalvetra key` with the same options would have it, without range and outputs.
KeyJob clipJob(const PreviewOptions& options);

// Members "start", the first frame, and "end", the first after the range. What reaches to an end of the clip is left
// open, as a command without these options would be. `frames` is the clip's number, 0 when it is not known.
ClipRange rangeIn(const Json& body, std::int64_t frames);

// Member "view", all six of them.
ShownView viewIn(const Json& body);

// Member "depth": "auto", which it is where it is missing, "8" or "deep".
DepthChoice depthIn(const Json& body);
// Whether the clip is keyed at full depth then, with those settings.
bool isDeepIn(const Json& body, const PreviewContext& context, const AnimatedSettings& settings);

// Member "over": "#rrggbb", or {"file": name}, which is the clip's background or a file in the folders. As Background
// takes it.
std::string overIn(const Json& body, const PreviewContext& context);

// Members "settings", "start", "end", "delivery", "codec", "view", "over", "keepPartial" and "depth". A background
// without a view means the composite.
KeyRequest keyRequestIn(const Json& body, PreviewContext& context);

// The query's whole number 0..highest, 0 where it is missing.
std::int64_t numberIn(const Request& request, const std::string& name, std::int64_t highest);

}  // namespace kalvetra
