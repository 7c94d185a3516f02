// What the server answers, by method and path; knows nothing of sockets.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kalvetra {

// A request that passed the server's checks.
struct Request {
  std::string body;
  std::map<std::string, std::string> query;  // ?name=value
};

// One of `body`, `bytes` and `file` is sent.
struct Answer {
  int status = 200;
  std::string type = "application/json";
  std::string body;
  std::shared_ptr<const std::vector<unsigned char>> bytes;  // for pictures: sent without a copy
  std::optional<std::filesystem::path> file;                // sent piece by piece, as a download
  std::vector<std::pair<std::string, std::string>> headers;
};

// Handlers run on many threads at once, and may throw: UserError is answered with 400 and its sentence, NotFound with
// 404, Conflict with 409, anything else with 500.
using Handler = std::function<Answer(const Request&)>;

class Routes {
 public:
  // `path` as "api/clip".
  void get(const std::string& path, Handler handler) { add("GET", path, std::move(handler)); }
  void post(const std::string& path, Handler handler) { add("POST", path, std::move(handler)); }
  void remove(const std::string& path, Handler handler) { add("DELETE", path, std::move(handler)); }

  // Never throws but for want of memory.
  Answer answer(const std::string& method, const std::string& path, const Request& request) const;

 private:
  void add(const std::string& method, const std::string& path, Handler handler) {
    handlers_[{path, method}] = std::move(handler);
  }

  std::map<std::pair<std::string, std::string>, Handler> handlers_;  // by path and method
};

// {"error": "sentence"}
Answer errorAnswer(int status, const std::string& sentence);

}  // namespace kalvetra
