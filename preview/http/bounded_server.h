// An HTTP server that nobody can fill up or hold up, whatever is sent to it.
#pragma once

#include <httplib.h>

#include <functional>
#include <memory>

#include "preview/http/connection_limits.h"

namespace kalvetra {

class Connection;

// The library gives a worker to every connection for as long as it is open, and reads heads of any length, for as long
// as bytes come, and bodies of which it does not know the length to their end. Here connections wait in a WaitingRoom,
// and a worker gets a request only once all of it has come: the head, and of those that are admitted the body, too. A
// request that is larger or slower than the bounds, or not admitted, ends its connection, as does one whose body is
// left unread (set_payload_max_length bounds it); and once the server is stopped, no connection is waited for.
class BoundedServer : public httplib::Server {
 public:
  // Answers by a request's head whether its body is to be waited for; what is to be said to the others is the library's
  // pre-routing handler's task.
  using Admits = std::function<bool(const httplib::Request&)>;

  BoundedServer(std::size_t workers, const ConnectionLimits& limits, Admits admits);

 private:
  class Reception;

  bool process_and_close_socket(socket_t socket) override;
  void serve(std::unique_ptr<Connection> connection);
  void prepare(httplib::Request& request, Connection& connection) const;

  const ConnectionLimits limits_;
  const Admits admits_;
  Reception* reception_ = nullptr;  // while the server runs; the library's
};

}  // namespace kalvetra
