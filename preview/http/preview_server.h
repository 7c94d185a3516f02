// The HTTP side of the preview: one page for one user on this machine.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "preview/http/routes.h"

namespace kalvetra {

struct ServerLimits {
  std::chrono::seconds idle{1};          // until a request begins
  std::chrono::milliseconds read{3000};  // until the next byte of one comes
  std::chrono::seconds write{30};        // until the other side takes the next bytes of an answer
  std::size_t workers = 64;              // threads, of which every open connection has one; the others wait
};

// Listens on 127.0.0.1 alone. Every path begins with a random token; requests with another host, or from a page of
// another origin, are refused before their bodies are read. Each connection brings one request.
class PreviewServer {
 public:
  static constexpr std::size_t kLargestBody = std::size_t{1} << 20;  // bytes

  // Serves the page's files and `routes`. Port 0: any free one. Throws UserError when the port cannot be had.
  explicit PreviewServer(Routes routes, int port = 0, const ServerLimits& limits = {});
  ~PreviewServer();
  PreviewServer(const PreviewServer&) = delete;
  PreviewServer& operator=(const PreviewServer&) = delete;

  // "http://127.0.0.1:43210/0123...ef/", a token of 32 digits.
  std::string address() const;
  int port() const;

  // Answers requests until `stop` is true; connections that are open then have a second left.
  void run(const std::atomic<bool>& stop);

 private:
  class Http;
  std::unique_ptr<Http> http_;
};

}  // namespace kalvetra
