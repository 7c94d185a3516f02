#include <cctype>
#include <cmath>
#include <cstdio>

#include "preview/api/answers.h"
#include "preview/api/clip_requests.h"
#include "preview/api/preview_context.h"
#include "preview/export/export_job.h"
#include "preview/export/size_estimate.h"

namespace kalvetra {

namespace {

const char* nameOf(ExportStatus status) {
  static const char* const names[] = {"none", "running", "done", "failed", "cancelled"};
  return names[static_cast<std::size_t>(status)];
}

Json orNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

Json asJson(const ExportState& state, bool inFolder) {
  Json files = Json::array();
  for (const std::filesystem::path& file : state.files) files.push_back(file.filename().string());
  return {{"id", state.job},
          {"state", nameOf(state.status)},
          {"frames", state.frames},
          {"of", state.of},
          {"fps", state.fps},
          {"secondsLeft", state.secondsLeft ? Json(*state.secondsLeft) : Json()},
          {"checking", state.checking},
          {"error", orNull(state.error)},
          {"notes", state.notes},
          {"file", state.files.empty() ? Json() : Json(state.files.front().filename().string())},
          {"files", std::move(files)},
          {"folder", state.files.empty() || !inFolder ? Json() : Json(state.files.front().parent_path().string())},
          {"sequence", state.isSequence},
          {"size", state.size}};
}

// The name as a header can hold it: ASCII, and beside it the true one (RFC 6266).
std::string disposition(const std::string& name) {
  std::string plain, encoded;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    plain += byte < ' ' || byte > '~' || c == '"' || c == '\\' || c == '%' ? '_' : c;
    if (std::isalnum(byte) != 0 || c == '-' || c == '.' || c == '_') {
      encoded += c;
    } else {
      char code[4];
      std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned>(byte));
      encoded += code;
    }
  }
  return "attachment; filename=\"" + plain + "\"; filename*=UTF-8''" + encoded;
}

Answer download(const ExportJob& job, const Request& request) {
  Answer answer;
  answer.file = job.file(static_cast<std::size_t>(numberIn(request, "index", 1)));
  answer.type = "application/octet-stream";
  answer.headers.emplace_back("Content-Disposition", disposition(answer.file->filename().string()));
  return answer;
}

// Bytes that are free where exports go.
std::uintmax_t freeBytes(const Folders& folders) {
  namespace fs = std::filesystem;
  return fs::space(folders.all().empty() ? fs::temp_directory_path() : folders.all().front()).available;
}

void addSizeRoutes(Routes& routes, PreviewContext& context) {
  const auto estimator = std::make_shared<SizeEstimator>(
      clipJob(context.options),
      EstimateSources{context.clip, context.mattes, context.plates, context.backgrounds, context.precedence},
      context.stop);
  routes.post("api/export/size", [estimator, &context](const Request& request) {
    const double bytes = estimator->estimate(keyRequestIn(parseBody(request.body), context));
    return jsonAnswer({{"bytes", std::round(bytes)}, {"free", freeBytes(context.folders)}});
  });
  routes.remove("api/export/size", [estimator](const Request&) {
    estimator->cancel();
    return jsonAnswer(Json::object());
  });
}

}  // namespace

void addExportRoutes(Routes& routes, PreviewContext& context) {
  const auto& folders = context.folders.all();
  const bool inFolder = !folders.empty();
  const auto job =
      std::make_shared<ExportJob>(clipJob(context.options), inFolder ? folders.front() : std::filesystem::path());
  routes.post("api/export", [job, &context](const Request& request) {
    const Json body = parseBody(request.body);
    const std::string name = text(body, "name");
    const bool replace = flag(body, "replace", false);
    return jsonAnswer({{"id", job->start(keyRequestIn(body, context), name, replace)}});
  });
  routes.get("api/export", [job, inFolder](const Request&) { return jsonAnswer(asJson(job->state(), inFolder)); });
  routes.remove("api/export", [job](const Request&) {
    job->cancel();
    return jsonAnswer(Json::object());
  });
  addSizeRoutes(routes, context);
  routes.get("api/export/file", [job](const Request& request) { return download(*job, request); });
}

}  // namespace kalvetra
