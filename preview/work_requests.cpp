#include "preview/work_requests.h"

#include <charconv>

#include "parameters/parameter_value.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

ShownView viewNamed(const std::string& name) {
  static const std::string names[] = {"source", "matte", "result", "plate", "status", "composite"};
  for (std::size_t i = 0; i < std::size(names); ++i) {
    if (name == names[i]) return static_cast<ShownView>(i);
  }
  throw UserError("\"view\" is none of source, matte, result, plate, status and composite");
}

bool isColor(const std::string& text) {
  return text.starts_with('#') && parseValue(*findParameter("key-color"), text).has_value();
}

}  // namespace

KeyJob clipJob(const PreviewOptions& options) {
  KeyJob job;
  job.input = options.input;
  job.source = options.source;
  job.threads = options.threads;
  return job;
}

ClipRange rangeIn(const Json& body, std::int64_t frames) {
  const std::int64_t start = wholeNumber(body, "start", 0, kLastKeyframe, 0);
  const std::int64_t end = wholeNumber(body, "end", 0, kLastKeyframe, kLastKeyframe);
  if (end <= start) throw UserError("the range is empty; its end is the first frame behind it");
  if (frames > 0 && start >= frames) throw UserError("the range begins behind the clip's last frame");
  ClipRange range;
  if (start > 0) range.start = Position{true, 0.0, start};
  if (end < (frames > 0 ? frames : kLastKeyframe)) range.end = Position{true, 0.0, end};
  return range;
}

std::string backgroundIn(const Json& body, const Folders& folders) {
  const auto over = body.find("over");
  if (over == body.end() || over->is_null()) return {};
  if (over->is_object()) return folders.picture(text(*over, "file")).string();
  const std::string color = text(body, "over");
  if (!isColor(color)) throw UserError("\"over\" is no colour; give #rrggbb or {\"file\": name}");
  return color;
}

KeyRequest keyRequestIn(const Json& body, const PreviewContext& context, std::int64_t frames) {
  KeyRequest request{settingsIn(body), rangeIn(body, frames)};
  request.purpose = text(body, "delivery", "");
  request.codec = text(body, "codec", "");
  const std::string view = text(body, "view", "");
  const std::string over = backgroundIn(body, context.folders);
  if (!view.empty()) request.view = viewNamed(view);
  if (view.empty() && !over.empty()) request.view = ShownView::Composite;
  if (request.view == ShownView::Composite) request.over = over;
  return request;
}

std::int64_t wholeNumberIn(const Request& request, const std::string& name, std::int64_t lowest, std::int64_t highest,
                           std::int64_t fallback) {
  const auto found = request.query.find(name);
  if (found == request.query.end()) return fallback;
  const std::string& text = found->second;
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < lowest || value > highest) {
    throw UserError("\"" + name + "\" is no whole number " + std::to_string(lowest) + ".." + std::to_string(highest));
  }
  return value;
}

Answer jsonAnswer(const Json& json) {
  Answer answer;
  answer.body = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  return answer;
}

}  // namespace kalvetra
