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

#include "support/user_error.h"

namespace kalvetra {

// A request that passed the server's checks.
struct Request {
  std::string body;
  std::map<std::string, std::string> query;  // ?name=value
};

using Bytes = std::vector<unsigned char>;

// One of `body`, `bytes` and `file` is sent.
struct Answer {
  int status = 200;
  std::string type = "application/json";
  std::string body;
  std::shared_ptr<const Bytes> bytes;         // for pictures: sent without a copy
  std::optional<std::filesystem::path> file;  // sent piece by piece, as a download
  std::vector<std::pair<std::string, std::string>> headers;
};

// A sentence with a status other than 400, which any UserError gives: 404, 409 ...
class Refusal : public UserError {
 public:
  Refusal(int status, const std::string& sentence) : UserError(sentence), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

// Handlers run on many threads at once, and may throw: UserError is answered with 400 and its sentence, a Refusal with
// its own status, anything else with 500.
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
