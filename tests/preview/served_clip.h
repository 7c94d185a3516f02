// A preview of a small clip, asked over HTTP.
#pragma once

#include <gtest/gtest.h>
#include <httplib.h>

#include <nlohmann/json.hpp>
#include <thread>

#include "preview/api/preview_context.h"
#include "preview/http/preview_server.h"
#include "tests/support/run_program.h"
#include "tests/support/scratch_folder.h"

namespace kalvetra::test {

using Json = nlohmann::json;

// Draws a subject moving over an unevenly lit green backdrop, 160 x 90; `options` are ffmpeg's for the output.
inline std::string makeGreenClip(
    const ScratchFolder& folder, const std::string& name, int frames = 30,
    const std::string& options = "-pix_fmt yuv420p -c:v libx264 -preset veryfast -g 30 -bf 3") {
  const std::string file = folder.path(name);
  const std::string in = "between(X,40+30*T,80+30*T)*gte(Y,20)", light = "(0.8+0.3*X/W)";
  const auto channel = [&](const std::string& subject, const std::string& backdrop) {
    return "'if(" + in + "," + subject + "," + backdrop + "*" + light + ")'";
  };
  need("ffmpeg -nostdin -v error -y -f lavfi -i \"color=s=160x90:r=25,format=gbrp,geq=r=" + channel("180", "45") +
       ":g=" + channel("120", "165") + ":b=" + channel("90", "75") + "\" -frames:v " + std::to_string(frames) + " " +
       options + " " + file);
  return file;
}

class ServedClip {
 public:
  explicit ServedClip(PreviewOptions options)
      : context(with(std::move(options)), stop_), server_(makeRoutes(context)), base_(pathOf(server_.address())) {
    running_ = std::thread([this] { server_.run(stop_); });
  }
  ~ServedClip() {
    stop_ = true;
    running_.join();
  }

  httplib::Client client() const {
    httplib::Client client("127.0.0.1", server_.port());
    client.set_read_timeout(60);
    return client;
  }
  const std::string& base() const { return base_; }

  httplib::Response post(const std::string& path, const std::string& body) const {
    const auto answer = client().Post(base_ + path, body, "application/json");
    return answer ? *answer : httplib::Response();
  }
  httplib::Response post(const std::string& path, const Json& body) const { return post(path, body.dump()); }
  httplib::Response get(const std::string& path) const {
    const auto answer = client().Get(base_ + path);
    return answer ? *answer : httplib::Response();
  }
  Json json(const std::string& path, const Json& body) const { return Json::parse(post(path, body).body); }
  Json json(const std::string& path) const { return Json::parse(get(path).body); }

 private:
  static PreviewOptions with(PreviewOptions options) {
    av_log_set_level(AV_LOG_QUIET);
    options.threads = 2;
    return options;
  }
  static std::string pathOf(const std::string& address) { return address.substr(address.find('/', 8)); }

  std::atomic<bool> stop_{false};

 public:
  PreviewContext context;

 private:
  PreviewServer server_;
  std::string base_;
  std::thread running_;
};

}  // namespace kalvetra::test
