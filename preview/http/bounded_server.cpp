#include "preview/http/bounded_server.h"

#include <algorithm>

#include "preview/http/connection.h"
#include "preview/http/waiting_room.h"

namespace kalvetra {

namespace {

// Thrown through the library, from between a request's head and its body, which it begins again later.
struct BodyIsMissing {
  std::size_t length;
};

std::size_t bodyLength(const httplib::Request& request, std::size_t largest) {
  const auto length = request.get_header_value<std::uint64_t>("Content-Length");
  return static_cast<std::size_t>(std::min<std::uint64_t>(length, largest + 1));
}

}  // namespace

// Takes the place of the library's workers, which would each have one connection.
class BoundedServer::Reception : public httplib::TaskQueue {
 public:
  Reception(BoundedServer& server, std::size_t workers)
      : workers_(workers), room_(server.limits_.connections, [this, &server](std::unique_ptr<Connection> connection) {
          // A function that the queue takes must be copyable.
          workers_.enqueue([&server, shared = std::make_shared<std::unique_ptr<Connection>>(std::move(connection))] {
            server.serve(std::move(*shared));
          });
        }) {}

  WaitingRoom& room() { return room_; }

  // Here: it only brings the socket to the room.
  void enqueue(std::function<void()> task) override { task(); }
  void shutdown() override {
    room_.close();
    workers_.shutdown();
  }

 private:
  httplib::ThreadPool workers_;
  WaitingRoom room_;
};

BoundedServer::BoundedServer(std::size_t workers, const ConnectionLimits& limits, Admits admits)
    : limits_(limits), admits_(std::move(admits)) {
  new_task_queue = [this, workers] { return reception_ = new Reception(*this, workers); };  // the server deletes it
}

bool BoundedServer::process_and_close_socket(socket_t socket) {
  reception_->room().take(std::make_unique<Connection>(socket, svr_sock_, limits_));
  return true;
}

// Called between a request's head and its body.
void BoundedServer::prepare(httplib::Request& request, Connection& connection) const {
  request.ranges.clear();  // the library does not compare them with what there is
  // Of a request that may have a body but does not say so, the library would read until the connection ends.
  if (request.method == "DELETE" && !request.has_header("Content-Length")) {
    request.headers.emplace("Content-Length", "0");
  }
  const std::size_t length = bodyLength(request, payload_max_length_);
  connection.setAdmitted(admits_(request));
  if (connection.isAdmitted() && !connection.hasBody(length)) {
    if (request.get_header_value("Expect") == "100-continue") connection.write_format("HTTP/1.1 100 Continue\r\n\r\n");
    throw BodyIsMissing{length};
  }
  request.headers.erase("Expect");  // it has come, or is not wanted
  if (!connection.isAdmitted()) {
    request.headers.erase("Connection");
    request.headers.emplace("Connection", "close");  // so says the answer, too
  }
  connection.beginBody(length);
}

void BoundedServer::serve(std::unique_ptr<Connection> connection) {
  connection->beginHead();
  bool closed = false;
  const bool isLast = connection->requests() >= keep_alive_max_count_;
  const auto setUp = [&](httplib::Request& request) { prepare(request, *connection); };
  try {
    const bool goesOn = process_request(*connection, isLast, closed, setUp) && !closed && !isLast;
    goesOn && connection->isAdmitted() && connection->isAtEnd() ? connection->awaitRequest() : connection->awaitEnd();
  } catch (const BodyIsMissing& body) {
    connection->awaitBody(body.length);
  }
  reception_->room().takeBack(std::move(connection));
}

}  // namespace kalvetra
