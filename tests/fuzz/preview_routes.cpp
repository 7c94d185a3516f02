// The preview's answers to any method, path, query and body, without the server.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "media/ffmpeg.h"
#include "preview/api/preview_context.h"
#include "preview/api/request_json.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/require.h"
#include "tests/support/scratch_folder.h"

namespace {

using kalvetra::Answer;
using kalvetra::Json;
using kalvetra::PreviewOptions;
using kalvetra::Request;
using kalvetra::test::FuzzInput;
using kalvetra::test::require;

constexpr int kWidth = 24, kHeight = 16, kFrames = 5;
constexpr std::size_t kMostFiles = 50;  // in the folder, before it is emptied

struct Route {
  const char* method;
  const char* path;
};

// All but api/quit, after which nothing more is answered.
constexpr Route kRoutes[]{
    {"GET", "api/clip"},         {"GET", "api/parameters"},   {"POST", "api/picture"},     {"GET", "api/thumbnail"},
    {"POST", "api/pixel"},       {"POST", "api/sample"},      {"POST", "api/pick"},        {"POST", "api/strip"},
    {"GET", "api/strip"},        {"DELETE", "api/strip"},     {"POST", "api/export"},      {"GET", "api/export"},
    {"DELETE", "api/export"},    {"GET", "api/export/file"},  {"GET", "api/files"},        {"POST", "api/preset/text"},
    {"POST", "api/preset/read"}, {"POST", "api/preset/load"}, {"POST", "api/preset/save"}, {"POST", "api/command"},
    {"POST", "api/wheel"},       {"POST", "api/propose"}};

// A preview of a small clip, held from one input to the next.
class Preview {
 public:
  Preview() : context_(options(), stop_), routes_(makeRoutes(context_)) {}

  Answer ask(const std::string& method, const std::string& path, const Request& request) const {
    return routes_.answer(method, path, request);
  }

  // One export at a time, and not too many files.
  void settle() const {
    while (Json::parse(ask("GET", "api/export", {}).body).at("state") == "running") {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    namespace fs = std::filesystem;
    const fs::directory_iterator files(folder_.path("keys"));
    if (static_cast<std::size_t>(std::distance(begin(files), end(files))) < kMostFiles) return;
    for (const auto& entry : fs::directory_iterator(folder_.path("keys"))) fs::remove_all(entry.path());
  }

 private:
  PreviewOptions options() const {
    av_log_set_level(AV_LOG_QUIET);
    setenv("SVT_LOG", "0", 0);
    std::ofstream clip(folder_.path("clip.raw"), std::ios::binary);
    for (int i = 0; i < kFrames; ++i) {
      const kalvetra::test::Bytes frame = kalvetra::test::greenScreen(kWidth, kHeight, static_cast<std::uint64_t>(i));
      clip.write(reinterpret_cast<const char*>(frame.data()), static_cast<std::streamsize>(frame.size()));
    }
    clip.close();
    std::filesystem::create_directory(folder_.path("keys"));
    PreviewOptions all;
    all.input = folder_.path("clip.raw");
    all.source.raw = kalvetra::parseRawPictures("24x16@25:argb");
    all.sourceArguments = {"--raw", "24x16@25:argb"};
    all.folders = {folder_.path("keys")};
    return all;
  }

  kalvetra::test::ScratchFolder folder_;
  std::atomic<bool> stop_{false};
  kalvetra::PreviewContext context_;
  kalvetra::Routes routes_;
};

// "name=value&name=value"
std::map<std::string, std::string> queryOf(const std::string& text) {
  std::map<std::string, std::string> query;
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = std::min(text.find('&', from), text.size());
    const std::string pair = text.substr(from, end - from);
    const std::size_t equals = std::min(pair.find('='), pair.size());
    query[pair.substr(0, equals)] = equals < pair.size() ? pair.substr(equals + 1) : "";
    from = end + 1;
  }
  return query;
}

void check(const Answer& answer, const std::string& route) {
  require(answer.status >= 200 && answer.status < 500, route + " failed: " + answer.body);
  if (answer.type != "application/json") return;
  const Json body = Json::parse(answer.body, nullptr, false);
  require(body.is_object(), route + " answers with no object: " + answer.body);
  require(answer.status == 200 || body.at("error").is_string(), route + " is refused without a sentence");
}

}  // namespace

// A byte for the route, the query up to the end of the line, and the body.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Preview preview;
  FuzzInput in(data, size);
  const Route& route = kRoutes[static_cast<std::size_t>(in.byte()) % std::size(kRoutes)];
  const std::string text = in.rest();
  const std::size_t line = std::min(text.find('\n'), text.size());
  const Request request{text.substr(std::min(line + 1, text.size())), queryOf(text.substr(0, line))};
  check(preview.ask(route.method, route.path, request), route.path);
  preview.settle();
  return 0;
}
