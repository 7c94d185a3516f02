// The preview's server under any bytes that a connection may bring: it answers or hangs up, lets nobody in without the
// token, and goes on.
#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "preview/http/preview_server.h"
#include "support/user_error.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/require.h"

namespace {

using kalvetra::Answer;
using kalvetra::PreviewServer;
using kalvetra::Request;
using kalvetra::Routes;
using kalvetra::test::require;

// Single bytes that stand for what no input can know, or seldom hits upon.
constexpr char kToken = '\x80', kHost = '\x81', kLineEnd = '\x82';
constexpr int kInputsBetweenChecks = 64;

Routes routes() {
  Routes all;
  all.post("api/echo", [](const Request& request) {
    Answer answer;
    answer.body = request.body;
    return answer;
  });
  all.get("api/refuse", [](const Request& request) -> Answer {
    throw kalvetra::UserError("no: " + (request.query.empty() ? std::string() : request.query.begin()->second));
  });
  all.remove("api/throw", [](const Request&) -> Answer { throw std::out_of_range("index"); });
  return all;
}

// Serves until the end of the process.
class Served {
 public:
  Served() : server_(routes(), 0, {.read = std::chrono::milliseconds{20}}), running_([this] { server_.run(stop_); }) {}
  ~Served() {
    stop_ = true;
    running_.join();
  }
  Served(const Served&) = delete;
  Served& operator=(const Served&) = delete;

  int port() const { return server_.port(); }
  // "/token/"
  std::string base() const { return server_.address().substr(server_.address().find('/', 8)); }

 private:
  std::atomic<bool> stop_{false};
  PreviewServer server_;
  std::thread running_;
};

// Sends all of it, and returns what comes until the server hangs up. The sending side stays open: to one that was shut
// the server's library answers nothing.
std::string exchange(int port, const std::string& bytes) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  require(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0, "no connection");
  for (std::size_t sent = 0; sent < bytes.size();) {
    const ssize_t count = ::send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (count <= 0) break;
    sent += static_cast<std::size_t>(count);
  }
  std::string answer(std::size_t{1} << 16, '\0');
  std::size_t got = 0;
  for (ssize_t count = 1; count > 0; got += static_cast<std::size_t>(std::max<ssize_t>(count, 0))) {
    if (got == answer.size()) answer.resize(2 * got);
    count = ::recv(socket, answer.data() + got, answer.size() - got, 0);
  }
  ::close(socket);
  answer.resize(got);
  return answer;
}

std::string spelledOut(const std::string& input, const Served& served) {
  std::string bytes;
  for (const char c : input) {
    if (c == kToken) {
      bytes += served.base();
    } else if (c == kHost) {
      bytes += "127.0.0.1:" + std::to_string(served.port());
    } else if (c == kLineEnd) {
      bytes += "\r\n";
    } else {
      bytes += c;
    }
  }
  return bytes;
}

void checkStillServes(const Served& served) {
  static int inputs = 0;
  if (inputs++ % kInputsBetweenChecks != 0) return;
  const std::string request = "POST " + served.base() +
                              "api/echo HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(served.port()) +
                              "\r\nContent-Length: 5\r\n\r\nhello";
  const std::string answer = exchange(served.port(), request);
  require(answer.starts_with("HTTP/1.1 200 ") && answer.ends_with("\r\n\r\nhello"), "a request is not served any more");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Served served;
  const std::string input = kalvetra::test::FuzzInput(data, size).rest();
  const std::string answer = exchange(served.port(), spelledOut(input, served));
  require(answer.empty() || answer.starts_with("HTTP/1.1 "), "no answer of HTTP: " + answer.substr(0, 80));
  const bool knowsToken = input.find(kToken) != std::string::npos;
  require(knowsToken || answer.find("HTTP/1.1 2") == std::string::npos, "served without the token");
  require(knowsToken || answer.find("HTTP/1.1 5") == std::string::npos, "failed without the token");
  require(answer.find("HTTP/1.1 500") == std::string::npos || answer.find("index") != std::string::npos,
          "an internal failure: " + answer.substr(0, 300));
  checkStillServes(served);
  return 0;
}
