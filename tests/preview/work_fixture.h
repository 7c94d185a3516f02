// A small clip, and the preview's routes over it without a server.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include "preview/api/preview_context.h"
#include "preview/api/request_json.h"
#include "tests/preview/drawn_matte.h"
#include "tests/support/command.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/wait_for.h"

namespace kalvetra::test {

// A noisy orange box that moves before a green screen, and a soft edge, so that there is something to flicker.
inline std::string drawClip(const std::string& file, const std::string& frames, const std::string& size = "160x90") {
  need(kFfmpeg + "-f lavfi -i color=0x2da54b:s=" + size +
       ":r=25 -vf \"drawbox=x=40:y=20:w=70:h=50:color=orange:t=fill,gblur=1.5,noise=alls=25:allf=t:all_seed=7\" "
       "-frames:v " +
       frames + " -c:v ffv1 -pix_fmt bgr0 -color_range pc '" + file + "'");
  return file;
}

inline const char* const kKeyColor = "#2da54b";

// As on a full disk: no file of this process grows beyond so many bytes.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes) : handler_(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit small = before_;
    small.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &small);
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_);
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_{};
  sighandler_t handler_;
};

class RoutedPreview {
 public:
  explicit RoutedPreview(PreviewOptions options) : context_(std::move(options), stop_), routes_(makeRoutes(context_)) {}

  Answer ask(const std::string& method, const std::string& path, const Json& body = Json::object(),
             const std::map<std::string, std::string>& query = {}) const {
    return routes_.answer(method, path, {body.dump(), query});
  }
  Json get(const std::string& path, const std::map<std::string, std::string>& query = {}) const {
    return parsed(ask("GET", path, Json::object(), query), 200);
  }
  Json post(const std::string& path, const Json& body) const { return parsed(ask("POST", path, body), 200); }
  // The sentence that answers a request which is to be refused with that status.
  std::string refusal(int status, const std::string& path, const Json& body) const {
    return parsed(ask("POST", path, body), status)["error"];
  }
  PreviewContext& context() const { return context_; }

 private:
  static Json parsed(const Answer& answer, int status) {
    EXPECT_EQ(status, answer.status) << answer.body;
    return Json::parse(answer.body);
  }

  std::atomic<bool> stop_{false};
  mutable PreviewContext context_;
  Routes routes_;
};

// For tests in which the clip's pictures do not matter.
inline const std::string& someClip() {
  static const ScratchFolder folder;
  static const std::string clip = drawClip(folder.path("clip.mkv"), "10");
  return clip;
}

inline PreviewOptions optionsFor(const std::string& clip, const std::vector<std::filesystem::path>& folders = {}) {
  PreviewOptions options;
  options.input = clip;
  options.folders = folders;
  options.threads = 2;
  return options;
}

}  // namespace kalvetra::test
