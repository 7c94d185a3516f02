// An HTTP server that nobody can fill up or hold up, whatever is sent to it.
#pragma once

#include <httplib.h>

namespace kalvetra {

// The library reads heads of any length, for as long as bytes come, and bodies of which it does not know the length
// to their end. Here a request that is larger or slower than the bounds ends its connection, as does one whose body is
// left unread (set_payload_max_length bounds it); and once the server is stopped, no connection is waited for.
class BoundedServer : public httplib::Server {
 public:
  static constexpr std::size_t kLargestHead = std::size_t{1} << 14;  // bytes: request line and headers

 private:
  bool process_and_close_socket(socket_t socket) override;
};

}  // namespace kalvetra
