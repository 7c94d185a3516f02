#include "preview/bounded_server.h"

#include <algorithm>

#include "preview/connection.h"

namespace kalvetra {

namespace {

// Called between a request's head and its body.
void prepare(httplib::Request& request, std::size_t largestBody, Connection& connection) {
  request.ranges.clear();  // the library does not compare them with what there is
  // Of a request that may have a body but does not say so, the library would read until the connection ends.
  if (request.method == "DELETE" && !request.has_header("Content-Length")) {
    request.headers.emplace("Content-Length", "0");
  }
  const bool isKnown = !request.has_header("Transfer-Encoding");
  const auto length = request.get_header_value<std::uint64_t>("Content-Length");
  connection.beginBody(isKnown ? std::min<std::uint64_t>(length, largestBody + 1) : 1);
}

}  // namespace

bool BoundedServer::process_and_close_socket(socket_t socket) {
  Connection connection(socket, svr_sock_);
  const std::chrono::seconds idle(keep_alive_timeout_sec_);
  bool goesOn = true;
  for (std::size_t left = keep_alive_max_count_; goesOn && left > 0; --left) {
    if (!connection.awaitHead(idle, kLargestHead)) break;
    bool closed = false;
    const auto setUp = [&](httplib::Request& request) { prepare(request, payload_max_length_, connection); };
    goesOn = process_request(connection, left == 1, closed, setUp) && !closed && connection.isAtEnd();
  }
  return goesOn;
}

}  // namespace kalvetra
