#include "preview/http/preview_server.h"

#include <httplib.h>

#include <chrono>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>
#include <thread>

#include "preview/http/page_files.h"
#include "preview/http/token.h"
#include "support/user_error.h"

namespace kalvetra {

namespace {

constexpr const char* kHost = "127.0.0.1";
constexpr std::chrono::milliseconds kStopInterval{50};
constexpr std::chrono::seconds kLastAnswers{1};  // to be sent, once the server is to end
constexpr std::size_t kFilePiece = 1 << 18;      // bytes of a download at a time

const httplib::Headers& standardHeaders() {
  static const httplib::Headers headers{
      {"Content-Security-Policy",
       "default-src 'self'; img-src 'self' blob: data:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
      {"Cache-Control", "no-store"},
      {"Accept-Ranges", "none"},
      {"X-Content-Type-Options", "nosniff"},
      {"X-Frame-Options", "DENY"},
      {"Referrer-Policy", "no-referrer"},
      {"Cross-Origin-Opener-Policy", "same-origin"},
      {"Cross-Origin-Resource-Policy", "same-origin"}};
  return headers;
}

// With a provider of known length the library neither copies nor compresses what is sent.
template <class Bytes>
void sendBytes(httplib::Response& response, std::shared_ptr<const Bytes> bytes, const std::string& type) {
  if (bytes->empty()) return;
  response.set_content_provider(bytes->size(), type, [bytes](std::size_t offset, std::size_t length, auto& sink) {
    return sink.write(reinterpret_cast<const char*>(bytes->data()) + offset, length);
  });
}

// False when it is not there any more.
bool sendFile(httplib::Response& response, const std::filesystem::path& path, const std::string& type) {
  std::error_code error;
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  auto file = std::make_shared<std::ifstream>(path, std::ios::binary);
  if (error || !*file) return false;
  if (size == 0) return true;
  response.set_content_provider(size, type, [file](std::size_t offset, std::size_t length, auto& sink) {
    std::vector<char> piece(std::min(length, kFilePiece));
    file->seekg(static_cast<std::streamoff>(offset));
    if (!file->read(piece.data(), static_cast<std::streamsize>(piece.size()))) return false;
    return sink.write(piece.data(), piece.size());
  });
  return true;
}

void send(const Answer& answer, httplib::Response& response) {
  response.status = answer.status;
  for (const auto& [name, value] : answer.headers) response.set_header(name, value);
  if (answer.bytes) {
    sendBytes(response, answer.bytes, answer.type);
  } else if (!answer.file) {
    sendBytes(response, std::make_shared<const std::string>(answer.body), answer.type);
  } else if (!sendFile(response, *answer.file, answer.type)) {
    send(errorAnswer(404, answer.file->filename().string() + " is not there any more"), response);
  }
}

Answer pageFile(const std::string& name) {
  for (const PageFile& file : pageFiles()) {
    if (file.name != name) continue;
    Answer answer;
    answer.type = file.type;
    answer.body = file.content;
    return answer;
  }
  return errorAnswer(404, "there is nothing at this address");
}

const char* sentenceFor(int status) {
  switch (status) {
    case 403:
      return "only the page that this program serves may ask";
    case 404:
      return "there is nothing at this address";
    case 411:
      return "the request does not say how long it is";
    case 413:
      return "the request is larger than 1 MiB";
    case 414:
      return "the address is too long";
    case 415:
      return "the request is packed; send it as it is";
    default:
      return "this is no request that can be answered";
  }
}

bool isNumber(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

// Of those that a request with a body must have: the status with which it is refused.
std::optional<int> refusalOfLength(const httplib::Request& request) {
  switch (request.get_header_value_count("Content-Length")) {
    case 0:
      return 411;
    case 1:
      return isNumber(request.get_header_value("Content-Length")) ? std::nullopt : std::optional<int>(400);
    default:
      return 400;
  }
}

// The port of this machine that a socket belongs to; 0 for what is no such socket.
int portOf(int file) {
  sockaddr_in address{};
  socklen_t size = sizeof address;
  const bool known = getsockname(file, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  return known && address.sin_family == AF_INET ? ntohs(address.sin_port) : 0;
}

// Ends all connections of this process at that port. The library waits for what they still send, and has no such call.
void hangUp(int port) {
  std::error_code failed;
  for (std::filesystem::directory_iterator entry("/dev/fd", failed), end; !failed && entry != end;
       entry.increment(failed)) {
    const int file = std::atoi(entry->path().filename().c_str());
    if (portOf(file) == port) shutdown(file, SHUT_RDWR);
  }
}

}  // namespace

class PreviewServer::Http {
 public:
  Http(Routes routes, int port, const ServerLimits& limits) : routes_(std::move(routes)), token_(makeToken()) {
    // The library would share the port with any other server of this user.
    server_.set_socket_options([this](socket_t socket) {
      const int yes = 1;
      listening_ = socket;
      setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    server_.new_task_queue = [limits] { return new httplib::ThreadPool(limits.workers); };  // the server deletes it
    server_.set_tcp_nodelay(true);
    server_.set_keep_alive_max_count(1);  // a connection that stays open would occupy a worker
    server_.set_keep_alive_timeout(limits.idle.count());
    server_.set_read_timeout(limits.read);
    server_.set_write_timeout(limits.write);
    server_.set_payload_max_length(kLargestBody);
    server_.set_default_headers(standardHeaders());
    server_.set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      return takeHead(request, response) ? httplib::Server::HandlerResponse::Handled
                                         : httplib::Server::HandlerResponse::Unhandled;
    });
    server_.Post(".*", [this](const httplib::Request& request, httplib::Response& response) {
      send(answer(request), response);
    });
    server_.set_error_handler([](const httplib::Request& request, httplib::Response& response) {
      if (!response.has_header("Content-Type")) refuse(response.status, request, response);
    });
    bind(port);
    ::listen(listening_, SOMAXCONN);  // the library lets five wait, and loses others for seconds
  }

  std::string address() const { return "http://" + authority(kHost) + "/" + token_ + "/"; }
  int port() const { return port_; }

  void run(const std::atomic<bool>& stop) {
    std::atomic<bool> over{false};
    std::exception_ptr failure;
    std::thread listener([&] {
      try {
        server_.listen_after_bind();
      } catch (...) {
        failure = std::current_exception();
      }
      over = true;
    });
    // Before it is running it cannot be stopped.
    while (!over && !(stop && server_.is_running())) std::this_thread::sleep_for(kStopInterval);
    server_.stop();
    const auto patience = std::chrono::steady_clock::now() + kLastAnswers;
    while (!over) {
      std::this_thread::sleep_for(kStopInterval);
      if (std::chrono::steady_clock::now() >= patience) hangUp(port_);
    }
    listener.join();
    try {
      if (failure) std::rethrow_exception(failure);
    } catch (const std::system_error&) {
      throw UserError("the preview's threads cannot be started; raise the limit of processes");
    }
  }

 private:
  void bind(int port) {
    if (port == 0) {
      port_ = server_.bind_to_any_port(kHost);
      if (port_ < 0) throw UserError("no port of this machine can be listened on; check its network settings");
      return;
    }
    port_ = port;
    if (!server_.bind_to_port(kHost, port)) {
      throw UserError("port " + std::to_string(port) + " cannot be listened on; leave --port out for a free one");
    }
  }

  std::string authority(const std::string& host) const { return host + ":" + std::to_string(port_); }

  bool isOwnAuthority(const std::string& name) const {
    return name == authority(kHost) || name == authority("localhost");
  }

  // Against pages of other sites that reach for this server, under its own name or one of theirs.
  bool isFromHere(const httplib::Request& request) const {
    const std::string host = request.get_header_value("Host");
    if (request.get_header_value_count("Host") != 1 || !isOwnAuthority(host)) return false;
    return !request.has_header("Origin") || request.get_header_value("Origin") == "http://" + host;
  }

  // What follows the token in the path; nothing for a wrong token.
  std::optional<std::string> afterToken(const std::string& path) const {
    const std::size_t end = path.find('/', 1);
    if (path.empty() || end == std::string::npos) return std::nullopt;
    if (!sameToken(std::string_view(path).substr(1, end - 1), token_)) return std::nullopt;
    return path.substr(end + 1);
  }

  // The status with which a request is refused by its head. The library bounds bodies only where it knows their length.
  std::optional<int> refusal(const httplib::Request& request) const {
    static const std::set<std::string> methods{"GET", "HEAD", "POST", "DELETE"};
    if (!isFromHere(request)) return 403;
    if (!afterToken(request.path) || !methods.contains(request.method)) return 404;
    if (request.has_header("Range")) return 416;
    if (request.method != "POST") return std::nullopt;
    if (request.has_header("Content-Encoding")) return 415;
    if (request.has_header("Transfer-Encoding")) return 411;
    return refusalOfLength(request);
  }

  // An answer to a request for a part is to be empty: the library takes the part without a look at how long the answer
  // is.
  static void refuse(int status, const httplib::Request& request, httplib::Response& response) {
    response.status = status;
    if (!request.has_header("Range")) send(errorAnswer(status, sentenceFor(status)), response);
  }

  // Before a body is read. False for requests whose body counts: POST alone has one that does, and says how long it is.
  bool takeHead(const httplib::Request& request, httplib::Response& response) const {
    if (const std::optional<int> status = refusal(request)) {
      refuse(*status, request, response);
      return true;
    }
    if (request.method == "POST") return false;
    send(answer(request), response);
    return true;
  }

  // Of a request that is not refused.
  Answer answer(const httplib::Request& request) const {
    const std::string path = *afterToken(request.path);
    const std::string method = request.method == "HEAD" ? "GET" : request.method;
    if (method == "GET" && !path.starts_with("api/")) return pageFile(path.empty() ? "index.html" : path);
    Request checked{request.body, {}};
    for (const auto& [name, value] : request.params) checked.query[name] = value;
    return routes_.answer(method, path, checked);
  }

  Routes routes_;
  std::string token_;
  httplib::Server server_;
  socket_t listening_ = INVALID_SOCKET;
  int port_ = 0;
};

PreviewServer::PreviewServer(Routes routes, int port, const ServerLimits& limits)
    : http_(std::make_unique<Http>(std::move(routes), port, limits)) {}

PreviewServer::~PreviewServer() = default;

std::string PreviewServer::address() const { return http_->address(); }

int PreviewServer::port() const { return http_->port(); }

void PreviewServer::run(const std::atomic<bool>& stop) { http_->run(stop); }

}  // namespace kalvetra
