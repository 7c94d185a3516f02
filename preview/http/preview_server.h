// The HTTP side of the preview: one page for one user on this machine.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "preview/http/connection_limits.h"
#include "preview/http/routes.h"

namespace kalvetra {

// Listens on 127.0.0.1 alone. Every path begins with a random token; requests with another host, or from a page of
// another origin, are refused before their bodies are read, and requests are bounded in size and time.
class PreviewServer {
 public:
  static constexpr std::size_t kLargestBody = std::size_t{1} << 20;  // bytes

  // Serves the page's files and `routes`. Port 0: any free one. Throws UserError when the port cannot be had.
  explicit PreviewServer(Routes routes, int port = 0, const ConnectionLimits& limits = {});
  ~PreviewServer();
  PreviewServer(const PreviewServer&) = delete;
  PreviewServer& operator=(const PreviewServer&) = delete;

  // "http://127.0.0.1:43210/0123...ef/", a token of 32 digits.
  std::string address() const;
  int port() const;

  // Answers requests until `stop` is true; an answer under way then has a second left to be sent.
  void run(const std::atomic<bool>& stop);

 private:
  class Http;
  std::unique_ptr<Http> http_;
};

}  // namespace kalvetra
